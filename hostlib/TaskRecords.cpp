// The fields of CTask, CResult, CIter and CDPoint, in declaration order.

#include "TaskRecords.h"

#include <sys/time.h>

#include "VisitField.h"

void CTask::SetCreateTime() {
  timeval now{};
  gettimeofday(&now, nullptr);
  m_dCreateTime = static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1e6;
}

void CTask::VisitKey(CFieldVisitor& visitor) { VISIT_FIELD(visitor, m_nTaskID); }

void CTask::VisitData(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_nModuleType);
  VISIT_FIELD(visitor, m_nMinimize0);
  VISIT_FIELD(visitor, m_dConTol0);
  VISIT_FIELD(visitor, m_nMinimize1);
  VISIT_FIELD(visitor, m_dConTol1);
  VISIT_FIELD(visitor, m_nInitMode);
  VISIT_FIELD(visitor, m_nInitCount);
  VISIT_FIELD(visitor, m_vPointFlags);
  VISIT_FIELD(visitor, m_nNumInitPoints);
  VISIT_FIELD(visitor, m_nParentTaskID);
  VISIT_FIELD(visitor, m_vChildTaskIDs);
  VISIT_FIELD(visitor, m_strName);
  VISIT_FIELD(visitor, m_strDescription);
  VISIT_FIELD(visitor, m_strProblemFile);
  VISIT_FIELD(visitor, m_strSource);
  VISIT_FIELD(visitor, m_strOptimizer);
  VISIT_FIELD(visitor, m_strStatus);
  VISIT_FIELD(visitor, m_strCreatedBy);
  VISIT_FIELD(visitor, m_strHostName);
  VISIT_FIELD(visitor, m_strUserName);
  VISIT_FIELD(visitor, m_strWorkDir);
  VISIT_FIELD(visitor, m_strStartTime);
  VISIT_FIELD(visitor, m_strEndTime);
  VISIT_FIELD(visitor, m_strObjectiveName);
  VISIT_FIELD(visitor, m_strObjectiveUnits);
  VISIT_FIELD(visitor, m_strNotes);
  VISIT_FIELD(visitor, m_strKeywords);
  VISIT_FIELD(visitor, m_vIntOptions);
  VISIT_FIELD(visitor, m_vRunCodes);
  VISIT_FIELD(visitor, m_vaRealOptions);
  VISIT_FIELD(visitor, m_vaRunTimes);
  VISIT_FIELD(visitor, m_dCreateTime);
  VISIT_FIELD(visitor, m_nTaskKind);
}

void CResult::VisitKey(CFieldVisitor& visitor) { VISIT_FIELD(visitor, m_nTaskID); }

void CResult::VisitData(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_nNumPoints);
  VISIT_FIELD(visitor, m_nTotalPoints);
  VISIT_FIELD(visitor, m_nNumAnalyses);
  VISIT_FIELD(visitor, m_nNumGradCalc);
  VISIT_FIELD(visitor, m_nBestIter);
  VISIT_FIELD(visitor, m_nBestSubIter);
  VISIT_FIELD(visitor, m_dBestObj);
  VISIT_FIELD(visitor, m_dBestMaxCon);
  VISIT_FIELD(visitor, m_nResultTask);
  VISIT_FIELD(visitor, m_nDiscreteFeasible);
  VISIT_FIELD(visitor, m_strStatus);
  VISIT_FIELD(visitor, m_strOptimizer);
  VISIT_FIELD(visitor, m_strMessage);
  VISIT_FIELD(visitor, m_vaBestConValues);
  VISIT_FIELD(visitor, m_vaBestRespValues);
  VISIT_FIELD(visitor, m_vaRunObjectives);
  VISIT_FIELD(visitor, m_nNumIters);
  VISIT_FIELD(visitor, m_nStatusCode);
  VISIT_FIELD(visitor, m_dElapsed);
}

void CIter::VisitKey(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_nTaskID);
  VISIT_FIELD(visitor, m_nIter);
  VISIT_FIELD(visitor, m_nSubIter);
}

void CIter::VisitData(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_nPointID);
  VISIT_FIELD(visitor, m_vaConValues);
  VISIT_FIELD(visitor, m_vaRespValues);
  VISIT_FIELD(visitor, m_dObjective);
  VISIT_FIELD(visitor, m_dMaxCon);
  VISIT_FIELD(visitor, m_nNumAnalyses);
}

void CDPoint::VisitKey(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_nTaskID);
  VISIT_FIELD(visitor, m_nPointID);
}

void CDPoint::VisitData(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_nOrigin);
  VISIT_FIELD(visitor, m_vaValues);
  VISIT_FIELD(visitor, m_vaData1);
  VISIT_FIELD(visitor, m_vaData2);
  VISIT_FIELD(visitor, m_vaData3);
  VISIT_FIELD(visitor, m_vaEval1);
  VISIT_FIELD(visitor, m_vaEval2);
  VISIT_FIELD(visitor, m_vaEval3);
}
