#pragma once

// The report `discrete solve` (and `discrete resume`) prints when a search has
// ended, as text for a reader or as one JSON document (schema
// `discrete-report`, docs/json-output.md) for a program.
//
// The text: the result (which design, whether it is a feasible discrete
// design, why the search ended), the design as a table of variables with
// value, bounds, kind, units and description, the objective, each
// constraint's value against its bound, the best bound left among the open
// nodes and the gap to the design (OptimalityGap.h), and the effort:
// subtasks, analyses, gradient evaluations and the time in each timing
// accumulator. Both forms print the facts GatherReport (ReportContent.h)
// collects, read from the database.

#include <cstdio>
#include <string>

#include "commands/ReportContent.h"
#include "search/SearchObserver.h"

enum class EReportFormat { Text, Json };

void PrintTextReport(FILE* out, const CReportContent& report);
void PrintJsonReport(FILE* out, const CReportContent& report);

// Gathers the report of a search and prints it in the format asked for.
void PrintReport(FILE* out, const CSearchOutcome& outcome, const std::string& databasePath,
                 const std::string& logPath, EReportFormat format);
