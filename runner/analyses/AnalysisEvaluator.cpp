#include "analyses/AnalysisEvaluator.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <system_error>

#include "analyses/AnalysisProcess.h"

namespace {

// Next evaluation id to try, per analysis folder, in this process.
std::map<std::string, long>& NextIds() {
  static std::map<std::string, long> next;
  return next;
}

// Makes a fresh evaluation folder under `analysisFolder`; returns its id, or
// an empty string with `why` set.
std::string ClaimFolder(const std::string& analysisFolder, std::string& folder, std::string& why) {
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

}  // namespace

CAnalysisCounts& AnalysisCounts() {
  static CAnalysisCounts counts;
  return counts;
}

CAnalysisEvaluator::CAnalysisEvaluator(std::vector<CAnalysisDefinition> analyses,
                                       const std::vector<std::string>& variableNames,
                                       CReport report)
    : m_analyses(std::move(analyses)),
      m_variableCount(variableNames.size()),
      m_report(std::move(report)) {
  for (const CAnalysisDefinition& analysis : m_analyses) {
    if (analysis.workFolder.empty())
      throw std::invalid_argument(fmt::format("analysis '{}' has no work folder", analysis.name));
    std::vector<size_t> indices;
    for (const std::string& name : analysis.reads) {
      const auto found = std::find(variableNames.begin(), variableNames.end(), name);
      if (found == variableNames.end()) {
        throw std::invalid_argument(
            fmt::format("analysis '{}' reads '{}', which is no variable", analysis.name, name));
      }
      indices.push_back(static_cast<size_t>(found - variableNames.begin()));
    }
    m_readIndices.push_back(std::move(indices));
    m_inputNames.insert(m_inputNames.end(), analysis.writes.begin(), analysis.writes.end());
  }
}

void CAnalysisEvaluator::Evaluate(const double* design, double* inputs) {
  std::vector<double> key(design, design + m_variableCount);
  if (const auto found = m_evaluated.find(key); found != m_evaluated.end()) {
    std::copy(found->second.begin(), found->second.end(), inputs);
    return;
  }
  double* values = inputs;
  for (size_t a = 0; a < m_analyses.size(); ++a) {
    EvaluateOne(a, design, values);
    values += m_analyses[a].writes.size();
  }
  m_evaluated.emplace(std::move(key), std::vector<double>(inputs, values));
}

void CAnalysisEvaluator::EvaluateOne(size_t index, const double* design, double* values) {
  const CAnalysisDefinition& analysis = m_analyses[index];
  std::vector<std::pair<std::string, double>> inputs;
  for (size_t i = 0; i < analysis.reads.size(); ++i)
    inputs.emplace_back(analysis.reads[i], design[m_readIndices[index][i]]);
  const std::string analysisFolder = analysis.workFolder + "/" + analysis.name;
  const int tries = analysis.retries + 1;
  for (int attempt = 1; attempt <= tries; ++attempt) {
    std::string folder;
    CEvaluationOutcome outcome;
    const std::string id = ClaimFolder(analysisFolder, folder, outcome.reason);
    if (!id.empty()) outcome = RunEvaluation(analysis, id, folder, inputs);
    ++AnalysisCounts().evaluations;
    if (!id.empty() && !Keeps(analysis.keep, outcome.succeeded)) {
      std::error_code ignored;
      std::filesystem::remove_all(folder, ignored);
    }
    if (outcome.succeeded) {
      std::copy(outcome.values.begin(), outcome.values.end(), values);
      return;
    }
    ++AnalysisCounts().failed;
    if (m_report) {
      m_report(fmt::format("analysis {}, evaluation {} (try {} of {}) failed: {}{}", analysis.name,
                           id.empty() ? "-" : id, attempt, tries, outcome.reason,
                           id.empty() || !Keeps(analysis.keep, false)
                               ? ""
                               : fmt::format("; folder kept: {}", folder)));
    }
  }
  std::fill(values, values + analysis.writes.size(), std::numeric_limits<double>::quiet_NaN());
}
