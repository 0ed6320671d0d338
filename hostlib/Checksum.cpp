#include "Checksum.h"

#include <array>
#include <cstring>

// The eight bytes of a step are read as two little-endian words.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "slicing by 8 reads words in little-endian order");

namespace {

constexpr uint32_t kReflectedPolynomial = 0xEDB88320u;

using CCrcTables = std::array<std::array<uint32_t, 256>, 8>;

// Table 0, entry b: the CRC register after shifting the byte b through it
// (eight shifts, xoring the polynomial in whenever a one bit falls out).
// Table k, entry b: the same byte followed by k zero bytes, so that one step
// can combine the contributions of eight bytes at once.
constexpr CCrcTables MakeCrcTables() {
  CCrcTables tables{};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    uint32_t remainder = byte;
    for (int bit = 0; bit < 8; ++bit)
      remainder = (remainder & 1u) != 0 ? (remainder >> 1) ^ kReflectedPolynomial : remainder >> 1;
    tables[0][byte] = remainder;
  }
  for (size_t k = 1; k < 8; ++k)
    for (size_t byte = 0; byte < 256; ++byte)
      tables[k][byte] = (tables[k - 1][byte] >> 8) ^ tables[0][tables[k - 1][byte] & 0xFFu];
  return tables;
}

constexpr CCrcTables kCrcTables = MakeCrcTables();

}  // namespace

uint32_t Crc32(const unsigned char* data, size_t size) {
  const CCrcTables& t = kCrcTables;  // terse: the slicing step reads better this way
  uint32_t crc = 0xFFFFFFFFu;
  for (; size >= 8; data += 8, size -= 8) {
    uint32_t low;
    uint32_t high;
    std::memcpy(&low, data, 4);
    std::memcpy(&high, data + 4, 4);
    low ^= crc;
    crc = t[7][low & 0xFFu] ^ t[6][(low >> 8) & 0xFFu] ^ t[5][(low >> 16) & 0xFFu] ^
          t[4][low >> 24] ^ t[3][high & 0xFFu] ^ t[2][(high >> 8) & 0xFFu] ^
          t[1][(high >> 16) & 0xFFu] ^ t[0][high >> 24];
  }
  for (; size > 0; ++data, --size) crc = t[0][(crc ^ *data) & 0xFFu] ^ (crc >> 8);
  return crc ^ 0xFFFFFFFFu;
}
