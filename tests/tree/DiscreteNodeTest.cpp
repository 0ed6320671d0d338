// The node record: numbering and deep copies.

#include <gtest/gtest.h>

#include <tuple>

#include "DiscreteNode.h"

namespace {

TEST(DiscreteNodeTest, NumberingConstructorTakesTheNextNumberAndTheDefaultOneTakesNone) {
  const int32_t next = CDiscreteNode::m_nNODE;
  const CDiscreteNode root(-1);
  const CDiscreteNode unnumbered;
  const CDiscreteNode child(root.m_nNodeID);
  EXPECT_EQ(root.m_nNodeID, next);
  EXPECT_EQ(root.m_nParentID, -1);
  EXPECT_EQ(unnumbered.m_nNodeID, -1);
  EXPECT_EQ(child.m_nNodeID, next + 1);
  EXPECT_EQ(child.m_nParentID, next);
  EXPECT_EQ(CDiscreteNode::m_nNODE, next + 2);
  const auto otherFields = [](const CDiscreteNode& node) {
    return std::make_tuple(node.m_nUpChildID, node.m_nDownChildID, node.m_bFeasible, node.m_bClosed, node.m_nTaskID,
                           node.m_nParentTaskID, node.m_nBranchPos, node.m_dObjective, node.m_dMaxCon,
                           node.m_vaValues.size());
  };
  for (const CDiscreteNode* node : {&root, &unnumbered, &child}) {
    EXPECT_EQ(otherFields(*node), std::make_tuple(-1, -1, false, false, -1, -1, -1, 0.0, 0.0, std::size_t{0}));
  }
}

TEST(DiscreteNodeTest, CopyIsIndependentAndTakesTheSourcesLengthsAndNumber) {
  CDiscreteNode source(7);
  source.m_nUpChildID = 11;
  source.m_bClosed = true;
  source.m_nTaskID = 42;
  source.m_dObjective = 2.5;
  source.m_vaValues = {1.0, 2.0};
  source.m_vaLower = {0.0, 0.0};
  source.m_vaUpper = {3.0, 4.0};
  CDiscreteNode target;
  target.m_vaValues = target.m_vaLower = target.m_vaUpper = std::valarray<double>(9.0, 5);

  target.Copy(source);
  source.m_vaUpper[1] = 99.0;
  EXPECT_EQ(target.m_nNodeID, source.m_nNodeID);
  EXPECT_EQ(target.m_nParentID, 7);
  EXPECT_EQ(target.m_nUpChildID, 11);
  EXPECT_TRUE(target.m_bClosed);
  EXPECT_EQ(target.m_nTaskID, 42);
  EXPECT_EQ(target.m_dObjective, 2.5);
  ASSERT_EQ(target.m_vaUpper.size(), 2u);
  EXPECT_EQ(target.m_vaUpper[1], 4.0);
  EXPECT_EQ(target.m_vaValues[1], 2.0);

  target.Copy(CDiscreteNode());
  EXPECT_EQ(target.m_vaValues.size() + target.m_vaLower.size() + target.m_vaUpper.size(), 0u);

  target.Copy(source);
  target.Copy(target);
  EXPECT_EQ(target.m_vaValues[1], 2.0) << "copying a node onto itself changes nothing";
}

TEST(DiscreteNodeDeathTest, CopyOfANodeWhoseArraysDifferInLengthStops) {
  CDiscreteNode broken;
  broken.m_vaValues = {1.0, 2.0};
  broken.m_vaLower = {0.0};
  broken.m_vaUpper = {3.0, 4.0};
  CDiscreteNode target;
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

}  // namespace
