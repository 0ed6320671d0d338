#pragma once

// The module's tests replace the host's CDBCtrl::GetTaskID by one that hands
// out a chosen id once, and otherwise forwards to the host's own. The host
// never draws an id that a record uses; this reaches the module's check for
// a result record that already exists under a new task id, and lets a host
// call fail with an exception outside std::exception.
void ForceNextTaskId(int nTaskID);
// The next GetTaskID(true) throws this value (an int).
void ThrowFromNextTaskId(int nThrown);
