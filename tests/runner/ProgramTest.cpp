// The `discrete` program as a user runs it: exit codes, what it writes and
// never overwrites, its reports, and every example reaching its published
// optimum.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "DatabaseFiles.h"
#include "ProgramRun.h"
#include "Records.h"
#include "TaskDatabaseFixture.h"
#include "commands/ExitCodes.h"
#include "tasks/SearchTable.h"
#include "tasks/TaskResult.h"

namespace {

namespace fs = std::filesystem;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Matcher;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::StrEq;

const char* const kSmall = R"(name = "small"
objective = "(x - 1.4)^2 + (y - 2.6)^2"
variables.x = { kind = "integer", lower = 0, upper = 3 }
variables.y = { lower = 0, upper = 3 }
constraints.budget = "x + y <= 3.5"
)";

// Each test works in a fresh folder of its own.
class Program : public ::testing::Test {
 protected:
  void SetUp() override { Write("small.toml", kSmall); }

  CProgramRun Run(const std::string& arguments, const std::string& environment = "") const {
    return RunProgram(folder, arguments, environment);
  }

  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(folder / name) << text;
  }

  // Every file of the folder but the captured output, by name, with its contents.
  std::map<std::string, std::string> Files() const { return FilesIn(folder); }

  CScratchDirectory m_directory;               // removed after the test
  const fs::path folder = m_directory.Path();  // where the program runs
};

TEST_F(Program, SolvesAProblemReportsItAndShowsItsTasksRecordsAndTree) {
  const CProgramRun run = Run("solve small.toml");
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_THAT(
      run.output,
      HasSubstr("Result: the best feasible discrete design (search complete), held by task "));
  EXPECT_THAT(run.output, HasSubstr("  objective  objective = 0.17  (minimised)"));
  EXPECT_THAT(run.output,
              HasSubstr("  x                        1             0             3  integer"));
  EXPECT_THAT(run.output, HasSubstr("  budget                   3.5  <=           3.5"));
  EXPECT_THAT(run.output, HasSubstr("subtasks solved"));
  EXPECT_THAT(run.output, HasSubstr("database reads"));
  const std::string log = ReadFile(folder / "small.log");
  EXPECT_THAT(log, HasSubstr("SEARCH node 0: task 1 (the search task)"));
  EXPECT_THAT(log, Not(HasSubstr("Indices of discrete variables")));  // the module's debug lines

  const CProgramRun list = Run("show small.db");
  EXPECT_EQ(list.exitCode, 0);
  EXPECT_THAT(list.output, HasSubstr("     1  search        -         2"));
  EXPECT_THAT(list.output, HasSubstr("(feasible discrete)"));
  const CProgramRun records = Run("show small.db 1");
  EXPECT_THAT(records.output, HasSubstr("CTask (m_nTaskID = 1)\n  m_nModuleType = 0\n"));
  EXPECT_THAT(records.output, HasSubstr("CDPoint (m_nTaskID = 1, m_nPointID = 0)"));
  EXPECT_THAT(records.output, HasSubstr("CIter (m_nTaskID = 1, m_nIter = 0, m_nSubIter = 0)"));
  const CProgramRun tree = Run("tree small.db");
  EXPECT_THAT(tree.output, HasSubstr("task 1  root  objective "));
  EXPECT_THAT(tree.output, HasSubstr("+-- task 2  x >= 2  objective "));
  EXPECT_THAT(tree.output, HasSubstr("`-- task 3  x <= 1  objective 0.17  max con "));
  EXPECT_THAT(tree.output, HasSubstr("discrete feasible  <== incumbent"));
  const CProgramRun dot = Run("tree small.db --format dot");
  EXPECT_THAT(dot.output, HasSubstr("digraph search_1 {"));
  EXPECT_THAT(dot.output, HasSubstr("t1 -> t3 [label=\"x <= 1\"];"));
  EXPECT_THAT(dot.output, HasSubstr("style=filled, fillcolor=gold"));
  EXPECT_EQ(Run("show small.db 99").exitCode, 4);
}

