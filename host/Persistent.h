#pragma once

#include <string>
#include <valarray>
#include <vector>

#include "PersistentValues.h"

class POD;

// What a record is made of, told field by field to the storage layer (and to
// anything else that walks records, such as a printer). A record calls one
// Field() per member, in declaration order, with the member's name.
class CFieldVisitor {
 public:
  virtual ~CFieldVisitor() = default;
  virtual void Field(const char* pszName, pvINT32& value) = 0;
  virtual void Field(const char* pszName, pvUINT32& value) = 0;
  virtual void Field(const char* pszName, pvFLOAT64& value) = 0;
  virtual void Field(const char* pszName, std::string& value) = 0;
  virtual void Field(const char* pszName, std::vector<pvINT32>& value) = 0;
  virtual void Field(const char* pszName, std::valarray<pvFLOAT64>& value) = 0;
  virtual void Field(const char* pszName, std::vector<std::string>& value) = 0;
  virtual void Field(const char* pszName, std::vector<std::vector<pvINT32>>& value) = 0;
  virtual void Field(const char* pszName, std::vector<std::vector<pvFLOAT64>>& value) = 0;
};

// Base of every record of the task database.
//
// A record object is a transient value bound to one open database: construct
// it on the handle, assign its key fields, then read, write or test it:
//
//   CResult result(pDatabase);
//   result.m_nTaskID = taskId;
//   if (!result.GetObject()) ...   // no record under that key
//   result.m_nDiscreteFeasible = 1;
//   result.PutObject();
//
// One object may be read again and again with changed key fields. A damaged
// stored record makes GetObject() throw an exception derived from
// std::exception whose message names the record and its key.
class pvPersistent {
 public:
  explicit pvPersistent(POD* pDatabase) : m_pDatabase(pDatabase) {}
  virtual ~pvPersistent() = default;

  // Reads the record stored under the object's key fields into the object,
  // replacing all its data. False, with the data left as they were, when no
  // record has that key.
  bool GetObject();
  // Stores the object under its key fields, creating the record or replacing
  // the stored one. True when stored.
  bool PutObject();
  // True when a record with the object's key is stored.
  bool FindObject();

  // The record's name, which is also its table's name (e.g. "CTask").
  virtual const char* RecordName() const = 0;
  // Tells the key fields, in key order (all pvINT32).
  virtual void VisitKey(CFieldVisitor& visitor) = 0;
  // Tells every other field, in declaration order.
  virtual void VisitData(CFieldVisitor& visitor) = 0;

  // The database the record is bound to.
  POD* Database() const { return m_pDatabase; }

 protected:
  pvPersistent(const pvPersistent&) = default;
  pvPersistent& operator=(const pvPersistent&) = default;

  // Makes this record a copy of the source's fields and keeps its own
  // database binding; the records' Copy() operations are built on it.
  template <class TRecord>
  static void CopyFields(TRecord& target, const TRecord& source) {
    POD* pDatabase = target.m_pDatabase;
    target = source;
    target.m_pDatabase = pDatabase;
  }

 private:
  POD* m_pDatabase;  // the database the record is bound to; not owned
};
