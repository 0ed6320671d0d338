#pragma once

// Truncation of a double toward zero into a 32-bit signed integer, with a
// defined result where the language leaves the conversion undefined: NaN and
// every value whose truncation lies outside [INT32_MIN, INT32_MAX] give
// INT32_MIN, the "integer indefinite" value of the x86 conversion instruction
// (cvttsd2si). The result is therefore the same on 32-bit and 64-bit builds
// and under UndefinedBehaviorSanitizer.

#include <cstdint>

inline int32_t TruncateToInt32(double value) {
  // Both limits are exact doubles; NaN fails both comparisons.
  if (value > -2147483649.0 && value < 2147483648.0) return static_cast<int32_t>(value);
  return INT32_MIN;
}
