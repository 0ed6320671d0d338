#pragma once

// What the search tells the outside, one summary per node (Search.h): the
// progress line, the log and the tests all watch the same summaries, and each
// printer owns its format.

#include <string>
#include <vector>

// A node's fate, in the one vocabulary of the progress line, the log, `show`,
// `tree` and the report (Describe below). The program classifies a node once
// its subtask is solved and posted, following the module's node test
// (NodeMirror.h, the one place that decides): not converged (none of its
// local searches converged: the module closes it like an infeasible node,
// and its subtree is not explored), infeasible for the tolerance, worse than
// the incumbent (pruned by bound), an acceptable discrete design, or to be
// branched (some discrete variable is off its allowed values). A subtask
// that was made but never solved (the search was interrupted) is not solved.
enum class ENodeOutcome {
  NotSolved,
  NotConverged,
  Infeasible,
  WorseThanIncumbent,
  DiscreteFeasible,
  ToBranch,
};

// How a search ended: this is data, not an error.
enum class ESearchEnd {
  Complete,     // the module explored every node
  NodeLimit,    // stopped after the maximum number of subtasks
  TimeLimit,    // stopped when the time limit had passed
  Interrupted,  // stopped when asked to (Ctrl-C), after the subtask it was solving
  Unfinished,   // stopped by a failure; the result is the best design it committed (SearchState.h)
};

struct CNodeSummary {
  int node = 0;          // subtasks solved so far, this one included; 0 for the search task itself
  int taskId = 0;        // the node's task
  int parentTaskId = 0;  // the task it was derived from; 0 for the search task
  double objective = 0.0;                         // its best objective
  double maxConstraint = 0.0;                     // its largest scaled constraint violation
  ENodeOutcome outcome = ENodeOutcome::ToBranch;  // its classification
  bool isNewIncumbent = false;                    // it became the best discrete design so far
  bool hasIncumbent = false;                      // some discrete design has been found
  double incumbentObjective =
      0.0;                // objective of the best discrete design so far; valid with hasIncumbent
  int incumbentTask = 0;  // its task; 0 without one
  int openNodes = 0;      // nodes waiting to be branched, as the program counts them (NodeMirror.h)
  bool hasOpenBound = false;  // some open node could still hold a better design than the
                              // incumbent (any open node, without one), so openBound is valid
  double openBound = 0.0;  // best relaxation objective among those open nodes: no discrete design
                           // in their subtrees can be better (the lower bound when minimising);
                           // never worse than the incumbent (NodeMirror.h)
  double elapsedSeconds = 0.0;  // since the search began (the search task's solve included)
  int analyses = 0;             // analyses of the whole process so far
};

struct CSearchOutcome {
  ESearchEnd end = ESearchEnd::Complete;  // why it ended
  int searchTaskId = 0;                   // the search task
  int nodesSolved = 0;                    // subtasks solved
  int nodesNotConverged = 0;              // of them, those none of whose local searches converged
  bool rootNotConverged = false;          // none of the search task's own local searches converged
  int resultTask = 0;                     // the task whose design is the result; 0 for none
  bool discreteFeasible = false;          // that design is a feasible discrete design
  double seconds = 0.0;                   // wall time of the whole search
  double solverSeconds = 0.0;  // part of it spent solving tasks (optimiser and its database work)
  // The open nodes when the search ended, as in the last CNodeSummary; not known for an outcome
  // rebuilt from the database after a failure (SearchState.h)
  bool openNodesKnown = true;
  int openNodes = 0;          // nodes left to branch (0 for a complete search)
  bool hasOpenBound = false;  // some open node could still hold a better design
  double openBound = 0.0;     // the best objective among them (CNodeSummary::openBound)
};

class CSearchObserver {
 public:
  virtual ~CSearchObserver() = default;
  // Once per node: first the search task itself (node 0), then every subtask
  // after it has been solved and posted.
  virtual void OnNode(const CNodeSummary& summary) = 0;
  // Once, when the search has ended (also when it was stopped by a limit).
  virtual void OnEnd(const CSearchOutcome& outcome) = 0;
};

// Hands every summary to several observers, in the order added.
class CObserverList : public CSearchObserver {
 public:
  void Add(CSearchObserver& observer) { m_observers.push_back(&observer); }
  void OnNode(const CNodeSummary& summary) override {
    for (CSearchObserver* observer : m_observers) observer->OnNode(summary);
  }
  void OnEnd(const CSearchOutcome& outcome) override {
    for (CSearchObserver* observer : m_observers) observer->OnEnd(outcome);
  }

 private:
  std::vector<CSearchObserver*> m_observers;  // not owned
};

// Words for the classifications, as reports print them.
const char* Describe(ENodeOutcome outcome);
const char* Describe(ESearchEnd end);
