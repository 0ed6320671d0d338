// The node record (numbering, deep copies) and the node store of the search
// tree: order, identity of the node a caller names, assignment, and the
// 32-bit tie-break.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <tuple>

#include "Int32Conversion.h"
#include "TreeTestSupport.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

CDiscreteNode NodeWithObjective(double objective, double value = 0.0) {
  return MakeNode(objective, {value}, {0.0}, {10.0});
}

TEST(DiscreteNodeTest, CopyIsIndependentAndTakesTheSourcesLengthsAndNumber) {
  CDiscreteNode source = MakeNode(2.5, {1.0, 2.0}, {0.0, 0.0}, {3.0, 4.0});
  CDiscreteNode target = MakeNode(9.0, {9.0, 9.0, 9.0}, {9.0, 9.0, 9.0}, {9.0, 9.0, 9.0});
  source.m_nUpChildID = 11;
  source.m_nTaskID = 42;
  target.Copy(source);
  source.m_vaUpper[1] = 99.0;
  target.Copy(target);  // changes nothing
  EXPECT_EQ(
      std::make_tuple(target.m_nNodeID, target.m_nUpChildID, target.m_nTaskID, target.m_dObjective,
                      target.m_vaValues[1], target.m_vaUpper.size(), target.m_vaUpper[1]),
      std::make_tuple(source.m_nNodeID, 11, 42, 2.5, 2.0, std::size_t{2}, 4.0));
}

TEST(DiscreteNodeDeathTest, CopyOfANodeWhoseArraysDifferInLengthStops) {
  CDiscreteNode broken = MakeNode(0.0, {1.0, 2.0}, {0.0}, {3.0, 4.0}), target;
  EXPECT_DEATH(target.Copy(broken), "nS1 == nS2");
  broken.m_vaLower = {0.0, 0.0};
  broken.m_vaUpper = {3.0};
  EXPECT_DEATH(target.Copy(broken), "nS2 == nS3");
}

TEST(DiscreteNodeDeathTest, NodeNumbersDoNotWrapToNegative) {
  const int32_t next = CDiscreteNode::m_nNODE;
  CDiscreteNode::m_nNODE = INT32_MAX;
  EXPECT_DEATH(CDiscreteNode(-1), "m_nNODE < INT32_MAX");
  CDiscreteNode::m_nNODE = next;
}

// Many stored nodes share one objective and lie within 1 of each other in
// their values' sum of squares, so the store's own tie-break cannot tell
// them apart. Every operation must act on the node named, and only on it; the
// walk gives the best objective first in both senses, equal objectives in the
// order added.
TEST(NodeStoreTest, NamedNodeIsFoundDeletedAndUpdatedAmongIndistinguishableNeighbours) {
  for (int sense : {1, -1}) {
    CDiscreteTree tree = MakeTree({-1}, {}, sense);
    std::vector<CDiscreteNode> model;  // the stored contents, in walk order
    for (int i = 0; i < 300; ++i) {
      model.push_back(NodeWithObjective(i % 3 == 0 ? 1.0 : 2.0 + i % 2, 1.0 + 1e-4 * i));
      model.back().m_nTaskID = i;
      tree.AddNode(model.back());
    }
    const auto before = [sense](const CDiscreteNode& a, const CDiscreteNode& b) {
      return sense * a.m_dObjective < sense * b.m_dObjective;
    };
    std::stable_sort(model.begin(), model.end(), before);
    std::mt19937 random(3);
    for (int step = 0; step < 600 && !model.empty(); ++step) {
      const std::size_t at = random() % model.size();
      CDiscreteNode named;
      named.Copy(model[at]);
      model.erase(model.begin() + static_cast<std::ptrdiff_t>(at));
      if (step % 2 == 0) {
        ASSERT_TRUE(tree.DeleteNode(named));
        EXPECT_FALSE(tree.FindNode(named));
      } else {  // updated contents go behind the nodes of equal objective
        named.m_nTaskID += 1000;
        ASSERT_TRUE(tree.UpdateNode(named));
        model.insert(std::upper_bound(model.begin(), model.end(), named, before), named);
      }
      const std::vector<const CDiscreteNode*> stored = StoredNodes(tree);
      ASSERT_EQ(stored.size(), model.size());
      for (std::size_t i = 0; i < model.size(); ++i) {
        ASSERT_EQ(stored[i]->m_nNodeID, model[i].m_nNodeID)
            << "sense " << sense << " step " << step << " at " << i;
        ASSERT_EQ(stored[i]->m_nTaskID, model[i].m_nTaskID);
      }
    }
  }
}

TEST(NodeStoreTest, NodesOfAnotherNumberOrAnotherObjectiveAreNotNamed) {
  CDiscreteTree tree = MakeTree({-1}, {}, 1);
  CDiscreteNode stored = NodeWithObjective(1.0, 2.0);
  tree.AddNode(stored);
  CDiscreteNode other = NodeWithObjective(1.0, 2.0);  // same contents, another number
  EXPECT_FALSE(tree.FindNode(other) || tree.UpdateNode(other) || tree.DeleteNode(other));
  CDiscreteNode changed;
  changed.Copy(stored);
  changed.m_dObjective = 1.5;
  EXPECT_FALSE(tree.DeleteNode(changed));
  EXPECT_EQ(StoredNodeNumbers(tree), std::vector<int>{stored.m_nNodeID});
  EXPECT_TRUE(tree.FindNode(stored));
}

