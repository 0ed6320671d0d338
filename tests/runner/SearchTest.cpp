// The search loop against a stand-in module: the order of the calls, the
// limits, the reports to the observer and the errors; and the program's
// count of open nodes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "Records.h"
#include "TaskDatabaseFixture.h"
#include "search/NodeMirror.h"
#include "search/OptimalityGap.h"
#include "search/ProgressLine.h"
#include "search/Search.h"
#include "tasks/TaskWriter.h"

namespace {

using ::testing::StrEq;
using ::testing::ThrowsMessage;

// A module that hands out `budget` subtasks, each a child of the search task,
// and records what the host asked of it.
struct CFakeModule {
  static inline int searchTask = 0;        // set by the starting call
  static inline int budget = 0;            // subtasks to hand out in all
  static inline int handedOut = 0;         // subtasks handed out so far
  static inline std::vector<int> posted;   // subtasks posted, in order
  static inline std::vector<int> stopped;  // tasks BranchBoundStop was called for
  static inline bool failOnPost = false;   // PostDiscreteTask throws

  static void Reset(int subtasks, bool failing) {
    searchTask = 0;
    budget = subtasks;
    handedOut = 0;
    posted.clear();
    stopped.clear();
    failOnPost = failing;
  }
  static void Version(int* a, int* b, int* c) { *a = 9, *b = 9, *c = 9; }
  static int Generate(int taskId, CLogFile*) {
    if (taskId > 0) searchTask = taskId;
    if (handedOut == budget) return 0;
    ++handedOut;
    const int subtask = WriteSearchTask(SmallProblem());
    CTask task = Stored<CTask>(subtask);
    task.m_nParentTaskID = searchTask;
    task.PutObject();
    return subtask;
  }
  static void Post(int taskId, bool) {
    if (failOnPost) throw std::runtime_error("Could not get object");
    posted.push_back(taskId);
  }
  static void Stop(int taskId) {
    stopped.push_back(taskId);
    CResult result = Stored<CResult>(taskId);
    result.m_nResultTask = posted.empty() ? 0 : posted.back();
    result.m_nDiscreteFeasible = 1;
    result.PutObject();
  }
  static CDiscreteModule Module() {
    return CDiscreteModule(CModuleEntryPoints{&Version, &Generate, &Post, &Stop}, "fake module");
  }
};

struct CRecordingObserver : CSearchObserver {
  std::vector<CNodeSummary> nodes;   // every summary, in order
  std::vector<CSearchOutcome> ends;  // every end, in order
  void OnNode(const CNodeSummary& summary) override { nodes.push_back(summary); }
  void OnEnd(const CSearchOutcome& outcome) override { ends.push_back(outcome); }
};

class Search : public TaskDatabaseTest {
 protected:
  CSearchOutcome Run(int subtasks, CSearchLimits limits, bool failOnPost = false) {
    CFakeModule::Reset(subtasks, failOnPost);
    searchTask = WriteSearchTask(SmallProblem());
    const CDiscreteModule module = CFakeModule::Module();
    const FSolveTask solveTask = [](int taskId, std::chrono::steady_clock::time_point deadline) {
      return SolveTask(taskId, {deadline, 1});
    };
    CBranchAndBoundSearch search(module, solveTask, observer, limits, nullptr);
    return search.Run(searchTask);
  }
  CRecordingObserver observer;  // what the search reported
  int searchTask = 0;           // the task the search ran for
};

TEST_F(Search, RunsToTheEndReportingTheSearchTaskFirstThenEveryNode) {
  const CSearchOutcome outcome = Run(3, {});
  EXPECT_EQ(outcome.end, ESearchEnd::Complete);
  EXPECT_EQ(outcome.nodesSolved, 3);
  EXPECT_EQ(CFakeModule::posted.size(), 3u);
  EXPECT_TRUE(CFakeModule::stopped.empty());  // the module closes a complete search itself
  ASSERT_EQ(observer.nodes.size(), 4u);
  for (int n = 0; n <= 3; ++n) {  // node 0 is the search task itself
    EXPECT_EQ(observer.nodes[n].node, n);
    EXPECT_EQ(observer.nodes[n].taskId, n == 0 ? searchTask : CFakeModule::posted[n - 1]);
    EXPECT_EQ(observer.nodes[n].parentTaskId, n == 0 ? 0 : searchTask);
    EXPECT_NEAR(observer.nodes[n].objective, 0.5, 1e-6);
  }
  ASSERT_EQ(observer.ends.size(), 1u);
  EXPECT_EQ(observer.ends[0].nodesSolved, 3);
  EXPECT_FALSE(outcome.discreteFeasible);
}

TEST_F(Search, TheNodeLimitClosesTheSearchWithTheBestDesignSoFar) {
  const CSearchOutcome outcome = Run(1000, {2, 0.0});
  EXPECT_EQ(outcome.end, ESearchEnd::NodeLimit);
  EXPECT_EQ(outcome.nodesSolved, 2);
  EXPECT_EQ(CFakeModule::stopped, std::vector<int>{searchTask});
  EXPECT_EQ(outcome.resultTask, CFakeModule::posted.back());
  EXPECT_TRUE(outcome.discreteFeasible);
}

TEST_F(Search, TheTimeLimitBoundsTheWholeRunTheRootsSolveIncluded) {
  const CSearchOutcome outcome = Run(1000, {0, 1e-9});
  EXPECT_EQ(outcome.end, ESearchEnd::TimeLimit);
  EXPECT_TRUE(outcome.rootNotConverged);
  EXPECT_EQ(outcome.nodesSolved, 0);
  EXPECT_EQ(CFakeModule::stopped.size(), 1u);
}

TEST_F(Search, AModuleFailureSaysWhatTheSearchWasDoing) {
  EXPECT_THAT([&] { Run(5, {}, true); },
              ThrowsMessage<CModuleError>(
                  StrEq("the module failed while posting subtask 2: Could not get object")));
}

TEST(NodeMirror, ClassifiesNodesAsTheModulesNodeTestDoes) {
  CNodeMirror mirror(true, 1e-6);
  EXPECT_EQ(mirror.NodeSolved(1, true, 5.0, 1e-6, false),
            ENodeOutcome::ToBranch);  // at the tolerance: feasible
  EXPECT_EQ(mirror.NodeSolved(2, true, 1.0, 2e-6, true), ENodeOutcome::Infeasible);
  EXPECT_FALSE(mirror.HasIncumbent());
  EXPECT_EQ(mirror.NodeSolved(3, true, 7.0, 0.0, true), ENodeOutcome::DiscreteFeasible);
  EXPECT_EQ(mirror.IncumbentTask(), 3);
  EXPECT_EQ(mirror.NodeSolved(4, true, 7.5, 0.0, false), ENodeOutcome::WorseThanIncumbent);
  EXPECT_EQ(mirror.NodeSolved(5, true, 7.0, 0.0, true),
            ENodeOutcome::DiscreteFeasible);  // a tie passes ...
  EXPECT_EQ(mirror.IncumbentTask(), 3);       // ... and keeps the incumbent
  EXPECT_EQ(mirror.NodeSolved(6, true, 6.0, 0.0, true), ENodeOutcome::DiscreteFeasible);
  EXPECT_EQ(mirror.IncumbentTask(), 6);
  EXPECT_EQ(mirror.IncumbentObjective(), 6.0);
  EXPECT_EQ(mirror.NodeSolved(7, false, 1.0, 0.0, true),
            ENodeOutcome::NotConverged);  // never a design ...
  EXPECT_EQ(mirror.IncumbentTask(), 6);   // ... nor an incumbent

  CNodeMirror maximising(false, 0.0);
  maximising.NodeSolved(1, true, 7.0, 0.0, true);
  EXPECT_EQ(maximising.NodeSolved(2, true, 6.0, -1.0, false), ENodeOutcome::WorseThanIncumbent);
  EXPECT_EQ(maximising.NodeSolved(3, true, 8.0, -1.0, true), ENodeOutcome::DiscreteFeasible);
  EXPECT_EQ(maximising.IncumbentTask(), 3);
}

TEST(NodeMirror, ANodeStaysOpenUntilItsSecondChild) {
  CNodeMirror mirror(true, 0.0);
  mirror.NodeSolved(1, true, 1.0, 0.0, false);
  mirror.NodeSolved(2, true, 2.0, 0.0, false);
  EXPECT_EQ(mirror.OpenNodes(), 2);
  mirror.ChildGenerated(1);
  EXPECT_EQ(mirror.OpenNodes(), 2);
  mirror.ChildGenerated(1);
  EXPECT_EQ(mirror.OpenNodes(), 1);
  mirror.ChildGenerated(99);  // the parent of a closed node: nothing changes
  EXPECT_EQ(mirror.OpenNodes(), 1);
}

// The bound follows the best open node as nodes open and close, in either
// sense, and is left out once the incumbent is as good as every open node.
TEST(NodeMirror, TheBoundIsTheBestOpenNodeThatCouldBeatTheIncumbent) {
  CNodeMirror mirror(true, 0.0);
  EXPECT_FALSE(mirror.HasOpenBound());
  mirror.NodeSolved(1, true, 1.0, 0.0, false);
  mirror.NodeSolved(2, true, 3.0, 0.0, false);
  mirror.NodeSolved(3, true, 3.0, 0.0, false);  // a tie with node 2
  EXPECT_TRUE(mirror.HasOpenBound());
  EXPECT_EQ(mirror.OpenBound(), 1.0);
  mirror.ChildGenerated(1);
  mirror.ChildGenerated(1);  // node 1 closes; the next best remains
  EXPECT_EQ(mirror.OpenBound(), 3.0);
  mirror.ChildGenerated(2);
  mirror.ChildGenerated(2);  // one of the two at 3.0 is left
  EXPECT_EQ(mirror.OpenBound(), 3.0);
  mirror.NodeSolved(4, true, 5.0, 0.0, true);  // an incumbent worse than the open node
  EXPECT_TRUE(mirror.HasOpenBound());
  mirror.NodeSolved(5, true, 3.0, 0.0, true);  // as good as the open node: nothing left to gain
  EXPECT_FALSE(mirror.HasOpenBound());
  EXPECT_EQ(mirror.OpenNodes(), 1);
  EXPECT_EQ(mirror.NodeSolved(6, true, NAN, 0.0, false), ENodeOutcome::Infeasible);
  EXPECT_EQ(mirror.OpenNodes(), 1);

  CNodeMirror maximising(false, 0.0);
  maximising.NodeSolved(1, true, 4.0, 0.0, false);
  maximising.NodeSolved(2, true, 9.0, 0.0, false);
  EXPECT_EQ(maximising.OpenBound(), 9.0);
  maximising.NodeSolved(3, true, 8.0, 0.0, true);
  EXPECT_TRUE(maximising.HasOpenBound());
  EXPECT_EQ(maximising.OpenBound(), 9.0);
}

TEST(OptimalityGap, IsAbsoluteAndRelativeToTheIncumbentAndZeroWithoutAnOpenBound) {
  const COptimalityGap gap = GapOf(1.57, true, 0.125);
  EXPECT_DOUBLE_EQ(gap.absolute, 1.445);
  EXPECT_DOUBLE_EQ(gap.relative, 1.445 / 1.57);
  EXPECT_DOUBLE_EQ(GapOf(-8.0, true, -10.0).relative, 0.25);  // |incumbent| below
  EXPECT_DOUBLE_EQ(GapOf(0.0, true, -1e-12).relative, 1e-2);  // the floor 1e-10
  EXPECT_EQ(GapOf(3.0, false, 0.0).absolute, 0.0);
  EXPECT_EQ(GapOf(3.0, false, 0.0).relative, 0.0);
}

TEST(ProgressLine, ShowsTheBoundAndTheGapWhenThereAreAny) {
  CNodeSummary summary;
  summary.node = 1;
  summary.openNodes = 1;
  summary.hasOpenBound = true;
  summary.openBound = 0.125;
  summary.elapsedSeconds = 2.3;
  EXPECT_EQ(ProgressText(summary),
            "nodes 1  open 1  incumbent none yet  bound 0.125  elapsed 2.3 s");
  summary.hasIncumbent = true;
  summary.incumbentObjective = 1.57;
  summary.incumbentTask = 2;
  EXPECT_EQ(ProgressText(summary),
            "nodes 1  open 1  incumbent 1.57 (task 2)  bound 0.125  gap 92%  elapsed 2.3 s");
  summary.hasOpenBound = false;
  EXPECT_EQ(ProgressText(summary),
            "nodes 1  open 1  incumbent 1.57 (task 2)  gap 0%  elapsed 2.3 s");
}

}  // namespace
