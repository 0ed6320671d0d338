#include "SearchState.h"

#include <fmt/format.h>

#include <vector>

#include "Records.h"
#include "TaskProblem.h"
#include "TaskResult.h"

CSearchState ReadSearchState(int searchTaskId) {
  POD* database = GetPOD();
  CTask searchTask(database);
  searchTask.m_nTaskID = searchTaskId;
  if (!searchTask.GetObject())
    throw CTaskDataError(fmt::format("the database holds no task {}", searchTaskId));
  const double tolerance = ConstraintToleranceOf(searchTask);
  const bool minimize = MinimizesObjective(searchTask);

  CSearchState state;
  CResult searchResult(database);
  state.searchTaskSolved = ReadSolvedResult(searchTaskId, searchResult);
  state.finished = state.searchTaskSolved;
  double bestObjective = 0.0;
  int bestTask = 0;
  // Depth first without recursion: trees can be deep.
  std::vector<int> pending(searchTask.m_vChildTaskIDs.rbegin(), searchTask.m_vChildTaskIDs.rend());
  while (!pending.empty()) {
    const int taskId = pending.back();
    pending.pop_back();
    CTask task(database);
    task.m_nTaskID = taskId;
    if (!task.GetObject())
      throw CTaskDataError(fmt::format("task {}: its CTask record is missing", taskId));
    pending.insert(pending.end(), task.m_vChildTaskIDs.rbegin(), task.m_vChildTaskIDs.rend());
    CResult result(database);
    if (!ReadSolvedResult(taskId, result)) {
      state.finished = false;
      continue;
    }
    ++state.solvedSubtasks;
    const double objective = result.m_dBestObj;
    const bool acceptable = result.m_nDiscreteFeasible != 0 && result.m_dBestMaxCon <= tolerance;
    const bool better = bestTask == 0 ||
                        (minimize ? objective < bestObjective : objective > bestObjective) ||
                        (objective == bestObjective && taskId < bestTask);
    if (acceptable && better) {
      bestTask = taskId;
      bestObjective = objective;
    }
  }
  if (state.finished) {
    state.resultTask = searchResult.m_nResultTask;
    state.discreteFeasible = searchResult.m_nDiscreteFeasible != 0;
  } else {
    state.resultTask = bestTask;
    state.discreteFeasible = bestTask != 0;
  }
  return state;
}
