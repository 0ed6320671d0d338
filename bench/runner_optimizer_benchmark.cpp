// The continuous side of a search, without database or module: the cost of
// one analysis (evaluating an example's equations, objective and
// constraints) and of one continuous solve of its search task (a local search
// with finite-difference gradients from the start point).

#include <benchmark/benchmark.h>

#include <string>

#include "expressions/ExpressionModel.h"
#include "problem/ProblemFile.h"
#include "solver/Optimizer.h"
#include "tasks/TaskWriter.h"

namespace {

CModelDefinition DefinitionOf(const CProblem& problem) {
  CModelDefinition definition;
  for (const CProblemVariable& variable : problem.variables)
    definition.variableNames.push_back(variable.name);
  for (const CProblemEquation& equation : problem.equations)
    definition.equations.emplace_back(equation.name, equation.expression);
  definition.responses.push_back(problem.objective);
  for (const CProblemConstraint& constraint : problem.constraints)
    definition.responses.push_back(constraint.expression);
  return definition;
}

void BM_Analysis(benchmark::State& state, const std::string& example) {
  const CProblem problem = ReadProblemFile(std::string(EXAMPLES_DIR) + "/" + example);
  CExpressionModel model(DefinitionOf(problem));
  const std::vector<double> design = StartValues(problem);
  std::vector<double> responses(model.ResponseCount());
  for (auto _ : state) {
    model.Evaluate(design.data(), responses.data());
    benchmark::DoNotOptimize(responses.data());
  }
}

void BM_ContinuousSolve(benchmark::State& state, const std::string& example) {
  const CProblem problem = ReadProblemFile(std::string(EXAMPLES_DIR) + "/" + example);
  CExpressionModel model(DefinitionOf(problem));
  CContinuousProblem continuous;
  for (const CProblemVariable& variable : problem.variables) {
    continuous.lower.push_back(variable.lower);
    continuous.upper.push_back(variable.upper);
    continuous.typicalMagnitude.push_back(variable.scale > 0 ? variable.scale : 1.0);
    continuous.relativeStep.push_back(0.0);
  }
  for (const CProblemConstraint& constraint : problem.constraints) {
    continuous.isEquality.push_back(constraint.kind == EConstraintKind::EqualTo);
  }
  continuous.minimize = problem.minimize;
  continuous.objectiveScale = problem.objectiveScale;
  continuous.tolerance = problem.tolerance;
  std::vector<double> responses(model.ResponseCount());
  continuous.evaluate = [&](const double* design, double* objective, double* constraints) {
    model.Evaluate(design, responses.data());
    *objective = responses[0];
    for (size_t k = 0; k < problem.constraints.size(); ++k) {
      const CProblemConstraint& c = problem.constraints[k];
      const double g = responses[k + 1];
      constraints[k] = (c.kind == EConstraintKind::AtLeast ? c.bound - g : g - c.bound) / c.scale;
    }
  };
  int analyses = 0;
  for (auto _ : state) {
    analyses = Optimize(continuous, {StartValues(problem)}, problem.optimizer, 50).analyses;
  }
  state.counters["analyses"] = analyses;
}

#define EXAMPLE_BENCHMARKS(name)                                          \
  BENCHMARK_CAPTURE(BM_Analysis, name, std::string(#name ".toml"));       \
  BENCHMARK_CAPTURE(BM_ContinuousSolve, name, std::string(#name ".toml")) \
      ->Unit(benchmark::kMicrosecond);

EXAMPLE_BENCHMARKS(pressure_vessel)
EXAMPLE_BENCHMARKS(gear_train)
EXAMPLE_BENCHMARKS(coil_spring)
EXAMPLE_BENCHMARKS(speed_reducer)
EXAMPLE_BENCHMARKS(process_synthesis)

}  // namespace

BENCHMARK_MAIN();
