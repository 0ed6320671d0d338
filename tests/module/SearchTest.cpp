// Whole searches driven as a host drives them, on a real task database: the
// final result must name a task holding the optimum that enumeration of every
// discrete combination finds.

#include <cmath>
#include <random>

#include "BranchBound.h"
#include "ModuleTestBed.h"
#include "QuadraticHost.h"

namespace {

struct CSearchKind {
  int nSense;       // 1 minimise, -1 maximise
  int nModuleType;  // 0 or 1
};

// Integer variables with negative and positive ranges, a set variable and a
// continuous one, coupled by a constraint that cuts the unconstrained optimum.
CProblem RandomProblem(std::mt19937& random, const CSearchKind& kind) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  CProblem problem;
  problem.nSense = kind.nSense;
  problem.nModuleType = kind.nModuleType;
  problem.nExtraPoints = kind.nModuleType == 1 ? 3 : 0;
  problem.sets = {{4, {0.5, 1.25, 2.0, 3.5}}};
  const CVariable shapes[] = {{-3, 3, 0, 0, 0, -1}, {0.5, 3.5, 0, 0, 0, 4}, {0, 5, 0, 0, 0, -1},
                              {-1, 2, 0, 0, 0, 0}, {-2, 4, 0, 0, 0, -1}};
  double targetProduct = 0.0;
  for (CVariable variable : shapes) {
    variable.dWeight = 0.5 + 2.0 * unit(random);
    variable.dTarget = variable.dLower + (variable.dUpper - variable.dLower) * unit(random);
    variable.dCoefficient = -0.5 + 2.0 * unit(random);
    targetProduct += variable.dCoefficient * variable.dTarget;
    problem.variables.push_back(variable);
  }
  problem.dLimit = targetProduct - 0.5 - 2.0 * unit(random);
  return problem;
}

class WholeSearch : public CModuleTest, public ::testing::WithParamInterface<CSearchKind> {};

TEST_P(WholeSearch, ResultNamesATaskHoldingTheEnumeratedOptimum) {
  std::mt19937 random(20240611u + 10u * GetParam().nSense + GetParam().nModuleType);
  for (int instance = 1; instance <= 6; ++instance) {
    SCOPED_TRACE("instance " + std::to_string(instance));
    const CProblem problem = RandomProblem(random, GetParam());
    const int searchTask = 1000 * instance;
    WriteSearchTask(m_pDatabase, problem, searchTask);
    const std::optional<CDesign> expected = EnumerateBest(problem);

    const int subtasksRun = RunSearch(m_pDatabase, problem, searchTask, m_pLog.get());

    const CResult outcome = Fetch<CResult>(searchTask);
    ASSERT_TRUE(expected.has_value());
    EXPECT_GT(subtasksRun, 0);
    EXPECT_EQ(outcome.m_nDiscreteFeasible, 1);
    double objective = 0.0;
    double maxCon = 0.0;
    std::valarray<double> values;
    GetBestResult(outcome.m_nResultTask, &objective, &maxCon, values);
    EXPECT_NEAR(objective, expected->dObjective, 1e-9 * (1.0 + std::fabs(objective)));
    ASSERT_EQ(values.size(), expected->values.size());
    for (size_t i = 0; i < values.size(); ++i) EXPECT_NEAR(values[i], expected->values[i], 1e-6);
    EXPECT_TRUE(IsLockFree());
  }
}

INSTANTIATE_TEST_SUITE_P(BothSensesAndModuleTypes, WholeSearch,
                         ::testing::Values(CSearchKind{1, 0}, CSearchKind{-1, 0}, CSearchKind{1, 1},
                                           CSearchKind{-1, 1}),
                         [](const ::testing::TestParamInfo<CSearchKind>& info) {
                           return std::string(info.param.nSense == 1 ? "Minimise" : "Maximise") +
                                  "ModuleType" + std::to_string(info.param.nModuleType);
                         });

using SearchOutcome = CModuleTest;

CProblem TwoIntegerProblem() {
  CProblem problem;
  problem.variables = {{0, 4, 1.0, 1.5, 1.0, -1}, {0, 4, 1.0, 2.5, 1.0, -1}};
  problem.dLimit = 3.5;
  return problem;
}

TEST_F(SearchOutcome, InfeasibleContinuousOptimumEndsTheSearchWithoutResult) {
  CProblem problem = TwoIntegerProblem();
  problem.dLimit = -1.0;  // a.x >= 0 everywhere in the box
  WriteSearchTask(m_pDatabase, problem, 7);
  EXPECT_EQ(GenDiscreteTask(7, m_pLog.get()), 0);
  const CResult outcome = Fetch<CResult>(7);
  EXPECT_EQ(outcome.m_nDiscreteFeasible, 0);
  EXPECT_EQ(outcome.m_nResultTask, 0);
  EXPECT_EQ(theTree.m_BestNode.m_nTaskID, -1);
}

TEST_F(SearchOutcome, ContinuousOptimumOnAllowedValuesEndsTheSearchAtOnce) {
  CProblem problem = TwoIntegerProblem();
  problem.variables[0].dTarget = 1.0;
  problem.variables[1].dTarget = 2.0;
  WriteSearchTask(m_pDatabase, problem, 7);
  EXPECT_EQ(GenDiscreteTask(7, m_pLog.get()), 0);
  const CResult outcome = Fetch<CResult>(7);
  EXPECT_EQ(outcome.m_nResultTask, 7);
  EXPECT_EQ(outcome.m_nDiscreteFeasible, 1);
}

TEST_F(SearchOutcome, TaskWithoutDiscreteVariablesKeepsItsContinuousOptimum) {
  CProblem problem = TwoIntegerProblem();
  problem.variables[0].nSetId = problem.variables[1].nSetId = 0;
  WriteSearchTask(m_pDatabase, problem, 7);
  WriteSearchTask(m_pDatabase, TwoIntegerProblem(), 3);
  RunSearch(m_pDatabase, TwoIntegerProblem(), 3, m_pLog.get());  // a search before it

  EXPECT_EQ(GenDiscreteTask(7, m_pLog.get()), 0);
  EXPECT_EQ(GenDiscreteTask(0, m_pLog.get()), 0);

  const CResult outcome = Fetch<CResult>(7);
  EXPECT_EQ(outcome.m_nResultTask, 7);
  EXPECT_EQ(outcome.m_nDiscreteFeasible, 1);  // the optimum meets a.x <= 3
  EXPECT_EQ(theTree.m_nNumDiscrete, 0);
  EXPECT_EQ(theTree.m_BestNode.m_nNodeID, -1);
}

TEST_F(SearchOutcome, NodeNumbersGoOnRisingInTheNextSearch) {
  WriteSearchTask(m_pDatabase, TwoIntegerProblem(), 7);
  WriteSearchTask(m_pDatabase, TwoIntegerProblem(), 3);
  EXPECT_GT(RunSearch(m_pDatabase, TwoIntegerProblem(), 3, nullptr), 0);  // a null log: no debug output
  const int nextNumber = CDiscreteNode::m_nNODE;
  ASSERT_NE(GenDiscreteTask(7, m_pLog.get()), 0);
  EXPECT_EQ(curNode.m_nParentID, nextNumber);  // the second search's root
}

}  // namespace
