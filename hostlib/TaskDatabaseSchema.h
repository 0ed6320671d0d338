#pragma once

// The schema of a task database file: how the file is recognised, its
// version, and its tables.
//
//   PRAGMA application_id = 0x44495343 ("DISC")   marks the file as a task database
//   PRAGMA user_version   = 1                     the schema version
//   CDBCtrl   the control table: one row (id 1) with m_nLastTaskID, the last
//             task id handed out
//   one table per record class, named as the record (CTask, CResult, CIter,
//   CDPoint, CDVar, CDSet, CDResp, CDObj, CDCons, CDEqn, CDLink), whose
//   INTEGER key columns carry the key fields' names and whose `data` BLOB
//   column holds the encoded data fields (RecordCodec.h):
//
//     CREATE TABLE "CTask" (m_nTaskID INTEGER PRIMARY KEY, data BLOB NOT NULL)
//     CREATE TABLE "CDPoint" (m_nTaskID INTEGER NOT NULL, m_nPointID INTEGER NOT NULL,
//                             data BLOB NOT NULL, PRIMARY KEY (m_nTaskID, m_nPointID))
//
// Every record table's first key column is m_nTaskID.

#include <cstdint>
#include <string>

struct sqlite3;
class pvPersistent;

constexpr int32_t kTaskDatabaseApplicationId = 0x44495343;  // "DISC" in ASCII
constexpr int kTaskDatabaseSchemaVersion = 1;               // bumped by every change of the tables

// Makes the connection's file ready for use: an empty file (a new one) gets
// the schema; any other file must carry the task database's application id and
// this schema version. Then switches the file to WAL and the connection to
// synchronous=NORMAL. Throws CDatabaseError naming the file when it is not a
// SQLite database, belongs to another application, or has another version.
void PrepareTaskDatabase(sqlite3* connection);

// Checks, without writing anything, that the connection's file is a task
// database of this schema version. Throws CDatabaseError naming the file
// otherwise (an empty file is "not a task database: the file is empty").
void CheckTaskDatabase(sqlite3* connection);

// CREATE TABLE statement of a record class's table.
std::string RecordTableSql(pvPersistent& record);

// One row, one column: the highest task id that the control table has handed
// out or that any record of any table uses, 0 for none.
std::string HighestTaskIdSql();
