// What every entry point shares: the version, the exception family, logging
// of failures on their way out, the lock and the timers.

#include <string>

#include "BranchBound.h"
#include "DiscreteNode.h"
#include "ModuleTestBed.h"
#include "QuadraticHost.h"
#include "TaskDatabase.h"
#include "TaskIdOverride.h"
#include "Timing.h"

namespace {

TEST(Version, IsSixTwentyOneZero) {
  int major = 0;
  int minor = 0;
  int release = 1;
  GetDiscreteVersion(&major, &minor, &release);
  EXPECT_EQ(major, 6);
  EXPECT_EQ(minor, 21);
  EXPECT_EQ(release, 0);
}

using ExceptionTest = CModuleTest;

TEST_F(ExceptionTest, LongMessageKeepsItsFirst511CharsAndIsLoggedOnce) {
  const std::string message = std::string(600, 'm');
  const CBranchBound error("src/Elsewhere.cpp", 42, message.c_str());
  EXPECT_EQ(std::string(error.what()), message.substr(0, 511));
  EXPECT_EQ(error.m_nLine, 42);
  EXPECT_STREQ(error.m_pszFile, "src/Elsewhere.cpp");
  EXPECT_EQ(LogLinesWith("src/Elsewhere.cpp").size(), 1u);

  const CGetObject unlogged(nullptr, 1, "Could not get object");
  EXPECT_EQ(LogLines().size(), 1u);
}

// Every entry point that reaches the database, called with none open.
struct CEntryPointCall {
  const char* pszName;
  void (*call)();
  size_t nPassedHandlers;  // handlers the exception passes on its way out
};

void CallUpdateNodeData() {
  CDiscreteNode node;
  UpdateNodeData(node, 1);
}
void CallGetTaskDVData() {
  std::valarray<int> setIds;
  std::valarray<double> lower, upper;
  GetTaskDVData(1, setIds, lower, upper);
}
void CallGetBestResult() {
  double objective = 0.0, maxCon = 0.0;
  std::valarray<double> values;
  GetBestResult(1, &objective, &maxCon, values);
}
void CallNode2Task() {
  CDiscreteNode node;
  Node2Task(node);
}

class WithoutDatabase : public CModuleTest, public ::testing::WithParamInterface<CEntryPointCall> {};

TEST_P(WithoutDatabase, EntryPointRaisesNullPointerLoggedByEveryHandlerPassed) {
  CloseTaskDatabase();
  try {
    GetParam().call();
    ADD_FAILURE() << "no exception";
  } catch (const CNullPtr& error) {
    EXPECT_STREQ(error.what(), "Null pointer found");
    EXPECT_STREQ(error.m_pszFile, "src/BranchBound.cpp");
  }
  EXPECT_EQ(NewExceptionLines().size(), 1u);
  EXPECT_EQ(PassedExceptionLines().size(), GetParam().nPassedHandlers);
  EXPECT_EQ(LogLinesWith("src/BranchBound.cpp:").size(), 1 + GetParam().nPassedHandlers);
}

INSTANTIATE_TEST_SUITE_P(
    EveryEntryPoint, WithoutDatabase,
    ::testing::Values(CEntryPointCall{"GenDiscreteTask", [] { GenDiscreteTask(1, nullptr); }, 1},
                      CEntryPointCall{"Node2Task", CallNode2Task, 1},
                      CEntryPointCall{"PostDiscreteTask", [] { PostDiscreteTask(1, false); }, 1},
                      CEntryPointCall{"UpdateNodeData", CallUpdateNodeData, 2},
                      CEntryPointCall{"GetTaskDVData", CallGetTaskDVData, 1},
                      CEntryPointCall{"GetBestResult", CallGetBestResult, 1},
                      CEntryPointCall{"BranchBoundStop", [] { BranchBoundStop(1); }, 1},
                      CEntryPointCall{"UseParentPoints", [] { UseParentPoints(2, 1, 3, 0); }, 1}),
    [](const ::testing::TestParamInfo<CEntryPointCall>& info) { return std::string(info.param.pszName); });

using FailureOnTheWayOut = CModuleTest;

TEST_F(FailureOnTheWayOut, ReadFailureInsideAStartingCallIsLoggedThreeTimesAndFreesTheLock) {
  CProblem problem;
  problem.variables = {{0, 4, 1, 1.5, 1, -1}};
  WriteSearchTask(m_pDatabase, problem, 7);
  DeleteAll("CDPoint");
  const double readTotalBefore = dbReadTime.m_dTotal;

  try {
    GenDiscreteTask(7, m_pLog.get());
    ADD_FAILURE() << "no exception";
  } catch (const CKivoErr& error) {
    EXPECT_STREQ(error.what(), "Could not get object");
    EXPECT_NE(dynamic_cast<const CGetObject*>(&error), nullptr);
  }
  EXPECT_EQ(NewExceptionLines().size(), 1u);
  const std::vector<std::string> passed = PassedExceptionLines();
  ASSERT_EQ(passed.size(), 2u);  // GetBestResult's handler, then GenDiscreteTask's
  EXPECT_NE(passed[0], passed[1]);
  EXPECT_TRUE(IsLockFree());
  // The task and result reads succeeded and were timed; the failed point read
  // added nothing after its start.
  EXPECT_GT(dbReadTime.m_dTotal, readTotalBefore);
  EXPECT_GE(dbReadTime.m_dStart, 0.0);
  EXPECT_EQ(discSetupTime.m_dTotal, 0.0);
}

TEST_F(FailureOnTheWayOut, ExceptionOfUnknownTypeIsLoggedByEveryHandlerAndPassedOn) {
  CProblem problem;
  problem.variables = {{0, 4, 1, 1.5, 1, -1}};
  WriteSearchTask(m_pDatabase, problem, 7);
  ThrowFromNextTaskId(42);  // inside Node2Task, called by GenDiscreteTask

  EXPECT_THROW(GenDiscreteTask(7, m_pLog.get()), int);

  EXPECT_TRUE(NewExceptionLines().empty());
  EXPECT_EQ(LogLinesWith("exception of unknown type passed src/BranchBound.cpp:").size(), 2u);
  EXPECT_TRUE(IsLockFree());
}

}  // namespace
