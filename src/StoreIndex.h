#pragma once

// CStoreIndex: bookkeeping kept beside the node store of a search tree, so
// that the tree answers its questions about stored nodes without walking the
// store:
//
//  - identity: which stored node a caller names (the stored object itself, or
//    a stored node of the same node number), and where a stored node sits
//    among stored nodes of equal objective (its insertion sequence number:
//    the store keeps equal objectives in insertion order);
//  - bounds: whether some stored node has exactly given lower and upper bound
//    arrays (a hash multiset of the stored bound arrays);
//  - open nodes: the open node (m_bClosed false) that the store's in-order
//    walk meets first (an ordered index of the open nodes by sense times
//    objective, then insertion sequence: the order of the walk).
//
// The index refers to stored nodes and never owns them. It must see every
// change of the store: Add right after a node is inserted, Remove before it is
// detached. A stored node must not be edited in place (bounds, objective,
// closed flag, node number) without being re-stored, or the index goes stale.
//
// The ordered index mirrors the walk only while the store is sorted by its
// keys, which holds as long as every node was inserted under one sense of
// optimisation and no key is NaN: the store's comparison cannot order a NaN,
// and a sense changed while nodes are stored reverses the comparisons. Once
// either happens, MirrorsWalkOrder() is false until the store is empty again,
// and callers fall back to walking the store.
//
// Cost, n stored nodes and m design variables: Add and Remove O(log n + m),
// lookups O(m) expected (bounds) or O(1) expected (identity), FirstOpenNode
// O(1). Memory: a few hundred bytes per stored node.

#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>
#include <valarray>
#include <vector>

#include "DiscreteNode.h"

class CStoreIndex {
 public:
  // Where a stored node sits in the walk: key first, insertion sequence
  // among equal keys.
  struct CWalkPosition {
    double key;         // sense times objective at insertion
    uint64_t sequence;  // insertion sequence number, unique and rising
  };

  // Records a node just inserted into the store under the given sense.
  void Add(CDiscreteNode* node, int32_t sense);
  // Forgets a stored node that is about to leave the store.
  void Remove(const CDiscreteNode* node);
  // Forgets every node.
  void Clear();
  // Indexes anew a store whose walk gave nodesInWalkOrder, inserted under
  // sense; checks for itself whether that walk is sorted by key.
  void Rebuild(const std::vector<CDiscreteNode*>& nodesInWalkOrder, int32_t sense);

  // The stored node at this address, or null when the address holds none.
  CDiscreteNode* StoredNodeAt(const CDiscreteNode* address) const;
  // The earliest inserted stored node with this node number that `matches`
  // accepts, or null.
  template <typename Matches>
  CDiscreteNode* FindNumbered(int32_t nodeNumber, Matches matches) const;
  CWalkPosition WalkPositionOf(const CDiscreteNode* storedNode) const;
  // Negative when a node at `position` lies before storedNode in the walk,
  // positive when after. Meaningful while MirrorsWalkOrder().
  int WalkDirection(const CWalkPosition& position, const CDiscreteNode* storedNode) const;
  // The sense under which the stored nodes were inserted; 0 while empty.
  int32_t StoreSense() const { return m_storeSense; }

  // Whether a stored node has exactly these bounds (same length, every
  // element equal as a double). Empty arrays are never matched.
  bool HoldsBounds(const std::valarray<double>& lower, const std::valarray<double>& upper) const;

  // Whether the ordered index of open nodes follows the store's walk.
  bool MirrorsWalkOrder() const { return m_mirrorsWalkOrder; }
  // The first open node of the walk, or null when none is open. Meaningful
  // while MirrorsWalkOrder().
  CDiscreteNode* FirstOpenNode() const;

 private:
  struct CEntry {
    CDiscreteNode* node;     // the stored node
    CWalkPosition position;  // where it sits in the walk
    std::size_t boundsHash;  // hash of its bounds at insertion
    int32_t nodeNumber;      // its node number at insertion
    bool indexedAsOpen;      // listed among the open nodes
  };
  using OpenNodeKey = std::pair<double, uint64_t>;  // (key, sequence): never NaN

  const CEntry& EntryOf(const CDiscreteNode* storedNode) const;

  std::unordered_map<const CDiscreteNode*, CEntry> m_entries;  // one per stored node
  // Each list in insertion order
  std::unordered_map<int32_t, std::vector<CDiscreteNode*>> m_nodesByNumber;
  // Bounds hash -> stored nodes
  std::unordered_multimap<std::size_t, CDiscreteNode*> m_nodesByBounds;
  std::map<OpenNodeKey, CDiscreteNode*> m_openNodes;  // open nodes in walk order
  uint64_t m_nextSequence = 0;                        // sequence number of the next insertion
  int32_t m_storeSense = 0;  // sense of the first insertion into the empty store; 0 while empty
  bool m_mirrorsWalkOrder = true;  // the store is sorted by key (see above)
};

template <typename Matches>
CDiscreteNode* CStoreIndex::FindNumbered(int32_t nodeNumber, Matches matches) const {
  const auto numbered = m_nodesByNumber.find(nodeNumber);
  if (numbered == m_nodesByNumber.end()) return nullptr;
  for (CDiscreteNode* node : numbered->second) {
    if (matches(node)) return node;
  }
  return nullptr;
}
