// Reading, writing, testing and copying records: every field of every record
// class must come back bit for bit, and a failed read must change nothing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DatabaseFiles.h"
#include "RecordFields.h"
#include "Records.h"
#include "TaskDatabase.h"

namespace {

using ::testing::StrEq;
using ::testing::ThrowsMessage;

class RecordStorage : public ::testing::Test {
 protected:
  void SetUp() override { OpenTaskDatabase(":memory:"); }
  void TearDown() override { CloseTaskDatabase(); }
};

TEST_F(RecordStorage, OnlyTheWholeKeyFindsARecordAndAMissingOneChangesNothing) {
  CDPoint stored = PutFilled<CDPoint>(GetPOD(), 4, 1, 2), point(GetPOD());
  FillFields(point, 7);
  const std::string before = DescribeFields(point);
  for (const auto& [taskId, pointId] : std::vector<std::pair<int, int>>{{4, 3}, {2, 4}, {5, 2}}) {
    point.m_nTaskID = taskId;
    point.m_nPointID = pointId;
    EXPECT_FALSE(point.FindObject());
    EXPECT_FALSE(point.GetObject());
    EXPECT_EQ(DescribeFields(point), before);
  }
  point.m_nTaskID = 4;
  point.m_nPointID = 2;
  EXPECT_TRUE(point.FindObject());
  ASSERT_TRUE(point.GetObject());
  EXPECT_EQ(DescribeFields(point), DescribeFields(stored));
}

TEST(RecordStorageWithoutDatabase, RecordsAndLocksOnANullOrClosedHandleThrowClearErrors) {
  CloseTaskDatabase();
  CTask unbound(GetPOD());
  unbound.m_nTaskID = 5;
  EXPECT_THAT([&] { unbound.GetObject(); },
              ThrowsMessage<CDatabaseError>(StrEq("CTask (task 5): no task database is open")));
  EXPECT_THAT([] { CLock lock(nullptr, 0); },
              ThrowsMessage<CDatabaseError>(StrEq("task database lock: no task database is open")));
  POD* closed = OpenTaskDatabase(":memory:");
  EXPECT_THROW(CLock(closed, 1), CDatabaseError) << "the mode is reserved";
  CloseTaskDatabase();
  CResult stale(closed);
  EXPECT_THROW(stale.PutObject(), CDatabaseError);
  EXPECT_THROW(CLock(closed, 0), CDatabaseError);
}

TEST(RecordStorageOnFile, RecordsPersistAcrossCloseAndReopen) {
  CScratchDirectory directory;
  const std::string path = directory.File("tasks.db");
  CTask task = PutFilled<CTask>(OpenTaskDatabase(path), 8, 5);
  CDPoint longPoint(GetPOD());  // one long array: 100,000 values
  longPoint.m_nTaskID = 8;
  longPoint.m_vaValues.resize(100000);
  for (size_t i = 0; i < longPoint.m_vaValues.size(); ++i)
    longPoint.m_vaValues[i] = 1.0 / (i + 3.0);
  longPoint.PutObject();
  CloseTaskDatabase();
  OpenTaskDatabase(path);
  CTask taskRead(GetPOD());
  taskRead.m_nTaskID = 8;
  ASSERT_TRUE(taskRead.GetObject());
  EXPECT_EQ(DescribeFields(taskRead), DescribeFields(task));
  CDPoint longRead(GetPOD());
  longRead.m_nTaskID = 8;
  ASSERT_TRUE(longRead.GetObject());
  EXPECT_EQ(DescribeFields(longRead), DescribeFields(longPoint));
  CloseTaskDatabase();
}

// Every record class: all fields survive a write and a read, and each class
// with Copy copies all of them.
template <class TRecord>
class EveryRecordClass : public RecordStorage {};

using AllRecordClasses = ::testing::Types<CTask, CResult, CIter, CDPoint, CDVar, CDSet, CDResp,
                                          CDObj, CDCons, CDEqn, CDLink>;
TYPED_TEST_SUITE(EveryRecordClass, AllRecordClasses);

// Each seed's record replaces the one before under the same key, and one
// object reads them all: every read replaces all its data.
TYPED_TEST(EveryRecordClass, EveryFieldRoundTripsExactly) {
  TypeParam read(GetPOD());
  read.m_nTaskID = 1;
  for (unsigned seed = 0; seed < 4; ++seed) {
    TypeParam written = PutFilled<TypeParam>(GetPOD(), 1, seed);
    ASSERT_TRUE(read.GetObject());
    EXPECT_EQ(DescribeFields(read), DescribeFields(written)) << "seed " << seed;
  }
}

template <class TRecord>
class CopyableRecordClass : public RecordStorage {};

using CopyableRecordClasses =
    ::testing::Types<CTask, CDPoint, CDVar, CDSet, CDResp, CDObj, CDCons, CDEqn, CDLink>;
TYPED_TEST_SUITE(CopyableRecordClass, CopyableRecordClasses);

TYPED_TEST(CopyableRecordClass, CopyUnderANewTaskIdLeavesTheSourceAsStored) {
  TypeParam source = PutFilled<TypeParam>(GetPOD(), 3, 11), copy(GetPOD()), read(GetPOD());
  FillFields(copy, 12);  // an earlier copy's data, all to be replaced
  copy.Copy(source);
  copy.m_nTaskID = 4;
  copy.PutObject();
  EXPECT_EQ(source.m_nTaskID, 3);
  for (int taskId : {3, 4}) {
    read.m_nTaskID = taskId;
    ASSERT_TRUE(read.GetObject());
    EXPECT_EQ(DescribeFields(read), DescribeFields(source)) << "task " << taskId;
  }
}

}  // namespace
