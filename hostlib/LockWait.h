#pragma once

// Waiting for a write lock that another process holds on the task database.
//
// Every connection gets a SQLite busy handler that waits in short sleeps.
// Once a wait has lasted kLockWaitNoticeSeconds, the waiting notice of the
// process's settings (TaskDatabaseAccess.h, SetLockWaitSettings) is called once
// with who holds the lock; when the wait reaches the timeout the handler
// gives up and the statement throws CDatabaseError naming the holder and the
// time waited. A timeout of 0 gives up at once.
//
// Who holds the lock is read from /proc/locks: the process holding the POSIX
// write lock that SQLite's unix VFS takes for a write transaction (WAL mode:
// byte 120 of the "-shm" file, the WAL write lock; rollback journal: the
// RESERVED byte of the database file). /proc/locks is read rather than asking
// with fcntl(F_GETLK) on a descriptor of our own, because closing any
// descriptor of a file drops every POSIX lock the process holds on it,
// SQLite's included.

#include <string>

struct sqlite3;

constexpr double kLockWaitNoticeSeconds = 1.0;

// Installs the waiting busy handler on a connection.
void InstallLockWait(sqlite3* connection);

// Whether a statement that has been reported busy for `waitedSeconds` (SQLite
// reports busy without calling the handler in a few cases) may be run again.
bool MayWaitLonger(double waitedSeconds);

// "process 1234 (discrete solve gear.toml)" for the process that holds the
// write lock of the database file, or "another process" when none can be found.
std::string DescribeLockHolder(const std::string& databaseFile);

// Throws CDatabaseError: the statement did not get the lock in time.
[[noreturn]] void ThrowLockTimeout(sqlite3* connection, const std::string& statementText);
