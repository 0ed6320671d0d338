// The whole program against enumeration: on convex problems branch and bound
// is exact, so `discrete solve` must find exactly the best discrete design
// that trying every combination finds (or, like it, none). Seeded random
// problems over integer and set variables with linear constraints, both
// senses, infeasible ones included, and problems that once went wrong.

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "DatabaseFiles.h"
#include "ProgramRun.h"
#include "Records.h"
#include "TaskDatabaseFixture.h"
#include "tasks/TaskResult.h"

namespace {

// A problem whose every variable is discrete: the values each may take, a
// separable convex quadratic objective (negated for maximisation) plus a
// convex coupling term, and linear constraints "sum w x <= r".
struct CDiscreteProblem {
  std::vector<std::vector<double>> values;  // allowed values of each variable, ascending
  std::vector<bool> isInteger;              // integer variable (else a set)
  std::vector<double> weights, centres;     // objective: sum weights (x - centres)^2 ...
  double coupling = 0.0;                    // ... + coupling (x0 - x1)^2
  bool minimize = true;                     // else the negated objective is maximised
  std::vector<std::vector<double>> rows;    // constraint coefficients
  std::vector<double> limits;               // constraint right-hand sides

  double Objective(const std::vector<double>& x) const {
    double value = coupling * (x[0] - x[1]) * (x[0] - x[1]);
    for (size_t i = 0; i < x.size(); ++i)
      value += weights[i] * (x[i] - centres[i]) * (x[i] - centres[i]);
    return minimize ? value : -value;
  }
  bool Feasible(const std::vector<double>& x, double tolerance) const {
    for (size_t k = 0; k < rows.size(); ++k) {
      double lhs = 0.0;
      for (size_t i = 0; i < x.size(); ++i) lhs += rows[k][i] * x[i];
      if (lhs - limits[k] > tolerance) return false;
    }
    return true;
  }

