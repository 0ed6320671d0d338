#pragma once

// CAVLTree: an ordered container of owned items, kept as a height-balanced
// binary search tree (Adelson-Velsky & Landis 1962).
//
// What is stored: pointers to items of type CTreeData, one CTreeNode record per
// item. The container owns the items: destroying it deletes them (unless
// Destroy is given a callback that disposes of them instead); Detach hands an
// item back to the caller.
//
// Order: ascending by the comparison function given at construction,
// compare(a, b, tieBreak) < 0 meaning a sorts before b. Insertion compares
// with the tie-break off and places an item after every stored item whose key
// compares equal, so the walk returns equal keys in insertion order. Find and
// Detach compare with the tie-break on (the comparison's own secondary rule).
//
// Operations and cost, for n items:
//   TryInsert, Insert  O(log n)  Knuth, TAOCP vol. 3, 6.2.3, Algorithm A: the
//                                descent caches the direction taken in every
//                                node, so rebalancing needs no path stack.
//   Find, Detach       O(log n)  search with the tie-break on.
//   DetachItem         O(log n)  removes one given item (pointer identity),
//                                guided by the caller's idea of its position;
//                                O(n) when that guide misses the item.
//   ProcessInit/ProcessNext      in-order walk, O(1) amortised per item.
//   Destroy, ~CAVLTree O(n)
// Each item costs one tree node record, allocated on insertion and freed on
// removal; removal, walk and destruction use fixed stacks and never allocate.
//
// The walk: its state lives in the tree, so there is one walk at a time.
// Start every walk with ProcessInit. Reaching the end (ProcessNext returns
// null) resets the walk, so the next call starts again at the first item.
// Changing the tree during a walk leaves the walk stack stale: call
// ProcessInit before calling ProcessNext again.
//
//   tree.ProcessInit();
//   while (Item* item = tree.ProcessNext()) Use(item);
//
// Capacity: a height-balanced tree of fewer than 5,702,886 items is at most 31
// levels high; every stack below holds 32 entries (removal needs one more than
// the height, for the head record). Insertion asserts the limit.

#include <cassert>
#include <cstdint>

template <typename CTreeData>
struct CTreeNode {
  CTreeNode* m_pLink[2];  // children: [0] left (sorts before), [1] right; null when absent
  int32_t m_cBalance;     // right subtree height minus left, -1..1 between operations
  int32_t m_cCache;       // direction (0 left, 1 right) the last insertion descent took here
  CTreeData* m_pData;     // the item, owned by the tree while stored
};

template <typename CTreeData>
class CAVLTree {
 public:
  using CompareFunction = int (*)(const CTreeData*, const CTreeData*, bool);
  static constexpr int32_t kStackCapacity = 32;  // entries of each walk, path and destruction stack
  static constexpr int32_t kItemLimit = 5702886;  // the tree holds fewer items than this

  // Func must not be null.
  explicit CAVLTree(CompareFunction Func);
  // Deletes every item still stored.
  virtual ~CAVLTree();
  CAVLTree(const CAVLTree&) = delete;
  CAVLTree& operator=(const CAVLTree&) = delete;

  // Inserts the item after all stored items with an equal key; returns it.
  CTreeData* TryInsert(CTreeData* item);
  // TryInsert; returns the item when it was stored, null otherwise.
  CTreeData* Insert(CTreeData* item);
  // The first stored item on the search path that compares equal to key
  // (tie-break on), or null.
  CTreeData* Find(CTreeData* key);
  // Searches like Find and removes the item found; it belongs to the caller
  // from then on. Null when nothing compares equal.
  CTreeData* Detach(CTreeData* key);
  // Removes exactly `item`, which the caller knows to be stored, and hands it
  // back; null when it is not stored. locate(other) must return a negative
  // value when item lies before `other` in the walk, positive when after; it
  // steers a descent of O(log n). If the descent misses (the guide does not
  // match the tree's actual order), the whole tree is searched.
  template <typename Locate>
  CTreeData* DetachItem(const CTreeData* item, Locate locate);
  // Destroys the subtree hanging from the left link of `node` (null: the head
  // record, that is the whole tree). Each item goes to callback when one is
  // given, otherwise it is deleted. Leaves the head's link and the item count
  // as they were: it serves the destructor and callers that reset them.
  void Destroy(void (*callback)(CTreeData*), CTreeNode<CTreeData>* node);
  // Resets the walk: the next ProcessNext returns the first item.
  void ProcessInit();
  // The next item in ascending order, or null after the last one.
  CTreeData* ProcessNext();

