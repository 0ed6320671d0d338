#pragma once

// CRC-32 of a byte range: the ISO 3309 / ITU-T V.42 polynomial (reflected,
// 0xEDB88320), initial value and final xor 0xFFFFFFFF, as zlib, PNG and
// Ethernet use it. Computed a byte at a time from a 256-entry table
// (Sarwate, "Computation of cyclic redundancy checks via table look-up",
// CACM 31(8), 1988). Detects every burst error up to 32 bits and all but
// 2^-32 of other damage. Cost: one table look-up per byte.
//
// Crc32("123456789", 9) == 0xCBF43926, the standard check value.

#include <cstddef>
#include <cstdint>

uint32_t Crc32(const unsigned char* data, size_t size);
