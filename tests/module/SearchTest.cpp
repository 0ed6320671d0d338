// Whole searches driven as a host drives them, on a real task database: the
// final result must name a task holding the optimum that enumeration of every
// discrete combination finds.

#include <cmath>
#include <random>

#include "BranchBound.h"
#include "ModuleTestBed.h"
#include "SearchTaskHost.h"

namespace {

struct CSearchKind {
  int nSense;       // 1 minimise, -1 maximise
  int nModuleType;  // 0 or 1
};

class WholeSearch : public CModuleTest, public ::testing::WithParamInterface<CSearchKind> {};

TEST_P(WholeSearch, ResultNamesATaskHoldingTheEnumeratedOptimum) {
  const CSearchKind kind = GetParam();
  std::mt19937 random(20240611u + 10u * kind.nSense + kind.nModuleType);
  int subtasksRun = 0, feasibleSearches = 0;
  for (int instance = 1; instance <= 8; ++instance) {
    SCOPED_TRACE("instance " + std::to_string(instance));
    const CSearchProblem problem{RandomProblem(random, kind.nSense, false), kind.nModuleType,
                                 3 * kind.nModuleType};
    const int searchTask = 1000 * instance;
    WriteSearchTask(m_pDatabase, problem, searchTask);
    subtasksRun += RunSearch(m_pDatabase, problem, searchTask, m_pLog.get());
    const std::optional<CDesign> expected = problem.EnumerateBest();
    const CResult outcome = Fetch<CResult>(searchTask);
    EXPECT_EQ(outcome.m_nDiscreteFeasible, expected ? 1 : 0);
    EXPECT_TRUE(IsLockFree());
    if (!expected) continue;
    ++feasibleSearches;
    double objective = 0.0, maxCon = 0.0;
    std::valarray<double> values;
    GetBestResult(outcome.m_nResultTask, &objective, &maxCon, values);
    EXPECT_NEAR(objective, expected->dObjective, 1e-9 * (1.0 + std::fabs(objective)));
    ASSERT_EQ(values.size(), expected->values.size());
    for (size_t i = 0; i < values.size(); ++i) EXPECT_NEAR(values[i], expected->values[i], 1e-6);
  }
  EXPECT_GE(feasibleSearches, 6);
  EXPECT_GE(subtasksRun, 20);
}

INSTANTIATE_TEST_SUITE_P(BothSensesAndModuleTypes, WholeSearch,
                         ::testing::Values(CSearchKind{1, 0}, CSearchKind{-1, 0}, CSearchKind{1, 1},
                                           CSearchKind{-1, 1}),
                         [](const ::testing::TestParamInfo<CSearchKind>& info) {
                           return std::string(info.param.nSense == 1 ? "Minimise" : "Maximise") +
                                  "ModuleType" + std::to_string(info.param.nModuleType);
                         });

using SearchOutcome = CModuleTest;

TEST_F(SearchOutcome, ContinuousOptimumEndsTheSearchAtOnceWhenInfeasibleOrOnAllowedValues) {
  CSearchProblem infeasible = TwoIntegerProblem(), onAllowedValues = TwoIntegerProblem();
  infeasible.dLimit = -1.0;  // a.x >= 0 everywhere in the box
  onAllowedValues.variables[0].dTarget = 1.0;
  onAllowedValues.variables[1].dTarget = 2.0;
  WriteSearchTask(m_pDatabase, infeasible, 7);
  WriteSearchTask(m_pDatabase, onAllowedValues, 8);
  EXPECT_EQ(GenDiscreteTask(7, m_pLog.get()), 0);
  EXPECT_EQ(theTree.m_BestNode.m_nTaskID, -1);
  EXPECT_EQ(GenDiscreteTask(8, m_pLog.get()), 0);
  const CResult infeasibleOutcome = Fetch<CResult>(7), allowedOutcome = Fetch<CResult>(8);
  EXPECT_EQ(infeasibleOutcome.m_nDiscreteFeasible, 0);
  EXPECT_EQ(infeasibleOutcome.m_nResultTask, 0);
  EXPECT_EQ(allowedOutcome.m_nDiscreteFeasible, 1);
  EXPECT_EQ(allowedOutcome.m_nResultTask, 8);
}

TEST_F(SearchOutcome, TaskWithoutDiscreteVariablesKeepsItsContinuousOptimum) {
  CSearchProblem problem = TwoIntegerProblem();
  problem.variables[0].nSetId = problem.variables[1].nSetId = 0;
  WriteSearchTask(m_pDatabase, problem, 7);
  WriteSearchTask(m_pDatabase, TwoIntegerProblem(), 3);
  RunSearch(m_pDatabase, TwoIntegerProblem(), 3, m_pLog.get());  // a search before it

  EXPECT_EQ(GenDiscreteTask(7, m_pLog.get()), 0);
  EXPECT_EQ(GenDiscreteTask(0, m_pLog.get()), 0);

  const CResult outcome = Fetch<CResult>(7);
  EXPECT_EQ(outcome.m_nResultTask, 7);
  EXPECT_EQ(outcome.m_nDiscreteFeasible, 1);  // the optimum meets x0 + x1 <= 3.5
  EXPECT_EQ(std::make_pair(theTree.m_nNumDiscrete, theTree.m_BestNode.m_nNodeID),
            std::make_pair(0, -1));
}

TEST_F(SearchOutcome, NodeNumbersGoOnRisingInTheNextSearch) {
  WriteSearchTask(m_pDatabase, TwoIntegerProblem(), 7);
  WriteSearchTask(m_pDatabase, TwoIntegerProblem(), 3);
  EXPECT_GT(RunSearch(m_pDatabase, TwoIntegerProblem(), 3, nullptr),
            0);  // a null log: no debug output
  const int nextNumber = CDiscreteNode::m_nNODE;
  ASSERT_NE(GenDiscreteTask(7, m_pLog.get()), 0);
  EXPECT_EQ(curNode.m_nParentID, nextNumber);  // the second search's root
}

}  // namespace
