// PostDiscreteTask, UpdateNodeData and GetBestResult: what a post writes, the
// running point total, and what is already changed when a post fails.

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
  // first subtask.
  void SetUp() override {
    CModuleTest::SetUp();
    const CSearchProblem problem = TwoIntegerProblem();
    WriteSearchTask(m_pDatabase, problem, kSearchTask);
    m_subtask = GenDiscreteTask(kSearchTask, m_pLog.get());
    SolveSubtask(m_pDatabase, problem, m_subtask);
    m_storedBefore = theTree.Size();
  }
  int m_subtask = 0;       // the first subtask, solved, not yet posted
  int m_storedBefore = 0;  // nodes stored before the post
};

// The correction flag takes the total of the task the subtask was derived
// from (here the search task itself) off again.
TEST_F(PostingTest, PostRecordsTheSubtaskAndItsPointsInTheSearchTasksResult) {
  nNumAnalyses = 17;
  nNumGradCalc = 5;
  ASSERT_EQ(Fetch<CResult>(kSearchTask).m_nTotalPoints, 1);
  ASSERT_EQ(Fetch<CResult>(m_subtask).m_nNumPoints, 2);  // start point and solution

  PostDiscreteTask(m_subtask, false);

  EXPECT_EQ(theTree.Size(), m_storedBefore + 1);
  EXPECT_EQ(curNode.m_dObjective, Fetch<CResult>(m_subtask).m_dBestObj);
  const CResult searchResult = Fetch<CResult>(kSearchTask);
  EXPECT_EQ(searchResult.m_nResultTask, m_subtask);
  EXPECT_EQ(searchResult.m_nDiscreteFeasible, curNode.m_bFeasible ? 1 : 0);
  EXPECT_EQ(Fetch<CResult>(m_subtask).m_nDiscreteFeasible, curNode.m_bFeasible ? 1 : 0);
  EXPECT_EQ(searchResult.m_nNumAnalyses, 17);
  EXPECT_EQ(searchResult.m_nNumGradCalc, 5);
  EXPECT_EQ(searchResult.m_nTotalPoints, 1 + 2);
  EXPECT_GT(dbWriteTime.m_dTotal, 0.0);
  PostDiscreteTask(m_subtask, true);
  EXPECT_EQ(Fetch<CResult>(kSearchTask).m_nTotalPoints, 2);
}

TEST_F(PostingTest, RunningTotalWrapsAt32Bits) {
  CResult searchResult = Fetch<CResult>(kSearchTask);
  searchResult.m_nTotalPoints = INT32_MAX;
  searchResult.PutObject();
  PostDiscreteTask(m_subtask, false);
  EXPECT_EQ(Fetch<CResult>(kSearchTask).m_nTotalPoints, INT32_MIN + 1);
}

// A post that fails after the tree took the node: the subtask's flag is
// written, the search task's record is not. The subtask's task record is
// missing, or names a task derived from that has no result.
class LatePostFailure : public PostingTest, public ::testing::WithParamInterface<bool> {};

TEST_P(LatePostFailure, LeavesTheNodeFiledAndTheSearchRecordUnwritten) {
  const std::string searchResultBefore = FieldsOf<CResult>(kSearchTask);
  CResult subtaskResult = Fetch<CResult>(m_subtask);
  subtaskResult.m_nDiscreteFeasible = 7;
  subtaskResult.PutObject();
  CTask task = Fetch<CTask>(m_subtask);
  task.m_nParentTaskID = 77;
  if (GetParam())
    task.PutObject();
  else
    DeleteAll("CTask");

  ExpectFailure<CGetObject>([&] { PostDiscreteTask(m_subtask, false); }, 1);

  EXPECT_EQ(theTree.Size(), m_storedBefore + 1);
  EXPECT_EQ(Fetch<CResult>(m_subtask).m_nDiscreteFeasible, curNode.m_bFeasible ? 1 : 0);
  EXPECT_EQ(FieldsOf<CResult>(kSearchTask), searchResultBefore);
}

INSTANTIATE_TEST_SUITE_P(MissingRecords, LatePostFailure, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? "ResultOfTheTaskDerivedFromMissing"
                                             : "SubtaskTaskMissing";
                         });

TEST_F(PostingTest, UnreadableSubtaskResultChangesNothing) {
  const std::string searchResultBefore = FieldsOf<CResult>(kSearchTask);
  DeleteAll("CIter");
  const double objectiveBefore = curNode.m_dObjective;
  // Made once, then passed through GetBestResult, UpdateNodeData and
  // PostDiscreteTask, each at its own handler line.
  ExpectFailure<CGetObject>([&] { PostDiscreteTask(m_subtask, false); }, 3);
  EXPECT_EQ(curNode.m_dObjective, objectiveBefore);
  EXPECT_EQ(theTree.Size(), m_storedBefore);
  EXPECT_EQ(FieldsOf<CResult>(kSearchTask), searchResultBefore);

  // GetBestResult on its own fails after writing the two numbers.
  double objective = -99.0, maxCon = -99.0;
  std::valarray<double> values(1.0, 3);
  EXPECT_THROW(GetBestResult(m_subtask, &objective, &maxCon, values), CGetObject);
  const CResult subtaskResult = Fetch<CResult>(m_subtask);
  EXPECT_EQ(objective, subtaskResult.m_dBestObj);
  EXPECT_EQ(maxCon, subtaskResult.m_dBestMaxCon);
  EXPECT_EQ(values.size(), 3u);
}

}  // namespace
