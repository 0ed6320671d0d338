#pragma once

// One evaluated design and the rule that says which of two designs is better.
//
// Constraint values are scaled so that one rule fits every kind: for
// "g <= b" the value is (g - b) / scale, for "g >= b" it is (b - g) / scale,
// and for "g == b" it is (g - b) / scale, whose size counts. The maximum
// constraint value of a design is the largest of these (the size for an
// equality): negative when every inequality holds with room, 0 for a design
// of a problem without constraints (nothing to violate). A design is feasible
// when its maximum constraint value is at most the tolerance (IsFeasible).

#include <cmath>
#include <limits>
#include <vector>

struct CEvaluatedDesign {
  std::vector<double> values;  // design-variable values, within their bounds
  double objective = std::numeric_limits<double>::quiet_NaN();  // in the user's units and sense;
                                                                // NaN before evaluation
  std::vector<double> constraints;  // scaled constraint values (see above)
  double maxConstraint =
      std::numeric_limits<double>::infinity();  // largest scaled violation; +inf before evaluation
  int analysis = 0;  // which analysis of its optimisation evaluated it, from 1; 0 before evaluation
};

// The maximum constraint value of scaled constraint values; `isEquality` has
// one flag per constraint. NaN counts as an infinite violation.
inline double MaxConstraint(const std::vector<double>& constraints,
                            const std::vector<bool>& isEquality) {
  if (constraints.empty()) return 0.0;
  double largest = -std::numeric_limits<double>::infinity();
  for (size_t i = 0; i < constraints.size(); ++i) {
    const double value = isEquality[i] ? std::fabs(constraints[i]) : constraints[i];
    largest =
        std::isnan(value) ? std::numeric_limits<double>::infinity() : std::max(largest, value);
  }
  return largest;
}

// Whether a design whose maximum constraint value is `maxConstraint` is
// feasible: the value is at most the tolerance. NaN (a constraint that could
// not be evaluated) is never feasible. The one feasibility rule of the
// program: the solver, the task results, the search mirror and the reports
// all ask it.
inline bool IsFeasible(double maxConstraint, double tolerance) {
  return maxConstraint <= tolerance;
}

// Whether `candidate` is better than `incumbent`: a feasible design beats an
// infeasible one; of two feasible designs the one with the better objective
// wins; of two infeasible ones the less infeasible. Ties keep the incumbent,
// and a design with a NaN objective is never better.
inline bool IsBetterDesign(const CEvaluatedDesign& candidate, const CEvaluatedDesign& incumbent,
                           bool minimize, double tolerance) {
  if (std::isnan(candidate.objective)) return false;
  if (std::isnan(incumbent.objective)) return true;
  const bool candidateFeasible = IsFeasible(candidate.maxConstraint, tolerance);
  const bool incumbentFeasible = IsFeasible(incumbent.maxConstraint, tolerance);
  if (candidateFeasible != incumbentFeasible) return candidateFeasible;
  if (!candidateFeasible) return candidate.maxConstraint < incumbent.maxConstraint;
  return minimize ? candidate.objective < incumbent.objective
                  : candidate.objective > incumbent.objective;
}
