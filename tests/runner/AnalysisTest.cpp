// Analysis programs: real processes (sh scripts written by the tests) run
// through the exchange of docs/problem-format.md, every way they fail, the
// checks when a problem file is read, and a search that uses them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "DatabaseFiles.h"
#include "Records.h"
#include "TaskDatabaseFixture.h"
#include "analyses/AnalysisEvaluator.h"
#include "problem/ProblemFile.h"
#include "tasks/EvaluationTable.h"
#include "tasks/TaskSolver.h"
#include "tasks/TaskWriter.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

// Evaluator settings whose failure lines go to `lines`.
CEvaluatorSettings ReportingTo(std::vector<std::string>& lines) {
  CEvaluatorSettings settings;
  settings.report = [&lines](const std::string& line) { lines.push_back(line); };
  return settings;
}

// Copies records of one task to another (of CDPoint point 0), as the module
// does for a subtask.
template <class... TRecords>
void CopyRecords(int from, int to) {
  const auto copy = [to](auto record) {
    record.m_nTaskID = to;
    record.PutObject();
  };
  (copy(Stored<TRecords>(from)), ...);
}

class Analyses : public TaskDatabaseTest {
 protected:
  // An executable sh script in the test's folder.
  std::string Script(const std::string& name, const std::string& body) const {
    const fs::path path = folder / name;
    std::ofstream(path) << "#!/bin/sh\n" << body;
    fs::permissions(path, fs::perms::owner_all);
    return path.string();
  }

  // square.sh: f = x^2, failing (exit status 1) for x > 2.5; each run
  // appends a line to `runs` when one is given.
  void SquareScript(const std::string& runs = "") const {
    Script("square.sh", (runs.empty() ? "" : "echo run >> '" + runs + "'\n") + R"(
x=$(sed 's/.*"x":\([^,}]*\).*/\1/' "$DISCRETE_INPUT")
awk -v x="$x" 'BEGIN { if (x > 2.5) exit 1; printf "{\"f\": %.17g}\n", x * x }' > "$DISCRETE_OUTPUT"
)");
  }

  CAnalysisDefinition Analysis(const std::string& program) const {
    CAnalysisDefinition analysis;
    analysis.name = "beam";
    analysis.command = {program};
    analysis.reads = {"x"};
    analysis.writes = {"f"};
    analysis.workFolder = (folder / "work").string();
    return analysis;
  }

  CScratchDirectory m_directory;               // removed after the test
  const fs::path folder = m_directory.Path();  // the scripts and work folders
};

TEST_F(Analyses, EveryFailureIsAOneLineReasonWithItsFolderKeptAndNaNResponses) {
  struct CCase {
    const char* script;  // body of the sh script
    const char* reason;  // part of the reported reason
  };
  const CCase cases[] = {
      {"exit 3\n", "exited with status 3"},
      {"kill -9 $$\n", "killed by signal 9"},
      {"sleep 30\n", "ran out of its time limit of 0.3 s"},
      {"true\n", "no output.json"},
      {"echo '{\"f\": ' > output.json\n", "output.json is not valid JSON"},
      {"echo '[1]' > output.json\n", "not a JSON object"},
      {"echo '{\"g\": 1}' > output.json\n", "lacks the response 'f'"},
      {"echo '{\"f\": 1, \"g\": 2}' > output.json\n", "holds 'g', which the analysis does not"},
      {"echo '{\"f\": \"1\"}' > output.json\n", "response 'f' is not a number: \"1\""},
      {"echo '{\"f\": NaN}' > output.json\n", "not valid JSON"},
      {"echo '{\"f\": 1e999}' > output.json\n", "number overflow"},
      {"truncate -s 17M \"$DISCRETE_OUTPUT\"\n", "more than the 16 MiB allowed"},
  };
  int index = 0;
  for (const CCase& c : cases) {
    SCOPED_TRACE(c.script);
    CAnalysisDefinition analysis = Analysis(Script("case" + std::to_string(index++), c.script));
    analysis.timeLimit = 0.3;
    std::vector<std::string> lines;
    CAnalysisEvaluator evaluator({analysis}, {"x"}, ReportingTo(lines));
    const CAnalysisCounts before = AnalysisCounts();
    const double design = 1.5;
    double response = 0;
    evaluator.Evaluate(&design, &response);
    EXPECT_TRUE(std::isnan(response));
    EXPECT_EQ(AnalysisCounts().evaluations - before.evaluations, 1);
    EXPECT_EQ(AnalysisCounts().failed - before.failed, 1);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], HasSubstr(c.reason));
    EXPECT_EQ(lines[0].find('\n'), std::string::npos);
    const std::string kept = lines[0].substr(lines[0].find("folder kept: ") + 13);
    EXPECT_TRUE(fs::exists(fs::path(kept) / "input.json")) << lines[0];
  }
}

