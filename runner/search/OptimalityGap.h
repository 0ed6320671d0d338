#pragma once

// How far the incumbent may still be from the best discrete design, by the
// convention of mixed-integer solvers:
//
//   absolute gap = |incumbent - bound|
//   relative gap = absolute gap / max(|incumbent|, 1e-10)
//
// where the bound is the best objective among the open nodes that could
// still hold a better design (NodeMirror.h), so that it is never worse than
// the incumbent. The floor keeps the relative gap finite for an incumbent at
// zero (where it then reads as huge rather than as a division by zero).
//
// Without an open bound the gap is 0: no open node can hold a better design,
// whether the search explored every node or a limit stopped it when every
// node left open was no better than the incumbent. Without an incumbent
// there is no gap, only the bound.

struct COptimalityGap {
  double absolute = 0.0;  // |incumbent - bound|; 0 without an open bound
  double relative = 0.0;  // absolute / max(|incumbent|, kRelativeGapFloor)
};

constexpr double kRelativeGapFloor = 1e-10;

// The gap of an incumbent; `openBound` is read only with `hasOpenBound`.
COptimalityGap GapOf(double incumbent, bool hasOpenBound, double openBound);
