#pragma once

// The handle of the host's open task database.
//
// POD is opaque to every user but the host's database library: the module only
// passes POD* to the lock and to record constructors. One database is open per
// process at a time; the host opens and closes it (see hostlib/TaskDatabase.h).

class POD;

// The open task database, or null while none is open.
POD* GetPOD();
