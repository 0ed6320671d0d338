#include "tasks/TaskProblem.h"

#include <fmt/format.h>

#include <cmath>
#include <stdexcept>

#include "Records.h"
#include "ValueAccess.h"
#include "solver/Design.h"
#include "tasks/TaskAnalyses.h"
#include "tasks/TaskResult.h"

namespace {

template <class TRecord>
TRecord ReadRecord(int taskId, const char* name) {
  TRecord record(GetPOD());
  record.m_nTaskID = taskId;
  if (!record.GetObject())
    throw CTaskDataError(fmt::format("task {}: its {} record is missing", taskId, name));
  return record;
}

void RequireLength(size_t actual, size_t expected, int taskId, const char* what) {
  if (actual != expected) {
    throw CTaskDataError(fmt::format("task {}: {} holds {} entries where {} are expected", taskId,
                                     what, actual, expected));
  }
}

void ReadVariables(CTaskProblem& task) {
  const CDVar variables = ReadRecord<CDVar>(task.taskId, "CDVar");
  const size_t n = variables.m_vaLower.size();
  RequireLength(variables.m_vaUpper.size(), n, task.taskId, "CDVar m_vaUpper");
  RequireLength(variables.m_vNames.size(), n, task.taskId, "CDVar m_vNames");
  for (size_t i = 0; i < n; ++i) {
    const double lower = variables.m_vaLower[i];
    const double upper = variables.m_vaUpper[i];
    if (!(lower <= upper)) {
      throw CTaskDataError(
          fmt::format("task {}: variable '{}' has lower bound {} above upper bound {}", task.taskId,
                      variables.m_vNames[i], lower, upper));
    }
    task.lower.push_back(lower);
    task.upper.push_back(upper);
    const double scale = i < variables.m_vaScale.size() ? double(variables.m_vaScale[i]) : 0.0;
    task.typicalMagnitude.push_back(scale > 0 ? scale : 1.0);
    task.relativeStep.push_back(i < variables.m_vaFDStep.size() ? double(variables.m_vaFDStep[i])
                                                                : 0.0);
  }
  task.variableNames = variables.m_vNames;
  task.model.variableNames = variables.m_vNames;

  const CDSet sets = ReadRecord<CDSet>(task.taskId, "CDSet");
  std::vector<int> setIds;
  for (size_t i = 0; i < n; ++i)
    setIds.push_back(i < variables.m_vSetID.size() ? int(variables.m_vSetID[i]) : 0);
  std::vector<int> definedIds;
  for (const pvINT32& id : sets.m_vSetIDs) definedIds.push_back(id);
  std::vector<std::vector<double>> definedValues;
  for (const auto& values : sets.m_vSetValues)
    definedValues.emplace_back(values.begin(), values.end());
  task.allowed = AllowedValuesOf(setIds, definedIds, definedValues);
}

// What the solver needs to know of the task's parent: whether its result
// stands for a solved task, and that result.
void ReadParent(CTaskProblem& task) {
  if (task.parentTaskId == 0) return;
  CResult parent(GetPOD());
  parent.m_nTaskID = task.parentTaskId;
  if (!parent.GetObject()) return;
  task.parentConverged = HasConverged(parent);
  task.parentObjective = parent.m_dBestObj;
  task.parentFeasible = IsFeasible(parent.m_dBestMaxCon, task.tolerance);
}

void ReadModel(CTaskProblem& task) {
  const CDEqn equations = ReadRecord<CDEqn>(task.taskId, "CDEqn");
  RequireLength(equations.m_vExpressions.size(), equations.m_vNames.size(), task.taskId,
                "CDEqn m_vExpressions");
  for (size_t j = 0; j < equations.m_vNames.size(); ++j) {
    task.model.equations.emplace_back(equations.m_vNames[j], equations.m_vExpressions[j]);
  }
  const CDResp responses = ReadRecord<CDResp>(task.taskId, "CDResp");
  RequireLength(responses.m_vNames.size(), responses.m_vExpressions.size(), task.taskId,
                "CDResp m_vNames");
  task.model.responses = responses.m_vExpressions;
  task.responseNames = responses.m_vNames;
}

int ResponseIndex(long index, const CTaskProblem& task, const char* what) {
  if (index < 0 || index >= static_cast<long>(task.model.responses.size())) {
    throw CTaskDataError(fmt::format("task {}: {} names response {}, which does not exist",
                                     task.taskId, what, index));
  }
  return static_cast<int>(index);
}

void ReadObjectiveAndConstraints(CTaskProblem& task) {
  const CDObj objectives = ReadRecord<CDObj>(task.taskId, "CDObj");
  if (objectives.m_vRespIndex.empty())
    throw CTaskDataError(fmt::format("task {}: it has no objective", task.taskId));
  task.objectiveResponse = ResponseIndex(objectives.m_vRespIndex[0], task, "the objective");
  const double scale = objectives.m_vaScale.size() > 0 ? double(objectives.m_vaScale[0]) : 1.0;
  task.objectiveScale = scale > 0 ? scale : 1.0;

  const CDCons constraints = ReadRecord<CDCons>(task.taskId, "CDCons");
  const size_t m = constraints.m_vRespIndex.size();
  RequireLength(constraints.m_vKind.size(), m, task.taskId, "CDCons m_vKind");
  RequireLength(constraints.m_vaBound.size(), m, task.taskId, "CDCons m_vaBound");
  RequireLength(constraints.m_vaScale.size(), m, task.taskId, "CDCons m_vaScale");
  for (size_t k = 0; k < m; ++k) {
    task.constraintResponses.push_back(
        ResponseIndex(constraints.m_vRespIndex[k], task, "a constraint"));
    const long kind = constraints.m_vKind[k];
    if (kind < 0 || kind > 2)
      throw CTaskDataError(fmt::format("task {}: constraint {} has kind {}", task.taskId, k, kind));
    task.constraintKinds.push_back(static_cast<EConstraintKind>(kind));
    task.constraintBounds.push_back(constraints.m_vaBound[k]);
    const double constraintScale = constraints.m_vaScale[k];
    task.constraintScales.push_back(constraintScale > 0 ? constraintScale : 1.0);
  }
}

void ReadSettings(CTaskProblem& task) {
  const CTask record = ReadRecord<CTask>(task.taskId, "CTask");
  task.moduleType = record.m_nModuleType;
  task.minimize = MinimizesObjective(record);
  task.tolerance = ConstraintToleranceOf(record);
  if (!record.m_strOptimizer.empty()) task.optimizer.algorithm = record.m_strOptimizer;
  const auto& ints = record.m_vIntOptions;
  if (ints.size() > 0 && ints[0] > 0) task.optimizer.maxEvaluations = ints[0];
  if (ints.size() > 2) task.seed = static_cast<uint32_t>(long(ints[2]));
  if (ints.size() > 3)
    task.optimizer.gradient = ints[3] == 1 ? EGradientKind::Forward : EGradientKind::Central;
  if (ints.size() > 4) task.optimizer.retries = std::max<int>(0, ints[4]);
  if (ints.size() > 5) task.optimizer.rootStarts = std::max<int>(1, ints[5]);
  if (ints.size() > 6) task.optimizer.suspiciousStarts = std::max<int>(0, ints[6]);
  const auto& reals = record.m_vaRealOptions;
  if (reals.size() > 0) task.optimizer.xTolerance = reals[0];
  if (reals.size() > 1) task.optimizer.fTolerance = reals[1];
  if (reals.size() > 2) task.optimizer.maxSeconds = reals[2];
  if (reals.size() > 3) task.optimizer.relativeStep = reals[3];
  task.initMode = record.m_nInitMode;
  task.parentTaskId = record.m_nParentTaskID;
  task.startPointCount =
      std::max<int>(1, static_cast<int>(CValueAccess::Get(record.m_nNumInitPoints)));
}

}  // namespace

