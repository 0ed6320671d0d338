#include "QuadraticSolver.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Each variable's minimiser for the budget's multiplier lambda; lambda =
// infinity gives every variable the bound that spends least of the budget.
std::vector<double> Minimiser(const CProblem& problem, const std::vector<double>& lower,
                              const std::vector<double>& upper, double lambda) {
  std::vector<double> values(problem.variables.size());
  for (size_t i = 0; i < values.size(); ++i) {
    const CVariable& variable = problem.variables[i];
    const double a = variable.budgetCoefficient;
    double value = variable.target;
    if (a != 0.0) {
      value = std::isinf(lambda) ? (a > 0.0 ? lower[i] : upper[i])
                                 : value - lambda * a / (2.0 * variable.weight);
    }
    values[i] = std::clamp(value, lower[i], upper[i]);
  }
  return values;
}

}  // namespace

CSolution Evaluate(const CProblem& problem, const std::vector<double>& values) {
  CSolution solution;
  solution.values = values;
  double spent = 0.0;
  for (size_t i = 0; i < values.size(); ++i) {
    const CVariable& variable = problem.variables[i];
    const double offset = values[i] - variable.target;
    solution.objective += variable.weight * offset * offset;
    spent += variable.budgetCoefficient * values[i];
  }
  solution.maxConstraint = spent - problem.budget;
  return solution;
}

CSolution SolveContinuous(const CProblem& problem, const std::vector<double>& lower,
                          const std::vector<double>& upper) {
  auto at = [&](double lambda) {
    return Evaluate(problem, Minimiser(problem, lower, upper, lambda));
  };
  CSolution free = at(0.0);
  if (free.maxConstraint <= 0.0) return free;
  const CSolution leastSpent = at(std::numeric_limits<double>::infinity());
  if (leastSpent.maxConstraint > 0.0) return leastSpent;
  double low = 0.0, high = 1.0;
  while (at(high).maxConstraint > 0.0) high *= 2.0;
  // Halve [low, high] until it cannot shrink; high always keeps the budget.
  for (double middle = 0.5 * (low + high); middle > low && middle < high;
       middle = 0.5 * (low + high)) {
    (at(middle).maxConstraint > 0.0 ? low : high) = middle;
  }
  return at(high);
}
