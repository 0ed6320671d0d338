#include "ModuleTestBed.h"

#include <filesystem>
#include <fstream>

#include "TaskDatabase.h"
#include "Timing.h"

void CModuleTest::SetUp() {
  m_pDatabase = OpenTaskDatabase(m_path);
  UseLogLevel(0);
  for (CTimer* timer : {&dbReadTime, &dbWriteTime, &discSetupTime}) *timer = CTimer{0, 0.0, 0.0};
}

void CModuleTest::TearDown() {
  CloseTaskDatabase();
  SetCurrentLog(nullptr);
  m_pLog.reset();
}

void CModuleTest::UseLogLevel(int nLevel) {
  SetCurrentLog(nullptr);
  m_pLog.reset();
  std::filesystem::remove(m_directory.File("module.log"));
  m_pLog = std::make_unique<CLogFile>(m_directory.File("module.log").c_str(), nLevel);
  SetCurrentLog(m_pLog.get());
}

std::vector<std::string> CModuleTest::LogLinesWith(const std::string& text) const {
  std::ifstream file(m_directory.File("module.log"));
  std::vector<std::string> matching;
  for (std::string line; std::getline(file, line);) {
    if (line.find(text) != std::string::npos) matching.push_back(line);
  }
  return matching;
}

std::vector<double> Values(const std::valarray<pvFLOAT64>& stored) {
  return std::vector<double>(std::begin(stored), std::end(stored));
}

std::vector<long> Values(const std::vector<pvINT32>& stored) {
  return std::vector<long>(stored.begin(), stored.end());
}
