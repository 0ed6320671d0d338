#pragma once

// Finite-difference estimates of the Jacobian of a vector function, with
// every evaluated point inside the variables' bounds.
//
// The step of variable i is h = relativeStep[i] * max(typical[i], min(|x_i|,
// upper[i] - lower[i])): relative to the variable's magnitude, but never to
// more of it than its range, so that a variable with narrow bounds far from
// zero (1e6 <= y <= 1e6 + 7) is not differenced across its whole range; and
// at least four rounding units of x_i, taken as the step x_i + h - x_i that
// the arithmetic actually makes.
// Central differences use x + h and x - h; where one of them would leave the
// bounds they use the second-order one-sided formula over x, x + h, x + 2h
// (or x - h, x - 2h), which costs the same two analyses. Forward differences
// use x + h, or x - h where x + h would leave the bounds. A range narrower
// than the step gets a difference across the whole range; a variable whose
// bounds are equal gets a zero column.
// (Nocedal & Wright, Numerical Optimization, 2nd ed., section 8.1.)

#include <functional>
#include <vector>

#include "solver/OptimizerSettings.h"

// Evaluates the outputs at a design: (design, outputs).
using FVectorFunction = std::function<void(const double*, double*)>;
// Is told the points that an estimate is about to evaluate, all at once:
// they do not depend on each other, so their evaluations may run together.
using FPreparePoints = std::function<void(const std::vector<std::vector<double>>& points)>;

// The default relative step of a scheme: the cube root of the machine epsilon
// for central differences, its square root for forward ones.
double DefaultRelativeStep(EGradientKind kind);

struct CFiniteDifferenceSetup {
  EGradientKind kind = EGradientKind::Central;  // scheme
  std::vector<double> lower;                    // lower bound of each variable
  std::vector<double> upper;                    // upper bound of each variable; >= lower
  std::vector<double> typical;                  // typical magnitude of each variable; > 0
  std::vector<double> relativeStep;             // relative step of each variable; > 0
};

// The step of one variable at x within [lower, upper] (above).
double StepOf(double x, double lower, double upper, double typical, double relativeStep);

// Fills `jacobian` (outputCount rows of x's size, row-major) with the
// derivatives of the outputs at x, given the outputs at x in `outputsAtX`.
// All points are chosen first and handed to `prepare` (when given) before
// `function` is called at each of them, in order of the variables.
// Returns the number of evaluations of `function` made.
int EstimateJacobian(const FVectorFunction& function, int outputCount, const std::vector<double>& x,
                     const std::vector<double>& outputsAtX, const CFiniteDifferenceSetup& setup,
                     std::vector<double>& jacobian, const FPreparePoints& prepare = {});
