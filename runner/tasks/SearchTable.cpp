#include "tasks/SearchTable.h"

#include "Records.h"
#include "tasks/LocalTime.h"
#include "tasks/SqlTables.h"

namespace {

constexpr const char* kCreateTable =
    "CREATE TABLE IF NOT EXISTS searches (search_task_id INTEGER PRIMARY KEY, problem_file TEXT "
    "NOT NULL, problem_text TEXT NOT NULL, settings TEXT NOT NULL, started TEXT NOT NULL, ended "
    "TEXT, end TEXT, resumed_by INTEGER)";
constexpr const char* kInsert =
    "INSERT OR REPLACE INTO searches (search_task_id, problem_file, problem_text, settings, "
    "started) VALUES (?1, ?2, ?3, ?4, ?5)";
constexpr const char* kEnded = "UPDATE searches SET ended = ?2, end = ?3 WHERE search_task_id = ?1";
constexpr const char* kResumed = "UPDATE searches SET resumed_by = ?2 WHERE search_task_id = ?1";
constexpr const char* kSelect =
    "SELECT search_task_id, problem_file, problem_text, settings, started, ended, end, "
    "resumed_by FROM searches ORDER BY search_task_id";

POD& Database() { return SqlTables("searches"); }

}  // namespace

void WriteSearchStarted(const CSearchRow& row) {
  Database().Statement(kCreateTable).Run();
  CSqliteStatement& insert = Database().Statement(kInsert);
  CStatementReset reset(insert);
  insert.BindInteger(1, row.searchTaskId);
  insert.BindText(2, row.problemFile);
  insert.BindText(3, row.problemText);
  insert.BindText(4, row.settings);
  insert.BindText(5, row.started.empty() ? LocalTimeNow() : row.started);
  insert.Run();
}

void WriteSearchEnded(int searchTaskId, const std::string& end) {
  if (!HasSqlTable("searches")) return;
  CSqliteStatement& update = Database().Statement(kEnded);
  CStatementReset reset(update);
  update.BindInteger(1, searchTaskId);
  update.BindText(2, LocalTimeNow());
  update.BindText(3, end);
  update.Run();
}

void WriteSearchResumed(int searchTaskId, int resumedBy) {
  if (!HasSqlTable("searches")) return;
  CSqliteStatement& update = Database().Statement(kResumed);
  CStatementReset reset(update);
  update.BindInteger(1, searchTaskId);
  update.BindInteger(2, resumedBy);
  update.Run();
}

std::vector<CSearchRow> ReadSearches() {
  std::vector<CSearchRow> rows;
  if (!HasSqlTable("searches")) return rows;
  CSqliteStatement& select = Database().Statement(kSelect);
  CStatementReset reset(select);
  while (select.Step()) {
    CSearchRow row;
    row.searchTaskId = static_cast<int>(select.ColumnInteger(0));
    row.problemFile = select.ColumnText(1);
    row.problemText = select.ColumnText(2);
    row.settings = select.ColumnText(3);
    row.started = select.ColumnText(4);
    row.ended = select.ColumnText(5);
    row.end = select.ColumnText(6);
    row.resumedBy = static_cast<int>(select.ColumnInteger(7));
    rows.push_back(std::move(row));
  }
  return rows;
}
