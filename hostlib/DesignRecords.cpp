// The fields of CDVar, CDSet, CDResp, CDObj, CDCons, CDEqn and CDLink, in
// declaration order. Each is keyed by its task id alone.

#include "DesignRecords.h"

#include "VisitField.h"

void CDVar::VisitKey(CFieldVisitor& visitor) { VISIT_FIELD(visitor, m_nTaskID); }

void CDVar::VisitData(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_vaLower);
  VISIT_FIELD(visitor, m_vaUpper);
  VISIT_FIELD(visitor, m_vSetID);
  VISIT_FIELD(visitor, m_vKind);
  VISIT_FIELD(visitor, m_vActive);
  VISIT_FIELD(visitor, m_vLinkIndex);
  VISIT_FIELD(visitor, m_vSourceLine);
  VISIT_FIELD(visitor, m_vBoundsMoved);
  VISIT_FIELD(visitor, m_vBranchPriority);
  VISIT_FIELD(visitor, m_vDisplayDigits);
  VISIT_FIELD(visitor, m_vGroup);
  VISIT_FIELD(visitor, m_vScaleMode);
  VISIT_FIELD(visitor, m_vReportOrder);
  VISIT_FIELD(visitor, m_vFlags);
  VISIT_FIELD(visitor, m_vaStart);
  VISIT_FIELD(visitor, m_vaGivenLower);
  VISIT_FIELD(visitor, m_vaGivenUpper);
  VISIT_FIELD(visitor, m_vaScale);
  VISIT_FIELD(visitor, m_vaFDStep);
  VISIT_FIELD(visitor, m_vaInitialStep);
  VISIT_FIELD(visitor, m_vaXTolerance);
  VISIT_FIELD(visitor, m_vaResolution);
  VISIT_FIELD(visitor, m_vaCost);
  VISIT_FIELD(visitor, m_vaReference);
  VISIT_FIELD(visitor, m_vNames);
  VISIT_FIELD(visitor, m_vDescriptions);
  VISIT_FIELD(visitor, m_vUnits);
  VISIT_FIELD(visitor, m_vGroups);
  VISIT_FIELD(visitor, m_vvRespUse);
  VISIT_FIELD(visitor, m_vvEqnUse);
  VISIT_FIELD(visitor, m_vvLinkUse);
  VISIT_FIELD(visitor, m_vvConsUse);
  VISIT_FIELD(visitor, m_vvTags);
}

void CDSet::VisitKey(CFieldVisitor& visitor) { VISIT_FIELD(visitor, m_nTaskID); }

void CDSet::VisitData(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_vSetNames);
  VISIT_FIELD(visitor, m_vSetIDs);
  VISIT_FIELD(visitor, m_vSetValues);
}

void CDResp::VisitKey(CFieldVisitor& visitor) { VISIT_FIELD(visitor, m_nTaskID); }

void CDResp::VisitData(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_vKind);
  VISIT_FIELD(visitor, m_vSourceLine);
  VISIT_FIELD(visitor, m_vActive);
  VISIT_FIELD(visitor, m_vGradientMode);
  VISIT_FIELD(visitor, m_vEvalOrder);
  VISIT_FIELD(visitor, m_vOutputIndex);
  VISIT_FIELD(visitor, m_vCacheable);
  VISIT_FIELD(visitor, m_vDisplayDigits);
  VISIT_FIELD(visitor, m_vFlags);
  VISIT_FIELD(visitor, m_vCostWeight);
  VISIT_FIELD(visitor, m_vNames);
  VISIT_FIELD(visitor, m_vExpressions);
  VISIT_FIELD(visitor, m_vDescriptions);
  VISIT_FIELD(visitor, m_vvVarUse);
  VISIT_FIELD(visitor, m_vvEqnUse);
  VISIT_FIELD(visitor, m_vvObjUse);
  VISIT_FIELD(visitor, m_vvConsUse);
  VISIT_FIELD(visitor, m_vvTags);
}

void CDObj::VisitKey(CFieldVisitor& visitor) { VISIT_FIELD(visitor, m_nTaskID); }

void CDObj::VisitData(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_vRespIndex);
  VISIT_FIELD(visitor, m_vSense);
  VISIT_FIELD(visitor, m_vaWeight);
  VISIT_FIELD(visitor, m_vaScale);
  VISIT_FIELD(visitor, m_vaOffset);
  VISIT_FIELD(visitor, m_vaTarget);
  VISIT_FIELD(visitor, m_vaTargetTol);
}

void CDCons::VisitKey(CFieldVisitor& visitor) { VISIT_FIELD(visitor, m_nTaskID); }

void CDCons::VisitData(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_vRespIndex);
  VISIT_FIELD(visitor, m_vKind);
  VISIT_FIELD(visitor, m_vSourceLine);
  VISIT_FIELD(visitor, m_vaBound);
  VISIT_FIELD(visitor, m_vaScale);
}

void CDEqn::VisitKey(CFieldVisitor& visitor) { VISIT_FIELD(visitor, m_nTaskID); }

void CDEqn::VisitData(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_vSourceLine);
  VISIT_FIELD(visitor, m_vNames);
  VISIT_FIELD(visitor, m_vExpressions);
  VISIT_FIELD(visitor, m_vDescriptions);
}

void CDLink::VisitKey(CFieldVisitor& visitor) { VISIT_FIELD(visitor, m_nTaskID); }

void CDLink::VisitData(CFieldVisitor& visitor) {
  VISIT_FIELD(visitor, m_vTargetVar);
  VISIT_FIELD(visitor, m_vExpressions);
  VISIT_FIELD(visitor, m_vvSourceVars);
}
