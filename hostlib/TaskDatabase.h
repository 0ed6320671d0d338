#pragma once

// Opening and closing the task database: what a host program does before and
// after it works with records (host/Records.h).
//
//   OpenTaskDatabase("gear.db");      // GetPOD() now returns it
//   ... records, locks, the discrete module ...
//   CloseTaskDatabase();              // GetPOD() returns null again
//
// The database is one SQLite file (":memory:" for a private in-memory one),
// in WAL mode, shared safely by several processes through CLock.

#include <functional>
#include <stdexcept>
#include <string>

class POD;

// Every failure of the task database: the message names what was being done
// (the record and its key, or the file) and SQLite's own explanation.
class CDatabaseError : public std::runtime_error {
 public:
  explicit CDatabaseError(const std::string& message) : std::runtime_error(message) {}
};

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

// Opens the task database at the path and makes it the process's open
// database. Throws CDatabaseError naming the path and the reason when the file
// cannot be opened (a missing folder, no permission), is not a task database,
// or has a schema version this program does not know. Closes a database that
// was open before.
POD* OpenTaskDatabase(const std::string& path,
                      ETaskDatabaseAccess access = ETaskDatabaseAccess::ReadWrite);

// Closes the open database, if any; a hold of CLock still open is committed.
void CloseTaskDatabase();

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
