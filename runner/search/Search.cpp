#include "search/Search.h"

#include <fmt/format.h>

#include "Records.h"
#include "Timing.h"
#include "tasks/TaskProblem.h"

namespace {

// The task a subtask was derived from (CTask m_nParentTaskID).
int ParentOf(int taskId) {
  CTask task(GetPOD());
  task.m_nTaskID = taskId;
  if (!task.GetObject())
    throw CTaskDataError(fmt::format("task {}: its CTask record is missing", taskId));
  return task.m_nParentTaskID;
}

// A task's discrete result as the module left it in its CResult.
struct CDiscreteResult {
  int resultTask = 0;             // m_nResultTask
  bool discreteFeasible = false;  // m_nDiscreteFeasible
};

CDiscreteResult DiscreteResultOf(int taskId) {
  CResult result(GetPOD());
  result.m_nTaskID = taskId;
  if (!result.GetObject())
    throw CTaskDataError(fmt::format("task {}: its CResult record is missing", taskId));
  return {static_cast<int>(result.m_nResultTask), result.m_nDiscreteFeasible != 0};
}

}  // namespace

CBranchAndBoundSearch::CBranchAndBoundSearch(const CDiscreteModule& module, FSolveTask solveTask,
                                             CSearchObserver& observer, const CSearchLimits& limits,
                                             CLogFile* log)
    : m_module(module),
      m_solveTask(std::move(solveTask)),
      m_observer(observer),
      m_limits(limits),
      m_log(log) {}

template <class FCall>
auto CBranchAndBoundSearch::CallModule(const std::string& doing, FCall call) const {
  try {
    return call();
  } catch (const std::exception& error) {
    throw CModuleError(fmt::format("the module failed while {}: {}", doing, error.what()));
  }
}

CSearchOutcome CBranchAndBoundSearch::Run(int searchTaskId) {
  m_started = std::chrono::steady_clock::now();
  m_outcome = CSearchOutcome();
  m_outcome.searchTaskId = searchTaskId;
  const CTaskProblem settings = [&] {
    CLock lock(GetPOD(), 0);
    return ReadTaskProblem(searchTaskId);
  }();
  m_mirror = CNodeMirror(settings.minimize, settings.tolerance);

  // Each step holds the database lock throughout, so that its records (the
  // solver's, then the module's) are committed together, and ends with the
  // explicit release that commits them: a failed commit (a full disk, a
  // read-only file) throws CDatabaseError there and stops the search at once.
  int subtaskId = 0;
  {
    CLock step(GetPOD(), 0);
    SolveSearchTask();
    subtaskId = StartSearch();
    step.UnLock();
  }
  // A root stopped by the deadline leaves the search unfinished, whatever the
  // module made of it.
  const bool stoppedAtRoot = m_searchSolution.status == ESolveStatus::TimeLimit || StopRequested();
  if (stoppedAtRoot) {
    const ESearchEnd why = m_searchSolution.status == ESolveStatus::TimeLimit
                               ? ESearchEnd::TimeLimit
                               : ESearchEnd::Interrupted;
    if (subtaskId != 0) {
      CLock step(GetPOD(), 0);
      StopEarly(why);
      step.UnLock();
    } else if (why == ESearchEnd::TimeLimit) {
      m_outcome.end = why;
    }
    subtaskId = 0;
  }
  while (subtaskId != 0) {
    CLock step(GetPOD(), 0);
    SolveAndPost(subtaskId);
    if (HasReachedNodeLimit()) {
      StopEarly(ESearchEnd::NodeLimit);
    } else if (HasRunOutOfTime()) {
      StopEarly(ESearchEnd::TimeLimit);
    } else if (StopRequested()) {
      StopEarly(ESearchEnd::Interrupted);
    } else {
      subtaskId = NextSubtask();
    }
    step.UnLock();
    if (m_outcome.end != ESearchEnd::Complete) break;
  }
  const CDiscreteResult result = DiscreteResultOf(searchTaskId);
  m_outcome.resultTask = result.resultTask;
  m_outcome.discreteFeasible = result.discreteFeasible;
  m_outcome.seconds = ElapsedSeconds();
  // The module closed every node of a complete search, also any the mirror still counts.
  if (m_outcome.end != ESearchEnd::Complete) {
    m_outcome.openNodes = m_mirror.OpenNodes();
    m_outcome.hasOpenBound = m_mirror.HasOpenBound();
    m_outcome.openBound = m_mirror.OpenBound();
  }
  m_observer.OnEnd(m_outcome);
  return m_outcome;
}