  int32_t Size() const { return m_nNumNodes; }
  const CTreeNode<CTreeData>* Root() const { return m_Root.m_pLink[0]; }

 protected:
  // Replaces the contents by a copy of source's: the same shape and balance
  // factors, each item copied with copyItem(const CTreeData&) -> CTreeData*.
  // The walk is idle afterwards.
  template <typename CopyItem>
  void AssignCopyOf(const CAVLTree& source, CopyItem copyItem);

  CTreeNode<CTreeData> m_Root;           // head record: m_pLink[0] is the root, null when empty
  CompareFunction m_pfnCompare;          // item order; never null
  int32_t m_nNumNodes;                   // items stored, 0..kItemLimit-1
  bool m_bProcessing;                    // a walk has started and not yet ended
  int32_t m_nProcessDepth;               // entries on the walk stack, 0..kStackCapacity
  CTreeNode<CTreeData>* m_pProcessNode;  // tree node of the item the walk returned last
  CTreeNode<CTreeData>* m_pProcessStack[kStackCapacity];  // walk stack: ancestors still to visit

 private:
  // A path from the head record down to (not including) a node: entry 0 is
  // the head record with direction 0, each further entry a node passed and the
  // direction taken from it.
  struct CPath {
    CTreeNode<CTreeData>* node[kStackCapacity];  // head record, then the nodes passed
    int32_t direction[kStackCapacity];           // 0 left, 1 right
    int32_t count;                               // entries in use, >= 1

    explicit CPath(CTreeNode<CTreeData>* head) : count(1) {
      node[0] = head;
      direction[0] = 0;
    }
    void Push(CTreeNode<CTreeData>* passed, int32_t taken) {
      node[count] = passed;
      direction[count++] = taken;
    }
  };

  static CTreeNode<CTreeData>* NewLeaf(CTreeData* item);
  // Unlinks `found`, which the last entry of path links to, rebalances upward
  // along the path and returns the item.
  CTreeData* DetachAlongPath(CPath& path, CTreeNode<CTreeData>* found);
  // Depth-first search for the tree node holding item; extends path to it.
  static CTreeNode<CTreeData>* FindPathToItem(CTreeNode<CTreeData>* subtree, const CTreeData* item,
                                              CPath& path);
  template <typename CopyItem>
  static CTreeNode<CTreeData>* CopySubtree(const CTreeNode<CTreeData>* subtree, CopyItem& copyItem);
};

template <typename CTreeData>
CAVLTree<CTreeData>::CAVLTree(CompareFunction Func)
    : m_Root{{nullptr, nullptr}, 0, 0, nullptr},
      m_pfnCompare(Func),
      m_nNumNodes(0),
      m_bProcessing(false),
      m_nProcessDepth(0),
      m_pProcessNode(nullptr) {
  assert(Func);
}

template <typename CTreeData>
CAVLTree<CTreeData>::~CAVLTree() {
  Destroy(nullptr, nullptr);
}

template <typename CTreeData>
CTreeNode<CTreeData>* CAVLTree<CTreeData>::NewLeaf(CTreeData* item) {
  return new CTreeNode<CTreeData>{{nullptr, nullptr}, 0, 0, item};
}