TEST_F(Analyses, AProgramGoneAtRunTimeFailsAndARetryRunsInAFreshFolder) {
  const std::string gone = Script("gone", "exit 0\n");
  fs::remove(gone);
  std::vector<std::string> lines;
  CAnalysisEvaluator missing({Analysis(gone)}, {"x"}, ReportingTo(lines));
  double design = 1.0, response = 0;
  missing.Evaluate(&design, &response);
  EXPECT_TRUE(std::isnan(response));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_THAT(lines[0], HasSubstr("cannot run"));
  EXPECT_THAT(lines[0], HasSubstr("No such file or directory"));

  // Fails on its first try only; the second try gets a folder of its own.
  CAnalysisDefinition flaky = Analysis(Script("flaky", R"(
marker="$DISCRETE_WORK_FOLDER/../tried"
if [ ! -e "$marker" ]; then touch "$marker"; exit 1; fi
echo '{"f": 42}' > "$DISCRETE_OUTPUT"
)"));
  flaky.name = "flaky";
  flaky.retries = 2;
  lines.clear();
  CAnalysisEvaluator evaluator({flaky}, {"x"}, ReportingTo(lines));
  evaluator.Evaluate(&design, &response);
  EXPECT_EQ(response, 42);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_THAT(lines[0], HasSubstr("(try 1 of 3) failed: exited with status 1"));
  // The failed try's folder is kept, the successful one's removed.
  const std::string kept = lines[0].substr(lines[0].find("folder kept: ") + 13);
  EXPECT_TRUE(fs::exists(fs::path(kept) / "input.json"));
  int folders = 0;
  for (const auto& entry : fs::directory_iterator(folder / "work" / "flaky"))
    folders += entry.is_directory() ? 1 : 0;
  EXPECT_EQ(folders, 1);
}

TEST_F(Analyses, TheProgramGetsTheDocumentedEnvironmentAndInput) {
  CAnalysisDefinition analysis = Analysis(Script("env", R"(
env | grep '^DISCRETE_' | sort > environment.txt
pwd > folder.txt
echo '{"f": 1}' > "$DISCRETE_OUTPUT"
echo to stdout
echo to stderr >&2
)"));
  analysis.reads = {"y"};
  analysis.keep = EKeepFolders::All;
  CAnalysisEvaluator evaluator({analysis}, {"x", "y"}, CEvaluatorSettings());
  const double design[] = {1.0, 0.1};
  double response = 0;
  evaluator.Evaluate(design, &response);
  EXPECT_EQ(response, 1);
  // Evaluation ids are numbers unique in the process: this one's is the only folder.
  const fs::path run = fs::directory_iterator(folder / "work" / "beam")->path();
  EXPECT_EQ(ReadFile(run / "environment.txt"),
            "DISCRETE_EVALUATION_ID=" + run.filename().string() +
                "\nDISCRETE_INPUT=" + (run / "input.json").string() + "\nDISCRETE_OUTPUT=" +
                (run / "output.json").string() + "\nDISCRETE_WORK_FOLDER=" + run.string() + "\n");
  EXPECT_EQ(ReadFile(run / "folder.txt"), run.string() + "\n");
  EXPECT_EQ(ReadFile(run / "input.json"), "{\"y\":0.1}\n");  // only what it reads, exactly
  EXPECT_EQ(ReadFile(run / "stdout.txt"), "to stdout\n");
  EXPECT_EQ(ReadFile(run / "stderr.txt"), "to stderr\n");
}

TEST_F(Analyses, AProblemFileIsCheckedWhenReadAndACommandThatCannotRunIsRefused) {
  Script("ok.sh", "exit 0\n");
  std::ofstream(folder / "plain.sh") << "exit 0\n";  // not executable
  const std::string file = (folder / "p.toml").string();
  try {
    ParseProblem(R"(name = "p"
objective = "f + x"
variables.x = { lower = 0, upper = 1 }
analyses.a = { command = ["./missing.sh"], writes = ["f"] }
analyses.b = { command = ["./plain.sh"], writes = ["g"] }
analyses.c = { command = ["no-such-program-anywhere"], writes = ["h"] }
analyses.d = { command = ["./ok.sh"], reads = ["z"], writes = ["x"], keep = "some" }
analyses.e = { command = [], writes = [] }
)",
                 file);
    FAIL() << "accepted";
  } catch (const CProblemFileError& error) {
    const std::string text = error.what();
    EXPECT_THAT(text, HasSubstr(":4: analyses.a.command: cannot run '" +
                                (folder / "missing.sh").string() + "': No such file or directory"));
    EXPECT_THAT(text, HasSubstr(":5: analyses.b.command: cannot run '" +
                                (folder / "plain.sh").string() + "': not executable"));
    EXPECT_THAT(text, HasSubstr(":6: analyses.c.command: cannot run 'no-such-program-anywhere': "
                                "no executable of that name on PATH"));
    EXPECT_THAT(text, HasSubstr(":7: analyses.d.reads: 'z' is neither a design variable nor a "
                                "quantity of a catalogue variable"));
    EXPECT_THAT(text, HasSubstr(":7: analyses.d.keep: \"some\" is not a choice"));
    EXPECT_THAT(text, HasSubstr(":7: analyses.d.writes: duplicate name 'x'"));
    EXPECT_THAT(text, HasSubstr(":8: analyses.e.command: the list is empty"));
    EXPECT_THAT(text, HasSubstr(":8: analyses.e.writes: the list is empty"));
  }
}

// min (f - 2)^2 + y with f = x^2 computed by the program, which fails for
// x > 2.5: the optimum x = sqrt(2), y = 0 is found although some designs
// cannot be analysed; every subtask finds the analyses of its search task.
TEST_F(Analyses, ASearchSolvesThroughTheProgramAndGoesOnPastFailures) {
  SquareScript();
  CProblem problem = ParseProblem(R"(name = "square"
objective = "(f - 2)^2 + y"
variables.x = { lower = 0, upper = 3, start = 2.9 }
variables.y = { kind = "integer", lower = 0, upper = 2, start = 1 }
analyses.square = { command = ["./square.sh"], reads = ["x"], writes = ["f"] }
optimizer.root_starts = 1
)",
                                  (folder / "square.toml").string());
  problem.analyses[0].workFolder = (folder / "work").string();
  const int taskId = WriteSearchTask(problem);
  const CAnalysisCounts before = AnalysisCounts();
  const CTaskSolution solution = SolveTask(taskId);
  EXPECT_TRUE(solution.feasible);
  EXPECT_NEAR(solution.best.values[0], std::sqrt(2.0), 1e-4);
  EXPECT_NEAR(solution.best.objective, 0.0, 1e-6);
  EXPECT_GT(AnalysisCounts().failed, before.failed);  // the start lies where it fails

  // A subtask of the module's making: its records copied, its parent named.
  CTask subtask = Stored<CTask>(taskId);
  subtask.m_nTaskID = taskId + 1;
  subtask.m_nParentTaskID = taskId;
  subtask.PutObject();
  CopyRecords<CDVar, CDSet, CDResp, CDObj, CDCons, CDEqn, CDPoint>(taskId, taskId + 1);
  EXPECT_NEAR(SolveTask(taskId + 1).best.values[0], std::sqrt(2.0), 1e-4);
}

