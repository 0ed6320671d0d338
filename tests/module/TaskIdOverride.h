#pragma once

// The module's tests replace the host's CDBCtrl::GetTaskID by one that hands
// out a chosen id once, and otherwise forwards to the host's own. The host
// never draws an id that a record uses; this reaches the module's check for
// a result record that already exists under a new task id.
void ForceNextTaskId(int nTaskID);
