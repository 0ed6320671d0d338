#include "SqliteError.h"

#include <sqlite3.h>

#include <cstring>

#include "DatabaseError.h"

namespace {

// Result codes whose cause is a failed system call, so that the operating
// system's reason (sqlite3_system_errno) tells what went wrong.
bool HasSystemCause(int resultCode) {
  switch (resultCode & 0xff) {
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
    case SQLITE_FULL:
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return true;
    default:
      return false;
  }
}

}  // namespace

std::string DatabaseFileName(sqlite3* connection) {
  const char* path = connection != nullptr ? sqlite3_db_filename(connection, "main") : nullptr;
  return path != nullptr && path[0] != '\0' ? path : ":memory:";
}

std::string SqliteFailure(sqlite3* connection, int resultCode) {
  const std::string explanation =
      connection != nullptr ? sqlite3_errmsg(connection) : sqlite3_errstr(resultCode);
  const int systemError =
      connection != nullptr && HasSystemCause(resultCode) ? sqlite3_system_errno(connection) : 0;
  return explanation + " (SQLite code " + std::to_string(resultCode) +
         (systemError != 0 ? std::string("; ") + std::strerror(systemError) : std::string()) + ")";
}

void ThrowSqliteError(sqlite3* connection, int resultCode, const std::string& statementText) {
  throw CDatabaseError("task database '" + DatabaseFileName(connection) +
                       "': " + SqliteFailure(connection, resultCode) + " in: " + statementText);
}
