#include "DiscreteNode.h"

#include <cassert>
#include <cstddef>

int32_t CDiscreteNode::m_nNODE = 0;

CDiscreteNode::CDiscreteNode() = default;

CDiscreteNode::CDiscreteNode(int parentNodeId)
    : m_nNodeID(TakeNodeNumber()), m_nParentID(parentNodeId) {}

int32_t CDiscreteNode::TakeNodeNumber() {
  assert(m_nNODE < INT32_MAX);
  return m_nNODE++;
}

void CDiscreteNode::Copy(const CDiscreteNode& source) {
  if (&source == this) return;
  m_nNodeID = source.m_nNodeID;
  m_nParentID = source.m_nParentID;
  m_dObjective = source.m_dObjective;
  m_dMaxCon = source.m_dMaxCon;
  m_bFeasible = source.m_bFeasible;
  m_bClosed = source.m_bClosed;
  m_nTaskID = source.m_nTaskID;
  m_nParentTaskID = source.m_nParentTaskID;
  m_nUpChildID = source.m_nUpChildID;
  m_nDownChildID = source.m_nDownChildID;
  m_nBranchPos = source.m_nBranchPos;

  // A node whose arrays differ in length is a programming error, not input:
  // stop before copying it.
  const std::size_t nS1 = source.m_vaValues.size();
  const std::size_t nS2 = source.m_vaLower.size();
  const std::size_t nS3 = source.m_vaUpper.size();
  assert(nS1 == nS2);
  assert(nS2 == nS3);

  // valarray assignment takes the source's length (and releases the old
  // storage when the length changes).
  m_vaValues = source.m_vaValues;
  m_vaLower = source.m_vaLower;
  m_vaUpper = source.m_vaUpper;
}
