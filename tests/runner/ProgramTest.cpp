// The `discrete` program as a user runs it: exit codes, what it writes and
// never overwrites, its reports, and every example reaching its published
// optimum.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Records.h"
#include "TaskDatabase.h"
#include "TaskResult.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

struct CRun {
  int exitCode = -1;    // the program's exit status
  std::string output;   // what it wrote to stdout
  std::string errors;   // what it wrote to stderr
};

std::string ReadAll(const fs::path& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// Each test works in a fresh folder of its own.
class Program : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = fs::temp_directory_path() /
             ("discrete-" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "-" +
              std::to_string(getpid()));
    fs::remove_all(folder);
    fs::create_directories(folder);
  }
  void TearDown() override { fs::remove_all(folder); }

  CRun Run(const std::string& arguments, const std::string& environment = "") const {
    const std::string command = "cd '" + folder.string() + "' && " + environment + " '" DISCRETE_PROGRAM "' " +
                                arguments + " > stdout.txt 2> stderr.txt";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadAll(folder / "stdout.txt"),
            ReadAll(folder / "stderr.txt")};
  }

  void Write(const std::string& name, const std::string& text) const { std::ofstream(folder / name) << text; }

  fs::path folder;
};

const char* const kSmall = R"(name = "small"
objective = "(x - 1.4)^2 + (y - 2.6)^2"
[variables.x]
kind = "integer"
lower = 0
upper = 3
[variables.y]
lower = 0
upper = 3
[constraints]
budget = "x + y <= 3.5"
)";

TEST_F(Program, SolvesAProblemAndReportsTheDesignTheConstraintsAndTheEffort) {
  Write("small.toml", kSmall);
  const CRun run = Run("solve small.toml");
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("Result: the best feasible discrete design (search complete), held by task "));
  EXPECT_THAT(run.output, HasSubstr("  objective  objective = 0.17  (minimised)"));
  EXPECT_THAT(run.output, HasSubstr("  x                        1             0             3  integer"));
  EXPECT_THAT(run.output, HasSubstr("  budget                   3.5  <=           3.5"));
  EXPECT_THAT(run.output, HasSubstr("subtasks solved"));
  EXPECT_THAT(run.output, HasSubstr("database reads"));
  EXPECT_TRUE(fs::exists(folder / "small.db"));
  EXPECT_TRUE(fs::exists(folder / "small.log"));
  EXPECT_THAT(ReadAll(folder / "small.log"), HasSubstr("SEARCH node 0: task 1 (the search task)"));
}

TEST_F(Program, ShowsTasksRecordsAndTheSearchTree) {
  Write("small.toml", kSmall);
  ASSERT_EQ(Run("solve small.toml --quiet").exitCode, 0);
  const CRun list = Run("show small.db");
  EXPECT_EQ(list.exitCode, 0);
  EXPECT_THAT(list.output, HasSubstr("     1  search        -         2"));
  EXPECT_THAT(list.output, HasSubstr("(feasible discrete)"));
  const CRun records = Run("show small.db 1");
  EXPECT_THAT(records.output, HasSubstr("CTask (m_nTaskID = 1)\n  m_nModuleType = 0\n"));
  EXPECT_THAT(records.output, HasSubstr("CDPoint (m_nTaskID = 1, m_nPointID = 0)"));
  EXPECT_THAT(records.output, HasSubstr("CIter (m_nTaskID = 1, m_nIter = 0, m_nSubIter = 0)"));
  const CRun tree = Run("tree small.db");
  EXPECT_THAT(tree.output, HasSubstr("task 1  root  objective "));
  EXPECT_THAT(tree.output, HasSubstr("+-- task 2  x >= 2  objective "));
  EXPECT_THAT(tree.output, HasSubstr("`-- task 3  x <= 1  objective 0.17  max con "));
  EXPECT_THAT(tree.output, HasSubstr("discrete feasible  <== incumbent"));
  const CRun dot = Run("tree small.db --format dot");
  EXPECT_THAT(dot.output, HasSubstr("digraph search_1 {"));
  EXPECT_THAT(dot.output, HasSubstr("t1 -> t3 [label=\"x <= 1\"];"));
  EXPECT_THAT(dot.output, HasSubstr("style=filled, fillcolor=gold"));
  EXPECT_EQ(Run("show small.db 99").exitCode, 4);
}

