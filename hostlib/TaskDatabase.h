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

#include <stdexcept>
#include <string>

class POD;

// Every failure of the task database: the message names what was being done
// (the record and its key, or the file) and SQLite's own explanation.
class CDatabaseError : public std::runtime_error {
 public:
  explicit CDatabaseError(const std::string& message) : std::runtime_error(message) {}
};

// Opens (creating when missing) the task database at the path and makes it the
// process's open database. Throws CDatabaseError when the file cannot be
// opened, is not a task database, or has a schema version this program does
// not know. Closes a database that was open before.
POD* OpenTaskDatabase(const std::string& path);

// Closes the open database, if any; a hold of CLock still open is committed.
void CloseTaskDatabase();