// A failed run says why on stderr and writes or changes no file.
TEST_F(Program, ExitCodesTellTheOutcome) {
  // No whole x satisfies x == 0.5, although the relaxation does.
  Write("impossible.toml", R"(name = "impossible"
objective = "x"
variables.x = { kind = "integer", lower = 0, upper = 1 }
constraints.half = "x == 0.5"
)");
  Write("gear.toml", R"(name = "gear"
objective = "x1"
variables.x1 = { kind = "integer", lower = 70, upper = 60 }
)");
  Write("text.db", "these are my notes, not a task database\n");
  const struct {
    const char* arguments;                // of the program
    const char* environment;              // set for the run
    int exitCode;                         // expected
    Matcher<const std::string&> printed;  // stdout, then stderr
  } cases[] = {
      {"solve", "", 2,
       StrEq("discrete: problem is required\nRun 'discrete solve --help' for more information.\n")},
      {"", "", 2,
       StartsWith("usage: discrete COMMAND [OPTIONS] [ARGUMENTS]\n\nCommands:\n  solve ")},
      {"frobnicate", "", 2,
       StrEq("discrete: unknown command 'frobnicate'; the commands are solve, resume, show, tree, "
             "plot, version, optimizers, export\n")},
      {"-V frobnicate small.toml", "", 2, StartsWith("discrete: unknown command 'frobnicate'; ")},
      {"--frobnicate", "", 2,
       StartsWith("discrete: The following argument was not expected: --frobnicate\n")},
      {"solve small.toml --max-nodes -3", "", 2,
       StartsWith("discrete: --max-nodes: '-3' is not a whole number from 0 to 2147483647\n")},
      {"solve small.toml --time-limit nan", "", 2,
       StartsWith("discrete: --time-limit: 'nan' is not a finite number >= 0\n")},
      {"solve small.toml --time-limit -1e308", "", 2,
       StartsWith("discrete: --time-limit: '-1e308' is not a finite number >= 0\n")},
      {"solve /dev/zero", "", 3,
       StrEq("discrete: /dev/zero: is a character device, not a problem file (a regular file)\n")},
      {"solve - < /dev/zero", "", 3,
       StrEq("discrete: <stdin>: the file is larger than 16 MiB, the most a problem file may "
             "hold\n")},
      {"solve small.toml --optimizer newton", "", 2,
       StartsWith("discrete: --optimizer: newton not in")},
      {"solve small.toml --executor nope", "", 2, StartsWith("discrete: --executor: nope not in")},
      {"solve small.toml --executor slurm-steps", "env -u SLURM_JOB_ID", 2,
       StrEq("discrete: the executor slurm-steps runs analyses as job steps of an allocation, and "
             "none is set (SLURM_JOB_ID); run discrete inside salloc or an sbatch script, or use "
             "--executor slurm-jobs\n")},
      {"solve gear.toml", "", 3,
       StrEq("discrete: gear.toml:3: variables.x1.lower: 70 is above upper bound 60\n")},
      {"solve - < gear.toml", "", 3,
       StrEq("discrete: <stdin>:3: variables.x1.lower: 70 is above upper bound 60\n")},
      {"solve small.toml --db text.db", "", 4, StartsWith("discrete: database error: ")},
      {"solve small.toml", "DISCRETE_MODULE=/nonexistent/libDiscrete.so", 5,
       StartsWith("discrete: module error: cannot load the discrete module libDiscrete.so from "
                  "DISCRETE_MODULE=/nonexistent/libDiscrete.so: ")},
      {"solve impossible.toml", "", 1,
       HasSubstr("Result: no feasible discrete design found (search complete)")},
  };
  for (const auto& expected : cases) {
    SCOPED_TRACE(expected.arguments);
    const std::map<std::string, std::string> before = Files();
    const CProgramRun run = Run(expected.arguments, expected.environment);
    EXPECT_EQ(run.exitCode, expected.exitCode);
    EXPECT_THAT(run.output + run.errors, expected.printed);
    if (expected.exitCode != 1) {
      EXPECT_EQ(Files(), before);
    }
  }
}

TEST_F(Program, NeverOverwritesADatabase) {
  ASSERT_EQ(Run("solve small.toml --quiet").exitCode, 0);
  const CProgramRun second = Run("solve small.toml");
  EXPECT_EQ(second.exitCode, 0);
  EXPECT_THAT(second.errors, HasSubstr("small.db exists already; writing to small-2.db"));
  EXPECT_TRUE(fs::exists(folder / "small-2.db"));
  // A database named on the command line gathers searches.
  ASSERT_EQ(Run("solve small.toml --quiet --db small.db").exitCode, 0);
  const CProgramRun list = Run("show small.db");
  EXPECT_THAT(list.output, HasSubstr("     1  search"));
  const std::string tree = Run("tree small.db").output;
  EXPECT_NE(tree.find("  root  "), tree.rfind("  root  "));  // two search trees
}

