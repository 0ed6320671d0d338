// The node test: classification (pruned / to be branched / acceptable) and the
// incumbent, in both senses.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "TreeTestSupport.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// {feasible, closed}
using Outcome = std::pair<bool, bool>;
const Outcome kPruned{false, true};
const Outcome kToBranch{false, false};
const Outcome kAcceptable{true, true};

// Checks a node whose variable 1, listed as discrete, has the given set
// reference and value (variable 0 is an integer variable at 0).
Outcome Classify(int setRef, std::vector<std::vector<double>> sets, double value,
                 double maxCon = 0.0, double objective = 1.0) {
  CDiscreteTree tree = MakeTree({-1, setRef}, sets, 1);
  tree.m_vIndices = {0, 1};
  CDiscreteNode node = MakeNode(objective, {0.0, value}, {-1e12, -1e12}, {1e12, 1e12}, maxCon);
  tree.CheckNode(node);
  EXPECT_EQ(tree.m_BestNode.m_nNodeID, node.m_bFeasible ? node.m_nNodeID : -1)
      << "only an acceptable node leads";
  return {node.m_bFeasible, node.m_bClosed};
}

TEST(CheckNodeTest, ConstraintAtTheToleranceIsFeasibleAndAHairAboveIsPruned) {
  EXPECT_EQ(Classify(-1, {}, 2.0, 1e-6), kAcceptable);
  EXPECT_EQ(Classify(-1, {}, 2.0, std::nextafter(1e-6, 1.0)), kPruned);
  EXPECT_EQ(Classify(-1, {}, 2.5, 2e-6), kPruned) << "pruned before the discrete test";
}

TEST(CheckNodeTest, NodeWithoutANumericObjectiveOrConstraintIsPruned) {
  EXPECT_EQ(Classify(-1, {}, 2.0, kNaN), kPruned);
  EXPECT_EQ(Classify(-1, {}, 2.0, 0.0, kNaN), kPruned)
      << "a NaN objective must never become the incumbent";
}

TEST(CheckNodeTest, IntegerTestMeasuresTheDistanceToTheValueTruncatedTowardZero) {
  for (double value : {3.0000000000001, -3.0000000000001, 0.0, 3e9, -2147483649.0, 1e300}) {
    EXPECT_EQ(Classify(-1, {}, value), kAcceptable) << value;
  }
  for (double value : {2.9999999999999, -2.9999999999999, 2.5, 3e9 + 0.5, kNaN}) {
    EXPECT_EQ(Classify(-1, {}, value), kToBranch) << value;
  }
}

TEST(CheckNodeTest, SetTestAcceptsValuesWithin1e12OfASetValueAndEmptySetsNothing) {
  const std::vector<std::vector<double>> sets{{1.5, 2.0, 3.25}, {}};
  EXPECT_EQ(Classify(1, sets, 2.0000000000005), kAcceptable);
  EXPECT_EQ(Classify(1, sets, 3.25), kAcceptable);
  EXPECT_EQ(Classify(1, sets, 2.1), kToBranch);
  EXPECT_EQ(Classify(1, sets, 2.000000000002), kToBranch);
  EXPECT_EQ(Classify(2, sets, 2.0), kToBranch);
}

TEST(CheckNodeTest, VariablesWhoseReferenceNamesNoSetAreNotTested) {
  for (int setRef : {0, -2, 3})
    EXPECT_EQ(Classify(setRef, {{1.0}, {2.0}}, 0.77), kAcceptable) << setRef;
}

TEST(CheckNodeTest, FirstAcceptableNodeBecomesTheIncumbentAndOnlyStrictlyBetterOnesReplaceIt) {
  for (int sense : {1, -1}) {
    SCOPED_TRACE("sense " + std::to_string(sense));
    const double incumbent = 10.0, better = 10.0 - sense, worse = 10.0 + 0.5 * sense;
    CDiscreteTree tree = MakeTree({-1}, {}, sense);
    const auto check = [&tree](double objective, double value) {
      CDiscreteNode node = MakeNode(objective, {value}, {0.0}, {9.0});
      tree.CheckNode(node);
      return std::make_pair(Outcome{node.m_bFeasible, node.m_bClosed}, node.m_nNodeID);
    };
    const auto first = check(incumbent, 2.0);
    EXPECT_EQ(first.first, kAcceptable);
    EXPECT_EQ(check(incumbent, 3.0).first, kAcceptable);
    EXPECT_EQ(tree.m_BestNode.m_nNodeID, first.second) << "a tie keeps the earlier incumbent";
    EXPECT_EQ(check(incumbent, 3.5).first, kToBranch) << "a tie is not pruned";
    EXPECT_EQ(check(worse, 3.5).first, kPruned) << "worse: pruned before the discrete test";
    EXPECT_EQ(check(better, 3.5).first, kToBranch);
    EXPECT_EQ(tree.m_BestNode.m_nNodeID, first.second);
    const auto replaced = check(better, 4.0);
    EXPECT_EQ(std::make_tuple(tree.m_BestNode.m_nNodeID, tree.m_BestNode.m_dObjective,
                              tree.m_BestNode.m_bFeasible),
              std::make_tuple(replaced.second, better, true));
  }
}

}  // namespace
