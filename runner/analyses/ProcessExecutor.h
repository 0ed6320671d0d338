#pragma once

// The executor whose tries are processes that the runner starts and waits
// for, up to `jobs` at a time on threads of their own (Concurrently.h): the
// analysis' own command on this machine, or that command wrapped to run
// elsewhere (SlurmSteps.h).

#include <functional>

#include "analyses/Executor.h"

class CProcessExecutor : public CAnalysisExecutor {
 public:
  // The command that runs one try of an analysis.
  using FCommand = std::function<std::vector<std::string>(const CAnalysisDefinition&)>;
  // Adds to the reason of a failed try what only the wrapper knows; may be empty.
  using FExplain = std::function<void(const CTryRequest&, CEvaluationOutcome&)>;

  // Without arguments: the analysis' own command, nothing to explain.
  CProcessExecutor();
  CProcessExecutor(FCommand command, FExplain explain);

  void Run(const std::vector<CTryRequest>& tries, int jobs, const FTryEnded& ended) override;

 private:
  FCommand m_command;
  FExplain m_explain;
};
