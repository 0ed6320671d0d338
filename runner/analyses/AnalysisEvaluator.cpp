#include "analyses/AnalysisEvaluator.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>

#include "analyses/AnalysisProcess.h"
#include "analyses/MakeExecutor.h"

namespace {

std::mutex& FolderMutex() {
  static std::mutex mutex;
  return mutex;
}

// Next evaluation id to try, per analysis folder, in this process; guarded by FolderMutex().
std::map<std::string, long>& NextIds() {
  static std::map<std::string, long> next;
  return next;
}

// Makes a fresh evaluation folder under `analysisFolder`; returns its id, or
// an empty string with `why` set. Thread-safe.
std::string ClaimFolder(const std::string& analysisFolder, std::string& folder, std::string& why) {
  std::lock_guard<std::mutex> hold(FolderMutex());
  std::error_code error;
  std::filesystem::create_directories(analysisFolder, error);
  long& next = NextIds().emplace(analysisFolder, 1).first->second;
  for (;; ++next) {
    const std::string id = std::to_string(next);
    folder = analysisFolder + "/" + id;
    if (mkdir(folder.c_str(), 0755) == 0) {
      ++next;
      return id;
    }
    if (errno != EEXIST) {
      why = fmt::format("cannot make the working folder {}: {}", folder, std::strerror(errno));
      return "";
    }
  }
}

bool Keeps(EKeepFolders keep, bool succeeded) {
  return keep == EKeepFolders::All || (keep == EKeepFolders::Failed && !succeeded);
}

std::vector<double> NotANumber(size_t count) {
  return std::vector<double>(count, std::numeric_limits<double>::quiet_NaN());
}

}  // namespace

const char* TryStatusName(ETryStatus status) {
  switch (status) {
    case ETryStatus::Succeeded:
      return "succeeded";
    case ETryStatus::Retried:
      return "retried";
    case ETryStatus::Lost:
      return "lost";
    case ETryStatus::Failed:
      break;
  }
  return "failed";
}

CAnalysisEvaluator::CAnalysisEvaluator(std::vector<CAnalysisDefinition> analyses,
                                       const std::vector<std::string>& variableNames,
                                       CEvaluatorSettings settings)
    : m_analyses(std::move(analyses)),
      m_variableCount(variableNames.size()),
      m_settings(std::move(settings)),
      m_executor(MakeExecutor(m_settings.executor)) {
  bool hasFunctions = false;
  std::vector<std::string> readable = variableNames;
  readable.insert(readable.end(), m_settings.quantityNames.begin(), m_settings.quantityNames.end());
  for (const CAnalysisDefinition& analysis : m_analyses) {
    if (analysis.workFolder.empty())
      throw std::invalid_argument(fmt::format("analysis '{}' has no work folder", analysis.name));
    if (analysis.inProcess) {
      hasFunctions = true;
      if (m_settings.functions == nullptr || m_settings.functions->count(analysis.name) == 0) {
        throw std::invalid_argument(fmt::format(
            "analysis '{}' is a function (in_process), and none was given for it; only the "
            "program that defined it (the Python package) can evaluate it",
            analysis.name));
      }
    }
    std::vector<size_t> indices;
    for (const std::string& name : analysis.reads) {
      const auto found = std::find(readable.begin(), readable.end(), name);
      if (found == readable.end()) {
        throw std::invalid_argument(fmt::format(
            "analysis '{}' reads '{}', which is no variable and no quantity", analysis.name, name));
      }
      indices.push_back(static_cast<size_t>(found - readable.begin()));
    }
    m_readIndices.push_back(std::move(indices));
    m_inputNames.insert(m_inputNames.end(), analysis.writes.begin(), analysis.writes.end());
  }
  if (hasFunctions)
    m_executor = std::make_unique<CInProcessExecutor>(*m_settings.functions, std::move(m_executor));
}

std::vector<double> CAnalysisEvaluator::ReadableOf(const double* design) const {
  std::vector<double> readable(design, design + m_variableCount);
  readable.resize(m_variableCount + m_settings.quantityNames.size());
  if (!m_settings.quantityNames.empty())
    m_settings.quantitiesOf(design, &readable[m_variableCount]);
  return readable;
}

std::string CAnalysisEvaluator::InputsOf(size_t analysis,
                                         const std::vector<double>& readable) const {
  std::vector<std::pair<std::string, double>> read;
  for (size_t i = 0; i < m_readIndices[analysis].size(); ++i)
    read.emplace_back(m_analyses[analysis].reads[i], readable[m_readIndices[analysis][i]]);
  return InputJson(read);
}

bool CAnalysisEvaluator::ReadsFiniteValues(size_t analysis,
                                           const std::vector<double>& readable) const {
  for (size_t index : m_readIndices[analysis])
    if (!std::isfinite(readable[index])) return false;
  return true;
}

void CAnalysisEvaluator::Prepare(const std::vector<std::vector<double>>& designs) {
  if (m_settings.jobs <= 1) return;  // nothing gained: Evaluate runs them in turn
  std::vector<const double*> pointers;
  for (const std::vector<double>& design : designs) pointers.push_back(design.data());
  Answer(pointers, m_settings.jobs);
}

void CAnalysisEvaluator::Evaluate(const double* design, double* inputs) {
  const std::vector<double> readable = ReadableOf(design);
  double* values = inputs;
  for (size_t a = 0; a < m_analyses.size(); ++a) {
    auto found = m_answers.find({a, InputsOf(a, readable)});
    if (found == m_answers.end()) {
      Answer({design}, 1);
      found = m_answers.find({a, InputsOf(a, readable)});
    }
    values = std::copy(found->second.begin(), found->second.end(), values);
  }
}

