#pragma once

// The convergence plot of a search, as an SVG document: the incumbent's
// objective (the best discrete design so far) and the best open bound (no
// design in the open nodes' subtrees can be better) as step lines, a mark
// at every node that found a new incumbent, in two panels: against the
// subtasks solved (top) and against the elapsed time (bottom). Axes carry
// ticks at nice numbers (NiceScale.h), the objective's on a logarithmic
// scale when every value is positive and they span three decades; the
// title names the problem, the search task and how the search ended.
//
// Values that are absent or not finite are left out (a line has a gap
// there), values beyond 1e300 in magnitude are drawn at 1e300: the document
// never holds NaN or inf.

#include <string>
#include <vector>

#include "tasks/ConvergenceTable.h"

struct CConvergencePlotTitle {
  std::string problemName;  // the search task's problem
  int searchTaskId = 0;     // the search task
  std::string end;          // how the search ended, in words; "" when unknown
};

// `points` by node (ConvergenceHistory.h); none gives a plot that says so.
std::string ConvergencePlotSvg(const std::vector<CConvergencePoint>& points,
                               const CConvergencePlotTitle& title);

// Writes the document to the file, replacing it; throws std::runtime_error
// naming the file when it cannot.
void WriteSvgFile(const std::string& path, const std::string& document);
