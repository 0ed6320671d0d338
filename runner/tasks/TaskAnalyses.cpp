#include "tasks/TaskAnalyses.h"

#include <fmt/format.h>

#include <set>
#include <stdexcept>
#include <string>

#include "Records.h"
#include "tasks/SqlTables.h"

namespace {

constexpr const char* kCreateTable =
    "CREATE TABLE IF NOT EXISTS analyses (search_task_id INTEGER NOT NULL, position INTEGER NOT "
    "NULL, name BLOB NOT NULL, definition BLOB NOT NULL, PRIMARY KEY (search_task_id, position))";
constexpr const char* kInsert =
    "INSERT OR REPLACE INTO analyses (search_task_id, position, name, definition) VALUES (?1, ?2, "
    "?3, ?4)";
constexpr const char* kSelect =
    "SELECT name, definition FROM analyses WHERE search_task_id = ?1 ORDER BY position";

POD& Database() { return SqlTables("analyses"); }

std::string TextOf(const CSqliteStatement& statement, int column) {
  const unsigned char* data = statement.ColumnBlobData(column);
  return std::string(reinterpret_cast<const char*>(data), statement.ColumnBlobSize(column));
}

}  // namespace

int SearchTaskOf(int taskId) {
  std::set<int> seen;
  for (;;) {
    CTask task(GetPOD());
    task.m_nTaskID = taskId;
    if (!task.GetObject() || task.m_nParentTaskID == 0) return taskId;
    if (!seen.insert(taskId).second)
      throw std::invalid_argument(fmt::format("task {}: its parents form a cycle", taskId));
    taskId = task.m_nParentTaskID;
  }
}

void WriteAnalyses(int searchTaskId, const std::vector<CAnalysisDefinition>& analyses) {
  if (analyses.empty()) return;
  Database().Statement(kCreateTable).Run();
  CSqliteStatement& insert = Database().Statement(kInsert);
  for (size_t position = 0; position < analyses.size(); ++position) {
    const std::string json = AnalysisToJson(analyses[position]);
    CStatementReset reset(insert);
    insert.BindInteger(1, searchTaskId);
    insert.BindInteger(2, static_cast<int64_t>(position));
    insert.BindBlob(3, analyses[position].name.data(), analyses[position].name.size());
    insert.BindBlob(4, json.data(), json.size());
    insert.Run();
  }
}

std::vector<CAnalysisDefinition> ReadTaskAnalyses(int taskId) {
  std::vector<CAnalysisDefinition> analyses;
  if (!HasSqlTable("analyses")) return analyses;
  const int searchTaskId = SearchTaskOf(taskId);
  CSqliteStatement& select = Database().Statement(kSelect);
  CStatementReset reset(select);
  select.BindInteger(1, searchTaskId);
  while (select.Step()) {
    const std::string name = TextOf(select, 0);
    analyses.push_back(AnalysisFromJson(name, TextOf(select, 1)));
  }
  return analyses;
}