void CAnalysisEvaluator::Answer(const std::vector<const double*>& designs, int jobs) {
  std::vector<CPending> pending;
  std::set<std::pair<size_t, std::string>> isPending;
  for (const double* design : designs) {
    const std::vector<double> readable = ReadableOf(design);
    for (size_t a = 0; a < m_analyses.size(); ++a) {
      std::pair<size_t, std::string> key{a, InputsOf(a, readable)};
      if (m_answers.count(key) != 0 || isPending.count(key) != 0) continue;
      if (!ReadsFiniteValues(a, readable)) {  // an optimiser's NaN iterate: no program sees it
        m_answers.emplace(std::move(key), NotANumber(m_analyses[a].writes.size()));
        continue;
      }
      std::vector<double> responses;
      if (m_settings.store != nullptr &&
          m_settings.store->Find(m_analyses[a], key.second, responses)) {
        ++AnalysisCounts().served;
        m_answers.emplace(std::move(key), std::move(responses));
        continue;
      }
      isPending.insert(key);
      CPending next;
      next.analysis = a;
      next.evaluation.inputs = std::move(key.second);
      pending.push_back(std::move(next));
    }
  }
  RunPending(pending, jobs);
  for (const CPending& item : pending) Record(item);
}

void CAnalysisEvaluator::RunPending(std::vector<CPending>& pending, int jobs) {
  std::vector<size_t> round(pending.size());
  for (size_t i = 0; i < round.size(); ++i) round[i] = i;
  while (!round.empty()) {
    std::vector<size_t> next;
    std::vector<CTryRequest> requests;
    std::vector<size_t> owners;  // per request, its evaluation in `pending`
    for (size_t i : round) {
      CEvaluationOutcome failure;
      CTryRequest request = StartTry(pending[i], failure);
      if (!failure.reason.empty()) {
        if (EndTry(pending[i], request, std::move(failure))) next.push_back(i);
        continue;
      }
      requests.push_back(std::move(request));
      owners.push_back(i);
    }
    m_executor->Run(requests, jobs, [&](size_t r, CEvaluationOutcome outcome) {
      if (EndTry(pending[owners[r]], requests[r], std::move(outcome))) next.push_back(owners[r]);
    });
    std::sort(next.begin(), next.end());
    round = std::move(next);
  }
}

CTryRequest CAnalysisEvaluator::StartTry(const CPending& item, CEvaluationOutcome& failure) const {
  const CAnalysisDefinition& analysis = m_analyses[item.analysis];
  CTryRequest request;
  request.analysis = &analysis;
  request.id =
      ClaimFolder(analysis.workFolder + "/" + analysis.name, request.folder, failure.reason);
  if (!request.id.empty()) failure.reason = WriteInputFile(request.folder, item.evaluation.inputs);
  request.inputs = item.evaluation.inputs;
  return request;
}

bool CAnalysisEvaluator::EndTry(CPending& item, const CTryRequest& request,
                                CEvaluationOutcome outcome) {
  const CAnalysisDefinition& analysis = m_analyses[item.analysis];
  std::vector<CEvaluationTry>& tries = item.evaluation.tries;
  CEvaluationTry& thisTry = tries.emplace_back();
  thisTry.id = request.id;
  if (!request.id.empty()) {  // its folder was made
    if (Keeps(analysis.keep, outcome.succeeded)) {
      thisTry.folder = request.folder;
    } else {
      std::error_code ignored;
      std::filesystem::remove_all(request.folder, ignored);
    }
  }
  thisTry.seconds = outcome.seconds;
  const bool triesLeft = static_cast<int>(tries.size()) < analysis.retries + 1;
  thisTry.status = outcome.succeeded ? ETryStatus::Succeeded
                   : triesLeft       ? ETryStatus::Retried
                   : outcome.lost    ? ETryStatus::Lost
                                     : ETryStatus::Failed;
  thisTry.responses = std::move(outcome.values);
  thisTry.reason = std::move(outcome.reason);
  if (thisTry.status == ETryStatus::Retried) return true;
  Store(item);
  return false;
}

void CAnalysisEvaluator::Store(const CPending& item) {
  if (m_settings.store != nullptr)
    m_settings.store->Save({{&m_analyses[item.analysis], &item.evaluation}});
}

void CAnalysisEvaluator::Record(const CPending& item) {
  const CAnalysisDefinition& analysis = m_analyses[item.analysis];
  const std::vector<CEvaluationTry>& tries = item.evaluation.tries;
  for (size_t t = 0; t < tries.size(); ++t) {
    ++AnalysisCounts().evaluations;
    if (tries[t].status == ETryStatus::Succeeded) continue;
    ++AnalysisCounts().failed;
    if (!m_settings.report) continue;
    m_settings.report(fmt::format(
        "analysis {}, evaluation {} (try {} of {}) failed: {}{}", analysis.name,
        tries[t].id.empty() ? "-" : tries[t].id, t + 1, analysis.retries + 1, tries[t].reason,
        tries[t].folder.empty() ? "" : fmt::format("; folder kept: {}", tries[t].folder)));
  }
  const CEvaluationTry& last = tries.back();
  m_answers[{item.analysis, item.evaluation.inputs}] =
      last.status == ETryStatus::Succeeded ? last.responses : NotANumber(analysis.writes.size());
}
