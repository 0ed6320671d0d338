#include "commands/Export.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <vector>

#include "Records.h"
#include "SqliteStatement.h"
#include "TaskDatabase.h"
#include "TaskDatabaseConnection.h"
#include "commands/Commands.h"
#include "commands/JsonOutput.h"
#include "tasks/RecordViews.h"
#include "tasks/SqlTables.h"

namespace {

constexpr const char* kTables[] = {"tasks", "results", "designs", "evaluations", nullptr};

// A table's rows; evaluations under the column names of the other tables.
std::string SelectSql(const std::string& table) {
  if (table == "evaluations") {
    return "SELECT id, task_id AS task, analysis, attempt, evaluation_id, status, inputs, "
           "responses, reason, seconds, folder FROM evaluations ORDER BY id";
  }
  return fmt::format("SELECT * FROM temp.{} ORDER BY {}", table,
                     table == "designs" ? "task, variable" : "task");
}

// Calls row() for each row of the table; none for evaluations without the table.
template <class TRow>
void ForEachRow(const std::string& table, const TRow& row) {
  if (table == "evaluations" && !HasSqlTable("evaluations")) return;
  CSqliteStatement select(TaskDatabaseConnection(GetPOD()), SelectSql(table));
  while (select.Step()) row(select);
}

// The header's column names; for a table without rows, those of its query.
std::vector<std::string> ColumnNames(const std::string& table) {
  if (table == "evaluations" && !HasSqlTable("evaluations"))
    return {"id",     "task",      "analysis", "attempt", "evaluation_id", "status",
            "inputs", "responses", "reason",   "seconds", "folder"};
  CSqliteStatement select(TaskDatabaseConnection(GetPOD()), SelectSql(table));
  std::vector<std::string> names;
  for (int column = 0; column < select.ColumnCount(); ++column)
    names.push_back(select.ColumnName(column));
  return names;
}

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

std::string CsvValue(const CSqliteStatement& row, int column) {
  switch (row.ColumnType(column)) {
    case SQLITE_INTEGER:
      return std::to_string(row.ColumnInteger(column));
    case SQLITE_FLOAT: {
      const double value = row.ColumnDouble(column);
      if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
      return fmt::format("{}", value);
    }
    case SQLITE_NULL:
      return "";
    default:
      return CsvField(row.ColumnText(column));
  }
}

void WriteCsv(FILE* out, const std::string& table) {
  std::string line;
  for (const std::string& name : ColumnNames(table)) line += (line.empty() ? "" : ",") + name;
  fmt::print(out, "{}\r\n", line);
  ForEachRow(table, [out](const CSqliteStatement& row) {
    std::string text;
    for (int column = 0; column < row.ColumnCount(); ++column)
      text += (column > 0 ? "," : "") + CsvValue(row, column);
    fmt::print(out, "{}\r\n", text);
  });
}

CJson JsonValue(const CSqliteStatement& row, int column) {
  switch (row.ColumnType(column)) {
    case SQLITE_INTEGER:
      return row.ColumnInteger(column);
    case SQLITE_FLOAT:
      return JsonNumber(row.ColumnDouble(column));
    case SQLITE_NULL:
      return nullptr;
    default:
      return row.ColumnText(column);
  }
}

CJson JsonRows(const std::string& table) {
  CJson rows = CJson::array();
  ForEachRow(table, [&rows](const CSqliteStatement& row) {
    CJson object = CJson::object();
    for (int column = 0; column < row.ColumnCount(); ++column)
      object[row.ColumnName(column)] = JsonValue(row, column);
    rows.push_back(std::move(object));
  });
  return rows;
}

struct CFileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};
using CFile = std::unique_ptr<FILE, CFileCloser>;

// A new file: one that exists is refused, so that nothing is overwritten.
CFile CreateFile(const std::string& path) {
  if (std::filesystem::exists(path))
    throw CUsageError(fmt::format("{} exists already; export never overwrites a file", path));
  CFile file(std::fopen(path.c_str(), "wx"));
  if (!file) throw std::runtime_error(fmt::format("cannot write {}: {}", path, strerror(errno)));
  return file;
}

// Closes the file and reports a failed write (a full disk).
void Finish(CFile file, const std::string& path) {
  const bool failed = std::ferror(file.get()) != 0;
  if (std::fclose(file.release()) != 0 || failed)
    throw std::runtime_error(fmt::format("cannot write {}: {}", path, strerror(errno)));
}

struct CDatabaseSession {
  explicit CDatabaseSession(const CExportOptions& options) {
    if (options.storeViews) {
      if (!std::filesystem::is_regular_file(options.databasePath))
        throw CDatabaseError(options.databasePath + ": no such database file");
      OpenTaskDatabase(options.databasePath);
      CreateRecordViews();
    } else {
      OpenExistingDatabase(options.databasePath);
    }
    CreateTemporaryRecordViews();
  }
  ~CDatabaseSession() { CloseTaskDatabase(); }
};

std::vector<std::string> ChosenTables(const CExportOptions& options) {
  if (options.table) return {*options.table};
  std::vector<std::string> tables;
  for (const char* const* table = kTables; *table != nullptr; ++table) tables.emplace_back(*table);
  return tables;
}

}  // namespace

const char* const* ExportTables() { return kTables; }

EExitCode RunExport(const CExportOptions& options, FILE* out) {
  const bool toFolder = options.format == EExportFormat::Csv && !options.table;
  if (toFolder && options.output.empty())
    throw CUsageError(
        "CSV of every table needs --output FOLDER (one file per table); or choose one table "
        "with --table NAME");
  const CDatabaseSession session(options);
  const std::vector<std::string> tables = ChosenTables(options);
  if (toFolder) {
    std::filesystem::create_directories(options.output);
    for (const std::string& table : tables) {  // checked before any is written
      const std::string path = (std::filesystem::path(options.output) / (table + ".csv")).string();
      if (std::filesystem::exists(path))
        throw CUsageError(fmt::format("{} exists already; export never overwrites a file", path));
    }
    for (const std::string& table : tables) {
      const std::string path = (std::filesystem::path(options.output) / (table + ".csv")).string();
      CFile file = CreateFile(path);
      WriteCsv(file.get(), table);
      Finish(std::move(file), path);
    }
    return EExitCode::Success;
  }
  CFile file = options.output.empty() ? nullptr : CreateFile(options.output);
  FILE* target = file ? file.get() : out;
  if (options.format == EExportFormat::Csv) {
    WriteCsv(target, tables.front());
  } else {
    CJson document = JsonDocument("discrete-export");
    document["database"] = options.databasePath;
    for (const std::string& table : tables) document[table] = JsonRows(table);
    PrintJson(target, document);
  }
  if (file) Finish(std::move(file), options.output);
  return EExitCode::Success;
}
