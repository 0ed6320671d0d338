#pragma once

// The search tree as an SVG picture that stays readable for thousands of
// nodes: one coloured dot per node (by its fate: branched, to branch,
// discrete feasible, the incumbent, infeasible, worse than the incumbent, not
// converged, not solved) with a legend, the edges, and a tooltip per node
// (task, the bound its branching moved, objective, fate). Three options make
// a large tree small, each drawing what it leaves out as one triangle marker
// with the number of nodes it stands for:
//
//   incumbent path  keep the path from the root to the incumbent and the
//                   siblings along it; each sibling's subtree is a marker
//   max depth       nodes deeper than this are cut; a marker under their
//                   ancestor at that depth counts them
//   collapse        a subtree of two or more nodes with no open, unsolved or
//                   discrete feasible node in it (everything there was closed
//                   as infeasible, worse than the incumbent or not
//                   converged) becomes one marker
//
// Every node of the tree is drawn, or counted by exactly one marker.

#include <cstdio>
#include <optional>
#include <string>

#include "commands/ExitCodes.h"
#include "commands/SearchTreeView.h"

struct CTreePictureOptions {
  bool incumbentPath = false;   // keep the path to the incumbent, its siblings
  std::optional<int> maxDepth;  // cut below this depth (0: the root alone)
  bool collapse = false;        // collapse closed subtrees
  bool Any() const { return incumbentPath || maxDepth || collapse; }
};

// `end` says how the search ended (table `searches`); "" when unknown.
std::string TreePictureSvg(const CSearchTree& tree, int searchTaskId, const std::string& end,
                           const CTreePictureOptions& options);

// Reads the tree of search `searchTaskId` (default: the last search task)
// from the open database and prints its picture. Throws CTaskDataError
// (TaskProblem.h) when there is no such search.
EExitCode PrintTreePicture(FILE* out, const std::string& databasePath,
                           std::optional<int> searchTaskId, const CTreePictureOptions& options);
