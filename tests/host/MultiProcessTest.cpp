// Several processes sharing one database file. Each child opens its own
// connection after the fork (a SQLite connection must not cross a fork).

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <set>
#include <vector>

#include "HostTestSupport.h"
#include "Records.h"
#include "TaskDatabase.h"

namespace {

class SharedDatabaseFile : public ::testing::Test {
 protected:
  void SetUp() override {
    OpenTaskDatabase(m_path);  // creates the file before the children race for it
    CloseTaskDatabase();
  }

  CScratchDirectory m_directory;                     // removed after the test
  std::string m_path = m_directory.File("shared.db");  // the file the processes share
};

constexpr int kIncrementsPerProcess = 1000;

void IncrementCounter() {
  CLock lock(GetPOD(), 0);
  CResult counter(GetPOD());
  counter.m_nTaskID = 1;
  counter.GetObject();  // absent the first time: starts from 0
  counter.m_nNumAnalyses = counter.m_nNumAnalyses + 1;
  counter.PutObject();
}

TEST_F(SharedDatabaseFile, TwoProcessesIncrementingUnderTheLockLoseNoUpdate) {
  std::vector<pid_t> children;
  for (int i = 0; i < 2; ++i)
    children.push_back(RunInChild([this] {
      OpenTaskDatabase(m_path);
      for (int n = 0; n < kIncrementsPerProcess; ++n) IncrementCounter();
      CloseTaskDatabase();
    }));
  for (pid_t child : children) EXPECT_EQ(WaitForChild(child), 0);

  OpenTaskDatabase(m_path);
  CResult counter(GetPOD());
  counter.m_nTaskID = 1;
  ASSERT_TRUE(counter.GetObject());
  EXPECT_EQ(counter.m_nNumAnalyses, 2 * kIncrementsPerProcess);
  CloseTaskDatabase();
}

TEST_F(SharedDatabaseFile, TwoProcessesDrawingTaskIdsAtOnceDrawDistinctIds) {
  constexpr int kDrawsPerProcess = 300;
  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  std::vector<pid_t> children;
  for (int i = 0; i < 2; ++i)
    children.push_back(RunInChild([&] {
      close(pipeEnds[0]);
      OpenTaskDatabase(m_path);
      for (int n = 0; n < kDrawsPerProcess; ++n) {
        const int taskId = CDBCtrl(GetPOD()).GetTaskID(true);
        if (write(pipeEnds[1], &taskId, sizeof taskId) != sizeof taskId) throw std::runtime_error("pipe");
      }
      CloseTaskDatabase();
    }));
  close(pipeEnds[1]);
  std::multiset<int> drawn;
  int taskId = 0;
  while (read(pipeEnds[0], &taskId, sizeof taskId) == sizeof taskId) drawn.insert(taskId);
  close(pipeEnds[0]);
  for (pid_t child : children) EXPECT_EQ(WaitForChild(child), 0);

  ASSERT_EQ(drawn.size(), 2u * kDrawsPerProcess);
  EXPECT_EQ(std::set<int>(drawn.begin(), drawn.end()).size(), drawn.size()) << "an id was drawn twice";
  EXPECT_EQ(*drawn.begin(), 1);
  EXPECT_EQ(*drawn.rbegin(), 2 * kDrawsPerProcess);
}

CDPoint PointOf(int taskId, int pointId, size_t length) {
  CDPoint point(GetPOD());
  point.m_nTaskID = taskId;
  point.m_nPointID = pointId;
  FillFields(point, static_cast<unsigned>(pointId));
  point.m_vaValues.resize(length, 0.5 + pointId);
  return point;
}

// Acceptable outcome: the file opens, passes SQLite's integrity check and holds
// every record committed before the kill exactly as written. The hold that was
// cut off never committed, so none of its records may appear.
TEST_F(SharedDatabaseFile, AProcessKilledMidWriteLeavesEveryCommittedRecordIntact) {
  constexpr int kCommittedPoints = 50;
  int readyPipe[2];
  ASSERT_EQ(pipe(readyPipe), 0);
  const pid_t child = RunInChild([&] {
    close(readyPipe[0]);
    OpenTaskDatabase(m_path);
    for (int pointId = 0; pointId < kCommittedPoints; ++pointId) {
      CLock lock(GetPOD(), 0);
      PointOf(1, pointId, 20).PutObject();
    }
    CLock lock(GetPOD(), 0);
    for (int pointId = 0;; ++pointId) {
      PointOf(2, pointId, 2000).PutObject();
      if (pointId == 200 && write(readyPipe[1], "w", 1) != 1) throw std::runtime_error("pipe");
    }
  });
  close(readyPipe[1]);
  char signal = 0;
  ASSERT_EQ(read(readyPipe[0], &signal, 1), 1) << "the child died before its uncommitted writes";
  close(readyPipe[0]);
  kill(child, SIGKILL);
  EXPECT_EQ(WaitForChild(child), -1);

  OpenTaskDatabase(m_path);
  CPlainConnection check(m_path);
  EXPECT_EQ(check.QueryText("PRAGMA integrity_check"), "ok");
  for (int pointId = 0; pointId < kCommittedPoints; ++pointId) {
    CDPoint expected = PointOf(1, pointId, 20);
    CDPoint read(GetPOD());
    read.m_nTaskID = 1;
    read.m_nPointID = pointId;
    ASSERT_TRUE(read.GetObject()) << "point " << pointId;
    EXPECT_EQ(DescribeFields(read), DescribeFields(expected)) << "point " << pointId;
  }
  CDPoint uncommitted(GetPOD());
  uncommitted.m_nTaskID = 2;
  EXPECT_FALSE(uncommitted.FindObject());
  CloseTaskDatabase();
}

}  // namespace
