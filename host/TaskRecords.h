#pragma once

// Records that describe a task and its run: the task itself (CTask), its result
// summary (CResult), its iterations (CIter) and its design points (CDPoint).
// Each record's fields that the discrete module reads or writes come first, in
// a fixed order; the further members carry what a host keeps with a task.
// Fields marked "host:" are stored for host programs: `discrete` does not use
// them (it writes the value named, "empty" for none) and the module at most
// copies them.

#include <string>
#include <valarray>
#include <vector>

#include "Persistent.h"

// One task: a continuous optimisation problem (its design data live in the
// design records of the same task id) with its settings. Key: m_nTaskID.
class CTask : public pvPersistent {
 public:
  explicit CTask(POD* pDatabase) : pvPersistent(pDatabase) {}
  void Copy(const CTask& source) { CopyFields(*this, source); }
  // Sets m_dCreateTime to the current wall-clock time.
  void SetCreateTime();

  const char* RecordName() const override { return "CTask"; }
  void VisitKey(CFieldVisitor& visitor) override;
  void VisitData(CFieldVisitor& visitor) override;

  pvINT32 m_nTaskID;      // key: task id, > 0
  pvINT32 m_nModuleType;  // 0: one start point, gradient based; 1: several start points
  pvINT32 m_nMinimize0;   // module type 0: nonzero minimises, 0 maximises
  pvFLOAT64 m_dConTol0;   // module type 0: constraint tolerance (scaled units)
  pvINT32 m_nMinimize1;   // module type 1: as m_nMinimize0
  pvFLOAT64 m_dConTol1;   // module type 1: as m_dConTol0
  pvINT32 m_nInitMode;    // module type 1: 0 make start points (Latin hypercube), 11 points given
  pvINT32 m_nInitCount;   // module type 1: number of given start points + 1
  std::vector<pvINT32> m_vPointFlags;    // module type 1: one per start point, 0 = to be run
  pvUINT32 m_nNumInitPoints;             // module type 1: number of start points
  pvINT32 m_nParentTaskID;               // task this one was derived from; 0 for none
  std::vector<pvINT32> m_vChildTaskIDs;  // tasks derived from this one, in order of creation

  std::string m_strName;            // short name of the problem
  std::string m_strDescription;     // what the problem is
  std::string m_strProblemFile;     // the file the problem was read from
  std::string m_strSource;          // where the problem is published
  std::string m_strOptimizer;       // continuous algorithm to run the task with ("slsqp", ...)
  std::string m_strStatus;          // how the task's last run ended; empty before any run
  std::string m_strCreatedBy;       // program and version that wrote the task
  std::string m_strHostName;        // machine the task was written on
  std::string m_strUserName;        // user who wrote the task
  std::string m_strWorkDir;         // working directory of the writing program
  std::string m_strStartTime;       // start of the last run, ISO 8601 local time
  std::string m_strEndTime;         // end of the last run, ISO 8601 local time
  std::string m_strObjectiveName;   // label of the objective in reports
  std::string m_strObjectiveUnits;  // host: units of the objective; empty
  std::string m_strNotes;           // host: free notes; empty
  std::string m_strKeywords;        // host: comma-separated keywords; empty
  // Optimiser settings: [max evaluations, start points, seed, gradient scheme,
  // retries, root starts, suspicious starts] (written by TaskWriter.cpp).
  std::vector<pvINT32> m_vIntOptions;
  std::vector<pvINT32> m_vRunCodes;  // per solve of the task: the optimiser's code of its best run
  std::valarray<pvFLOAT64> m_vaRealOptions;  // optimiser: [x tol., f tol., seconds, fd step]
  std::valarray<pvFLOAT64> m_vaRunTimes;     // per solve of the task: its wall seconds
  pvFLOAT64 m_dCreateTime;                   // creation time, seconds since the epoch
  pvINT32 m_nTaskKind;  // 0 continuous task, 1 discrete search task, 2 solved subtask of a
                        // search (ETaskKind, runner/tasks/RecordKinds.h)
};

// The result summary of one task's run. Key: m_nTaskID.
class CResult : public pvPersistent {
 public:
  explicit CResult(POD* pDatabase) : pvPersistent(pDatabase) {}

  const char* RecordName() const override { return "CResult"; }
  void VisitKey(CFieldVisitor& visitor) override;
  void VisitData(CFieldVisitor& visitor) override;

