#pragma once

// What a search task's records hold about its search, however the search
// ended: whether it finished, and the design that stands as its result.
//
// A search finished when the search task and every subtask in its tree have
// been solved (TaskResult.h, IsSolved): each step of the search (solve a
// subtask, post it, make the next) is committed as one transaction, so a
// search that was interrupted (Ctrl-C, kill, a failed commit, a lock it did
// not get) always leaves a subtask that was made but not solved, or an
// unsolved search task; one that ran to its end or stopped at a limit leaves
// none.
//
// Every node's fate is found by replaying the search: the solved tasks of
// the tree, in the order they were posted (ascending task id: the module
// makes each subtask only after the previous one was posted), go through
// the same classification the running search used (NodeMirror.h).
//
// The result of a finished search is the module's: the search task's CResult
// m_nResultTask and m_nDiscreteFeasible. During a search the module keeps
// there the last posted subtask, so for an unfinished one the result is the
// replay's incumbent: the best node that the module's rule accepted as a
// discrete design. Cost: one read of CTask and CResult per node.

#include <map>

#include "search/SearchObserver.h"

struct CSearchState {
  bool searchTaskSolved = false;  // the search task's continuous problem has been solved
  bool finished = false;          // no task of the tree is left unsolved
  int solvedSubtasks = 0;         // subtasks of the tree that have been solved
  int resultTask = 0;             // task whose design stands as the result; 0 for none
  bool discreteFeasible = false;  // that design is a feasible discrete design
  // The fate of every task of the tree, the search task included
  std::map<int, ENodeOutcome> outcomes;
};

// Throws CTaskDataError (TaskProblem.h) when a task of the tree is missing.
CSearchState ReadSearchState(int searchTaskId);
