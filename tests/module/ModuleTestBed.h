#pragma once

// The fixture of the module's tests: a task database in a fresh temporary
// directory, opened as the host opens it, and the host's log in a file there,
// installed as the current log. Each test starts with zeroed timers.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "LogFile.h"
#include "Records.h"

class CModuleTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Replaces the log by a fresh one of this detail level.
  void UseLogLevel(int nLevel);
  // The lines written to the log so far.
  std::vector<std::string> LogLines() const;
  // The log lines that contain the text.
  std::vector<std::string> LogLinesWith(const std::string& text) const;
  // The log lines of exceptions made, and of exceptions passing a handler.
  std::vector<std::string> NewExceptionLines() const;
  std::vector<std::string> PassedExceptionLines() const;
  // Whether another connection to the database file can take its write lock
  // at once, i.e. no CLock hold is left open.
  bool IsLockFree() const;
  // Removes every record of the class (table) from the database.
  void DeleteAll(const char* pszRecordName) const;

  // The record of class TRecord stored for the task; fails the test when
  // there is none.
  template <class TRecord>
  TRecord Fetch(int nTaskID) const {
    TRecord record(m_pDatabase);
    record.m_nTaskID = nTaskID;
    EXPECT_TRUE(record.GetObject()) << record.RecordName() << " of task " << nTaskID;
    return record;
  }
  template <class TRecord>
  bool Exists(int nTaskID) const {
    TRecord record(m_pDatabase);
    record.m_nTaskID = nTaskID;
    return record.FindObject();
  }
  CDPoint FetchPoint(int nTaskID, int nPointID) const;
  bool PointExists(int nTaskID, int nPointID) const;

  std::string m_directory;                   // the test's temporary directory
  POD* m_pDatabase = nullptr;                // the open task database
  std::unique_ptr<CLogFile> m_pLog;          // the current log
};

// The values of a stored array, as plain doubles.
std::vector<double> Values(const std::valarray<pvFLOAT64>& stored);
std::vector<long> Values(const std::vector<pvINT32>& stored);
