#include "search/ProgressLine.h"

#include <fmt/format.h>

#include "search/OptimalityGap.h"

std::string ProgressText(const CNodeSummary& summary) {
  std::string text = fmt::format("nodes {}  open {}  incumbent ", summary.node, summary.openNodes);
  text += summary.hasIncumbent
              ? fmt::format("{:.10g} (task {})", summary.incumbentObjective, summary.incumbentTask)
              : "none yet";
  if (summary.hasOpenBound) text += fmt::format("  bound {:.10g}", summary.openBound);
  if (summary.hasIncumbent) {
    const COptimalityGap gap =
        GapOf(summary.incumbentObjective, summary.hasOpenBound, summary.openBound);
    text += fmt::format("  gap {:.3g}%", 100 * gap.relative);
  }
  return text + fmt::format("  elapsed {:.1f} s", summary.elapsedSeconds);
}

void CProgressLine::OnNode(const CNodeSummary& summary) {
  const auto now = std::chrono::steady_clock::now();
  if (m_drawn && now - m_lastDrawn < std::chrono::milliseconds(100)) return;
  m_lastDrawn = now;
  m_drawn = true;
  fmt::print(m_terminal, "\r{}\x1b[K", ProgressText(summary));
  std::fflush(m_terminal);
}

void CProgressLine::OnEnd(const CSearchOutcome&) {
  if (!m_drawn) return;
  fmt::print(m_terminal, "\r\x1b[K");
  std::fflush(m_terminal);
  m_drawn = false;
}
