// GenDiscreteTask: starting a search from the search task's records, the set
// translation, rejected tasks and debug output.

#include <gmock/gmock.h>

#include "BranchBound.h"
#include "DiscreteTree.h"
#include "ModuleTestBed.h"
#include "QuadraticHost.h"
#include "Timing.h"

namespace {

using ::testing::ElementsAre;

// Variables with set ids 0, 7, -1 and 3; the task's sets have ids 3 and 7.
CProblem MixedSetsProblem() {
  CProblem problem;
  problem.sets = {{3, {1.0, 2.0}}, {7, {0.5, 1.5, 2.5}}};
  problem.variables = {{0, 2, 1, 0.3, 1, 0}, {0.5, 2.5, 1, 1.2, 1, 7}, {0, 3, 1, 1.4, 1, -1},
                       {1, 2, 1, 1.6, 1, 3}};
  problem.dLimit = 3.0;
  return problem;
}

class GenerationTest : public CModuleTest {
 protected:
  void ExpectPreviousTreeKept(int storedBefore) {
    EXPECT_EQ(theTree.Size(), storedBefore);
    EXPECT_THAT(theTree.m_vIndices, ElementsAre(1, 2, 3));
    EXPECT_TRUE(IsLockFree());
  }
};

TEST_F(GenerationTest, SetIdsBecomePositionsInTheTasksSetList) {
  CProblem problem = MixedSetsProblem();
  problem.sets.push_back({3, {9.0}});  // a repeated id maps to its first entry
  WriteSearchTask(m_pDatabase, problem, 7);

  GenDiscreteTask(7, m_pLog.get());

  EXPECT_THAT(theTree.m_vIndices, ElementsAre(1, 2, 3));
  EXPECT_THAT(std::vector<int>(std::begin(theTree.m_vaSetRefs), std::end(theTree.m_vaSetRefs)),
              ElementsAre(0, 2, -1, 1));
  EXPECT_EQ(nContinuousTask, 7);
}

TEST_F(GenerationTest, SetIdsThatNameNoSetRejectTheTaskBeforeTheTreeIsReplaced) {
  WriteSearchTask(m_pDatabase, MixedSetsProblem(), 7);
  GenDiscreteTask(7, m_pLog.get());
  const int storedBefore = theTree.Size();
  for (int badSetId : {5, -2}) {
    CProblem problem = MixedSetsProblem();
    problem.variables[3].nSetId = badSetId;
    WriteSearchTask(m_pDatabase, problem, 8);

    try {
      GenDiscreteTask(8, m_pLog.get());
      ADD_FAILURE() << "set id " << badSetId << " was accepted";
    } catch (const CDiscreteSetErr& error) {
      EXPECT_STREQ(error.what(), "DiscreteSetErr");
    }
    ExpectPreviousTreeKept(storedBefore);
  }
  EXPECT_EQ(nContinuousTask, 8);  // set before anything was read
}

TEST_F(GenerationTest, MissingSetRecordKeepsThePreviousTree) {
  WriteSearchTask(m_pDatabase, MixedSetsProblem(), 7);
  GenDiscreteTask(7, m_pLog.get());
  const int storedBefore = theTree.Size();
  DeleteAll("CDSet");
  EXPECT_THROW(GenDiscreteTask(7, m_pLog.get()), CGetObject);
  ExpectPreviousTreeKept(storedBefore);
}

TEST_F(GenerationTest, MissingSearchTaskFailsAfterTheSearchIsNamed) {
  EXPECT_THROW(GenDiscreteTask(99, m_pLog.get()), CGetObject);
  EXPECT_EQ(nContinuousTask, 99);
  EXPECT_EQ(pLogFile, m_pLog.get());
  EXPECT_EQ(dbReadTime.m_dTotal, 0.0);
  EXPECT_TRUE(IsLockFree());
}

TEST_F(GenerationTest, UnknownModuleTypeIsLoggedAndRejected) {
  CProblem problem = MixedSetsProblem();
  problem.nModuleType = 2;
  WriteSearchTask(m_pDatabase, problem, 7);
  try {
    GenDiscreteTask(7, m_pLog.get());
    ADD_FAILURE() << "module type 2 was accepted";
  } catch (const CInvalidType& error) {
    EXPECT_STREQ(error.what(), "Object type is invalid");
  }
  EXPECT_EQ(LogLinesWith("Invalid functional module type for generating discrete subtask!").size(), 1u);
  EXPECT_EQ(pLogFile, m_pLog.get());
}

TEST_F(GenerationTest, DebugOutputOnlyAboveLevelTwo) {
  const char* debugTexts[] = {"Indices of discrete variables", "Set references", "Node Number: ",
                              "New Node's values", "New Node's Lower Bounds", "New Node's Upper Bounds"};
  const CProblem problem = MixedSetsProblem();
  WriteSearchTask(m_pDatabase, problem, 7);
  UseLogLevel(2);
  RunSearch(m_pDatabase, problem, 7, m_pLog.get());
  for (const char* text : debugTexts) EXPECT_TRUE(LogLinesWith(text).empty()) << text;

  WriteSearchTask(m_pDatabase, problem, 8);
  UseLogLevel(3);
  const int subtasks = RunSearch(m_pDatabase, problem, 8, m_pLog.get());
  ASSERT_GT(subtasks, 0);
  EXPECT_EQ(LogLinesWith("Indices of discrete variables").size(), 1u);
  EXPECT_EQ(LogLinesWith("Set references").size(), 1u);
  for (const char* text : {"Node Number: ", "New Node's values", "New Node's Upper Bounds"}) {
    EXPECT_EQ(LogLinesWith(text).size(), static_cast<size_t>(subtasks)) << text;
  }
  const std::string lastNode = "Node Number: " + std::to_string(curNode.m_nNodeID) +
                               "  Parent Node: " + std::to_string(curNode.m_nParentID);
  EXPECT_EQ(LogLinesWith(lastNode).size(), 1u);
}

}  // namespace
