#pragma once

// Files for the tests of the host side, the module and the program: a scratch
// directory to put them in, reading back what a test or a program wrote, and
// a plain SQLite connection to a database file, beside the connection the
// host library keeps: what another process (or the damage a test does) sees.

#include <map>
#include <string>

struct sqlite3;

// A fresh directory under /tmp, removed with everything in it on destruction.
class CScratchDirectory {
 public:
  CScratchDirectory();
  ~CScratchDirectory();
  CScratchDirectory(const CScratchDirectory&) = delete;
  CScratchDirectory& operator=(const CScratchDirectory&) = delete;

  std::string File(const std::string& name) const { return m_path + "/" + name; }
  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;  // absolute path of the directory
};

// The whole contents of a file, byte for byte; "" when it cannot be read.
std::string ReadFile(const std::string& path);

// Every file of a folder by name with its contents, except stdout.txt and
// stderr.txt, where the tests capture a program's output.
std::map<std::string, std::string> FilesIn(const std::string& folder);

class CPlainConnection {
 public:
  explicit CPlainConnection(const std::string& path);
  ~CPlainConnection();
  CPlainConnection(const CPlainConnection&) = delete;
  CPlainConnection& operator=(const CPlainConnection&) = delete;

  // Runs statements; fails the test on an error.
  void Execute(const std::string& sql);
  // True when this connection can take the write lock at once, i.e. no
  // other connection holds a write transaction; fails the test on any error
  // but SQLITE_BUSY.
  bool IsWriteLockFree();
  // The first column of the first row as text; "" for none.
  std::string QueryText(const std::string& sql);

 private:
  sqlite3* m_connection;  // owned
};
