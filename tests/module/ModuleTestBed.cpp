#include "ModuleTestBed.h"

#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "TaskDatabase.h"
#include "Timing.h"

namespace {

std::string DatabasePath(const std::string& directory) { return directory + "/tasks.db"; }
std::string LogPath(const std::string& directory) { return directory + "/module.log"; }

// A second connection to the database file, as another process would have.
class CSecondConnection {
 public:
  explicit CSecondConnection(const std::string& path) {
    EXPECT_EQ(sqlite3_open(path.c_str(), &m_pConnection), SQLITE_OK);
  }
  ~CSecondConnection() { sqlite3_close(m_pConnection); }
  int Execute(const std::string& sql) {
    return sqlite3_exec(m_pConnection, sql.c_str(), nullptr, nullptr, nullptr);
  }

 private:
  sqlite3* m_pConnection = nullptr;  // owned
};

}  // namespace

void CModuleTest::SetUp() {
  char pattern[] = "/tmp/discrete-module-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  m_directory = pattern;
  m_pDatabase = OpenTaskDatabase(DatabasePath(m_directory));
  UseLogLevel(0);
  for (CTimer* timer : {&dbReadTime, &dbWriteTime, &discSetupTime}) *timer = CTimer{0, 0.0, 0.0};
}

void CModuleTest::TearDown() {
  CloseTaskDatabase();
  SetCurrentLog(nullptr);
  m_pLog.reset();
  std::filesystem::remove_all(m_directory);
}

void CModuleTest::UseLogLevel(int nLevel) {
  SetCurrentLog(nullptr);
  m_pLog.reset();
  std::filesystem::remove(LogPath(m_directory));
  m_pLog = std::make_unique<CLogFile>(LogPath(m_directory).c_str(), nLevel);
  SetCurrentLog(m_pLog.get());
}

std::vector<std::string> CModuleTest::LogLines() const {
  std::ifstream file(LogPath(m_directory));
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> CModuleTest::LogLinesWith(const std::string& text) const {
  std::vector<std::string> matching;
  for (const std::string& line : LogLines()) {
    if (line.find(text) != std::string::npos) matching.push_back(line);
  }
  return matching;
}

std::vector<std::string> CModuleTest::NewExceptionLines() const {
  return LogLinesWith("new exception");
}

std::vector<std::string> CModuleTest::PassedExceptionLines() const {
  return LogLinesWith("exception passed");
}

bool CModuleTest::IsLockFree() const {
  CSecondConnection other(DatabasePath(m_directory));
  if (other.Execute("BEGIN IMMEDIATE") != SQLITE_OK) return false;
  other.Execute("ROLLBACK");
  return true;
}

void CModuleTest::DeleteAll(const char* pszRecordName) const {
  CSecondConnection other(DatabasePath(m_directory));
  ASSERT_EQ(other.Execute(std::string("DELETE FROM ") + pszRecordName), SQLITE_OK);
}

CDPoint CModuleTest::FetchPoint(int nTaskID, int nPointID) const {
  CDPoint point(m_pDatabase);
  point.m_nTaskID = nTaskID;
  point.m_nPointID = nPointID;
  EXPECT_TRUE(point.GetObject()) << "point " << nPointID << " of task " << nTaskID;
  return point;
}

bool CModuleTest::PointExists(int nTaskID, int nPointID) const {
  CDPoint point(m_pDatabase);
  point.m_nTaskID = nTaskID;
  point.m_nPointID = nPointID;
  return point.FindObject();
}

std::vector<double> Values(const std::valarray<pvFLOAT64>& stored) {
  return std::vector<double>(std::begin(stored), std::end(stored));
}

std::vector<long> Values(const std::vector<pvINT32>& stored) {
  return std::vector<long>(stored.begin(), stored.end());
}