// Four designs prepared with four jobs run at the same time: each evaluation
// waits until all four have started (it would time out run one by one), and
// the answers are those of evaluations made one at a time.
TEST_F(Analyses, PreparedDesignsRunTogetherAndAnswerAsIfRunInTurn) {
  const std::string arrived = (folder / "arrived").string();
  fs::create_directories(arrived);
  CAnalysisDefinition analysis = Analysis(Script("rendezvous.sh", "A='" + arrived + "'\n" + R"sh(
touch "$A/$DISCRETE_EVALUATION_ID"
for i in $(seq 200); do
  [ "$(ls "$A" | wc -l)" -ge 4 ] && break
  sleep 0.05
done
[ "$(ls "$A" | wc -l)" -ge 4 ] || exit 3
x=$(sed 's/.*"x":\([^,}]*\).*/\1/' "$DISCRETE_INPUT")
awk -v x="$x" 'BEGIN { printf "{\"f\": %.17g}\n", x * x }' > "$DISCRETE_OUTPUT"
)sh"));
  CEvaluatorSettings fourJobs;
  fourJobs.jobs = 4;
  CAnalysisEvaluator evaluator({analysis}, {"x"}, fourJobs);
  const CAnalysisCounts before = AnalysisCounts();
  evaluator.Prepare({{1.0}, {2.0}, {3.0}, {0.5}, {2.0}});  // one design twice
  EXPECT_EQ(AnalysisCounts().evaluations - before.evaluations, 4);
  EXPECT_EQ(AnalysisCounts().failed - before.failed, 0);
  for (double x : {1.0, 2.0, 3.0, 0.5}) {
    double f = 0.0;
    evaluator.Evaluate(&x, &f);
    EXPECT_EQ(f, x * x);
  }
  EXPECT_EQ(AnalysisCounts().evaluations - before.evaluations, 4);  // all answered from memory
}

// A task solved twice with analyses that count their runs: the second solve
// runs nothing (successes and failures both come from table `evaluations`)
// and finds the same design to the bit; the table keeps every try.
TEST_F(Analyses, TheDatabaseAnswersEveryDesignEvaluatedBefore) {
  const std::string runs = (folder / "runs.txt").string();
  SquareScript(runs);
  CProblem problem = ParseProblem(R"(name = "square"
objective = "(f - 2)^2"
variables.x = { lower = 0, upper = 3, start = 2.9 }
analyses.square = { command = ["./square.sh"], writes = ["f"], retries = 1 }
optimizer.root_starts = 3
)",
                                  (folder / "square.toml").string());
  problem.analyses[0].workFolder = (folder / "work").string();
  auto lineCount = [&] {
    const std::string text = ReadFile(runs);
    return std::count(text.begin(), text.end(), '\n');
  };
  const CTaskSolution first = SolveTask(WriteSearchTask(problem), {{}, 2});
  const auto runsOfFirst = lineCount();
  const CAnalysisCounts before = AnalysisCounts();
  const CTaskSolution second = SolveTask(WriteSearchTask(problem), {{}, 2});
  EXPECT_EQ(lineCount(), runsOfFirst);
  EXPECT_EQ(AnalysisCounts().evaluations, before.evaluations);
  EXPECT_GT(AnalysisCounts().served, before.served);
  EXPECT_EQ(second.best.values, first.best.values);
  EXPECT_EQ(second.analyses, first.analyses);

  const std::vector<CEvaluationRow> rows = ReadEvaluations();
  EXPECT_EQ(static_cast<long>(rows.size()), runsOfFirst);
  const auto failed = std::find_if(
      rows.begin(), rows.end(), [](const CEvaluationRow& row) { return row.status == "failed"; });
  ASSERT_NE(failed, rows.end());  // the start x = 2.9 fails in both its tries
  EXPECT_EQ(failed->attempt, 2);
  EXPECT_EQ(failed->reason, "exited with status 1");
  EXPECT_EQ(std::prev(failed)->status, "retried");
}

