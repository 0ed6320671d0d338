// GetBestResult, GetTaskDVData and BranchBoundStop on their own. (Every
// search reads best results through the best sub-iteration: see
// SearchTaskHost.h.)

#include "BranchBound.h"
#include "DiscreteTree.h"
#include "ModuleTestBed.h"
#include "SearchTaskHost.h"
#include "Timing.h"

namespace {

using ReadingTest = CModuleTest;

TEST_F(ReadingTest, MissingBestIterationFailsAfterTheTwoNumbersAreWritten) {
  CSearchProblem problem;
  problem.variables = {{0, 4, 1, 1.5, 1, -1}};
  WriteSearchTask(m_pDatabase, problem, 4);
  DeleteAll("CIter");
  double objective = -99.0, maxCon = -99.0;
  std::valarray<double> values(1.0, 3);
  ExpectFailure<CGetObject>([&] { GetBestResult(4, &objective, &maxCon, values); }, 1);
  EXPECT_EQ(objective, Fetch<CResult>(4).m_dBestObj);
  EXPECT_EQ(maxCon, Fetch<CResult>(4).m_dBestMaxCon);
  EXPECT_EQ(values.size(), 3u);
}

TEST_F(ReadingTest, DesignVariableArraysKeepTheirOwnLengthsAndAMissingRecordChangesNone) {
  std::valarray<int> setIds(9, 4);
  std::valarray<double> lower(1.0, 2), upper;
  ExpectFailure<CGetObject>([&] { GetTaskDVData(4, setIds, lower, upper); }, 1);
  EXPECT_EQ(std::make_pair(setIds.size(), lower.size()), std::make_pair(size_t{4}, size_t{2}));
  EXPECT_EQ(dbReadTime.m_dTotal, 0.0);
  EXPECT_GT(dbReadTime.m_dStart, 0.0);
  CDVar variables(m_pDatabase);
  variables.m_nTaskID = 4;
  variables.m_vaLower = std::valarray<pvFLOAT64>(-1.0, 3);
  variables.m_vaUpper = std::valarray<pvFLOAT64>(2.0, 1);
  variables.m_vSetID = {0, -3};
  variables.PutObject();
  GetTaskDVData(4, setIds, lower, upper);
  EXPECT_THAT(std::vector<int>(std::begin(setIds), std::end(setIds)),
              ::testing::ElementsAre(0, -3));
  EXPECT_EQ(std::make_pair(lower.size(), upper.size()), std::make_pair(size_t{3}, size_t{1}));
}

using StopTest = CModuleTest;

// A search tree over one integer variable; with nIncumbentTask > -1, a
// discrete-feasible node evaluated by that task is its incumbent.
void PlantTree(int nIncumbentTask) {
  std::valarray<int> indices = {0}, setRefs = {-1};
  std::vector<std::vector<double>> noSets;
  theTree = CDiscreteTree(indices, setRefs, noSets, 1e-6, 1);
  if (nIncumbentTask < 0) return;
  CDiscreteNode node(-1);
  node.m_nTaskID = nIncumbentTask;
  node.m_vaValues = {2.0};
  node.m_vaLower = {0.0};
  node.m_vaUpper = {4.0};
  theTree.CheckNode(node);
  ASSERT_TRUE(node.m_bFeasible);
}

TEST_F(StopTest, IncumbentIsWrittenIntoTheNamedTasksResultAndNothingWithoutOne) {
  CResult result(m_pDatabase);
  result.m_nTaskID = 5;
  result.m_nResultTask = 77;
  result.PutObject();
  for (int incumbentTask : {-1, 0}) {  // none, and one without a subtask (counts as none)
    PlantTree(incumbentTask);
    BranchBoundStop(5);
    EXPECT_EQ(Fetch<CResult>(5).m_nResultTask, 77);
  }
  EXPECT_EQ(dbWriteTime.m_dTotal, 0.0);
  PlantTree(12);
  BranchBoundStop(5);
  BranchBoundStop(5);
  EXPECT_EQ(Fetch<CResult>(5).m_nResultTask, 12);
  EXPECT_EQ(Fetch<CResult>(5).m_nDiscreteFeasible, 1);
}

TEST_F(StopTest, MissingResultRecordIsAnError) {
  PlantTree(12);
  ExpectFailure<CGetObject>([] { BranchBoundStop(5); }, 1);
}

}  // namespace
