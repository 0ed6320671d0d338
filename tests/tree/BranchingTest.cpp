// Branching: the bounds of the two children, the choice of the parent and of
// the branching position, duplicates and node numbering.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "TreeTestSupport.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
using Bounds = std::pair<double, double>;

// Variables 0 and 2 are integer-valued, variable 1 takes values from a set.
class BranchingTest : public ::testing::Test {
 protected:
  static CDiscreteNode Parent(std::valarray<double> values,
                              std::valarray<double> lower = {-1e10, 0.0, -1e10},
                              std::valarray<double> upper = {1e10, 9.0, 1e10}) {
    return MakeNode(1.0, values, lower, upper);
  }

  // The up child's lower bound and the down child's upper bound of the
  // variable at `position`, with the child's value moved into its bounds.
  Bounds ChildBounds(int position, CDiscreteNode parent) {
    CDiscreteNode up, down;
    EXPECT_TRUE(tree.BoundVariable(position, parent, up));
    parent.m_nUpChildID = 1;
    EXPECT_TRUE(tree.BoundVariable(position, parent, down));
    EXPECT_EQ(up.m_vaValues[position], up.m_vaLower[position]);
    EXPECT_EQ(down.m_vaValues[position], down.m_vaUpper[position]);
    EXPECT_EQ(up.m_vaUpper[position], parent.m_vaUpper[position]) << "the other bound stays";
    EXPECT_EQ(down.m_vaLower[position], parent.m_vaLower[position]);
    return {up.m_vaLower[position], down.m_vaUpper[position]};
  }

  void Store(CDiscreteNode& node) {
    tree.CheckNode(node);
    tree.AddNode(node);
  }

  // The branching position of the child that CreateNode makes from the parent.
  int ChildPosition(CDiscreteNode parent) {
    tree = MakeTree({-1, 1, -1}, {{1.0, 2.5, 4.0}}, 1);
    Store(parent);
    CDiscreteNode child;
    EXPECT_TRUE(tree.CreateNode(child));
    return child.m_nBranchPos;
  }

  CDiscreteTree tree = MakeTree({-1, 1, -1}, {{1.0, 2.5, 4.0}}, 1);
};

TEST_F(BranchingTest, IntegerChildrenTakeTheIntegersOnEitherSideOfTheValue) {
  const std::vector<std::pair<double, Bounds>> cases{
      {2.5, {3.0, 2.0}},           {3.0, {4.0, 3.0}},
      {-2.5, {-2.0, -3.0}},        {-3.0, {-3.0, -4.0}},
      {0.0, {1.0, 0.0}},           {-0.5, {0.0, -1.0}},
      {3e9 + 0.5, {3e9 + 1, 3e9}}, {-3e9 - 0.5, {-3e9, -3e9 - 1}}};
  for (const auto& [value, expected] : cases) {
    EXPECT_EQ(ChildBounds(0, Parent({value, 2.0, 0.0})), expected) << value;
  }
  EXPECT_FALSE(std::signbit(ChildBounds(0, Parent({-0.5, 2.0, 0.0})).first))
      << "a bound of 0 is +0";
}

TEST_F(BranchingTest, SetChildrenTakeTheSetValuesOnEitherSideOfTheValue) {
  EXPECT_EQ(ChildBounds(1, Parent({0.0, 3.1, 0.0})), Bounds(4.0, 2.5));
  EXPECT_EQ(ChildBounds(1, Parent({0.0, 2.5, 0.0})), Bounds(2.5, 2.5))
      << "a set value stays in both";
  EXPECT_EQ(ChildBounds(1, Parent({0.0, 4.5, 0.0})), Bounds(9.0, 4.0))
      << "none above: up to the upper bound";
  EXPECT_EQ(ChildBounds(1, Parent({0.0, 0.5, 0.0})), Bounds(1.0, 0.0))
      << "none below: down to the lower bound";
  tree.m_vSets[0] = {};
  EXPECT_EQ(ChildBounds(1, Parent({0.0, 0.5, 0.0})), Bounds(9.0, 0.0));
  tree.m_vSets[0] = {4.0, 1.0, 2.5};  // not ascending: first from the start, last from the end
  EXPECT_EQ(ChildBounds(1, Parent({0.0, 2.0, 0.0})), Bounds(4.0, 1.0));
}

TEST_F(BranchingTest, NewBoundNeverCrossesTheOtherBound) {
  EXPECT_EQ(ChildBounds(0, Parent({2.5, 2.0, 0.0}, {0.0, 0.0, 0.0}, {2.7, 9.0, 9.0})).first, 2.7);
  EXPECT_EQ(ChildBounds(0, Parent({2.5, 2.0, 0.0}, {2.2, 0.0, 0.0}, {9.0, 9.0, 9.0})).second, 2.2);
}

