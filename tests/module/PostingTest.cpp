// PostDiscreteTask and UpdateNodeData: what a post writes, the running point
// total, and what is already changed when a post fails.

#include <cstdint>

#include "BranchBound.h"
#include "DiscreteTree.h"
#include "ModuleTestBed.h"
#include "QuadraticHost.h"
#include "Timing.h"

namespace {

constexpr int kSearchTask = 10;

class PostingTest : public CModuleTest {
 protected:
  // Starts a search whose optimum (1.25, 2.25) is fractional and runs its
  // first subtask; returns the subtask's id.
  int StartAndSolveFirstSubtask() {
    m_problem.variables = {{0, 4, 1, 1.5, 1, -1}, {0, 4, 1, 2.5, 1, -1}};
    m_problem.dLimit = 3.5;
    WriteSearchTask(m_pDatabase, m_problem, kSearchTask);
    const int subtask = GenDiscreteTask(kSearchTask, m_pLog.get());
    SolveSubtask(m_pDatabase, m_problem, subtask);
    return subtask;
  }
  CProblem m_problem;
};

TEST_F(PostingTest, PostRecordsTheSubtaskInTheSearchTasksResult) {
  const int subtask = StartAndSolveFirstSubtask();
  nNumAnalyses = 17;
  nNumGradCalc = 5;
  const int storedBefore = theTree.Size();

  PostDiscreteTask(subtask, false);

  EXPECT_EQ(theTree.Size(), storedBefore + 1);
  EXPECT_EQ(curNode.m_dObjective, Fetch<CResult>(subtask).m_dBestObj);
  const CResult searchResult = Fetch<CResult>(kSearchTask);
  EXPECT_EQ(searchResult.m_nResultTask, subtask);
  EXPECT_EQ(searchResult.m_nDiscreteFeasible, curNode.m_bFeasible ? 1 : 0);
  EXPECT_EQ(Fetch<CResult>(subtask).m_nDiscreteFeasible, curNode.m_bFeasible ? 1 : 0);
  EXPECT_EQ(searchResult.m_nNumAnalyses, 17);
  EXPECT_EQ(searchResult.m_nNumGradCalc, 5);
  EXPECT_GT(dbWriteTime.m_dTotal, 0.0);
}

TEST_F(PostingTest, CorrectionFlagSubtractsTheTotalOfTheTaskDerivedFrom) {
  const int subtask = StartAndSolveFirstSubtask();
  ASSERT_EQ(Fetch<CResult>(kSearchTask).m_nTotalPoints, 1);
  ASSERT_EQ(Fetch<CResult>(subtask).m_nNumPoints, 2);  // start point and solution

  PostDiscreteTask(subtask, false);
  EXPECT_EQ(Fetch<CResult>(kSearchTask).m_nTotalPoints, 1 + 2);

  // Derived from the search task itself: its own total is taken off again.
  PostDiscreteTask(subtask, true);
  EXPECT_EQ(Fetch<CResult>(kSearchTask).m_nTotalPoints, 2);
}

TEST_F(PostingTest, RunningTotalWrapsAt32Bits) {
  const int subtask = StartAndSolveFirstSubtask();
  CResult searchResult = Fetch<CResult>(kSearchTask);
  searchResult.m_nTotalPoints = INT32_MAX;
  searchResult.PutObject();
  PostDiscreteTask(subtask, false);
  EXPECT_EQ(Fetch<CResult>(kSearchTask).m_nTotalPoints, INT32_MIN + 1);
}

// A post that fails after the tree took the node: the subtask's flag is
// written, the search task's record is not.
enum class ELateFailure { SubtaskTaskMissing, ResultOfTheTaskDerivedFromMissing };

class LatePostFailure : public PostingTest, public ::testing::WithParamInterface<ELateFailure> {};

TEST_P(LatePostFailure, LeavesTheNodeFiledAndTheSearchRecordUnwritten) {
  const int subtask = StartAndSolveFirstSubtask();
  CResult subtaskResult = Fetch<CResult>(subtask);
  subtaskResult.m_nDiscreteFeasible = 7;
  subtaskResult.PutObject();
  if (GetParam() == ELateFailure::SubtaskTaskMissing) {
    DeleteAll("CTask");
  } else {
    CTask task = Fetch<CTask>(subtask);
    task.m_nParentTaskID = 77;
    task.PutObject();
  }
  const int storedBefore = theTree.Size();

  EXPECT_THROW(PostDiscreteTask(subtask, false), CGetObject);

  EXPECT_EQ(theTree.Size(), storedBefore + 1);
  EXPECT_EQ(Fetch<CResult>(subtask).m_nDiscreteFeasible, curNode.m_bFeasible ? 1 : 0);
  const CResult searchResult = Fetch<CResult>(kSearchTask);
  EXPECT_EQ(searchResult.m_nResultTask, 0);
  EXPECT_EQ(searchResult.m_nTotalPoints, 1);
  EXPECT_EQ(NewExceptionLines().size(), 1u);
  EXPECT_EQ(PassedExceptionLines().size(), 1u);
  EXPECT_TRUE(IsLockFree());
}

INSTANTIATE_TEST_SUITE_P(MissingRecords, LatePostFailure,
                         ::testing::Values(ELateFailure::SubtaskTaskMissing,
                                           ELateFailure::ResultOfTheTaskDerivedFromMissing),
                         [](const ::testing::TestParamInfo<ELateFailure>& info) {
                           return info.param == ELateFailure::SubtaskTaskMissing
                                      ? "SubtaskTaskMissing"
                                      : "ResultOfTheTaskDerivedFromMissing";
                         });

TEST_F(PostingTest, UnreadableSubtaskResultChangesNothing) {
  const int subtask = StartAndSolveFirstSubtask();
  DeleteAll("CIter");
  const double objectiveBefore = curNode.m_dObjective;
  const int storedBefore = theTree.Size();

  EXPECT_THROW(PostDiscreteTask(subtask, false), CGetObject);

  EXPECT_EQ(curNode.m_dObjective, objectiveBefore);
  EXPECT_EQ(theTree.Size(), storedBefore);
  EXPECT_EQ(Fetch<CResult>(kSearchTask).m_nResultTask, 0);
  // Made once, then passed through GetBestResult, UpdateNodeData and
  // PostDiscreteTask, each at its own handler line.
  EXPECT_EQ(NewExceptionLines().size(), 1u);
  const std::vector<std::string> passed = PassedExceptionLines();
  ASSERT_EQ(passed.size(), 3u);
  EXPECT_NE(passed[0], passed[1]);
  EXPECT_NE(passed[1], passed[2]);
  EXPECT_TRUE(IsLockFree());
}

TEST_F(PostingTest, UpdateNodeDataChangesOnlyTheResultFields) {
  const int subtask = StartAndSolveFirstSubtask();
  CDiscreteNode node;
  node.m_nTaskID = 3;
  node.m_vaLower = {9.0};

  UpdateNodeData(node, subtask);

  const CResult result = Fetch<CResult>(subtask);
  EXPECT_EQ(node.m_dObjective, result.m_dBestObj);
  EXPECT_EQ(node.m_dMaxCon, result.m_dBestMaxCon);
  EXPECT_EQ(node.m_vaValues.size(), 2u);
  EXPECT_EQ(node.m_nTaskID, 3);
  EXPECT_EQ(node.m_vaLower.size(), 1u);
}

}  // namespace
