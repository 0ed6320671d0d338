#include "solver/SolveAttempts.h"

#include "solver/Algorithms.h"
#include "solver/LatinHypercube.h"

namespace {

// Adds the runs of `more` behind those of `into`, renumbering their start
// indices and analyses as if one optimisation had made them all.
void AppendRuns(COptimizationResult& into, COptimizationResult more,
                const CContinuousProblem& problem) {
  for (CLocalRun& run : more.runs) {
    run.startIndex = static_cast<int>(into.runs.size());
    for (CEvaluatedDesign* design : {&run.start, &run.best}) design->analysis += into.analyses;
    for (CEvaluatedDesign& design : run.improvements) design.analysis += into.analyses;
    into.runs.push_back(std::move(run));
    if (IsBetterDesign(into.runs.back().best, into.Best(), problem.minimize, problem.tolerance)) {
      into.bestRun = static_cast<int>(into.runs.size()) - 1;
    }
  }
  into.analyses += more.analyses;
  into.gradients += more.gradients;
}

std::vector<double> CentreOf(const CContinuousProblem& problem) {
  std::vector<double> centre(problem.lower.size());
  for (size_t i = 0; i < centre.size(); ++i)
    centre[i] = problem.lower[i] + 0.5 * (problem.upper[i] - problem.lower[i]);
  return centre;
}

}  // namespace

COptimizationResult RunLocalSearches(const CContinuousProblem& problem,
                                     const std::vector<std::vector<double>>& starts,
                                     const CSolvePlan& plan) {
  COptimizationResult result = Optimize(problem, starts, plan.settings, plan.improvementsKept);
  auto runFrom = [&](const std::vector<std::vector<double>>& points,
                     const COptimizerSettings& settings) {
    AppendRuns(result, Optimize(problem, points, settings, plan.improvementsKept), problem);
  };

  if (!IsConverged(result.Status()) && plan.settings.retries > 0) {
    std::vector<std::vector<double>> retryStarts{CentreOf(problem)};
    for (auto& sample :
         LatinHypercube(plan.settings.retries - 1, problem.lower, problem.upper, plan.seed)) {
      retryStarts.push_back(std::move(sample));
    }
    for (size_t k = 0; k < retryStarts.size() && !IsConverged(result.Status()); ++k)
      runFrom({retryStarts[k]}, plan.settings);
    if (!IsConverged(result.Status())) {
      COptimizerSettings fallback = plan.settings;
      fallback.algorithm = AlgorithmNamed(plan.settings.algorithm).fallback;
      runFrom({starts.front()}, fallback);
    }
  }

  if (IsConverged(result.Status()) && plan.settings.suspiciousStarts > 0 && plan.isSuspicious &&
      plan.isSuspicious(result.Best())) {
    runFrom(LatinHypercube(plan.settings.suspiciousStarts, problem.lower, problem.upper,
                           plan.seed ^ 0x5bd1e995u),
            plan.settings);
  }
  return result;
}
