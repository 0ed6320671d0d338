// Node2Task and UseParentPoints: what a subtask holds, and what is already
// stored when writing one fails.

#include <ctime>
#include <tuple>

#include "BranchBound.h"
#include "DiscreteNode.h"
#include "ModuleTestBed.h"
#include "SearchTaskHost.h"
#include "TaskIdOverride.h"
#include "Timing.h"
#include "ValueAccess.h"

namespace {

using ::testing::ElementsAre;

constexpr int kSearchTask = 10;

class Node2TaskTest : public CModuleTest {
 protected:
  void SetUp() override {
    CModuleTest::SetUp();
    WriteSearch(0);
  }
  // The search task's optimum x = (1.5, 2.5, 0.25) is point 0; its data and
  // evaluation arrays are set apart from each other.
  void WriteSearch(int nModuleType) {
    CSearchProblem problem;
    problem.variables = {{0, 4, 1, 1.5, 0, -1}, {0, 4, 1, 2.5, 0, -1}, {0, 1, 1, 0.25, 0, 0}};
    problem.nModuleType = nModuleType;
    problem.nExtraPoints = 3 * nModuleType;
    WriteSearchTask(m_pDatabase, problem, kSearchTask);
    CDPoint best = Fetch<CDPoint>(kSearchTask, 0);
    best.m_vaData1 = std::valarray<pvFLOAT64>(0.1, 3);
    best.m_vaData2 = std::valarray<pvFLOAT64>(0.2, 2);
    best.m_vaData3 = std::valarray<pvFLOAT64>(0.3, 1);
    best.m_vaEval1 = std::valarray<pvFLOAT64>(-0.5, 1);
    best.m_vaEval2 = std::valarray<pvFLOAT64>(-0.6, 2);
    best.m_vaEval3 = std::valarray<pvFLOAT64>(-0.7, 3);
    best.PutObject();
    nContinuousTask = kSearchTask;
  }
  // A child of the root: the search task's bounds with x0's range [lower0, upper0].
  static CDiscreteNode ChildNode(double lower0, double upper0) {
    CDiscreteNode node;
    node.m_nParentTaskID = kSearchTask;
    node.m_vaLower = {lower0, 0.0, 0.0};
    node.m_vaUpper = {upper0, 4.0, 1.0};
    return node;
  }
  // Point 0 of the subtask: these values, the best point's data, and its
  // evaluations unless the point was moved.
  void ExpectStartPoint(int subtask, const std::vector<double>& values, bool evaluationsKept) {
    const CDPoint start = Fetch<CDPoint>(subtask, 0), best = Fetch<CDPoint>(kSearchTask, 0);
    EXPECT_EQ(Values(start.m_vaValues), values);
    for (auto array : {&CDPoint::m_vaData1, &CDPoint::m_vaData2, &CDPoint::m_vaData3}) {
      EXPECT_EQ(Values(start.*array), Values(best.*array));
    }
    for (auto array : {&CDPoint::m_vaEval1, &CDPoint::m_vaEval2, &CDPoint::m_vaEval3}) {
      EXPECT_EQ(Values(start.*array),
                evaluationsKept ? Values(best.*array) : std::vector<double>());
    }
  }
  CDiscreteNode m_node = ChildNode(0.0, 1.0);  // a node whose start value needs no moving
  int Child(size_t index) {
    return static_cast<int>(Values(Fetch<CTask>(kSearchTask).m_vChildTaskIDs).at(index));
  }
};

TEST_F(Node2TaskTest, SubtaskIsTheSourceTaskWithTheNodesBoundsAndItsBestPoint) {
  CTask expectedTask = Fetch<CTask>(kSearchTask);
  CDVar expectedVariables = Fetch<CDVar>(kSearchTask);
  CDiscreteNode node = ChildNode(1.0, 1.5);  // x0 = 1.5 lies on the upper bound

  const int first = Node2Task(node), second = Node2Task(node);

  EXPECT_THAT(Values(Fetch<CTask>(kSearchTask).m_vChildTaskIDs), ElementsAre(first, second));
  CTask subtask = Fetch<CTask>(first);
  EXPECT_NEAR(subtask.m_dCreateTime, static_cast<double>(std::time(nullptr)), 10.0);
  expectedTask.m_nParentTaskID = kSearchTask;
  expectedTask.m_dCreateTime = subtask.m_dCreateTime;
  EXPECT_EQ(DescribeFields(subtask), DescribeFields(expectedTask))
      << "module type 0 keeps the start settings";
  expectedVariables.m_vaLower = Stored({1.0, 0.0, 0.0});
  expectedVariables.m_vaUpper = Stored({1.5, 4.0, 1.0});
  EXPECT_EQ(FieldsOf<CDVar>(first), DescribeFields(expectedVariables));
  EXPECT_EQ(FieldsOf<CDResp>(first), FieldsOf<CDResp>(kSearchTask));
  EXPECT_EQ(FieldsOf<CDObj>(first), FieldsOf<CDObj>(kSearchTask));
  EXPECT_EQ(FieldsOf<CDCons>(first), FieldsOf<CDCons>(kSearchTask));
  EXPECT_EQ(FieldsOf<CDEqn>(first), FieldsOf<CDEqn>(kSearchTask));
  EXPECT_EQ(FieldsOf<CDLink>(first), FieldsOf<CDLink>(kSearchTask));
  EXPECT_EQ(FieldsOf<CDSet>(first), FieldsOf<CDSet>(kSearchTask));
  CResult newResult(m_pDatabase);
  newResult.m_nNumPoints = newResult.m_nTotalPoints = 1;
  EXPECT_EQ(FieldsOf<CResult>(first), DescribeFields(newResult));
  EXPECT_FALSE(Exists<CIter>(first) || Exists<CDPoint>(first, 1));
  ExpectStartPoint(first, {1.5, 2.5, 0.25}, true);
  EXPECT_GT(discSetupTime.m_dTotal, 0.0);
}

TEST_F(Node2TaskTest, StartValueOutsideTheBoundsIsMovedAndDropsItsEvaluations) {
  const std::string searchResultBefore = FieldsOf<CResult>(kSearchTask);
  CDiscreteNode node = ChildNode(2.0, 4.0);
  ExpectStartPoint(Node2Task(node), {2.0, 2.5, 0.25}, false);
  EXPECT_EQ(FieldsOf<CResult>(kSearchTask), searchResultBefore)
      << "a moved start point is no evaluated design";
}

TEST_F(Node2TaskTest, OnlyAMovedStartNeedsTheSearchTasksResultRecord) {
  nContinuousTask = 98;  // a search task without records
  CDiscreteNode inside = ChildNode(1.0, 2.0), outside = ChildNode(2.0, 4.0);
  EXPECT_GT(Node2Task(inside), 0);
  ExpectFailure<CGetObject>([&] { Node2Task(outside); }, 1);
  EXPECT_TRUE(Exists<CResult>(Child(1)));
  EXPECT_FALSE(Exists<CDPoint>(Child(1), 0) || Exists<CTask>(Child(1)));
}

TEST_F(Node2TaskTest, BoundArraysShorterThanTheStartValuesBindOnlyTheirPositions) {
  CDiscreteNode node = ChildNode(3.0, 4.0);
  node.m_vaLower = {3.0};
  node.m_vaUpper = {4.0, 2.0};
  const int subtask = Node2Task(node);
  EXPECT_THAT(Values(Fetch<CDPoint>(subtask, 0).m_vaValues), ElementsAre(3.0, 2.0, 0.25));
  EXPECT_THAT(Values(Fetch<CDVar>(subtask).m_vaLower), ElementsAre(3.0));
}

TEST_F(Node2TaskTest, ModuleType1SubtaskStartsFromEverySearchPointUnmoved) {
  WriteSearch(1);
  CDiscreteNode node = ChildNode(3.0, 4.0);  // point 0 lies outside: stays

  const int subtask = Node2Task(node);

  ExpectStartPoint(subtask, {1.5, 2.5, 0.25}, true);
  for (int point = 1; point <= 3; ++point)
    EXPECT_EQ(FieldsOf<CDPoint>(subtask, point), FieldsOf<CDPoint>(kSearchTask, point));
  EXPECT_FALSE(Exists<CDPoint>(subtask, 4));
  EXPECT_EQ(Fetch<CResult>(subtask).m_nNumPoints, 4);
  const CTask task = Fetch<CTask>(subtask);
  EXPECT_EQ(task.m_nInitMode, 11);
  EXPECT_EQ(CValueAccess::Get(task.m_nNumInitPoints), 4u);
  EXPECT_THAT(Values(task.m_vPointFlags), ElementsAre(0, 0, 0, 0));
  EXPECT_EQ(task.m_nInitCount, 5);
}

TEST_F(Node2TaskTest, MissingSourceTaskDrawsNoTaskId) {
  m_node.m_nParentTaskID = 55;
  const int lastId = CDBCtrl(m_pDatabase).GetTaskID(false);
  ExpectFailure<CGetObject>([&] { Node2Task(m_node); }, 1);
  EXPECT_EQ(CDBCtrl(m_pDatabase).GetTaskID(false), lastId);
  EXPECT_EQ(discSetupTime.m_dTotal, 0.0);
  EXPECT_GT(discSetupTime.m_dStart, 0.0);
}

TEST_F(Node2TaskTest, MissingEquationsLeaveTheEarlierCopiesStored) {
  DeleteAll("CDEqn");
  ExpectFailure<CGetObject>([&] { Node2Task(m_node); }, 1);
  const int subtask = Child(0);
  EXPECT_TRUE(Exists<CDVar>(subtask) && Exists<CDResp>(subtask) && Exists<CDObj>(subtask) &&
              Exists<CDCons>(subtask) && Exists<CDLink>(subtask));
  EXPECT_FALSE(Exists<CTask>(subtask) || Exists<CDSet>(subtask) || Exists<CResult>(subtask));
  EXPECT_EQ(discSetupTime.m_dTotal, 0.0);
}

TEST_F(Node2TaskTest, ExistingResultRecordUnderTheNewIdIsRefused) {
  CResult squatter(m_pDatabase);  // the host never draws a used id: force one
  squatter.m_nTaskID = 500;
  squatter.m_nNumPoints = 42;
  squatter.PutObject();
  ForceNextTaskId(500);
  ExpectFailure<CObjectExists>([&] { Node2Task(m_node); }, 1);
  EXPECT_TRUE(Exists<CDSet>(Child(0)));
  EXPECT_EQ(Fetch<CResult>(Child(0)).m_nNumPoints, 42);
  EXPECT_FALSE(Exists<CDPoint>(Child(0), 0));
}

TEST_F(Node2TaskTest, MissingBestIterationFailsAfterTheResultRecordIsStored) {
  DeleteAll("CIter");
  ExpectFailure<CGetObject>([&] { Node2Task(m_node); }, 1);
  EXPECT_EQ(Fetch<CResult>(Child(0)).m_nNumPoints, 1);
  EXPECT_FALSE(Exists<CDPoint>(Child(0), 0));
}

TEST_F(Node2TaskTest, MissingSearchPointStopsTheCopyingOfPoints) {
  WriteSearch(1);
  CResult searchResult = Fetch<CResult>(kSearchTask);
  searchResult.m_nNumPoints = 6;  // points 4 and 5 do not exist
  searchResult.PutObject();
  // Made in UseParentPoints, passed through its handler and Node2Task's.
  ExpectFailure<CGetObject>([&] { Node2Task(m_node); }, 2);
  for (int point = 0; point <= 3; ++point) EXPECT_TRUE(Exists<CDPoint>(Child(0), point)) << point;
  EXPECT_FALSE(Exists<CTask>(Child(0)));
}

using ParentPoints = CModuleTest;

// Source points 0 .. count - 1 less the left-out one become target points 1,
// 2, ... in order.
TEST_F(ParentPoints, CopiesAreNumberedFromOneInSourceOrder) {
  CTask source(m_pDatabase);
  source.m_nTaskID = 1;
  source.PutObject();
  for (int id = 0; id < 5; ++id) PutFilled<CDPoint>(m_pDatabase, 1, id, id);
  // count, left out, the sources of target points 1, 2, ... in order
  const std::vector<std::tuple<int, int, std::vector<int>>> cases{
      {0, 0, {}},           {-3, 0, {}},          {1, 0, {}},
      {5, 0, {1, 2, 3, 4}}, {5, 2, {0, 1, 3, 4}}, {3, 7, {0, 1, 2}}};
  int target = 2;
  for (const auto& [count, leftOut, sources] : cases) {
    SCOPED_TRACE("count " + std::to_string(count) + ", left out " + std::to_string(leftOut));
    EXPECT_EQ(UseParentPoints(++target, 1, count, leftOut), static_cast<int>(sources.size()));
    for (size_t point = 1; point <= sources.size(); ++point) {
      EXPECT_EQ(FieldsOf<CDPoint>(target, static_cast<int>(point)),
                FieldsOf<CDPoint>(1, sources[point - 1]));
    }
    EXPECT_FALSE(Exists<CDPoint>(target, static_cast<int>(sources.size()) + 1) ||
                 Exists<CDPoint>(target, 0));
  }
}

TEST_F(ParentPoints, MissingSourceTaskIsLoggedWithItsId) {
  ExpectFailure<CGetObject>([] { UseParentPoints(2, 31, 0, 0); }, 1);
  EXPECT_EQ(LogLinesWith("Specified PARENT task ID (31) does not exist in the database.").size(),
            1u);
}

}  // namespace
