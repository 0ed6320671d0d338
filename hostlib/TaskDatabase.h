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

#include <string>

#include "DatabaseError.h"
#include "TaskDatabaseAccess.h"

class POD;

// Opens the task database at the path and makes it the process's open
// database. Throws CDatabaseError naming the path and the reason when the file
// cannot be opened (a missing folder, no permission), is not a task database,
// or has a schema version this program does not know. Closes a database that
// was open before.
POD* OpenTaskDatabase(const std::string& path,
                      ETaskDatabaseAccess access = ETaskDatabaseAccess::ReadWrite);

// Closes the open database, if any; a hold of CLock still open is committed.
void CloseTaskDatabase();
