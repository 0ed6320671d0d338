// Whole searches in memory, driven as the module drives them: the root is the
// continuous optimum, then CreateNode -> solve the child in its bounds ->
// CheckNode -> AddNode until CreateNode yields nothing. The test plays the
// continuous optimiser with a closed form, and the final incumbent must equal
// the best design found by enumerating every discrete combination.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <random>

#include "TreeTestSupport.h"

namespace {

constexpr double kConTol = 1e-9;

struct Solution {
  std::valarray<double> values;
  double objective;
  double maxCon;
};

// minimise sum_i w_i (x_i - t_i)^2 subject to a.x <= rhs and the bounds
// (maximisation uses the negated objective). The minimiser is
// x(lambda) = clamp(t - lambda a / 2w) for the smallest lambda >= 0 that
// satisfies the constraint, found by bisection; a box where even the
// smallest a.x exceeds rhs is reported with its violation.
struct QuadraticProblem {
  std::vector<int> setRefs;  // per variable: -1 integer, k >= 1 set k, 0 continuous
  std::vector<std::vector<double>> sets;
  std::valarray<double> lower, upper, target, weight, coefficient;
  double rhs = 0.0;
  int sense = 1;

  Solution Solve(const std::valarray<double>& low, const std::valarray<double>& high) const {
    const auto pointAt = [&](double lambda) {
      std::valarray<double> x = target - lambda * coefficient / (2.0 * weight);
      for (std::size_t i = 0; i < x.size(); ++i) x[i] = std::clamp(x[i], low[i], high[i]);
      return x;
    };
    const auto violation = [&](double lambda) { return (coefficient * pointAt(lambda)).sum() - rhs; };
    double lambda = 0.0;
    if (violation(0.0) > 0.0) {
      double feasible = 1.0;
      while (violation(feasible) > 0.0 && feasible < 1e12) feasible *= 2.0;
      for (double infeasible = 0.0; feasible - infeasible > 1e-15 * feasible;) {
        const double middle = 0.5 * (feasible + infeasible);
        (violation(middle) > 0.0 ? infeasible : feasible) = middle;
      }
      lambda = feasible;
    }
    const std::valarray<double> x = pointAt(lambda);
    const double objective = (weight * (x - target) * (x - target)).sum();
    return {x, sense * objective, violation(lambda)};
  }

  void Evaluate(CDiscreteNode& node) const {
    const Solution solution = Solve(node.m_vaLower, node.m_vaUpper);
    node.m_vaValues = solution.values;
    node.m_dObjective = solution.objective;
    node.m_dMaxCon = solution.maxCon;
  }

  // The allowed values of variable i inside its bounds.
  std::vector<double> Domain(std::size_t i) const {
    std::vector<double> domain;
    if (setRefs[i] == -1) {
      for (double v = std::ceil(lower[i]); v <= upper[i]; v += 1.0) domain.push_back(v);
    } else {
      for (double v : sets[setRefs[i] - 1]) {
        if (v >= lower[i] && v <= upper[i]) domain.push_back(v);
      }
    }
    return domain;
  }

  // Best feasible objective over every discrete combination (continuous
  // variables solved for each); NaN when no combination is feasible.
  double EnumerateBest() const {
    double best = std::numeric_limits<double>::quiet_NaN();
    std::valarray<double> low = lower, high = upper;
    const std::function<void(std::size_t)> fix = [&](std::size_t i) {
      if (i == setRefs.size()) {
        const Solution solution = Solve(low, high);
        if (solution.maxCon <= kConTol && !(sense * solution.objective >= sense * best)) best = solution.objective;
        return;
      }
      if (setRefs[i] == 0) return fix(i + 1);
      for (double value : Domain(i)) {
        low[i] = high[i] = value;
        fix(i + 1);
      }
      low[i] = lower[i];
      high[i] = upper[i];
    };
    fix(0);
    return best;
  }
};

// Two to four discrete variables (integer or set) and at most one continuous
// one; with largeOffset the first integer variable lives near 3e9, beyond the
// 32-bit range (and outside the constraint).
QuadraticProblem RandomProblem(std::mt19937& random, int sense, bool largeOffset) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const auto between = [&](int low, int high) { return low + static_cast<int>(random() % (high - low + 1)); };
  const int discrete = between(2, 4), count = discrete + between(0, 1);
  QuadraticProblem problem;
  problem.sense = sense;
  problem.setRefs.resize(count, 0);
  for (std::valarray<double>* array : {&problem.lower, &problem.upper, &problem.target, &problem.weight,
                                       &problem.coefficient}) {
    array->resize(count);
  }
  for (int i = 0; i < count; ++i) {
    double low = -2.0, high = 2.0, a = 2.0 * unit(random) - 1.0;
    if (i < discrete && random() % 2 == 0) {
      problem.setRefs[i] = -1;
      const double offset = largeOffset ? 3e9 : 0.0;
      if (largeOffset) a = 0.0;
      largeOffset = false;
      low = offset - between(0, 3);
      high = offset + between(1, 4);
    } else if (i < discrete) {
      std::vector<double> set;
      for (double v = -2.0; v <= 3.0; v += 0.5) {
        if (unit(random) < 0.4) set.push_back(v);
      }
      if (set.size() < 2) set = {-1.0, 2.5};
      problem.sets.push_back(set);
      problem.setRefs[i] = static_cast<int>(problem.sets.size());
      low = set.front();
      high = set.back();
    }
    problem.lower[i] = low;
    problem.upper[i] = high;
    problem.target[i] = low - 1.0 + (high - low + 2.0) * unit(random);
    problem.weight[i] = 0.5 + 1.5 * unit(random);
    problem.coefficient[i] = a;
  }
  problem.rhs = (problem.coefficient * 0.5 * (problem.lower + problem.upper)).sum() + 2.0 * unit(random) - 1.0;
  return problem;
}

