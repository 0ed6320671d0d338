#include "DatabaseFiles.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

CScratchDirectory::CScratchDirectory() {
  char pattern[] = "/tmp/discrete-test-XXXXXX";
  if (mkdtemp(pattern) == nullptr) throw std::runtime_error("cannot make a scratch directory");
  m_path = pattern;
}

CScratchDirectory::~CScratchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

std::map<std::string, std::string> FilesIn(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(folder))
    files[entry.path().filename()] = ReadFile(entry.path());
  files.erase("stdout.txt");
  files.erase("stderr.txt");
  return files;
}

CPlainConnection::CPlainConnection(const std::string& path) : m_connection(nullptr) {
  if (sqlite3_open(path.c_str(), &m_connection) != SQLITE_OK)
    ADD_FAILURE() << "cannot open " << path << ": " << sqlite3_errmsg(m_connection);
}

CPlainConnection::~CPlainConnection() { sqlite3_close(m_connection); }

void CPlainConnection::Execute(const std::string& sql) {
  EXPECT_EQ(sqlite3_exec(m_connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
      << sql << ": " << sqlite3_errmsg(m_connection);
}

bool CPlainConnection::IsWriteLockFree() {
  const int resultCode = sqlite3_exec(m_connection, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
  if (resultCode != SQLITE_OK) {
    EXPECT_EQ(resultCode, SQLITE_BUSY);
    return false;
  }
  Execute("ROLLBACK");
  return true;
}

std::string CPlainConnection::QueryText(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  std::string text;
  if (sqlite3_prepare_v2(m_connection, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    ADD_FAILURE() << sql << ": " << sqlite3_errmsg(m_connection);
  } else if (sqlite3_step(statement) == SQLITE_ROW &&
             sqlite3_column_text(statement, 0) != nullptr) {
    text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
  }
  sqlite3_finalize(statement);
  return text;
}
