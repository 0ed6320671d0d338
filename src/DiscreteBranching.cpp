// Branching: making the next subproblem of the search from the best open node
// (Land & Doig 1960; Dakin 1965: split one variable's range in two).

#include <algorithm>
#include <cmath>
#include <limits>

#include "DiscreteTree.h"
#include "StoreIndex.h"

namespace {

// A variable whose value lies within this distance of one of its bounds is
// not branched on.
constexpr double kBoundDistance = std::numeric_limits<double>::epsilon();  // 2^-52

// Truncation toward zero in double precision: exact at every magnitude, so a
// branch never wraps around as a 32-bit conversion would beyond +-2^31.
// Adding 0.0 turns -0.0 into 0.0.
double Truncated(double value) {
  return std::trunc(value) + 0.0;
}

double IntegerAbove(double value) {
  return value >= 0.0 ? Truncated(value) + 1.0 : Truncated(value);
}

double IntegerBelow(double value) {
  return value >= 0.0 ? Truncated(value) : Truncated(value) - 1.0;
}

// First value >= value scanning from the start of the set; +infinity when
// there is none (the bound then moves all the way to the other bound).
double FirstSetValueAtOrAbove(const std::vector<double>& set, double value) {
  const auto found = std::find_if(set.begin(), set.end(), [value](double s) { return s >= value; });
  return found == set.end() ? std::numeric_limits<double>::infinity() : *found;
}

// Last value <= value scanning from the end of the set; -infinity when none.
double LastSetValueAtOrBelow(const std::vector<double>& set, double value) {
  const auto found = std::find_if(set.rbegin(), set.rend(), [value](double s) { return s <= value; });
  return found == set.rend() ? -std::numeric_limits<double>::infinity() : *found;
}

bool HoldsVariable(const CDiscreteNode& node, int32_t variable) {
  const auto present = [variable](const std::valarray<double>& array) {
    return variable >= 0 && static_cast<std::size_t>(variable) < array.size();
  };
  return present(node.m_vaValues) && present(node.m_vaLower) && present(node.m_vaUpper);
}

bool IsAtBound(const CDiscreteNode& node, int32_t variable) {
  const double value = node.m_vaValues[variable];
  return std::fabs(value - node.m_vaLower[variable]) <= kBoundDistance ||
         std::fabs(node.m_vaUpper[variable] - value) <= kBoundDistance;
}

}  // namespace

bool CDiscreteTree::CreateNode(CDiscreteNode& child) {
  CDiscreteNode* parent = FirstOpenNode();
  if (parent == nullptr) return false;
  if (!ChooseBranchPosition(*parent, child)) return false;

  child.m_nNodeID = CDiscreteNode::TakeNodeNumber();
  child.m_nParentID = parent->m_nNodeID;
  child.m_nParentTaskID = parent->m_nTaskID;
  if (parent->m_nUpChildID == -1) {
    parent->m_nUpChildID = child.m_nNodeID;
  } else {
    parent->m_nDownChildID = child.m_nNodeID;
  }
  if (parent->m_nDownChildID != -1) parent->m_bClosed = true;  // both children made
  return UpdateNode(*parent);
}

CDiscreteNode* CDiscreteTree::FirstOpenNode() {
  if (m_pStoreIndex->MirrorsWalkOrder()) return m_pStoreIndex->FirstOpenNode();
  ProcessInit();
  while (CDiscreteNode* node = ProcessNext()) {
    if (!node->m_bClosed) return node;
  }
  return nullptr;
}

bool CDiscreteTree::ChooseBranchPosition(CDiscreteNode& parent, CDiscreteNode& child) {
  // Positions in cyclic order, starting after the one that made the parent
  // and ending with it; a root (or an out-of-range position) starts at 0.
  const bool madeByBranching = parent.m_nBranchPos >= 0 && parent.m_nBranchPos < m_nNumDiscrete;
  const int32_t lastPosition = madeByBranching ? parent.m_nBranchPos : m_nNumDiscrete - 1;
  for (int32_t step = 1; step <= m_nNumDiscrete; ++step) {
    const int32_t position = (lastPosition + step) % m_nNumDiscrete;
    child.m_nBranchPos = position;
    const int32_t variable = DiscreteVariableAt(position);
    if (!HoldsVariable(parent, variable) || IsAtBound(parent, variable)) continue;
    if (!BoundVariable(position, parent, child)) continue;
    if (IsDuplicateNode(child)) continue;
    return true;
  }
  return false;
}

int32_t CDiscreteTree::DiscreteVariableAt(int32_t position) const {
  const bool listed = position >= 0 && static_cast<std::size_t>(position) < m_vIndices.size();
  return listed ? m_vIndices[position] : -1;
}

bool CDiscreteTree::BoundVariable(int position, CDiscreteNode& parent, CDiscreteNode& child) {
  if (&child != &parent) {
    child.m_vaValues = parent.m_vaValues;
    child.m_vaLower = parent.m_vaLower;
    child.m_vaUpper = parent.m_vaUpper;
  }

  const int32_t variable = DiscreteVariableAt(position);
  if (!HoldsVariable(child, variable)) return false;
  const double value = parent.m_vaValues[variable];
  if (std::isnan(value)) return false;
  const int32_t setRef = SetReferenceOf(variable);
  const std::vector<double>* set = SetNamedBy(setRef);
  if (setRef != kIntegerVariable && set == nullptr) return false;

  double& lower = child.m_vaLower[variable];
  double& upper = child.m_vaUpper[variable];
  if (parent.m_nUpChildID == -1) {
    const double bound = set != nullptr ? FirstSetValueAtOrAbove(*set, value) : IntegerAbove(value);
    lower = bound > upper ? upper : bound;
  } else if (parent.m_nDownChildID == -1) {
    const double bound = set != nullptr ? LastSetValueAtOrBelow(*set, value) : IntegerBelow(value);
    upper = bound < lower ? lower : bound;
  } else {
    return false;
  }

  double& childValue = child.m_vaValues[variable];
  if (childValue < lower) {
    childValue = lower;
  } else if (childValue > upper) {
    childValue = upper;
  }
  return true;
}

bool CDiscreteTree::IsDuplicateNode(CDiscreteNode& node) {
  return m_pStoreIndex->HoldsBounds(node.m_vaLower, node.m_vaUpper);
}
