// Solving tasks from their records and writing back what a host writes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Records.h"
#include "TaskDatabaseFixture.h"
#include "Timing.h"
#include "tasks/TaskProblem.h"
#include "tasks/TaskResult.h"
#include "tasks/TaskSolver.h"
#include "tasks/TaskWriter.h"

namespace {

using ::testing::StrEq;
using ::testing::ThrowsMessage;
using TaskSolver = TaskDatabaseTest;

TEST_F(TaskSolver, SolvesTheTaskAndRecordsItsBestDesignWhereTheModuleLooks) {
  const int taskId = WriteSearchTask(SmallProblem());
  const int analysesBefore = nNumAnalyses;
  const int gradientsBefore = nNumGradCalc;
  const CTaskSolution solution = SolveTask(taskId);
  EXPECT_TRUE(solution.feasible);
  EXPECT_NEAR(solution.best.objective, 0.5, 1e-8);
  EXPECT_EQ(nNumAnalyses - analysesBefore, solution.analyses);
  EXPECT_EQ(nNumGradCalc - gradientsBefore, solution.gradients);

  // CResult -> CIter -> CDPoint, as the module's reader follows it.
  const CTaskDesign design = ReadBestDesign(taskId);
  EXPECT_NEAR(design.values[0], 0.5, 1e-5);
  EXPECT_NEAR(design.values[1], 1.5, 1e-5);
  EXPECT_EQ(design.objective, solution.best.objective);
  EXPECT_LE(design.maxConstraint, 1e-6);
  ASSERT_EQ(design.responses.size(), 2u);  // objective, then the budget's left-hand side
  EXPECT_NEAR(design.responses[1], 2.0, 1e-6);

  // The root starts from several points; whichever run is best, it is
  // written first, because a subtask's start is read from CIter
  // (m_nBestIter, 0).
  EXPECT_EQ(solution.runs, 4);
  const CResult result = Stored<CResult>(taskId);
  EXPECT_EQ(result.m_nBestSubIter, 0);
  EXPECT_EQ(result.m_nStatusCode, static_cast<int>(ESolveStatus::Converged));
  EXPECT_EQ(result.m_strStatus, "solved: feasible");
  EXPECT_EQ(result.m_nTotalPoints, result.m_nNumPoints);
  EXPECT_EQ(result.m_nResultTask, 0);
  const CIter best = Stored<CIter>(taskId, [&](CIter& iteration) {
    iteration.m_nIter = result.m_nBestIter;
    iteration.m_nSubIter = 0;
  });
  EXPECT_EQ(Stored<CDPoint>(taskId, [&](CDPoint& point) { point.m_nPointID = best.m_nPointID; })
                .m_vaValues[1],
            design.values[1]);
}

TEST_F(TaskSolver, ModuleTypeOneMakesALatinHypercubeAndKeepsTheBestRun) {
  // Two valleys: a start in the middle finds x near +0.96; the global one is near -1.04.
  const CProblem problem = ParseProblem(R"(name = "valleys"
module_type = 1
start_points = 6
seed = 3
objective = "(x^2 - 1)^2 + 0.3 * x"
variables.x = { lower = -2, upper = 2, start = 0.5 }
)",
                                        "valleys.toml");
  const int taskId = WriteSearchTask(problem);
  const CTaskSolution solution = SolveTask(taskId);
  EXPECT_EQ(solution.runs, 6);
  EXPECT_LT(solution.best.values[0], -1.0);
  const CResult result = Stored<CResult>(taskId);
  EXPECT_EQ(result.m_vaRunObjectives.size(), 6u);
  EXPECT_GE(result.m_nNumPoints, 6);  // the six start points, then one result per run at most
  EXPECT_LE(result.m_nNumPoints, 12);
  EXPECT_EQ(Stored<CDPoint>(taskId, [](CDPoint& point) { point.m_nPointID = 5; }).m_nOrigin, 1);
}

TEST_F(TaskSolver, ASubtaskKeepsTheSearchFieldsOfItsResultAndDropsItsParentsRunHistory) {
  const int taskId = WriteSearchTask(SmallProblem());
  SolveTask(taskId);
  // A subtask as the module makes it: a copy of the task and a fresh result record.
  const int subtaskId = WriteSearchTask(SmallProblem());
  CTask subtask(GetPOD());
  subtask.Copy(Stored<CTask>(taskId));
  subtask.m_nTaskID = subtaskId;
  subtask.m_nParentTaskID = taskId;
  subtask.PutObject();
  CResult fresh(GetPOD());
  fresh.m_nTaskID = subtaskId;
  fresh.m_nNumPoints = 1;
  fresh.m_nTotalPoints = 1;
  fresh.m_nResultTask = 77;
  fresh.m_nDiscreteFeasible = 1;
  fresh.PutObject();

  SolveTask(subtaskId);
  const CResult result = Stored<CResult>(subtaskId);
  EXPECT_EQ(result.m_nTotalPoints, 1);
  EXPECT_EQ(result.m_nResultTask, 77);
  EXPECT_EQ(result.m_nDiscreteFeasible, 1);
  ASSERT_TRUE(subtask.GetObject());
  EXPECT_EQ(subtask.m_vRunCodes.size(), 1u);
  EXPECT_EQ(subtask.m_nTaskKind, 2);
}

TEST_F(TaskSolver, AnExpressionThatDoesNotCompileNamesTheTaskAndTheResponse) {
  const int taskId = WriteSearchTask(SmallProblem());
  CDResp responses = Stored<CDResp>(taskId);
  ASSERT_EQ(responses.m_vExpressions.size(), 2u);
  responses.m_vExpressions[1] = "x + z";
  responses.PutObject();
  EXPECT_THAT([&] { SolveTask(taskId); },
              ThrowsMessage<CTaskDataError>(
                  StrEq("task 1: response 'budget': unknown name 'z' in 'x + z'")));
}

}  // namespace
