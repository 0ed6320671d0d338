#pragma once

// Every field of a record, generically: filled with awkward values, and
// described so that two records can be compared bit for bit. Used by the
// host tests (round trips) and the module tests (copied records).

#include <string>
#include <type_traits>

#include "Records.h"

// Sets every data field of the record to values that depend on the seed and
// cover the awkward cases: quiet and signalling NaN with payload, infinities,
// -0.0, denormals, extreme integers, empty and non-empty arrays and inner
// lists, empty, long, non-ASCII and NUL-holding texts. Key fields are left
// alone.
void FillFields(pvPersistent& record, unsigned seed);

// Every data field as "name=value" lines, doubles as their bit patterns, so
// that two records compare equal exactly when every bit of every field does.
std::string DescribeFields(pvPersistent& record);

// A record stored under the task id (and point id, for a CDPoint) with every
// data field filled from the seed; returned as stored.
template <class TRecord>
TRecord PutFilled(POD* pDatabase, int nTaskID, unsigned seed, int nPointID = 0) {
  TRecord record(pDatabase);
  record.m_nTaskID = nTaskID;
  if constexpr (std::is_same_v<TRecord, CDPoint>) record.m_nPointID = nPointID;
  FillFields(record, seed);
  record.PutObject();
  return record;
}
