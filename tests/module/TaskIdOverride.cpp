#include "TaskIdOverride.h"

#include <dlfcn.h>

#include <utility>

#include "DBCtrl.h"

namespace {
int forcedTaskId = 0;  // handed out by the next GetTaskID(true); 0 for none
int thrownValue = 0;   // thrown by the next GetTaskID(true); 0 for none
}  // namespace

void ForceNextTaskId(int nTaskID) { forcedTaskId = nTaskID; }
void ThrowFromNextTaskId(int nThrown) { thrownValue = nThrown; }

// Defined in the test program, this interposes the host library's definition
// for every caller in the program; the host's own is the next one found.
int CDBCtrl::GetTaskID(bool bNew) {
  if (bNew && thrownValue != 0) throw std::exchange(thrownValue, 0);
  if (bNew && forcedTaskId > 0) return std::exchange(forcedTaskId, 0);
  using HostGetTaskID = int (*)(CDBCtrl*, bool);
  static const auto hostGetTaskID =
      reinterpret_cast<HostGetTaskID>(dlsym(RTLD_NEXT, "_ZN7CDBCtrl9GetTaskIDEb"));
  return hostGetTaskID(this, bNew);
}
