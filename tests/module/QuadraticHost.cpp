#include "QuadraticHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "BranchBound.h"
#include "Records.h"

namespace {

double Objective(const CProblem& problem, const std::vector<double>& x) {
  double sum = 0.0;
  for (size_t i = 0; i < x.size(); ++i) {
    const CVariable& variable = problem.variables[i];
    sum += variable.dWeight * (x[i] - variable.dTarget) * (x[i] - variable.dTarget);
  }
  return problem.nSense * sum;
}

double Violation(const CProblem& problem, const std::vector<double>& x) {
  double sum = -problem.dLimit;
  for (size_t i = 0; i < x.size(); ++i) sum += problem.variables[i].dCoefficient * x[i];
  return sum;
}

std::vector<double> PointAtMultiplier(const CProblem& problem, const std::vector<double>& lower,
                                      const std::vector<double>& upper, double multiplier) {
  std::vector<double> x(problem.variables.size());
  for (size_t i = 0; i < x.size(); ++i) {
    const CVariable& variable = problem.variables[i];
    const double free = variable.dTarget - multiplier * variable.dCoefficient / (2 * variable.dWeight);
    x[i] = std::clamp(free, lower[i], upper[i]);
  }
  return x;
}

CDesign MakeDesign(const CProblem& problem, std::vector<double> x) {
  const double objective = Objective(problem, x);
  const double violation = Violation(problem, x);
  return CDesign{std::move(x), objective, violation};
}

// The allowed values of variable i inside [lower, upper].
std::vector<double> AllowedValues(const CProblem& problem, size_t i) {
  const CVariable& variable = problem.variables[i];
  std::vector<double> values;
  if (variable.nSetId == -1) {
    for (double v = std::ceil(variable.dLower); v <= variable.dUpper; v += 1.0) values.push_back(v);
  } else {
    for (const CValueSet& set : problem.sets) {
      if (set.nId != variable.nSetId) continue;
      for (double v : set.values) {
        if (v >= variable.dLower && v <= variable.dUpper) values.push_back(v);
      }
    }
  }
  return values;
}

template <class TRecord>
TRecord Fetch(POD* pDatabase, int nTaskID) {
  TRecord record(pDatabase);
  record.m_nTaskID = nTaskID;
  EXPECT_TRUE(record.GetObject()) << record.RecordName() << " of task " << nTaskID;
  return record;
}

std::valarray<pvFLOAT64> Stored(const std::vector<double>& values) {
  return std::valarray<pvFLOAT64>(std::vector<pvFLOAT64>(values.begin(), values.end()).data(),
                                  values.size());
}

// Records a solved design as the task's best: a new point, iteration 1 (the
// search task's own optimum is iteration 0) and the result summary.
void RecordDesign(POD* pDatabase, int nTaskID, int nIter, const CDesign& design) {
  CResult result(pDatabase);
  result.m_nTaskID = nTaskID;
  const bool hasResult = result.GetObject();
  const long pointId = hasResult ? static_cast<long>(result.m_nNumPoints) : 0;

  CDPoint point(pDatabase);
  point.m_nTaskID = nTaskID;
  point.m_nPointID = pointId;
  point.m_nOrigin = 2;
  point.m_vaValues = Stored(design.values);
  point.m_vaEval1 = Stored({design.dObjective, design.dMaxCon});
  point.PutObject();

  CIter iteration(pDatabase);
  iteration.m_nTaskID = nTaskID;
  iteration.m_nIter = nIter;
  iteration.m_nSubIter = 0;
  iteration.m_nPointID = pointId;
  iteration.m_dObjective = design.dObjective;
  iteration.PutObject();

  result.m_nNumPoints = pointId + 1;
  if (!hasResult) result.m_nTotalPoints = 1;
  result.m_nBestIter = nIter;
  result.m_nBestSubIter = 0;
  result.m_dBestObj = design.dObjective;
  result.m_dBestMaxCon = design.dMaxCon;
  result.PutObject();
}

}  // namespace

CDesign SolveInBox(const CProblem& problem, const std::vector<double>& lower,
                   const std::vector<double>& upper) {
  std::vector<double> x = PointAtMultiplier(problem, lower, upper, 0.0);
  if (Violation(problem, x) <= 0.0) return MakeDesign(problem, x);
  double low = 0.0;
  double high = 1.0;
  for (int doubling = 0; doubling < 200 && Violation(problem, PointAtMultiplier(problem, lower, upper, high)) > 0.0;
       ++doubling) {
    high *= 2.0;
  }
  for (int step = 0; step < 200; ++step) {
    const double middle = 0.5 * (low + high);
    (Violation(problem, PointAtMultiplier(problem, lower, upper, middle)) > 0.0 ? low : high) = middle;
  }
  return MakeDesign(problem, PointAtMultiplier(problem, lower, upper, high));
}

std::optional<CDesign> EnumerateBest(const CProblem& problem) {
  const size_t count = problem.variables.size();
  std::vector<double> lower(count), upper(count);
  std::vector<std::vector<double>> choices(count);
  for (size_t i = 0; i < count; ++i) {
    choices[i] = problem.variables[i].nSetId == 0
                     ? std::vector<double>{problem.variables[i].dLower}
                     : AllowedValues(problem, i);
    if (choices[i].empty()) return std::nullopt;
  }
  std::optional<CDesign> best;
  std::vector<size_t> pick(count, 0);
  for (;;) {
    for (size_t i = 0; i < count; ++i) {
      const bool continuous = problem.variables[i].nSetId == 0;
      lower[i] = continuous ? problem.variables[i].dLower : choices[i][pick[i]];
      upper[i] = continuous ? problem.variables[i].dUpper : choices[i][pick[i]];
    }
    const CDesign design = SolveInBox(problem, lower, upper);
    if (design.dMaxCon <= problem.dConTol &&
        (!best || problem.nSense * design.dObjective < problem.nSense * best->dObjective)) {
      best = design;
    }
    size_t i = 0;
    while (i < count && ++pick[i] == choices[i].size()) pick[i++] = 0;
    if (i == count) return best;
  }
}

