#include "TaskDatabaseHandle.h"

#include <cassert>

#include "Persistent.h"
#include "RecordKey.h"
#include "SqliteError.h"
#include "TaskDatabase.h"
#include "TaskDatabaseSchema.h"

namespace {

// How long one wait for another process's write lock lasts before SQLite
// reports busy; CSqliteStatement::Step() then simply waits again.
constexpr int kBusyWaitMilliseconds = 1000;

std::string KeyCondition(const std::vector<std::string>& keyNames) {
  std::string condition;
  for (size_t i = 0; i < keyNames.size(); ++i)
    condition += (i > 0 ? " AND " : "") + keyNames[i] + " = ?" + std::to_string(i + 1);
  return condition;
}

std::string UpsertSql(const std::string& table, const std::vector<std::string>& keyNames) {
  std::string columns;
  std::string parameters;
  for (size_t i = 0; i < keyNames.size(); ++i) {
    columns += keyNames[i] + ", ";
    parameters += "?" + std::to_string(i + 1) + ", ";
  }
  return "INSERT OR REPLACE INTO " + table + " (" + columns + "data) VALUES (" + parameters + "?" +
         std::to_string(keyNames.size() + 1) + ")";
}

}  // namespace

CRecordStatements::CRecordStatements(sqlite3* connection, pvPersistent& prototype)
    : CRecordStatements(connection, std::string("\"") + prototype.RecordName() + "\"",
                        KeyFieldNames(prototype)) {}

CRecordStatements::CRecordStatements(sqlite3* connection, const std::string& table,
                                     const std::vector<std::string>& keyNames)
    : m_dataParameter(static_cast<int>(keyNames.size()) + 1),
      m_select(connection, "SELECT data FROM " + table + " WHERE " + KeyCondition(keyNames)),
      m_upsert(connection, UpsertSql(table, keyNames)),
      m_exists(connection, "SELECT 1 FROM " + table + " WHERE " + KeyCondition(keyNames)) {}

POD::POD(const std::string& path) {
  sqlite3* connection = nullptr;
  const int resultCode =
      sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  m_connection.reset(connection);
  if (resultCode != SQLITE_OK) ThrowSqliteError(connection, resultCode, "open '" + path + "'");
  sqlite3_busy_timeout(connection, kBusyWaitMilliseconds);
  PrepareTaskDatabase(connection);
  m_begin = std::make_unique<CSqliteStatement>(connection, "BEGIN IMMEDIATE");
  m_commit = std::make_unique<CSqliteStatement>(connection, "COMMIT");
}

POD::~POD() { CloseConnection(); }

void POD::TakeHold() {
  if (!IsOpen()) throw CDatabaseError("cannot take the task database lock: the task database has been closed");
  if (m_holdDepth == 0) m_begin->Run();
  ++m_holdDepth;
}

bool POD::ReleaseHold() {
  assert(m_holdDepth > 0 && "a hold is released only by the CLock that took it");
  if (--m_holdDepth > 0) return false;
  if (IsOpen()) Commit();
  return true;
}

void POD::Commit() {
  try {
    m_commit->Run();
  } catch (...) {
    // The writes could not be made durable. End the transaction all the same,
    // so that the file is not left locked against every other process.
    if (sqlite3_get_autocommit(Connection()) == 0) sqlite3_exec(Connection(), "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
}

void POD::Close() {
  if (!IsOpen()) return;
  try {
    if (m_holdDepth > 0) Commit();
  } catch (...) {
    CloseConnection();
    throw;
  }
  CloseConnection();
}

void POD::CloseConnection() {
  m_recordStatements.clear();
  m_statements.clear();
  m_begin.reset();
  m_commit.reset();
  m_connection.reset();
}

CRecordStatements& POD::RecordStatements(pvPersistent& record) {
  std::unique_ptr<CRecordStatements>& statements = m_recordStatements[record.RecordName()];
  if (!statements) statements = std::make_unique<CRecordStatements>(Connection(), record);
  return *statements;
}

CSqliteStatement& POD::Statement(const std::string& sql) {
  std::unique_ptr<CSqliteStatement>& statement = m_statements[sql];
  if (!statement) statement = std::make_unique<CSqliteStatement>(Connection(), sql);
  return *statement;
}
