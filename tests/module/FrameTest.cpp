// What every entry point shares: the exception family, logging of failures on
// their way out, the lock and the timers.

#include <cstring>
#include <string>

#include "BranchBound.h"
#include "DiscreteNode.h"
#include "ModuleTestBed.h"
#include "SearchTaskHost.h"
#include "TaskDatabase.h"
#include "TaskIdOverride.h"
#include "Timing.h"

namespace {

// Every entry point that reaches the database, called with none open: the
// CNullPtr raised passes this many handlers on its way out.
struct CEntryPointCall {
  const char* pszName;
  void (*call)();
  size_t nPassedHandlers;
};

// Arguments of the calls; their values do not matter.
CDiscreteNode node;
std::valarray<int> setIds;
std::valarray<double> lower, upper, values;
double objective, maxCon;

class WithoutDatabase : public CModuleTest,
                        public ::testing::WithParamInterface<CEntryPointCall> {};

TEST_P(WithoutDatabase, EntryPointRaisesNullPointerLoggedByEveryHandlerPassed) {
  CloseTaskDatabase();
  EXPECT_EQ(ExpectFailure<CNullPtr>(GetParam().call, GetParam().nPassedHandlers),
            "Null pointer found");
}

INSTANTIATE_TEST_SUITE_P(
    EveryEntryPoint, WithoutDatabase,
    ::testing::Values(
        CEntryPointCall{"GenDiscreteTask", [] { GenDiscreteTask(1, nullptr); }, 1},
        CEntryPointCall{"Node2Task", [] { Node2Task(node); }, 1},
        CEntryPointCall{"PostDiscreteTask", [] { PostDiscreteTask(1, false); }, 1},
        CEntryPointCall{"UpdateNodeData", [] { UpdateNodeData(node, 1); }, 2},
        CEntryPointCall{"GetTaskDVData", [] { GetTaskDVData(1, setIds, lower, upper); }, 1},
        CEntryPointCall{"GetBestResult", [] { GetBestResult(1, &objective, &maxCon, values); }, 1},
        CEntryPointCall{"BranchBoundStop", [] { BranchBoundStop(1); }, 1},
        CEntryPointCall{"UseParentPoints", [] { UseParentPoints(2, 1, 3, 0); }, 1}),
    [](const ::testing::TestParamInfo<CEntryPointCall>& info) {
      return std::string(info.param.pszName);
    });

using FailureOnTheWayOut = CModuleTest;

// Passed by GetBestResult's handler, then GenDiscreteTask's.
TEST_F(FailureOnTheWayOut, ReadFailureInsideAStartingCallIsLoggedThreeTimesAndFreesTheLock) {
  WriteSearchTask(m_pDatabase, TwoIntegerProblem(), 7);
  DeleteAll("CDPoint");
  EXPECT_EQ(ExpectFailure<CGetObject>([&] { GenDiscreteTask(7, m_pLog.get()); }, 2),
            "Could not get object");
  EXPECT_EQ(std::strlen(CBranchBound("f.cpp", 1, std::string(600, 'm').c_str()).what()), 511u)
      << "a message keeps its first 511 characters";
  // The task and result reads succeeded and were timed; the failed point read
  // added nothing after its start.
  EXPECT_GT(dbReadTime.m_dTotal, 0.0);
  EXPECT_EQ(discSetupTime.m_dTotal, 0.0);
}

TEST_F(FailureOnTheWayOut, ExceptionOfUnknownTypeIsLoggedByEveryHandlerAndPassedOn) {
  WriteSearchTask(m_pDatabase, TwoIntegerProblem(), 7);
  ThrowFromNextTaskId(42);  // inside Node2Task, called by GenDiscreteTask

  EXPECT_THROW(GenDiscreteTask(7, m_pLog.get()), int);

  EXPECT_TRUE(LogLinesWith("new exception").empty());
  const std::vector<std::string> passed =
      LogLinesWith("exception of unknown type passed src/BranchBound.cpp:");
  ASSERT_EQ(passed.size(), 2u);
  EXPECT_NE(passed[0], passed[1]);
  EXPECT_TRUE(IsLockFree());
}

}  // namespace
