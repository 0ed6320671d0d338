#include "DiscreteTree.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "Int32Conversion.h"
#include "StoreIndex.h"

namespace {

constexpr double kValueTolerance = 1e-12;  // distance within which a value counts as integral or as a set value

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

bool CDiscreteTree::HasIncumbent() const {
  return m_BestNode.m_nNodeID >= 0;
}

bool CDiscreteTree::HasAllowedDiscreteValues(const CDiscreteNode& node) const {
  return std::all_of(m_vIndices.begin(), m_vIndices.end(), [&](int32_t variable) {
    const bool present = variable >= 0 && static_cast<std::size_t>(variable) < node.m_vaValues.size();
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
  return std::any_of(set->begin(), set->end(),
                     [value](double allowed) { return std::fabs(value - allowed) <= kValueTolerance; });
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
