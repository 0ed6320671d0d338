#pragma once

// The executor of analyses that are functions of the program that embeds the
// runner (the Python package, docs/python.md) instead of programs: an
// analysis with `inProcess` set (AnalysisDefinition.h) is evaluated by
// calling its function on a worker thread, up to `jobs` at a time
// (Concurrently.h); every other analysis goes to the executor of programs it
// wraps. The evaluator (AnalysisEvaluator.h) treats both alike: the store
// answers a design evaluated before, failures are retried and recorded.
//
// A function receives the values the analysis reads, in its `reads` order,
// and returns one value per response it writes. It fails by throwing: the
// exception's what(), up to its first line break, is the reason of the failed
// try. Returning another number of values than the analysis writes, or a
// value that is not finite, fails the try as well. Functions are called from
// several threads at once; whatever they share is theirs to guard.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "analyses/Executor.h"

using FInProcessAnalysis =
    std::function<std::vector<double>(const std::vector<std::pair<std::string, double>>& inputs)>;
// By analysis name.
using CInProcessAnalyses = std::map<std::string, FInProcessAnalysis>;

class CInProcessExecutor : public CAnalysisExecutor {
 public:
  CInProcessExecutor(CInProcessAnalyses functions, std::unique_ptr<CAnalysisExecutor> programs);

  // The tries of programs first, through the wrapped executor, then those of
  // functions.
  void Run(const std::vector<CTryRequest>& tries, int jobs, const FTryEnded& ended) override;

 private:
  // One call of the analysis' function on the inputs of the request.
  CEvaluationOutcome Call(const CTryRequest& request) const;

  CInProcessAnalyses m_functions;
  std::unique_ptr<CAnalysisExecutor> m_programs;
};
