#pragma once

// Writes one line per node and one at the end of a search into the host's
// log (category "SEARCH"), for example
//
//   node 12: task 13 from task 7: objective 6059.714 max constraint -3.2e-09:
//   discrete feasible, new incumbent; open nodes 4; 12345 analyses; 1.9 s

#include "search/SearchObserver.h"

class CLogFile;

class CSearchLog : public CSearchObserver {
 public:
  explicit CSearchLog(CLogFile& log) : m_log(log) {}
  void OnNode(const CNodeSummary& summary) override;
  void OnEnd(const CSearchOutcome& outcome) override;

 private:
  CLogFile& m_log;  // not owned
};
