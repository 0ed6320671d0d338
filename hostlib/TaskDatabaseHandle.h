#pragma once

// The open task database behind the opaque POD handle: one SQLite connection,
// the statements prepared on it, and the depth of the process's lock hold.
//
// Ownership: TaskDatabase.cpp owns the open handle. CloseTaskDatabase closes
// the connection; a handle closed while CLock objects still hold it stays
// allocated, closed, until the last of them lets go (so no CLock ever points at
// freed memory), and is then deleted by the release.
//
// Statements are prepared on first use and kept until the connection closes:
// a record class's three statements (read, write, test) under its name, other
// statements under their SQL text. References to them stay valid while the
// connection is open.

#include <sqlite3.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "SqliteStatement.h"
#include "TaskDatabaseAccess.h"

class pvPersistent;

// The statements that read, write and test one record class's table, each
// taking the key fields as parameters 1, 2, ... (and the data as the next one
// in the write).
struct CRecordStatements {
  CRecordStatements(sqlite3* connection, pvPersistent& prototype);

  int m_dataParameter;        // parameter of m_upsert that takes the data: key field count + 1
  CSqliteStatement m_select;  // one row with the data column, or none
  CSqliteStatement m_upsert;  // inserts the record or replaces the stored one
  CSqliteStatement m_exists;  // one row when a record has the key, or none

 private:
  CRecordStatements(sqlite3* connection, const std::string& table,
                    const std::vector<std::string>& keyNames);
};

class POD {
 public:
  // Opens the task database file as OpenTaskDatabase describes and checks
  // (read-write: prepares) it (TaskDatabaseSchema.h). Throws CDatabaseError
  // naming the file and the reason.
  POD(const std::string& path, ETaskDatabaseAccess access);
  ~POD();
  POD(const POD&) = delete;
  POD& operator=(const POD&) = delete;

  bool IsOpen() const { return m_connection != nullptr; }
  sqlite3* Connection() const { return m_connection.get(); }  // null once closed

  // Takes one more hold of the lock; the first one begins the write
  // transaction (BEGIN IMMEDIATE), waiting for other processes' holds.
  // Throws CDatabaseError on a database opened read-only.
  void TakeHold();
  // Gives back one hold; the last one commits. True when no hold is left.
  bool ReleaseHold();
  int HoldDepth() const { return m_holdDepth; }

  // Commits a hold that is still open and closes the connection. The handle
  // keeps its hold count for the CLock objects that still refer to it.
  void Close();

  CRecordStatements& RecordStatements(pvPersistent& record);
  CSqliteStatement& Statement(const std::string& sql);
  // Scratch space for encoding a record before it is written; reused so that
  // writes do not allocate once it has grown to the largest record.
  std::vector<unsigned char>& EncodeBuffer() { return m_encodeBuffer; }

 private:
  struct CConnectionCloser {
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
  };

  void Commit();
  void CloseConnection();

  // Declared first so that it is destroyed last, after every statement on it.
  std::unique_ptr<sqlite3, CConnectionCloser> m_connection;  // null once closed
  std::unique_ptr<CSqliteStatement> m_begin;   // BEGIN IMMEDIATE; null when opened read-only
  std::unique_ptr<CSqliteStatement> m_commit;  // COMMIT; null when opened read-only
  // Each record class's statements, by record name
  std::unordered_map<std::string, std::unique_ptr<CRecordStatements>> m_recordStatements;
  std::unordered_map<std::string, std::unique_ptr<CSqliteStatement>> m_statements;  // by SQL text
  std::vector<unsigned char> m_encodeBuffer;  // see EncodeBuffer()
  int m_holdDepth =
      0;  // CLock holds not yet released, >= 0; > 0 exactly while the write transaction is open
};

// The handle a record or lock is bound to, checked to be the open task
// database. Throws CDatabaseError "<user>: no task database is open" for a null
// handle, and "<user>: its task database has been closed" for a handle that is
// no longer the open one (without "<user>: " for an empty user). The checks compare addresses only;
// nothing behind a stale handle is touched.
POD& OpenHandle(POD* database, const std::string& user);

// Gives back one CLock hold of the handle (the last one commits) and deletes a
// handle that was closed while held once its last hold is gone.
void ReleaseLockHold(POD* database);
