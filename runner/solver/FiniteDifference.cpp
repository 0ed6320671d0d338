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

namespace {

// How the derivatives by one variable are formed from the outputs at x and
// at up to two more points, `near` and `far`, which differ from x in that
// variable only.
enum class EStencil {
  None,            // equal bounds: a zero column
  Central,         // (f(near) - f(far)) / divisor, near = x + h, far = x - h
  Across,          // the whole range: near = upper, far = lower
  OneSided,        // (f(near) - f(x)) / divisor, near = x +- h
  OneSidedSecond,  // (-3 f(x) + 4 f(near) - f(far)) / divisor, far = x +- 2h
};

struct CStencil {
  EStencil kind = EStencil::None;
  double near = 0.0;
  double far = 0.0;
  double divisor = 1.0;
  int PointCount() const { return kind == EStencil::None ? 0 : kind == EStencil::OneSided ? 1 : 2; }
};

CStencil StencilOf(double x, double lower, double upper, double h, EGradientKind kind) {
  if (!(upper > lower)) return {};
  const bool central = kind == EGradientKind::Central;
  if (central && x - h >= lower && x + h <= upper) return {EStencil::Central, x + h, x - h, 2 * h};
  // One side: towards the upper bound when there is room, else towards the lower.
  const double side = x + h <= upper ? 1.0 : -1.0;
  if (x + side * h > upper || x + side * h < lower) {
    // The range is narrower than the step: a difference across all of it.
    return {EStencil::Across, upper, lower, upper - lower};
  }
  const double twoSteps = x + 2 * side * h;
  if (central && twoSteps <= upper && twoSteps >= lower)
    return {EStencil::OneSidedSecond, x + side * h, twoSteps, 2 * side * h};
  return {EStencil::OneSided, x + side * h, 0.0, side * h};
}

double DerivativeOf(const CStencil& stencil, double atX, double atNear, double atFar) {
  switch (stencil.kind) {
    case EStencil::Central:
    case EStencil::Across:
      return (atNear - atFar) / stencil.divisor;
    case EStencil::OneSided:
      return (atNear - atX) / stencil.divisor;
    case EStencil::OneSidedSecond:
      return (-3 * atX + 4 * atNear - atFar) / stencil.divisor;
    case EStencil::None:
      break;
  }
  return 0.0;
}

}  // namespace

int EstimateJacobian(const FVectorFunction& function, int outputCount, const std::vector<double>& x,
                     const std::vector<double>& outputsAtX, const CFiniteDifferenceSetup& setup,
                     std::vector<double>& jacobian, const FPreparePoints& prepare) {
  const size_t n = x.size();
  std::vector<CStencil> stencils(n);
  std::vector<std::vector<double>> points;
  for (size_t i = 0; i < n; ++i) {
    const double h =
        setup.upper[i] > setup.lower[i]
            ? StepOf(x[i], setup.lower[i], setup.upper[i], setup.typical[i], setup.relativeStep[i])
            : 0.0;
    stencils[i] = StencilOf(x[i], setup.lower[i], setup.upper[i], h, setup.kind);
    for (int p = 0; p < stencils[i].PointCount(); ++p) {
      points.push_back(x);
      points.back()[i] = p == 0 ? stencils[i].near : stencils[i].far;
    }
  }
  if (prepare && !points.empty()) prepare(points);

  jacobian.assign(static_cast<size_t>(outputCount) * n, 0.0);
  std::vector<double> near(outputCount);
  std::vector<double> far(outputCount);
  size_t next = 0;
  for (size_t i = 0; i < n; ++i) {
    const CStencil& stencil = stencils[i];
    if (stencil.PointCount() >= 1) function(points[next++].data(), near.data());
    if (stencil.PointCount() == 2) function(points[next++].data(), far.data());
    for (int k = 0; k < outputCount; ++k) {
      jacobian[static_cast<size_t>(k) * n + i] =
          DerivativeOf(stencil, outputsAtX[k], near[k], far[k]);
    }
  }
  return static_cast<int>(points.size());
}