  pvINT32 m_nTaskID;        // key: task id
  pvINT32 m_nNumPoints;     // design points stored; CDPoint ids 0 .. m_nNumPoints - 1
  pvINT32 m_nTotalPoints;   // running point count over a search and its subtasks
  pvINT32 m_nNumAnalyses;   // analyses (objective and constraint evaluations)
  pvINT32 m_nNumGradCalc;   // gradient evaluations
  pvINT32 m_nBestIter;      // CIter m_nIter of the best design
  pvINT32 m_nBestSubIter;   // CIter m_nSubIter of the best design
  pvFLOAT64 m_dBestObj;     // objective of the best design
  pvFLOAT64 m_dBestMaxCon;  // largest scaled constraint violation of the best design; <= 0 when all
                            // hold; +inf when the task did not converge
  pvINT32 m_nResultTask;    // subtask whose design stands as this task's discrete result; 0 none
  pvINT32 m_nDiscreteFeasible;  // 1 when that design is a feasible discrete design

  std::string m_strStatus;                     // how the run ended, in words
  std::string m_strOptimizer;                  // algorithm the run used
  std::string m_strMessage;                    // further detail, e.g. the optimiser's error text
  std::valarray<pvFLOAT64> m_vaBestConValues;  // scaled value of each constraint at the best design
  std::valarray<pvFLOAT64> m_vaBestRespValues;  // value of each response at the best design
  std::valarray<pvFLOAT64> m_vaRunObjectives;   // best objective of each start point's run
  pvINT32 m_nNumIters;                          // iterations recorded (CIter records)
  pvINT32 m_nStatusCode;  // how the solve ended (ESolveStatus, runner/solver/SolveStatus.h)
  pvFLOAT64 m_dElapsed;   // wall seconds of the run
};

// One iteration of a task's run. Key: m_nTaskID, m_nIter, m_nSubIter.
class CIter : public pvPersistent {
 public:
  explicit CIter(POD* pDatabase) : pvPersistent(pDatabase) {}

  const char* RecordName() const override { return "CIter"; }
  void VisitKey(CFieldVisitor& visitor) override;
  void VisitData(CFieldVisitor& visitor) override;

  pvINT32 m_nTaskID;   // key: task id
  pvINT32 m_nIter;     // key: iteration number; 0 is the start point
  pvINT32 m_nSubIter;  // key: second part, e.g. the start point's run
  pvINT32 m_nPointID;  // CDPoint holding the iteration's design

  std::valarray<pvFLOAT64> m_vaConValues;   // scaled value of each constraint
  std::valarray<pvFLOAT64> m_vaRespValues;  // value of each response
  pvFLOAT64 m_dObjective;                   // objective of the iteration's design
  pvFLOAT64 m_dMaxCon;                      // largest scaled constraint violation
  pvINT32 m_nNumAnalyses;                   // analyses spent when the iteration was recorded
};

// One design point of a task. Key: m_nTaskID, m_nPointID.
class CDPoint : public pvPersistent {
 public:
  explicit CDPoint(POD* pDatabase) : pvPersistent(pDatabase) {}
  void Copy(const CDPoint& source) { CopyFields(*this, source); }

  const char* RecordName() const override { return "CDPoint"; }
  void VisitKey(CFieldVisitor& visitor) override;
  void VisitData(CFieldVisitor& visitor) override;

  pvINT32 m_nTaskID;   // key: task id
  pvINT32 m_nPointID;  // key: point number within the task, from 0
  pvINT32 m_nOrigin;   // 0 given start, 1 sampled, 2 optimiser result (EPointOrigin,
                       // runner/tasks/RecordKinds.h); a point the module copies keeps its own
  std::valarray<pvFLOAT64> m_vaValues;  // design-variable values
  // Data that stay valid when the values are moved (the module copies them
  // into the start points of subtasks):
  std::valarray<pvFLOAT64> m_vaData1;  // host: initial step per variable; empty
  std::valarray<pvFLOAT64> m_vaData2;  // host: scale of each variable; empty
  std::valarray<pvFLOAT64> m_vaData3;  // host: free numeric annotations; empty
  // Evaluations of exactly these values:
  std::valarray<pvFLOAT64> m_vaEval1;  // [objective, largest scaled constraint violation]
  std::valarray<pvFLOAT64> m_vaEval2;  // scaled value of each constraint
  std::valarray<pvFLOAT64> m_vaEval3;  // host: objective gradient; empty
};
