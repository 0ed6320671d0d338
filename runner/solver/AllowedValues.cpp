#include "solver/AllowedValues.h"

#include <algorithm>
#include <cmath>

namespace {

// The allowed value nearest to x (a set value, or the nearest whole number).
double NearestAllowedValue(double x, const CAllowedValues& allowed) {
  if (allowed.isInteger) return std::nearbyint(x);
  const std::vector<double>& set = allowed.setValues;
  const auto above = std::lower_bound(set.begin(), set.end(), x);
  if (above == set.begin()) return *above;
  if (above == set.end()) return set.back();
  const double below = *(above - 1);
  return x - below <= *above - x ? below : *above;
}

}  // namespace

std::vector<CAllowedValues> AllowedValuesOf(
    const std::vector<int>& setIds, const std::vector<int>& definedSetIds,
    const std::vector<std::vector<double>>& definedSetValues) {
  std::vector<CAllowedValues> allowed(setIds.size());
  for (size_t i = 0; i < setIds.size(); ++i) {
    if (setIds[i] == -1) allowed[i].isInteger = true;
    for (size_t k = 0; setIds[i] > 0 && k < definedSetIds.size() && k < definedSetValues.size();
         ++k) {
      if (definedSetIds[k] != setIds[i]) continue;
      allowed[i].setValues = definedSetValues[k];
      std::sort(allowed[i].setValues.begin(), allowed[i].setValues.end());
    }
  }
  return allowed;
}

bool SnapToAllowedValues(std::vector<double>& values, const std::vector<CAllowedValues>& allowed,
                         const std::vector<double>& lower, const std::vector<double>& upper) {
  bool moved = false;
  for (size_t i = 0; i < values.size() && i < allowed.size(); ++i) {
    if (!allowed[i].IsRestricted() || !std::isfinite(values[i])) continue;
    const double target = NearestAllowedValue(values[i], allowed[i]);
    if (target == values[i] || target < lower[i] || target > upper[i]) continue;
    if (std::fabs(values[i] - target) > kSnapTolerance * std::max(1.0, std::fabs(target))) continue;
    values[i] = target;
    moved = true;
  }
  return moved;
}
