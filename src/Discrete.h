#pragma once

// Discrete: the public interface of the branch-and-bound module
// libDiscrete.so, for a design-optimisation host. The module runs a best-first
// search over integer and discrete-set design variables; every node of the
// search (Land & Doig 1960; Dakin 1965; Gupta & Ravindran 1985 for branch and
// bound over nonlinear subproblems) becomes a continuous subtask in the host's
// task database, which the host solves with its own continuous optimiser.
//
// Installed as <discrete/Discrete.h>; link Discrete::Discrete (CMake) or
// `pkg-config --libs discrete`. The host services the module calls (task
// database, lock, log, timers and counters) are libdiscrete_host.so's
// (<discrete/Records.h>, <discrete/TaskDatabase.h>, <discrete/LogFile.h>).
// docs/embedding.md lists, record by record, what the host writes.
//
// The order a host calls the entry points in:
//
//   OpenTaskDatabase("tasks.db");                      // <discrete/TaskDatabase.h>
//   CLogFile log("search.log", 0);  SetCurrentLog(&log);
//   ... write the search task and solve it as a continuous problem: CTask,
//       CDVar, CDSet, CDResp, CDObj, CDCons, CDEqn, CDLink, and its run:
//       CResult, CIter, CDPoint ...
//   int subtask = GenDiscreteTask(searchTask, &log);   // starts the search
//   while (subtask != 0) {
//     ... solve `subtask` (bounds in its CDVar, start in its CDPoint 0) and
//         record its run: CDPoint, CIter, CResult ...
//     PostDiscreteTask(subtask, false);                // files the node
//     subtask = GenDiscreteTask(0, &log);              // next node, or 0
//   }
//   // The search task's CResult m_nResultTask names the subtask holding the
//   // best discrete design; m_nDiscreteFeasible says whether one was found.
//
// To stop early (a node or time limit, the user's Ctrl-C), call
// BranchBoundStop(searchTask) after a PostDiscreteTask instead of asking for
// the next node: the search task's CResult then names the best design found
// so far. GetDiscreteVersion may be called at any time; GetTaskDVData and
// GetBestResult read a task as the module reads it. Node2Task,
// UpdateNodeData and UseParentPoints are the search's own steps, exported
// with it.
//
// One search per process, one call at a time: the search state lives in
// module globals. Every entry point that reaches the database holds the
// host's (re-entrant) CLock for its whole body.
// Failures are exceptions of the CKivoErr family below, or the host's own
// (CDatabaseError from the task database); each is logged when it is made
// (LNewException), again by every entry point it passes (LException, or
// LGenException for a type outside std::exception), and reaches the host with
// every lock released. Nothing stored before a failure is rolled back.

#include <exception>
#include <valarray>

#include "DiscreteExport.h"
#include "DiscreteNode.h"

class CLogFile;

// ---------------------------------------------------------------------------
// Exceptions. Each class carries one fixed message; hosts catch them by type.

// Common base of the module's exceptions; never thrown itself. Making one logs
// it (LNewException with file, line and message) when the file is not null.
class DISCRETE_EXPORT CKivoErr : public std::exception {
 public:
  // pszMessage must not be null; it is cut to its first 511 chars.
  CKivoErr(const char* pszFile, int nLine, const char* pszMessage);
  ~CKivoErr() override;
  const char* what() const noexcept override;  // m_szMessage

  int m_nLine;            // source line of the throw
  const char* m_pszFile;  // source file of the throw, e.g. "src/BranchBound.cpp"; not owned
  char m_szMessage[512];  // the message, NUL-terminated, at most 511 chars
};

// Base of the database errors; never thrown itself.
class DISCRETE_EXPORT CEngErr : public CKivoErr {
 public:
  CEngErr(const char* pszFile, int nLine, const char* pszMessage);
};

// "Null pointer found": no task database is open.
class DISCRETE_EXPORT CNullPtr : public CEngErr {
 public:
  CNullPtr(const char* pszFile, int nLine, const char* pszMessage);
};

