#pragma once

// A record's key as the storage layer uses it: the fields that VisitKey tells,
// all pvINT32, which become the INTEGER primary-key columns of the record's
// table under the fields' own names.

#include <string>
#include <vector>

class pvPersistent;
class CSqliteStatement;

// The names of the record's key fields, in key order, e.g. {"m_nTaskID",
// "m_nPointID"}. Throws CDatabaseError when a key field is not a pvINT32 or
// the record has no key field.
std::vector<std::string> KeyFieldNames(pvPersistent& record);

// Binds the record's key values to the statement's parameters 1, 2, ... in
// key order.
void BindKey(pvPersistent& record, CSqliteStatement& statement);

// The record and its key as messages name them: "CDPoint (task 12, point 3)".
// Each key field is named by its stem in lower case ("m_nTaskID" -> "task").
std::string RecordLabel(pvPersistent& record);
