// Whole searches in memory, driven as the module drives them: the root is the
// continuous optimum, then CreateNode -> solve the child in its bounds ->
// CheckNode -> AddNode until CreateNode yields nothing. The closed-form test
// problem plays the continuous optimiser, and the final incumbent must equal
// the best design found by enumerating every discrete combination.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <tuple>

#include "ClosedFormProblem.h"
#include "TreeTestSupport.h"

namespace {

// Runs the search as the module does; returns the number of nodes evaluated.
int Search(const CClosedFormProblem& problem, CDiscreteTree& tree) {
  CDiscreteNode node(-1);  // the root, then each child made
  std::tie(node.m_vaLower, node.m_vaUpper) = problem.Bounds();
  int evaluated = 0;
  do {
    const CDesign design = problem.Solve(node.m_vaLower, node.m_vaUpper);
    std::tie(node.m_vaValues, node.m_dObjective, node.m_dMaxCon) =
        std::tie(design.values, design.dObjective, design.dMaxCon);
    node.m_nTaskID = ++evaluated;
    tree.CheckNode(node);
    EXPECT_TRUE(tree.AddNode(node));
  } while (tree.CreateNode(node) && evaluated < 100000);
  return evaluated;
}

class WholeSearchTest : public ::testing::TestWithParam<int> {};

TEST_P(WholeSearchTest, IncumbentEqualsTheBestEnumeratedDesign) {
  const int sense = GetParam();
  std::mt19937 random(sense == 1 ? 11 : 12);
  for (int instance = 0; instance < 30; ++instance) {
    const CClosedFormProblem problem = RandomProblem(random, sense, instance % 5 == 4);
    std::vector<int> setRefs;  // the problem's set ids are the sets' positions
    for (const CTestVariable& variable : problem.variables) setRefs.push_back(variable.nSetId);
    std::vector<std::vector<double>> sets;
    for (const CValueSet& set : problem.sets) sets.push_back(set.values);
    CDiscreteTree tree = MakeTree(setRefs, sets, sense, problem.dConTol);
    const int evaluated = Search(problem, tree);
    const std::optional<CDesign> best = problem.EnumerateBest();
    SCOPED_TRACE("instance " + std::to_string(instance) + ", " + std::to_string(evaluated) +
                 " nodes");
    if (!best) {
      EXPECT_EQ(tree.m_BestNode.m_nNodeID, -1) << "no feasible combination, yet an incumbent";
      continue;
    }
    ASSERT_GE(tree.m_BestNode.m_nNodeID, 0)
        << "no incumbent; enumeration found " << best->dObjective;
    EXPECT_NEAR(tree.m_BestNode.m_dObjective, best->dObjective,
                1e-9 * (1.0 + std::fabs(best->dObjective)));
    EXPECT_TRUE(tree.m_BestNode.m_bFeasible);
    EXPECT_LE(tree.m_BestNode.m_dMaxCon, problem.dConTol);
    for (int variable : tree.m_vIndices) {
      const std::vector<double> allowed = problem.AllowedValues(variable);
      const double value = tree.m_BestNode.m_vaValues[variable];
      EXPECT_TRUE(std::any_of(allowed.begin(), allowed.end(),
                              [&](double v) { return std::fabs(v - value) <= 1e-12; }))
          << "variable " << variable << " = " << value;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(BothSenses, WholeSearchTest, ::testing::Values(1, -1));

// ---- CreateNode against the plain reading --------------------------------

// What the plain reading of CreateNode makes: walk the store to the first open
// node, scan its positions, and compare each candidate child's bounds with
// every stored node; a child with its parent's number and its position, or
// none. Counts the duplicates passed over.
std::optional<CDiscreteNode> ChooseByWalking(CDiscreteTree& tree, int& duplicatesSkipped) {
  const std::vector<const CDiscreteNode*> stored = StoredNodes(tree);
  const auto open = std::find_if(stored.begin(), stored.end(),
                                 [](const CDiscreteNode* node) { return !node->m_bClosed; });
  if (open == stored.end()) return std::nullopt;
  CDiscreteNode parent, child;
  parent.Copy(**open);
  const int count = tree.m_nNumDiscrete;
  for (int step = 1; step <= count; ++step) {
    const int position = (parent.m_nBranchPos + step + count) % count;
    const int variable = tree.m_vIndices[position];
    const double x = parent.m_vaValues[variable], epsilon = std::numeric_limits<double>::epsilon();
    if (std::fabs(x - parent.m_vaLower[variable]) <= epsilon ||
        std::fabs(parent.m_vaUpper[variable] - x) <= epsilon) {
      continue;
    }
    if (!tree.BoundVariable(position, parent, child)) continue;
    const bool duplicate =
        std::any_of(stored.begin(), stored.end(), [&](const CDiscreteNode* node) {
          return (node->m_vaLower == child.m_vaLower).min() &&
                 (node->m_vaUpper == child.m_vaUpper).min();
        });
    duplicatesSkipped += duplicate;
    if (duplicate) continue;
    child.m_nParentID = parent.m_nNodeID;
    child.m_nBranchPos = position;
    return child;
  }
  return std::nullopt;
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
    if (draw > 0.85 && draw <= 0.95)
      value = tree.m_vaSetRefs[i] == -1 ? std::round(value) : std::round(2.0 * value) / 2.0;
    node.m_vaValues[i] = std::clamp(value, low, high);
  }
  node.m_dObjective =
      parent.m_dObjective + CDiscreteTree::m_nMinMax * (unit(random) < 0.2 ? 1.0 : 0.0);
  node.m_dMaxCon = unit(random) < 0.05 ? 1.0 : 0.0;
  if (withNaN && unit(random) < 0.01) node.m_dObjective = std::numeric_limits<double>::quiet_NaN();
}

TEST(FastPathTest, CreateNodeChoosesExactlyWhatWalkingTheStoreChooses) {
  std::mt19937 random(99);
  int duplicatesSkipped = 0, created = 0;
  for (int search = 0; search < 40; ++search) {
    const int sense = search % 2 == 0 ? 1 : -1;
    // Integer variables 0 and 1, variables 2 and 3 on the set {0, 0.5, ..., 5}.
    CDiscreteTree tree =
        MakeTree({-1, -1, 1, 1}, {{0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5, 5}}, sense);
    CDiscreteNode root = MakeNode(0.0, {17.5, 22.5, 2.5, 2.5}, {0, 0, 0, 0}, {40, 40, 5, 5});
    tree.CheckNode(root);
    tree.AddNode(root);
    std::map<int, CDiscreteNode> solved{{root.m_nNodeID, root}};
    CDiscreteNode child;
    for (int step = 0; step < 1500; ++step) {
      std::optional<CDiscreteNode> expected = ChooseByWalking(tree, duplicatesSkipped);
      if (expected && random() % 20 == 0) {
        // Now and then store a pruned node with the very bounds of the child
        // about to be made, so that the scan has to pass over it.
        CDiscreteNode blocker =
            MakeNode(random() % 5, expected->m_vaLower, expected->m_vaLower, expected->m_vaUpper);
        blocker.m_bClosed = true;
        tree.AddNode(blocker);
        expected = ChooseByWalking(tree, duplicatesSkipped);
      }
      const bool made = tree.CreateNode(child);
      ASSERT_EQ(made, expected.has_value()) << "search " << search << " step " << step;
      if (!made) break;
      ++created;
      ASSERT_EQ(std::make_pair(child.m_nParentID, child.m_nBranchPos),
                std::make_pair(expected->m_nParentID, expected->m_nBranchPos))
          << "search " << search << " step " << step;
      ASSERT_TRUE((child.m_vaLower == expected->m_vaLower).min() &&
                  (child.m_vaUpper == expected->m_vaUpper).min());
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
