#pragma once

// A prepared SQLite statement: compiled once per connection, then run many
// times as bind -> Step() ... -> Reset(). Finalized by its destructor, which
// must run before the connection is closed (the owner declares its statements
// after the connection, so they go first).
//
//   CSqliteStatement select(connection, "SELECT data FROM \"CTask\" WHERE m_nTaskID = ?1");
//   {
//     CStatementReset resetOnExit(select);
//     select.BindInteger(1, taskId);
//     if (select.Step()) ... select.ColumnBlobData(0), select.ColumnBlobSize(0) ...
//   }  // reset here, so the statement holds no read transaction open
//
// Every failure goes to ThrowSqliteError. A step that finds the database
// locked by another process waits (LockWait.h): the connection's busy handler
// waits and Step() retries until the lock is free, or throws CDatabaseError
// naming the holder once the process's lock timeout has passed; callers never
// see SQLITE_BUSY.

#include <cstddef>
#include <cstdint>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

class CSqliteStatement {
 public:
  // Prepares the statement on the connection (flagged persistent: it is kept
  // for the life of the connection). Throws CDatabaseError on a syntax error
  // or a missing table.
  CSqliteStatement(sqlite3* connection, std::string text);
  ~CSqliteStatement();
  CSqliteStatement(const CSqliteStatement&) = delete;
  CSqliteStatement& operator=(const CSqliteStatement&) = delete;

  // Parameters are numbered from 1.
  void BindInteger(int index, int64_t value);
  void BindDouble(int index, double value);
  // The bytes are not copied: they must stay valid until Reset().
  void BindBlob(int index, const void* data, size_t size);
  void BindText(int index, const std::string& text);  // copied

  // Runs to the next result row: true with a row to read, false when the
  // statement has finished. Waits while another process holds the write lock,
  // up to the lock timeout.
  bool Step();
  // Steps to the end and resets: for statements whose rows are not needed.
  void Run();
  // Ready to run again; bindings are cleared.
  void Reset();

  // Columns of the current row, numbered from 0.
  int64_t ColumnInteger(int column) const;
  bool ColumnIsBlob(int column) const;  // false for NULL, text and numbers
  // The bytes of a BLOB column (ask for them before their size, as SQLite
  // requires); valid until the next Step() or Reset().
  const unsigned char* ColumnBlobData(int column) const;
  size_t ColumnBlobSize(int column) const;
  double ColumnDouble(int column) const;
  std::string ColumnText(int column) const;  // "" for NULL
  // The statement's result columns: their number, names, and each one's
  // SQLite type in the current row (SQLITE_INTEGER, SQLITE_FLOAT, SQLITE_TEXT,
  // SQLITE_BLOB or SQLITE_NULL).
  int ColumnCount() const;
  std::string ColumnName(int column) const;
  int ColumnType(int column) const;

 private:
  sqlite3* m_connection;      // not owned; outlives the statement
  sqlite3_stmt* m_statement;  // owned; never null after construction
  std::string m_text;         // the SQL, for error messages
};

// Resets a statement when it goes out of scope, on every path, so that an
// exception between binding and the last step leaves it ready for reuse.
class CStatementReset {
 public:
  explicit CStatementReset(CSqliteStatement& statement) : m_statement(statement) {}
  ~CStatementReset() { m_statement.Reset(); }
  CStatementReset(const CStatementReset&) = delete;
  CStatementReset& operator=(const CStatementReset&) = delete;

 private:
  CSqliteStatement& m_statement;  // the statement to reset; outlives this guard
};
