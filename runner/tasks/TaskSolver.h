#pragma once

// The host's continuous solver: solves one task of the open database from its
// own records and writes back what a host writes after a run.
//
//   CTaskSolution solution = SolveTask(subtaskId);
//
// Start points: CDPoint 0 for module type 0, and for a search task with
// several root start points (COptimizerSettings::rootStarts) also points 1 and
// up, made here as a Latin hypercube over its bounds (LatinHypercube.h,
// seeded by the task's seed) and stored before the run; for module type 1
// the points 0 .. m_nNumInitPoints - 1, where a task with m_nInitMode 0 gets
// points 1 and up made the same way. One local search runs from each point,
// and more where none converged or the result is suspicious (SolveAttempts.h);
// the best design of all is kept (Optimizer.h).
//
// Exact discrete values: the best design of every local search has each
// discrete value that lies within kSnapTolerance of an allowed value moved
// onto it and is evaluated again there (AllowedValues.h), so the module and
// the reports see 3, not 2.9999999999999996.
//
// A task none of whose local searches converged has no solution of its own:
// its CResult says so (m_nStatusCode, m_strStatus) and carries an infinite
// m_dBestMaxCon, so that the module closes its node as it closes an
// infeasible one instead of taking an unfinished design for a result.
//
// Analysis programs: every evaluation is looked up in, and stored into, table
// `evaluations` (EvaluationTable.h); each batch is committed as it ends, the
// task's records after the last.
//
// Records written (in one hold of the database lock):
//   CDPoint r     the start point of a run that began at a point made by the
//                 retries (SolveAttempts.h), numbered after the given ones;
//   CIter (0, s)  iteration 0 of the run written s-th: its start point. The
//                 best run is written first (s = 0), because the module takes
//                 a subtask's start point from CIter (m_nBestIter, 0);
//   CIter (k, s)  k >= 1: the k-th improvement of that run's best design, with
//                 a new CDPoint holding it. A module type 0 run keeps at most
//                 50 (the last always being the run's best); a module type 1
//                 run keeps only its final best, because every point of the
//                 search task becomes a start point of each subtask;
//   CResult       the best design: m_nBestIter / m_nBestSubIter name its
//                 CIter, m_dBestObj, m_dBestMaxCon, m_nNumPoints, counts, the
//                 solve's status (SolveStatus.h) in m_nStatusCode and, in
//                 words, m_strStatus; the search fields (m_nResultTask,
//                 m_nDiscreteFeasible, m_nTotalPoints) of an existing record
//                 are kept;
//   CTask         status, start and end time, run code and run time appended.
// The host counters nNumAnalyses and nNumGradCalc grow by the run's counts.
//
// Throws CTaskDataError (TaskProblem.h) when the task's records are missing,
// inconsistent or hold expressions that do not compile, and CDatabaseError
// when the database fails.

#include <chrono>

#include "analyses/InProcessExecutor.h"
#include "analyses/SlurmSettings.h"
#include "solver/Design.h"
#include "solver/SolveStatus.h"

struct CTaskSolution {
  int taskId = 0;                                 // the task solved
  CEvaluatedDesign best;                          // its best design
  ESolveStatus status = ESolveStatus::Converged;  // how its local searches ended
  bool feasible = false;  // converged, and best.maxConstraint is within the task's tolerance
  int runs = 0;           // local searches made
  int analyses = 0;       // analyses, finite differences included
  int gradients = 0;      // gradient estimates
  double seconds = 0.0;   // wall time, database work included
};

struct CTaskSolveSettings {
  // No local search goes on past it (the end of the program's time limit); a
  // task stopped by it is not solved (ESolveStatus::TimeLimit).
  std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
  // Evaluations of analysis programs run at the same time (AnalysisEvaluator.h).
  int jobs = 1;
  // Where they run (SlurmSettings.h).
  EExecutor executor = EExecutor::Local;
  // The functions of analyses that are functions (InProcessExecutor.h); not
  // owned; may be null when the task has none.
  const CInProcessAnalyses* functions = nullptr;
};

CTaskSolution SolveTask(int taskId, const CTaskSolveSettings& settings = {});
