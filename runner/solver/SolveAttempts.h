#pragma once

// The local searches one task gets, so that a search that did not converge
// is never taken for the task's solution, and so that a result that looks
// wrong is checked from elsewhere (the policy; TaskSolver.h writes records):
//
//   1. one local search from each start point;
//   2. when none of them converged and `retries` > 0: one more at a time,
//      until one converges, from the bounds' centre, then from `retries` - 1
//      Latin hypercube points of the bounds, then one from the first start
//      point with the algorithm's fallback (Algorithms.h);
//   3. when a search converged but `isSuspicious` finds the best design
//      suspicious: `suspiciousStarts` more from Latin hypercube points.
//
// Every extra search costs about as much as the first: its analyses are
// those of a local search (finite differences included). The samples are
// deterministic: they depend on `seed` only.

#include <cstdint>
#include <functional>
#include <vector>

#include "solver/Optimizer.h"

struct CSolvePlan {
  COptimizerSettings settings;  // algorithm, tolerances, retries, suspiciousStarts
  int improvementsKept = 1;     // per run (Optimize)
  uint32_t seed = 1;            // of the Latin hypercube samples
  std::function<bool(const CEvaluatedDesign&)> isSuspicious;  // may be empty: nothing is suspicious
};

// Runs the searches and returns them all as one result: the runs in the
// order made (a run's startIndex is its own index; runs from index
// `starts.size()` on began at points made here), analyses and gradients
// summed, the best run chosen over all of them.
COptimizationResult RunLocalSearches(const CContinuousProblem& problem,
                                     const std::vector<std::vector<double>>& starts,
                                     const CSolvePlan& plan);
