#include "Checksum.h"

#include <array>

namespace {

constexpr uint32_t kReflectedPolynomial = 0xEDB88320u;

// Entry b is the CRC of the single byte b: eight shifts of the reflected
// register, xoring the polynomial in whenever a one bit falls out.
constexpr std::array<uint32_t, 256> MakeCrcTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    uint32_t remainder = byte;
    for (int bit = 0; bit < 8; ++bit)
      remainder = (remainder & 1u) != 0 ? (remainder >> 1) ^ kReflectedPolynomial : remainder >> 1;
    table[byte] = remainder;
  }
  return table;
}

constexpr std::array<uint32_t, 256> kCrcTable = MakeCrcTable();

}  // namespace

uint32_t Crc32(const unsigned char* data, size_t size) {
  uint32_t crc = 0xFFFFFFFFu;
  for (size_t i = 0; i < size; ++i) crc = kCrcTable[(crc ^ data[i]) & 0xFFu] ^ (crc >> 8);
  return crc ^ 0xFFFFFFFFu;
}
