// Task ids: drawn above every id handed out and every id that a record uses.

#include <gtest/gtest.h>

#include <limits>

#include "Records.h"
#include "TaskDatabase.h"

namespace {

TEST(TaskIds, DrawnIdsCountUpAndSkipEveryIdThatARecordUses) {
  OpenTaskDatabase(":memory:");
  CDBCtrl control(GetPOD());
  EXPECT_EQ(control.GetTaskID(false), 0);
  EXPECT_EQ(control.GetTaskID(true), 1);
  {
    CLock lock(GetPOD(), 0);  // drawing nests in a held lock
    EXPECT_EQ(control.GetTaskID(true), 2);
  }
  EXPECT_EQ(control.GetTaskID(false), 2);
  CTask task(GetPOD());
  task.m_nTaskID = 41;
  task.PutObject();
  EXPECT_EQ(control.GetTaskID(true), 42);
  CDPoint orphanPoint(GetPOD());
  orphanPoint.m_nTaskID = 100;
  orphanPoint.PutObject();
  EXPECT_EQ(control.GetTaskID(true), 101);
  task.m_nTaskID = std::numeric_limits<int32_t>::max();
  task.PutObject();
  EXPECT_THROW(control.GetTaskID(true), CDatabaseError)
      << "no id is drawn once the largest is taken";
  CloseTaskDatabase();
}

}  // namespace
