#pragma once

// Helpers shared by the host tests: a scratch directory, a generic filler and
// describer of record fields, a plain second SQLite connection, and child
// processes.

#include <sys/types.h>

#include <functional>
#include <string>

#include "Records.h"

struct sqlite3;

// A fresh directory under /tmp, removed with everything in it on destruction.
class CScratchDirectory {
 public:
  CScratchDirectory();
  ~CScratchDirectory();
  CScratchDirectory(const CScratchDirectory&) = delete;
  CScratchDirectory& operator=(const CScratchDirectory&) = delete;

  std::string File(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;  // absolute path of the directory
};

// Sets every data field of the record to values that depend on the seed and
// cover the awkward cases: NaN with payload, infinities, -0.0, denormals,
// extreme integers, empty and non-empty arrays and inner lists, empty, long,
// non-ASCII and NUL-holding texts. Key fields are left alone.
void FillFields(pvPersistent& record, unsigned seed);

// Every data field as "name=value" lines, doubles as their bit patterns, so
// that two records compare equal exactly when every bit of every field does.
std::string DescribeFields(pvPersistent& record);

// A plain SQLite connection to a database file, beside the one the host
// library keeps: what another program (or the damage a test does) sees.
class CPlainConnection {
 public:
  explicit CPlainConnection(const std::string& path);
  ~CPlainConnection();
  CPlainConnection(const CPlainConnection&) = delete;
  CPlainConnection& operator=(const CPlainConnection&) = delete;

  // Runs statements; fails the test on an error.
  void Execute(const std::string& sql);
  // The result code of running the statement (SQLITE_OK, SQLITE_BUSY, ...).
  int TryExecute(const std::string& sql);
  // The first column of the first row as text; "" for none.
  std::string QueryText(const std::string& sql);
  // The data column of a record's row.
  std::string ReadBlob(const std::string& table, const std::string& where);
  void WriteBlob(const std::string& table, const std::string& where, const std::string& bytes);

 private:
  sqlite3* m_connection;  // owned
};

// Runs body in a forked child that ends with _exit: 0 when body returned, 1
// when it threw. The child must open its own task database.
pid_t RunInChild(const std::function<void()>& body);
// Waits for the child and returns its exit status, -1 when it did not exit.
int WaitForChild(pid_t child);
