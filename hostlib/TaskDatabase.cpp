// The process's open task database: opening, closing, the handle that GetPOD()
// returns, and the checks that bind records and locks to it.

#include "TaskDatabase.h"

#include <memory>

#include "POD.h"
#include "TaskDatabaseConnection.h"
#include "TaskDatabaseHandle.h"

namespace {

// The open task database; null while none is open. One per process.
std::unique_ptr<POD> openDatabase;

}  // namespace

POD* GetPOD() { return openDatabase.get(); }

POD* OpenTaskDatabase(const std::string& path, ETaskDatabaseAccess access) {
  // Opened first, so that a file that cannot be opened leaves the database
  // that was open in place.
  auto opened = std::make_unique<POD>(path, access);
  CloseTaskDatabase();
  openDatabase = std::move(opened);
  return openDatabase.get();
}

void CloseTaskDatabase() {
  if (!openDatabase) return;
  if (openDatabase->HoldDepth() == 0) {
    openDatabase.reset();
    return;
  }
  // CLock objects still hold it: commit and close now, keep the closed handle
  // until the last of them releases it (ReleaseLockHold deletes it).
  POD* heldDatabase = openDatabase.release();
  heldDatabase->Close();
}

POD& OpenHandle(POD* database, const std::string& user) {
  const std::string prefix = user.empty() ? "" : user + ": ";
  if (database == nullptr) throw CDatabaseError(prefix + "no task database is open");
  if (database != openDatabase.get())
    throw CDatabaseError(prefix + "its task database has been closed");
  return *database;
}

void ReleaseLockHold(POD* database) {
  const bool lastHold = database->ReleaseHold();
  if (lastHold && !database->IsOpen()) delete database;
}

sqlite3* TaskDatabaseConnection(POD* pDatabase) {
  return pDatabase != nullptr ? pDatabase->Connection() : nullptr;
}
