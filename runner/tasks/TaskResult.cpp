#include "tasks/TaskResult.h"

#include <fmt/format.h>

#include "Records.h"
#include "solver/SolveStatus.h"
#include "tasks/RecordArrays.h"
#include "tasks/TaskDataError.h"

bool IsSolved(const CResult& result) { return result.m_nNumIters > 0; }

bool HasConverged(const CResult& result) {
  return IsSolved(result) && result.m_nStatusCode == static_cast<int>(ESolveStatus::Converged);
}

bool ReadSolvedResult(int taskId, CResult& result) {
  result.m_nTaskID = taskId;
  return result.GetObject() && IsSolved(result);
}

CTaskDesign ReadBestDesign(int taskId) {
  POD* database = GetPOD();
  CResult result(database);
  if (!ReadSolvedResult(taskId, result))
    throw CTaskDataError(fmt::format("task {} has no result: it has not been solved", taskId));
  CIter iteration(database);
  iteration.m_nTaskID = taskId;
  iteration.m_nIter = result.m_nBestIter;
  iteration.m_nSubIter = result.m_nBestSubIter;
  if (!iteration.GetObject()) {
    throw CTaskDataError(fmt::format("task {}: its best iteration ({}, {}) is missing", taskId,
                                     long(result.m_nBestIter), long(result.m_nBestSubIter)));
  }
  CDPoint point(database);
  point.m_nTaskID = taskId;
  point.m_nPointID = iteration.m_nPointID;
  if (!point.GetObject()) {
    throw CTaskDataError(fmt::format("task {}: its best design point {} is missing", taskId,
                                     long(iteration.m_nPointID)));
  }
  CTaskDesign design;
  design.taskId = taskId;
  design.values = ToVector(point.m_vaValues);
  design.objective = result.m_dBestObj;
  // The design's own; CResult's is infinite for a task that did not converge.
  design.maxConstraint = iteration.m_dMaxCon;
  design.responses = ToVector(result.m_vaBestRespValues);
  design.scaledConstraints = ToVector(result.m_vaBestConValues);
  return design;
}
