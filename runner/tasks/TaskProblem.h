#pragma once

// A task's continuous problem read back from its own records: what a host
// needs to solve any task of the database, the search task and every subtask
// the module derives from it alike.
//
//   CTaskProblem task = ReadTaskProblem(taskId);     // the database must be open
//   CExpressionModel model(task.model);
//   CContinuousProblem problem = MakeContinuousProblem(task, model);
//
// Sources: bounds, names and scales from CDVar; responses from CDResp and
// equations from CDEqn; the objective is response CDObj m_vRespIndex[0]
// divided by CDObj m_vaScale[0]; constraints from CDCons; the sense and the
// tolerance from CTask m_nMinimize0 / m_dConTol0 or m_nMinimize1 /
// m_dConTol1 by m_nModuleType (the pair the module reads, so that optimiser
// and module agree); optimiser settings from CTask m_strOptimizer,
// m_vIntOptions [max evaluations, start points, seed, gradient scheme,
// retries, root start points, suspicious-node start points] and
// m_vaRealOptions [x tolerance, f tolerance, seconds per run, relative step];
// the allowed values of each variable from CDVar m_vSetID and CDSet; the
// parent's result (CResult of CTask m_nParentTaskID) for a subtask.

#include <string>
#include <vector>

#include "analyses/AnalysisEvaluator.h"
#include "expressions/ExpressionModel.h"
#include "problem/Problem.h"
#include "solver/AllowedValues.h"
#include "solver/Optimizer.h"
#include "tasks/TaskDataError.h"

struct CTaskProblem {
  int taskId = 0;                          // the task read
  int moduleType = 0;                      // 0 one start point, 1 several
  bool minimize = true;                    // sense of the objective
  double tolerance = 0.0;                  // constraint tolerance
  std::vector<std::string> variableNames;  // one per design variable
  std::vector<double> lower;               // lower bounds
  std::vector<double> upper;               // upper bounds; >= lower
  std::vector<double> typicalMagnitude;    // for finite differences; > 0
  std::vector<double> relativeStep;        // per-variable finite-difference step; 0 default
  CModelDefinition model;  // variables, analysis responses (as inputs), equations, responses
  std::vector<CAnalysisDefinition> analyses;     // of its search task (TaskAnalyses.h)
  std::vector<std::string> responseNames;        // one per response
  int objectiveResponse = 0;                     // response that is the objective
  double objectiveScale = 1.0;                   // > 0
  std::vector<int> constraintResponses;          // response of each constraint
  std::vector<EConstraintKind> constraintKinds;  // kind of each constraint
  std::vector<double> constraintBounds;          // bound of each constraint
  std::vector<double> constraintScales;          // scale of each constraint; > 0
  COptimizerSettings optimizer;                  // continuous optimiser settings
  int startPointCount = 1;                       // design points a module type 1 run starts from
  int initMode = 0;                     // 0 the solver makes points 1.. ; 11 they are given
  uint32_t seed = 1;                    // seed of the Latin hypercube
  std::vector<CAllowedValues> allowed;  // allowed values of each variable
  int parentTaskId = 0;  // the task it was derived from; 0 for a search task or a plain task
  bool parentConverged = false;  // the parent has a solution of its own (below)
  double parentObjective = 0.0;  // the parent's best objective
  bool parentFeasible = false;   // the parent's best design is feasible
};

// Reads the task's records. Throws CTaskDataError when a record is missing or
// the records disagree (array lengths, indices out of range, bounds out of
// order), naming the task and the record.
CTaskProblem ReadTaskProblem(int taskId);

class CTask;

// The constraint tolerance of a task: m_dConTol1 for module type 1, else
// m_dConTol0 (the one the module reads).
double ConstraintToleranceOf(const CTask& task);
// Whether the task minimises its objective (the setting of its module type).
bool MinimizesObjective(const CTask& task);

// The scaled value of one constraint (Design.h): (g - b) / s for "<=" and
// "==", (b - g) / s for ">=".
double ScaledConstraintValue(EConstraintKind kind, double value, double bound, double scale);

// The problem for the optimiser, evaluating through `model` (compiled from
// task.model), which must outlive the result. A task with analyses runs them
// through `analyses` (made from task.analyses, outliving the result too)
// before the expressions of each design; without, `analyses` is null and the
// expressions are all there is.
CContinuousProblem MakeContinuousProblem(const CTaskProblem& task, CExpressionModel& model,
                                         CAnalysisEvaluator* analyses = nullptr);

// The responses of one design: the analyses (when `analyses` is not null),
// then the expressions.
std::vector<double> ResponsesOf(CExpressionModel& model, CAnalysisEvaluator* analyses,
                                const std::vector<double>& design);
