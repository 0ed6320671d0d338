#pragma once

// Every field of a record, generically: filled with awkward values, and
// described so that two records can be compared bit for bit. Used by the
// host tests (round trips) and the module tests (copied records).

#include <string>

#include "Records.h"

// Sets every data field of the record to values that depend on the seed and
// cover the awkward cases: NaN with payload, infinities, -0.0, denormals,
// extreme integers, empty and non-empty arrays and inner lists, empty, long,
// non-ASCII and NUL-holding texts. Key fields are left alone.
void FillFields(pvPersistent& record, unsigned seed);

// Every data field as "name=value" lines, doubles as their bit patterns, so
// that two records compare equal exactly when every bit of every field does.
std::string DescribeFields(pvPersistent& record);
