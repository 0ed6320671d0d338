#pragma once

// Axis ticks at "nice numbers" (1, 2 or 5 times a power of ten) after
// Heckbert, "Nice numbers for graph labels", Graphics Gems (1990): the
// range is rounded to a nice number, the step to a nice fraction of it, and
// the axis runs from the multiple of the step at or below the least value to
// the one at or above the greatest, so that both ends carry a tick.

#include <string>
#include <vector>

struct CNiceScale {
  double low = 0.0;           // the axis' first tick
  double high = 1.0;          // its last tick
  double step = 1.0;          // between ticks
  std::vector<double> ticks;  // from low to high
};

// About `wantedTicks` ticks covering [least, greatest]; both must be finite
// with least <= greatest, and at most 1e300 in magnitude. An empty range is
// widened around its value.
CNiceScale NiceScale(double least, double greatest, int wantedTicks = 5);

// A tick's label with just the digits that tell the ticks of `step` apart:
// "0.25", "1500" (fixed between 1e-4 and 1e7), "2.5e-12"; "0" for a value
// within round-off of zero.
std::string TickLabel(double value, double step);
