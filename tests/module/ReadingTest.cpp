// GetBestResult, GetTaskDVData and BranchBoundStop on hand-written records.

#include <gmock/gmock.h>

#include "BranchBound.h"
#include "DiscreteTree.h"
#include "ModuleTestBed.h"
#include "Timing.h"

namespace {

using ::testing::ElementsAre;

class ReadingTest : public CModuleTest {
 protected:
  // Task 4's best design is iteration (2, 1), which holds point 5.
  void WriteBestResult() {
    CResult result(m_pDatabase);
    result.m_nTaskID = 4;
    result.m_nBestIter = 2;
    result.m_nBestSubIter = 1;
    result.m_dBestObj = -3.5;
    result.m_dBestMaxCon = 0.25;
    result.PutObject();
    for (int subIteration : {0, 1}) {
      CIter iteration(m_pDatabase);
      iteration.m_nTaskID = 4;
      iteration.m_nIter = 2;
      iteration.m_nSubIter = subIteration;
      iteration.m_nPointID = 4 + subIteration;
      iteration.PutObject();
    }
    WritePoint(5, {7.0, 8.0});
  }
  void WritePoint(int nPointID, std::vector<double> values) {
    CDPoint point(m_pDatabase);
    point.m_nTaskID = 4;
    point.m_nPointID = nPointID;
    point.m_vaValues.resize(values.size());
    for (size_t i = 0; i < values.size(); ++i) point.m_vaValues[i] = values[i];
    point.PutObject();
  }
};

TEST_F(ReadingTest, BestResultFollowsTheResultToItsIterationAndPoint) {
  WriteBestResult();
  double objective = 0.0;
  double maxCon = 0.0;
  std::valarray<double> values(1.0, 5);

  GetBestResult(4, &objective, &maxCon, values);

  EXPECT_EQ(objective, -3.5);
  EXPECT_EQ(maxCon, 0.25);
  EXPECT_THAT(std::vector<double>(std::begin(values), std::end(values)), ElementsAre(7.0, 8.0));
  EXPECT_GT(dbReadTime.m_dTotal, 0.0);
}

TEST_F(ReadingTest, BestPointWithoutValuesGivesAnEmptyArray) {
  WriteBestResult();
  WritePoint(5, {});
  double objective = 0.0;
  double maxCon = 0.0;
  std::valarray<double> values(1.0, 5);
  GetBestResult(4, &objective, &maxCon, values);
  EXPECT_EQ(values.size(), 0u);
}

TEST_F(ReadingTest, MissingBestIterationFailsAfterTheTwoNumbersAreWritten) {
  WriteBestResult();
  DeleteAll("CIter");
  double objective = 0.0;
  double maxCon = 0.0;
  std::valarray<double> values(1.0, 3);

  EXPECT_THROW(GetBestResult(4, &objective, &maxCon, values), CGetObject);

  EXPECT_EQ(objective, -3.5);
  EXPECT_EQ(maxCon, 0.25);
  EXPECT_EQ(values.size(), 3u);
  EXPECT_TRUE(IsLockFree());
}

TEST_F(ReadingTest, DesignVariableArraysKeepTheirOwnLengthsAndSetIds) {
  CDVar variables(m_pDatabase);
  variables.m_nTaskID = 4;
  variables.m_vaLower = std::valarray<pvFLOAT64>(-1.0, 3);
  variables.m_vaUpper = std::valarray<pvFLOAT64>(2.0, 1);
  variables.m_vSetID = {0, -3};
  variables.PutObject();
  std::valarray<int> setIds(9, 4);
  std::valarray<double> lower;
  std::valarray<double> upper;

  GetTaskDVData(4, setIds, lower, upper);

  EXPECT_THAT(std::vector<int>(std::begin(setIds), std::end(setIds)), ElementsAre(0, -3));
  EXPECT_EQ(lower.size(), 3u);
  EXPECT_EQ(upper.size(), 1u);
}

TEST_F(ReadingTest, MissingDesignVariablesLeaveTheArraysAndTheReadTotal) {
  std::valarray<int> setIds(9, 4);
  std::valarray<double> lower(1.0, 2);
  std::valarray<double> upper;

  EXPECT_THROW(GetTaskDVData(4, setIds, lower, upper), CGetObject);

  EXPECT_EQ(setIds.size(), 4u);
  EXPECT_EQ(lower.size(), 2u);
  EXPECT_EQ(dbReadTime.m_dTotal, 0.0);
  EXPECT_GT(dbReadTime.m_dStart, 0.0);
}

class StopTest : public CModuleTest {
 protected:
  // A search tree over one integer variable, with no incumbent yet.
  void PlantTree() {
    std::valarray<int> indices = {0};
    std::valarray<int> setRefs = {-1};
    std::vector<std::vector<double>> sets;
    theTree = CDiscreteTree(indices, setRefs, sets, 1e-6, 1);
  }
  // Makes a discrete-feasible node evaluated by task nTaskID the incumbent.
  void FindIncumbent(int nTaskID) {
    CDiscreteNode node(-1);
    node.m_nTaskID = nTaskID;
    node.m_vaValues = {2.0};
    node.m_vaLower = {0.0};
    node.m_vaUpper = {4.0};
    theTree.CheckNode(node);
    ASSERT_TRUE(node.m_bFeasible);
  }
  void WriteResult(int nTaskID) {
    CResult result(m_pDatabase);
    result.m_nTaskID = nTaskID;
    result.m_nResultTask = 77;
    result.m_nDiscreteFeasible = 0;
    result.PutObject();
  }
};

TEST_F(StopTest, IncumbentIsWrittenIntoTheNamedTasksResult) {
  PlantTree();
  FindIncumbent(12);
  WriteResult(5);

  BranchBoundStop(5);
  BranchBoundStop(5);

  EXPECT_EQ(Fetch<CResult>(5).m_nResultTask, 12);
  EXPECT_EQ(Fetch<CResult>(5).m_nDiscreteFeasible, 1);
}

TEST_F(StopTest, WithoutAnIncumbentNothingIsWritten) {
  PlantTree();
  WriteResult(5);
  BranchBoundStop(5);
  EXPECT_EQ(Fetch<CResult>(5).m_nResultTask, 77);
  EXPECT_EQ(dbWriteTime.m_dTotal, 0.0);

  FindIncumbent(0);  // an incumbent without a subtask counts as none
  BranchBoundStop(5);
  EXPECT_EQ(Fetch<CResult>(5).m_nResultTask, 77);
}

TEST_F(StopTest, MissingResultRecordIsAnError) {
  PlantTree();
  EXPECT_THROW(BranchBoundStop(5), CGetObject);
  EXPECT_TRUE(IsLockFree());
}

}  // namespace
