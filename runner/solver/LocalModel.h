#pragma once

// What a local-search backend sees of one local search (Optimizer.cpp): the
// free variables with their bounds, and at any point of free values the
// outputs (the objective in minimisation form, then the constraint values,
// <= 0 for an inequality and == 0 for an equality to hold, all scaled) and
// their Jacobian by finite differences. Every point a backend asks for is
// evaluated once and may become the run's best design; points outside the
// bounds are clamped into them. The NLopt backend lives beside the local
// search; others (IpoptSearch.h) drive it through this interface.

#include <string>
#include <vector>

#include "solver/SolveStatus.h"

class CLocalModel {
 public:
  virtual ~CLocalModel() = default;
  virtual size_t FreeCount() const = 0;
  virtual double FreeLower(size_t j) const = 0;
  virtual double FreeUpper(size_t j) const = 0;
  virtual size_t ConstraintCount() const = 0;
  virtual bool IsEquality(size_t k) const = 0;
  // How far constraint k may be off in the units of the outputs.
  virtual double ConstraintTolerance(size_t k) const = 0;
  // The outputs at `freeValues` (1 + ConstraintCount() of them; NaN is
  // returned as +HUGE_VAL). Throws what the evaluation throws.
  virtual const std::vector<double>& OutputsAt(const double* freeValues) = 0;
  // Their Jacobian there: (1 + ConstraintCount()) rows of FreeCount(), row-major.
  virtual const std::vector<double>& JacobianAt(const double* freeValues) = 0;
  // Whether the search's deadline has passed: a backend must then stop.
  virtual bool DeadlinePassed() const = 0;
};

// How a backend's search ended.
struct CBackendEnd {
  ESolveStatus status = ESolveStatus::Failed;
  int code = 0;      // the backend's own return code
  std::string text;  // that code in words
};
