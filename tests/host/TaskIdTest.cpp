// Task ids: drawn above every id handed out and every id that a record uses.

#include <gtest/gtest.h>

#include <limits>

#include "Records.h"
#include "TaskDatabase.h"

namespace {

class TaskIds : public ::testing::Test {
 protected:
  void SetUp() override { OpenTaskDatabase(":memory:"); }
  void TearDown() override { CloseTaskDatabase(); }
};

TEST_F(TaskIds, DrawnIdsCountUpFromOneAndTheLastIsRemembered) {
  CDBCtrl control(GetPOD());
  EXPECT_EQ(control.GetTaskID(false), 0);
  EXPECT_EQ(control.GetTaskID(true), 1);
  EXPECT_EQ(control.GetTaskID(true), 2);
  EXPECT_EQ(control.GetTaskID(false), 2);
  EXPECT_EQ(control.GetTaskID(false), 2);
}

TEST_F(TaskIds, DrawnIdsSkipIdsThatRecordsAlreadyUse) {
  CDBCtrl control(GetPOD());
  CTask task(GetPOD());
  task.m_nTaskID = 41;
  task.PutObject();
  EXPECT_EQ(control.GetTaskID(true), 42);

  CDPoint orphanPoint(GetPOD());
  orphanPoint.m_nTaskID = 100;
  orphanPoint.PutObject();
  EXPECT_EQ(control.GetTaskID(true), 101);
}

TEST_F(TaskIds, DrawingInsideAHeldLockNestsInIt) {
  CLock lock(GetPOD(), 0);
  EXPECT_EQ(CDBCtrl(GetPOD()).GetTaskID(true), 1);
  EXPECT_EQ(CDBCtrl(GetPOD()).GetTaskID(true), 2);
}

TEST_F(TaskIds, NoIdIsDrawnOnceTheLargestIsTaken) {
  CTask task(GetPOD());
  task.m_nTaskID = std::numeric_limits<int32_t>::max();
  task.PutObject();
  EXPECT_THROW(CDBCtrl(GetPOD()).GetTaskID(true), CDatabaseError);
}

}  // namespace
