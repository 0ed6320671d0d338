#include "StoreIndex.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

namespace {

// The finaliser of SplitMix64 (Steele, Lea & Flood 2014): spreads every input
// bit over the whole word.
uint64_t MixBits(uint64_t bits) {
  bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9ull;
  bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBull;
  return bits ^ (bits >> 31);
}

// A hash consistent with comparing the arrays element by element as doubles:
// -0.0 and 0.0 compare equal and hash alike. (NaN equals nothing, so its hash
// does not matter.)
std::size_t HashBounds(const std::valarray<double>& lower, const std::valarray<double>& upper) {
  uint64_t hash = MixBits(lower.size());
  const auto mixIn = [&hash](double value) {
    const double canonical = value == 0.0 ? 0.0 : value;
    uint64_t bits;
    std::memcpy(&bits, &canonical, sizeof bits);
    hash = MixBits(hash + 0x9E3779B97F4A7C15ull + bits);
  };
  for (double value : lower) mixIn(value);
  for (double value : upper) mixIn(value);
  return static_cast<std::size_t>(hash);
}

bool SameArray(const std::valarray<double>& left, const std::valarray<double>& right) {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (left[i] != right[i]) return false;
  }
  return true;
}

}  // namespace

void CStoreIndex::Add(CDiscreteNode* node, int32_t sense) {
  if (m_entries.empty()) {
    m_storeSense = sense;
  } else if (sense != m_storeSense) {
    m_mirrorsWalkOrder = false;
  }
  const double key = sense * node->m_dObjective;  // as the store's comparison computes it
  if (std::isnan(key)) m_mirrorsWalkOrder = false;

  const CEntry entry{node,
                     {key, m_nextSequence++},
                     HashBounds(node->m_vaLower, node->m_vaUpper),
                     node->m_nNodeID,
                     !node->m_bClosed && !std::isnan(key)};
  m_entries.emplace(node, entry);
  m_nodesByNumber[entry.nodeNumber].push_back(node);
  m_nodesByBounds.emplace(entry.boundsHash, node);
  if (entry.indexedAsOpen) {
    m_openNodes.emplace(OpenNodeKey(key, entry.position.sequence), node);
  }
}

void CStoreIndex::Remove(const CDiscreteNode* node) {
  const auto found = m_entries.find(node);
  assert(found != m_entries.end());
  const CEntry& entry = found->second;

  const auto numbered = m_nodesByNumber.find(entry.nodeNumber);
  std::vector<CDiscreteNode*>& sameNumber = numbered->second;
  sameNumber.erase(std::find(sameNumber.begin(), sameNumber.end(), node));
  if (sameNumber.empty()) m_nodesByNumber.erase(numbered);

  auto [first, last] = m_nodesByBounds.equal_range(entry.boundsHash);
  m_nodesByBounds.erase(
      std::find_if(first, last, [node](const auto& item) { return item.second == node; }));

  if (entry.indexedAsOpen) {
    m_openNodes.erase(OpenNodeKey(entry.position.key, entry.position.sequence));
  }
  m_entries.erase(found);
  if (m_entries.empty()) Clear();
}

void CStoreIndex::Clear() {
  m_entries.clear();
  m_nodesByNumber.clear();
  m_nodesByBounds.clear();
  m_openNodes.clear();
  m_nextSequence = 0;
  m_storeSense = 0;
  m_mirrorsWalkOrder = true;
}

void CStoreIndex::Rebuild(const std::vector<CDiscreteNode*>& nodesInWalkOrder, int32_t sense) {
  Clear();
  bool sortedByKey = true;
  for (std::size_t i = 1; i < nodesInWalkOrder.size(); ++i) {
    // Each key must not fall below the one before; a NaN fails this as well.
    if (!(sense * nodesInWalkOrder[i - 1]->m_dObjective <=
          sense * nodesInWalkOrder[i]->m_dObjective)) {
      sortedByKey = false;
    }
  }
  for (CDiscreteNode* node : nodesInWalkOrder) Add(node, sense);
  m_mirrorsWalkOrder = m_mirrorsWalkOrder && sortedByKey;
}

CDiscreteNode* CStoreIndex::StoredNodeAt(const CDiscreteNode* address) const {
  const auto found = m_entries.find(address);
  return found == m_entries.end() ? nullptr : found->second.node;
}

const CStoreIndex::CEntry& CStoreIndex::EntryOf(const CDiscreteNode* storedNode) const {
  const auto found = m_entries.find(storedNode);
  assert(found != m_entries.end());
  return found->second;
}

CStoreIndex::CWalkPosition CStoreIndex::WalkPositionOf(const CDiscreteNode* storedNode) const {
  return EntryOf(storedNode).position;
}

int CStoreIndex::WalkDirection(const CWalkPosition& position,
                               const CDiscreteNode* storedNode) const {
  const double storedKey = m_storeSense * storedNode->m_dObjective;
  if (position.key < storedKey) return -1;
  if (position.key > storedKey) return +1;
  return position.sequence < EntryOf(storedNode).position.sequence ? -1 : +1;
}

bool CStoreIndex::HoldsBounds(const std::valarray<double>& lower,
                              const std::valarray<double>& upper) const {
  if (lower.size() == 0 || upper.size() != lower.size()) return false;
  auto [first, last] = m_nodesByBounds.equal_range(HashBounds(lower, upper));
  return std::any_of(first, last, [&](const auto& item) {
    return SameArray(item.second->m_vaLower, lower) && SameArray(item.second->m_vaUpper, upper);
  });
}

CDiscreteNode* CStoreIndex::FirstOpenNode() const {
  return m_openNodes.empty() ? nullptr : m_openNodes.begin()->second;
}
