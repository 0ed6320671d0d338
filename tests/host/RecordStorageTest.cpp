// Reading, writing, testing and copying records: every field of every record
// class must come back bit for bit, and a failed read must change nothing.

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cmath>
#include <cstring>

#include "HostTestSupport.h"
#include "Records.h"
#include "TaskDatabase.h"

namespace {

class RecordStorage : public ::testing::Test {
 protected:
  void SetUp() override { OpenTaskDatabase(":memory:"); }
  void TearDown() override { CloseTaskDatabase(); }
};

CDPoint StoredPoint(int taskId, int pointId, unsigned seed) {
  CDPoint point(GetPOD());
  point.m_nTaskID = taskId;
  point.m_nPointID = pointId;
  FillFields(point, seed);
  point.PutObject();
  return point;
}

TEST_F(RecordStorage, ReadingAMissingKeyReturnsFalseAndChangesNothing) {
  StoredPoint(1, 0, 1);
  CDPoint point(GetPOD());
  FillFields(point, 7);
  point.m_nTaskID = 1;
  point.m_nPointID = 1;
  const std::string before = DescribeFields(point);

  EXPECT_FALSE(point.GetObject());
  EXPECT_EQ(DescribeFields(point), before);
  EXPECT_FALSE(point.FindObject());
  EXPECT_EQ(point.m_nPointID, 1);
}

TEST_F(RecordStorage, FindObjectSeesAStoredRecordUnderItsWholeKey) {
  StoredPoint(4, 2, 1);
  CDPoint probe(GetPOD());
  probe.m_nTaskID = 4;
  probe.m_nPointID = 2;
  EXPECT_TRUE(probe.FindObject());
  probe.m_nPointID = 3;
  EXPECT_FALSE(probe.FindObject());
  probe.m_nTaskID = 2;
  probe.m_nPointID = 4;
  EXPECT_FALSE(probe.FindObject());
}

TEST_F(RecordStorage, OneObjectReadsRecordsUnderChangingKeysReplacingAllData) {
  CDPoint full(GetPOD());
  full.m_nTaskID = 3;
  full.m_vaValues.resize(5, 2.0);
  full.m_vaEval2.resize(7, 1.0);
  full.PutObject();
  CDPoint empty(GetPOD());
  empty.m_nTaskID = 3;
  empty.m_nPointID = 1;
  empty.PutObject();

  CDPoint reader(GetPOD());
  reader.m_nTaskID = 3;
  ASSERT_TRUE(reader.GetObject());
  EXPECT_EQ(reader.m_vaEval2.size(), 7u);
  reader.m_nPointID = 1;
  ASSERT_TRUE(reader.GetObject());
  EXPECT_EQ(reader.m_vaValues.size(), 0u);
  EXPECT_EQ(reader.m_vaEval2.size(), 0u);
}

// FillFields covers NaN payloads, infinities, -0.0, denormals, empty lists and
// texts; here: a signalling NaN and a long array.
TEST_F(RecordStorage, ASignallingNaNAndAHundredThousandValuesRoundTripBitForBit) {
  const uint64_t signallingBits = 0x7FF0000000000BADull;
  CDPoint point(GetPOD());
  point.m_nTaskID = 12;
  point.m_vaData1.resize(100000);
  for (size_t i = 0; i < 100000; ++i) point.m_vaData1[i] = std::ldexp(static_cast<double>(i), -static_cast<int>(i % 1100));
  double signallingNaN;
  std::memcpy(&signallingNaN, &signallingBits, sizeof signallingNaN);
  point.m_vaData1[99999] = signallingNaN;
  point.PutObject();

  CDPoint read(GetPOD());
  read.m_nTaskID = 12;
  ASSERT_TRUE(read.GetObject());
  ASSERT_EQ(read.m_vaData1.size(), 100000u);
  EXPECT_EQ(std::memcmp(&read.m_vaData1[0], &point.m_vaData1[0], 100000 * sizeof(double)), 0);
}

TEST_F(RecordStorage, SetCreateTimeStoresSecondsSinceTheEpoch) {
  timeval before{};
  gettimeofday(&before, nullptr);
  CTask task(GetPOD());
  task.SetCreateTime();
  timeval after{};
  gettimeofday(&after, nullptr);
  EXPECT_GE(task.m_dCreateTime, before.tv_sec + before.tv_usec / 1e6);
  EXPECT_LE(task.m_dCreateTime, after.tv_sec + after.tv_usec / 1e6);
}

TEST(RecordStorageWithoutDatabase, RecordsAndLocksOnANullOrClosedHandleThrowClearErrors) {
  CloseTaskDatabase();
  EXPECT_EQ(GetPOD(), nullptr);
  CTask unbound(GetPOD());
  unbound.m_nTaskID = 5;
  try {
    unbound.GetObject();
    FAIL() << "a read without a database must throw";
  } catch (const CDatabaseError& error) {
    EXPECT_STREQ(error.what(), "CTask (task 5): no task database is open");
  }

  POD* closed = OpenTaskDatabase(":memory:");
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
  task.PutObject();  // outside any lock
  {
    CLock lock(GetPOD(), 0);
    StoredPoint(8, 0, 6);
  }
  CloseTaskDatabase();

  OpenTaskDatabase(path);
  CTask taskRead(GetPOD());
  taskRead.m_nTaskID = 8;
  ASSERT_TRUE(taskRead.GetObject());
  EXPECT_EQ(DescribeFields(taskRead), DescribeFields(task));
  CDPoint pointRead(GetPOD());
  pointRead.m_nTaskID = 8;
  EXPECT_TRUE(pointRead.GetObject());
  CloseTaskDatabase();
}

TEST(RecordStorageOnFile, AFailedOpenLeavesTheOpenDatabaseInPlace) {
  POD* open = OpenTaskDatabase(":memory:");
  EXPECT_THROW(OpenTaskDatabase("/nonexistent-directory/tasks.db"), CDatabaseError);
  EXPECT_EQ(GetPOD(), open);
  CloseTaskDatabase();
}

// Every record class: all fields survive a write and a read, and each class
// with Copy copies all of them.
template <class TRecord>
class EveryRecordClass : public RecordStorage {};

using AllRecordClasses =
    ::testing::Types<CTask, CResult, CIter, CDPoint, CDVar, CDSet, CDResp, CDObj, CDCons, CDEqn, CDLink>;
TYPED_TEST_SUITE(EveryRecordClass, AllRecordClasses);

// Each seed's record replaces the one before under the same key.
TYPED_TEST(EveryRecordClass, EveryFieldRoundTripsExactly) {
  for (unsigned seed = 0; seed < 4; ++seed) {
    TypeParam written(GetPOD());
    written.m_nTaskID = 1;
    FillFields(written, seed);
    written.PutObject();
    TypeParam read(GetPOD());
    read.m_nTaskID = 1;
    ASSERT_TRUE(read.GetObject());
    EXPECT_EQ(DescribeFields(read), DescribeFields(written)) << "seed " << seed;
  }
}

template <class TRecord>
class CopyableRecordClass : public RecordStorage {};

using CopyableRecordClasses = ::testing::Types<CTask, CDPoint, CDVar, CDSet, CDResp, CDObj, CDCons, CDEqn, CDLink>;
TYPED_TEST_SUITE(CopyableRecordClass, CopyableRecordClasses);

TYPED_TEST(CopyableRecordClass, CopyUnderANewTaskIdLeavesTheSourceAsStored) {
  TypeParam source(GetPOD());
  source.m_nTaskID = 3;
  FillFields(source, 11);
  source.PutObject();
  const std::string sourceFields = DescribeFields(source);

  TypeParam copy(GetPOD());
  FillFields(copy, 12);  // an earlier copy's data, all to be replaced
  copy.Copy(source);
  copy.m_nTaskID = 4;
  copy.PutObject();

  TypeParam read(GetPOD());
  read.m_nTaskID = 3;
  ASSERT_TRUE(read.GetObject());
  EXPECT_EQ(DescribeFields(read), sourceFields);
  read.m_nTaskID = 4;
  ASSERT_TRUE(read.GetObject());
  EXPECT_EQ(DescribeFields(read), sourceFields);
  EXPECT_EQ(source.m_nTaskID, 3);
}

}  // namespace