// Runs the search as the module does; returns the number of nodes evaluated.
int Search(const QuadraticProblem& problem, CDiscreteTree& tree) {
  CDiscreteNode root(-1);
  root.m_vaLower = problem.lower;
  root.m_vaUpper = problem.upper;
  root.m_nTaskID = 1;
  problem.Evaluate(root);
  tree.CheckNode(root);
  EXPECT_TRUE(tree.AddNode(root));
  int evaluated = 1;
  CDiscreteNode current;
  while (tree.CreateNode(current) && evaluated < 100000) {
    problem.Evaluate(current);
    current.m_nTaskID = ++evaluated;
    tree.CheckNode(current);
    EXPECT_TRUE(tree.AddNode(current));
  }
  return evaluated;
}

class WholeSearchTest : public ::testing::TestWithParam<int> {};

TEST_P(WholeSearchTest, IncumbentEqualsTheBestEnumeratedDesign) {
  const int sense = GetParam();
  std::mt19937 random(sense == 1 ? 11 : 12);
  for (int instance = 0; instance < 30; ++instance) {
    const QuadraticProblem problem = RandomProblem(random, sense, instance % 5 == 4);
    CDiscreteTree tree = MakeTree(problem.setRefs, problem.sets, sense, kConTol);
    const int evaluated = Search(problem, tree);
    const double best = problem.EnumerateBest();
    SCOPED_TRACE("instance " + std::to_string(instance) + ", " + std::to_string(evaluated) + " nodes");
    if (std::isnan(best)) {
      EXPECT_EQ(tree.m_BestNode.m_nNodeID, -1) << "no feasible combination, yet an incumbent";
      continue;
    }
    ASSERT_GE(tree.m_BestNode.m_nNodeID, 0) << "no incumbent; enumeration found " << best;
    EXPECT_NEAR(tree.m_BestNode.m_dObjective, best, 1e-9 * (1.0 + std::fabs(best)));
    EXPECT_TRUE(tree.m_BestNode.m_bFeasible);
    EXPECT_LE(tree.m_BestNode.m_dMaxCon, kConTol);
    for (int variable : tree.m_vIndices) {
      const std::vector<double> domain = problem.Domain(variable);
      const double value = tree.m_BestNode.m_vaValues[variable];
      EXPECT_TRUE(std::any_of(domain.begin(), domain.end(), [&](double v) { return std::fabs(v - value) <= 1e-12; }))
          << "variable " << variable << " = " << value;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(BothSenses, WholeSearchTest, ::testing::Values(1, -1));

// ---- CreateNode against the plain reading --------------------------------

// What the plain reading of CreateNode does: walk the store to the first open
// node, scan its positions, and compare each candidate child's bounds with
// every stored node.
struct PlainChoice {
  bool made = false;
  int parentNumber = -1;
  int branchPosition = -1;
  std::valarray<double> lower, upper;
  int duplicatesSkipped = 0;
};

PlainChoice ChooseByWalking(CDiscreteTree& tree) {
  PlainChoice choice;
  const std::vector<const CDiscreteNode*> stored = StoredNodes(tree);
  const auto open = std::find_if(stored.begin(), stored.end(), [](const CDiscreteNode* node) { return !node->m_bClosed; });
  if (open == stored.end()) return choice;
  CDiscreteNode parent;
  parent.Copy(**open);
  choice.parentNumber = parent.m_nNodeID;
  const int count = tree.m_nNumDiscrete;
  for (int step = 1; step <= count; ++step) {
    const int position = (parent.m_nBranchPos + step + count) % count;
    const int variable = tree.m_vIndices[position];
    const double x = parent.m_vaValues[variable];
    const double epsilon = std::numeric_limits<double>::epsilon();
    if (std::fabs(x - parent.m_vaLower[variable]) <= epsilon || std::fabs(parent.m_vaUpper[variable] - x) <= epsilon) continue;
    CDiscreteNode child;
    if (!tree.BoundVariable(position, parent, child)) continue;
    const bool duplicate = std::any_of(stored.begin(), stored.end(), [&](const CDiscreteNode* node) {
      return (node->m_vaLower == child.m_vaLower).min() && (node->m_vaUpper == child.m_vaUpper).min();
    });
    if (duplicate) {
      ++choice.duplicatesSkipped;
      continue;
    }
    choice.made = true;
    choice.branchPosition = position;
    choice.lower = child.m_vaLower;
    choice.upper = child.m_vaUpper;
    break;
  }
  return choice;
}

// A made-up solver: a child's objective is its parent's or one worse, so that
// many objectives tie; a value stays near the parent's, lands on a bound or
// an allowed value, or falls anywhere in the bounds (so scans skip positions,
// set children overlap and duplicates arise); optionally, an objective is NaN
// now and then.
void SolveAtRandom(CDiscreteNode& node, const CDiscreteNode& parent, const CDiscreteTree& tree,
                   std::mt19937& random, bool withNaN) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (std::size_t i = 0; i < node.m_vaValues.size(); ++i) {
    const double low = node.m_vaLower[i], high = node.m_vaUpper[i], draw = unit(random);
    double value = low + (high - low) * unit(random);
    if (draw < 0.4) value = parent.m_vaValues[i] + unit(random) - 0.5;
    if (draw > 0.95) value = draw < 0.975 ? low : high;
    if (draw > 0.85 && draw <= 0.95) value = tree.m_vaSetRefs[i] == -1 ? std::round(value) : std::round(2.0 * value) / 2.0;
    node.m_vaValues[i] = std::clamp(value, low, high);
  }
  node.m_dObjective = parent.m_dObjective + CDiscreteTree::m_nMinMax * (unit(random) < 0.2 ? 1.0 : 0.0);
  node.m_dMaxCon = unit(random) < 0.05 ? 1.0 : 0.0;
  if (withNaN && unit(random) < 0.01) node.m_dObjective = std::numeric_limits<double>::quiet_NaN();
}

TEST(FastPathTest, CreateNodeChoosesExactlyWhatWalkingTheStoreChooses) {
  std::mt19937 random(99);
  int duplicatesSkipped = 0, created = 0;
  for (int search = 0; search < 40; ++search) {
    const int sense = search % 2 == 0 ? 1 : -1;
    // Integer variables 0 and 1, variables 2 and 3 on the set {0, 0.5, ..., 5}.
    CDiscreteTree tree = MakeTree({-1, -1, 1, 1}, {{0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5, 5}}, sense);
    CDiscreteNode root = MakeNode(0.0, {17.5, 22.5, 2.5, 2.5}, {0, 0, 0, 0}, {40, 40, 5, 5});
    tree.CheckNode(root);
    tree.AddNode(root);
    std::map<int, CDiscreteNode> solved{{root.m_nNodeID, root}};
    CDiscreteNode child;
    for (int step = 0; step < 1500; ++step) {
      PlainChoice expected = ChooseByWalking(tree);
      if (expected.made && random() % 20 == 0) {
        // Now and then store a pruned node with the very bounds of the child
        // about to be made, so that the scan has to pass over it.
        CDiscreteNode blocker = MakeNode(static_cast<double>(random() % 5), expected.lower, expected.lower, expected.upper);
        blocker.m_bClosed = true;
        tree.AddNode(blocker);
        expected = ChooseByWalking(tree);
      }
      duplicatesSkipped += expected.duplicatesSkipped;
      const bool made = tree.CreateNode(child);
      ASSERT_EQ(made, expected.made) << "search " << search << " step " << step;
      if (!made) break;
      ++created;
      ASSERT_EQ(child.m_nParentID, expected.parentNumber) << "search " << search << " step " << step;
      ASSERT_EQ(child.m_nBranchPos, expected.branchPosition);
      ASSERT_TRUE((child.m_vaLower == expected.lower).min() && (child.m_vaUpper == expected.upper).min());
      SolveAtRandom(child, solved.at(child.m_nParentID), tree, random, search % 4 >= 2);
      solved[child.m_nNodeID] = child;
      tree.CheckNode(child);
      tree.AddNode(child);
    }
  }
  EXPECT_GT(created, 5000);
  EXPECT_GT(duplicatesSkipped, 100) << "the searches must meet duplicates to test their rejection";
}

}  // namespace
