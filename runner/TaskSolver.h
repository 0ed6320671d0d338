#pragma once

// The host's continuous solver: solves one task of the open database from its
// own records and writes back what a host writes after a run.
//
//   CTaskSolution solution = SolveTask(subtaskId);
//
// Start points: CDPoint 0 for module type 0; for module type 1 the points
// 0 .. m_nNumInitPoints - 1, where a task with m_nInitMode 0 gets points 1 and
// up made here as a Latin hypercube over its bounds (LatinHypercube.h, seeded
// by the task's seed) and stored before the run. Module type 1 runs one local
// search from each point and keeps the best (Optimizer.h).
//
// Records written (in one hold of the database lock):
//   CIter (0, r)  iteration 0 of run r: its start point r;
//   CIter (k, r)  k >= 1: the k-th improvement of run r's best design, with a
//                 new CDPoint holding it. A module type 0 run keeps at most 50
//                 (the last always being the run's best); a module type 1 run
//                 keeps only its final best, because every point of the search
//                 task becomes a start point of each subtask;
//   CResult       the best design: m_nBestIter / m_nBestSubIter name its
//                 CIter, m_dBestObj, m_dBestMaxCon, m_nNumPoints, counts,
//                 status; the search fields (m_nResultTask,
//                 m_nDiscreteFeasible, m_nTotalPoints) of an existing record
//                 are kept;
//   CTask         status, start and end time, run code and run time appended.
// The host counters nNumAnalyses and nNumGradCalc grow by the run's counts.
//
// Throws CTaskDataError (TaskProblem.h) when the task's records are missing,
// inconsistent or hold expressions that do not compile, and CDatabaseError
// when the database fails.

#include "Design.h"

struct CTaskSolution {
  int taskId = 0;           // the task solved
  CEvaluatedDesign best;    // its best design
  bool feasible = false;    // best.maxConstraint is within the task's tolerance
  int runs = 0;             // local searches made
  int analyses = 0;         // analyses, finite differences included
  int gradients = 0;        // gradient estimates
  double seconds = 0.0;     // wall time, database work included
};

CTaskSolution SolveTask(int taskId);
