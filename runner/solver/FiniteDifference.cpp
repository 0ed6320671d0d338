#include "solver/FiniteDifference.h"

#include <algorithm>
#include <cmath>
#include <limits>

double DefaultRelativeStep(EGradientKind kind) {
  const double epsilon = std::numeric_limits<double>::epsilon();
  return kind == EGradientKind::Central ? std::cbrt(epsilon) : std::sqrt(epsilon);
}

double StepOf(double x, double lower, double upper, double typical, double relativeStep) {
  const double magnitude = std::max(typical, std::min(std::fabs(x), upper - lower));
  const double step =
      std::max(relativeStep * magnitude, 4 * std::numeric_limits<double>::epsilon() * std::fabs(x));
  return (x + step) - x;  // the step the arithmetic actually takes
}

int EstimateJacobian(const FVectorFunction& function, int outputCount, const std::vector<double>& x,
                     const std::vector<double>& outputsAtX, const CFiniteDifferenceSetup& setup,
                     std::vector<double>& jacobian) {
  const size_t n = x.size();
  jacobian.assign(static_cast<size_t>(outputCount) * n, 0.0);
  std::vector<double> point = x;
  std::vector<double> near(outputCount);
  std::vector<double> far(outputCount);
  int evaluations = 0;
  auto evaluateAt = [&](size_t i, double value, std::vector<double>& outputs) {
    point[i] = value;
    function(point.data(), outputs.data());
    point[i] = x[i];
    ++evaluations;
  };
  auto store = [&](size_t i, auto derivativeOf) {
    for (int k = 0; k < outputCount; ++k)
      jacobian[static_cast<size_t>(k) * n + i] = derivativeOf(k);
  };
  for (size_t i = 0; i < n; ++i) {
    const double lower = setup.lower[i];
    const double upper = setup.upper[i];
    if (!(upper > lower)) continue;
    const double h = StepOf(x[i], lower, upper, setup.typical[i], setup.relativeStep[i]);
    const bool central = setup.kind == EGradientKind::Central;
    if (central && x[i] - h >= lower && x[i] + h <= upper) {
      evaluateAt(i, x[i] + h, near);
      evaluateAt(i, x[i] - h, far);
      store(i, [&](int k) { return (near[k] - far[k]) / (2 * h); });
      continue;
    }
    // One side: towards the upper bound when there is room, else towards the lower.
    const double side = x[i] + h <= upper ? 1.0 : -1.0;
    if (x[i] + side * h > upper || x[i] + side * h < lower) {
      // The range is narrower than the step: a difference across all of it.
      evaluateAt(i, upper, near);
      evaluateAt(i, lower, far);
      store(i, [&](int k) { return (near[k] - far[k]) / (upper - lower); });
      continue;
    }
    evaluateAt(i, x[i] + side * h, near);
    const double twoSteps = x[i] + 2 * side * h;
    if (central && twoSteps <= upper && twoSteps >= lower) {
      // Second-order one-sided formula: (-3 f(x) + 4 f(x+h) - f(x+2h)) / 2h.
      evaluateAt(i, twoSteps, far);
      store(i, [&](int k) { return (-3 * outputsAtX[k] + 4 * near[k] - far[k]) / (2 * side * h); });
    } else {
      store(i, [&](int k) { return (near[k] - outputsAtX[k]) / (side * h); });
    }
  }
  return evaluations;
}
