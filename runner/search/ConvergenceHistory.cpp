#include "search/ConvergenceHistory.h"

#include <cmath>

namespace {

// Equal, or both NaN.
bool Same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

// The plot draws the same at both points.
bool SameLevels(const CConvergencePoint& a, const CConvergencePoint& b) {
  return a.hasIncumbent == b.hasIncumbent && (!a.hasIncumbent || Same(a.incumbent, b.incumbent)) &&
         a.hasOpenBound == b.hasOpenBound && (!a.hasOpenBound || Same(a.openBound, b.openBound));
}

}  // namespace

void CConvergenceHistory::OnNode(const CNodeSummary& summary) {
  CConvergencePoint point;
  point.node = summary.node;
  point.seconds = summary.elapsedSeconds;
  point.hasIncumbent = summary.hasIncumbent;
  point.incumbent = summary.incumbentObjective;
  point.hasOpenBound = summary.hasOpenBound;
  point.openBound = summary.openBound;
  point.isNewIncumbent = summary.isNewIncumbent;
  if (m_kept.empty() || point.isNewIncumbent || !SameLevels(point, m_kept.back()))
    m_kept.push_back(point);
  m_last = point;
  m_hasLast = true;
}

void CConvergenceHistory::OnEnd(const CSearchOutcome& outcome) { m_end = Describe(outcome.end); }

std::vector<CConvergencePoint> CConvergenceHistory::Points() const {
  std::vector<CConvergencePoint> points = m_kept;
  if (m_hasLast && points.back().node != m_last.node) points.push_back(m_last);
  return points;
}