TEST_F(Program, ExitCodesTellTheOutcome) {
  Write("small.toml", kSmall);
  // No whole x satisfies x == 0.5, although the relaxation does.
  Write("impossible.toml", R"(name = "impossible"
objective = "x"
[variables.x]
kind = "integer"
lower = 0
upper = 1
[constraints]
half = "x == 0.5"
)");
  const CRun infeasible = Run("solve impossible.toml");
  EXPECT_EQ(infeasible.exitCode, 1);
  EXPECT_THAT(infeasible.output, HasSubstr("Result: no feasible discrete design found (search complete)"));

  EXPECT_EQ(Run("solve").exitCode, 2);
  EXPECT_EQ(Run("frobnicate").exitCode, 2);
  EXPECT_EQ(Run("solve small.toml --max-nodes -3").exitCode, 2);
  EXPECT_EQ(Run("solve small.toml --optimizer newton").exitCode, 2);

  Write("text.db", "these are my notes, not a task database\n");
  const CRun notADatabase = Run("solve small.toml --db text.db");
  EXPECT_EQ(notADatabase.exitCode, 4);
  EXPECT_THAT(notADatabase.errors, HasSubstr("discrete: database error: "));
  EXPECT_EQ(ReadAll(folder / "text.db"), "these are my notes, not a task database\n");

  const CRun noModule = Run("solve small.toml", "DISCRETE_MODULE=/nonexistent/libDiscrete.so");
  EXPECT_EQ(noModule.exitCode, 5);
  EXPECT_THAT(noModule.errors, HasSubstr("discrete: module error: cannot load the discrete module libDiscrete.so from "
                                         "DISCRETE_MODULE=/nonexistent/libDiscrete.so: "));
  EXPECT_FALSE(fs::exists(folder / "small.db"));
}

TEST_F(Program, ABadProblemFileIsReportedAndTouchesNoDatabase) {
  Write("gear.toml", R"(name = "gear"
objective = "x1 * x3"
[variables.x1]
kind = "integer"
lower = 12
upper = 60
[variables.x3]
kind = "integer"
lower = 70
upper = 60
)");
  const CRun run = Run("solve gear.toml");
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_EQ(run.errors, "gear.toml:9: variables.x3.lower: 70 is above upper bound 60\n");
  EXPECT_FALSE(fs::exists(folder / "gear.db"));
  EXPECT_FALSE(fs::exists(folder / "gear.log"));
}

TEST_F(Program, NeverOverwritesADatabase) {
  Write("small.toml", kSmall);
  ASSERT_EQ(Run("solve small.toml --quiet").exitCode, 0);
  const CRun second = Run("solve small.toml");
  EXPECT_EQ(second.exitCode, 0);
  EXPECT_THAT(second.errors, HasSubstr("small.db exists already; writing to small-2.db"));
  EXPECT_TRUE(fs::exists(folder / "small-2.db"));
  // A database named on the command line gathers searches.
  ASSERT_EQ(Run("solve small.toml --quiet --db small.db").exitCode, 0);
  const CRun list = Run("show small.db");
  EXPECT_THAT(list.output, HasSubstr("     1  search"));
  const std::string tree = Run("tree small.db").output;
  EXPECT_NE(tree.find("  root  "), tree.rfind("  root  "));  // two search trees
}

TEST_F(Program, TheLimitsStopTheSearchAndSaySo) {
  Write("small.toml", kSmall);
  const CRun run = Run("solve small.toml --max-nodes 1");
  EXPECT_EQ(run.exitCode, 0);  // the first subtask (x >= 2) is a discrete design, though not the best
  EXPECT_THAT(run.output, HasSubstr("Result: the best feasible discrete design found so far (stopped at the node "
                                    "limit), held by task 2\n  objective  objective = 1.57  (minimised)"));
}

TEST_F(Program, TheLogHoldsOneLinePerNodeAndTheModulesDebugLinesAboveLevelTwo) {
  Write("small.toml", kSmall);
  ASSERT_EQ(Run("solve small.toml --quiet --optimizer cobyla --log-level 3 --log detail.log").exitCode, 0);
  const std::string log = ReadAll(folder / "detail.log");
  EXPECT_THAT(log, HasSubstr("SEARCH node 2: task 3 (from task 1): objective "));
  EXPECT_THAT(log, HasSubstr("SEARCH search complete after 2 subtasks"));
  EXPECT_THAT(log, HasSubstr("Indices of discrete variables"));
  EXPECT_FALSE(fs::exists(folder / "small.log"));
  ASSERT_EQ(Run("solve small.toml --quiet --db quiet.db").exitCode, 0);
  EXPECT_THAT(ReadAll(folder / "quiet.log"), Not(HasSubstr("Indices of discrete variables")));
}

TEST_F(Program, VersionNamesTheProgramAndTheModule) {
  const CRun run = Run("version");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.output, HasSubstr("discrete 1.0.0\nmodule 6.21.0 ("));
  EXPECT_THAT(run.output, HasSubstr("libDiscrete.so)"));
}

TEST_F(Program, MaximisesAsTheFileSays) {
  // The largest box of whole sides with 2x + 3y + 5z <= 100.
  Write("box.toml", R"(name = "box"
sense = "max"
objective = "x * y * z"
[variables.x]
kind = "integer"
lower = 1
upper = 50
[variables.y]
kind = "integer"
lower = 1
upper = 50
[variables.z]
kind = "integer"
lower = 1
upper = 50
[constraints]
material = "2*x + 3*y + 5*z <= 100"
)");
  long best = 0;
  for (long x = 1; x <= 50; ++x)
    for (long y = 1; y <= 50; ++y)
      for (long z = 1; z <= 50; ++z)
        if (2 * x + 3 * y + 5 * z <= 100) best = std::max(best, x * y * z);
  const CRun run = Run("solve box.toml --quiet");
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("objective = " + std::to_string(best) + "  (maximised)"));
}

}  // namespace
