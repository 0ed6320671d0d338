#pragma once

// The search tree of a search task, read back from the database: the search
// task is the root, each task's CTask m_vChildTaskIDs are its children in the
// order the module made them. Each node shows its task, the bound its
// branching moved (the variable whose bound differs from its parent's, as
// "x3 >= 4" or "x3 <= 3"), its result and its classification; the design the
// search's result names is marked as the incumbent (SearchState.h: for a
// search that did not finish, the best feasible discrete design it
// committed), and a search that did not finish says so below its tree.
//
// Text: one node per line, indented by depth:
//
//   task 1  root  objective 5885.332  max con -1.1e-09  to branch
//   +-- task 2  Ts >= 0.8125  objective 5912.68  max con 2e-10  to branch
//   |   +-- task 4  ...
//   |   `-- task 5  ...
//   `-- task 3  Ts <= 0.75  ...  infeasible
//
// Dot: a Graphviz digraph, edges labelled with the bound, the incumbent
// filled. JSON: one document `discrete-tree` for all the trees asked for
// (docs/json-output.md). Cost: one read of CTask, CDVar and CResult per node.

#include <cstdio>
#include <vector>

enum class ETreeFormat { Text, Dot, Json };

// The search tasks of the open database (CTask m_nTaskKind ETaskKind::Search), in id order.
std::vector<int> SearchTasks();

// Throws CTaskDataError (TaskProblem.h) when the task is not in the database.
void PrintSearchTree(FILE* out, int searchTaskId, ETreeFormat format);

// The trees of the search tasks as one JSON document; throws as PrintSearchTree.
void PrintSearchTreesJson(FILE* out, const std::vector<int>& searchTaskIds);