// A resume runs where its search ran unless it says otherwise, and that is
// checked again where the resume runs.
TEST_F(Program, AResumeKeepsTheExecutorOfItsSearchOrTheOneItIsGiven) {
  ASSERT_EQ(Run("solve small.toml --quiet --max-nodes 1 --executor slurm-steps", "SLURM_JOB_ID=7")
                .exitCode,
            0);
  const std::map<std::string, std::string> before = Files();
  const CProgramRun outside = Run("resume small.db", "env -u SLURM_JOB_ID");
  EXPECT_EQ(outside.exitCode, 2);
  EXPECT_THAT(outside.errors, HasSubstr("the executor slurm-steps runs analyses as job steps"));
  EXPECT_EQ(Files(), before);
  EXPECT_EQ(Run("resume small.db --quiet --executor local", "env -u SLURM_JOB_ID").exitCode, 0);
}

TEST_F(Program, TheLimitsStopTheSearchAndSaySo) {
  const CProgramRun run = Run("solve small.toml --max-nodes 1");
  EXPECT_EQ(run.exitCode,
            0);  // the first subtask (x >= 2) is a discrete design, though not the best
  EXPECT_THAT(
      run.output,
      HasSubstr("Result: the best feasible discrete design found so far (stopped at the node "
                "limit), held by task 2\n  objective  objective = 1.57  (minimised)"));
}

// kSmall by hand: the continuous optimum is (1.15, 2.35) with objective
// 0.125, the root's bound; its child x >= 2 gives (2, 1.5) at 1.57, its child
// x <= 1 gives (1, 2.5) at 0.17, the best.
TEST_F(Program, TheReportShowsTheBoundAndTheGapOfAStoppedAndOfACompleteSearch) {
  const CProgramRun stopped = Run("solve small.toml --max-nodes 1 --db stopped.db");
  EXPECT_THAT(stopped.output,
              HasSubstr("(minimised)\n  bound      0.125 (best of 1 open node)  gap 1.445 "
                        "absolute, 92% relative\n"));
  const CProgramRun complete = Run("solve small.toml --db complete.db");
  EXPECT_THAT(complete.output,
              HasSubstr("(minimised)\n  bound      none left: every node is closed (gap 0)\n"));
  Write("impossible.toml", R"(name = "impossible"
objective = "x"
variables.x = { kind = "integer", lower = 0, upper = 1 }
constraints.half = "x == 0.5"
)");
  EXPECT_THAT(Run("solve impossible.toml --max-nodes 1").output,
              HasSubstr("  bound      0.5 (best of 1 open node); no gap without a feasible "
                        "discrete design\n"));
}

