#pragma once

// Converting between plain arrays and the arrays of record fields
// (std::valarray<pvFLOAT64>), element by element.

#include <iterator>
#include <valarray>
#include <vector>

#include "PersistentValues.h"

template <class T>
std::valarray<pvFLOAT64> ToValarray(const std::vector<T>& values) {
  std::valarray<pvFLOAT64> array(values.size());
  for (size_t i = 0; i < values.size(); ++i) array[i] = static_cast<double>(values[i]);
  return array;
}

inline std::vector<double> ToVector(const std::valarray<pvFLOAT64>& values) {
  return std::vector<double>(std::begin(values), std::end(values));
}
