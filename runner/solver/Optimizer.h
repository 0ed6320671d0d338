#pragma once

// The continuous optimiser: local searches with NLopt from one or several
// start points, keeping the best design found.
//
//   CContinuousProblem problem;            // bounds, constraint kinds, evaluate
//   COptimizationResult result = Optimize(problem, {start}, settings);
//   const CEvaluatedDesign& best = result.Best();
//
// Algorithms: Algorithms.h. Gradients are finite differences
// (FiniteDifference.h).
//
// Every run ends with a status (SolveStatus.h): converged, stopped at the
// evaluation or time limit, by round-off, failed, or with a best design whose
// values are not finite. The problem's deadline bounds every run: NLopt gets
// the time left, and a run past it is stopped before its next analysis.
//
// Every design evaluated lies within the bounds: the optimiser's iterates are
// clamped before evaluation, and variables whose bounds are equal are held at
// that value and left out of the local search. The best design of a run is
// the best (IsBetterDesign, Design.h) of the designs the algorithm asked for;
// the points of finite differences take no part. A run that NLopt ends with
// an error still yields the best design it evaluated.
//
// An NLopt run that ends without a feasible design (its start may be so far
// off that the linearised constraints contradict each other) gets one
// restoration: from its best design, SLSQP minimises the sum of squared
// constraint violations within the bounds alone, and the algorithm runs once
// more from there (the feasibility restoration of filter SQP methods,
// Fletcher & Leyffer 2002). A run whose best design is infeasible and has not
// improved in 50 + 5n of the designs it asked for (n free variables) has
// stalled and is stopped (status round-off) instead of spending its
// evaluation budget. When the restoration converged to a violation above the
// tolerance and the algorithm, started there, ends without converging and
// without a feasible design, that point of local infeasibility is the run's
// converged result: a subproblem that is truly infeasible ends at a
// least-infeasible design.
//
// Cost: per iteration one analysis plus, for gradient-based algorithms, one
// (forward) or two (central) analyses per free variable. The analyses of one
// Jacobian, and the start points of all runs, go to the problem's `prepare`
// together before they are evaluated.

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "solver/Design.h"
#include "solver/OptimizerSettings.h"
#include "solver/SolveStatus.h"

struct CContinuousProblem {
  std::vector<double> lower;             // lower bound of each variable
  std::vector<double> upper;             // upper bound of each variable; >= lower
  std::vector<double> typicalMagnitude;  // of each variable, > 0; sets finite-difference steps
  // Finite-difference step of each variable; 0 for the settings' step
  std::vector<double> relativeStep;
  std::vector<bool> isEquality;  // one flag per constraint
  bool minimize = true;          // sense of the objective
  double objectiveScale = 1.0;   // the local search works on objective / scale; > 0
  double tolerance = 1e-6;       // largest maximum constraint value still feasible
  // Evaluates a design: (design, objective, scaled constraint values).
  std::function<void(const double*, double*, double*)> evaluate;
  // May be empty. Is told the designs that are about to be evaluated and do
  // not depend on each other (the points of one finite-difference Jacobian,
  // the start points of several local searches), so that their expensive
  // parts may run at the same time; `evaluate` is then called for each of
  // them as usual.
  std::function<void(const std::vector<std::vector<double>>& designs)> prepare;
  // No local search goes on past this moment: it is checked before every
  // analysis, and a search stopped by it ends with ESolveStatus::TimeLimit.
  std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
};

// One local search.
struct CLocalRun {
  int startIndex = 0;      // which start point it began from
  CEvaluatedDesign start;  // the start point, clamped into the bounds, evaluated
  // Designs that improved on the run's best, in order; bounded
  std::vector<CEvaluatedDesign> improvements;
  CEvaluatedDesign best;  // the run's best design (the start when nothing improved on it)
  ESolveStatus status =
      ESolveStatus::Converged;  // how it ended; converged when no search was needed
  int code = 0;  // the optimiser's own result code; 0 when no search was needed (no free variable)
  std::string statusText;  // the optimiser's code in words
  int analyses = 0;        // analyses of this run, finite differences included
};

struct COptimizationResult {
  std::vector<CLocalRun> runs;  // one per start point, in order
  int bestRun = 0;              // index of the run holding the best design
  int analyses = 0;             // evaluations of the problem, finite differences included
  int gradients = 0;            // gradient estimates
  const CEvaluatedDesign& Best() const { return runs[bestRun].best; }
  // Converged when some run converged (its design is a local optimum, and
  // the best design is at least as good); otherwise how the best run ended.
  ESolveStatus Status() const;
};

// Evaluates one design of the problem (its values must lie within the bounds).
CEvaluatedDesign EvaluateDesign(const CContinuousProblem& problem,
                                const std::vector<double>& values);

// Runs one local search from each start point (at least one; each holds one
// value per variable) and returns them all. `maxImprovements` bounds the
// improvements kept per run: beyond it, the last kept one is replaced, so the
// run's final best is always the last entry.
COptimizationResult Optimize(const CContinuousProblem& problem,
                             const std::vector<std::vector<double>>& startPoints,
                             const COptimizerSettings& settings, int maxImprovements);
