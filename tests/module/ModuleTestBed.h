#pragma once

// The fixture of the module's tests: a task database in a fresh scratch
// directory, opened as the host opens it, and the host's log in a file there,
// installed as the current log. Each test starts with zeroed timers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "DatabaseFiles.h"
#include "LogFile.h"
#include "RecordFields.h"
#include "Records.h"

class CModuleTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Replaces the log by a fresh one of this detail level.
  void UseLogLevel(int nLevel);
  // The log lines that contain the text.
  std::vector<std::string> LogLinesWith(const std::string& text) const;
  // Whether another connection can take the database's write lock at once,
  // i.e. no CLock hold is left open.
  bool IsLockFree() const { return CPlainConnection(m_path).IsWriteLockFree(); }
  // Removes every record of the class (table) from the database.
  void DeleteAll(const std::string& recordName) const {
    CPlainConnection(m_path).Execute("DELETE FROM " + recordName);
  }

  // Runs call, which must throw TException, and checks what every failure
  // leaves: in the log one line for the exception made, then one for each of
  // the `passedHandlers` entry points it passed on its way out, each at its
  // own line; and the lock free. Returns the exception's message.
  template <class TException, class TCall>
  std::string ExpectFailure(TCall&& call, size_t passedHandlers) const {
    std::string message = "no exception";
    try {
      call();
    } catch (const TException& error) {
      message = error.what();
    }
    const std::vector<std::string> lines = LogLinesWith("exception");
    EXPECT_EQ(lines.size(), 1 + passedHandlers) << message;
    for (size_t i = 0; i < lines.size(); ++i) {
      EXPECT_THAT(lines[i],
                  ::testing::MatchesRegex(
                      i == 0 ? ".*new exception at src/BranchBound.cpp:[0-9]+: " + message
                             : ".*exception passed src/BranchBound.cpp:[0-9]+: " + message));
    }
    EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), lines.size())
        << "one line per handler";
    EXPECT_TRUE(IsLockFree());
    return message;
  }

  // The record of class TRecord stored for the task; fails the test when
  // there is none. Point nPointID for a CDPoint.
  template <class TRecord>
  TRecord Fetch(int nTaskID, int nPointID = 0) const {
    TRecord record = Key<TRecord>(nTaskID, nPointID);
    EXPECT_TRUE(record.GetObject()) << record.RecordName() << " of task " << nTaskID;
    return record;
  }
  template <class TRecord>
  bool Exists(int nTaskID, int nPointID = 0) const {
    return Key<TRecord>(nTaskID, nPointID).FindObject();
  }
  // Every field of the stored record, as DescribeFields gives them.
  template <class TRecord>
  std::string FieldsOf(int nTaskID, int nPointID = 0) const {
    TRecord record = Fetch<TRecord>(nTaskID, nPointID);
    return DescribeFields(record);
  }

  CScratchDirectory m_directory;                      // the test's files
  std::string m_path = m_directory.File("tasks.db");  // the task database file
  POD* m_pDatabase = nullptr;                         // the open task database
  std::unique_ptr<CLogFile> m_pLog;                   // the current log

 private:
  template <class TRecord>
  TRecord Key(int nTaskID, int nPointID) const {
    TRecord record(m_pDatabase);
    record.m_nTaskID = nTaskID;
    if constexpr (std::is_same_v<TRecord, CDPoint>) record.m_nPointID = nPointID;
    return record;
  }
};

// The values of a stored array, as plain numbers.
std::vector<double> Values(const std::valarray<pvFLOAT64>& stored);
std::vector<long> Values(const std::vector<pvINT32>& stored);
