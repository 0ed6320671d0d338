// Several processes sharing one database file. Each child opens its own
// connection after the fork (a SQLite connection must not cross a fork).

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <set>
#include <vector>

#include "DatabaseFiles.h"
#include "RecordFields.h"
#include "Records.h"
#include "TaskDatabase.h"

namespace {

class SharedDatabaseFile : public ::testing::Test {
 protected:
  void SetUp() override {
    OpenTaskDatabase(m_path);  // creates the file before the children race for it
    CloseTaskDatabase();
    ASSERT_EQ(pipe(m_pipe), 0);
  }
  void TearDown() override { CloseTaskDatabase(); }

  // Forks `count` children that each open their own connection, run body and
  // end with _exit: 0 when body returned, 1 when it threw. Children Send to
  // the pipe; the parent reads from it.
  std::vector<pid_t> RunInChildren(int count, const std::function<void()>& body) {
    std::fflush(nullptr);
    std::vector<pid_t> children(count);
    for (pid_t& child : children) {
      if ((child = fork()) != 0) continue;
      close(m_pipe[0]);
      int status = 0;
      try {
        OpenTaskDatabase(m_path);
        body();
      } catch (const std::exception& error) {
        std::fprintf(stderr, "child %d: %s\n", static_cast<int>(getpid()), error.what());
        status = 1;
      }
      _exit(status);
    }
    close(m_pipe[1]);
    return children;
  }
  // The child's exit status, -1 when it did not exit.
  static int WaitForChild(pid_t child) {
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  void Send(int value) {
    if (write(m_pipe[1], &value, sizeof value) != sizeof value) throw std::runtime_error("pipe");
  }

  CScratchDirectory m_directory;                       // removed after the test
  std::string m_path = m_directory.File("shared.db");  // the file the processes share
  int m_pipe[2];  // children to parent: [0] read end, [1] write end
};

TEST_F(SharedDatabaseFile, TwoProcessesIncrementingUnderTheLockLoseNoUpdate) {
  const auto increment = [] {
    CLock lock(GetPOD(), 0);
    CResult counter(GetPOD());
    counter.m_nTaskID = 1;
    counter.GetObject();  // absent the first time: starts from 0
    counter.m_nNumAnalyses = counter.m_nNumAnalyses + 1;
    counter.PutObject();
  };
  for (pid_t child : RunInChildren(2, [&] {
         for (int n = 0; n < 1000; ++n) increment();
       })) {
    EXPECT_EQ(WaitForChild(child), 0);
  }
  OpenTaskDatabase(m_path);
  CResult counter(GetPOD());
  counter.m_nTaskID = 1;
  ASSERT_TRUE(counter.GetObject());
  EXPECT_EQ(counter.m_nNumAnalyses, 2000);
}

TEST_F(SharedDatabaseFile, TwoProcessesDrawingTaskIdsAtOnceDrawDistinctIds) {
  const std::vector<pid_t> children = RunInChildren(2, [&] {
    for (int n = 0; n < 300; ++n) Send(CDBCtrl(GetPOD()).GetTaskID(true));
  });
  std::multiset<int> drawn;
  for (int taskId = 0; read(m_pipe[0], &taskId, sizeof taskId) == sizeof taskId;)
    drawn.insert(taskId);
  for (pid_t child : children) EXPECT_EQ(WaitForChild(child), 0);
  ASSERT_EQ(drawn.size(), 600u);
  EXPECT_EQ(std::set<int>(drawn.begin(), drawn.end()).size(), drawn.size())
      << "an id was drawn twice";
  EXPECT_EQ(*drawn.begin(), 1);
  EXPECT_EQ(*drawn.rbegin(), 600);
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
  const pid_t child = RunInChildren(1, [&] {
    for (int pointId = 0; pointId < 50; ++pointId) {
      CLock lock(GetPOD(), 0);
      PointOf(1, pointId, 20).PutObject();
    }
    CLock lock(GetPOD(), 0);
    for (int pointId = 0;; ++pointId) {
      PointOf(2, pointId, 2000).PutObject();
      if (pointId == 200) Send(pointId);
    }
  })[0];
  int uncommittedWrites = 0;
  ASSERT_EQ(read(m_pipe[0], &uncommittedWrites, sizeof uncommittedWrites),
            static_cast<ssize_t>(sizeof(int)))
      << "the child died before its uncommitted writes";
  kill(child, SIGKILL);
  EXPECT_EQ(WaitForChild(child), -1);

  OpenTaskDatabase(m_path);
  EXPECT_EQ(CPlainConnection(m_path).QueryText("PRAGMA integrity_check"), "ok");
  CDPoint stored(GetPOD());
  stored.m_nTaskID = 1;
  for (int pointId = 0; pointId < 50; ++pointId) {
    stored.m_nPointID = pointId;
    CDPoint written = PointOf(1, pointId, 20);
    ASSERT_TRUE(stored.GetObject()) << "point " << pointId;
    EXPECT_EQ(DescribeFields(stored), DescribeFields(written)) << "point " << pointId;
  }
  stored.m_nTaskID = 2;
  stored.m_nPointID = 0;
  EXPECT_FALSE(stored.FindObject());
}

}  // namespace
