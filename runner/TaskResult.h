#pragma once

// Reading back the best design of a solved task, as its records name it:
// CResult m_nBestIter / m_nBestSubIter name a CIter, whose m_nPointID names
// the CDPoint that holds the design (the same path the module follows).

#include <vector>

struct CTaskDesign {
  int taskId = 0;                        // the task
  std::vector<double> values;            // design-variable values
  double objective = 0.0;                // CResult m_dBestObj
  double maxConstraint = 0.0;            // CIter m_dMaxCon of the best iteration: the design's own
  std::vector<double> responses;         // CResult m_vaBestRespValues: objective, then constraint left-hand sides
  std::vector<double> scaledConstraints; // CResult m_vaBestConValues
};

// Throws CTaskDataError (TaskProblem.h) when one of the records is missing.
CTaskDesign ReadBestDesign(int taskId);

// Whether the task has a result record (it has been solved).
bool HasResult(int taskId);
