#pragma once

// How this process opens the task database (ETaskDatabaseAccess, taken by
// OpenTaskDatabase in TaskDatabase.h) and how long it waits for a write lock
// that another process holds (CLockWaitSettings; LockWait.cpp does the
// waiting).

#include <functional>
#include <string>

enum class ETaskDatabaseAccess {
  // Read and write; a missing file is created. A file this process may not
  // write is refused ("... is read-only ...").
  ReadWrite,
  // Read only, and nothing is ever written: neither the file nor a "-wal" or
  // "-shm" file beside it is created or changed. Without a "-wal" file (no
  // writer has commits outside the main file) the file is opened immutable,
  // which also reads files in folders this process may not write; with one,
  // it is read through the WAL, so that a killed writer's commits are seen.
  // A missing file is not created.
  ReadOnly,
};

// How long a statement waits for a write lock that another process holds, and
// whom it tells that it waits (LockWait.h). Process-wide; in effect for the
// open database and every later one.
struct CLockWaitSettings {
  // Seconds to wait before throwing CDatabaseError "task database '...' is
  // locked by process 1234 (...): gave up waiting for it after 30 s in: ...";
  // 0 gives up at once.
  double timeoutSeconds = 30.0;
  // Called once per wait that lasts longer than a second, with the database
  // file and its lock's holder ("process 1234 (discrete solve x.toml)" or
  // "another process"); may be empty.
  std::function<void(const std::string& file, const std::string& holder)> onWaiting;
};
void SetLockWaitSettings(CLockWaitSettings settings);
