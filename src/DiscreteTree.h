#pragma once

// CDiscreteTree: the state of one best-first branch-and-bound search over the
// discrete design variables of a task, in memory only:
//
//  - the store of every node made so far (the base class, a CAVLTree ordered
//    by CompareNodes: best objective first, equal objectives in the order they
//    were added). The store is the search's open list;
//  - the incumbent m_BestNode, a copy of the best acceptable discrete design
//    found so far;
//  - what the search knows of the problem: which design variables are
//    discrete, which of them are integer-valued and which take their values
//    from a set, the sets, the constraint tolerance and the sense.
//
// References:
//  1. Land & Doig (1960): branch and bound, nodes kept in order of their bound.
//  2. Dakin (1965): branching by splitting one variable's range in two.
//  3. Gupta & Ravindran (1985): branch and bound over nonlinear continuous
//     subproblems, each solved by a continuous optimiser.
//
// One search, as the caller drives it:
//
//   CDiscreteTree tree(indices, setRefs, sets, tolerance, sense);
//   CDiscreteNode root(-1);             // bounds, values, objective, constraint
//   tree.CheckNode(root);                // of the continuous optimum
//   tree.AddNode(root);
//   CDiscreteNode child;
//   while (tree.CreateNode(child)) {     // branch the best open node
//     Solve(child);                      // objective, m_dMaxCon, values
//     tree.CheckNode(child);             // prune, keep open, or accept
//     tree.AddNode(child);
//   }
//   // tree.m_BestNode: the incumbent (m_nNodeID -1 when none was found)
//
// Ownership: the store owns its nodes, each a heap copy made by AddNode and
// deleted by DeleteNode, UpdateNode or the destructor; callers keep their own
// node objects. Change the store only through AddNode, DeleteNode, UpdateNode
// and CreateNode (the base class's inserting and detaching operations are
// hidden): they keep an index of the stored nodes in step with the store
// (StoreIndex.h). A stored node reached through Find or the walk may be read,
// not edited in place.
//
// Naming a node: FindNode, DeleteNode and UpdateNode act on the stored node
// that the argument names: the argument itself when it is a stored node;
// otherwise the earliest added stored node that carries the argument's node
// number and compares equal to it (CompareNodes with the tie-break). Nodes of
// other numbers are never touched, however close their objectives and values.
//
// Cost, n stored nodes and m design variables: AddNode, DeleteNode,
// UpdateNode O(log n + m); CheckNode O(m times the set sizes); CreateNode
// O(log n + m) per position tried. A store that holds a node whose objective
// is NaN, or whose nodes were added under different senses, has no sorted
// order; CreateNode then walks the store, and a removal may search all of
// it, O(n).
//
// Not thread-safe; the sense m_nMinMax is process-wide.

#include <cstdint>
#include <memory>
#include <valarray>
#include <vector>

#include "AVLtree.h"
#include "DiscreteExport.h"
#include "DiscreteNode.h"

class CStoreIndex;

class CDiscreteTree : public CAVLTree<CDiscreteNode> {
 public:
  // An empty tree: no store, sets, indices, set references or incumbent;
  // tolerance 0.0. Leaves m_nMinMax as it is.
  DISCRETE_EXPORT CDiscreteTree();
  // A tree for one search. Arguments: the design-variable numbers of the
  // discrete variables (at least one: asserted); the set reference of every
  // design variable (see m_vaSetRefs); the values of each set; the constraint
  // tolerance; the sense (1 minimise, -1 maximise), which becomes m_nMinMax
  // for every tree of the process. The arguments are copied.
  DISCRETE_EXPORT CDiscreteTree(std::valarray<int>& discreteIndices, std::valarray<int>& setRefs,
                                std::vector<std::vector<double>>& sets, double conTol, int sense);
  // Releases the members, then the base class deletes every stored node.
  DISCRETE_EXPORT ~CDiscreteTree() override;
  // Makes this tree a copy of source: its own nodes are deleted first, and
  // the store receives copies of source's nodes in source's order. The walk
  // is idle afterwards.
  DISCRETE_EXPORT CDiscreteTree& operator=(const CDiscreteTree& source);
  CDiscreteTree(const CDiscreteTree&) = delete;

  // Store order: -1 when a sorts before b (smaller sense times objective), 0
  // when the objectives are equal and tieBreak is false, CompareDVARs(a, b)
  // when they are equal and tieBreak is true, +1 otherwise (a NaN included).
  DISCRETE_EXPORT static int CompareNodes(const CDiscreteNode* a, const CDiscreteNode* b,
                                          bool tieBreak);
  // Sum of squares of a's values minus that of b's (over a's length; values
  // b lacks count as 0), truncated toward zero to 32 bits (TruncateToInt32:
  // INT32_MIN when out of range or NaN). Nodes within 1 of each other tie.
  DISCRETE_EXPORT static int CompareDVARs(const CDiscreteNode* a, const CDiscreteNode* b);
  // Does nothing; a disposal callback that keeps the items.
  DISCRETE_EXPORT void Callback(CDiscreteNode* node);

