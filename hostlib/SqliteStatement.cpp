#include "SqliteStatement.h"

#include <sqlite3.h>

#include <chrono>

#include "LockWait.h"
#include "SqliteError.h"

CSqliteStatement::CSqliteStatement(sqlite3* connection, std::string text)
    : m_connection(connection), m_statement(nullptr), m_text(std::move(text)) {
  const int resultCode =
      sqlite3_prepare_v3(m_connection, m_text.c_str(), static_cast<int>(m_text.size()) + 1,
                         SQLITE_PREPARE_PERSISTENT, &m_statement, nullptr);
  if (resultCode != SQLITE_OK) {
    sqlite3_finalize(m_statement);
    ThrowSqliteError(m_connection, resultCode, m_text);
  }
}

CSqliteStatement::~CSqliteStatement() { sqlite3_finalize(m_statement); }

void CSqliteStatement::BindInteger(int index, int64_t value) {
  const int resultCode = sqlite3_bind_int64(m_statement, index, value);
  if (resultCode != SQLITE_OK) ThrowSqliteError(m_connection, resultCode, m_text);
}

void CSqliteStatement::BindBlob(int index, const void* data, size_t size) {
  const int resultCode = sqlite3_bind_blob64(m_statement, index, data, size, SQLITE_STATIC);
  if (resultCode != SQLITE_OK) ThrowSqliteError(m_connection, resultCode, m_text);
}

void CSqliteStatement::BindDouble(int index, double value) {
  const int resultCode = sqlite3_bind_double(m_statement, index, value);
  if (resultCode != SQLITE_OK) ThrowSqliteError(m_connection, resultCode, m_text);
}

void CSqliteStatement::BindText(int index, const std::string& text) {
  const int resultCode = sqlite3_bind_text64(m_statement, index, text.data(), text.size(),
                                             SQLITE_TRANSIENT, SQLITE_UTF8);
  if (resultCode != SQLITE_OK) ThrowSqliteError(m_connection, resultCode, m_text);
}

bool CSqliteStatement::Step() {
  std::chrono::steady_clock::time_point firstBusy;
  for (bool busyBefore = false;; busyBefore = true) {
    const int resultCode = sqlite3_step(m_statement);
    if (resultCode == SQLITE_ROW) return true;
    if (resultCode == SQLITE_DONE) return false;
    if ((resultCode & 0xff) != SQLITE_BUSY) ThrowSqliteError(m_connection, resultCode, m_text);
    // Another process holds the write lock and the busy handler (LockWait.h)
    // has given up, or SQLite reported busy without calling it (e.g. while
    // another process recovers the WAL). A statement reports busy before it
    // has produced a row or changed anything, so running it again from the
    // start is safe, until the lock timeout has passed since its first busy
    // report. The short sleep keeps the loop from spinning.
    if (!busyBefore) firstBusy = std::chrono::steady_clock::now();
    if (!MayWaitLonger(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - firstBusy).count()))
      ThrowLockTimeout(m_connection, m_text);
    sqlite3_reset(m_statement);
    sqlite3_sleep(1);
  }
}

void CSqliteStatement::Run() {
  CStatementReset resetOnExit(*this);
  while (Step()) {
  }
}

void CSqliteStatement::Reset() {
  // The result of reset repeats the error of the last step, which Step() has
  // already reported; reset itself cannot fail.
  sqlite3_reset(m_statement);
  sqlite3_clear_bindings(m_statement);
}

int64_t CSqliteStatement::ColumnInteger(int column) const {
  return sqlite3_column_int64(m_statement, column);
}

bool CSqliteStatement::ColumnIsBlob(int column) const {
  return sqlite3_column_type(m_statement, column) == SQLITE_BLOB;
}

const unsigned char* CSqliteStatement::ColumnBlobData(int column) const {
  return static_cast<const unsigned char*>(sqlite3_column_blob(m_statement, column));
}

size_t CSqliteStatement::ColumnBlobSize(int column) const {
  return static_cast<size_t>(sqlite3_column_bytes(m_statement, column));
}

double CSqliteStatement::ColumnDouble(int column) const {
  return sqlite3_column_double(m_statement, column);
}

int CSqliteStatement::ColumnCount() const { return sqlite3_column_count(m_statement); }

std::string CSqliteStatement::ColumnName(int column) const {
  return sqlite3_column_name(m_statement, column);
}

int CSqliteStatement::ColumnType(int column) const {
  return sqlite3_column_type(m_statement, column);
}

std::string CSqliteStatement::ColumnText(int column) const {
  const unsigned char* text = sqlite3_column_text(m_statement, column);  // before its size
  if (text == nullptr) return "";
  return std::string(reinterpret_cast<const char*>(text),
                     static_cast<size_t>(sqlite3_column_bytes(m_statement, column)));
}
