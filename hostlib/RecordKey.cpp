#include "RecordKey.h"

#include <cctype>

#include "DatabaseError.h"
#include "Persistent.h"
#include "SqliteStatement.h"

namespace {

// Walks the key fields of one record; any field that is not a pvINT32 is a
// programming error of the record class, reported as a database error.
class CKeyVisitor : public CFieldVisitor {
 public:
  explicit CKeyVisitor(const pvPersistent& record) : m_recordName(record.RecordName()) {}

  void Field(const char* name, pvINT32& value) final { KeyField(name, static_cast<long>(value)); }
  void Field(const char* name, pvUINT32&) final { Reject(name); }
  void Field(const char* name, pvFLOAT64&) final { Reject(name); }
  void Field(const char* name, std::string&) final { Reject(name); }
  void Field(const char* name, std::vector<pvINT32>&) final { Reject(name); }
  void Field(const char* name, std::valarray<pvFLOAT64>&) final { Reject(name); }
  void Field(const char* name, std::vector<std::string>&) final { Reject(name); }
  void Field(const char* name, std::vector<std::vector<pvINT32>>&) final { Reject(name); }
  void Field(const char* name, std::vector<std::vector<pvFLOAT64>>&) final { Reject(name); }

 protected:
  virtual void KeyField(const char* name, long value) = 0;

 private:
  [[noreturn]] void Reject(const char* name) const {
    throw CDatabaseError(std::string(m_recordName) + ": key field " + name + " is not a pvINT32");
  }

  const char* m_recordName;  // for messages
};

class CKeyNameCollector final : public CKeyVisitor {
 public:
  using CKeyVisitor::CKeyVisitor;
  std::vector<std::string> m_names;  // key field names, in key order

 private:
  void KeyField(const char* name, long) override { m_names.emplace_back(name); }
};

class CKeyBinder final : public CKeyVisitor {
 public:
  CKeyBinder(const pvPersistent& record, CSqliteStatement& statement)
      : CKeyVisitor(record), m_statement(statement) {}

 private:
  void KeyField(const char*, long value) override {
    m_statement.BindInteger(++m_boundCount, value);
  }

  CSqliteStatement& m_statement;  // the statement whose parameters are bound
  int m_boundCount = 0;           // parameters bound so far
};

// "m_nTaskID" -> "task", "m_nSubIter" -> "subiter": the name without the
// member prefix, the type prefix and a trailing "ID", in lower case.
std::string KeyWord(const std::string& fieldName) {
  size_t stemStart = fieldName.compare(0, 2, "m_") == 0 ? 2 : 0;
  while (stemStart < fieldName.size() &&
         std::islower(static_cast<unsigned char>(fieldName[stemStart])))
    ++stemStart;
  std::string word = fieldName.substr(stemStart);
  if (word.size() > 2 && word.compare(word.size() - 2, 2, "ID") == 0) word.resize(word.size() - 2);
  if (word.empty()) return fieldName;
  for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return word;
}

class CKeyLabeler final : public CKeyVisitor {
 public:
  using CKeyVisitor::CKeyVisitor;
  std::string m_label;  // "task 12, point 3"

 private:
  void KeyField(const char* name, long value) override {
    if (!m_label.empty()) m_label += ", ";
    m_label += KeyWord(name) + " " + std::to_string(value);
  }
};

}  // namespace

std::vector<std::string> KeyFieldNames(pvPersistent& record) {
  CKeyNameCollector collector(record);
  record.VisitKey(collector);
  if (collector.m_names.empty())
    throw CDatabaseError(std::string(record.RecordName()) + ": the record has no key field");
  return collector.m_names;
}

void BindKey(pvPersistent& record, CSqliteStatement& statement) {
  CKeyBinder binder(record, statement);
  record.VisitKey(binder);
}

std::string RecordLabel(pvPersistent& record) {
  CKeyLabeler labeler(record);
  record.VisitKey(labeler);
  return std::string(record.RecordName()) + " (" + labeler.m_label + ")";
}