  // The node test, applied to an evaluated node (objective, m_dMaxCon and
  // values set). Leaves the node in one of three states:
  //   feasible false, closed true:  pruned: constraint above the tolerance, an
  //                                 objective or constraint that is NaN, or an
  //                                 objective worse than the incumbent's;
  //   feasible false, closed false: some discrete variable is off its allowed
  //                                 values: to be branched;
  //   feasible true,  closed true:  an acceptable discrete design; it becomes
  //                                 the incumbent when there is none or it is
  //                                 strictly better (a tie keeps the old one).
  // Allowed values: integer variables within 1e-12 of their value truncated
  // toward zero; set variables within 1e-12 of a value of their set (an empty
  // set allows nothing). Variables whose set reference names no set are not
  // tested.
  DISCRETE_EXPORT void CheckNode(CDiscreteNode& node);
  // Stores a copy of node; true when the store took it (always).
  DISCRETE_EXPORT bool AddNode(CDiscreteNode& node);
  // Whether the store holds the node that `node` names (see above).
  DISCRETE_EXPORT bool FindNode(const CDiscreteNode& node);
  // Removes and deletes the stored node that `node` names; false when none.
  DISCRETE_EXPORT bool DeleteNode(CDiscreteNode& node);
  // Replaces the stored node that `node` names by a copy of node's current
  // contents, stored behind the nodes of equal objective. `node` may be the
  // stored node itself. False, and nothing stored, when it names none.
  DISCRETE_EXPORT bool UpdateNode(CDiscreteNode& node);

  // Branching.
  // Makes the next subproblem into child: takes the first open node of the
  // walk (best objective first) as parent, scans the discrete variables
  // cyclically from the one after the parent's branch position, skipping
  // those at a bound (within 2^-52) and those whose child would be refused or
  // would repeat a stored node's bounds, and makes the parent's up child, or
  // its down child when the up child exists. Numbers the child, records it in
  // the parent (closing the parent after its second child) and re-stores the
  // parent. False when there is no open node, the first open node yields no
  // child, or re-storing fails; then child may hold a partly bounded copy of
  // the parent's arrays. Writes only child's node, parent, parent-task and
  // branch-position numbers and its three arrays.
  DISCRETE_EXPORT bool CreateNode(CDiscreteNode& child);
  // Child's arrays := copies of parent's, with one bound of the variable at
  // `position` of m_vIndices moved (Dakin 1965). Up child (parent
  // without one): lower bound := the next integer above the value (integers:
  // trunc + 1 for values >= 0, trunc below 0), or the first set value >= it
  // scanning from the set's start; capped at the upper bound. Down child:
  // upper bound := trunc (values >= 0) or trunc - 1, or the last set value <=
  // the value scanning from the end; raised to at least the lower bound. A
  // set without such a value moves the bound all the way to the other bound.
  // The child's value is then moved into its bounds. False when the parent
  // has both children, the value is NaN, the position or variable is out of
  // range, or the variable's set reference names no set.
  DISCRETE_EXPORT bool BoundVariable(int position, CDiscreteNode& parent, CDiscreteNode& child);
  // Whether a stored node has exactly node's lower and upper bounds (same
  // length; every element equal as a double). Never for empty arrays.
  DISCRETE_EXPORT bool IsDuplicateNode(CDiscreteNode& node);

  double m_dConTol;  // constraint tolerance: m_dMaxCon above it is infeasible
  // Values of each set, in the caller's order (ascending expected)
  std::vector<std::vector<double>> m_vSets;
  int32_t m_nNumDiscrete;    // number of discrete design variables; >= 1 in a search tree, 0 in an
                             // empty one
  CDiscreteNode m_BestNode;  // the incumbent; m_nNodeID -1 (negative) while there is none
  // Design-variable number of each discrete variable, m_nNumDiscrete entries
  std::vector<int32_t> m_vIndices;
  // Per design variable: -1 integer, k >= 1 set m_vSets[k-1], other: unrestricted
  std::valarray<int32_t> m_vaSetRefs;

  // Sense: 1 minimise, -1 maximise; objectives compare as m_nMinMax * objective
  static int32_t m_nMinMax;

 private:
  using CAVLTree<CDiscreteNode>::TryInsert;
  using CAVLTree<CDiscreteNode>::Insert;
  using CAVLTree<CDiscreteNode>::Detach;
  using CAVLTree<CDiscreteNode>::DetachItem;
  using CAVLTree<CDiscreteNode>::Destroy;

  static constexpr int32_t kIntegerVariable = -1;  // set reference of an integer-valued variable

  bool HasIncumbent() const;
  // Whether value is allowed for the design variable (see CheckNode).
  bool IsAllowedValue(int32_t variable, double value) const;
  bool HasAllowedDiscreteValues(const CDiscreteNode& node) const;
  int32_t SetReferenceOf(int32_t variable) const;
  // The set that setRef names, or null when it names none.
  const std::vector<double>* SetNamedBy(int32_t setRef) const;

  // The stored node that `name` names, or null.
  CDiscreteNode* StoredNodeNamedBy(const CDiscreteNode& name) const;
  bool StoreNode(std::unique_ptr<CDiscreteNode> node);
  void RemoveStoredNode(CDiscreteNode* storedNode);
  void RebuildStoreIndex(int32_t sense);

  // Branching steps.
  CDiscreteNode* FirstOpenNode();
  bool ChooseBranchPosition(CDiscreteNode& parent, CDiscreteNode& child);
  // Design-variable number at a position of m_vIndices; -1 when out of range.
  int32_t DiscreteVariableAt(int32_t position) const;

  // Identity, bounds and open-node index of the store; never null
  std::unique_ptr<CStoreIndex> m_pStoreIndex;
};
