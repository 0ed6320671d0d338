#include "DatabaseSnapshot.h"

#include <map>

#include "Records.h"
#include "TaskDatabase.h"
#include "commands/SearchTreeView.h"
#include "search/SearchState.h"
#include "solver/Design.h"
#include "tasks/RecordKinds.h"
#include "tasks/SearchTable.h"
#include "tasks/TaskProblem.h"
#include "tasks/TaskResult.h"

namespace {

struct CReadOnlySession {
  explicit CReadOnlySession(const std::string& path) {
    OpenTaskDatabase(path, ETaskDatabaseAccess::ReadOnly);
  }
  ~CReadOnlySession() { CloseTaskDatabase(); }
};

const char* KindOf(const CTask& task) {
  if (task.m_nParentTaskID > 0) return "subtask";
  return task.m_nTaskKind == Stored(ETaskKind::Search) ? "search" : "task";
}

void ReadResult(CTaskSnapshot& snapshot, const CTask& task) {
  CResult result(GetPOD());
  snapshot.solved = ReadSolvedResult(snapshot.id, result);
  if (!snapshot.solved) return;
  snapshot.converged = HasConverged(result);
  snapshot.feasible =
      snapshot.converged && IsFeasible(result.m_dBestMaxCon, ConstraintToleranceOf(task));
  snapshot.status = result.m_strStatus;
  snapshot.objective = result.m_dBestObj;
  snapshot.maxConstraint = result.m_dBestMaxCon;
  const CTaskProblem problem = ReadTaskProblem(snapshot.id);
  const CTaskDesign best = ReadBestDesign(snapshot.id);
  snapshot.design = best.values;
  for (size_t c = 0; c < problem.constraintResponses.size(); ++c) {
    const size_t response = static_cast<size_t>(problem.constraintResponses[c]);
    snapshot.constraints.push_back(problem.responseNames[response]);
    snapshot.constraintValues.push_back(response < best.responses.size()
                                            ? best.responses[response]
                                            : std::numeric_limits<double>::quiet_NaN());
  }
}

CTaskSnapshot ReadTask(const CTask& task) {
  CTaskSnapshot snapshot;
  snapshot.id = task.m_nTaskID;
  snapshot.kind = KindOf(task);
  snapshot.name = task.m_strName;
  snapshot.parent = task.m_nParentTaskID;
  for (const pvINT32& child : task.m_vChildTaskIDs) snapshot.children.push_back(child);
  const CTaskProblem problem = ReadTaskProblem(snapshot.id);
  snapshot.variables = problem.variableNames;
  snapshot.lower = problem.lower;
  snapshot.upper = problem.upper;
  ReadResult(snapshot, task);
  return snapshot;
}

}  // namespace

CDatabaseSnapshot ReadDatabaseSnapshot(const std::string& path) {
  CReadOnlySession session(path);
  CDatabaseSnapshot snapshot;
  snapshot.path = path;
  std::map<int, CSearchRow> rows;
  for (CSearchRow& row : ReadSearches()) rows.emplace(row.searchTaskId, std::move(row));
  std::map<int, std::string> fates;
  for (int searchTaskId : SearchTasks()) {
    const CSearchState state = ReadSearchState(searchTaskId);
    CSearchSnapshot& search = snapshot.searches.emplace_back();
    search.searchTask = searchTaskId;
    search.finished = state.finished;
    search.resultTask = state.resultTask;
    search.discreteFeasible = state.discreteFeasible;
    search.solvedSubtasks = state.solvedSubtasks;
    for (const auto& [taskId, outcome] : state.outcomes) {
      search.tasks.push_back(taskId);
      fates[taskId] = Describe(outcome);
    }
    if (const auto row = rows.find(searchTaskId); row != rows.end()) {
      search.end = row->second.end;
      search.problemText = row->second.problemText;
      search.problemFile = row->second.problemFile;
      search.started = row->second.started;
      search.ended = row->second.ended;
      search.resumedBy = row->second.resumedBy;
    }
  }
  POD* database = GetPOD();
  const int lastId = CDBCtrl(database).GetTaskID(false);
  for (int taskId = 1; taskId <= lastId; ++taskId) {
    CTask task(database);
    task.m_nTaskID = taskId;
    if (!task.GetObject()) continue;
    CTaskSnapshot& read = snapshot.tasks.emplace_back(ReadTask(task));
    if (const auto fate = fates.find(taskId); fate != fates.end()) read.node = fate->second;
  }
  snapshot.evaluations = ReadEvaluations();
  return snapshot;
}
