#pragma once

// A host for the module's tests: it writes a search task of the closed-form
// test problem into the task database, and plays the continuous optimiser on
// every subtask, from the subtask's own records.

#include "ClosedFormProblem.h"
#include "PersistentValues.h"

class CLogFile;
class POD;

// The test problem as a search task.
struct CSearchProblem : CClosedFormProblem {
  int nModuleType = 0;   // 0 or 1 (1: subtasks start from all search points)
  int nExtraPoints = 0;  // points 1.. of the search task beside its best (point 0)
};

// Minimise (x0 - 1.5)^2 + (x1 - 2.5)^2 over integers in [0, 4] with
// x0 + x1 <= 3.5: the continuous optimum (1.25, 2.25) is fractional.
CSearchProblem TwoIntegerProblem();

// Writes the search task with all its records under nTaskID, solved as a
// continuous problem: its best design is point 0, iteration 0. Every field
// the module does not read (the whole of CDResp, CDObj, CDCons, CDEqn and
// CDLink) holds awkward values from FillFields, so copies can be compared
// bit for bit; the task has no children yet.
void WriteSearchTask(POD* pDatabase, const CSearchProblem& problem, int nTaskID);

// Runs a subtask as the continuous optimiser would: reads its bounds and
// start point (which, for module type 0, must lie inside the bounds), solves,
// and records the design as a new point, named by sub-iteration 1 of
// iteration 1, the best; sub-iteration 0 names the start point.
void SolveSubtask(POD* pDatabase, const CSearchProblem& problem, int nTaskID);

// Drives a whole search as a host does; returns the subtasks run.
int RunSearch(POD* pDatabase, const CSearchProblem& problem, int nTaskID, CLogFile* pLog);

// A stored array as plain doubles, and back.
std::valarray<double> Plain(const std::valarray<pvFLOAT64>& stored);
std::valarray<pvFLOAT64> Stored(const std::valarray<double>& values);
