#include "search/SearchState.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "Records.h"
#include "search/NodeMirror.h"
#include "tasks/TaskProblem.h"
#include "tasks/TaskResult.h"

CSearchState ReadSearchState(int searchTaskId) {
  POD* database = GetPOD();
  CTask searchTask(database);
  searchTask.m_nTaskID = searchTaskId;
  if (!searchTask.GetObject())
    throw CTaskDataError(fmt::format("the database holds no task {}", searchTaskId));

  // The tasks of the tree, depth first without recursion (trees can be deep).
  std::vector<int> tree;
  std::vector<int> pending{searchTaskId};
  while (!pending.empty()) {
    const int taskId = pending.back();
    pending.pop_back();
    tree.push_back(taskId);
    CTask task(database);
    task.m_nTaskID = taskId;
    if (!task.GetObject())
      throw CTaskDataError(fmt::format("task {}: its CTask record is missing", taskId));
    pending.insert(pending.end(), task.m_vChildTaskIDs.rbegin(), task.m_vChildTaskIDs.rend());
  }
  std::sort(tree.begin(), tree.end());  // the order of posting

  CSearchState state;
  state.finished = true;
  CNodeMirror replay(MinimizesObjective(searchTask), ConstraintToleranceOf(searchTask));
  CResult searchResult(database);
  for (int taskId : tree) {
    CResult result(database);
    const bool solved = ReadSolvedResult(taskId, result);
    if (taskId == searchTaskId) {
      state.searchTaskSolved = solved;
      searchResult = result;
    } else if (solved) {
      ++state.solvedSubtasks;
    }
    if (!solved) {
      state.finished = false;
      state.outcomes[taskId] = ENodeOutcome::NotSolved;
      continue;
    }
    // The search task's flag is the root's own only while no subtask has
    // been posted (each post overwrites it); a root with children was
    // branched, so it was not a discrete design.
    const bool discrete = result.m_nDiscreteFeasible != 0 &&
                          (taskId != searchTaskId || searchTask.m_vChildTaskIDs.empty());
    const bool converged = HasConverged(result);
    state.outcomes[taskId] =
        replay.NodeSolved(taskId, converged, result.m_dBestObj, result.m_dBestMaxCon, discrete);
  }
  if (state.finished) {
    state.resultTask = searchResult.m_nResultTask;
    state.discreteFeasible = searchResult.m_nDiscreteFeasible != 0;
  } else {
    state.resultTask = replay.IncumbentTask();
    state.discreteFeasible = replay.HasIncumbent();
  }
  return state;
}
