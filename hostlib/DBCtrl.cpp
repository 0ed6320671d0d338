// Task ids are drawn under the task database lock (nested in the caller's
// hold when there is one), so that processes sharing the file never draw the
// same id. A drawn id lies above both the last id handed out and every task id
// that any record uses, which also skips ids that a host wrote directly.

#include "DBCtrl.h"

#include <cstdint>
#include <limits>

#include "Lock.h"
#include "TaskDatabase.h"
#include "TaskDatabaseHandle.h"
#include "TaskDatabaseSchema.h"

int CDBCtrl::GetTaskID(bool bNew) {
  POD& database = OpenHandle(m_pDatabase, "CDBCtrl");
  if (!bNew) {
    CSqliteStatement& last = database.Statement("SELECT m_nLastTaskID FROM CDBCtrl WHERE id = 1");
    CStatementReset resetOnExit(last);
    return last.Step() ? static_cast<int>(last.ColumnInteger(0)) : 0;
  }

  CLock hold(m_pDatabase, 0);
  static const std::string highestTaskIdSql = HighestTaskIdSql();
  CSqliteStatement& highest = database.Statement(highestTaskIdSql);
  int64_t highestUsed = 0;
  {
    CStatementReset resetOnExit(highest);
    if (highest.Step()) highestUsed = highest.ColumnInteger(0);
  }
  if (highestUsed >= std::numeric_limits<int32_t>::max())
    throw CDatabaseError("CDBCtrl: no task id is left (ids up to " + std::to_string(highestUsed) +
                         " are taken)");
  const int64_t taskId = highestUsed + 1;

  CSqliteStatement& reserve =
      database.Statement("UPDATE CDBCtrl SET m_nLastTaskID = ?1 WHERE id = 1");
  reserve.BindInteger(1, taskId);
  reserve.Run();
  return static_cast<int>(taskId);
}
