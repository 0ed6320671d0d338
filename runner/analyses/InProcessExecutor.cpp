#include "analyses/InProcessExecutor.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>

#include "analyses/Concurrently.h"

namespace {

// input.json's text back as (name, value) pairs, in the order written (the
// analysis' reads).
std::vector<std::pair<std::string, double>> InputsOf(const std::string& text) {
  std::vector<std::pair<std::string, double>> inputs;
  const nlohmann::ordered_json json = nlohmann::ordered_json::parse(text);
  for (const auto& [name, value] : json.items()) inputs.emplace_back(name, value.get<double>());
  return inputs;
}

std::string FirstLine(const std::string& text) {
  const std::string line = text.substr(0, text.find('\n'));
  return line.empty() ? "failed without a message" : line;
}

}  // namespace

CInProcessExecutor::CInProcessExecutor(CInProcessAnalyses functions,
                                       std::unique_ptr<CAnalysisExecutor> programs)
    : m_functions(std::move(functions)), m_programs(std::move(programs)) {}

void CInProcessExecutor::Run(const std::vector<CTryRequest>& tries, int jobs,
                             const FTryEnded& ended) {
  std::vector<CTryRequest> programTries;
  std::vector<size_t> programIndices, functionIndices;
  for (size_t i = 0; i < tries.size(); ++i) {
    if (tries[i].analysis->inProcess) {
      functionIndices.push_back(i);
    } else {
      programTries.push_back(tries[i]);
      programIndices.push_back(i);
    }
  }
  if (!programTries.empty()) {
    m_programs->Run(programTries, jobs, [&](size_t i, CEvaluationOutcome outcome) {
      ended(programIndices[i], std::move(outcome));
    });
  }
  std::vector<CEvaluationOutcome> outcomes(functionIndices.size());
  RunConcurrently(
      functionIndices.size(), jobs,
      [&](size_t i) { outcomes[i] = Call(tries[functionIndices[i]]); },
      [&](size_t i) { ended(functionIndices[i], std::move(outcomes[i])); });
}

CEvaluationOutcome CInProcessExecutor::Call(const CTryRequest& request) const {
  const CAnalysisDefinition& analysis = *request.analysis;
  const auto started = std::chrono::steady_clock::now();
  CEvaluationOutcome outcome;
  const auto function = m_functions.find(analysis.name);
  try {
    if (function == m_functions.end()) {
      outcome.reason = "no function was given for this analysis";
    } else {
      outcome.values = function->second(InputsOf(request.inputs));
      if (outcome.values.size() != analysis.writes.size()) {
        outcome.reason = fmt::format("returned {} values for {} responses", outcome.values.size(),
                                     analysis.writes.size());
      }
      for (size_t r = 0; r < outcome.values.size() && outcome.reason.empty(); ++r) {
        if (!std::isfinite(outcome.values[r])) {
          outcome.reason = fmt::format("response '{}' is {}, not a finite number",
                                       analysis.writes[r], outcome.values[r]);
        }
      }
    }
  } catch (const std::exception& error) {
    outcome.reason = FirstLine(error.what());
  } catch (...) {
    outcome.reason = "failed with an exception that is no std::exception";
  }
  outcome.succeeded = outcome.reason.empty();
  if (!outcome.succeeded) outcome.values.clear();
  outcome.seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  return outcome;
}
