#include "tasks/TaskSolver.h"

#include <fmt/format.h>
#include <sys/time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>

#include "LogFile.h"
#include "Records.h"
#include "Timing.h"
#include "solver/LatinHypercube.h"
#include "solver/Optimizer.h"
#include "solver/SolveAttempts.h"
#include "tasks/EvaluationTable.h"
#include "tasks/LocalTime.h"
#include "tasks/RecordArrays.h"
#include "tasks/RecordKinds.h"
#include "tasks/TaskProblem.h"

namespace {

constexpr int kImprovementsKeptPerRun = 50;  // module type 0

// The task's compiled expressions and, for a task with analyses, the
// programs run before them.
struct CTaskModel {
  std::unique_ptr<CExpressionModel> expressions;
  std::unique_ptr<CExpressionModel>
      quantities;  // what analyses read besides variables; may be null
  std::unique_ptr<CAnalysisEvaluator> analyses;  // null without analyses
};

// The equations that analyses read (the quantities of catalogue variables,
// which depend on their variable alone), as a model whose responses are
// their values; null when analyses read variables only.
std::unique_ptr<CExpressionModel> QuantitiesReadByAnalyses(const CTaskProblem& task,
                                                           std::vector<std::string>& names) {
  CModelDefinition definition;
  definition.variableNames = task.variableNames;
  for (const auto& [name, expression] : task.model.equations) {
    const bool read = std::any_of(
        task.analyses.begin(), task.analyses.end(), [&](const CAnalysisDefinition& analysis) {
          return std::find(analysis.reads.begin(), analysis.reads.end(), name) !=
                 analysis.reads.end();
        });
    if (!read) continue;
    definition.equations.emplace_back(name, expression);
    definition.responses.push_back(name);
    names.push_back(name);
  }
  if (names.empty()) return nullptr;
  return std::make_unique<CExpressionModel>(definition);
}

// A failed evaluation of an analysis program, in the log (stderr without one).
void LogAnalysisFailure(const std::string& line) {
  if (CLogFile* log = GetCurrentLog())
    log->WriteLine("ANALYSIS", line.c_str());
  else
    fmt::print(stderr, "{}\n", line);
}

std::vector<double> ReadPoint(int taskId, int pointId, size_t variableCount) {
  CDPoint point(GetPOD());
  point.m_nTaskID = taskId;
  point.m_nPointID = pointId;
  if (!point.GetObject())
    throw CTaskDataError(fmt::format("task {}: its design point {} is missing", taskId, pointId));
  if (point.m_vaValues.size() != variableCount) {
    throw CTaskDataError(fmt::format("task {}: design point {} holds {} values for {} variables",
                                     taskId, pointId, point.m_vaValues.size(), variableCount));
  }
  return ToVector(point.m_vaValues);
}

void WritePoint(int taskId, int pointId, EPointOrigin origin, const CEvaluatedDesign& design) {
  CDPoint point(GetPOD());
  point.m_nTaskID = taskId;
  point.m_nPointID = pointId;
  point.m_nOrigin = Stored(origin);
  point.m_vaValues = ToValarray(design.values);
  if (!std::isnan(design.objective)) {
    point.m_vaEval1 = ToValarray(std::vector<double>{design.objective, design.maxConstraint});
    point.m_vaEval2 = ToValarray(design.constraints);
  }
  point.PutObject();
}

// How many start points the task's first local searches begin from, and
// whether those after point 0 are made here (else they are stored already).
int StartPointCount(const CTaskProblem& task, bool& madeHere) {
  madeHere = task.moduleType != 1 || task.initMode == 0;
  if (task.moduleType == 1) return task.startPointCount;
  return task.parentTaskId == 0 ? task.optimizer.rootStarts : 1;
}

// Start points of the run; those the task is to make are made and stored here.
std::vector<std::vector<double>> PrepareStartPoints(const CTaskProblem& task) {
  const size_t n = task.lower.size();
  std::vector<std::vector<double>> starts{ReadPoint(task.taskId, 0, n)};
  bool madeHere = false;
  const int count = StartPointCount(task, madeHere);
  if (madeHere) {
    for (auto& sample : LatinHypercube(count - 1, task.lower, task.upper, task.seed)) {
      CEvaluatedDesign unevaluated;
      unevaluated.values = sample;
      WritePoint(task.taskId, static_cast<int>(starts.size()), EPointOrigin::Sampled, unevaluated);
      starts.push_back(std::move(sample));
    }
  } else {
    for (int pointId = 1; pointId < count; ++pointId)
      starts.push_back(ReadPoint(task.taskId, pointId, n));
  }
  return starts;
}

// Moves the discrete values of every run's best design onto their allowed
// values where they lie within kSnapTolerance of one, evaluates the design
// there (one analysis each), and chooses the best run again.
void SnapRunsToAllowedValues(COptimizationResult& result, const CContinuousProblem& problem,
                             const CTaskProblem& task, int maxImprovements) {
  for (CLocalRun& run : result.runs) {
    std::vector<double> values = run.best.values;
    if (!SnapToAllowedValues(values, task.allowed, task.lower, task.upper)) continue;
    CEvaluatedDesign exact = EvaluateDesign(problem, values);
    exact.analysis = ++result.analyses;
    ++run.analyses;
    run.best = exact;
    if (!run.improvements.empty() && static_cast<int>(run.improvements.size()) >= maxImprovements) {
      run.improvements.back() = exact;
    } else {
      run.improvements.push_back(exact);
    }
  }
  for (size_t r = 0; r < result.runs.size(); ++r) {
    if (IsBetterDesign(result.runs[r].best, result.Best(), problem.minimize, problem.tolerance)) {
      result.bestRun = static_cast<int>(r);
    }
  }
}

// The seed of a task's extra start points: its search's seed mixed with its
// bounds (FNV-1a over their bytes). Not with its id: a search run again (an
// interrupted one resumed) gives the same node another id, and must make the
// same start points so that it evaluates the same designs.
uint32_t SeedOfBox(const CTaskProblem& task) {
  uint32_t hash = 2166136261u ^ task.seed;
  for (const std::vector<double>* bounds : {&task.lower, &task.upper}) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(bounds->data());
    for (size_t i = 0; i < bounds->size() * sizeof(double); ++i)
      hash = (hash ^ bytes[i]) * 16777619u;
  }
  return hash;
}

