#pragma once

// A private in-memory task database for one test, a small problem to write
// into it, and reading back what is stored.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "TaskDatabase.h"
#include "problem/ProblemFile.h"

class TaskDatabaseTest : public ::testing::Test {
 protected:
  void SetUp() override { OpenTaskDatabase(":memory:"); }
  void TearDown() override { CloseTaskDatabase(); }
};

// The stored `TRecord` of task `taskId` (with the further key fields `setKey`
// fills in); a missing record fails the test.
template <class TRecord>
TRecord Stored(int taskId, const std::function<void(TRecord&)>& setKey = nullptr) {
  TRecord record(GetPOD());
  record.m_nTaskID = taskId;
  if (setKey) setKey(record);
  EXPECT_TRUE(record.GetObject()) << "no such record of task " << taskId;
  return record;
}

// min (x - 1)^2 + (y - 2)^2 subject to x + y <= 2, x continuous in [0, 3],
// y integer in [0, 3]: continuous optimum (0.5, 1.5), value 0.5.
inline CProblem SmallProblem() {
  return ParseProblem(R"(name = "small"
tolerance = 1e-6
objective = "(x - 1)^2 + (y - 2)^2"
variables.x = { lower = 0, upper = 3 }
variables.y = { kind = "integer", lower = 0, upper = 3 }
constraints.budget = "x + y <= 2"
)",
                      "small.toml");
}