template <typename CTreeData>
CTreeData* CAVLTree<CTreeData>::TryInsert(CTreeData* item) {
  assert(m_nNumNodes + 1 < kItemLimit);
  if (m_Root.m_pLink[0] == nullptr) {
    ++m_nNumNodes;
    assert(m_nNumNodes == 1);
    m_Root.m_pLink[0] = NewLeaf(item);
    return item;
  }
  // Rotation code keeps Knuth's terse names: s is the last node on the path
  // whose balance is not 0 (where rebalancing may be needed), t its parent,
  // p walks down, q is the next node, r the child of s on the path.
  CTreeNode<CTreeData>* t = &m_Root;
  CTreeNode<CTreeData>* s = m_Root.m_pLink[0];
  CTreeNode<CTreeData>* p = s;
  CTreeNode<CTreeData>* q;
  for (;;) {
    p->m_cCache = m_pfnCompare(item, p->m_pData, false) < 0 ? 0 : 1;
    q = p->m_pLink[p->m_cCache];
    if (q == nullptr) {
      q = NewLeaf(item);
      p->m_pLink[p->m_cCache] = q;
      break;
    }
    if (q->m_cBalance != 0) {
      t = p;
      s = q;
    }
    p = q;
  }
  ++m_nNumNodes;

  // Every node between s and the new leaf had balance 0; now each leans
  // toward the side the descent took.
  CTreeNode<CTreeData>* r = s->m_pLink[s->m_cCache];
  for (p = r; p != q; p = p->m_pLink[p->m_cCache]) p->m_cBalance = 2 * p->m_cCache - 1;

  const int32_t a = s->m_cCache == 0 ? -1 : +1;  // the side of s that grew
  if (s->m_cBalance == 0) {
    s->m_cBalance = a;
    return item;
  }
  if (s->m_cBalance == -a) {
    s->m_cBalance = 0;
    return item;
  }
  if (a == -1) {
    assert(s->m_cBalance == -1);
  } else {
    assert(s->m_cBalance == 1);
  }
  const int32_t heavy = s->m_cCache;  // link index of side a
  const int32_t light = 1 - heavy;
  if (r->m_cBalance == a) {  // single rotation
    p = r;
    s->m_pLink[heavy] = r->m_pLink[light];
    r->m_pLink[light] = s;
    s->m_cBalance = 0;
    r->m_cBalance = 0;
  } else {  // double rotation through r's child on the light side
    if (a == -1) {
      assert(r->m_cBalance == 1);
    } else {
      assert(r->m_cBalance == -1);
    }
    p = r->m_pLink[light];
    r->m_pLink[light] = p->m_pLink[heavy];
    p->m_pLink[heavy] = r;
    s->m_pLink[heavy] = p->m_pLink[light];
    p->m_pLink[light] = s;
    if (p->m_cBalance == a) {
      s->m_cBalance = -a;
      r->m_cBalance = 0;
    } else if (p->m_cBalance == 0) {
      s->m_cBalance = 0;
      r->m_cBalance = 0;
    } else {
      if (a == -1) {
        assert(p->m_cBalance == 1);
      } else {
        assert(p->m_cBalance == -1);
      }
      s->m_cBalance = 0;
      r->m_cBalance = a;
    }
    p->m_cBalance = 0;
  }
  if (t != &m_Root && s == t->m_pLink[1]) {
    t->m_pLink[1] = p;
  } else {
    t->m_pLink[0] = p;
  }
  return item;
}

template <typename CTreeData>
CTreeData* CAVLTree<CTreeData>::Insert(CTreeData* item) {
  return TryInsert(item) == item ? item : nullptr;
}

template <typename CTreeData>
CTreeData* CAVLTree<CTreeData>::Find(CTreeData* key) {
  for (CTreeNode<CTreeData>* node = m_Root.m_pLink[0]; node != nullptr;) {
    const int order = m_pfnCompare(key, node->m_pData, true);
    if (order == 0) return node->m_pData;
    node = node->m_pLink[order > 0 ? 1 : 0];
  }
  return nullptr;
}

template <typename CTreeData>
CTreeData* CAVLTree<CTreeData>::Detach(CTreeData* key) {
  CTreeNode<CTreeData>* node = m_Root.m_pLink[0];
  if (node == nullptr) return nullptr;
  CPath path(&m_Root);
  for (;;) {
    const int order = m_pfnCompare(key, node->m_pData, true);
    if (order == 0) return DetachAlongPath(path, node);
    const int32_t direction = order > 0 ? 1 : 0;
    if (node->m_pLink[direction] == nullptr) return nullptr;
    path.Push(node, direction);
    node = node->m_pLink[direction];
  }
}