TEST_F(BranchingTest, VariablesThatCannotBeBranchedAreRefused) {
  CDiscreteNode child;
  CDiscreteNode parent = Parent({kNaN, 2.0, 0.5});
  EXPECT_FALSE(tree.BoundVariable(0, parent, child)) << "NaN value";
  EXPECT_EQ(child.m_vaLower.size(), 3u) << "the arrays are copied all the same";
  EXPECT_FALSE(tree.BoundVariable(3, parent, child)) << "no such position";
  tree.m_vaSetRefs[2] = 4;
  EXPECT_FALSE(tree.BoundVariable(2, parent, child)) << "reference to a missing set";
  tree.m_vaSetRefs[2] = -1;
  parent.m_nUpChildID = parent.m_nDownChildID = 1;
  EXPECT_FALSE(tree.BoundVariable(2, parent, child)) << "both children made";
}

TEST_F(BranchingTest, PositionsAreScannedCyclicallyAfterTheParentsOwnSkippingVariablesAtABound) {
  for (const auto& [parentPosition, childPosition] :
       std::vector<std::pair<int, int>>{{-1, 0}, {0, 1}, {1, 2}, {2, 0}}) {
    CDiscreteNode parent = Parent({0.5, 1.5, 0.5});
    parent.m_nBranchPos = parentPosition;
    EXPECT_EQ(ChildPosition(parent), childPosition) << "parent at " << parentPosition;
  }
  const double tiny = std::ldexp(1.0, -53);
  EXPECT_EQ(ChildPosition(Parent({0.5, 9.0 - tiny, 0.5}, {0.5 + tiny, 0.0, -9.0})), 2)
      << "variables within 2^-52 of a bound are skipped";
}

TEST_F(BranchingTest, TwoCreationsMakeTheUpThenTheDownChildAndCloseTheParent) {
  CDiscreteNode parent = Parent({0.5, 1.5, 0.5});
  parent.m_nTaskID = 17;
  Store(parent);
  CDiscreteNode up, down, none;
  const int32_t next = CDiscreteNode::m_nNODE;
  ASSERT_TRUE(tree.CreateNode(up));
  ASSERT_TRUE(tree.CreateNode(down));
  EXPECT_EQ(std::make_pair(up.m_nNodeID, down.m_nNodeID), std::make_pair(next, next + 1));
  for (const CDiscreteNode* child : {&up, &down}) {
    EXPECT_EQ(std::make_tuple(child->m_nParentID, child->m_nParentTaskID, child->m_nBranchPos,
                              child->m_nUpChildID),
              std::make_tuple(parent.m_nNodeID, 17, 0, -1));
  }
  EXPECT_EQ(std::make_pair(up.m_vaLower[0], down.m_vaUpper[0]), Bounds(1.0, 0.0));
  const CDiscreteNode* stored = StoredNodes(tree).at(0);
  EXPECT_EQ(
      std::make_tuple(stored->m_nUpChildID, stored->m_nDownChildID, stored->m_bClosed, tree.Size()),
      std::make_tuple(up.m_nNodeID, down.m_nNodeID, true, 1));
  EXPECT_FALSE(tree.CreateNode(none)) << "the closed parent is not chosen again";
}

TEST_F(BranchingTest, ChildRepeatingAStoredNodesBoundsIsSkipped) {
  CDiscreteNode parent = Parent({0.5, 1.5, 0.5});
  Store(parent);
  CDiscreteNode upOnFirst, child;
  tree.BoundVariable(0, parent, upOnFirst);
  CDiscreteNode sameBounds =
      MakeNode(50.0, {7.0, 7.0, 7.0}, upOnFirst.m_vaLower, upOnFirst.m_vaUpper);
  sameBounds.m_vaLower[1] = -0.0;  // equal to 0.0 as a double
  Store(sameBounds);
  ASSERT_TRUE(tree.CreateNode(child));
  EXPECT_EQ(child.m_nBranchPos, 1);
  EXPECT_TRUE(tree.IsDuplicateNode(sameBounds));
  sameBounds.m_vaUpper[2] = std::nextafter(sameBounds.m_vaUpper[2], 2e10);
  EXPECT_FALSE(tree.IsDuplicateNode(sameBounds)) << "one bound differs by one ulp";
  sameBounds.m_vaLower = sameBounds.m_vaUpper = std::valarray<double>();
  EXPECT_FALSE(tree.IsDuplicateNode(sameBounds));
}

}  // namespace