// NaN objectives leave the store without a sorted order: removal by identity
// must still find each node.
TEST(NodeStoreTest, StoredNodesWithNaNObjectivesCanStillBeRemovedOneByOne) {
  CDiscreteTree tree = MakeTree({-1}, {}, 1);
  std::mt19937 random(5);
  for (int i = 0; i < 200; ++i) {
    CDiscreteNode node =
        NodeWithObjective(i % 4 == 0 ? kNaN : static_cast<double>(random() % 7), i);
    tree.AddNode(node);
  }
  std::vector<const CDiscreteNode*> stored = StoredNodes(tree);
  std::shuffle(stored.begin(), stored.end(), random);
  for (std::size_t removed = 0; removed < stored.size(); ++removed) {
    ASSERT_TRUE(tree.DeleteNode(*const_cast<CDiscreteNode*>(stored[removed])));
    ASSERT_EQ(tree.Size(), static_cast<int32_t>(stored.size() - removed - 1));
  }
}

TEST(NodeStoreTest, AssignmentReleasesTheOldNodesAndCopiesTheSourceIndependently) {
  CDiscreteTree target = MakeTree({-1}, {}, 1);
  for (double objective : {5.0, 6.0}) {
    CDiscreteNode node = NodeWithObjective(objective);
    target.AddNode(node);
  }
  CDiscreteTree source = MakeTree({-1, 1}, {{1.0, 2.0}}, 1, 0.25);
  std::vector<CDiscreteNode> added;
  for (double objective : {3.0, 1.0, 3.0, 2.0}) {
    added.push_back(MakeNode(objective, {1.0, 1.0}, {0.0, 1.0}, {4.0, 2.0}));
    source.CheckNode(added.back());
    source.AddNode(added.back());
  }
  target = source;
  EXPECT_EQ(StoredNodeNumbers(target), StoredNodeNumbers(source));
  EXPECT_EQ(target.m_BestNode.m_nNodeID, source.m_BestNode.m_nNodeID);
  EXPECT_EQ(std::make_tuple(target.m_dConTol, target.m_vSets, target.m_nNumDiscrete),
            std::make_tuple(0.25, source.m_vSets, 2));
  EXPECT_TRUE(target.DeleteNode(added[1]));
  EXPECT_EQ(std::make_pair(target.Size(), source.Size()), std::make_pair(3, 4));
  EXPECT_TRUE(target.IsDuplicateNode(added[0]));

  target = CDiscreteTree();  // as a new search installs its tree
  EXPECT_EQ(std::make_pair(target.Size(), target.m_BestNode.m_nNodeID), std::make_pair(0, -1));
  EXPECT_FALSE(target.IsDuplicateNode(added[0]));
}

TEST(NodeStoreTest, TruncationToInt32IsDefinedForEveryDouble) {
  EXPECT_EQ(TruncateToInt32(2147483647.9), INT32_MAX);
  EXPECT_EQ(TruncateToInt32(-2147483648.9), INT32_MIN);
  EXPECT_EQ(TruncateToInt32(-7.9), -7);
  for (double outside : {2147483648.0, -2147483649.0, 1e300, -1e300, kNaN,
                         std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(TruncateToInt32(outside), INT32_MIN) << outside;
  }
}

TEST(NodeStoreTest, CompareDVARsTruncatesTheDifferenceOfSumsOfSquares) {
  const auto node = [](std::valarray<double> values) {
    return MakeNode(0.0, values, values, values);
  };
  const CDiscreteNode small = node({1.0, 2.0}), nearby = node({1.0, 2.2}), large = node({1e5, 0.0});
  const CDiscreteNode empty = node({}), shorter = node({3.0}), undefined = node({kNaN, 0.0});
  EXPECT_EQ(CDiscreteTree::CompareDVARs(&small, &nearby), 0) << "within 1: a tie";
  EXPECT_EQ(CDiscreteTree::CompareDVARs(&large, &small), INT32_MIN) << "1e10 - 5 is beyond 2^31";
  EXPECT_EQ(CDiscreteTree::CompareDVARs(&small, &large), INT32_MIN);
  EXPECT_EQ(CDiscreteTree::CompareDVARs(&undefined, &small), INT32_MIN);
  EXPECT_EQ(CDiscreteTree::CompareDVARs(&empty, &large), 0);
  EXPECT_EQ(CDiscreteTree::CompareDVARs(&small, &shorter), -4) << "values b lacks count as 0";
}

TEST(NodeStoreDeathTest, TreeWithoutDiscreteVariablesIsRefused) {
  EXPECT_DEATH(MakeTree({0, 0}, {}, 1), "m_nNumDiscrete > 0");
}

}  // namespace
