#include "DiscreteTree.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "Int32Conversion.h"
#include "StoreIndex.h"

namespace {

constexpr double kValueTolerance =
    1e-12;  // distance within which a value counts as integral or as a set value

double SumOfSquares(const std::valarray<double>& values, std::size_t count) {
  double sum = 0.0;
  for (std::size_t i = 0; i < std::min(count, values.size()); ++i) sum += values[i] * values[i];
  return sum;
}

}  // namespace

int32_t CDiscreteTree::m_nMinMax = 1;

CDiscreteTree::CDiscreteTree()
    : CAVLTree<CDiscreteNode>(CompareNodes),
      m_dConTol(0.0),
      m_nNumDiscrete(0),
      m_pStoreIndex(std::make_unique<CStoreIndex>()) {}

CDiscreteTree::CDiscreteTree(std::valarray<int>& discreteIndices, std::valarray<int>& setRefs,
                             std::vector<std::vector<double>>& sets, double conTol, int sense)
    : CAVLTree<CDiscreteNode>(CompareNodes),
      m_dConTol(conTol),
      m_vSets(sets),
      m_nNumDiscrete(static_cast<int32_t>(discreteIndices.size())),
      m_vIndices(std::begin(discreteIndices), std::end(discreteIndices)),
      m_vaSetRefs(setRefs),
      m_pStoreIndex(std::make_unique<CStoreIndex>()) {
  m_nMinMax = sense;
  assert(m_nNumDiscrete > 0);
}

CDiscreteTree::~CDiscreteTree() = default;

CDiscreteTree& CDiscreteTree::operator=(const CDiscreteTree& source) {
  if (&source == this) return *this;
  AssignCopyOf(source, [](const CDiscreteNode& node) {
    auto* copy = new CDiscreteNode;
    copy->Copy(node);
    return copy;
  });
  m_dConTol = source.m_dConTol;
  m_vSets = source.m_vSets;
  m_nNumDiscrete = source.m_nNumDiscrete;
  m_BestNode.Copy(source.m_BestNode);
  m_vIndices = source.m_vIndices;
  m_vaSetRefs = source.m_vaSetRefs;
  RebuildStoreIndex(source.m_pStoreIndex->StoreSense());
  return *this;
}

int CDiscreteTree::CompareNodes(const CDiscreteNode* a, const CDiscreteNode* b, bool tieBreak) {
  const double keyA = m_nMinMax * a->m_dObjective;
  const double keyB = m_nMinMax * b->m_dObjective;
  if (keyA < keyB) return -1;
  if (keyA == keyB) return tieBreak ? CompareDVARs(a, b) : 0;
  return 1;
}

int CDiscreteTree::CompareDVARs(const CDiscreteNode* a, const CDiscreteNode* b) {
  const std::size_t count = a->m_vaValues.size();
  if (count == 0) return 0;
  return TruncateToInt32(SumOfSquares(a->m_vaValues, count) - SumOfSquares(b->m_vaValues, count));
}

void CDiscreteTree::Callback(CDiscreteNode*) {}

// ---- The node test ---------------------------------------------------------

void CDiscreteTree::CheckNode(CDiscreteNode& node) {
  node.m_bFeasible = false;
  // A NaN constraint value or objective means the subproblem was not solved:
  // nothing can be concluded from it, so it is pruned like an infeasible one.
  const bool solved = !std::isnan(node.m_dObjective) && !std::isnan(node.m_dMaxCon);
  if (!solved || node.m_dMaxCon > m_dConTol) {
    node.m_bClosed = true;
    return;
  }
  if (HasIncumbent() && m_nMinMax * node.m_dObjective > m_nMinMax * m_BestNode.m_dObjective) {
    node.m_bClosed = true;
    return;
  }
  if (!HasAllowedDiscreteValues(node)) {
    node.m_bClosed = false;
    return;
  }
  node.m_bFeasible = true;
  node.m_bClosed = true;
  if (!HasIncumbent() || m_nMinMax * m_BestNode.m_dObjective > m_nMinMax * node.m_dObjective) {
    m_BestNode.Copy(node);
  }
}

bool CDiscreteTree::HasIncumbent() const { return m_BestNode.m_nNodeID >= 0; }

bool CDiscreteTree::HasAllowedDiscreteValues(const CDiscreteNode& node) const {
  return std::all_of(m_vIndices.begin(), m_vIndices.end(), [&](int32_t variable) {
    const bool present =
        variable >= 0 && static_cast<std::size_t>(variable) < node.m_vaValues.size();
    return !present || IsAllowedValue(variable, node.m_vaValues[variable]);
  });
}

