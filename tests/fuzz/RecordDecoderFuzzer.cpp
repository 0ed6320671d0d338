// The record decoder on any bytes: it fills the record or throws
// CRecordDamaged, and what it accepts encodes back to the same bytes. Any
// other exception, a crash or a sanitizer report is a fault.
//
// Input: one byte choosing the record class (low four bits) and whether the
// last four bytes are replaced by the right CRC-32 of the rest (bit 7), so that
// the search also reaches past the checksum; then the encoded record.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "Checksum.h"
#include "RecordCodec.h"
#include "Records.h"

namespace {

std::unique_ptr<pvPersistent> MakeRecord(unsigned kind) {
  switch (kind % 11) {
    case 0:
      return std::make_unique<CTask>(nullptr);
    case 1:
      return std::make_unique<CResult>(nullptr);
    case 2:
      return std::make_unique<CIter>(nullptr);
    case 3:
      return std::make_unique<CDPoint>(nullptr);
    case 4:
      return std::make_unique<CDVar>(nullptr);
    case 5:
      return std::make_unique<CDSet>(nullptr);
    case 6:
      return std::make_unique<CDResp>(nullptr);
    case 7:
      return std::make_unique<CDObj>(nullptr);
    case 8:
      return std::make_unique<CDCons>(nullptr);
    case 9:
      return std::make_unique<CDEqn>(nullptr);
    default:
      return std::make_unique<CDLink>(nullptr);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const unsigned choice = data[0];
  std::vector<unsigned char> bytes(data + 1, data + size);
  if ((choice & 0x80) != 0 && bytes.size() >= 4) {
    const uint32_t checksum = Crc32(bytes.data(), bytes.size() - 4);
    std::memcpy(&bytes[bytes.size() - 4], &checksum, 4);
  }
  const std::unique_ptr<pvPersistent> record = MakeRecord(choice & 0x0F);
  try {
    DecodeRecordData(bytes.data(), bytes.size(), *record);
  } catch (const CRecordDamaged&) {
    return 0;
  }
  std::vector<unsigned char> encoded;
  EncodeRecordData(*record, encoded);
  if (encoded != bytes) std::abort();
  return 0;
}
