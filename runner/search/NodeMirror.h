#pragma once

// The program's own count of the search's open nodes, of the best bound
// among them and of its incumbent, kept from what the program sees: the
// parent of every subtask the module hands out, and the result of every node
// it posts. The module itself keeps the search tree private.
//
// A node counts as open from its post, when its design is feasible, not
// worse than the incumbent and off some allowed discrete value, until the
// module has handed out its second child. The count is exact as long as the
// module branches every open node twice; a node that the module closes for
// another reason (no variable left to branch on) stays counted until the
// search ends, which only makes the bound weaker, never wrong.
//
// The bound: a node's continuous objective bounds the objective of every
// discrete design in its subtree (a child only narrows the bounds of its
// parent's variables), so the best objective among the open nodes bounds
// every design the search has not yet seen. Between two posts every child
// handed out has been solved and posted, so no part of the tree escapes the
// open nodes. An open node that is worse than the incumbent can hold nothing
// better (the module prunes its children), so it bounds nothing: the bound is
// left out once the incumbent is at least as good as every open node, and it
// is never worse than the incumbent when both exist. Subtrees of nodes that
// did not converge are closed without a bound (SearchObserver.h).
//
// Cost: O(log n) per event, memory for the open nodes only.

#include <map>
#include <set>

#include "search/SearchObserver.h"

class CNodeMirror {
 public:
  CNodeMirror(bool minimize, double tolerance);

  // Classifies a solved node and updates the incumbent, by the module's rule:
  // not converged when none of its local searches did (the module closes it);
  // infeasible when the objective is NaN or not IsFeasible(maxConstraint, tolerance) (Design.h);
  // worse when an incumbent exists and the objective is strictly worse; the flag the module wrote
  // into the node's result decides between an acceptable discrete design and an open node. A
  // discrete design replaces the incumbent only when strictly better.
  ENodeOutcome NodeSolved(int taskId, bool converged, double objective, double maxConstraint,
                          bool discreteFeasible);
  // The module handed out a child of the node of `parentTask`.
  void ChildGenerated(int parentTask);

  int OpenNodes() const { return static_cast<int>(m_openNodes.size()); }
  bool HasIncumbent() const { return m_incumbentTask != 0; }
  double IncumbentObjective() const { return m_incumbentObjective; }  // valid with HasIncumbent()
  int IncumbentTask() const { return m_incumbentTask; }               // 0 without an incumbent
  // Some open node could still hold a design better than the incumbent (any
  // open node, without an incumbent).
  bool HasOpenBound() const;
  // The best objective among the open nodes; valid with HasOpenBound().
  double OpenBound() const;

 private:
  struct COpenNode {
    int childrenHandedOut = 0;                 // 0 or 1
    std::multiset<double>::iterator boundKey;  // its entry in m_boundKeys
  };
  bool IsBetter(double objective, double than) const {
    return m_minimize ? objective < than : objective > than;
  }
  // The objective as a key that sorts the best first; also turns a key back into the objective.
  double KeyOf(double objective) const { return m_minimize ? objective : -objective; }

  bool m_minimize;                       // sense of the objective
  double m_tolerance;                    // constraint tolerance
  std::map<int, COpenNode> m_openNodes;  // task of each open node -> its state
  std::multiset<double> m_boundKeys;     // KeyOf(objective) of every open node
  int m_incumbentTask = 0;               // task of the best discrete design; 0 for none
  double m_incumbentObjective = 0.0;     // its objective
};