bool CDiscreteTree::IsAllowedValue(int32_t variable, double value) const {
  const int32_t setRef = SetReferenceOf(variable);
  if (setRef == kIntegerVariable) {
    // Truncation in double precision, exact at every magnitude: a value
    // beyond the 32-bit range is integral when it has no fraction.
    return std::fabs(value - std::trunc(value)) <= kValueTolerance;
  }
  const std::vector<double>* set = SetNamedBy(setRef);
  if (set == nullptr) return true;
  return std::any_of(set->begin(), set->end(), [value](double allowed) {
    return std::fabs(value - allowed) <= kValueTolerance;
  });
}

int32_t CDiscreteTree::SetReferenceOf(int32_t variable) const {
  const bool present = variable >= 0 && static_cast<std::size_t>(variable) < m_vaSetRefs.size();
  return present ? m_vaSetRefs[variable] : 0;
}

const std::vector<double>* CDiscreteTree::SetNamedBy(int32_t setRef) const {
  const bool names = setRef >= 1 && static_cast<std::size_t>(setRef) <= m_vSets.size();
  return names ? &m_vSets[setRef - 1] : nullptr;
}

// ---- The store -------------------------------------------------------------

bool CDiscreteTree::AddNode(CDiscreteNode& node) {
  auto stored = std::make_unique<CDiscreteNode>();
  stored->Copy(node);
  return StoreNode(std::move(stored));
}

bool CDiscreteTree::FindNode(const CDiscreteNode& node) {
  return StoredNodeNamedBy(node) != nullptr;
}

bool CDiscreteTree::DeleteNode(CDiscreteNode& node) {
  CDiscreteNode* stored = StoredNodeNamedBy(node);
  if (stored == nullptr) return false;
  RemoveStoredNode(stored);
  return true;
}

bool CDiscreteTree::UpdateNode(CDiscreteNode& node) {
  // Copy first: node may be the stored node that DeleteNode deletes.
  auto replacement = std::make_unique<CDiscreteNode>();
  replacement->Copy(node);
  if (!DeleteNode(node)) return false;
  return StoreNode(std::move(replacement));
}

CDiscreteNode* CDiscreteTree::StoredNodeNamedBy(const CDiscreteNode& name) const {
  if (CDiscreteNode* itself = m_pStoreIndex->StoredNodeAt(&name)) return itself;
  return m_pStoreIndex->FindNumbered(name.m_nNodeID, [&name](const CDiscreteNode* stored) {
    return CompareNodes(&name, stored, true) == 0;
  });
}

bool CDiscreteTree::StoreNode(std::unique_ptr<CDiscreteNode> node) {
  if (Insert(node.get()) != node.get()) return false;
  CDiscreteNode* stored = node.release();
  m_pStoreIndex->Add(stored, m_nMinMax);
  return true;
}

void CDiscreteTree::RemoveStoredNode(CDiscreteNode* storedNode) {
  // Remove by identity: the store's own search (Detach, with the tie-break)
  // could meet a neighbour of equal objective first, or miss the node among
  // them. The index knows where the node sits among its equals.
  const CStoreIndex::CWalkPosition position = m_pStoreIndex->WalkPositionOf(storedNode);
  CDiscreteNode* detached = DetachItem(storedNode, [&](const CDiscreteNode* other) {
    return m_pStoreIndex->WalkDirection(position, other);
  });
  assert(detached == storedNode);
  m_pStoreIndex->Remove(detached);
  delete detached;
}

void CDiscreteTree::RebuildStoreIndex(int32_t sense) {
  std::vector<CDiscreteNode*> nodesInWalkOrder;
  nodesInWalkOrder.reserve(Size());
  ProcessInit();
  while (CDiscreteNode* node = ProcessNext()) nodesInWalkOrder.push_back(node);
  m_pStoreIndex->Rebuild(nodesInWalkOrder, sense);
}

// ---------------------------------------------------------------------------
// Branching: making the next subproblem of the search from the best open node
// (Land & Doig 1960; Dakin 1965: split one variable's range in two).

namespace {

// A variable whose value lies within this distance of one of its bounds is
// not branched on.
constexpr double kBoundDistance = std::numeric_limits<double>::epsilon();  // 2^-52

// Truncation toward zero in double precision: exact at every magnitude, so a
// branch never wraps around as a 32-bit conversion would beyond +-2^31.
// Adding 0.0 turns -0.0 into 0.0.
double Truncated(double value) { return std::trunc(value) + 0.0; }

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
  const auto found =
      std::find_if(set.rbegin(), set.rend(), [value](double s) { return s <= value; });
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
