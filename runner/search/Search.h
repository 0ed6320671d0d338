#pragma once

// One branch-and-bound search of a search task, driven as a host drives the
// module (Land & Doig 1960; Dakin 1965; Gupta & Ravindran 1985 for branch and
// bound over nonlinear subproblems):
//
//   1. solve the search task's continuous problem;
//   2. GenDiscreteTask(search task, log): the module builds its tree from the
//      continuous optimum and hands out the first subtask (or 0);
//   3. while a subtask is outstanding: solve it, PostDiscreteTask(id, false),
//      check the limits, GenDiscreteTask(0, log) for the next;
//   4. a limit or a request to stop (StopWhen) ends the search early:
//      BranchBoundStop(search task) writes the best design found so far into
//      the search task's result.
// The result is the task named by the search task's CResult m_nResultTask,
// a feasible discrete design when its m_nDiscreteFeasible is 1.
//
//   CBranchAndBoundSearch search(module, solveTask, observer, limits, &log);
//   CSearchOutcome outcome = search.Run(searchTaskId);
//
// Every node (the search task first) is reported to the observer once.
// Exceptions from the module become CModuleError, whose message says what the
// search was doing; the database stays as the module left it.
// Each step (solve, post, make the next subtask) is committed as one
// transaction; a failed commit throws CDatabaseError and ends the search, and
// every step committed before it stays.

#include <chrono>
#include <functional>
#include <stdexcept>

#include "problem/Problem.h"
#include "search/DiscreteModule.h"
#include "search/NodeMirror.h"
#include "search/SearchObserver.h"
#include "tasks/TaskSolver.h"

class CLogFile;

// The module failed; the message names the step ("posting subtask 17") and
// the module's own message.
class CModuleError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Solves one task of the open database by a deadline (TaskSolver.h's
// SolveTask, or a stand-in in tests).
using FSolveTask = std::function<CTaskSolution(int, std::chrono::steady_clock::time_point)>;

class CBranchAndBoundSearch {
 public:
  // All arguments must outlive the search; `log` goes to the module.
  CBranchAndBoundSearch(const CDiscreteModule& module, FSolveTask solveTask,
                        CSearchObserver& observer, const CSearchLimits& limits, CLogFile* log);

  // After every step the search asks `requested`; once it says yes, the
  // search stops as at a limit (ESearchEnd::Interrupted).
  void StopWhen(std::function<bool()> requested) { m_stopRequested = std::move(requested); }

  // Runs the whole search for the task. The database must be open.
  CSearchOutcome Run(int searchTaskId);

 private:
  void SolveSearchTask();
  int StartSearch();
  void SolveAndPost(int subtaskId);
  int NextSubtask();
  void StopEarly(ESearchEnd why);
  bool HasReachedNodeLimit() const;
  bool HasRunOutOfTime() const;
  bool StopRequested() const;
  void Report(int taskId, int parentTaskId, const CTaskSolution& solution, bool discreteFeasible);
  double ElapsedSeconds() const;
  std::chrono::steady_clock::time_point Deadline() const;
  template <class FCall>
  auto CallModule(const std::string& doing, FCall call) const;

  const CDiscreteModule& m_module;                  // not owned
  FSolveTask m_solveTask;                           // solves a task
  CSearchObserver& m_observer;                      // not owned
  CSearchLimits m_limits;                           // when to stop early
  std::function<bool()> m_stopRequested;            // asked after every step; may be empty
  CLogFile* m_log;                                  // handed to the module; not owned
  CSearchOutcome m_outcome;                         // filled as the search goes
  CTaskSolution m_searchSolution;                   // the search task's continuous solution
  CNodeMirror m_mirror{true, 0.0};                  // open nodes and incumbent, rebuilt by Run()
  std::chrono::steady_clock::time_point m_started;  // when Run() began
};