void CBranchAndBoundSearch::SolveSearchTask() {
  m_searchSolution = m_solveTask(m_outcome.searchTaskId, Deadline());
  m_outcome.rootNotConverged = !IsConverged(m_searchSolution.status);
  m_outcome.solverSeconds += m_searchSolution.seconds;
}

int CBranchAndBoundSearch::StartSearch() {
  const int searchTaskId = m_outcome.searchTaskId;
  const int firstSubtask =
      CallModule(fmt::format("starting the search of task {}", searchTaskId),
                 [&] { return m_module.GenDiscreteTask(searchTaskId, m_log); });
  Report(searchTaskId, 0, m_searchSolution, DiscreteResultOf(searchTaskId).discreteFeasible);
  if (firstSubtask != 0) m_mirror.ChildGenerated(ParentOf(firstSubtask));
  return firstSubtask;
}

void CBranchAndBoundSearch::SolveAndPost(int subtaskId) {
  const CTaskSolution solution = m_solveTask(subtaskId, Deadline());
  m_outcome.solverSeconds += solution.seconds;
  CallModule(fmt::format("posting subtask {}", subtaskId),
             [&] { m_module.PostDiscreteTask(subtaskId, false); });
  ++m_outcome.nodesSolved;
  if (!IsConverged(solution.status)) ++m_outcome.nodesNotConverged;
  Report(subtaskId, ParentOf(subtaskId), solution, DiscreteResultOf(subtaskId).discreteFeasible);
}

int CBranchAndBoundSearch::NextSubtask() {
  const int subtaskId =
      CallModule(fmt::format("making the subtask after node {}", m_outcome.nodesSolved),
                 [&] { return m_module.GenDiscreteTask(0, m_log); });
  if (subtaskId != 0) m_mirror.ChildGenerated(ParentOf(subtaskId));
  return subtaskId;
}

void CBranchAndBoundSearch::StopEarly(ESearchEnd why) {
  m_outcome.end = why;
  CallModule(fmt::format("closing the search of task {} early", m_outcome.searchTaskId),
             [&] { m_module.BranchBoundStop(m_outcome.searchTaskId); });
}

bool CBranchAndBoundSearch::HasReachedNodeLimit() const {
  return m_limits.maxNodes > 0 && m_outcome.nodesSolved >= m_limits.maxNodes;
}

bool CBranchAndBoundSearch::StopRequested() const { return m_stopRequested && m_stopRequested(); }

bool CBranchAndBoundSearch::HasRunOutOfTime() const {
  return m_limits.timeLimit > 0 && ElapsedSeconds() >= m_limits.timeLimit;
}

void CBranchAndBoundSearch::Report(int taskId, int parentTaskId, const CTaskSolution& solution,
                                   bool discreteFeasible) {
  const int incumbentBefore = m_mirror.IncumbentTask();
  CNodeSummary summary;
  summary.node = m_outcome.nodesSolved;
  summary.taskId = taskId;
  summary.parentTaskId = parentTaskId;
  summary.objective = solution.best.objective;
  summary.maxConstraint = solution.best.maxConstraint;
  summary.outcome = m_mirror.NodeSolved(taskId, IsConverged(solution.status), summary.objective,
                                        summary.maxConstraint, discreteFeasible);
  summary.isNewIncumbent = m_mirror.IncumbentTask() != incumbentBefore;
  summary.hasIncumbent = m_mirror.HasIncumbent();
  summary.incumbentObjective = m_mirror.IncumbentObjective();
  summary.incumbentTask = m_mirror.IncumbentTask();
  summary.openNodes = m_mirror.OpenNodes();
  summary.hasOpenBound = m_mirror.HasOpenBound();
  summary.openBound = m_mirror.OpenBound();
  summary.elapsedSeconds = ElapsedSeconds();
  summary.analyses = nNumAnalyses;
  m_observer.OnNode(summary);
}

std::chrono::steady_clock::time_point CBranchAndBoundSearch::Deadline() const {
  constexpr double kLongestLimit = 1e9;  // seconds; beyond it (31 years) there is no deadline
  if (!(m_limits.timeLimit > 0) || m_limits.timeLimit > kLongestLimit)
    return std::chrono::steady_clock::time_point::max();
  return m_started + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                         std::chrono::duration<double>(m_limits.timeLimit));
}

double CBranchAndBoundSearch::ElapsedSeconds() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_started).count();
}
