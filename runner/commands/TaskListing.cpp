#include "commands/TaskListing.h"

#include <fmt/format.h>

#include <map>
#include <string>

#include "Records.h"
#include "commands/RecordPrinter.h"
#include "commands/SearchTreeView.h"
#include "search/SearchState.h"
#include "solver/Design.h"
#include "tasks/RecordKinds.h"
#include "tasks/SearchTable.h"
#include "tasks/TaskProblem.h"
#include "tasks/TaskResult.h"

namespace {

// A subtask is known by its parent (its kind is copied from the parent until
// it is solved).
const char* KindOf(const CTask& task) {
  if (task.m_nParentTaskID > 0) return "subtask";
  return task.m_nTaskKind == Stored(ETaskKind::Search) ? "search" : "task";
}

// A search task's result, and whether its search finished (SearchState.h).
std::string SearchResultText(const CSearchState& state) {
  if (state.finished) {
    if (state.resultTask <= 0) return "";
    return fmt::format(
        "result task {} ({})", state.resultTask,
        state.discreteFeasible ? "feasible discrete" : "no feasible discrete design");
  }
  if (state.resultTask <= 0) return "no feasible discrete design so far; search not finished";
  return fmt::format("best so far task {} (feasible discrete); search not finished",
                     state.resultTask);
}

// What the listing says of one task: its continuous result, and for a node
// of a search its fate in the search's vocabulary (SearchObserver.h), with
// the search's result on the search task's line.
void PrintTaskLine(FILE* out, const CTask& task, const std::map<int, ENodeOutcome>& fates,
                   const std::map<int, CSearchState>& searches,
                   const std::map<int, int>& resumedBy) {
  CResult result(GetPOD());
  const bool solved = ReadSolvedResult(task.m_nTaskID, result);
  const double tolerance = ConstraintToleranceOf(task);
  const bool converged = HasConverged(result);
  std::string node;
  if (const auto fate = fates.find(task.m_nTaskID); fate != fates.end()) {
    node = fate->second == ENodeOutcome::ToBranch && !task.m_vChildTaskIDs.empty()
               ? "branched"
               : Describe(fate->second);
  }
  if (const auto search = searches.find(task.m_nTaskID); search != searches.end()) {
    node += "; " + SearchResultText(search->second);
    if (const auto resumed = resumedBy.find(task.m_nTaskID); resumed != resumedBy.end())
      node += fmt::format("; resumed as search task {}", resumed->second);
  }
  fmt::print(
      out, "{:>6}  {:<7}  {:>6}  {:>8}  {:>16}  {:>12}  {:<13}  {}\n", long(task.m_nTaskID),
      KindOf(task), task.m_nParentTaskID > 0 ? std::to_string(long(task.m_nParentTaskID)) : "-",
      task.m_vChildTaskIDs.size(), solved ? fmt::format("{:.10g}", double(result.m_dBestObj)) : "-",
      solved && converged ? fmt::format("{:.3g}", double(result.m_dBestMaxCon)) : "-",
      !solved                                       ? "not solved"
      : !converged                                  ? "not converged"
      : IsFeasible(result.m_dBestMaxCon, tolerance) ? "feasible"
                                                    : "infeasible",
      node);
}

template <class TRecord>
void PrintIfStored(FILE* out, int taskId) {
  TRecord record(GetPOD());
  record.m_nTaskID = taskId;
  if (record.GetObject()) PrintRecord(out, record);
}

}  // namespace

void PrintTaskList(FILE* out) {
  POD* database = GetPOD();
  const int lastId = CDBCtrl(database).GetTaskID(false);
  std::map<int, CSearchState> searches;
  std::map<int, ENodeOutcome> fates;
  for (int searchTaskId : SearchTasks()) {
    const CSearchState& state =
        searches.emplace(searchTaskId, ReadSearchState(searchTaskId)).first->second;
    fates.insert(state.outcomes.begin(), state.outcomes.end());
  }
  std::map<int, int> resumedBy;  // search task -> the one that resumed it
  for (const CSearchRow& row : ReadSearches())
    if (row.resumedBy != 0) resumedBy.emplace(row.searchTaskId, row.resumedBy);
  fmt::print(out, "{:>6}  {:<7}  {:>6}  {:>8}  {:>16}  {:>12}  {:<13}  {}\n", "task", "kind",
             "parent", "children", "objective", "max con", "continuous", "node");
  for (int taskId = 1; taskId <= lastId; ++taskId) {
    CTask task(database);
    task.m_nTaskID = taskId;
    if (task.GetObject()) PrintTaskLine(out, task, fates, searches, resumedBy);
  }
}

void PrintTaskRecords(FILE* out, int taskId) {
  POD* database = GetPOD();
  CTask task(database);
  task.m_nTaskID = taskId;
  if (!task.GetObject()) throw CTaskDataError(fmt::format("the database holds no task {}", taskId));
  PrintRecord(out, task);
  CResult result(database);
  result.m_nTaskID = taskId;
  const bool stored = result.GetObject();
  if (stored && !IsSolved(result)) {
    fmt::print(out,
               "task {} has not been solved: its CResult holds no run (it was written when the "
               "task was made)\n",
               taskId);
  }
  if (stored) PrintRecord(out, result);
  PrintIfStored<CDVar>(out, taskId);
  PrintIfStored<CDSet>(out, taskId);
  PrintIfStored<CDResp>(out, taskId);
  PrintIfStored<CDObj>(out, taskId);
  PrintIfStored<CDCons>(out, taskId);
  PrintIfStored<CDEqn>(out, taskId);
  PrintIfStored<CDLink>(out, taskId);
  // Iterations are keyed (iteration, run): runs from 0 while iteration 0 exists.
  CIter iteration(database);
  iteration.m_nTaskID = taskId;
  for (int run = 0;; ++run) {
    iteration.m_nSubIter = run;
    iteration.m_nIter = 0;
    if (!iteration.GetObject()) break;
    do {
      PrintRecord(out, iteration);
      iteration.m_nIter = iteration.m_nIter + 1;
    } while (iteration.GetObject());
  }
  const long points = stored ? long(result.m_nNumPoints) : 1;
  for (long pointId = 0; pointId < points; ++pointId) {
    CDPoint point(database);
    point.m_nTaskID = taskId;
    point.m_nPointID = pointId;
    if (point.GetObject()) PrintRecord(out, point);
  }
}
