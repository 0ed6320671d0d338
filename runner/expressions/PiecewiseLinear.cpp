#include "expressions/PiecewiseLinear.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>

const char* const kInterpolateFunction = "interpolate";

double InterpolatePiecewiseLinear(double x, const double* points, int pointCount) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  if (std::isnan(x) || pointCount < 2) return kNaN;
  auto key = [&](int i) { return points[2 * i]; };
  auto value = [&](int i) { return points[2 * i + 1]; };
  for (int i = 1; i < pointCount; ++i) {
    if (!(key(i) > key(i - 1))) return kNaN;
  }
  if (x <= key(0)) return value(0);
  if (x >= key(pointCount - 1)) return value(pointCount - 1);
  int below = 0;  // the last key at or below x
  int above = pointCount - 1;
  while (above - below > 1) {
    const int middle = below + (above - below) / 2;
    (key(middle) <= x ? below : above) = middle;
  }
  if (x == key(below)) return value(below);
  const double t = (x - key(below)) / (key(above) - key(below));
  return (1 - t) * value(below) + t * value(above);
}

std::string InterpolationCall(const std::string& variable, const std::vector<double>& keys,
                              const std::vector<double>& values) {
  // fmt's "{}" is the shortest text that reads back as the same double.
  std::string call = fmt::format("{}({}", kInterpolateFunction, variable);
  for (size_t i = 0; i < keys.size(); ++i) call += fmt::format(",{},{}", keys[i], values[i]);
  return call + ")";
}
