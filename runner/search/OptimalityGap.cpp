#include "search/OptimalityGap.h"

#include <algorithm>
#include <cmath>

COptimalityGap GapOf(double incumbent, bool hasOpenBound, double openBound) {
  if (!hasOpenBound) return {};
  const double absolute = std::fabs(incumbent - openBound);
  return {absolute, absolute / std::max(std::fabs(incumbent), kRelativeGapFloor)};
}