template <typename CTreeData>
template <typename Locate>
CTreeData* CAVLTree<CTreeData>::DetachItem(const CTreeData* item, Locate locate) {
  CPath path(&m_Root);
  CTreeNode<CTreeData>* node = m_Root.m_pLink[0];
  while (node != nullptr && node->m_pData != item) {
    const int32_t direction = locate(node->m_pData) > 0 ? 1 : 0;
    path.Push(node, direction);
    node = node->m_pLink[direction];
  }
  if (node == nullptr) {
    path.count = 1;
    node = FindPathToItem(m_Root.m_pLink[0], item, path);
    if (node == nullptr) return nullptr;
  }
  return DetachAlongPath(path, node);
}

template <typename CTreeData>
CTreeNode<CTreeData>* CAVLTree<CTreeData>::FindPathToItem(CTreeNode<CTreeData>* subtree,
                                                          const CTreeData* item, CPath& path) {
  if (subtree == nullptr) return nullptr;
  if (subtree->m_pData == item) return subtree;
  for (int32_t direction = 0; direction < 2; ++direction) {
    path.Push(subtree, direction);
    if (CTreeNode<CTreeData>* found = FindPathToItem(subtree->m_pLink[direction], item, path)) {
      return found;
    }
    --path.count;
  }
  return nullptr;
}

template <typename CTreeData>
CTreeData* CAVLTree<CTreeData>::DetachAlongPath(CPath& path, CTreeNode<CTreeData>* found) {
  // Rotation code keeps the classic terse names: pa and a are the path's
  // nodes and directions, k its entry count; s, r, p the nodes rotated.
  CTreeNode<CTreeData>** pa = path.node;
  int32_t* a = path.direction;
  int32_t& k = path.count;

  --m_nNumNodes;
  CTreeData* item = found->m_pData;
  CTreeNode<CTreeData>** q = &pa[k - 1]->m_pLink[a[k - 1]];  // the link that points to found
  CTreeNode<CTreeData>* r = found->m_pLink[1];
  if (r == nullptr) {
    *q = found->m_pLink[0];
    if (*q != nullptr) (*q)->m_cBalance = 0;
  } else if (r->m_pLink[0] == nullptr) {
    r->m_pLink[0] = found->m_pLink[0];
    r->m_cBalance = found->m_cBalance;
    *q = r;
    pa[k] = r;
    a[k++] = 1;
  } else {
    // The in-order successor s takes found's place; its path entry is
    // reserved at j, above the nodes passed on the way down to it.
    const int32_t j = k++;
    CTreeNode<CTreeData>* s;
    for (;;) {
      pa[k] = r;
      a[k++] = 0;
      s = r->m_pLink[0];
      if (s->m_pLink[0] == nullptr) break;
      r = s;
    }
    pa[j] = s;
    a[j] = 1;
    s->m_pLink[0] = found->m_pLink[0];
    r->m_pLink[0] = s->m_pLink[1];
    s->m_pLink[1] = found->m_pLink[1];
    s->m_cBalance = found->m_cBalance;
    *q = s;
  }
  delete found;

  assert(k > 0);
  while (--k > 0) {
    CTreeNode<CTreeData>* s = pa[k];
    if (a[k] != 0) assert(a[k] == 1);
    const int32_t lower = a[k];  // side whose subtree became lower
    const int32_t higher = 1 - lower;
    const int32_t lean = lower == 0 ? +1 : -1;  // balance of s leaning to the higher side
    if (s->m_cBalance == -lean) {
      s->m_cBalance = 0;
      continue;
    }
    if (s->m_cBalance == 0) {
      s->m_cBalance = lean;
      break;
    }
    if (lower == 0) {
      assert(s->m_cBalance == +1);
    } else {
      assert(s->m_cBalance == -1);
    }
    r = s->m_pLink[higher];
    assert(r != 0);
    if (r->m_cBalance == 0 || r->m_cBalance == lean) {  // single rotation
      s->m_pLink[higher] = r->m_pLink[lower];
      r->m_pLink[lower] = s;
      pa[k - 1]->m_pLink[a[k - 1]] = r;
      if (r->m_cBalance == 0) {  // the subtree keeps its height: done
        r->m_cBalance = -lean;
        break;
      }
      s->m_cBalance = 0;
      r->m_cBalance = 0;
    } else {  // double rotation through r's child on the lower side
      if (lower == 0) {
        assert(r->m_cBalance == -1);
      } else {
        assert(r->m_cBalance == 1);
      }
      CTreeNode<CTreeData>* p = r->m_pLink[lower];
      r->m_pLink[lower] = p->m_pLink[higher];
      p->m_pLink[higher] = r;
      s->m_pLink[higher] = p->m_pLink[lower];
      p->m_pLink[lower] = s;
      if (p->m_cBalance == lean) {
        s->m_cBalance = -lean;
        r->m_cBalance = 0;
      } else if (p->m_cBalance == 0) {
        s->m_cBalance = 0;
        r->m_cBalance = 0;
      } else {
        if (lower == 0) {
          assert(p->m_cBalance == -1);
        } else {
          assert(p->m_cBalance == 1);
        }
        s->m_cBalance = 0;
        r->m_cBalance = lean;
      }
      p->m_cBalance = 0;
      pa[k - 1]->m_pLink[a[k - 1]] = p;
    }
  }
  return item;
}