// An analysis reads the quantities of a catalogue variable (all of them by
// default), interpolated between rows as the expressions see them: the
// continuous optimum of (area - 25)^2 lies between the rows of area 10 and 30.
TEST_F(Analyses, AnAnalysisReceivesTheQuantitiesOfCatalogueVariables) {
  Script("area.sh", R"(
awk '{ n = split($0, a, /[:,}]/); printf "{\"seen\": %s}\n", a[2] }' "$DISCRETE_INPUT" > "$DISCRETE_OUTPUT"
)");
  const std::string text = R"(name = "parts"
objective = "(seen - 25)^2"
catalogues.parts = { columns = ["size", "area"], rows = [[4, 50], [1, 10], [2, 30]], key = "size" }
variables.s = { catalogue = "parts", start = 4 }
analyses.all = { command = ["./area.sh"], writes = ["unused"] }
analyses.area = { command = ["./area.sh"], reads = ["s_area"], writes = ["seen"] }
)";
  CProblem problem = ParseProblem(text, (folder / "parts.toml").string());
  EXPECT_EQ(problem.analyses[0].reads, (std::vector<std::string>{"s", "s_size", "s_area"}));
  problem.analyses.erase(problem.analyses.begin());
  problem.analyses[0].workFolder = (folder / "work").string();
  const CTaskSolution solution = SolveTask(WriteSearchTask(problem));
  EXPECT_NEAR(solution.best.values[0], 1.75, 1e-5);  // 10 + 20 (s - 1) = 25
  EXPECT_NEAR(solution.best.objective, 0.0, 1e-8);
}

}  // namespace
