// Writing a problem into the database as a search task, and reading its
// continuous problem back from the records alone.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Records.h"
#include "TaskDatabaseFixture.h"
#include "tasks/TaskProblem.h"
#include "tasks/TaskWriter.h"

namespace {

using ::testing::StrEq;
using ::testing::ThrowsMessage;

const char* const kPlate = R"(name = "plate"
sense = "max"
tolerance = 1e-4
module_type = 1
start_points = 3
objective = { name = "stiffness", expression = "w * t^3 + k", scale = 10 }
sets.gauge = [0.5, 0.75, 1.0]
variables.w = { lower = 1, upper = 4, start = 2, scale = 3 }
variables.t = { set = "gauge" }
variables.n = { kind = "integer", lower = 0.5, upper = 4 }
equations.k = "2 * n"
[constraints]
area = { expression = "w * t <= 3", scale = 2 }
count = "n >= 1"
pair = "w - n == 0"
)";

class TaskWriter : public TaskDatabaseTest {
 protected:
  void SetUp() override {
    TaskDatabaseTest::SetUp();
    taskId = WriteSearchTask(ParseProblem(kPlate, "plate.toml"));
  }
  int taskId = 0;  // the search task kPlate was written as
};

TEST_F(TaskWriter, ReadingTheTaskBackGivesTheProblemThatWasWritten) {
  const CTaskProblem task = ReadTaskProblem(taskId);
  EXPECT_EQ(task.moduleType, 1);
  EXPECT_FALSE(task.minimize);
  EXPECT_EQ(task.tolerance, 1e-4);
  EXPECT_EQ(task.variableNames, (std::vector<std::string>{"w", "t", "n"}));
  EXPECT_EQ(task.lower, (std::vector<double>{1, 0.5, 1}));  // n's lower bound rounded up
  EXPECT_EQ(task.upper, (std::vector<double>{4, 1.0, 4}));
  EXPECT_EQ(task.typicalMagnitude, (std::vector<double>{3, 1, 1}));
  EXPECT_EQ(task.model.equations.size(), 1u);
  EXPECT_EQ(task.model.responses, (std::vector<std::string>{"w * t^3 + k", "w * t", "n", "w - n"}));
  EXPECT_EQ(task.responseNames, (std::vector<std::string>{"stiffness", "area", "count", "pair"}));
  EXPECT_EQ(task.objectiveResponse, 0);
  EXPECT_EQ(task.objectiveScale, 10.0);
  EXPECT_EQ(task.constraintResponses, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(task.constraintKinds,
            (std::vector<EConstraintKind>{EConstraintKind::AtMost, EConstraintKind::AtLeast,
                                          EConstraintKind::EqualTo}));
  EXPECT_EQ(task.constraintBounds, (std::vector<double>{3, 1, 0}));
  EXPECT_EQ(task.constraintScales, (std::vector<double>{2, 1, 1}));
  EXPECT_EQ(task.startPointCount, 3);
  EXPECT_EQ(task.initMode, 0);
}

TEST_F(TaskWriter, WritesEveryRecordTheModuleReadsWithSetIdsAndAFilledStartPoint) {
  const CDVar variables = Stored<CDVar>(taskId);
  EXPECT_EQ(variables.m_vSetID, (std::vector<pvINT32>{0, 1, -1}));
  EXPECT_EQ(variables.m_vBoundsMoved, (std::vector<pvINT32>{0, 0, 1}));
  EXPECT_EQ(double(variables.m_vaGivenLower[2]), 0.5);
  EXPECT_TRUE(std::isnan(double(variables.m_vaStart[1])));
  const CDSet sets = Stored<CDSet>(taskId);
  EXPECT_EQ(sets.m_vSetNames, (std::vector<std::string>{"gauge"}));
  EXPECT_EQ(sets.m_vSetIDs, (std::vector<pvINT32>{1}));
  ASSERT_EQ(sets.m_vSetValues.size(), 1u);
  EXPECT_EQ(double(sets.m_vSetValues[0][1]), 0.75);

  CDLink links(GetPOD());
  links.m_nTaskID = taskId;
  EXPECT_TRUE(links.FindObject());
  const CDPoint start = Stored<CDPoint>(taskId, [](CDPoint& point) { point.m_nPointID = 0; });
  // w is given; t and n start in the middle of their (moved) bounds.
  EXPECT_EQ(std::vector<double>(std::begin(start.m_vaValues), std::end(start.m_vaValues)),
            (std::vector<double>{2, 0.75, 2.5}));
  const CTask task = Stored<CTask>(taskId);
  EXPECT_EQ(task.m_nTaskKind, 1);
  EXPECT_EQ(task.m_nParentTaskID, 0);
  EXPECT_EQ(task.m_nMinimize1, 0);
  EXPECT_EQ(task.m_vPointFlags.size(), 3u);
  EXPECT_NE(WriteSearchTask(ParseProblem(kPlate, "plate.toml")), taskId);
}

TEST_F(TaskWriter, RecordsThatDisagreeAreReportedNotSolved) {
  CDVar variables = Stored<CDVar>(taskId);
  variables.m_vaUpper = std::valarray<pvFLOAT64>(1);
  variables.PutObject();
  EXPECT_THAT([&] { ReadTaskProblem(taskId); },
              ThrowsMessage<CTaskDataError>(
                  StrEq("task 1: CDVar m_vaUpper holds 1 entries where 3 are expected")));
  EXPECT_THROW(ReadTaskProblem(taskId + 1), CTaskDataError);
}

}  // namespace
