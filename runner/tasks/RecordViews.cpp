#include "tasks/RecordViews.h"

#include <fmt/format.h>

#include "Lock.h"
#include "Records.h"
#include "SqliteStatement.h"
#include "TaskDatabaseConnection.h"
#include "tasks/RecordKinds.h"
#include "tasks/RecordSql.h"

namespace {

std::string TasksView() {
  CTask task(nullptr);
  return fmt::format(
      "SELECT m_nTaskID AS task, CASE WHEN m_nParentTaskID > 0 THEN 'subtask' WHEN m_nTaskKind = "
      "{} THEN 'search' ELSE 'task' END AS kind, nullif(m_nParentTaskID, 0) AS parent, {} AS "
      "children, m_strName AS name, m_strOptimizer AS optimizer, m_strStatus AS status, "
      "m_dCreateTime AS created FROM ({})",
      Stored(ETaskKind::Search), SqlUint32("h", "m_vChildTaskIDs_at"),
      RecordFieldsSql(task, {"m_nParentTaskID", "m_vChildTaskIDs", "m_strName", "m_strOptimizer",
                             "m_strStatus", "m_dCreateTime", "m_nTaskKind"}));
}

std::string ResultsView() {
  CResult result(nullptr);
  return fmt::format(
      "SELECT m_nTaskID AS task, m_dBestObj AS objective, m_dBestMaxCon AS max_constraint, "
      "m_nStatusCode = 0 AS converged, m_nStatusCode AS status_code, m_strStatus AS status, "
      "nullif(m_nResultTask, 0) AS result_task, m_nDiscreteFeasible AS discrete_feasible, "
      "m_strOptimizer AS optimizer, m_nNumAnalyses AS analyses, m_nNumIters AS iterations, "
      "m_dElapsed AS seconds FROM ({}) WHERE m_nNumIters > 0",
      RecordFieldsSql(result, {"m_dBestObj", "m_dBestMaxCon", "m_nStatusCode", "m_strStatus",
                               "m_nResultTask", "m_nDiscreteFeasible", "m_strOptimizer",
                               "m_nNumAnalyses", "m_nNumIters", "m_dElapsed"}));
}

// The variables are walked through their names (a list of texts, whose
// items have their own lengths) by a recursive query; every array is
// indexed directly. The best design is reached through the key columns of
// CResult, CIter and CDPoint (their indexes), with the fields that lead
// there at fixed offsets, in that order (CROSS JOIN keeps SQLite's planner
// from reading CIter before the CResult that names its key); the solved
// tasks are those of the view results.
std::string DesignsView() {
  CResult result(nullptr);
  CIter iteration(nullptr);
  CDPoint point(nullptr);
  CDVar variables(nullptr);
  const std::string index = "n.variable";
  const std::string values = FixedFieldOffset(point, "m_vaValues");
  return fmt::format(
      "WITH RECURSIVE names (task, variable, count, at, h, data, lower_at, upper_at, kind_at) AS "
      "(SELECT m_nTaskID, 0, {count}, m_vNames_at + 4, h, data, m_vaLower_at, m_vaUpper_at, "
      "m_vKind_at FROM ({variables}) WHERE {count} > 0 UNION ALL SELECT task, variable + 1, "
      "count, at + 4 + {length}, h, data, lower_at, upper_at, kind_at FROM names WHERE variable "
      "+ 1 < count) "
      "SELECT n.task AS task, n.variable AS variable, {name} AS name, {value} AS value, {lower} "
      "AS lower, {upper} AS upper, CASE {kind} WHEN 1 THEN 'integer' WHEN 2 THEN 'set' ELSE "
      "'continuous' END AS kind FROM names n CROSS JOIN \"CResult\" r ON r.m_nTaskID = n.task "
      "CROSS "
      "JOIN \"CIter\" i ON i.m_nTaskID = n.task AND i.m_nIter = {bestIter} AND i.m_nSubIter = "
      "{bestRun} CROSS JOIN \"CDPoint\" p ON p.m_nTaskID = n.task AND p.m_nPointID = {pointId} "
      "WHERE "
      "n.task IN (SELECT task FROM results) AND n.variable < {valueCount}",
      fmt::arg("variables",
               RecordFieldsSql(variables, {"m_vaLower", "m_vaUpper", "m_vKind", "m_vNames"})),
      fmt::arg("count", SqlUint32("h", "m_vNames_at")), fmt::arg("length", SqlUint32("h", "at")),
      fmt::arg("name", SqlText("n.data", "n.h", "n.at")),
      fmt::arg("value", SqlFloat64("hex(p.data)", fmt::format("{} + 4 + 8 * {}", values, index))),
      fmt::arg("lower", SqlFloat64("n.h", fmt::format("n.lower_at + 4 + 8 * {}", index))),
      fmt::arg("upper", SqlFloat64("n.h", fmt::format("n.upper_at + 4 + 8 * {}", index))),
      fmt::arg("kind", SqlInt32("n.h", fmt::format("n.kind_at + 4 + 4 * {}", index))),
      fmt::arg("bestIter", SqlInt32("hex(r.data)", FixedFieldOffset(result, "m_nBestIter"))),
      fmt::arg("bestRun", SqlInt32("hex(r.data)", FixedFieldOffset(result, "m_nBestSubIter"))),
      fmt::arg("pointId", SqlInt32("hex(i.data)", FixedFieldOffset(iteration, "m_nPointID"))),
      fmt::arg("valueCount", SqlUint32("hex(p.data)", values)));
}

void Execute(const std::string& sql) {
  CSqliteStatement(TaskDatabaseConnection(GetPOD()), sql).Run();
}

void Create(const char* schema, const char* createView) {
  for (const auto& [name, select] : RecordViews()) {
    Execute(fmt::format("DROP VIEW IF EXISTS {}.{}", schema, name));
    Execute(fmt::format("{} {}.{} AS {}", createView, schema, name, select));
  }
}

}  // namespace

std::vector<std::pair<std::string, std::string>> RecordViews() {
  return {{"tasks", TasksView()}, {"results", ResultsView()}, {"designs", DesignsView()}};
}

void CreateRecordViews() {
  CLock lock(GetPOD(), 0);
  Create("main", "CREATE VIEW");
  lock.UnLock();
}

void CreateTemporaryRecordViews() { Create("temp", "CREATE TEMP VIEW"); }
