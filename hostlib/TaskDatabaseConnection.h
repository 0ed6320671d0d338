#pragma once

// The SQLite connection under the open task database, for host programs' own
// queries: reports, `PRAGMA integrity_check`, settings such as
// `PRAGMA synchronous`. The handle owns it; it is valid until the database is
// closed. Callers must not begin, commit or roll back transactions on it
// (CLock owns the transaction) and must finalize their own statements before
// the database is closed.

struct sqlite3;
class POD;

// The connection of the handle, or null for a null handle.
sqlite3* TaskDatabaseConnection(POD* pDatabase);