// A subtask's result is suspicious when its parent converged and it is
// infeasible where the parent was feasible, or worse than the parent by more
// than a thousandth of the parent's objective (at least the tolerance): a
// local optimum of the node's box may then hide a better one.
bool IsSuspicious(const CTaskProblem& task, const CEvaluatedDesign& best) {
  if (task.parentTaskId == 0 || !task.parentConverged || !task.parentFeasible) return false;
  if (!IsFeasible(best.maxConstraint, task.tolerance)) return true;
  const double gap = std::max(task.tolerance, 1e-3 * std::fabs(task.parentObjective));
  return task.minimize ? best.objective > task.parentObjective + gap
                       : best.objective < task.parentObjective - gap;
}

void WriteIteration(const CTaskProblem& task, CTaskModel& model, int iteration, int run,
                    int pointId, const CEvaluatedDesign& design) {
  CIter record(GetPOD());
  record.m_nTaskID = task.taskId;
  record.m_nIter = iteration;
  record.m_nSubIter = run;
  record.m_nPointID = pointId;
  record.m_vaConValues = ToValarray(design.constraints);
  record.m_vaRespValues =
      ToValarray(ResponsesOf(*model.expressions, model.analyses.get(), design.values));
  record.m_dObjective = design.objective;
  record.m_dMaxCon = design.maxConstraint;
  record.m_nNumAnalyses = design.analysis;
  record.PutObject();
}

// What CResult m_dBestMaxCon of a task that did not converge holds: worse
// than any tolerance, so the module closes the node.
constexpr double kNotConvergedMaxConstraint = std::numeric_limits<double>::infinity();

// "solved: feasible", "solved: infeasible", or "not converged: " and how the
// best local search ended.
std::string StatusWords(const CTaskProblem& task, const COptimizationResult& result) {
  const ESolveStatus status = result.Status();
  if (!IsConverged(status)) return std::string("not converged: ") + Describe(status);
  return IsFeasible(result.Best().maxConstraint, task.tolerance) ? "solved: feasible"
                                                                 : "solved: infeasible";
}

