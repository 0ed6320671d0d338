#pragma once

// Runs tries of evaluations of analysis programs: where and how they run is
// the executor's (SlurmSettings.h); the evaluator (AnalysisEvaluator.h)
// prepares each try's folder and decides on retries.
//
//   std::unique_ptr<CAnalysisExecutor> executor = MakeExecutor(EExecutor::Local);  //
//   MakeExecutor.h executor->Run(tries, jobs, [&](size_t i, CEvaluationOutcome outcome) { ... });

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "analyses/AnalysisDefinition.h"
#include "analyses/AnalysisProcess.h"

// One try, ready to run: its folder exists and holds input.json.
struct CTryRequest {
  const CAnalysisDefinition* analysis = nullptr;  // not owned
  std::string id;                                 // the evaluation id: its folder's name
  std::string folder;                             // absolute
  std::string inputs;                             // input.json's text, as the folder holds it
};

using FTryEnded = std::function<void(size_t index, CEvaluationOutcome outcome)>;

class CAnalysisExecutor {
 public:
  virtual ~CAnalysisExecutor() = default;

  // Runs every try, at most `jobs` at a time, and calls `ended` on the
  // calling thread once for each, as soon as it has ended (in any order);
  // returns when all have. A failed try is an outcome, not an exception;
  // the executors that use Slurm throw CSlurmError (SlurmClient.h) when
  // Slurm refuses the tries or does not answer, after cancelling what they
  // submitted.
  virtual void Run(const std::vector<CTryRequest>& tries, int jobs, const FTryEnded& ended) = 0;
};
