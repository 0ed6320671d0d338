// CLock: the hold count lives in the handle, so every CLock of the process on
// one database shares it; only the first hold talks to SQLite (BEGIN
// IMMEDIATE) and only the last release does (COMMIT).

#include "Lock.h"

#include <string>

#include "LogFile.h"
#include "TaskDatabase.h"
#include "TaskDatabaseHandle.h"

namespace {

POD* TakeHold(POD* database, long mode) {
  if (mode != 0)
    throw CDatabaseError("task database lock: mode " + std::to_string(mode) +
                         " is not supported (0 takes the exclusive hold)");
  OpenHandle(database, "task database lock").TakeHold();
  return database;
}

}  // namespace

CLock::CLock(POD* pDatabase, long nMode) : m_pDatabase(TakeHold(pDatabase, nMode)) {}

CLock::~CLock() {
  try {
    UnLock();
  } catch (const std::exception& error) {
    // A destructor may run while an exception unwinds and must not throw; the
    // failed commit is reported in the log instead.
    LError("task database lock released with an error: %s", error.what());
  }
}

void CLock::UnLock() {
  POD* database = m_pDatabase;
  m_pDatabase = nullptr;
  if (database != nullptr) ReleaseLockHold(database);
}
