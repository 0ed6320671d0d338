#pragma once

// Everything of the task database that its users see: the handle, the lock,
// the value types and every record class.

#include "DBCtrl.h"
#include "DesignRecords.h"
#include "Lock.h"
#include "POD.h"
#include "Persistent.h"
#include "PersistentValues.h"
#include "TaskRecords.h"
