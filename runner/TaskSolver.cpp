#include "TaskSolver.h"

#include <sys/time.h>

#include <chrono>
#include <cmath>
#include <ctime>
#include <memory>
#include <stdexcept>

#include <fmt/format.h>

#include "LatinHypercube.h"
#include "Optimizer.h"
#include "RecordArrays.h"
#include "Records.h"
#include "TaskProblem.h"
#include "Timing.h"

namespace {

constexpr int kImprovementsKeptPerRun = 50;  // module type 0
constexpr int kSubtaskKind = 2;              // CTask m_nTaskKind of a subtask
constexpr int kSampledPoint = 1;             // CDPoint m_nOrigin
constexpr int kOptimizerPoint = 2;           // CDPoint m_nOrigin

std::string LocalTimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
  return text;
}

std::vector<double> ReadPoint(int taskId, int pointId, size_t variableCount) {
  CDPoint point(GetPOD());
  point.m_nTaskID = taskId;
  point.m_nPointID = pointId;
  if (!point.GetObject()) throw CTaskDataError(fmt::format("task {}: its design point {} is missing", taskId, pointId));
  if (point.m_vaValues.size() != variableCount) {
    throw CTaskDataError(fmt::format("task {}: design point {} holds {} values for {} variables", taskId, pointId,
                                     point.m_vaValues.size(), variableCount));
  }
  return ToVector(point.m_vaValues);
}

void WritePoint(int taskId, int pointId, int origin, const CEvaluatedDesign& design) {
  CDPoint point(GetPOD());
  point.m_nTaskID = taskId;
  point.m_nPointID = pointId;
  point.m_nOrigin = origin;
  point.m_vaValues = ToValarray(design.values);
  if (!std::isnan(design.objective)) {
    point.m_vaEval1 = ToValarray(std::vector<double>{design.objective, design.maxConstraint});
    point.m_vaEval2 = ToValarray(design.constraints);
  }
  point.PutObject();
}

// Start points of the run; a module type 1 task that is to make its own gets
// them made and stored here.
std::vector<std::vector<double>> PrepareStartPoints(const CTaskProblem& task) {
  const size_t n = task.lower.size();
  std::vector<std::vector<double>> starts{ReadPoint(task.taskId, 0, n)};
  if (task.moduleType != 1) return starts;
  if (task.initMode == 0) {
    for (auto& sample : LatinHypercube(task.startPointCount - 1, task.lower, task.upper, task.seed)) {
      CEvaluatedDesign unevaluated;
      unevaluated.values = sample;
      WritePoint(task.taskId, static_cast<int>(starts.size()), kSampledPoint, unevaluated);
      starts.push_back(std::move(sample));
    }
  } else {
    for (int pointId = 1; pointId < task.startPointCount; ++pointId) starts.push_back(ReadPoint(task.taskId, pointId, n));
  }
  return starts;
}

void WriteIteration(const CTaskProblem& task, CExpressionModel& model, int iteration, int run, int pointId,
                    const CEvaluatedDesign& design) {
  CIter record(GetPOD());
  record.m_nTaskID = task.taskId;
  record.m_nIter = iteration;
  record.m_nSubIter = run;
  record.m_nPointID = pointId;
  record.m_vaConValues = ToValarray(design.constraints);
  std::vector<double> responses(model.ResponseCount());
  model.Evaluate(design.values.data(), responses.data());
  record.m_vaRespValues = ToValarray(responses);
  record.m_dObjective = design.objective;
  record.m_dMaxCon = design.maxConstraint;
  record.m_nNumAnalyses = design.analysis;
  record.PutObject();
}

struct CBestIteration {
  int iteration = 0;  // CIter m_nIter
  int run = 0;        // CIter m_nSubIter
};

// Iterations and points of every run; returns where the best design is and
// the number of points the task then has.
CBestIteration WriteIterations(const CTaskProblem& task, CExpressionModel& model, const COptimizationResult& result,
                               int& pointCount, int& iterationCount) {
  CBestIteration best;
  for (size_t r = 0; r < result.runs.size(); ++r) {
    const CLocalRun& run = result.runs[r];
    WriteIteration(task, model, 0, static_cast<int>(r), static_cast<int>(r), run.start);
    ++iterationCount;
    for (size_t k = 0; k < run.improvements.size(); ++k) {
      WritePoint(task.taskId, pointCount, kOptimizerPoint, run.improvements[k]);
      WriteIteration(task, model, static_cast<int>(k + 1), static_cast<int>(r), pointCount, run.improvements[k]);
      ++pointCount;
      ++iterationCount;
    }
    if (static_cast<int>(r) == result.bestRun) best = {static_cast<int>(run.improvements.size()), static_cast<int>(r)};
  }
  return best;
}

