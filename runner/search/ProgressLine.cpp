#include "search/ProgressLine.h"

#include <fmt/format.h>

std::string ProgressText(const CNodeSummary& summary) {
  const std::string incumbent =
      summary.hasIncumbent
          ? fmt::format("{:.10g} (task {})", summary.incumbentObjective, summary.incumbentTask)
          : "none yet";
  return fmt::format("nodes {}  open {}  incumbent {}  elapsed {:.1f} s", summary.node,
                     summary.openNodes, incumbent, summary.elapsedSeconds);
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
