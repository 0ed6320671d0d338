#include "tasks/ConvergenceTable.h"

#include <cmath>

#include "Records.h"
#include "tasks/SqlTables.h"

namespace {

constexpr const char* kCreateTable =
    "CREATE TABLE IF NOT EXISTS convergence (search_task_id INTEGER NOT NULL, node INTEGER NOT "
    "NULL, seconds REAL NOT NULL, incumbent REAL, open_bound REAL, new_incumbent INTEGER NOT "
    "NULL, PRIMARY KEY (search_task_id, node))";
constexpr const char* kDelete = "DELETE FROM convergence WHERE search_task_id = ?1";
constexpr const char* kInsert =
    "INSERT INTO convergence (search_task_id, node, seconds, incumbent, open_bound, "
    "new_incumbent) VALUES (?1, ?2, ?3, ?4, ?5, ?6)";
constexpr const char* kSelect =
    "SELECT node, seconds, incumbent IS NOT NULL, incumbent, open_bound IS NOT NULL, open_bound, "
    "new_incumbent FROM convergence WHERE search_task_id = ?1 ORDER BY node";

POD& Database() { return SqlTables("convergence"); }

// Binds the value, or leaves the parameter NULL.
void BindOptional(CSqliteStatement& statement, int index, bool has, double value) {
  if (has && std::isfinite(value)) statement.BindDouble(index, value);
}

}  // namespace

void WriteConvergence(int searchTaskId, const std::vector<CConvergencePoint>& points) {
  Database().Statement(kCreateTable).Run();
  {
    CSqliteStatement& remove = Database().Statement(kDelete);
    CStatementReset reset(remove);
    remove.BindInteger(1, searchTaskId);
    remove.Run();
  }
  CSqliteStatement& insert = Database().Statement(kInsert);
  for (const CConvergencePoint& point : points) {
    CStatementReset reset(insert);
    insert.BindInteger(1, searchTaskId);
    insert.BindInteger(2, point.node);
    insert.BindDouble(3, std::isfinite(point.seconds) ? point.seconds : 0.0);
    BindOptional(insert, 4, point.hasIncumbent, point.incumbent);
    BindOptional(insert, 5, point.hasOpenBound, point.openBound);
    insert.BindInteger(6, point.isNewIncumbent ? 1 : 0);
    insert.Run();
  }
}

std::vector<CConvergencePoint> ReadConvergence(int searchTaskId) {
  std::vector<CConvergencePoint> points;
  if (!HasSqlTable("convergence")) return points;
  CSqliteStatement& select = Database().Statement(kSelect);
  CStatementReset reset(select);
  select.BindInteger(1, searchTaskId);
  while (select.Step()) {
    CConvergencePoint point;
    point.node = static_cast<int>(select.ColumnInteger(0));
    point.seconds = select.ColumnDouble(1);
    point.hasIncumbent = select.ColumnInteger(2) != 0;
    if (point.hasIncumbent) point.incumbent = select.ColumnDouble(3);
    point.hasOpenBound = select.ColumnInteger(4) != 0;
    if (point.hasOpenBound) point.openBound = select.ColumnDouble(5);
    point.isNewIncumbent = select.ColumnInteger(6) != 0;
    points.push_back(point);
  }
  return points;
}
