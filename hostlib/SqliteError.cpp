#include "SqliteError.h"

#include <sqlite3.h>

#include "TaskDatabase.h"

std::string DatabaseFileName(sqlite3* connection) {
  const char* path = connection != nullptr ? sqlite3_db_filename(connection, "main") : nullptr;
  return path != nullptr && path[0] != '\0' ? path : ":memory:";
}

void ThrowSqliteError(sqlite3* connection, int resultCode, const std::string& statementText) {
  const std::string explanation =
      connection != nullptr ? sqlite3_errmsg(connection) : sqlite3_errstr(resultCode);
  throw CDatabaseError("task database '" + DatabaseFileName(connection) + "': " + explanation +
                       " (SQLite code " + std::to_string(resultCode) + ") in: " + statementText);
}