// The JSON report conforms to its schema, says what the text says, and
// keeps stdout to the one document.
TEST_F(Program, TheJsonReportFollowsItsSchemaForAStoppedAndACompleteSearch) {
  Write("noted.toml", R"(name = "noted"
objective = "(x - 1.4)^2 + (y - 2.6)^2"
variables.x = { kind = "integer", lower = 0, upper = 3, units = "mm", description = "teeth" }
variables.y = { lower = 0, upper = 3 }
constraints.budget = "x + y <= 3.5"
)");
  const auto report = [&](const std::string& arguments, const std::string& file, int exitCode = 0) {
    const CProgramRun run = Run(arguments + " --format json");
    EXPECT_EQ(run.exitCode, exitCode) << run.errors;
    Write(file, run.output);
    const std::string check = std::string(VALIDATE_JSON) + " " + SCHEMA_DIR +
                              "/discrete-report.schema.json " + (folder / file).string();
    EXPECT_EQ(std::system(check.c_str()), 0) << run.output;
    return nlohmann::ordered_json::parse(run.output);
  };
  const nlohmann::ordered_json stopped = report("solve noted.toml --max-nodes 1", "stopped.json");
  EXPECT_EQ(stopped.begin().key(), "schema");
  EXPECT_EQ(stopped["schema_version"], 1);
  EXPECT_EQ(stopped["end"], "node_limit");
  EXPECT_EQ(stopped["result_task"], 2);
  EXPECT_EQ(stopped["log"], "noted.log");
  EXPECT_NEAR(stopped["objective"]["value"].get<double>(), 1.57, 1e-6);
  EXPECT_NEAR(stopped["bound"]["value"].get<double>(), 0.125, 1e-6);
  EXPECT_NEAR(stopped["bound"]["gap_absolute"].get<double>(), 1.445, 1e-6);
  EXPECT_NEAR(stopped["bound"]["gap_relative"].get<double>(), 1.445 / 1.57, 1e-6);
  EXPECT_EQ(stopped["design"][0]["units"], "mm");
  EXPECT_EQ(stopped["design"][0]["description"], "teeth");
  EXPECT_EQ(stopped["design"][1]["kind"], "continuous");
  EXPECT_EQ(stopped["constraints"][0]["status"], "active");

  const nlohmann::ordered_json resumed = report("resume noted.db", "resumed.json");
  EXPECT_EQ(resumed["end"], "complete");
  EXPECT_TRUE(resumed["exact"]);
  EXPECT_NEAR(resumed["objective"]["value"].get<double>(), 0.17, 1e-6);
  EXPECT_TRUE(resumed["bound"]["value"].is_null());
  EXPECT_EQ(resumed["bound"]["gap_relative"], 0.0);
  EXPECT_EQ(resumed["design"][0]["units"], "mm");  // from the resumed search's stored text
  EXPECT_THAT(Run("solve noted.toml --db text.db").output,
              HasSubstr("\n  variable             value         lower         upper  kind        "
                        "units  description\n  x                        1             0          "
                        "   3  integer     mm     teeth\n  y                      2.5             "
                        "0             3  continuous\n"));

  Write("impossible.toml", R"(name = "impossible"
objective = "x"
variables.x = { kind = "integer", lower = 0, upper = 1 }
constraints.half = "x == 0.5"
)");
  const nlohmann::ordered_json infeasible = report("solve impossible.toml --quiet", "none.json", 1);
  EXPECT_FALSE(infeasible["discrete_feasible"]);
  EXPECT_TRUE(infeasible["result_task"].is_null());
  EXPECT_TRUE(infeasible["design"].empty());
  EXPECT_TRUE(infeasible["bound"]["gap_absolute"].is_null());
  EXPECT_NEAR(infeasible["relaxation"]["objective"].get<double>(), 0.5, 1e-6);
}

TEST_F(Program, TheLogHoldsOneLinePerNodeAndTheModulesDebugLinesAboveLevelTwo) {
  ASSERT_EQ(
      Run("solve small.toml --quiet --optimizer cobyla --log-level 3 --log detail.log").exitCode,
      0);
  const std::string log = ReadFile(folder / "detail.log");
  EXPECT_THAT(log, HasSubstr("SEARCH node 2: task 3 (from task 1): objective "));
  EXPECT_THAT(log, HasSubstr("SEARCH search complete after 2 subtasks"));
  EXPECT_THAT(log, HasSubstr("Indices of discrete variables"));
  EXPECT_FALSE(fs::exists(folder / "small.log"));
}

TEST_F(Program, VersionNamesTheProgramAndTheModule) {
  const CProgramRun run = Run("version");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.output, HasSubstr("discrete 1.0.0\nmodule 6.21.0 ("));
  EXPECT_THAT(run.output, HasSubstr("libDiscrete.so)"));
  EXPECT_EQ(Run("--version").output, run.output);
  EXPECT_EQ(Run("-V").output, run.output);
}

// The help of the program and of every command it lists (a command added
// later included) ends with examples and the exit codes of ExitCodes.h.
TEST_F(Program, EveryHelpEndsWithExamplesAndTheExitCodes) {
  const std::string unknown = Run("frobnicate").errors;
  const std::string list = unknown.substr(unknown.find("are ") + 4);
  std::vector<std::string> helps = {""};
  for (size_t from = 0; from < list.size();) {
    const size_t end = list.find_first_of(",\n", from);
    helps.push_back(list.substr(from, end - from) + " ");
    from = end + 2;
  }
  EXPECT_GE(helps.size(), 7u);
  for (const std::string& command : helps) {
    SCOPED_TRACE(command);
    const CProgramRun help = Run(command + "--help");
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.output, HasSubstr("\nExamples:\n  discrete "));
    size_t at = help.output.find("\nExit status:\n");
    ASSERT_NE(at, std::string::npos);
    for (const CExitCodeMeaning& code : kExitCodeMeanings) {
      at = help.output.find(std::to_string(static_cast<int>(code.code)) + " ", at);
      at = help.output.find(code.meaning, at);
      EXPECT_NE(at, std::string::npos) << code.meaning;
    }
    EXPECT_THAT(help.output, EndsWith(std::string(kSignalExitMeaning) + "\n"));
  }
}

