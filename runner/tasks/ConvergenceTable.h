#pragma once

// How a search converged: table `convergence` (docs/task-database.md), the
// incumbent's objective and the best open bound after each node, for the
// convergence plot that `discrete plot` draws after the fact. A search's
// rows are written once, when it ends (complete, at a limit or interrupted),
// in the caller's transaction: no write per subtask. A search that was
// killed, or that stopped at a failure, has none.
//
// Rows are plain SQL values; a value that is absent or not finite is NULL.
// The database must be open; writes run inside the caller's hold of the lock.

#include <vector>

// The search after one node (SearchObserver.h, CNodeSummary).
struct CConvergencePoint {
  int node = 0;                 // subtasks solved so far; 0 for the search task
  double seconds = 0.0;         // since the search began
  bool hasIncumbent = false;    // some discrete design has been found
  double incumbent = 0.0;       // its objective; valid with hasIncumbent
  bool hasOpenBound = false;    // some open node is left
  double openBound = 0.0;       // the best relaxation objective among them
  bool isNewIncumbent = false;  // this node's design became the incumbent
};

// Creates the table when the database has none yet; replaces the rows the
// search task had.
void WriteConvergence(int searchTaskId, const std::vector<CConvergencePoint>& points);

// The search task's rows by node; none when it has none.
std::vector<CConvergencePoint> ReadConvergence(int searchTaskId);
