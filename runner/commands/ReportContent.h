#pragma once

// What the report of a search says, gathered once from the outcome and the
// database, so that the text report and the JSON report (Report.h) print the
// same facts. Plain data; the printers own the wording.
//
// Everything about the problem and the design is read from the database, so
// the report shows what the search actually worked with; the variables'
// units and descriptions come from the problem text that table `searches`
// keeps (VariableNotes.h). The database must be open.

#include <optional>
#include <string>
#include <vector>

#include "analyses/AnalysisCounts.h"
#include "problem/Problem.h"
#include "search/OptimalityGap.h"
#include "search/SearchObserver.h"

struct CReportVariable {
  std::string name;
  double value = 0.0;  // in the result design
  double lower = 0.0;  // bounds the search used
  double upper = 0.0;
  EVariableKind kind = EVariableKind::Continuous;
  std::string setName;      // the set of a Set variable; empty otherwise
  std::string units;        // from the problem file; may be empty
  std::string description;  // from the problem file; may be empty
};

struct CReportConstraint {
  std::string name;
  double value = 0.0;  // its expression at the result design; NaN when not evaluated
  EConstraintKind kind = EConstraintKind::AtMost;
  double bound = 0.0;
  double scaled = 0.0;      // (value - bound) / scale, signed so that > 0 violates
  double violation = 0.0;   // scaled, or |scaled| for an equality; feasible when <= tolerance
  const char* status = "";  // "holds", "active" (within the tolerance of its bound), "violated"
};

// The result design (a feasible discrete design).
struct CReportDesign {
  double objective = 0.0;
  std::vector<CReportVariable> variables;
  std::vector<CReportConstraint> constraints;
  double maxConstraint = 0.0;  // largest scaled violation
};

// The best bound left and the gap to the design (OptimalityGap.h).
struct CReportBound {
  bool known = true;          // false for a search rebuilt from the database after a failure
  int openNodes = 0;          // nodes left open when the search ended
  bool hasOpenBound = false;  // some open node could still hold a better design
  double openBound = 0.0;     // with hasOpenBound
  std::optional<COptimalityGap> gap;  // with a design and a known bound
};

struct CReportContent {
  // The problem and where the search is kept
  std::string problemName;
  std::string problemDescription;
  std::string problemFile;
  std::string databasePath;
  std::string logPath;
  // How the search went
  CSearchOutcome outcome;
  // Every node was explored and every local search converged, so the
  // design is the best there is (within the module's node test)
  bool exact = false;
  // The objective
  std::string objectiveName;
  bool minimize = true;
  double target = kNoValue;  // published optimum; NaN for none
  double targetTolerance = 0.0;
  double tolerance = 0.0;  // constraint tolerance
  // The result, when it is a feasible discrete design
  std::optional<CReportDesign> design;
  // The search task's continuous problem (no discrete restriction)
  double relaxationObjective = 0.0;
  double relaxationMaxConstraint = 0.0;
  CReportBound bound;
  // Effort besides the outcome's counts and times
  long analyses = 0;
  long gradientEvaluations = 0;
  CAnalysisCounts analysisCounts;
  double databaseReadSeconds = 0.0;
  double databaseWriteSeconds = 0.0;
  double discreteSetupSeconds = 0.0;
};

CReportContent GatherReport(const CSearchOutcome& outcome, const std::string& databasePath,
                            const std::string& logPath);
