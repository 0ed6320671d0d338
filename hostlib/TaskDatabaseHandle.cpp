#include "TaskDatabaseHandle.h"

#include <cassert>
#include <cctype>
#include <cstdio>
#include <filesystem>

#include "DatabaseError.h"
#include "LockWait.h"
#include "Persistent.h"
#include "RecordKey.h"
#include "SqliteError.h"
#include "TaskDatabaseSchema.h"

namespace {

// The URI that opens a file read-only (RFC 3986 percent-encoding of every
// byte but unreserved characters and '/'); immutable when no "-wal" file
// holds commits outside the main file, so that SQLite creates no "-wal" and
// "-shm" files (which it otherwise does, even read-only).
std::string ReadOnlyUri(const std::string& path) {
  std::string uri = "file:";
  for (unsigned char c : path) {
    if (std::isalnum(c) || c == '/' || c == '-' || c == '.' || c == '_' || c == '~') {
      uri += static_cast<char>(c);
    } else {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "%%%02X", c);
      uri += escaped;
    }
  }
  std::error_code ignored;
  const bool hasWal = std::filesystem::file_size(path + "-wal", ignored) > 0 && !ignored;
  return uri + (hasWal ? "?mode=ro" : "?mode=ro&immutable=1");
}

sqlite3* OpenConnection(const std::string& path, ETaskDatabaseAccess access) {
  sqlite3* connection = nullptr;
  const int resultCode = access == ETaskDatabaseAccess::ReadOnly
                             ? sqlite3_open_v2(ReadOnlyUri(path).c_str(), &connection,
                                               SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr)
                             : sqlite3_open_v2(path.c_str(), &connection,
                                               SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  if (resultCode == SQLITE_OK) return connection;
  // The connection has no file name yet: the message names the path given.
  const std::string failure = SqliteFailure(connection, resultCode);
  sqlite3_close_v2(connection);
  throw CDatabaseError("task database '" + path + "': " + failure + " in: open");
}

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

POD::POD(const std::string& path, ETaskDatabaseAccess access)
    : m_connection(OpenConnection(path, access)) {
  sqlite3* connection = m_connection.get();
  InstallLockWait(connection);
  if (access == ETaskDatabaseAccess::ReadOnly) {
    CheckTaskDatabase(connection);
    return;
  }
  // SQLite opens a file it may not write read-only without saying so; the
  // first write would then fail in the middle of the work.
  if (sqlite3_db_readonly(connection, "main") == 1)
    throw CDatabaseError("task database '" + path +
                         "' is read-only: this process may not write to it");
  PrepareTaskDatabase(connection);
  m_begin = std::make_unique<CSqliteStatement>(connection, "BEGIN IMMEDIATE");
  m_commit = std::make_unique<CSqliteStatement>(connection, "COMMIT");
}

POD::~POD() { CloseConnection(); }

void POD::TakeHold() {
  if (!IsOpen())
    throw CDatabaseError("cannot take the task database lock: the task database has been closed");
  if (!m_begin)
    throw CDatabaseError("task database '" + DatabaseFileName(Connection()) +
                         "' is open read-only: its lock cannot be taken");
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
    if (sqlite3_get_autocommit(Connection()) == 0)
      sqlite3_exec(Connection(), "ROLLBACK", nullptr, nullptr, nullptr);
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