// `-` reads the problem from standard input, once: table `searches` keeps
// the text that was solved, and a resume takes it from there.
TEST_F(Program, SolvesAProblemFromStandardInput) {
  const CProgramRun run = Run("solve - --max-nodes 1 < small.toml");
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("  problem file  <stdin>\n  database      small.db "));
  OpenTaskDatabase((folder / "small.db").string(), ETaskDatabaseAccess::ReadOnly);
  const std::vector<CSearchRow> searches = ReadSearches();
  CloseTaskDatabase();
  ASSERT_EQ(searches.size(), 1u);
  EXPECT_EQ(searches[0].problemText, kSmall);
  EXPECT_EQ(fs::path(searches[0].problemFile).filename(), "<stdin>");
  const CProgramRun resumed = Run("resume small.db < /dev/null");
  EXPECT_EQ(resumed.exitCode, 0) << resumed.errors;
  EXPECT_THAT(resumed.output, HasSubstr("(search complete)"));
}

TEST_F(Program, MaximisesAsTheFileSays) {
  // The largest box of whole sides with 2x + 3y + 5z <= 100 is 16 x 11 x 7 = 1232
  // (found by enumerating all 125,000 designs).
  Write("box.toml", R"(name = "box"
sense = "max"
objective = "x * y * z"
variables.x = { kind = "integer", lower = 1, upper = 50 }
variables.y = { kind = "integer", lower = 1, upper = 50 }
variables.z = { kind = "integer", lower = 1, upper = 50 }
constraints.material = "2*x + 3*y + 5*z <= 100"
)");
  const CProgramRun run = Run("solve box.toml --quiet");
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_THAT(run.output, HasSubstr("objective = 1232  (maximised)"));
}

// Every example in examples/ reaches its published optimum: the objective
// within the relative tolerance stated here, the discrete variables exactly on
// their published values and the continuous ones within 1e-5 (relative).
struct CExample {
  const char* file;          // in examples/
  double publishedOptimum;   // objective of the published best design
  double relativeTolerance;  // allowed relative difference of the objective
};

void PrintTo(const CExample& example, std::ostream* out) { *out << example.file; }

class Example : public Program, public ::testing::WithParamInterface<CExample> {};

TEST_P(Example, ReachesThePublishedOptimum) {
  const CExample& example = GetParam();
  ASSERT_EQ(
      Run("solve --quiet '" EXAMPLES_DIR "/" + std::string(example.file) + "' --db example.db")
          .exitCode,
      0);
  OpenTaskDatabase((folder / "example.db").string());
  const CResult search = Stored<CResult>(1);
  EXPECT_EQ(search.m_nDiscreteFeasible, 1);
  const CTaskDesign design = ReadBestDesign(search.m_nResultTask);
  EXPECT_NEAR(design.objective, example.publishedOptimum,
              example.relativeTolerance * std::fabs(example.publishedOptimum));
  const CDVar variables = Stored<CDVar>(1);
  for (size_t i = 0; i < design.values.size(); ++i) {
    const double published = variables.m_vaReference[i];
    if (std::isnan(published)) continue;
    if (variables.m_vSetID[i] != 0) {
      EXPECT_EQ(design.values[i], published) << variables.m_vNames[i];
    } else {
      EXPECT_NEAR(design.values[i], published, 1e-5 * std::fabs(published))
          << variables.m_vNames[i];
    }
  }
  CloseTaskDatabase();
}

INSTANTIATE_TEST_SUITE_P(Published, Example,
                         ::testing::Values(CExample{"pressure_vessel.toml", 6059.7143, 1e-6},
                                           CExample{"gear_train.toml", 2.700857e-12, 1e-5},
                                           CExample{"coil_spring.toml", 2.658559, 1e-6},
                                           CExample{"speed_reducer.toml", 2994.471066, 1e-7},
                                           CExample{"process_synthesis.toml", 7.667180, 1e-6},
                                           CExample{"cantilever.toml", 2449.4897428, 1e-6},
                                           CExample{"floor_beams.toml", 11.09198224106706, 1e-6}),
                         [](const ::testing::TestParamInfo<CExample>& info) {
                           std::string name = info.param.file;
                           return name.substr(0, name.find('.'));
                         });

}  // namespace