template <typename CTreeData>
void CAVLTree<CTreeData>::Destroy(void (*callback)(CTreeData*), CTreeNode<CTreeData>* node) {
  // Post-order: a node is disposed of once its right subtree is done.
  CTreeNode<CTreeData>* stack[kStackCapacity];
  bool rightSubtreeEntered[kStackCapacity];
  int32_t depth = 0;
  CTreeNode<CTreeData>* current = (node != nullptr ? node : &m_Root)->m_pLink[0];
  for (;;) {
    for (; current != nullptr; current = current->m_pLink[0]) {
      stack[depth] = current;
      rightSubtreeEntered[depth++] = false;
    }
    if (depth == 0) return;
    CTreeNode<CTreeData>* top = stack[depth - 1];
    if (!rightSubtreeEntered[depth - 1]) {
      rightSubtreeEntered[depth - 1] = true;
      current = top->m_pLink[1];
      continue;
    }
    --depth;
    if (callback != nullptr) {
      callback(top->m_pData);
    } else {
      delete top->m_pData;
      top->m_pData = nullptr;
    }
    delete top;
  }
}

template <typename CTreeData>
void CAVLTree<CTreeData>::ProcessInit() {
  m_bProcessing = false;
}

template <typename CTreeData>
CTreeData* CAVLTree<CTreeData>::ProcessNext() {
  if (!m_bProcessing) {
    m_bProcessing = true;
    m_nProcessDepth = 0;
    m_pProcessNode = m_Root.m_pLink[0];
  } else {
    m_pProcessNode = m_pProcessNode->m_pLink[1];
  }
  for (; m_pProcessNode != nullptr; m_pProcessNode = m_pProcessNode->m_pLink[0]) {
    m_pProcessStack[m_nProcessDepth++] = m_pProcessNode;
  }
  if (m_nProcessDepth == 0) {
    m_bProcessing = false;
    return nullptr;
  }
  m_pProcessNode = m_pProcessStack[--m_nProcessDepth];
  return m_pProcessNode->m_pData;
}

template <typename CTreeData>
template <typename CopyItem>
void CAVLTree<CTreeData>::AssignCopyOf(const CAVLTree& source, CopyItem copyItem) {
  Destroy(nullptr, nullptr);
  m_Root.m_pLink[0] = CopySubtree(source.m_Root.m_pLink[0], copyItem);
  m_pfnCompare = source.m_pfnCompare;
  m_nNumNodes = source.m_nNumNodes;
  m_bProcessing = false;
}

template <typename CTreeData>
template <typename CopyItem>
CTreeNode<CTreeData>* CAVLTree<CTreeData>::CopySubtree(const CTreeNode<CTreeData>* subtree,
                                                       CopyItem& copyItem) {
  if (subtree == nullptr) return nullptr;
  return new CTreeNode<CTreeData>{
      {CopySubtree(subtree->m_pLink[0], copyItem), CopySubtree(subtree->m_pLink[1], copyItem)},
      subtree->m_cBalance,
      subtree->m_cCache,
      copyItem(*subtree->m_pData)};
}
