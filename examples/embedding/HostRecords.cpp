#include "HostRecords.h"

#include <discrete/Records.h>
#include <discrete/Timing.h>

#include <stdexcept>
#include <string>
#include <valarray>

#include "QuadraticSolver.h"

namespace {

std::valarray<pvFLOAT64> Stored(const std::vector<double>& values) {
  std::valarray<pvFLOAT64> stored(values.size());
  for (size_t i = 0; i < values.size(); ++i) stored[i] = values[i];
  return stored;
}

std::vector<double> Plain(const std::valarray<pvFLOAT64>& stored) {
  return std::vector<double>(std::begin(stored), std::end(stored));
}

// The settings the module reads from CTask: which start-point scheme
// (module type 0: one start point, the parent's best design), minimise or
// maximise, and the constraint tolerance, for each module type alike.
void WriteTask(POD* database, int taskId, const CProblem& problem) {
  CTask task(database);
  task.m_nTaskID = taskId;
  task.m_nModuleType = 0;
  task.m_nMinimize0 = task.m_nMinimize1 = 1;
  task.m_dConTol0 = task.m_dConTol1 = problem.tolerance;
  task.m_nParentTaskID = 0;  // a search task derives from no task
  task.m_strName = "embedding";
  task.m_strDescription = "weighted distance to a target design under a budget";
  task.m_strCreatedBy = "embedding example";
  task.m_strObjectiveName = "distance";
  task.m_nTaskKind = 1;  // a discrete search task, as `discrete show` lists it
  task.SetCreateTime();
  task.PutObject();
}

// The module reads the bounds and m_vSetID; the rest is for people and tools.
void WriteVariables(POD* database, int taskId, const CProblem& problem) {
  CDVar variables(database);
  variables.m_nTaskID = taskId;
  std::vector<double> lower, upper;
  for (const CVariable& variable : problem.variables) {
    lower.push_back(variable.lower);
    upper.push_back(variable.upper);
    variables.m_vSetID.push_back(variable.setId);
    variables.m_vKind.push_back(variable.setId == 0 ? 0 : variable.setId == -1 ? 1 : 2);
    variables.m_vNames.push_back(variable.name);
  }
  variables.m_vaLower = Stored(lower);
  variables.m_vaUpper = Stored(upper);
  variables.PutObject();
}

void WriteSets(POD* database, int taskId, const CProblem& problem) {
  CDSet sets(database);
  sets.m_nTaskID = taskId;
  for (const CValueSet& set : problem.sets) {
    sets.m_vSetIDs.push_back(set.id);
    sets.m_vSetNames.push_back(set.name);
    sets.m_vSetValues.emplace_back(set.values.begin(), set.values.end());
  }
  sets.PutObject();
}

// Responses, objective and constraint as text, for readers of the database:
// this host evaluates its own model. Every subtask is a copy of these.
void WriteFunctions(POD* database, int taskId) {
  CDResp responses(database);
  responses.m_nTaskID = taskId;
  responses.m_vNames = {"distance", "spent"};
  responses.m_vExpressions = {"sum of w_i (x_i - c_i)^2", "sum of a_i x_i"};
  responses.PutObject();
  CDObj objectives(database);
  objectives.m_nTaskID = taskId;
  objectives.m_vRespIndex = {0};
  objectives.m_vSense = {1};
  objectives.PutObject();
  CDCons constraints(database);
  constraints.m_nTaskID = taskId;
  constraints.m_vRespIndex = {1};
  constraints.m_vKind = {0};  // response <= bound
  constraints.PutObject();
  CDEqn equations(database);
  equations.m_nTaskID = taskId;
  equations.PutObject();
  CDLink links(database);
  links.m_nTaskID = taskId;
  links.PutObject();
}

void WriteStartPoint(POD* database, int taskId, const CProblem& problem) {
  CDPoint start(database);
  start.m_nTaskID = taskId;
  start.m_nPointID = 0;
  start.m_nOrigin = 0;  // a given start
  std::vector<double> middle;
  for (const CVariable& variable : problem.variables)
    middle.push_back(0.5 * (variable.lower + variable.upper));
  start.m_vaValues = Stored(middle);
  start.PutObject();
}

void WriteIteration(POD* database, int taskId, int iteration, long pointId,
                    const CSolution& design) {
  CIter record(database);
  record.m_nTaskID = taskId;
  record.m_nIter = iteration;
  record.m_nSubIter = 0;
  record.m_nPointID = pointId;
  record.m_dObjective = design.objective;
  record.m_dMaxCon = design.maxConstraint;
  record.PutObject();
}

}  // namespace

int WriteSearchTask(const CProblem& problem) {
  POD* database = GetPOD();
  CLock lock(database, 0);
  const int taskId = CDBCtrl(database).GetTaskID(true);
  WriteTask(database, taskId, problem);
  WriteVariables(database, taskId, problem);
  WriteSets(database, taskId, problem);
  WriteFunctions(database, taskId);
  WriteStartPoint(database, taskId, problem);
  lock.UnLock();  // commits; a failed commit throws
  return taskId;
}

CSolution SolveTask(const CProblem& problem, int taskId) {
  POD* database = GetPOD();
  CLock lock(database, 0);
  CDVar variables(database);
  CDPoint start(database);
  variables.m_nTaskID = start.m_nTaskID = taskId;
  start.m_nPointID = 0;
  if (!variables.GetObject() || !start.GetObject())
    throw std::runtime_error("task " + std::to_string(taskId) + " has no bounds or start point");
  const CSolution solution =
      SolveContinuous(problem, Plain(variables.m_vaLower), Plain(variables.m_vaUpper));

  // A subtask arrives with the result record the module made (one point, its
  // start); the search task has none yet.
  CResult result(database);
  result.m_nTaskID = taskId;
  const bool isSubtask = result.GetObject();
  const long pointId = isSubtask ? static_cast<long>(result.m_nNumPoints) : 1;

  CDPoint point(database);
  point.m_nTaskID = taskId;
  point.m_nPointID = pointId;
  point.m_nOrigin = 2;  // an optimiser's result
  point.m_vaValues = Stored(solution.values);
  point.m_vaEval1 = Stored({solution.objective, solution.maxConstraint});
  point.PutObject();

  // Iteration 0 names the start, iteration 1 the solution. The module starts
  // the children of this task from the design of iteration (best, 0).
  WriteIteration(database, taskId, 0, 0, Evaluate(problem, Plain(start.m_vaValues)));
  WriteIteration(database, taskId, 1, pointId, solution);

  result.m_nNumPoints = pointId + 1;
  if (!isSubtask) result.m_nTotalPoints = pointId + 1;
  result.m_nNumIters = 2;
  result.m_nBestIter = 1;
  result.m_nBestSubIter = 0;
  result.m_dBestObj = solution.objective;
  result.m_dBestMaxCon = solution.maxConstraint;
  result.m_nStatusCode = 0;  // converged: the solution stands for the task
  const bool feasible = solution.maxConstraint <= problem.tolerance;
  result.m_strStatus = feasible ? "solved: feasible" : "solved: infeasible";
  result.PutObject();

  CTask task(database);
  task.m_nTaskID = taskId;
  if (!task.GetObject())
    throw std::runtime_error("task " + std::to_string(taskId) + " has no CTask record");
  task.m_strStatus = result.m_strStatus;
  if (task.m_nParentTaskID != 0) task.m_nTaskKind = 2;  // a solved subtask of a search
  task.PutObject();
  ++nNumAnalyses;  // the host's analysis counter, which the module copies into the search's result

  lock.UnLock();
  return solution;
}
