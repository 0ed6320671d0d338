// Answers a user can trust: a local search that did not work is never
// passed off as a design, a search with nodes that did not converge never claims to be
// exact, and problems that once broke the continuous solver (a NaN region,
// an objective of 1e10, finite-difference steps wider than the bounds) reach
// their optimum. Each runs the program as a user does.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>

#include "DatabaseFiles.h"
#include "ProgramRun.h"
#include "Records.h"
#include "TaskDatabaseFixture.h"

namespace {

using ::testing::HasSubstr;

class Trust : public ::testing::Test {
 protected:
  CProgramRun Solve(const std::string& name, const std::string& problem) {
    std::ofstream(m_folder.File(name + ".toml")) << problem;
    return RunProgram(m_folder.File(""), "solve " + name + ".toml --quiet --db " + name + ".db");
  }

  // The stored CResult of a task of a database the program wrote.
  CResult StoredResult(const std::string& name, int taskId) {
    OpenTaskDatabase(m_folder.File(name + ".db"));
    const CResult result = Stored<CResult>(taskId);
    CloseTaskDatabase();
    return result;
  }

  CScratchDirectory m_folder;
};

TEST_F(Trust, ARootThatCannotBeSolvedIsNeverTheAnswer) {
  const CProgramRun run = Solve("nowhere", R"toml(name = "nowhere"
objective = "sqrt(-1 - x^2)"
variables.x = { kind = "integer", lower = 0, upper = 3 }
)toml");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(
      run.output,
      HasSubstr("Result: no feasible discrete design found (search complete, but the continuous "
                "problem itself did not converge; nothing below it was explored)"));
  const CResult root = StoredResult("nowhere", 1);
  EXPECT_EQ(root.m_nStatusCode, 5);  // met NaN or infinite values
  EXPECT_EQ(root.m_strStatus, "not converged: met NaN or infinite values");
  EXPECT_EQ(root.m_nDiscreteFeasible, 0);
}

// The up child (x >= 3) lies where the objective is NaN: its subtask cannot
// be solved, and the search says that it did not explore it.
TEST_F(Trust, ANodeThatCannotBeSolvedIsClosedCountedAndReported) {
  const CProgramRun run = Solve("cliff", R"toml(name = "cliff"
objective = "(x - 2.6)^2 + 0*sqrt(2.7 - x)"
variables.x = { kind = "integer", lower = 0, upper = 5 }
)toml");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(
      run.output,
      HasSubstr("Result: the best feasible discrete design found (search complete, but 1 subtask "
                "did not converge; its subtree was not explored), held by task "));
  EXPECT_THAT(run.output, HasSubstr("objective  objective = 0.36"));
  EXPECT_THAT(run.output, HasSubstr("Search: 2 subtasks solved (1 of them not converged)"));
}

// Gupta & Ravindran's shifted Rosenbrock valley (MINLPLib nvs04): 1e10 at
// the start, where the unscaled local search gave up.
TEST_F(Trust, AnObjectiveOf1e10AtTheStartIsScaledAndSolved) {
  const CProgramRun run = Solve("valley", R"toml(name = "valley"
objective = "100*(0.5 + y - (0.6 + x)^2)^2 + (0.4 - x)^2"
variables.x = { kind = "integer", lower = 0, upper = 200, start = 100 }
variables.y = { kind = "integer", lower = 0, upper = 200, start = 100 }
)toml");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.output, HasSubstr("Result: the best feasible discrete design (search complete)"));
  EXPECT_THAT(run.output, HasSubstr("objective  objective = 0.72"));
}

// Narrow bounds far from zero: a relative finite-difference step would span
// the whole range and stop the relaxation at a bound, which is integral.
TEST_F(Trust, FiniteDifferenceStepsFitNarrowBoundsFarFromZero) {
  for (const long long lower : {1000000LL, 2147483640LL}) {
    const std::string centre = std::to_string(lower);
    const std::string problem =
        "name = \"narrow\"\nobjective = \"(y - " + centre +
        " - 6.4)^2\"\n[variables.y]\nkind = \"integer\"\nlower = " + centre +
        "\nupper = " + std::to_string(lower + 7) + "\n";
    const CProgramRun run = Solve("narrow" + centre, problem);
    EXPECT_EQ(run.exitCode, 0) << centre;
    EXPECT_THAT(run.output, HasSubstr("objective  objective = 0.16")) << centre;
  }
}

// The progress log, `tree` and `show` name every node's fate with the same
// words, and the replay behind `tree` and `show` agrees with what the running
// search decided, for a search stopped by a limit (open nodes remain) and for
// one that ran to its end.
TEST_F(Trust, EveryViewTellsANodesFateAsTheSearchDid) {
  for (const char* limit : {"--max-nodes 6", "--max-nodes 0"}) {
    const std::string problem = std::string(EXAMPLES_DIR) + "/coil_spring.toml";
    const std::string solve =
        "solve --quiet '" + problem + "' --db fates.db --log fates.log " + limit;
    ASSERT_LE(RunProgram(m_folder.File(""), solve).exitCode, 1);  // with or without a design so far
    std::map<int, std::string> logged;
    std::ifstream log(m_folder.File("fates.log"));
    const std::regex searchLine(
        R"(SEARCH node \d+: task (\d+) .*: ([a-z ]+)(, new incumbent)?; open nodes)");
    std::smatch match;
    for (std::string line; std::getline(log, line);) {
      if (std::regex_search(line, match, searchLine)) logged[std::stoi(match[1])] = match[2];
    }
    ASSERT_GT(logged.size(), 5u);
    const CProgramRun tree = RunProgram(m_folder.File(""), "tree fates.db");
    const CProgramRun listing = RunProgram(m_folder.File(""), "show fates.db");
    for (const auto& [task, fate] : logged) {
      // A node to be branched that was shows as branched.
      const std::string shown = "(" + fate + (fate == "to branch" ? "|branched" : "") + ")";
      EXPECT_TRUE(std::regex_search(
          tree.output,
          std::regex("task " + std::to_string(task) + "  .*  " + shown + "(  <== incumbent)?\n")))
          << limit << ": task " << task << " logged as " << fate << "\n"
          << tree.output;
      EXPECT_TRUE(std::regex_search(listing.output, std::regex("\n +" + std::to_string(task) +
                                                               "  .*  " + shown + "(;.*)?\n")))
          << limit << ": task " << task << " logged as " << fate << "\n"
          << listing.output;
    }
    std::filesystem::remove(m_folder.File("fates.db"));
    std::filesystem::remove(m_folder.File("fates.log"));
  }
}

}  // namespace
