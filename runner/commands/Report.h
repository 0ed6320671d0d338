#pragma once

// The report `discrete solve` prints when a search has ended: the result
// (which design, whether it is a feasible discrete design, why the search
// ended), the design as a table of variables with value, bounds and kind,
// the objective, each constraint's value against its bound, and the effort:
// subtasks, analyses, gradient evaluations and the time in each timing
// accumulator.
//
// Everything printed about the problem and the design is read from the
// database, so the report shows what the search actually worked with.

#include <cstdio>
#include <string>

#include "search/SearchObserver.h"

void PrintReport(FILE* out, const CSearchOutcome& outcome, const std::string& databasePath);
