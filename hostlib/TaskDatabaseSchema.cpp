#include "TaskDatabaseSchema.h"

#include <sqlite3.h>

#include <functional>

#include "DatabaseError.h"
#include "RecordKey.h"
#include "Records.h"
#include "SqliteError.h"
#include "SqliteStatement.h"

namespace {

// Calls visit with an unbound prototype of every record class that a task
// database holds.
void ForEachRecordClass(const std::function<void(pvPersistent&)>& visit) {
  CTask task(nullptr);
  CResult result(nullptr);
  CIter iteration(nullptr);
  CDPoint point(nullptr);
  CDVar variables(nullptr);
  CDSet sets(nullptr);
  CDResp responses(nullptr);
  CDObj objectives(nullptr);
  CDCons constraints(nullptr);
  CDEqn equations(nullptr);
  CDLink links(nullptr);
  for (pvPersistent* record : std::initializer_list<pvPersistent*>{
           &task, &result, &iteration, &point, &variables, &sets, &responses, &objectives,
           &constraints, &equations, &links})
    visit(*record);
}

int64_t QueryInteger(sqlite3* connection, const std::string& sql) {
  CSqliteStatement query(connection, sql);
  CStatementReset resetOnExit(query);
  return query.Step() ? query.ColumnInteger(0) : 0;
}

void Execute(sqlite3* connection, const std::string& sql) {
  CSqliteStatement(connection, sql).Run();
}

// What a file is, as far as opening it is concerned.
struct CFileIdentity {
  int64_t m_nApplicationId;  // PRAGMA application_id
  int64_t m_nVersion;        // PRAGMA user_version
  int64_t m_nTableCount;     // entries of sqlite_schema; 0 in a new file

  bool IsEmpty() const { return m_nApplicationId == 0 && m_nVersion == 0 && m_nTableCount == 0; }
};

CFileIdentity IdentifyFile(sqlite3* connection) {
  // The first read of a file that is not a SQLite database fails here, with
  // SQLite's "file is not a database" and the file's name.
  return {QueryInteger(connection, "PRAGMA application_id"),
          QueryInteger(connection, "PRAGMA user_version"),
          QueryInteger(connection, "SELECT count(*) FROM sqlite_schema")};
}

void CreateSchema(sqlite3* connection) {
  Execute(connection, "PRAGMA application_id = " + std::to_string(kTaskDatabaseApplicationId));
  Execute(connection, "PRAGMA user_version = " + std::to_string(kTaskDatabaseSchemaVersion));
  Execute(connection,
          "CREATE TABLE CDBCtrl (id INTEGER PRIMARY KEY CHECK (id = 1), "
          "m_nLastTaskID INTEGER NOT NULL)");
  Execute(connection, "INSERT INTO CDBCtrl (id, m_nLastTaskID) VALUES (1, 0)");
  ForEachRecordClass(
      [connection](pvPersistent& record) { Execute(connection, RecordTableSql(record)); });
}

void CheckIdentity(sqlite3* connection, const CFileIdentity& identity) {
  const std::string file = "'" + DatabaseFileName(connection) + "'";
  if (identity.m_nApplicationId != kTaskDatabaseApplicationId)
    throw CDatabaseError(file +
                         " is not a task database: it is a SQLite database of another application "
                         "(application id " +
                         std::to_string(identity.m_nApplicationId) + ", " +
                         std::to_string(identity.m_nTableCount) + " schema entries)");
  if (identity.m_nVersion != kTaskDatabaseSchemaVersion)
    throw CDatabaseError("task database " + file + " has schema version " +
                         std::to_string(identity.m_nVersion) +
                         ", which this program cannot read (it reads version " +
                         std::to_string(kTaskDatabaseSchemaVersion) + ")");
}

}  // namespace

void PrepareTaskDatabase(sqlite3* connection) {
  CFileIdentity identity = IdentifyFile(connection);
  if (identity.IsEmpty()) {
    // Two processes may create the same new file at once: the one that gets
    // the write lock first creates the schema, the other finds it made.
    CSqliteStatement begin(connection, "BEGIN IMMEDIATE");
    CSqliteStatement commit(connection, "COMMIT");
    begin.Run();
    identity = IdentifyFile(connection);
    if (identity.IsEmpty()) {
      CreateSchema(connection);
      identity = IdentifyFile(connection);
    }
    commit.Run();
  }
  CheckIdentity(connection, identity);
  Execute(connection, "PRAGMA journal_mode = WAL");
  Execute(connection, "PRAGMA synchronous = NORMAL");
}

void CheckTaskDatabase(sqlite3* connection) {
  const CFileIdentity identity = IdentifyFile(connection);
  if (identity.IsEmpty())
    throw CDatabaseError("'" + DatabaseFileName(connection) +
                         "' is not a task database: the file is empty");
  CheckIdentity(connection, identity);
}

std::string RecordTableSql(pvPersistent& record) {
  const std::vector<std::string> keyNames = KeyFieldNames(record);
  std::string sql = std::string("CREATE TABLE \"") + record.RecordName() + "\" (";
  if (keyNames.size() == 1) return sql + keyNames[0] + " INTEGER PRIMARY KEY, data BLOB NOT NULL)";
  std::string keyList;
  for (const std::string& name : keyNames) {
    sql += name + " INTEGER NOT NULL, ";
    keyList += (keyList.empty() ? "" : ", ") + name;
  }
  return sql + "data BLOB NOT NULL, PRIMARY KEY (" + keyList + "))";
}

std::string HighestTaskIdSql() {
  std::string sql = "SELECT max((SELECT m_nLastTaskID FROM CDBCtrl WHERE id = 1)";
  ForEachRecordClass([&sql](pvPersistent& record) {
    sql += std::string(", (SELECT ifnull(max(m_nTaskID), 0) FROM \"") + record.RecordName() + "\")";
  });
  return sql + ")";
}
