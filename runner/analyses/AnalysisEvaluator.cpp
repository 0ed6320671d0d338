#include "analyses/AnalysisEvaluator.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>

#include "analyses/AnalysisProcess.h"
#include "analyses/Concurrently.h"

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
    case ETryStatus::Failed:
      break;
  }
  return "failed";
}

CAnalysisCounts& AnalysisCounts() {
  static CAnalysisCounts counts;
  return counts;
}

CAnalysisEvaluator::CAnalysisEvaluator(std::vector<CAnalysisDefinition> analyses,
                                       const std::vector<std::string>& variableNames,
                                       CEvaluatorSettings settings)
    : m_analyses(std::move(analyses)),
      m_variableCount(variableNames.size()),
      m_settings(std::move(settings)) {
  std::vector<std::string> readable = variableNames;
  readable.insert(readable.end(), m_settings.quantityNames.begin(), m_settings.quantityNames.end());
  for (const CAnalysisDefinition& analysis : m_analyses) {
    if (analysis.workFolder.empty())
      throw std::invalid_argument(fmt::format("analysis '{}' has no work folder", analysis.name));
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
  RunConcurrently(
      pending.size(), jobs,
      [&](size_t i) {
        CPending& item = pending[i];
        item.evaluation = RunTries(item.analysis, item.evaluation.inputs);
      },
      [&](size_t i) { Store(pending[i]); });
  for (const CPending& item : pending) Record(item);
}

CEvaluation CAnalysisEvaluator::RunTries(size_t index, const std::string& inputs) const {
  const CAnalysisDefinition& analysis = m_analyses[index];
  const std::string analysisFolder = analysis.workFolder + "/" + analysis.name;
  CEvaluation evaluation;
  evaluation.inputs = inputs;
  const int tries = analysis.retries + 1;
  for (int attempt = 1; attempt <= tries; ++attempt) {
    const auto started = std::chrono::steady_clock::now();
    CEvaluationTry thisTry;
    std::string folder;
    CEvaluationOutcome outcome;
    thisTry.id = ClaimFolder(analysisFolder, folder, outcome.reason);
    if (!thisTry.id.empty()) outcome = RunEvaluation(analysis, thisTry.id, folder, inputs);
    if (!thisTry.id.empty()) {
      if (Keeps(analysis.keep, outcome.succeeded)) {
        thisTry.folder = folder;
      } else {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
      }
    }
    thisTry.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    thisTry.status = outcome.succeeded ? ETryStatus::Succeeded
                     : attempt < tries ? ETryStatus::Retried
                                       : ETryStatus::Failed;
    thisTry.responses = std::move(outcome.values);
    thisTry.reason = std::move(outcome.reason);
    evaluation.tries.push_back(std::move(thisTry));
    if (evaluation.tries.back().status == ETryStatus::Succeeded) break;
  }
  return evaluation;
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
