#pragma once

// A test problem whose continuous optimum has a closed form, standing in for
// the host's continuous optimiser in the tests of the search tree and of the
// module, and its discrete optimum found by trying every combination.
//
// The problem: minimise (sense 1) or maximise (sense -1) the objective
// sense * f(x), with
//   f(x) = sum_i w_i (x_i - t_i)^2   subject to   g(x) = a.x - b <= 0
// over a box. Both senses minimise f. Its solution is x_i(l) = clamp(t_i -
// l a_i / (2 w_i)) with the smallest multiplier l >= 0 that makes g <= 0 (the
// KKT conditions of a separable convex problem with one linear constraint);
// g(x(l)) falls monotonically in l, so bisection finds it. When no point of
// the box satisfies g <= 0, the point of least a.x is reported with its
// violation as the maximum constraint value.

#include <optional>
#include <random>
#include <utility>
#include <valarray>
#include <vector>

struct CTestVariable {
  double dLower;        // bound of the whole problem, <= dUpper
  double dUpper;        // bound of the whole problem
  double dWeight;       // w_i > 0
  double dTarget;       // t_i, the unconstrained minimiser
  double dCoefficient;  // a_i of the constraint
  int nSetId;           // 0 continuous, -1 integer, k > 0 the values of the set with id k
};

struct CValueSet {
  int nId;                     // > 0
  std::vector<double> values;  // ascending
};

struct CDesign {
  std::valarray<double> values;  // one per variable
  double dObjective;             // sense * f
  double dMaxCon;                // g(x)
};

struct CClosedFormProblem {
  std::vector<CTestVariable> variables;  // in design-variable order
  std::vector<CValueSet> sets;           // the sets the variables name
  double dLimit = 1e9;                   // b
  int nSense = 1;                        // 1 minimise, -1 maximise
  double dConTol = 1e-9;                 // g up to this counts as feasible

  // The continuous optimum over the box [lower, upper] (lower <= upper).
  CDesign Solve(const std::valarray<double>& lower, const std::valarray<double>& upper) const;
  // The lower and upper bounds of the whole problem.
  std::pair<std::valarray<double>, std::valarray<double>> Bounds() const;
  // The values a discrete variable may take inside the problem's bounds.
  std::vector<double> AllowedValues(size_t variable) const;
  // The best feasible design whose discrete variables all take allowed values
  // (continuous ones solved for each combination); none when none is feasible.
  std::optional<CDesign> EnumerateBest() const;
};

// Two to four discrete variables (integer or set, ranges reaching below 0)
// and at most one continuous one; set ids are 1, 2, ... in order. With
// bLargeOffset, the first integer variable lives near 3e9, beyond the 32-bit
// range, outside the constraint.
CClosedFormProblem RandomProblem(std::mt19937& random, int nSense, bool bLargeOffset);
