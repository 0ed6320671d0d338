#include "tasks/SqlTables.h"

#include "Records.h"

POD& SqlTables(const char* user) { return OpenHandle(GetPOD(), user); }

bool HasSqlTable(const char* table) {
  CSqliteStatement& statement = SqlTables(table).Statement(
      "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = ?1");
  CStatementReset reset(statement);
  statement.BindText(1, table);
  return statement.Step() && statement.ColumnInteger(0) > 0;
}
