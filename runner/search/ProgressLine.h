#pragma once

// One line on a terminal that shows how a search goes, rewritten in place:
//
//   nodes 57  open 4  incumbent 6059.714 (task 41)  bound 6011.2  gap 0.801%  elapsed 2.3 s
//
// The bound is the best objective among the open nodes that could still hold
// a better design, left out when there is none; the gap is relative
// (OptimalityGap.h), 0 without a bound, and left out without an incumbent.
// It is drawn at most ten times a second (and for the last node), with a
// carriage return and an erase-to-end-of-line, and removed when the search
// ends, so that the report that follows starts on a clean line. Meant for a
// stream that is a terminal; the program does not create one otherwise.

#include <chrono>
#include <cstdio>

#include "search/SearchObserver.h"

class CProgressLine : public CSearchObserver {
 public:
  explicit CProgressLine(FILE* terminal) : m_terminal(terminal) {}
  void OnNode(const CNodeSummary& summary) override;
  void OnEnd(const CSearchOutcome& outcome) override;

 private:
  FILE* m_terminal;                                   // where the line is drawn; not owned
  std::chrono::steady_clock::time_point m_lastDrawn;  // when the line was last drawn
  bool m_drawn = false;                               // the line is on the screen
};

// The text of the line for a summary (without control characters).
std::string ProgressText(const CNodeSummary& summary);
