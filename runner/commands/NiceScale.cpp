#include "commands/NiceScale.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace {

// A nice number near `value` (> 0): rounded to the nearest, or the least at or above it.
double NiceNumber(double value, bool round) {
  const double exponent = std::floor(std::log10(value));
  const double power = std::pow(10.0, exponent);
  const double fraction = value / power;  // in [1, 10)
  double nice = 10.0;
  if (round) {
    if (fraction < 1.5)
      nice = 1.0;
    else if (fraction < 3.0)
      nice = 2.0;
    else if (fraction < 7.0)
      nice = 5.0;
  } else {
    if (fraction <= 1.0)
      nice = 1.0;
    else if (fraction <= 2.0)
      nice = 2.0;
    else if (fraction <= 5.0)
      nice = 5.0;
  }
  return nice * power;
}

}  // namespace

CNiceScale NiceScale(double least, double greatest, int wantedTicks) {
  if (greatest - least <= 0.0) {
    const double margin = least == 0.0 ? 1.0 : std::abs(least) * 0.1;
    least -= margin;
    greatest += margin;
  }
  CNiceScale scale;
  const double range = NiceNumber(greatest - least, false);
  scale.step = NiceNumber(range / std::max(1, wantedTicks - 1), true);
  scale.low = std::floor(least / scale.step) * scale.step;
  scale.high = std::ceil(greatest / scale.step) * scale.step;
  const long long steps = std::llround((scale.high - scale.low) / scale.step);
  for (long long i = 0; i <= steps && i <= 100; ++i) {
    double tick = scale.low + double(i) * scale.step;
    if (std::abs(tick) < scale.step * 1e-9) tick = 0.0;
    scale.ticks.push_back(tick);
  }
  return scale;
}

std::string TickLabel(double value, double step) {
  if (value == 0.0 || std::abs(value) < step * 1e-9) return "0";
  const int stepExponent = int(std::floor(std::log10(step)));
  const double magnitude = std::abs(value);
  if (magnitude >= 1e-4 && magnitude < 1e7 && stepExponent >= -6)
    return fmt::format("{:.{}f}", value, std::max(0, -stepExponent));
  // Significant digits down to the step's first one.
  const int digits = int(std::floor(std::log10(magnitude))) - stepExponent + 1;
  return fmt::format("{:.{}e}", value, std::clamp(digits, 1, 17) - 1);
}
