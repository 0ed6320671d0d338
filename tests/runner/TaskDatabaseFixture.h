#pragma once

// A private in-memory task database for one test, and a small problem to
// write into it.

#include <gtest/gtest.h>

#include <string>

#include "ProblemFile.h"
#include "TaskDatabase.h"

class TaskDatabaseTest : public ::testing::Test {
 protected:
  void SetUp() override { OpenTaskDatabase(":memory:"); }
  void TearDown() override { CloseTaskDatabase(); }
};

// min (x - 1)^2 + (y - 2)^2 subject to x + y <= 2, x continuous in [0, 3],
// y integer in [0, 3]: continuous optimum (0.5, 1.5), value 0.5.
inline std::string SmallProblemText(const std::string& extra = "") {
  return R"(name = "small"
sense = "min"
tolerance = 1e-6
objective = "(x - 1)^2 + (y - 2)^2"
)" + extra + R"(
[variables.x]
lower = 0
upper = 3
[variables.y]
kind = "integer"
lower = 0
upper = 3
[constraints]
budget = "x + y <= 2"
)";
}

inline CProblem SmallProblem(const std::string& extra = "") { return ParseProblem(SmallProblemText(extra), "small.toml"); }