  std::string Toml(const std::string& name) const {
    std::string objective = fmt::format("{:.17g}*(n0 - n1)^2", coupling);
    for (size_t i = 0; i < values.size(); ++i) {
      objective += fmt::format(" + {:.17g}*(n{} - {:.17g})^2", weights[i], i, centres[i]);
    }
    std::string text = fmt::format("name = \"{}\"\nsense = \"{}\"\nobjective = \"{}{}\"\n", name,
                                   minimize ? "min" : "max", minimize ? "" : "-(",
                                   objective + (minimize ? "" : ")"));
    text += "[sets]\n";
    for (size_t i = 0; i < values.size(); ++i) {
      if (isInteger[i]) continue;
      text += fmt::format("S{} = [{:.17g}]\n", i, fmt::join(values[i], ", "));
    }
    for (size_t i = 0; i < values.size(); ++i) {
      if (isInteger[i]) {
        text += fmt::format("[variables.n{}]\nkind = \"integer\"\nlower = {:.1f}\nupper = {:.1f}\n",
                            i, values[i].front(), values[i].back());
      } else {
        text += fmt::format("[variables.n{}]\nset = \"S{}\"\n", i, i);
      }
    }
    text += "[constraints]\n";
    for (size_t k = 0; k < rows.size(); ++k) {
      std::string lhs;
      for (size_t i = 0; i < rows[k].size(); ++i)
        lhs += fmt::format("{}{:.17g}*n{}", i ? " + " : "", rows[k][i], i);
      text += fmt::format("c{} = \"{} <= {:.17g}\"\n", k, lhs, limits[k]);
    }
    return text;
  }
};

struct CBest {
  bool found = false;
  double objective = 0.0;  // in the user's sense
};

// Tries every combination.
CBest Enumerate(const CDiscreteProblem& problem, double tolerance) {
  CBest best;
  std::vector<double> x(problem.values.size());
  std::function<void(size_t)> visit = [&](size_t i) {
    if (i == x.size()) {
      if (!problem.Feasible(x, tolerance)) return;
      const double value = problem.Objective(x);
      if (!best.found || (problem.minimize ? value < best.objective : value > best.objective))
        best = {true, value};
      return;
    }
    for (double v : problem.values[i]) {
      x[i] = v;
      visit(i + 1);
    }
  };
  visit(0);
  return best;
}

double Uniform(std::mt19937& random, double low, double high) {
  return low + (high - low) * std::generate_canonical<double, 53>(random);
}

double Rounded(double value) { return std::round(value * 1000) / 1000; }

CDiscreteProblem RandomProblem(std::mt19937& random) {
  CDiscreteProblem problem;
  const int n = 2 + static_cast<int>(random() % 3);
  for (int i = 0; i < n; ++i) {
    problem.isInteger.push_back(random() % 2 == 0);
    std::vector<double> values;
    if (problem.isInteger.back()) {
      const int low = static_cast<int>(random() % 7) - 3;
      for (int v = low; v <= low + 1 + static_cast<int>(random() % 4); ++v) values.push_back(v);
    } else {
      double value = Rounded(Uniform(random, -2, 2));
      for (int k = 0, count = 2 + static_cast<int>(random() % 3); k < count; ++k) {
        values.push_back(value);
        value = Rounded(value + Uniform(random, 0.1, 1.5));
      }
    }
    problem.values.push_back(values);
    problem.weights.push_back(Rounded(Uniform(random, 0.2, 4)));
    problem.centres.push_back(Rounded(Uniform(random, values.front() - 1, values.back() + 1)));
  }
  problem.coupling = random() % 3 == 0 ? Rounded(Uniform(random, 0, 2)) : 0.0;
  problem.minimize = random() % 2 == 0;
  for (int k = 0, m = 1 + static_cast<int>(random() % 2); k < m; ++k) {
    std::vector<double> row;
    for (int i = 0; i < n; ++i) row.push_back(Rounded(Uniform(random, -2, 2)));
    // Through a point of the box, so that about half the box is feasible;
    // sometimes far below it, so that nothing is.
    double lhs = 0.0;
    for (int i = 0; i < n; ++i) {
      const double low = problem.values[i].front(), high = problem.values[i].back();
      lhs += row[i] * Uniform(random, low, high);
    }
    problem.rows.push_back(row);
    problem.limits.push_back(Rounded(random() % 10 == 0 ? lhs - 20 : lhs));
  }
  return problem;
}

// The problem of a report in which the root's values lay a rounding error
// below their integral upper bounds, so the search ended without a design.
CDiscreteProblem RoundOffAtTheBounds() {
  CDiscreteProblem problem;
  problem.values = {{1, 2, 3}, {0, 1}, {1.216, 1.453}};
  problem.isInteger = {true, true, false};
  problem.weights = {2.638, 0.715, 3.975};
  problem.centres = {3.098, 1.305, 1.495};
  problem.rows = {{-1.57, 0.18, 1.82}};
  problem.limits = {0.43};
  return problem;
}

class Enumeration : public ::testing::Test {
 protected:
  // Solves the problem with the program; the best discrete design it found.
  CBest Solve(const CDiscreteProblem& problem, const std::string& name) {
    std::ofstream(m_folder.File(name + ".toml")) << problem.Toml(name);
    const int exitCode =
        RunProgram(m_folder.File(""), fmt::format("solve --quiet {0}.toml --db {0}.db", name))
            .exitCode;
    EXPECT_TRUE(exitCode == 0 || exitCode == 1) << "exit code " << exitCode;
    OpenTaskDatabase(m_folder.File(name + ".db"));
    const CResult search = Stored<CResult>(1);
    CBest best;
    if (search.m_nDiscreteFeasible == 1) {
      const CTaskDesign design = ReadBestDesign(search.m_nResultTask);
      best = {true, design.objective};
      for (size_t i = 0; i < design.values.size(); ++i) {  // exactly an allowed value
        const auto& allowed = problem.values[i];
        EXPECT_NE(std::find(allowed.begin(), allowed.end(), design.values[i]), allowed.end())
            << "n" << i << " = " << fmt::format("{:.17g}", design.values[i]);
      }
    }
    CloseTaskDatabase();
    EXPECT_EQ(exitCode, best.found ? 0 : 1);
    return best;
  }

  void ExpectAgreement(const CDiscreteProblem& problem, const std::string& name) {
    const CBest expected = Enumerate(problem, 1e-6);
    const CBest found = Solve(problem, name);
    ASSERT_EQ(found.found, expected.found) << problem.Toml(name);
    if (expected.found) {
      EXPECT_NEAR(found.objective, expected.objective,
                  1e-6 * std::max(1.0, std::fabs(expected.objective)))
          << problem.Toml(name);
    }
  }

  CScratchDirectory m_folder;
};

TEST_F(Enumeration, ValuesARoundingErrorOffTheirBoundsStillMakeADesign) {
  ExpectAgreement(RoundOffAtTheBounds(), "p014");
}

TEST_F(Enumeration, RandomConvexProblemsAgreeWithTryingEveryCombination) {
  std::mt19937 random(20261123);
  int infeasible = 0;
  for (int p = 0; p < 150; ++p) {
    const CDiscreteProblem problem = RandomProblem(random);
    infeasible += Enumerate(problem, 1e-6).found ? 0 : 1;
    ExpectAgreement(problem, fmt::format("r{:03}", p));
    if (HasFatalFailure()) return;
  }
  EXPECT_GT(infeasible, 0);  // the set holds infeasible problems too
}

}  // namespace
