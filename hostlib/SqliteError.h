#pragma once

// The one place where a failed SQLite call becomes a CDatabaseError.
//
// Every SQLite result code other than success, a row or done ends here, so a
// debugger breakpoint on ThrowSqliteError catches every database failure of
// the process. The message names the database file, SQLite's own explanation
// (sqlite3_errmsg, read before anything else can overwrite it), the result
// code, the operating system's reason when a system call failed, and the
// statement that failed:
//
//   task database '/tmp/gear.db': database or disk is full (SQLite code 13; No space left on
//   device) in: COMMIT

#include <string>

struct sqlite3;

// Throws CDatabaseError for the failure that the last call on the connection
// reported with resultCode; statementText is the SQL (or the name of the
// C API call) that failed. A null connection (a failed allocation in
// sqlite3_open_v2) is reported as well.
[[noreturn]] void ThrowSqliteError(sqlite3* connection, int resultCode,
                                   const std::string& statementText);

// SQLite's explanation of the failure, its result code and, for failures of a
// system call (open, write, ...), the operating system's reason:
// "unable to open database file (SQLite code 14; No such file or directory)".
std::string SqliteFailure(sqlite3* connection, int resultCode);

// The name under which messages show the connection's database file:
// its path, or ":memory:" for a private in-memory database.
std::string DatabaseFileName(sqlite3* connection);