struct CBestIteration {
  int iteration = 0;  // CIter m_nIter
  int run = 0;        // CIter m_nSubIter
};

// Start points made by the retries, then iterations and points of every run,
// the best run first; returns where the best design is. `pointCount` comes in
// as the number of start points stored before the run and leaves as the
// number the task then has.
CBestIteration WriteIterations(const CTaskProblem& task, CTaskModel& model,
                               const COptimizationResult& result, int& pointCount,
                               int& iterationCount) {
  for (const CLocalRun& run : result.runs) {
    if (run.startIndex >= pointCount)
      WritePoint(task.taskId, run.startIndex, EPointOrigin::Sampled, run.start);
  }
  pointCount = std::max(pointCount, static_cast<int>(result.runs.size()));
  std::vector<int> order{result.bestRun};
  for (int r = 0; r < static_cast<int>(result.runs.size()); ++r) {
    if (r != result.bestRun) order.push_back(r);
  }
  for (int s = 0; s < static_cast<int>(order.size()); ++s) {
    const CLocalRun& run = result.runs[order[s]];
    WriteIteration(task, model, 0, s, run.startIndex, run.start);
    ++iterationCount;
    for (size_t k = 0; k < run.improvements.size(); ++k) {
      WritePoint(task.taskId, pointCount, EPointOrigin::Optimizer, run.improvements[k]);
      WriteIteration(task, model, static_cast<int>(k + 1), s, pointCount, run.improvements[k]);
      ++pointCount;
      ++iterationCount;
    }
  }
  return {static_cast<int>(result.runs[result.bestRun].improvements.size()), 0};
}

// Returns whether this was the task's first run (no iteration recorded before).
bool WriteResult(const CTaskProblem& task, CTaskModel& model, const COptimizationResult& result,
                 const CBestIteration& best, int pointCount, int iterationCount, double seconds) {
  CResult record(GetPOD());
  record.m_nTaskID = task.taskId;
  const bool existed = record.GetObject();
  const bool firstRun = !existed || record.m_nNumIters == 0;
  const CEvaluatedDesign& design = result.Best();
  const ESolveStatus status = result.Status();
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
  record.m_dBestMaxCon = IsConverged(status) ? design.maxConstraint : kNotConvergedMaxConstraint;
  record.m_strStatus = StatusWords(task, result);
  record.m_strOptimizer = task.optimizer.algorithm;
  record.m_strMessage = fmt::format("{}; {} local search{}", result.runs[result.bestRun].statusText,
                                    result.runs.size(), result.runs.size() == 1 ? "" : "es");
  record.m_vaBestConValues = ToValarray(design.constraints);
  record.m_vaBestRespValues =
      ToValarray(ResponsesOf(*model.expressions, model.analyses.get(), design.values));
  std::vector<double> runObjectives;
  for (const CLocalRun& run : result.runs) runObjectives.push_back(run.best.objective);
  record.m_vaRunObjectives = ToValarray(runObjectives);
  record.m_nNumIters = iterationCount;
  record.m_nStatusCode = static_cast<int>(status);
  record.m_dElapsed = seconds;
  record.PutObject();
  return firstRun;
}

// A task solved for the first time starts its run history afresh: a subtask
// carries a copy of its parent's, which is not its own.
void UpdateTask(const CTaskProblem& task, const COptimizationResult& result,
                const std::string& startTime, double seconds, bool firstRun) {
  CTask record(GetPOD());
  record.m_nTaskID = task.taskId;
  if (!record.GetObject())
    throw CTaskDataError(fmt::format("task {}: its CTask record is missing", task.taskId));
  if (firstRun) {
    record.m_vRunCodes.clear();
    record.m_vaRunTimes.resize(0);
  }
  record.m_strStatus = StatusWords(task, result);
  record.m_strStartTime = startTime;
  record.m_strEndTime = LocalTimeNow();
  record.m_vRunCodes.push_back(result.runs[result.bestRun].code);
  std::valarray<pvFLOAT64> runTimes(record.m_vaRunTimes.size() + 1);
  for (size_t i = 0; i < record.m_vaRunTimes.size(); ++i) runTimes[i] = record.m_vaRunTimes[i];
  runTimes[runTimes.size() - 1] = seconds;
  record.m_vaRunTimes = runTimes;
  for (size_t i = 0; i < record.m_vPointFlags.size() && i < result.runs.size(); ++i)
    record.m_vPointFlags[i] = 1;
  if (record.m_nParentTaskID != 0) record.m_nTaskKind = Stored(ETaskKind::Subtask);
  record.PutObject();
}

}  // namespace

