// Node2Task and UseParentPoints: what a subtask holds, and what is already
// stored when writing one fails.

#include <gmock/gmock.h>

#include "BranchBound.h"
#include "DiscreteNode.h"
#include "ModuleTestBed.h"
#include "QuadraticHost.h"
#include "TaskIdOverride.h"
#include "Timing.h"
#include "ValueAccess.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kSearchTask = 10;

// The search task's optimum is x = (1.5, 2.5, 0.25), stored as point 0.
CProblem ThreeVariableProblem(int nModuleType) {
  CProblem problem;
  problem.variables = {{0, 4, 1, 1.5, 0, -1}, {0, 4, 1, 2.5, 0, -1}, {0, 1, 1, 0.25, 0, 0}};
  problem.nModuleType = nModuleType;
  problem.nExtraPoints = nModuleType == 1 ? 3 : 0;
  return problem;
}

class Node2TaskTest : public CModuleTest {
 protected:
  void WriteSearch(int nModuleType) {
    WriteSearchTask(m_pDatabase, ThreeVariableProblem(nModuleType), kSearchTask);
    CDPoint best = FetchPoint(kSearchTask, 0);
    best.m_vaData1 = std::valarray<pvFLOAT64>(0.1, 3);
    best.m_vaEval2 = std::valarray<pvFLOAT64>(-0.5, 1);
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
};

TEST_F(Node2TaskTest, SubtaskIsTheSourceTaskWithTheNodesBoundsAndItsBestPoint) {
  WriteSearch(0);
  CDiscreteNode node = ChildNode(1.0, 1.5);  // x0 = 1.5 lies on the upper bound

  const int first = Node2Task(node);
  const int second = Node2Task(node);

  EXPECT_THAT(Values(Fetch<CTask>(kSearchTask).m_vChildTaskIDs), ElementsAre(first, second));
  const CTask subtask = Fetch<CTask>(first);
  EXPECT_EQ(subtask.m_nParentTaskID, kSearchTask);
  EXPECT_THAT(subtask.m_vChildTaskIDs, IsEmpty());
  EXPECT_EQ(subtask.m_strName, "quadratic");
  EXPECT_EQ(subtask.m_nInitMode, 3);  // module type 0 keeps the start settings
  EXPECT_EQ(subtask.m_nInitCount, 7);
  EXPECT_EQ(CValueAccess::Get(subtask.m_nNumInitPoints), 6u);
  EXPECT_THAT(Values(subtask.m_vPointFlags), ElementsAre(1, 1, 0, 0, 1, 0));

  const CDVar variables = Fetch<CDVar>(first);
  EXPECT_THAT(Values(variables.m_vaLower), ElementsAre(1.0, 0.0, 0.0));
  EXPECT_THAT(Values(variables.m_vaUpper), ElementsAre(1.5, 4.0, 1.0));
  EXPECT_THAT(variables.m_vNames, ElementsAre("x0", "x1", "x2"));
  EXPECT_THAT(Fetch<CDResp>(first).m_vExpressions, ElementsAre("sum w (x - t)^2", "a.x - b"));
  EXPECT_THAT(Values(Fetch<CDObj>(first).m_vRespIndex), ElementsAre(0));
  EXPECT_THAT(Values(Fetch<CDCons>(first).m_vRespIndex), ElementsAre(1));
  EXPECT_THAT(Fetch<CDEqn>(first).m_vNames, ElementsAre("b"));
  EXPECT_THAT(Fetch<CDLink>(first).m_vExpressions, ElementsAre("none"));
  EXPECT_THAT(Fetch<CDSet>(first).m_vSetIDs, IsEmpty());

  const CResult result = Fetch<CResult>(first);
  EXPECT_EQ(result.m_nNumPoints, 1);
  EXPECT_EQ(result.m_nTotalPoints, 1);
  EXPECT_FALSE((Exists<CIter>(first)));

  const CDPoint start = FetchPoint(first, 0);
  EXPECT_THAT(Values(start.m_vaValues), ElementsAre(1.5, 2.5, 0.25));
  EXPECT_THAT(Values(start.m_vaData1), ElementsAre(0.1, 0.1, 0.1));
  EXPECT_THAT(Values(start.m_vaEval2), ElementsAre(-0.5));  // not moved: evaluations hold
  EXPECT_FALSE(PointExists(first, 1));
  EXPECT_GT(discSetupTime.m_dTotal, 0.0);
}

TEST_F(Node2TaskTest, StartValueOutsideTheBoundsIsMovedAndDropsItsEvaluations) {
  WriteSearch(0);
  const CResult searchResultBefore = Fetch<CResult>(kSearchTask);
  CDiscreteNode node = ChildNode(2.0, 4.0);

  const int subtask = Node2Task(node);

  const CDPoint start = FetchPoint(subtask, 0);
  EXPECT_THAT(Values(start.m_vaValues), ElementsAre(2.0, 2.5, 0.25));
  EXPECT_THAT(Values(start.m_vaData1), ElementsAre(0.1, 0.1, 0.1));
  EXPECT_THAT(Values(start.m_vaEval1), IsEmpty());
  EXPECT_THAT(Values(start.m_vaEval2), IsEmpty());
  const CResult searchResultAfter = Fetch<CResult>(kSearchTask);
  EXPECT_EQ(searchResultAfter.m_nTotalPoints, searchResultBefore.m_nTotalPoints);
  EXPECT_EQ(searchResultAfter.m_nNumPoints, searchResultBefore.m_nNumPoints);
}

TEST_F(Node2TaskTest, OnlyAMovedStartNeedsTheSearchTasksResultRecord) {
  WriteSearch(0);
  nContinuousTask = 98;  // a search task without records
  CDiscreteNode inside = ChildNode(1.0, 2.0);
  EXPECT_GT(Node2Task(inside), 0);

  CDiscreteNode outside = ChildNode(2.0, 4.0);
  EXPECT_THROW(Node2Task(outside), CGetObject);

  const int subtask = static_cast<int>(Values(Fetch<CTask>(kSearchTask).m_vChildTaskIDs).at(1));
  EXPECT_TRUE(Exists<CResult>(subtask));
  EXPECT_FALSE(PointExists(subtask, 0));
  EXPECT_FALSE(Exists<CTask>(subtask));
}

TEST_F(Node2TaskTest, BoundArraysShorterThanTheStartValuesBindOnlyTheirPositions) {
  WriteSearch(0);
  CDiscreteNode node = ChildNode(3.0, 4.0);
  node.m_vaLower = {3.0};
  node.m_vaUpper = {4.0, 2.0};

  const int subtask = Node2Task(node);

  EXPECT_THAT(Values(FetchPoint(subtask, 0).m_vaValues), ElementsAre(3.0, 2.0, 0.25));
  EXPECT_THAT(Values(Fetch<CDVar>(subtask).m_vaLower), ElementsAre(3.0));
}

TEST_F(Node2TaskTest, ModuleType1SubtaskStartsFromEverySearchPointUnmoved) {
  WriteSearch(1);
  CDiscreteNode node = ChildNode(3.0, 4.0);  // point 0 lies outside: stays

  const int subtask = Node2Task(node);

  EXPECT_THAT(Values(FetchPoint(subtask, 0).m_vaValues), ElementsAre(1.5, 2.5, 0.25));
  EXPECT_THAT(Values(FetchPoint(subtask, 0).m_vaEval2), ElementsAre(-0.5));
  for (int point = 1; point <= 3; ++point) {
    EXPECT_EQ(Values(FetchPoint(subtask, point).m_vaValues), Values(FetchPoint(kSearchTask, point).m_vaValues));
    EXPECT_THAT(Values(FetchPoint(subtask, point).m_vaData3), ElementsAre(point));
  }
  EXPECT_FALSE(PointExists(subtask, 4));
  EXPECT_EQ(Fetch<CResult>(subtask).m_nNumPoints, 4);
  const CTask task = Fetch<CTask>(subtask);
  EXPECT_EQ(task.m_nInitMode, 11);
  EXPECT_EQ(CValueAccess::Get(task.m_nNumInitPoints), 4u);
  EXPECT_THAT(Values(task.m_vPointFlags), ElementsAre(0, 0, 0, 0));
  EXPECT_EQ(task.m_nInitCount, 5);
}

TEST_F(Node2TaskTest, ModuleType1WithOnePointStartsFromPointZeroAlone) {
  WriteSearch(1);
  CResult searchResult = Fetch<CResult>(kSearchTask);
  searchResult.m_nNumPoints = 1;
  searchResult.PutObject();
  CDiscreteNode node = ChildNode(0.0, 1.0);

  const int subtask = Node2Task(node);

  EXPECT_FALSE(PointExists(subtask, 1));
  EXPECT_EQ(Fetch<CResult>(subtask).m_nNumPoints, 1);
  const CTask task = Fetch<CTask>(subtask);
  EXPECT_THAT(Values(task.m_vPointFlags), ElementsAre(0));
  EXPECT_EQ(task.m_nInitCount, 2);
}

TEST_F(Node2TaskTest, MissingSourceTaskDrawsNoTaskId) {
  WriteSearch(0);
  CDiscreteNode node = ChildNode(0.0, 1.0);
  node.m_nParentTaskID = 55;
  const int lastId = CDBCtrl(m_pDatabase).GetTaskID(false);

  EXPECT_THROW(Node2Task(node), CGetObject);

  EXPECT_EQ(CDBCtrl(m_pDatabase).GetTaskID(false), lastId);
  EXPECT_EQ(discSetupTime.m_dTotal, 0.0);
  EXPECT_GT(discSetupTime.m_dStart, 0.0);
  EXPECT_TRUE(IsLockFree());
}

TEST_F(Node2TaskTest, MissingEquationsLeaveTheEarlierCopiesStored) {
  WriteSearch(0);
  DeleteAll("CDEqn");
  CDiscreteNode node = ChildNode(0.0, 1.0);

  EXPECT_THROW(Node2Task(node), CGetObject);

  const std::vector<long> children = Values(Fetch<CTask>(kSearchTask).m_vChildTaskIDs);
  ASSERT_EQ(children.size(), 1u);
  const int subtask = static_cast<int>(children[0]);
  EXPECT_FALSE(Exists<CTask>(subtask));
  EXPECT_TRUE(Exists<CDVar>(subtask) && Exists<CDResp>(subtask) && Exists<CDObj>(subtask) &&
              Exists<CDCons>(subtask) && Exists<CDLink>(subtask));
  EXPECT_FALSE(Exists<CDSet>(subtask) || Exists<CResult>(subtask));
  EXPECT_EQ(discSetupTime.m_dTotal, 0.0);
  EXPECT_TRUE(IsLockFree());
}

TEST_F(Node2TaskTest, ExistingResultRecordUnderTheNewIdIsRefused) {
  WriteSearch(0);
  CResult squatter(m_pDatabase);  // the host never draws a used id: force one
  squatter.m_nTaskID = 500;
  squatter.m_nNumPoints = 42;
  squatter.PutObject();
  ForceNextTaskId(500);
  CDiscreteNode node = ChildNode(0.0, 1.0);

  EXPECT_THROW(Node2Task(node), CObjectExists);

  const int subtask = static_cast<int>(Values(Fetch<CTask>(kSearchTask).m_vChildTaskIDs).at(0));
  EXPECT_TRUE(Exists<CDSet>(subtask));
  EXPECT_EQ(Fetch<CResult>(subtask).m_nNumPoints, 42);
  EXPECT_FALSE(PointExists(subtask, 0));
  EXPECT_TRUE(IsLockFree());
}

TEST_F(Node2TaskTest, MissingBestIterationFailsAfterTheResultRecordIsStored) {
  WriteSearch(0);
  DeleteAll("CIter");
  CDiscreteNode node = ChildNode(0.0, 1.0);

  EXPECT_THROW(Node2Task(node), CGetObject);

  const int subtask = static_cast<int>(Values(Fetch<CTask>(kSearchTask).m_vChildTaskIDs).at(0));
  EXPECT_EQ(Fetch<CResult>(subtask).m_nNumPoints, 1);
  EXPECT_FALSE(PointExists(subtask, 0));
}

TEST_F(Node2TaskTest, MissingSearchPointStopsTheCopyingOfPoints) {
  WriteSearch(1);
  CResult searchResult = Fetch<CResult>(kSearchTask);
  searchResult.m_nNumPoints = 6;  // points 4 and 5 do not exist
  searchResult.PutObject();
  CDiscreteNode node = ChildNode(0.0, 1.0);

  EXPECT_THROW(Node2Task(node), CGetObject);

  const int subtask = static_cast<int>(Values(Fetch<CTask>(kSearchTask).m_vChildTaskIDs).at(0));
  for (int point = 0; point <= 3; ++point) EXPECT_TRUE(PointExists(subtask, point)) << point;
  EXPECT_FALSE(Exists<CTask>(subtask));
  // Made in UseParentPoints, passed through its handler and Node2Task's.
  EXPECT_EQ(NewExceptionLines().size(), 1u);
  EXPECT_EQ(PassedExceptionLines().size(), 2u);
  EXPECT_TRUE(IsLockFree());
}

// UseParentPoints: source points 0 .. count - 1 less the left-out one become
// target points 1, 2, ... in order.
struct CNumberingCase {
  int nCount;
  int nLeftOut;
  std::vector<int> copiedSources;  // in target order
};

class ParentPoints : public CModuleTest, public ::testing::WithParamInterface<CNumberingCase> {};

TEST_P(ParentPoints, CopiesAreNumberedFromOneInSourceOrder) {
  CTask source(m_pDatabase);
  source.m_nTaskID = 1;
  source.PutObject();
  for (int id = 0; id < 5; ++id) {
    CDPoint point(m_pDatabase);
    point.m_nTaskID = 1;
    point.m_nPointID = id;
    point.m_vaValues = std::valarray<pvFLOAT64>(static_cast<double>(id), 2);
    point.m_vaEval3 = std::valarray<pvFLOAT64>(10.0 + id, 1);
    point.PutObject();
  }
  const std::vector<int>& expected = GetParam().copiedSources;

  EXPECT_EQ(UseParentPoints(2, 1, GetParam().nCount, GetParam().nLeftOut), static_cast<int>(expected.size()));

  for (size_t target = 1; target <= expected.size(); ++target) {
    const CDPoint copy = FetchPoint(2, static_cast<int>(target));
    EXPECT_THAT(Values(copy.m_vaValues), ElementsAre(expected[target - 1], expected[target - 1]));
    EXPECT_THAT(Values(copy.m_vaEval3), ElementsAre(10.0 + expected[target - 1]));
  }
  EXPECT_FALSE(PointExists(2, static_cast<int>(expected.size()) + 1));
  EXPECT_FALSE(PointExists(2, 0));
}

INSTANTIATE_TEST_SUITE_P(
    LeftOutInsideAndOutsideTheRange, ParentPoints,
    ::testing::Values(CNumberingCase{0, 0, {}}, CNumberingCase{-3, 0, {}}, CNumberingCase{1, 0, {}},
                      CNumberingCase{5, 0, {1, 2, 3, 4}}, CNumberingCase{5, 2, {0, 1, 3, 4}},
                      CNumberingCase{3, 7, {0, 1, 2}}),
    [](const ::testing::TestParamInfo<CNumberingCase>& info) {
      const int count = info.param.nCount;
      return (count < 0 ? "CountMinus" + std::to_string(-count) : "Count" + std::to_string(count)) +
             "LeftOut" + std::to_string(info.param.nLeftOut);
    });

using ParentPointsFailure = CModuleTest;

TEST_F(ParentPointsFailure, MissingSourceTaskIsLoggedWithItsId) {
  EXPECT_THROW(UseParentPoints(2, 31, 0, 0), CGetObject);
  EXPECT_EQ(LogLinesWith("Specified PARENT task ID (31) does not exist in the database.").size(), 1u);
  EXPECT_TRUE(IsLockFree());
}

TEST_F(ParentPointsFailure, MissingSourcePointKeepsTheCopiesBeforeIt) {
  CTask source(m_pDatabase);
  source.m_nTaskID = 1;
  source.PutObject();
  for (int id : {0, 1, 3}) {
    CDPoint point(m_pDatabase);
    point.m_nTaskID = 1;
    point.m_nPointID = id;
    point.PutObject();
  }
  EXPECT_THROW(UseParentPoints(2, 1, 4, 0), CGetObject);
  EXPECT_TRUE(PointExists(2, 1));
  EXPECT_FALSE(PointExists(2, 2));
}

}  // namespace
