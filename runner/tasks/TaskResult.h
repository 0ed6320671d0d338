#pragma once

// Reading back the best design of a solved task, as its records name it:
// CResult m_nBestIter / m_nBestSubIter name a CIter, whose m_nPointID names
// the CDPoint that holds the design (the same path the module follows).

#include <vector>

class CResult;

struct CTaskDesign {
  int taskId = 0;              // the task
  std::vector<double> values;  // design-variable values
  double objective = 0.0;      // CResult m_dBestObj
  double maxConstraint = 0.0;  // CIter m_dMaxCon of the best iteration: the design's own
  // CResult m_vaBestRespValues: objective, then constraint left-hand sides
  std::vector<double> responses;
  std::vector<double> scaledConstraints;  // CResult m_vaBestConValues
};

// Throws CTaskDataError (TaskDataError.h) when one of the records is missing or
// the task has not been solved.
CTaskDesign ReadBestDesign(int taskId);

// Whether the result record is that of a solved task: the host's solver
// records at least one iteration of a run (m_nNumIters > 0). The module writes
// a subtask's result record when it makes the subtask, with no iteration and
// no design in it (objective and violation 0), so a result record alone does
// not mean that the task has been solved: a search interrupted while a subtask
// was being solved leaves exactly that record behind. Every reader that
// shows or uses a task's result asks this predicate.
bool IsSolved(const CResult& result);

// Whether a solved task's local searches converged (CResult m_nStatusCode,
// SolveStatus.h): only then does its result stand for the task.
bool HasConverged(const CResult& result);

// Reads the task's result record into `result` (bound to the open database)
// and returns whether the task has been solved (IsSolved); false as well when
// there is no result record.
bool ReadSolvedResult(int taskId, CResult& result);
