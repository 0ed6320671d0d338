#pragma once

// The program's own count of the search's open nodes and of its incumbent,
// kept from what the program sees: the parent of every subtask the module
// hands out, and the result of every node it posts. The module itself keeps
// the search tree private.
//
// A node counts as open from its post, when its design is feasible, not
// worse than the incumbent and off some allowed discrete value, until the
// module has handed out its second child. The count is exact as long as the
// module branches every open node twice; a node that the module closes for
// another reason (no variable left to branch on) stays counted until the
// search ends.
//
// Cost: O(log n) per event, memory for the open nodes only.

#include <map>

#include "search/SearchObserver.h"

class CNodeMirror {
 public:
  CNodeMirror(bool minimize, double tolerance);

  // Classifies a solved node and updates the incumbent, by the module's rule:
  // not converged when none of its local searches did (the module closes it);
  // infeasible when not IsFeasible(maxConstraint, tolerance) (Design.h); worse when an incumbent
  // exists and the objective is strictly worse; the flag the module wrote into the node's result
  // decides between an acceptable discrete design and an open node. A discrete design replaces the
  // incumbent only when strictly better.
  ENodeOutcome NodeSolved(int taskId, bool converged, double objective, double maxConstraint,
                          bool discreteFeasible);
  // The module handed out a child of the node of `parentTask`.
  void ChildGenerated(int parentTask);

  int OpenNodes() const { return static_cast<int>(m_childrenOfOpenNode.size()); }
  bool HasIncumbent() const { return m_incumbentTask != 0; }
  double IncumbentObjective() const { return m_incumbentObjective; }  // valid with HasIncumbent()
  int IncumbentTask() const { return m_incumbentTask; }               // 0 without an incumbent

 private:
  bool IsBetter(double objective, double than) const {
    return m_minimize ? objective < than : objective > than;
  }

  bool m_minimize;     // sense of the objective
  double m_tolerance;  // constraint tolerance
  // Task of each open node -> children handed out (0 or 1)
  std::map<int, int> m_childrenOfOpenNode;
  int m_incumbentTask = 0;            // task of the best discrete design; 0 for none
  double m_incumbentObjective = 0.0;  // its objective
};
