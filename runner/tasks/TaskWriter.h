#pragma once

// Writing a problem into the open task database as a search task: the task
// that `discrete solve` first solves continuously and then hands to the
// module's branch-and-bound search.
//
//   OpenTaskDatabase("plate.db");
//   const int taskId = WriteSearchTask(problem);
//
// Records written, all under one new task id drawn from CDBCtrl, inside one
// hold of the database lock (one transaction): CTask, CDVar, CDSet, CDResp,
// CDObj, CDCons, CDEqn, CDLink and the start point CDPoint 0. Every record
// exists, empty where the problem has nothing of its kind, because a subtask
// is built by copying each of them. The result records (CResult, CIter, more
// points) are the solver's (TaskSolver.h).
//
// Layout of the responses: response 0 is the objective, response k (k >= 1)
// the left-hand side of constraint k - 1.

#include <string>

#include "problem/Problem.h"

// Text CTask m_strCreatedBy carries, e.g. "discrete 1.0.0".
extern const char* const kProgramSignature;

// Writes the problem; returns the new task's id (> 0). Throws CDatabaseError
// (hostlib/TaskDatabase.h) when the database refuses a record.
int WriteSearchTask(const CProblem& problem);

// The start point: each variable's start value, or the middle of its bounds
// where the file gives none.
std::vector<double> StartValues(const CProblem& problem);
