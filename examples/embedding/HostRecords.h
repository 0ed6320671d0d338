#pragma once

// What the host writes into the task database around the module's search
// (docs/embedding.md walks through every record):
//
//   before the search: the search task (WriteSearchTask), solved as a
//   continuous problem (SolveTask);
//   for every subtask the module hands out: its solution (SolveTask).

#include "Problem.h"

// Writes the problem as a new task in the open task database (one
// transaction): CTask, CDVar, CDSet, CDResp, CDObj, CDCons, CDEqn, CDLink and
// its start point CDPoint 0. Returns the task id.
int WriteSearchTask(const CProblem& problem);

// Solves task taskId as the host's continuous optimiser: reads its bounds
// (CDVar) and start point (CDPoint 0), solves, and records the run (one
// transaction): the solution as a new CDPoint, the iterations that name the
// start and the solution (CIter), the result summary (CResult) and the
// task's status (CTask). Returns the solution.
CSolution SolveTask(const CProblem& problem, int taskId);
