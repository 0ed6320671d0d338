#include "search/NodeMirror.h"

#include "solver/Design.h"

CNodeMirror::CNodeMirror(bool minimize, double tolerance)
    : m_minimize(minimize), m_tolerance(tolerance) {}

ENodeOutcome CNodeMirror::NodeSolved(int taskId, bool converged, double objective,
                                     double maxConstraint, bool discreteFeasible) {
  if (!converged) return ENodeOutcome::NotConverged;
  if (!IsFeasible(maxConstraint, m_tolerance)) return ENodeOutcome::Infeasible;
  if (HasIncumbent() && IsBetter(m_incumbentObjective, objective))
    return ENodeOutcome::WorseThanIncumbent;
  if (!discreteFeasible) {
    m_childrenOfOpenNode[taskId] = 0;
    return ENodeOutcome::ToBranch;
  }
  if (!HasIncumbent() || IsBetter(objective, m_incumbentObjective)) {
    m_incumbentTask = taskId;
    m_incumbentObjective = objective;
  }
  return ENodeOutcome::DiscreteFeasible;
}

void CNodeMirror::ChildGenerated(int parentTask) {
  auto found = m_childrenOfOpenNode.find(parentTask);
  if (found == m_childrenOfOpenNode.end()) return;
  if (++found->second == 2) m_childrenOfOpenNode.erase(found);
}
