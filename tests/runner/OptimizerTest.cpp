// The continuous optimiser on problems with known optima: active bounds (also
// of infeasible problems), inequality and equality constraints, fixed variables.
// (Several start points: see the task solver's module type 1.)

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "solver/Algorithms.h"
#include "solver/FiniteDifference.h"
#include "solver/LatinHypercube.h"
#include "solver/Optimizer.h"

namespace {

CContinuousProblem Box(std::vector<double> lower, std::vector<double> upper) {
  CContinuousProblem problem;
  problem.typicalMagnitude.assign(lower.size(), 1.0);
  problem.relativeStep.assign(lower.size(), 0.0);
  problem.lower = std::move(lower);
  problem.upper = std::move(upper);
  problem.tolerance = 1e-6;
  return problem;
}

COptimizerSettings Settings(const char* algorithm) {
  COptimizerSettings settings;
  settings.algorithm = algorithm;
  settings.maxEvaluations = 5000;
  return settings;
}

// min x^2 + y^2 subject to x + y >= 1: optimum (0.5, 0.5), objective 0.5.
CContinuousProblem HalfPlane() {
  CContinuousProblem problem = Box({-3, -3}, {3, 3});
  problem.isEquality = {false};
  problem.evaluate = [](const double* x, double* objective, double* constraints) {
    *objective = x[0] * x[0] + x[1] * x[1];
    constraints[0] = 1.0 - (x[0] + x[1]);  // ">= 1" scaled by 1
  };
  return problem;
}

class EveryAlgorithm : public ::testing::TestWithParam<const char*> {};

TEST_P(EveryAlgorithm, FindsTheOptimumOnAnActiveInequalityAndOnAnEquality) {
  const auto expectOptimum = [](const COptimizationResult& result, double value, double objective) {
    EXPECT_NEAR(result.Best().values[0], value, 1e-4);
    EXPECT_NEAR(result.Best().values[1], value, 1e-4);
    EXPECT_NEAR(result.Best().objective, objective, 1e-6);
    EXPECT_LE(result.Best().maxConstraint, 1e-6);
    EXPECT_GT(result.analyses, 0);
    EXPECT_EQ(result.Status(), ESolveStatus::Converged) << result.Best().objective;
  };
  expectOptimum(Optimize(HalfPlane(), {{2.0, -1.0}}, Settings(GetParam()), 50), 0.5, 0.5);
  // min x + y subject to x^2 + y^2 == 2: optimum (-1, -1).
  CContinuousProblem circle = HalfPlane();
  circle.isEquality = {true};
  circle.evaluate = [](const double* x, double* objective, double* constraints) {
    *objective = x[0] + x[1];
    constraints[0] = x[0] * x[0] + x[1] * x[1] - 2.0;
  };
  expectOptimum(Optimize(circle, {{-0.5, -1.5}}, Settings(GetParam()), 50), -1.0, -2.0);
}

// A search cut short is never reported as converged: by the evaluation limit,
// by a deadline already passed (no analysis after the start), by a NaN
// everywhere.
TEST_P(EveryAlgorithm, ReportsHowItsSearchEnded) {
  COptimizerSettings few = Settings(GetParam());
  few.maxEvaluations = 2;
  EXPECT_EQ(Optimize(HalfPlane(), {{2.0, -1.0}}, few, 50).Status(), ESolveStatus::EvaluationLimit);

  CContinuousProblem late = HalfPlane();
  late.deadline = std::chrono::steady_clock::now();
  const COptimizationResult stopped = Optimize(late, {{2.0, -1.0}}, Settings(GetParam()), 50);
  EXPECT_EQ(stopped.Status(), ESolveStatus::TimeLimit);
  EXPECT_EQ(stopped.analyses, 1);

  CContinuousProblem nowhere = HalfPlane();
  nowhere.evaluate = [](const double*, double* objective, double* constraints) {
    *objective = constraints[0] = std::nan("");
  };
  EXPECT_EQ(Optimize(nowhere, {{2.0, -1.0}}, Settings(GetParam()), 50).Status(),
            ESolveStatus::NonFinite);
}

// A box that holds no feasible point: the search ends at its least
// infeasible point, and ends there soon: a point of local infeasibility is a
// result, not a reason to spend the whole evaluation budget.
TEST_P(EveryAlgorithm, AnInfeasibleBoxEndsAtItsLeastInfeasiblePointSoon) {
  CContinuousProblem box = HalfPlane();
  box.lower = {2, 2};
  box.evaluate = [](const double* x, double* objective, double* constraints) {
    *objective = x[0] + x[1];
    constraints[0] = x[0] * x[0] + x[1] * x[1] - 1.0;
  };
  const COptimizationResult result = Optimize(box, {{2.0, 2.0}}, Settings(GetParam()), 50);
  EXPECT_EQ(result.Status(), ESolveStatus::Converged) << result.runs[0].statusText;
  EXPECT_NEAR(result.Best().values[0], 2.0, 1e-6);
  EXPECT_NEAR(result.Best().values[1], 2.0, 1e-6);
  EXPECT_LT(result.analyses, 500);
}

std::vector<const char*> AlgorithmNamesForTests() {
  std::vector<const char*> names;
  for (const CAlgorithm& algorithm : Algorithms()) names.push_back(algorithm.name);
  return names;
}

INSTANTIATE_TEST_SUITE_P(Optimizer, EveryAlgorithm, ::testing::ValuesIn(AlgorithmNamesForTests()));

TEST(Optimizer, StopsAtActiveBoundsAndNeverEvaluatesOutsideThem) {
  CContinuousProblem problem = Box({0, 0}, {2, 5});
  bool leftTheBox = false;
  problem.evaluate = [&](const double* x, double* objective, double*) {
    leftTheBox |= x[0] < 0 || x[0] > 2 || x[1] < 0 || x[1] > 5;
    *objective = (x[0] - 3) * (x[0] - 3) + (x[1] + 1) * (x[1] + 1);
  };
  const CEvaluatedDesign best = Optimize(problem, {{1.0, 1.0}}, Settings("slsqp"), 50).Best();
  EXPECT_FALSE(leftTheBox);
  EXPECT_EQ(best.values[0], 2.0);  // exactly on the bound
  EXPECT_NEAR(best.values[1], 0.0, 1e-9);
  EXPECT_NEAR(best.objective, 2.0, 1e-9);
  EXPECT_EQ(best.maxConstraint, 0.0);  // no constraint: nothing violated

  // x <= -1 cannot hold on [0, 1]: the least infeasible design is on the bound x = 0.
  problem = Box({0}, {1});
  problem.isEquality = {false};
  problem.evaluate = [](const double* x, double* objective, double* constraints) {
    *objective = -x[0];
    constraints[0] = x[0] + 1.0;
  };
  const CEvaluatedDesign leastInfeasible = Optimize(problem, {{0.7}}, Settings("slsqp"), 50).Best();
  EXPECT_NEAR(leastInfeasible.values[0], 0.0, 1e-9);
  EXPECT_NEAR(leastInfeasible.maxConstraint, 1.0, 1e-9);
}

TEST(Optimizer, HoldsVariablesWithEqualBoundsAndClampsTheStart) {
  CContinuousProblem problem = Box({3, -1}, {3, 1});
  problem.evaluate = [](const double* x, double* objective, double*) {
    *objective = (x[1] - 0.25) * (x[1] - 0.25) + x[0];
  };
  const COptimizationResult result = Optimize(problem, {{7.0, 9.0}}, Settings("slsqp"), 50);
  EXPECT_EQ(result.runs[0].start.values, (std::vector<double>{3.0, 1.0}));
  EXPECT_EQ(result.Best().values[0], 3.0);
  EXPECT_NEAR(result.Best().values[1], 0.25, 1e-6);

  CContinuousProblem allFixed = Box({3}, {3});
  allFixed.evaluate = [](const double* x, double* objective, double*) { *objective = x[0]; };
  const COptimizationResult fixed = Optimize(allFixed, {{0.0}}, Settings("slsqp"), 50);
  EXPECT_EQ(fixed.analyses, 1);
  EXPECT_EQ(fixed.Best().objective, 3.0);
}

TEST(Optimizer, RestoresFeasibilityWhenTheLinearisedConstraintsContradictEachOther) {
  // Kocis & Grossmann's small MINLP, relaxed: from (5, 5, 0.5, 0.5, 0.5) the
  // linearisations of x1^2 + y1 == 1.25 and x1 + y1 <= 1.6 admit no step.
  CContinuousProblem problem = Box({0, 0, 0, 0, 0}, {10, 10, 1, 1, 1});
  problem.isEquality = {true, true, false, false, false};
  problem.evaluate = [](const double* x, double* objective, double* constraints) {
    *objective = 2 * x[0] + 3 * x[1] + 1.5 * x[2] + 2 * x[3] - 0.5 * x[4];
    constraints[0] = x[0] * x[0] + x[2] - 1.25;
    constraints[1] = std::pow(x[1], 1.5) + 1.5 * x[3] - 3;
    constraints[2] = x[0] + x[2] - 1.6;
    constraints[3] = 1.333 * x[1] + x[3] - 3;
    constraints[4] = x[2] + x[3] - x[4];
  };
  const COptimizationResult result =
      Optimize(problem, {{5, 5, 0.5, 0.5, 0.5}}, Settings("slsqp"), 50);
  EXPECT_LE(result.Best().maxConstraint, 1e-6);
  EXPECT_NEAR(result.Best().objective, 7.66718, 1e-4);
  EXPECT_NE(result.runs[0].statusText.find("after restoration"), std::string::npos);
}

TEST(Optimizer, KeepsABoundedHistoryWhoseLastEntryIsTheBest) {
  const COptimizationResult result = Optimize(HalfPlane(), {{3.0, -3.0}}, Settings("cobyla"), 3);
  const CLocalRun& run = result.runs[0];
  ASSERT_FALSE(run.improvements.empty());
  EXPECT_LE(run.improvements.size(), 3u);
  EXPECT_EQ(run.improvements.back().values, run.best.values);
}

TEST(Optimizer, AnEvaluationThatThrowsEndsTheSearchWithItsException) {
  CContinuousProblem problem = HalfPlane();
  int calls = 0;
  problem.evaluate = [&](const double*, double*, double*) {
    if (++calls == 5) throw std::runtime_error("analysis failed");
  };
  EXPECT_THROW(Optimize(problem, {{0.0, 0.0}}, Settings("slsqp"), 50), std::runtime_error);
}

TEST(FiniteDifference, EstimatesAreAccurateStayInsideTheBoundsAndSkipFixedVariables) {
  bool outside = false;
  const FVectorFunction function = [&](const double* x, double* out) {
    outside |= x[0] < 0 || x[0] > 1 || x[1] < 0 || x[1] > 2 || x[2] != 2;
    out[0] = std::sin(x[0]) * x[1] * x[1] + x[2];
    out[1] = x[0] * x[1] - x[2];
  };
  for (const EGradientKind kind : {EGradientKind::Central, EGradientKind::Forward}) {
    const CFiniteDifferenceSetup setup{
        kind, {0, 0, 2}, {1, 2, 2}, {1, 1, 1}, std::vector<double>(3, DefaultRelativeStep(kind))};
    for (const std::vector<double>& x : {std::vector<double>{0.5, 1, 2}, {1, 2, 2}, {0, 0, 2}}) {
      std::vector<double> atX(2);
      function(x.data(), atX.data());
      std::vector<double> jacobian;
      // Two analyses per free variable for central differences, one for forward ones; none for the
      // fixed third.
      EXPECT_EQ(EstimateJacobian(function, 2, x, atX, setup, jacobian),
                kind == EGradientKind::Central ? 4 : 2);
      ASSERT_EQ(jacobian.size(), 6u);
      EXPECT_NEAR(jacobian[0], std::cos(x[0]) * x[1] * x[1], 1e-6);
      EXPECT_NEAR(jacobian[1], 2 * std::sin(x[0]) * x[1], 1e-6);
      EXPECT_EQ(jacobian[2], 0.0);
      EXPECT_NEAR(jacobian[3], x[1], 1e-6);
      EXPECT_NEAR(jacobian[4], x[0], 1e-6);
      EXPECT_EQ(jacobian[5], 0.0);
    }
  }
  EXPECT_FALSE(outside);
}

TEST(LatinHypercube, PutsOnePointInEveryStratumOfEveryVariable) {
  const std::vector<double> lower{0, -10, 5};
  const std::vector<double> upper{1, 10, 5};
  const auto points = LatinHypercube(7, lower, upper, 42);
  ASSERT_EQ(points.size(), 7u);
  for (size_t variable = 0; variable < 2; ++variable) {
    std::vector<int> perStratum(7, 0);
    for (const auto& point : points) {
      const double position =
          (point[variable] - lower[variable]) / (upper[variable] - lower[variable]);
      ++perStratum[std::min(6, static_cast<int>(position * 7))];
    }
    EXPECT_EQ(perStratum, std::vector<int>(7, 1));
  }
  for (const auto& point : points) EXPECT_EQ(point[2], 5.0);
}

TEST(LatinHypercube, DependsOnlyOnTheSeed) {
  EXPECT_EQ(LatinHypercube(5, {0, 0}, {1, 1}, 7), LatinHypercube(5, {0, 0}, {1, 1}, 7));
  EXPECT_NE(LatinHypercube(5, {0, 0}, {1, 1}, 7), LatinHypercube(5, {0, 0}, {1, 1}, 8));
}

}  // namespace
