#include "search/NodeMirror.h"

#include <cmath>

#include "solver/Design.h"

CNodeMirror::CNodeMirror(bool minimize, double tolerance)
    : m_minimize(minimize), m_tolerance(tolerance) {}

ENodeOutcome CNodeMirror::NodeSolved(int taskId, bool converged, double objective,
                                     double maxConstraint, bool discreteFeasible) {
  if (!converged) return ENodeOutcome::NotConverged;
  // The module prunes a NaN objective like an infeasible node; it never enters the bounds.
  if (std::isnan(objective)) return ENodeOutcome::Infeasible;
  if (!IsFeasible(maxConstraint, m_tolerance)) return ENodeOutcome::Infeasible;
  if (HasIncumbent() && IsBetter(m_incumbentObjective, objective))
    return ENodeOutcome::WorseThanIncumbent;
  if (!discreteFeasible) {
    if (m_openNodes.count(taskId) == 0)
      m_openNodes[taskId] = COpenNode{0, m_boundKeys.insert(KeyOf(objective))};
    return ENodeOutcome::ToBranch;
  }
  if (!HasIncumbent() || IsBetter(objective, m_incumbentObjective)) {
    m_incumbentTask = taskId;
    m_incumbentObjective = objective;
  }
  return ENodeOutcome::DiscreteFeasible;
}

void CNodeMirror::ChildGenerated(int parentTask) {
  auto found = m_openNodes.find(parentTask);
  if (found == m_openNodes.end()) return;
  if (++found->second.childrenHandedOut < 2) return;
  m_boundKeys.erase(found->second.boundKey);
  m_openNodes.erase(found);
}

bool CNodeMirror::HasOpenBound() const {
  if (m_boundKeys.empty()) return false;
  return !HasIncumbent() || IsBetter(OpenBound(), m_incumbentObjective);
}

double CNodeMirror::OpenBound() const {
  return m_boundKeys.empty() ? 0.0 : KeyOf(*m_boundKeys.begin());
}
