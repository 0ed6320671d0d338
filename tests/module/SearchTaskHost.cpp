#include "SearchTaskHost.h"

#include <gtest/gtest.h>

#include "BranchBound.h"
#include "RecordFields.h"
#include "Records.h"

namespace {

// Records a solved design as the task's best: a new point, the iteration
// (nIter, nIter) that names it, and the result summary. Before it, the
// sub-iterations (nIter, 0 .. nIter - 1) name point 0, the start point: only
// the best sub-iteration leads to the design.
void RecordDesign(POD* pDatabase, int nTaskID, int nIter, const CDesign& design) {
  CResult result(pDatabase);
  result.m_nTaskID = nTaskID;
  const bool hasResult = result.GetObject();
  const long pointId = hasResult ? static_cast<long>(result.m_nNumPoints) : 0;
  CDPoint point(pDatabase);
  point.m_nTaskID = nTaskID;
  point.m_nPointID = pointId;
  point.m_vaValues = Stored(design.values);
  point.PutObject();
  CIter iteration(pDatabase);
  iteration.m_nTaskID = nTaskID;
  iteration.m_nIter = nIter;
  for (int subIteration = 0; subIteration <= nIter; ++subIteration) {
    iteration.m_nSubIter = subIteration;
    iteration.m_nPointID = subIteration == nIter ? pointId : 0;
    iteration.PutObject();
  }
  result.m_nNumPoints = pointId + 1;
  if (!hasResult) result.m_nTotalPoints = 1;
  result.m_nBestIter = result.m_nBestSubIter = nIter;
  result.m_dBestObj = design.dObjective;
  result.m_dBestMaxCon = design.dMaxCon;
  result.PutObject();
}

// Writes one record of each class for the task, every field filled.
template <class... TRecords>
void WriteFilledRecords(POD* pDatabase, int nTaskID) {
  unsigned seed = 3;
  (PutFilled<TRecords>(pDatabase, nTaskID, seed++), ...);
}

}  // namespace

std::valarray<double> Plain(const std::valarray<pvFLOAT64>& stored) {
  std::valarray<double> values(stored.size());
  for (size_t i = 0; i < values.size(); ++i) values[i] = stored[i];
  return values;
}

std::valarray<pvFLOAT64> Stored(const std::valarray<double>& values) {
  std::valarray<pvFLOAT64> stored(values.size());
  for (size_t i = 0; i < values.size(); ++i) stored[i] = values[i];
  return stored;
}

CSearchProblem TwoIntegerProblem() {
  CSearchProblem problem;
  problem.variables = {{0, 4, 1, 1.5, 1, -1}, {0, 4, 1, 2.5, 1, -1}};
  problem.dLimit = 3.5;
  return problem;
}

void WriteSearchTask(POD* pDatabase, const CSearchProblem& problem, int nTaskID) {
  CTask task(pDatabase);
  task.m_nTaskID = nTaskID;
  FillFields(task, 1);
  task.m_nModuleType = problem.nModuleType;
  task.m_nMinimize0 = task.m_nMinimize1 = problem.nSense == 1 ? 1 : 0;
  task.m_dConTol0 = task.m_dConTol1 = problem.dConTol;
  task.m_vChildTaskIDs.clear();
  task.PutObject();

  CDVar variables(pDatabase);
  variables.m_nTaskID = nTaskID;
  FillFields(variables, 2);
  variables.m_vSetID.clear();
  for (const CTestVariable& variable : problem.variables)
    variables.m_vSetID.push_back(variable.nSetId);
  const auto [lower, upper] = problem.Bounds();
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

  WriteFilledRecords<CDResp, CDObj, CDCons, CDEqn, CDLink>(pDatabase, nTaskID);

  RecordDesign(pDatabase, nTaskID, 0, problem.Solve(lower, upper));
  for (int extra = 1; extra <= problem.nExtraPoints; ++extra) {
    CDPoint sample(pDatabase);
    sample.m_nTaskID = nTaskID;
    sample.m_nPointID = extra;
    FillFields(sample, extra);
    sample.m_vaValues = std::valarray<pvFLOAT64>(0.5 * extra, problem.variables.size());
    sample.PutObject();
  }
  CResult result(pDatabase);
  result.m_nTaskID = nTaskID;
  result.GetObject();
  result.m_nNumPoints = result.m_nTotalPoints = 1 + problem.nExtraPoints;
  result.PutObject();
}

void SolveSubtask(POD* pDatabase, const CSearchProblem& problem, int nTaskID) {
  CDVar variables(pDatabase);
  CDPoint start(pDatabase);
  variables.m_nTaskID = start.m_nTaskID = nTaskID;
  EXPECT_TRUE(variables.GetObject() && start.GetObject())
      << "bounds or start point of task " << nTaskID;
  const std::valarray<double> lower = Plain(variables.m_vaLower),
                              upper = Plain(variables.m_vaUpper);
  const std::valarray<double> startValues = Plain(start.m_vaValues);
  EXPECT_EQ(startValues.size(), problem.variables.size());
  if (problem.nModuleType == 0 && startValues.size() == lower.size() &&
      lower.size() == upper.size()) {
    EXPECT_TRUE((startValues >= lower).min() && (startValues <= upper).min())
        << "the start point of task " << nTaskID << " lies outside its bounds";
  }
  RecordDesign(pDatabase, nTaskID, 1, problem.Solve(lower, upper));
}

int RunSearch(POD* pDatabase, const CSearchProblem& problem, int nTaskID, CLogFile* pLog) {
  int subtasksRun = 0;
  for (int subtask = GenDiscreteTask(nTaskID, pLog); subtask != 0;
       subtask = GenDiscreteTask(0, pLog)) {
    SolveSubtask(pDatabase, problem, subtask);
    PostDiscreteTask(subtask, false);
    ++subtasksRun;
  }
  return subtasksRun;
}