CTaskSolution SolveTask(int taskId, const CTaskSolveSettings& settings) {
  const auto started = std::chrono::steady_clock::now();
  const std::string startTime = LocalTimeNow();
  CTaskProblem task;
  std::vector<std::vector<double>> starts;
  {
    CLock lock(GetPOD(), 0);
    task = ReadTaskProblem(taskId);
    starts = PrepareStartPoints(task);
  }
  CTaskModel model;
  CEvaluationTable evaluations(taskId);
  try {
    model.expressions = std::make_unique<CExpressionModel>(task.model);
  } catch (const CExpressionError& error) {
    const bool isEquation = error.Where() == CExpressionError::EWhere::Equation;
    const std::string& name =
        isEquation ? task.model.equations[error.Index()].first : task.responseNames[error.Index()];
    throw CTaskDataError(fmt::format("task {}: {} '{}': {}", taskId,
                                     isEquation ? "equation" : "response", name, error.what()));
  }
  if (!task.analyses.empty()) {
    try {
      CEvaluatorSettings evaluatorSettings;
      model.quantities = QuantitiesReadByAnalyses(task, evaluatorSettings.quantityNames);
      if (model.quantities) {
        evaluatorSettings.quantitiesOf = [quantities = model.quantities.get()](const double* design,
                                                                               double* values) {
          quantities->Evaluate(design, values);
        };
      }
      evaluatorSettings.jobs = settings.jobs;
      evaluatorSettings.executor = settings.executor;
      evaluatorSettings.functions = settings.functions;
      evaluatorSettings.report = LogAnalysisFailure;
      evaluatorSettings.store = &evaluations;
      model.analyses = std::make_unique<CAnalysisEvaluator>(task.analyses, task.variableNames,
                                                            std::move(evaluatorSettings));
    } catch (const std::invalid_argument& error) {
      throw CTaskDataError(fmt::format("task {}: {}", taskId, error.what()));
    } catch (const CExpressionError& error) {
      throw CTaskDataError(
          fmt::format("task {}: a quantity that analyses read: {}", taskId, error.what()));
    }
  }
  CContinuousProblem problem =
      MakeContinuousProblem(task, *model.expressions, model.analyses.get());
  problem.deadline = settings.deadline;
  CSolvePlan plan;
  plan.settings = task.optimizer;
  plan.improvementsKept = task.moduleType == 1 ? 1 : kImprovementsKeptPerRun;
  plan.seed = SeedOfBox(task);
  plan.isSuspicious = [&task](const CEvaluatedDesign& best) { return IsSuspicious(task, best); };
  COptimizationResult result;
  try {
    result = RunLocalSearches(problem, starts, plan);
  } catch (const std::invalid_argument& error) {  // settings the optimiser does not know
    throw CTaskDataError(fmt::format("task {}: {}", taskId, error.what()));
  }
  SnapRunsToAllowedValues(result, problem, task, plan.improvementsKept);
  nNumAnalyses += result.analyses;
  nNumGradCalc += result.gradients;

  CLock lock(GetPOD(), 0);
  int pointCount = static_cast<int>(starts.size());
  int iterationCount = 0;
  const CBestIteration best = WriteIterations(task, model, result, pointCount, iterationCount);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  const bool firstRun = WriteResult(task, model, result, best, pointCount, iterationCount, seconds);
  UpdateTask(task, result, startTime, seconds, firstRun);

  CTaskSolution solution;
  solution.taskId = taskId;
  solution.best = result.Best();
  solution.status = result.Status();
  solution.feasible =
      IsConverged(solution.status) && IsFeasible(solution.best.maxConstraint, task.tolerance);
  solution.runs = static_cast<int>(result.runs.size());
  solution.analyses = result.analyses;
  solution.gradients = result.gradients;
  solution.seconds = seconds;
  return solution;
}
