// PostDiscreteTask and UpdateNodeData: what a post writes, the running point
// total, and what is already changed when a post fails.

#include <cstdint>

#include "BranchBound.h"
#include "DiscreteTree.h"
#include "ModuleTestBed.h"
#include "SearchTaskHost.h"
#include "Timing.h"

namespace {

constexpr int kSearchTask = 10;

class PostingTest : public CModuleTest {
 protected:
  // Starts a search whose optimum (1.25, 2.25) is fractional and runs its
  // first subtask; returns the subtask's id.
  int StartAndSolveFirstSubtask() {
    CSearchProblem problem;
    problem.variables = {{0, 4, 1, 1.5, 1, -1}, {0, 4, 1, 2.5, 1, -1}};
    problem.dLimit = 3.5;
    WriteSearchTask(m_pDatabase, problem, kSearchTask);
    const int subtask = GenDiscreteTask(kSearchTask, m_pLog.get());
    SolveSubtask(m_pDatabase, problem, subtask);
    m_storedBefore = theTree.Size();
    return subtask;
  }
  int m_storedBefore = 0;  // nodes stored before the post
};

TEST_F(PostingTest, PostRecordsTheSubtaskInTheSearchTasksResult) {
  const int subtask = StartAndSolveFirstSubtask();
  nNumAnalyses = 17;
  nNumGradCalc = 5;

  PostDiscreteTask(subtask, false);

  EXPECT_EQ(theTree.Size(), m_storedBefore + 1);
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
  PostDiscreteTask(subtask, true);  // derived from the search task itself: its own total is taken off again
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
// written, the search task's record is not. The subtask's task record is
// missing, or names a task derived from that has no result.
class LatePostFailure : public PostingTest, public ::testing::WithParamInterface<bool> {};

TEST_P(LatePostFailure, LeavesTheNodeFiledAndTheSearchRecordUnwritten) {
  const int subtask = StartAndSolveFirstSubtask();
  const std::string searchResultBefore = FieldsOf<CResult>(kSearchTask);
  CResult subtaskResult = Fetch<CResult>(subtask);
  subtaskResult.m_nDiscreteFeasible = 7;
  subtaskResult.PutObject();
  CTask task = Fetch<CTask>(subtask);
  task.m_nParentTaskID = 77;
  if (GetParam()) task.PutObject();
  else DeleteAll("CTask");

  ExpectFailure<CGetObject>([&] { PostDiscreteTask(subtask, false); }, 1);

  EXPECT_EQ(theTree.Size(), m_storedBefore + 1);
  EXPECT_EQ(Fetch<CResult>(subtask).m_nDiscreteFeasible, curNode.m_bFeasible ? 1 : 0);
  EXPECT_EQ(FieldsOf<CResult>(kSearchTask), searchResultBefore);
}

INSTANTIATE_TEST_SUITE_P(MissingRecords, LatePostFailure, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? "ResultOfTheTaskDerivedFromMissing" : "SubtaskTaskMissing";
                         });

TEST_F(PostingTest, UnreadableSubtaskResultChangesNothing) {
  const int subtask = StartAndSolveFirstSubtask();
  const std::string searchResultBefore = FieldsOf<CResult>(kSearchTask);
  DeleteAll("CIter");
  const double objectiveBefore = curNode.m_dObjective;
  // Made once, then passed through GetBestResult, UpdateNodeData and
  // PostDiscreteTask, each at its own handler line.
  ExpectFailure<CGetObject>([&] { PostDiscreteTask(subtask, false); }, 3);
  EXPECT_EQ(curNode.m_dObjective, objectiveBefore);
  EXPECT_EQ(theTree.Size(), m_storedBefore);
  EXPECT_EQ(FieldsOf<CResult>(kSearchTask), searchResultBefore);
}

}  // namespace
