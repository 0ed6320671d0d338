#include "commands/TaskListing.h"

#include <fmt/format.h>

#include <functional>
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

template <class TRecord>
void VisitIfStored(int taskId, const std::function<void(pvPersistent&)>& visit) {
  TRecord record(GetPOD());
  record.m_nTaskID = taskId;
  if (record.GetObject()) visit(record);
}

// What the listing says of one task: its continuous result, and for a node
// of a search its fate in the search's vocabulary (SearchObserver.h), with
// the search's result on the search task's line.
struct CTaskLine {
  int taskId = 0;
  const char* kind = "";
  int parent = 0;  // 0 for none
  size_t children = 0;
  bool solved = false;
  bool converged = false;
  double objective = 0.0;      // when solved
  double maxConstraint = 0.0;  // when solved
  const char* continuous = "";
  std::string node;  // "" for a task of no search
};

CTaskLine DescribeTask(const CTask& task, const std::map<int, ENodeOutcome>& fates,
                       const std::map<int, CSearchState>& searches,
                       const std::map<int, int>& resumedBy) {
  CResult result(GetPOD());
  CTaskLine line;
  line.taskId = task.m_nTaskID;
  line.kind = KindOf(task);
  line.parent = task.m_nParentTaskID > 0 ? int(task.m_nParentTaskID) : 0;
  line.children = task.m_vChildTaskIDs.size();
  line.solved = ReadSolvedResult(task.m_nTaskID, result);
  line.converged = HasConverged(result);
  line.objective = result.m_dBestObj;
  line.maxConstraint = result.m_dBestMaxCon;
  line.continuous = !line.solved      ? "not solved"
                    : !line.converged ? "not converged"
                    : IsFeasible(result.m_dBestMaxCon, ConstraintToleranceOf(task)) ? "feasible"
                                                                                    : "infeasible";
  if (const auto fate = fates.find(task.m_nTaskID); fate != fates.end()) {
    line.node = fate->second == ENodeOutcome::ToBranch && !task.m_vChildTaskIDs.empty()
                    ? "branched"
                    : Describe(fate->second);
  }
  if (const auto search = searches.find(task.m_nTaskID); search != searches.end()) {
    line.node += "; " + SearchResultText(search->second);
    if (const auto resumed = resumedBy.find(task.m_nTaskID); resumed != resumedBy.end())
      line.node += fmt::format("; resumed as search task {}", resumed->second);
  }
  return line;
}

void PrintTaskLine(FILE* out, const CTaskLine& line) {
  fmt::print(out, "{:>6}  {:<7}  {:>6}  {:>8}  {:>16}  {:>12}  {:<13}  {}\n", line.taskId,
             line.kind, line.parent > 0 ? std::to_string(line.parent) : "-", line.children,
             line.solved ? fmt::format("{:.10g}", line.objective) : "-",
             line.solved && line.converged ? fmt::format("{:.3g}", line.maxConstraint) : "-",
             line.continuous, line.node);
}

CJson TaskLineJson(const CTaskLine& line) {
  CJson task = CJson::object();
  task["task"] = line.taskId;
  task["kind"] = line.kind;
  task["parent"] = line.parent > 0 ? CJson(line.parent) : CJson(nullptr);
  task["children"] = line.children;
  task["solved"] = line.solved;
  task["converged"] = line.converged;
  task["objective"] = line.solved ? JsonNumber(line.objective) : CJson(nullptr);
  task["max_constraint"] = line.solved ? JsonNumber(line.maxConstraint) : CJson(nullptr);
  task["continuous"] = line.continuous;
  task["node"] = line.node;
  return task;
}

// Every task of the open database, in id order.
std::vector<CTaskLine> TaskLines() {
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
  std::vector<CTaskLine> lines;
  for (int taskId = 1; taskId <= lastId; ++taskId) {
    CTask task(database);
    task.m_nTaskID = taskId;
    if (task.GetObject()) lines.push_back(DescribeTask(task, fates, searches, resumedBy));
  }
  return lines;
}

// Tells every stored record of the task to `visit`: CTask, CResult, the
// design records, every CIter and every CDPoint. Returns whether the task
// has been solved.
bool VisitTaskRecords(int taskId, const std::function<void(pvPersistent&)>& visit) {
  POD* database = GetPOD();
  CTask task(database);
  task.m_nTaskID = taskId;
  if (!task.GetObject()) throw CTaskDataError(fmt::format("the database holds no task {}", taskId));
  visit(task);
  CResult result(database);
  result.m_nTaskID = taskId;
  const bool stored = result.GetObject();
  if (stored) visit(result);
  VisitIfStored<CDVar>(taskId, visit);
  VisitIfStored<CDSet>(taskId, visit);
  VisitIfStored<CDResp>(taskId, visit);
  VisitIfStored<CDObj>(taskId, visit);
  VisitIfStored<CDCons>(taskId, visit);
  VisitIfStored<CDEqn>(taskId, visit);
  VisitIfStored<CDLink>(taskId, visit);
  // Iterations are keyed (iteration, run): runs from 0 while iteration 0 exists.
  CIter iteration(database);
  iteration.m_nTaskID = taskId;
  for (int run = 0;; ++run) {
    iteration.m_nSubIter = run;
    iteration.m_nIter = 0;
    if (!iteration.GetObject()) break;
    do {
      visit(iteration);
      iteration.m_nIter = iteration.m_nIter + 1;
    } while (iteration.GetObject());
  }
  const long points = stored ? long(result.m_nNumPoints) : 1;
  for (long pointId = 0; pointId < points; ++pointId) {
    CDPoint point(database);
    point.m_nTaskID = taskId;
    point.m_nPointID = pointId;
    if (point.GetObject()) visit(point);
  }
  return stored && IsSolved(result);
}

}  // namespace

void PrintTaskList(FILE* out) {
  fmt::print(out, "{:>6}  {:<7}  {:>6}  {:>8}  {:>16}  {:>12}  {:<13}  {}\n", "task", "kind",
             "parent", "children", "objective", "max con", "continuous", "node");
  for (const CTaskLine& line : TaskLines()) PrintTaskLine(out, line);
}

CJson TaskListJson() {
  CJson tasks = CJson::array();
  for (const CTaskLine& line : TaskLines()) tasks.push_back(TaskLineJson(line));
  return tasks;
}

void PrintTaskRecords(FILE* out, int taskId) {
  VisitTaskRecords(taskId, [out, taskId](pvPersistent& record) {
    if (std::string(record.RecordName()) == "CResult" && !IsSolved(static_cast<CResult&>(record)))
      fmt::print(out,
                 "task {} has not been solved: its CResult holds no run (it was written when "
                 "the task was made)\n",
                 taskId);
    PrintRecord(out, record);
  });
}

CJson TaskRecordsJson(int taskId, bool& solved) {
  CJson records = CJson::array();
  solved = VisitTaskRecords(
      taskId, [&records](pvPersistent& record) { records.push_back(RecordJson(record)); });
  return records;
}
