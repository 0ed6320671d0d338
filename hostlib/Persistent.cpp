// The three record operations: one prepared statement each, keyed by the
// record's key fields, with the data fields encoded as one BLOB
// (RecordCodec.h). Every failure names the record and its key.

#include "Persistent.h"

#include "RecordCodec.h"
#include "RecordKey.h"
#include "TaskDatabase.h"
#include "TaskDatabaseHandle.h"

namespace {

// Runs one operation on the record's open database; a failure is rethrown as
// a CDatabaseError whose message starts with the record and its key.
template <class TOperation>
bool OnRecord(pvPersistent& record, TOperation operation) {
  try {
    POD& database = OpenHandle(record.Database(), "");
    return operation(database.RecordStatements(record), database);
  } catch (const CRecordDamaged& damage) {
    throw CDatabaseError(RecordLabel(record) + ": stored data are damaged: " + damage.what());
  } catch (const CDatabaseError& error) {
    throw CDatabaseError(RecordLabel(record) + ": " + error.what());
  }
}

}  // namespace

bool pvPersistent::GetObject() {
  return OnRecord(*this, [this](CRecordStatements& statements, POD&) {
    CSqliteStatement& select = statements.m_select;
    CStatementReset resetOnExit(select);
    BindKey(*this, select);
    if (!select.Step()) return false;
    if (!select.ColumnIsBlob(0)) throw CRecordDamaged("the data column holds no byte string");
    const unsigned char* bytes = select.ColumnBlobData(0);
    DecodeRecordData(bytes, select.ColumnBlobSize(0), *this);
    return true;
  });
}

bool pvPersistent::PutObject() {
  return OnRecord(*this, [this](CRecordStatements& statements, POD& database) {
    std::vector<unsigned char>& bytes = database.EncodeBuffer();
    EncodeRecordData(*this, bytes);
    CSqliteStatement& upsert = statements.m_upsert;
    CStatementReset resetOnExit(upsert);
    BindKey(*this, upsert);
    upsert.BindBlob(statements.m_dataParameter, bytes.data(), bytes.size());
    upsert.Step();
    return true;
  });
}

bool pvPersistent::FindObject() {
  return OnRecord(*this, [this](CRecordStatements& statements, POD&) {
    CSqliteStatement& exists = statements.m_exists;
    CStatementReset resetOnExit(exists);
    BindKey(*this, exists);
    return exists.Step();
  });
}
