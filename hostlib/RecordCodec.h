#pragma once

// The encoding of a record's data fields (everything VisitData tells) as one
// byte string, stored in the `data` column of the record's table.
//
// Layout, every integer little-endian:
//
//   offset 0    'D' 'R' 0x01 0x00   format tag and format version 1
//   offset 4    u32 field count     how many fields VisitData tells
//   offset 8    u32 layout hash     FNV-1a over each field's name and type, in order
//   offset 12   the fields in VisitData order, each as:
//                 pvINT32, pvUINT32            4 bytes
//                 pvFLOAT64                    8 bytes: the IEEE bit pattern, so NaN
//                                              payloads, infinities and -0.0 survive
//                 std::string                  u32 byte count, the bytes (any bytes)
//                 vector<pvINT32>              u32 count, 4 bytes each
//                 valarray<pvFLOAT64>          u32 count, 8 bytes each
//                 vector<std::string>          u32 count, each text as above
//                 vector<vector<pvINT32>>      u32 count, each list as vector<pvINT32>
//                 vector<vector<pvFLOAT64>>    u32 count, each list as valarray<pvFLOAT64>
//   last 4      u32 CRC-32 (Checksum.h) of every byte before it
//
// Decoding checks the frame, the checksum, the layout hash and field count
// (which catch bytes of another record class, or of an older build whose
// record had other fields) and every length against the bytes that remain, so
// damaged bytes are reported, never read past or taken for data. Cost: linear
// in the encoded size: one copy and one checksum pass to encode; one checksum
// pass and two walks (check, then assign) to decode.

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

class pvPersistent;

// The stored bytes are not an intact encoding of the record's fields. The
// message says what is wrong; the caller adds the record and its key.
class CRecordDamaged : public std::runtime_error {
 public:
  explicit CRecordDamaged(const std::string& reason) : std::runtime_error(reason) {}
};

// Replaces the contents of bytes with the encoding of the record's data
// fields. Throws CDatabaseError when a list has more than 2^32 - 1 items.
void EncodeRecordData(pvPersistent& record, std::vector<unsigned char>& bytes);

// Reads the encoded bytes into the record's data fields, replacing all of
// them. Throws CRecordDamaged, with every field of the record left as it was,
// when the bytes are not an intact encoding of this record class's fields.
void DecodeRecordData(const unsigned char* bytes, size_t size, pvPersistent& record);
