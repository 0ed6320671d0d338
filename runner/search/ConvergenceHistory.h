#pragma once

// Watches a search (SearchObserver.h) and keeps how it converged: the
// incumbent's objective and the best open bound after each node, for the
// convergence plot and table `convergence` (tasks/ConvergenceTable.h).
//
// Only the nodes where something the plot shows changed are kept (the
// incumbent or the open bound, or a new incumbent found), and the last node:
// a step plot through the kept points is the one through every node, and a
// long search whose incumbent rarely changes keeps few rows.

#include <string>
#include <vector>

#include "search/SearchObserver.h"
#include "tasks/ConvergenceTable.h"

class CConvergenceHistory : public CSearchObserver {
 public:
  void OnNode(const CNodeSummary& summary) override;
  void OnEnd(const CSearchOutcome& outcome) override;

  // The kept points, by node, the last node included.
  std::vector<CConvergencePoint> Points() const;
  // How the search ended, in words (Describe(ESearchEnd)); "" before its end.
  const std::string& End() const { return m_end; }

 private:
  std::vector<CConvergencePoint> m_kept;  // the points where something changed
  CConvergencePoint m_last;               // the latest node's point
  bool m_hasLast = false;                 // some node has been seen
  std::string m_end;                      // how the search ended
};
