#pragma once

// CDiscreteNode: one node of the branch-and-bound search, that is one
// continuous subproblem of the task: the bounds of every design variable for
// this subproblem, the design the continuous optimiser found inside them (its
// values, objective and maximum constraint value), the node's status in the
// search and the numbers that tie it to its parent, its children and the
// subtasks that evaluate it.
//
// A node is a plain value. Copies are made with Copy, a deep copy that keeps
// the node number, so several objects may carry one number (a stored node, the
// node being evaluated, the incumbent). The node knows nothing of the search
// tree or of any database.
//
// Invariant: m_vaValues, m_vaLower and m_vaUpper have one length, the number
// of design variables (all of them, not only the discrete ones), and are
// indexed by design-variable number. Copy asserts it of its source.
//
// Node numbers come from the process-wide counter m_nNODE, handed out once
// each by the numbering constructor and by branching; they keep rising across
// searches in one process.

#include <cstdint>
#include <valarray>

#include "DiscreteExport.h"

class CDiscreteNode {
 public:
  // Every field at its default; node number and parent -1. Takes no number.
  DISCRETE_EXPORT CDiscreteNode();
  // A new numbered node: takes the next node number; parentNodeId (-1 for a
  // root) becomes m_nParentID. Every other field at its default.
  DISCRETE_EXPORT explicit CDiscreteNode(int parentNodeId);

  // Makes this node an independent copy of source, node number included;
  // this node's arrays take the source's length. Copying a node onto itself
  // changes nothing.
  DISCRETE_EXPORT void Copy(const CDiscreteNode& source);

  // Hands out the next node number. Asserts that the counter has numbers left.
  static int32_t TakeNodeNumber();

  int32_t m_nNodeID = -1;        // node number, >= 0 once numbered; -1 for an unnumbered node
  int32_t m_nParentID = -1;      // parent's node number; -1 for a root
  int32_t m_nUpChildID = -1;     // first child (raised lower bound); -1 while there is none
  int32_t m_nDownChildID = -1;   // second child (lowered upper bound); -1 while there is none
  bool m_bFeasible = false;      // an acceptable discrete design (set by the node test)
  bool m_bClosed = false;        // no further child is to be made from this node
  int32_t m_nTaskID = -1;        // id of the subtask that evaluates this node; -1 while none
  int32_t m_nParentTaskID = -1;  // id of the parent's subtask, set by branching; -1 for a root
  int32_t m_nBranchPos = -1;  // position in the tree's discrete-variable list branched to make this
                              // node; -1 for a root
  double m_dObjective = 0.0;  // objective of the node's continuous solution
  double m_dMaxCon = 0.0;     // maximum constraint value of that solution
  std::valarray<double> m_vaValues;  // design-variable values of that solution
  std::valarray<double> m_vaLower;   // lower bound of each design variable in this subproblem
  std::valarray<double> m_vaUpper;   // upper bound of each design variable in this subproblem

  static int32_t m_nNODE;  // next node number to hand out; 0 at load, never reset
};
