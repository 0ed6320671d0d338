#include "tasks/TaskWriter.h"

#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdlib>

#include "Records.h"
#include "tasks/RecordArrays.h"
#include "tasks/RecordKinds.h"
#include "tasks/TaskAnalyses.h"

const char* const kProgramSignature = "discrete 1.0.0";

namespace {

std::string HostName() {
  char name[HOST_NAME_MAX + 1] = {};
  return gethostname(name, sizeof name) == 0 ? name : "";
}

std::string WorkDirectory() {
  char* directory = getcwd(nullptr, 0);
  std::string text = directory != nullptr ? directory : "";
  std::free(directory);
  return text;
}

void WriteTask(int taskId, const CProblem& problem, POD* database) {
  CTask task(database);
  task.m_nTaskID = taskId;
  task.m_nModuleType = problem.moduleType;
  // Both module types' settings are written alike; the module reads the pair of its type.
  task.m_nMinimize0 = problem.minimize ? 1 : 0;
  task.m_nMinimize1 = problem.minimize ? 1 : 0;
  task.m_dConTol0 = problem.tolerance;
  task.m_dConTol1 = problem.tolerance;
  task.m_nInitMode = 0;  // the solver makes the start points beyond point 0
  task.m_nNumInitPoints = static_cast<unsigned long>(problem.startPoints);
  task.m_nInitCount = problem.startPoints + 1;
  task.m_vPointFlags.assign(problem.startPoints, 0);
  task.m_nParentTaskID = 0;
  task.m_strName = problem.name;
  task.m_strDescription = problem.description;
  task.m_strProblemFile = problem.file;
  task.m_strSource = problem.source;
  task.m_strOptimizer = problem.optimizer.algorithm;
  task.m_strCreatedBy = kProgramSignature;
  task.m_strHostName = HostName();
  const char* user = std::getenv("USER");
  task.m_strUserName = user != nullptr ? user : "";
  task.m_strWorkDir = WorkDirectory();
  task.m_strObjectiveName = problem.objectiveName;
  task.m_vIntOptions = {
      problem.optimizer.maxEvaluations,  problem.startPoints,
      static_cast<long>(problem.seed),   static_cast<long>(problem.optimizer.gradient),
      problem.optimizer.retries,         problem.optimizer.rootStarts,
      problem.optimizer.suspiciousStarts};
  task.m_vaRealOptions =
      ToValarray(std::vector<double>{problem.optimizer.xTolerance, problem.optimizer.fTolerance,
                                     problem.optimizer.maxSeconds, problem.optimizer.relativeStep});
  task.m_nTaskKind = Stored(ETaskKind::Search);
  task.SetCreateTime();
  task.PutObject();
}

void WriteVariables(int taskId, const CProblem& problem, POD* database) {
  const size_t n = problem.variables.size();
  CDVar variables(database);
  variables.m_nTaskID = taskId;
  std::vector<double> lower, upper, givenLower, givenUpper, start, scale, reference;
  for (size_t i = 0; i < n; ++i) {
    const CProblemVariable& variable = problem.variables[i];
    lower.push_back(variable.lower);
    upper.push_back(variable.upper);
    givenLower.push_back(variable.givenLower);
    givenUpper.push_back(variable.givenUpper);
    start.push_back(variable.start);
    scale.push_back(variable.scale);
    reference.push_back(variable.reference);
    // Sets are numbered from 1 in declaration order; -1 marks an integer variable.
    variables.m_vSetID.push_back(variable.kind == EVariableKind::Integer ? -1
                                 : variable.kind == EVariableKind::Set   ? variable.setIndex + 1
                                                                         : 0);
    variables.m_vKind.push_back(static_cast<long>(variable.kind));
    variables.m_vSourceLine.push_back(variable.line);
    variables.m_vBoundsMoved.push_back(variable.boundsMoved ? 1 : 0);
    variables.m_vNames.push_back(variable.name);
    variables.m_vDescriptions.push_back(variable.description);
    variables.m_vUnits.push_back(variable.units);
  }
  variables.m_vaLower = ToValarray(lower);
  variables.m_vaUpper = ToValarray(upper);
  variables.m_vaGivenLower = ToValarray(givenLower);
  variables.m_vaGivenUpper = ToValarray(givenUpper);
  variables.m_vaStart = ToValarray(start);
  variables.m_vaScale = ToValarray(scale);
  variables.m_vaReference = ToValarray(reference);
  // Per-variable settings this program does not use keep their "default" value.
  variables.m_vActive.assign(n, 1);
  variables.m_vLinkIndex.assign(n, -1);
  variables.m_vBranchPriority.assign(n, 0);
  variables.m_vDisplayDigits.assign(n, 0);
  variables.m_vGroup.assign(n, -1);
  variables.m_vScaleMode.assign(n, 0);
  variables.m_vReportOrder.assign(n, -1);
  variables.m_vFlags.assign(n, 0);
  variables.m_vaFDStep = ToValarray(std::vector<double>(n, 0.0));
  variables.m_vaInitialStep = ToValarray(std::vector<double>(n, 0.0));
  variables.m_vaXTolerance = ToValarray(std::vector<double>(n, 0.0));
  variables.m_vaResolution = ToValarray(std::vector<double>(n, 0.0));
  variables.m_vaCost = ToValarray(std::vector<double>(n, 0.0));
  variables.PutObject();
}

void WriteSets(int taskId, const CProblem& problem, POD* database) {
  CDSet sets(database);
  sets.m_nTaskID = taskId;
  for (size_t k = 0; k < problem.sets.size(); ++k) {
    sets.m_vSetNames.push_back(problem.sets[k].name);
    sets.m_vSetIDs.push_back(static_cast<long>(k + 1));
    sets.m_vSetValues.emplace_back(problem.sets[k].values.begin(), problem.sets[k].values.end());
  }
  sets.PutObject();
}

void WriteResponses(int taskId, const CProblem& problem, POD* database) {
  CDResp responses(database);
  responses.m_nTaskID = taskId;
  auto add = [&](const std::string& name, const std::string& expression, int line) {
    responses.m_vNames.push_back(name);
    responses.m_vExpressions.push_back(expression);
    responses.m_vDescriptions.push_back("");
    responses.m_vSourceLine.push_back(line);
  };
  add(problem.objectiveName, problem.objective, problem.objectiveLine);
  for (const CProblemConstraint& constraint : problem.constraints) {
    add(constraint.name, constraint.expression, constraint.line);
  }
  const size_t n = responses.m_vNames.size();
  responses.m_vKind.assign(n, 0);
  responses.m_vActive.assign(n, 1);
  responses.m_vGradientMode.assign(n, 0);
  responses.m_vEvalOrder.assign(n, -1);
  responses.m_vOutputIndex.assign(n, -1);
  responses.m_vCacheable.assign(n, 1);
  responses.m_vDisplayDigits.assign(n, 0);
  responses.m_vFlags.assign(n, 0);
  responses.m_vCostWeight.assign(n, 0);
  responses.PutObject();
}

void WriteObjective(int taskId, const CProblem& problem, POD* database) {
  CDObj objectives(database);
  objectives.m_nTaskID = taskId;
  objectives.m_vRespIndex = {0};
  objectives.m_vSense = {problem.minimize ? 1 : -1};
  objectives.m_vaWeight = ToValarray(std::vector<double>{1.0});
  objectives.m_vaScale = ToValarray(std::vector<double>{problem.objectiveScale});
  objectives.m_vaOffset = ToValarray(std::vector<double>{0.0});
  objectives.m_vaTarget = ToValarray(std::vector<double>{problem.referenceObjective});
  objectives.m_vaTargetTol = ToValarray(std::vector<double>{problem.referenceTolerance});
  objectives.PutObject();
}

void WriteConstraints(int taskId, const CProblem& problem, POD* database) {
  CDCons constraints(database);
  constraints.m_nTaskID = taskId;
  std::vector<double> bounds, scales;
  for (size_t k = 0; k < problem.constraints.size(); ++k) {
    const CProblemConstraint& constraint = problem.constraints[k];
    constraints.m_vRespIndex.push_back(static_cast<long>(k + 1));
    constraints.m_vKind.push_back(static_cast<long>(constraint.kind));
    constraints.m_vSourceLine.push_back(constraint.line);
    bounds.push_back(constraint.bound);
    scales.push_back(constraint.scale);
  }
  constraints.m_vaBound = ToValarray(bounds);
  constraints.m_vaScale = ToValarray(scales);
  constraints.PutObject();
}

void WriteEquations(int taskId, const CProblem& problem, POD* database) {
  CDEqn equations(database);
  equations.m_nTaskID = taskId;
  for (const CProblemEquation& equation : problem.equations) {
    equations.m_vSourceLine.push_back(equation.line);
    equations.m_vNames.push_back(equation.name);
    equations.m_vExpressions.push_back(equation.expression);
    equations.m_vDescriptions.push_back(equation.origin);
  }
  equations.PutObject();
}

void WriteStartPoint(int taskId, const CProblem& problem, POD* database) {
  CDPoint start(database);
  start.m_nTaskID = taskId;
  start.m_nPointID = 0;
  start.m_nOrigin = Stored(EPointOrigin::GivenStart);
  start.m_vaValues = ToValarray(StartValues(problem));
  start.PutObject();
}

}  // namespace

std::vector<double> StartValues(const CProblem& problem) {
  std::vector<double> values;
  for (const CProblemVariable& variable : problem.variables) {
    values.push_back(std::isnan(variable.start) ? 0.5 * (variable.lower + variable.upper)
                                                : variable.start);
  }
  return values;
}

int WriteSearchTask(const CProblem& problem) {
  POD* database = GetPOD();
  CLock lock(database, 0);
  const int taskId = CDBCtrl(database).GetTaskID(true);
  WriteTask(taskId, problem, database);
  WriteVariables(taskId, problem, database);
  WriteSets(taskId, problem, database);
  WriteResponses(taskId, problem, database);
  WriteObjective(taskId, problem, database);
  WriteConstraints(taskId, problem, database);
  WriteEquations(taskId, problem, database);
  CDLink links(database);
  links.m_nTaskID = taskId;
  links.PutObject();
  WriteStartPoint(taskId, problem, database);
  WriteAnalyses(taskId, problem.analyses);
  lock.UnLock();  // commits the task; a failed commit throws
  return taskId;
}
