// Reading, writing, testing and copying records: every field of every record
// class must come back bit for bit, and a failed read must change nothing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

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
  CDPoint stored(GetPOD()), point(GetPOD());
  stored.m_nTaskID = 4;
  stored.m_nPointID = 2;
  FillFields(stored, 1);
  stored.PutObject();
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

// FillFields covers NaN payloads, infinities, -0.0, denormals, empty lists and
// texts; here: a signalling NaN and a long array.
TEST_F(RecordStorage, ASignallingNaNAndAHundredThousandValuesRoundTripBitForBit) {
  const uint64_t signallingBits = 0x7FF0000000000BADull;
  CDPoint point(GetPOD()), read(GetPOD());
  point.m_nTaskID = read.m_nTaskID = 12;
  point.m_vaData1.resize(100000);
  for (size_t i = 0; i < 100000; ++i)
    point.m_vaData1[i] = std::ldexp(static_cast<double>(i), -static_cast<int>(i % 1100));
  double signallingNaN;
  std::memcpy(&signallingNaN, &signallingBits, sizeof signallingNaN);
  point.m_vaData1[99999] = signallingNaN;
  point.PutObject();
  ASSERT_TRUE(read.GetObject());
  ASSERT_EQ(read.m_vaData1.size(), 100000u);
  EXPECT_EQ(std::memcmp(&read.m_vaData1[0], &point.m_vaData1[0], 100000 * sizeof(double)), 0);
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
  OpenTaskDatabase(path);
  CTask task(GetPOD());
  task.m_nTaskID = 8;
  FillFields(task, 5);
  task.PutObject();
  CloseTaskDatabase();
  OpenTaskDatabase(path);
  CTask taskRead(GetPOD());
  taskRead.m_nTaskID = 8;
  ASSERT_TRUE(taskRead.GetObject());
  EXPECT_EQ(DescribeFields(taskRead), DescribeFields(task));
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
    TypeParam written(GetPOD());
    written.m_nTaskID = 1;
    FillFields(written, seed);
    written.PutObject();
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
  TypeParam source(GetPOD()), copy(GetPOD()), read(GetPOD());
  source.m_nTaskID = 3;
  FillFields(source, 11);
  source.PutObject();
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
