#include "search/SearchLog.h"

#include <fmt/format.h>

#include "LogFile.h"

void CSearchLog::OnNode(const CNodeSummary& summary) {
  const std::string origin = summary.parentTaskId == 0
                                 ? "the search task"
                                 : fmt::format("from task {}", summary.parentTaskId);
  m_log.WriteLine(
      "SEARCH",
      fmt::format("node {}: task {} ({}): objective {:.10g} max constraint {:.3g}: {}{}; "
                  "open nodes {}; {} analyses; {:.3f} s",
                  summary.node, summary.taskId, origin, summary.objective, summary.maxConstraint,
                  Describe(summary.outcome), summary.isNewIncumbent ? ", new incumbent" : "",
                  summary.openNodes, summary.analyses, summary.elapsedSeconds)
          .c_str());
}

void CSearchLog::OnEnd(const CSearchOutcome& outcome) {
  m_log.WriteLine("SEARCH", fmt::format("{} after {} subtasks in {:.3f} s: result task {}, {}",
                                        Describe(outcome.end), outcome.nodesSolved, outcome.seconds,
                                        outcome.resultTask,
                                        outcome.discreteFeasible ? "a feasible discrete design"
                                                                 : "no feasible discrete design")
                                .c_str());
}
