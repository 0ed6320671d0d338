#pragma once

// The example's design problem, the host's own model of it:
//
//   minimise    sum_i w_i (x_i - c_i)^2
//   subject to  sum_i a_i x_i <= budget,  lower_i <= x_i <= upper_i,
//
// where some x_i are integers and some take the values of a set. The host
// keeps this model in memory; the task database holds what the module needs
// (bounds, which variables are discrete, the sets) and what the host writes
// for its users (names, expressions).

#include <string>
#include <vector>

struct CVariable {
  std::string name;
  int setId = 0;       // 0 continuous, -1 integer, k > 0 the values of the set with id k
  double lower = 0.0;  // bounds
  double upper = 0.0;
  double target = 0.0;             // c_i
  double weight = 1.0;             // w_i > 0
  double budgetCoefficient = 0.0;  // a_i
};

struct CValueSet {
  int id = 0;                  // > 0, as CVariable::setId names it
  std::string name;            // e.g. "thickness"
  std::vector<double> values;  // ascending
};

struct CProblem {
  std::vector<CVariable> variables;
  std::vector<CValueSet> sets;
  double budget = 0.0;
  double tolerance = 1e-9;  // a larger constraint value is a violation
};

// A design and what it is worth.
struct CSolution {
  std::vector<double> values;  // one per variable
  double objective = 0.0;
  double maxConstraint = 0.0;  // sum_i a_i x_i - budget: <= 0 when the budget holds
};
