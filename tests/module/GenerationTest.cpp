// GenDiscreteTask: starting a search from the search task's records, the set
// translation, rejected tasks and debug output.

#include "BranchBound.h"
#include "DiscreteTree.h"
#include "ModuleTestBed.h"
#include "SearchTaskHost.h"
#include "Timing.h"

namespace {

using ::testing::ElementsAre;

// Variables with set ids 0, 7, -1 and 3; the task's sets have ids 3 and 7.
CSearchProblem MixedSetsProblem() {
  CSearchProblem problem;
  problem.sets = {{3, {1.0, 2.0}}, {7, {0.5, 1.5, 2.5}}};
  problem.variables = {
      {0, 2, 1, 0.3, 1, 0}, {0.5, 2.5, 1, 1.2, 1, 7}, {0, 3, 1, 1.4, 1, -1}, {1, 2, 1, 1.6, 1, 3}};
  problem.dLimit = 3.0;
  return problem;
}

class GenerationTest : public CModuleTest {
 protected:
  // Starts a search of MixedSetsProblem as task 7.
  void StartSearch() {
    WriteSearchTask(m_pDatabase, MixedSetsProblem(), 7);
    GenDiscreteTask(7, m_pLog.get());
    m_storedBefore = theTree.Size();
  }
  void ExpectPreviousTreeKept() {
    EXPECT_EQ(theTree.Size(), m_storedBefore);
    EXPECT_THAT(theTree.m_vIndices, ElementsAre(1, 2, 3));
  }
  int m_storedBefore = 0;  // nodes the search of task 7 had stored
};

TEST_F(GenerationTest, SetIdsBecomePositionsInTheTasksSetList) {
  CSearchProblem problem = MixedSetsProblem();
  problem.sets.push_back({3, {9.0}});  // a repeated id maps to its first entry
  WriteSearchTask(m_pDatabase, problem, 7);

  GenDiscreteTask(7, m_pLog.get());

  EXPECT_THAT(theTree.m_vIndices, ElementsAre(1, 2, 3));
  EXPECT_THAT(std::vector<int>(std::begin(theTree.m_vaSetRefs), std::end(theTree.m_vaSetRefs)),
              ElementsAre(0, 2, -1, 1));
  EXPECT_EQ(nContinuousTask, 7);
}

TEST_F(GenerationTest, SetIdsThatNameNoSetRejectTheTaskBeforeTheTreeIsReplaced) {
  StartSearch();
  for (int badSetId : {5, -2}) {
    CSearchProblem problem = MixedSetsProblem();
    problem.variables[3].nSetId = badSetId;
    WriteSearchTask(m_pDatabase, problem, 8);
    UseLogLevel(0);
    EXPECT_EQ(ExpectFailure<CDiscreteSetErr>([&] { GenDiscreteTask(8, m_pLog.get()); }, 1),
              "DiscreteSetErr")
        << "set id " << badSetId;
    ExpectPreviousTreeKept();
  }
  EXPECT_EQ(nContinuousTask, 8);  // set before anything was read
  UseLogLevel(0);
  DeleteAll("CDSet");  // no set list at all: the read fails, the tree stays
  ExpectFailure<CGetObject>([&] { GenDiscreteTask(7, m_pLog.get()); }, 1);
  ExpectPreviousTreeKept();
}

TEST_F(GenerationTest, MissingSearchTaskFailsAfterTheSearchIsNamed) {
  ExpectFailure<CGetObject>([&] { GenDiscreteTask(99, m_pLog.get()); }, 1);
  EXPECT_EQ(nContinuousTask, 99);
  EXPECT_EQ(pLogFile, m_pLog.get());
  EXPECT_EQ(dbReadTime.m_dTotal, 0.0);
}

TEST_F(GenerationTest, UnknownModuleTypeIsLoggedAndRejected) {
  CSearchProblem problem = MixedSetsProblem();
  problem.nModuleType = 2;
  WriteSearchTask(m_pDatabase, problem, 7);
  EXPECT_EQ(ExpectFailure<CInvalidType>([&] { GenDiscreteTask(7, m_pLog.get()); }, 1),
            "Object type is invalid");
  EXPECT_EQ(LogLinesWith("Invalid functional module type for generating discrete subtask!").size(),
            1u);
  EXPECT_EQ(pLogFile, m_pLog.get());
}

TEST_F(GenerationTest, DebugOutputOnlyAboveLevelTwo) {
  const CSearchProblem problem = MixedSetsProblem();
  WriteSearchTask(m_pDatabase, problem, 7);
  UseLogLevel(2);
  RunSearch(m_pDatabase, problem, 7, m_pLog.get());
  EXPECT_THAT(LogLinesWith(""), ::testing::IsEmpty());

  WriteSearchTask(m_pDatabase, problem, 8);
  UseLogLevel(3);
  const int subtasks = RunSearch(m_pDatabase, problem, 8, m_pLog.get());
  ASSERT_GT(subtasks, 0);
  EXPECT_EQ(LogLinesWith("Indices of discrete variables").size(), 1u);
  EXPECT_EQ(LogLinesWith("Set references").size(), 1u);
  for (const char* text : {"Node Number: ", "New Node's values", "New Node's Lower Bounds",
                           "New Node's Upper Bounds"}) {
    EXPECT_EQ(LogLinesWith(text).size(), static_cast<size_t>(subtasks)) << text;
  }
  const std::string lastNode = "Node Number: " + std::to_string(curNode.m_nNodeID) +
                               "  Parent Node: " + std::to_string(curNode.m_nParentID);
  EXPECT_EQ(LogLinesWith(lastNode).size(), 1u);
}

}  // namespace