// Returns whether this was the task's first run (no iteration recorded before).
bool WriteResult(const CTaskProblem& task, CExpressionModel& model, const COptimizationResult& result,
                 const CBestIteration& best, int pointCount, int iterationCount, double seconds) {
  CResult record(GetPOD());
  record.m_nTaskID = task.taskId;
  const bool existed = record.GetObject();
  const bool firstRun = !existed || record.m_nNumIters == 0;
  const CEvaluatedDesign& design = result.Best();
  record.m_nNumPoints = pointCount;
  if (!existed) {
    record.m_nTotalPoints = pointCount;
    record.m_nResultTask = 0;
    record.m_nDiscreteFeasible = 0;
  }
  record.m_nNumAnalyses = result.analyses;
  record.m_nNumGradCalc = result.gradients;
  record.m_nBestIter = best.iteration;
  record.m_nBestSubIter = best.run;
  record.m_dBestObj = design.objective;
  record.m_dBestMaxCon = design.maxConstraint;
  const bool feasible = design.maxConstraint <= task.tolerance;
  record.m_strStatus = feasible ? "feasible" : "infeasible";
  record.m_strOptimizer = task.optimizer.algorithm;
  record.m_strMessage = result.runs[result.bestRun].statusText;
  record.m_vaBestConValues = ToValarray(design.constraints);
  std::vector<double> responses(model.ResponseCount());
  model.Evaluate(design.values.data(), responses.data());
  record.m_vaBestRespValues = ToValarray(responses);
  std::vector<double> runObjectives;
  for (const CLocalRun& run : result.runs) runObjectives.push_back(run.best.objective);
  record.m_vaRunObjectives = ToValarray(runObjectives);
  record.m_nNumIters = iterationCount;
  record.m_nStatusCode = result.runs[result.bestRun].status;
  record.m_dElapsed = seconds;
  record.PutObject();
  return firstRun;
}

// A task solved for the first time starts its run history afresh: a subtask
// carries a copy of its parent's, which is not its own.
void UpdateTask(const CTaskProblem& task, const COptimizationResult& result, const std::string& startTime,
                double seconds, bool firstRun) {
  CTask record(GetPOD());
  record.m_nTaskID = task.taskId;
  if (!record.GetObject()) throw CTaskDataError(fmt::format("task {}: its CTask record is missing", task.taskId));
  if (firstRun) {
    record.m_vRunCodes.clear();
    record.m_vaRunTimes.resize(0);
  }
  record.m_strStatus = result.Best().maxConstraint <= task.tolerance ? "solved: feasible" : "solved: infeasible";
  record.m_strStartTime = startTime;
  record.m_strEndTime = LocalTimeNow();
  record.m_vRunCodes.push_back(result.runs[result.bestRun].status);
  std::valarray<pvFLOAT64> runTimes(record.m_vaRunTimes.size() + 1);
  for (size_t i = 0; i < record.m_vaRunTimes.size(); ++i) runTimes[i] = record.m_vaRunTimes[i];
  runTimes[runTimes.size() - 1] = seconds;
  record.m_vaRunTimes = runTimes;
  for (size_t i = 0; i < record.m_vPointFlags.size() && i < result.runs.size(); ++i) record.m_vPointFlags[i] = 1;
  if (record.m_nParentTaskID != 0) record.m_nTaskKind = kSubtaskKind;
  record.PutObject();
}

}  // namespace

CTaskSolution SolveTask(int taskId) {
  const auto started = std::chrono::steady_clock::now();
  const std::string startTime = LocalTimeNow();
  CTaskProblem task;
  std::vector<std::vector<double>> starts;
  {
    CLock lock(GetPOD(), 0);
    task = ReadTaskProblem(taskId);
    starts = PrepareStartPoints(task);
  }
  std::unique_ptr<CExpressionModel> model;
  try {
    model = std::make_unique<CExpressionModel>(task.model);
  } catch (const CExpressionError& error) {
    const bool isEquation = error.Where() == CExpressionError::EWhere::Equation;
    const std::string& name = isEquation ? task.model.equations[error.Index()].first : task.responseNames[error.Index()];
    throw CTaskDataError(fmt::format("task {}: {} '{}': {}", taskId, isEquation ? "equation" : "response", name, error.what()));
  }
  const CContinuousProblem problem = MakeContinuousProblem(task, *model);
  COptimizationResult result;
  try {
    result = Optimize(problem, starts, task.optimizer, task.moduleType == 1 ? 1 : kImprovementsKeptPerRun);
  } catch (const std::invalid_argument& error) {  // settings the optimiser does not know
    throw CTaskDataError(fmt::format("task {}: {}", taskId, error.what()));
  }
  nNumAnalyses += result.analyses;
  nNumGradCalc += result.gradients;

  CLock lock(GetPOD(), 0);
  int pointCount = static_cast<int>(starts.size());
  int iterationCount = 0;
  const CBestIteration best = WriteIterations(task, *model, result, pointCount, iterationCount);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  const bool firstRun = WriteResult(task, *model, result, best, pointCount, iterationCount, seconds);
  UpdateTask(task, result, startTime, seconds, firstRun);

  CTaskSolution solution;
  solution.taskId = taskId;
  solution.best = result.Best();
  solution.feasible = solution.best.maxConstraint <= task.tolerance;
  solution.runs = static_cast<int>(result.runs.size());
  solution.analyses = result.analyses;
  solution.gradients = result.gradients;
  solution.seconds = seconds;
  return solution;
}
