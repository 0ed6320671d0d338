#include "analyses/ProcessExecutor.h"

#include <chrono>

#include "analyses/Concurrently.h"

CProcessExecutor::CProcessExecutor()
    : m_command([](const CAnalysisDefinition& analysis) { return analysis.command; }) {}

CProcessExecutor::CProcessExecutor(FCommand command, FExplain explain)
    : m_command(std::move(command)), m_explain(std::move(explain)) {}

void CProcessExecutor::Run(const std::vector<CTryRequest>& tries, int jobs,
                           const FTryEnded& ended) {
  std::vector<CEvaluationOutcome> outcomes(tries.size());
  RunConcurrently(
      tries.size(), jobs,
      [&](size_t i) {
        const CTryRequest& request = tries[i];
        const auto started = std::chrono::steady_clock::now();
        outcomes[i] = RunAnalysisProgram(*request.analysis, m_command(*request.analysis),
                                         request.id, request.folder);
        if (!outcomes[i].succeeded && m_explain) m_explain(request, outcomes[i]);
        outcomes[i].seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
      },
      [&](size_t i) { ended(i, std::move(outcomes[i])); });
}