void WriteSearchTask(POD* pDatabase, const CProblem& problem, int nTaskID) {
  CTask task(pDatabase);
  task.m_nTaskID = nTaskID;
  task.m_nModuleType = problem.nModuleType;
  task.m_nMinimize0 = problem.nSense == 1 ? 1 : 0;
  task.m_nMinimize1 = problem.nSense == 1 ? 1 : 0;
  task.m_dConTol0 = problem.dConTol;
  task.m_dConTol1 = problem.dConTol;
  task.m_nInitMode = 3;
  task.m_nInitCount = 7;
  task.m_nNumInitPoints = 6UL;
  task.m_vPointFlags = {1, 1, 0, 0, 1, 0};
  task.m_nTaskKind = 1;
  task.m_strName = "quadratic";
  task.PutObject();

  const size_t count = problem.variables.size();
  std::vector<double> lower(count), upper(count);
  CDVar variables(pDatabase);
  variables.m_nTaskID = nTaskID;
  for (size_t i = 0; i < count; ++i) {
    lower[i] = problem.variables[i].dLower;
    upper[i] = problem.variables[i].dUpper;
    variables.m_vSetID.push_back(problem.variables[i].nSetId);
    variables.m_vNames.push_back("x" + std::to_string(i));
  }
  variables.m_vaLower = Stored(lower);
  variables.m_vaUpper = Stored(upper);
  variables.PutObject();

  CDSet sets(pDatabase);
  sets.m_nTaskID = nTaskID;
  for (const CValueSet& set : problem.sets) {
    sets.m_vSetIDs.push_back(set.nId);
    sets.m_vSetNames.push_back("set" + std::to_string(set.nId));
    sets.m_vSetValues.emplace_back(set.values.begin(), set.values.end());
  }
  sets.PutObject();

  CDResp responses(pDatabase);
  responses.m_nTaskID = nTaskID;
  responses.m_vNames = {"f", "g"};
  responses.m_vExpressions = {"sum w (x - t)^2", "a.x - b"};
  responses.PutObject();
  CDObj objectives(pDatabase);
  objectives.m_nTaskID = nTaskID;
  objectives.m_vRespIndex = {0};
  objectives.m_vSense = {problem.nSense};
  objectives.PutObject();
  CDCons constraints(pDatabase);
  constraints.m_nTaskID = nTaskID;
  constraints.m_vRespIndex = {1};
  constraints.m_vaBound = Stored({0.0});
  constraints.PutObject();
  CDEqn equations(pDatabase);
  equations.m_nTaskID = nTaskID;
  equations.m_vNames = {"b"};
  equations.PutObject();
  CDLink links(pDatabase);
  links.m_nTaskID = nTaskID;
  links.m_vExpressions = {"none"};
  links.PutObject();

  RecordDesign(pDatabase, nTaskID, 0, SolveInBox(problem, lower, upper));
  for (int extra = 1; extra <= problem.nExtraPoints; ++extra) {
    CDPoint sample(pDatabase);
    sample.m_nTaskID = nTaskID;
    sample.m_nPointID = extra;
    sample.m_nOrigin = 1;
    sample.m_vaValues = Stored(std::vector<double>(count, 0.5 * extra));
    sample.m_vaData3 = Stored({static_cast<double>(extra)});
    sample.PutObject();
  }
  CResult result = Fetch<CResult>(pDatabase, nTaskID);
  result.m_nNumPoints = 1 + problem.nExtraPoints;
  result.m_nTotalPoints = 1 + problem.nExtraPoints;
  result.m_nResultTask = 0;
  result.PutObject();
}

void SolveSubtask(POD* pDatabase, const CProblem& problem, int nTaskID) {
  const CDVar variables = Fetch<CDVar>(pDatabase, nTaskID);
  std::vector<double> lower(std::begin(variables.m_vaLower), std::end(variables.m_vaLower));
  std::vector<double> upper(std::begin(variables.m_vaUpper), std::end(variables.m_vaUpper));
  CDPoint start(pDatabase);
  start.m_nTaskID = nTaskID;
  start.m_nPointID = 0;
  EXPECT_TRUE(start.GetObject()) << "start point of task " << nTaskID;
  EXPECT_EQ(start.m_vaValues.size(), problem.variables.size());
  for (size_t i = 0; problem.nModuleType == 0 && i < start.m_vaValues.size(); ++i) {
    EXPECT_TRUE(start.m_vaValues[i] >= lower[i] && start.m_vaValues[i] <= upper[i])
        << "start value " << i << " of task " << nTaskID << " lies outside its bounds";
  }
  RecordDesign(pDatabase, nTaskID, 1, SolveInBox(problem, lower, upper));
}

int RunSearch(POD* pDatabase, const CProblem& problem, int nTaskID, CLogFile* pLog) {
  int subtasksRun = 0;
  for (int subtask = GenDiscreteTask(nTaskID, pLog); subtask != 0; subtask = GenDiscreteTask(0, pLog)) {
    SolveSubtask(pDatabase, problem, subtask);
    PostDiscreteTask(subtask, false);
    ++subtasksRun;
  }
  return subtasksRun;
}
