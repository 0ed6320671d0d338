#pragma once

// SQL that reads a record's fields out of its `data` BLOB (the record
// encoding, hostlib/RecordCodec.h) with nothing but SQLite's built-in
// functions, so that plain `sqlite3` answers queries on the views built from
// it (RecordViews.h). The field layout comes from the record class's own
// VisitData, so the SQL follows the encoding without a second description of
// it.
//
// The BLOB is read through its hex text (`hex(data)`, column `h`): byte k is
// two characters at 2k + 1 and 2k + 2, each turned into its value with
// instr('0123456789ABCDEF', ...) - 1 (SQLite 3.40 has no unhex). A float64 is
// rebuilt from its bit pattern as (2^52 + mantissa) * 2^(exponent - 1075)
// (mantissa * 2^-1074 when subnormal) times the sign as -1.0 or 1.0: every
// factor and product is exact in double arithmetic, so the value is the
// stored double, bit for bit, -0.0 and subnormals included. Infinities
// become SQLite's infinite reals; NaN, which SQLite cannot hold, becomes NULL.
// pow() is among SQLite's math functions (3.35 and later, built in by
// Debian's and most distributions' builds).
//
// The decoding trusts the bytes: no checksum or layout check (`discrete show`
// reads records with those checks).

#include <string>
#include <vector>

class pvPersistent;

// Expressions over the hex text `hex` of a BLOB and a 0-based byte offset
// (an SQL expression).
std::string SqlUint32(const std::string& hex, const std::string& offset);
std::string SqlInt32(const std::string& hex, const std::string& offset);
std::string SqlFloat64(const std::string& hex, const std::string& offset);
// The text whose u32 byte count is at `offset` in the BLOB `blob`.
std::string SqlText(const std::string& blob, const std::string& hex, const std::string& offset);

// The byte offset in the BLOB of a field that comes before any text or
// list (a number); throws std::logic_error for any other.
std::string FixedFieldOffset(pvPersistent& prototype, const std::string& field);

// A SELECT over the record class's table giving, per record, its key columns
// (named as the key fields), `data`, `h` (hex(data)) and the named data
// fields: int32, uint32, float64 and text fields as their values under the
// field's name; lists and arrays as `<name>_at`, the byte offset of their
// u32 count (element i of a float64 array is at `<name>_at` + 4 + 8 i).
// Fields after a list of texts or of lists cannot be located in plain SQL
// and are refused (std::logic_error), as are names that are not fields.
std::string RecordFieldsSql(pvPersistent& prototype, const std::vector<std::string>& fields);