CTaskProblem ReadTaskProblem(int taskId) {
  CTaskProblem task;
  task.taskId = taskId;
  ReadSettings(task);
  ReadVariables(task);
  ReadModel(task);
  ReadObjectiveAndConstraints(task);
  ReadParent(task);
  try {
    task.analyses = ReadTaskAnalyses(taskId);
  } catch (const std::invalid_argument& error) {
    throw CTaskDataError(fmt::format("task {}: {}", taskId, error.what()));
  }
  for (const CAnalysisDefinition& analysis : task.analyses) {
    task.model.inputNames.insert(task.model.inputNames.end(), analysis.writes.begin(),
                                 analysis.writes.end());
  }
  return task;
}

double ConstraintToleranceOf(const CTask& task) {
  return task.m_nModuleType == 1 ? task.m_dConTol1 : task.m_dConTol0;
}

bool MinimizesObjective(const CTask& task) {
  return (task.m_nModuleType == 1 ? task.m_nMinimize1 : task.m_nMinimize0) != 0;
}

double ScaledConstraintValue(EConstraintKind kind, double value, double bound, double scale) {
  return kind == EConstraintKind::AtLeast ? (bound - value) / scale : (value - bound) / scale;
}

CContinuousProblem MakeContinuousProblem(const CTaskProblem& task, CExpressionModel& model,
                                         CAnalysisEvaluator* analyses) {
  CContinuousProblem problem;
  problem.lower = task.lower;
  problem.upper = task.upper;
  problem.typicalMagnitude = task.typicalMagnitude;
  problem.relativeStep = task.relativeStep;
  for (EConstraintKind kind : task.constraintKinds)
    problem.isEquality.push_back(kind == EConstraintKind::EqualTo);
  problem.minimize = task.minimize;
  problem.objectiveScale = task.objectiveScale;
  problem.tolerance = task.tolerance;
  auto fill = [&task](const std::vector<double>& responses, double* objective,
                      double* constraints) {
    *objective = responses[task.objectiveResponse];
    for (size_t k = 0; k < task.constraintResponses.size(); ++k) {
      constraints[k] =
          ScaledConstraintValue(task.constraintKinds[k], responses[task.constraintResponses[k]],
                                task.constraintBounds[k], task.constraintScales[k]);
    }
  };
  if (analyses == nullptr) {
    problem.evaluate = [fill, &model, responses = std::vector<double>(model.ResponseCount())](
                           const double* design, double* objective, double* constraints) mutable {
      model.Evaluate(design, responses.data());
      fill(responses, objective, constraints);
    };
  } else {
    problem.evaluate = [fill, &model, analyses,
                        inputs = std::vector<double>(analyses->InputCount()),
                        responses = std::vector<double>(model.ResponseCount())](
                           const double* design, double* objective, double* constraints) mutable {
      analyses->Evaluate(design, inputs.data());
      model.Evaluate(design, inputs.data(), responses.data());
      fill(responses, objective, constraints);
    };
    problem.prepare = [analyses](const std::vector<std::vector<double>>& designs) {
      analyses->Prepare(designs);
    };
  }
  return problem;
}

std::vector<double> ResponsesOf(CExpressionModel& model, CAnalysisEvaluator* analyses,
                                const std::vector<double>& design) {
  std::vector<double> responses(model.ResponseCount());
  if (analyses == nullptr) {
    model.Evaluate(design.data(), responses.data());
  } else {
    std::vector<double> inputs(analyses->InputCount());
    analyses->Evaluate(design.data(), inputs.data());
    model.Evaluate(design.data(), inputs.data(), responses.data());
  }
  return responses;
}
