// The task database lock: re-entrant within the process, one write
// transaction across processes, committed on every way out of a hold. A second
// plain SQLite connection plays the other process.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "DatabaseFiles.h"
#include "Records.h"
#include "TaskDatabase.h"
#include "TaskDatabaseConnection.h"

namespace {

class DatabaseLock : public ::testing::Test {
 protected:
  void SetUp() override { OpenTaskDatabase(m_path); }
  void TearDown() override { CloseTaskDatabase(); }

  // How many CResult records another connection sees committed.
  std::string CommittedResults() { return m_other.QueryText("SELECT count(*) FROM CResult"); }

  static void WriteResult(int taskId) {
    CResult result(GetPOD());
    result.m_nTaskID = taskId;
    result.PutObject();
  }

  CScratchDirectory m_directory;                      // removed after the test
  std::string m_path = m_directory.File("tasks.db");  // the database file
  CPlainConnection m_other{m_path};                   // the other process
};

// A second UnLock() on one object, and its destructor after UnLock(), release
// nothing: the hold count is per database, not per object.
TEST_F(DatabaseLock, NestedHoldsKeepTheWriteLockUntilTheOutermostIsReleased) {
  WriteResult(1);
  EXPECT_EQ(CommittedResults(), "1") << "a write outside any hold is committed at once";
  {
    CLock outer(GetPOD(), 0);
    WriteResult(2);
    {
      CLock middle(GetPOD(), 0);
      {
        CLock inner(GetPOD(), 0);
        WriteResult(3);
        inner.UnLock();
        inner.UnLock();
      }
      EXPECT_FALSE(m_other.IsWriteLockFree());
    }
    EXPECT_FALSE(m_other.IsWriteLockFree());
    EXPECT_EQ(CommittedResults(), "1");
    outer.UnLock();
    EXPECT_TRUE(m_other.IsWriteLockFree());
    outer.UnLock();
  }
  EXPECT_TRUE(m_other.IsWriteLockFree());
  EXPECT_EQ(CommittedResults(), "3");
}

TEST_F(DatabaseLock, ClosingTheDatabaseCommitsAHoldThatIsStillOpen) {
  {
    CLock outer(GetPOD(), 0);
    CLock inner(GetPOD(), 0);
    WriteResult(4);
    CloseTaskDatabase();
    EXPECT_TRUE(m_other.IsWriteLockFree());
    EXPECT_EQ(CommittedResults(), "1");
    OpenTaskDatabase(m_path);
    CLock onTheNewHandle(GetPOD(), 0);
    EXPECT_FALSE(m_other.IsWriteLockFree());
  }  // the closed handle's holds are released here, after the new one's
  EXPECT_TRUE(m_other.IsWriteLockFree());
}

// A deferred foreign-key violation is one way to make COMMIT itself fail.
TEST_F(DatabaseLock, AFailedCommitIsThrownAndDoesNotLeaveTheFileLocked) {
  sqlite3* connection = TaskDatabaseConnection(GetPOD());
  ASSERT_EQ(
      sqlite3_exec(
          connection,
          "PRAGMA foreign_keys = ON; CREATE TABLE parent (id INTEGER PRIMARY KEY);"
          "CREATE TABLE child (parent INTEGER REFERENCES parent DEFERRABLE INITIALLY DEFERRED)",
          nullptr, nullptr, nullptr),
      SQLITE_OK);
  CLock lock(GetPOD(), 0);
  WriteResult(5);
  ASSERT_EQ(sqlite3_exec(connection, "INSERT INTO child VALUES (99)", nullptr, nullptr, nullptr),
            SQLITE_OK);
  EXPECT_THROW(lock.UnLock(), CDatabaseError);
  EXPECT_TRUE(m_other.IsWriteLockFree());
  EXPECT_EQ(CommittedResults(), "0");
  CLock next(GetPOD(), 0);
  WriteResult(6);
  next.UnLock();
  EXPECT_EQ(CommittedResults(), "1");
}

}  // namespace