// "Could not get object": a record that must exist is not in the database.
class DISCRETE_EXPORT CGetObject : public CEngErr {
 public:
  CGetObject(const char* pszFile, int nLine, const char* pszMessage);
};

// "Object already exists": a record that must be new is in the database.
class DISCRETE_EXPORT CObjectExists : public CEngErr {
 public:
  CObjectExists(const char* pszFile, int nLine, const char* pszMessage);
};

// "Object type is invalid": the search task's module type is neither 0 nor 1.
class DISCRETE_EXPORT CInvalidType : public CEngErr {
 public:
  CInvalidType(const char* pszFile, int nLine, const char* pszMessage);
};

// "BranchBound": the search tree refused to store a node.
class DISCRETE_EXPORT CBranchBound : public CKivoErr {
 public:
  CBranchBound(const char* pszFile, int nLine, const char* pszMessage);
};

// "DiscreteSetErr": a design variable refers to a discrete set that the task
// does not hold (a positive set id missing from its CDSet, or an id below -1).
class DISCRETE_EXPORT CDiscreteSetErr : public CKivoErr {
 public:
  CDiscreteSetErr(const char* pszFile, int nLine, const char* pszMessage);
};

// ---------------------------------------------------------------------------
// Entry points.

// Writes the module's version, 6.21.0. Takes no lock and cannot fail.
DISCRETE_EXPORT void GetDiscreteVersion(int* pnMajor, int* pnMinor, int* pnRelease);

// nTaskID > 0 starts a search for that task (pLog must be the host's log; its
// level above 2 turns on debug output for the whole search); nTaskID <= 0
// continues the current one. Returns the id of the next subtask to run, or 0
// when the search is over and the search task's CResult holds its outcome.
// A task without discrete variables ends at once: its own continuous optimum
// stands as the result.
DISCRETE_EXPORT int GenDiscreteTask(int nTaskID, CLogFile* pLog);

// Writes the node's subtask: a copy of the task named by the node's
// m_nParentTaskID with the node's bounds, a fresh CResult and a start point
// (module type 1: the search task's points). Returns the new task id; the
// CTask record under it is the last one stored.
DISCRETE_EXPORT int Node2Task(CDiscreteNode& node);

// Files the finished subtask nTaskID: its best result goes into the
// outstanding node, which the tree classifies and stores; the subtask's and
// the search task's CResult are updated. With bCorrectTotal the point total
// of the task the subtask was derived from is subtracted from the search
// task's running total.
DISCRETE_EXPORT void PostDiscreteTask(int nTaskID, bool bCorrectTotal);

// Copies the best result of task nTaskID (objective, maximum constraint
// value, design values) into the node; nothing else of the node changes.
DISCRETE_EXPORT void UpdateNodeData(CDiscreteNode& node, int nTaskID);

// Per design variable of task nTaskID: its set id (0 continuous, -1 integer,
// k > 0 the set with id k), lower and upper bound. Each array takes the
// length of its stored source. Takes no lock.
DISCRETE_EXPORT void GetTaskDVData(int nTaskID, std::valarray<int>& setIds,
                                   std::valarray<double>& lower, std::valarray<double>& upper);

// The best design the host recorded for task nTaskID, following its CResult
// to the CIter and CDPoint that hold it. The two doubles are written as soon
// as the CResult is read, before the later reads can fail.
DISCRETE_EXPORT void GetBestResult(int nTaskID, double* pdObjective, double* pdMaxCon,
                                   std::valarray<double>& values);

// Writes the incumbent's subtask id and feasibility flag into the CResult of
// task nTaskID; writes nothing while the search has no incumbent.
DISCRETE_EXPORT void BranchBoundStop(int nTaskID);

// Copies the CDPoint records 0 .. nPointCount - 1 of task nSourceTask, except
// nLeftOutPoint, into task nTargetTask as points 1, 2, ... in order. Returns
// the number copied.
DISCRETE_EXPORT int UseParentPoints(int nTargetTask, int nSourceTask, int nPointCount,
                                    int nLeftOutPoint);
