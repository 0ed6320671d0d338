#pragma once

// How the continuous optimiser runs: its algorithm, gradient scheme, stopping
// rules and start points. A problem file sets them (CProblem::optimizer), the
// task database stores them (CTask m_strOptimizer, m_vIntOptions and
// m_vaRealOptions) and the optimiser (Optimizer.h) reads them.

#include <string>

#include "solver/Algorithms.h"

// How the continuous optimiser estimates gradients.
enum class EGradientKind {
  Central = 0,  // (f(x+h) - f(x-h)) / 2h: two analyses per variable, error O(h^2)
  Forward = 1,  // (f(x+h) - f(x)) / h: one analysis per variable, error O(h)
};

// Settings of the continuous optimiser.
struct COptimizerSettings {
  std::string algorithm = Algorithms().front().name;  // one of Algorithms(); the first by default
  EGradientKind gradient = EGradientKind::Central;    // finite-difference scheme
  double relativeStep =
      0.0;  // finite-difference step relative to the variable's magnitude; 0: by scheme
  int maxEvaluations = 2000;  // analyses per local run (finite differences excluded); > 0
  double xTolerance = 1e-10;  // relative change of the design that ends a run; >= 0
  double fTolerance = 1e-12;  // relative change of the objective that ends a run; >= 0
  double maxSeconds = 0.0;    // wall seconds per local run; 0 for no limit
  int retries =
      3;  // other start points for a task whose local searches did not converge; 0: no retry
  int rootStarts = 4;        // start points of the search task's own continuous problem; >= 1
  int suspiciousStarts = 0;  // further start points for a subtask whose result looks suspicious
};
