// Analyses through a real one-machine Slurm (scripts/slurm-cluster, started
// and stopped by CTest around these tests): every way a try fails as a job,
// a Slurm that refuses or does not answer, searches through both executors,
// and a second Ctrl-C that must leave nothing queued.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <thread>

#include "ProgramRun.h"
#include "TaskDatabase.h"
#include "analyses/AnalysisEvaluator.h"
#include "analyses/SlurmClient.h"
#include "tasks/EvaluationTable.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

// What a shell command prints (stdout).
std::string Output(const std::string& command) {
  std::string text;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, n);
    pclose(pipe);
  }
  return text;
}

// The jobs of the analysis that Slurm has not ended ("" when none).
std::string QueuedJobs(const std::string& analysis) {
  return Output(
      "squeue --noheader --states=PENDING,RUNNING,CONFIGURING,COMPLETING "
      "--name=discrete-" +
      analysis + " --format='%i %j'");
}

class Slurm : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = fs::temp_directory_path() / ("discrete-slurm-" + std::to_string(getpid()));
    fs::remove_all(folder);
    fs::create_directories(folder);
  }
  void TearDown() override { fs::remove_all(folder); }

  // An executable sh script in the test's folder.
  std::string Script(const std::string& name, const std::string& body) const {
    const fs::path path = folder / name;
    std::ofstream(path) << "#!/bin/sh\n" << body;
    fs::permissions(path, fs::perms::owner_all);
    return path.string();
  }

  // An analysis writing f = 2 x, whose script starts with `before`.
  CAnalysisDefinition Analysis(const std::string& name, const std::string& before) const {
    CAnalysisDefinition analysis;
    analysis.name = name;
    analysis.command = {Script(name + ".sh", before + R"(
x=$(sed 's/.*"x":\([^,}]*\).*/\1/' "$DISCRETE_INPUT")
awk -v x="$x" 'BEGIN { printf "{\"f\": %.17g}\n", 2 * x }' > "$DISCRETE_OUTPUT"
)")};
    analysis.reads = {"x"};
    analysis.writes = {"f"};
    analysis.workFolder = (folder / "work").string();
    analysis.slurm.pollInterval = 0.2;
    return analysis;
  }

  fs::path folder;
};

CEvaluatorSettings ThroughSlurmJobs(std::vector<std::string>& lines) {
  CEvaluatorSettings settings;
  settings.executor = EExecutor::SlurmJobs;
  settings.jobs = 16;
  settings.report = [&lines](const std::string& line) { lines.push_back(line); };
  return settings;
}

TEST_F(Slurm, EveryFailureOfAProgramOrItsJobIsAFailedTryWithItsReason) {
  struct CCase {
    const char* script;  // what the program does before it answers
    const char* reason;  // part of the reported reason; empty: it answers
  };
  const CCase cases[] = {
      {"exit 3\n", "exited with status 3"},
      {"kill -9 $$\n", "killed by signal 9"},
      {"sleep 30\n", "ran out of its time limit of 1 s"},
      {"rm \"$DISCRETE_INPUT\"; exit 0\n", "no output.json"},
      {"scancel \"$SLURM_JOB_ID\"; sleep 30\n", "CANCELLED"},
      // Fails in its first try only: the retry, a job of its own, answers.
      {"[ -e ../tried ] || { touch ../tried; exit 4; }\n", ""},
  };
  std::vector<CAnalysisDefinition> analyses;
  for (const CCase& c : cases) {
    analyses.push_back(Analysis("case" + std::to_string(analyses.size()), c.script));
    analyses.back().timeLimit = 1;
    analyses.back().retries = c.reason[0] == '\0' ? 1 : 0;
  }
  std::vector<std::string> lines;
  CAnalysisEvaluator evaluator(analyses, {"x"}, ThroughSlurmJobs(lines));
  const CAnalysisCounts before = AnalysisCounts();
  const double design = 1.5;
  std::vector<double> responses(analyses.size());
  evaluator.Evaluate(&design, responses.data());

  // One array per analysis in one submission round, and one for the retry.
  EXPECT_EQ(AnalysisCounts().slurmSubmissions - before.slurmSubmissions,
            static_cast<long>(analyses.size()) + 1);
  for (size_t i = 0; i < analyses.size(); ++i) {
    SCOPED_TRACE(cases[i].script);
    const std::string prefix = "analysis " + analyses[i].name + ",";
    const auto line = std::find_if(lines.begin(), lines.end(), [&](const std::string& text) {
      return text.rfind(prefix, 0) == 0;
    });
    ASSERT_NE(line, lines.end());
    if (cases[i].reason[0] == '\0') {
      EXPECT_THAT(*line, HasSubstr("exited with status 4"));
      EXPECT_EQ(responses[i], 3.0);
    } else {
      EXPECT_THAT(*line, HasSubstr(cases[i].reason));
      EXPECT_TRUE(std::isnan(responses[i]));
    }
  }
  for (const CAnalysisDefinition& analysis : analyses) EXPECT_EQ(QueuedJobs(analysis.name), "");
}

// A try whose job Slurm ended is lost: failed in this search, stored, but
// never served to another, which tries the design again.
TEST_F(Slurm, AJobLostWithItsNodeFailsButIsTriedAgainByTheNextSearch) {
  // The first try takes its node down under itself; the node comes back
  // (ReturnToService=2) and the next search's try answers.
  const CAnalysisDefinition analysis =
      Analysis("lost",
               "[ -e ../lost ] || { touch ../lost; scontrol update NodeName=\"$SLURMD_NODENAME\" "
               "State=DOWN Reason=lost-in-a-test; sleep 30; }\n");
  OpenTaskDatabase(":memory:");
  CEvaluationTable store(1);
  std::vector<std::string> lines;
  CEvaluatorSettings settings = ThroughSlurmJobs(lines);
  settings.store = &store;
  const double design = 1.5;
  double first = 0;
  CAnalysisEvaluator(std::vector<CAnalysisDefinition>{analysis}, {"x"}, settings)
      .Evaluate(&design, &first);
  EXPECT_TRUE(std::isnan(first));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_THAT(lines[0], HasSubstr("failed: Slurm ended job "));
  EXPECT_THAT(lines[0], HasSubstr(": NODE_FAIL (NodeDown)"));
  ASSERT_EQ(ReadEvaluations().size(), 1u);
  EXPECT_EQ(ReadEvaluations()[0].status, "lost");

  const CAnalysisCounts before = AnalysisCounts();
  double second = 0;
  CAnalysisEvaluator(std::vector<CAnalysisDefinition>{analysis}, {"x"}, settings)
      .Evaluate(&design, &second);
  EXPECT_EQ(second, 3.0);
  EXPECT_EQ(AnalysisCounts().served, before.served);
  CloseTaskDatabase();
}

TEST_F(Slurm, ASubmissionSlurmRefusesOrCannotTakeIsAClearError) {
  std::vector<std::string> lines;
  const double design = 1;
  double response = 0;
  {
    CAnalysisDefinition analysis = Analysis("refused", "");
    analysis.slurm.partition = "no-such-partition";
    CAnalysisEvaluator evaluator({analysis}, {"x"}, ThroughSlurmJobs(lines));
    try {
      evaluator.Evaluate(&design, &response);
      ADD_FAILURE() << "no error";
    } catch (const CSlurmError& error) {
      EXPECT_THAT(error.what(), HasSubstr("sbatch did not take the 1 evaluations of analysis "
                                          "'refused': sbatch: error:"));
      EXPECT_THAT(error.what(), HasSubstr("partition"));
    }
  }
  // A configuration naming a controller that is not there.
  const fs::path configuration = folder / "slurm.conf";
  std::ofstream(configuration) << std::regex_replace(Output("cat /etc/slurm/slurm.conf"),
                                                     std::regex("SlurmctldHost=.*"),
                                                     "SlurmctldHost=localhost\nSlurmctldPort=9")
                               << "MessageTimeout=2\n";
  const char* previous = std::getenv("SLURM_CONF");
  setenv("SLURM_CONF", configuration.c_str(), 1);
  CAnalysisEvaluator evaluator({Analysis("unanswered", "")}, {"x"}, ThroughSlurmJobs(lines));
  EXPECT_THROW(
      try { evaluator.Evaluate(&design, &response); } catch (const CSlurmError& error) {
        EXPECT_THAT(error.what(), HasSubstr("'unanswered': sbatch: error:"));
        throw;
      },
      CSlurmError);
  if (previous != nullptr)
    setenv("SLURM_CONF", previous, 1);
  else
    unsetenv("SLURM_CONF");
  EXPECT_TRUE(lines.empty());
}

TEST_F(Slurm, AControllerThatStopsAnsweringIsWaitedForThenAClearError) {
  CAnalysisDefinition analysis = Analysis("stalled", "sleep 30\n");
  analysis.slurm.patience = 1;
  std::vector<std::string> lines;
  CAnalysisEvaluator evaluator({analysis}, {"x"}, ThroughSlurmJobs(lines));
  std::thread stopper([] {
    for (int i = 0; i < 200 && QueuedJobs("stalled").empty(); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(std::system("pkill -STOP -x slurmctld"), 0);
  });
  const double design = 1;
  double response = 0;
  std::string message;
  try {
    evaluator.Evaluate(&design, &response);
  } catch (const CSlurmError& error) {
    message = error.what();
  }
  stopper.join();
  EXPECT_EQ(std::system("pkill -CONT -x slurmctld"), 0);
  EXPECT_THAT(message, HasSubstr("Slurm does not answer: squeue failed for "));
  // Its cancelling could not reach Slurm either, and the message says what to run.
  std::smatch found;
  ASSERT_TRUE(
      std::regex_search(message, found, std::regex("run 'scancel ([0-9]+)' once Slurm answers")))
      << message;
  EXPECT_EQ(std::system(("scancel " + found[1].str()).c_str()), 0);
}

// The report's lines that do not depend on where the analyses ran: the
// best design, its objective and constraints.
std::string DesignLines(const std::string& report) {
  std::string lines;
  std::istringstream text(report);
  for (std::string line; std::getline(text, line);)
    if (line.rfind("  ", 0) == 0 && line.rfind("  database", 0) != 0) lines += line + "\n";
  return lines;
}

TEST_F(Slurm, ASearchThroughEitherExecutorFindsWhatALocalSearchFinds) {
  const std::string problem = EXAMPLES_DIR "/cantilever.toml";
  const CProgramRun local = RunProgram(folder, "solve " + problem + " --db local.db --quiet");
  ASSERT_EQ(local.exitCode, 0) << local.output;
  EXPECT_THAT(local.output, HasSubstr("reached within"));

  const CProgramRun jobs =
      RunProgram(folder, "solve " + problem + " --db jobs.db --executor slurm-jobs --quiet");
  EXPECT_EQ(jobs.exitCode, 0) << jobs.output;
  EXPECT_THAT(jobs.output, HasSubstr("Slurm: "));
  EXPECT_THAT(jobs.output, HasSubstr("reached within"));
  EXPECT_EQ(DesignLines(jobs.output), DesignLines(local.output));

  // Inside an allocation of 4 CPUs, as a batch script would run it.
  const std::string steps = Output("cd '" + folder.string() +
                                   "' && salloc --ntasks=4 --quiet '" DISCRETE_PROGRAM "' solve " +
                                   problem + " --db steps.db --executor slurm-steps --quiet");
  EXPECT_THAT(steps, HasSubstr("reached within"));
  EXPECT_EQ(DesignLines(steps), DesignLines(local.output)) << steps;
  EXPECT_EQ(QueuedJobs("beam"), "");
}

// The job steps named `name` that Slurm has not ended ("" when none).
std::string RunningSteps(const std::string& name) {
  return Output("squeue --steps --noheader --format='%i %j' | grep ' " + name + "$'");
}

bool WaitFor(const std::function<bool()>& condition) {
  for (int i = 0; i < 200 && !condition(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  return condition();
}

TEST_F(Slurm, ASecondCtrlCLeavesNothingItStartedRunningInEitherExecutor) {
  std::ofstream(folder / "p.toml")
      << "name = \"p\"\nobjective = \"f\"\n"
      << "[variables.x]\nlower = 0\nupper = 4\nkind = \"integer\"\n"
      << "[analyses.slow]\ncommand = [\"" << Script("slow.sh", "sleep 60\n")
      << "\"]\nwrites = [\"f\"]\n[slurm]\npoll_interval = 0.2\n";
  const std::string program = DISCRETE_PROGRAM;
  const std::string commands[] = {
      "exec '" + program + "' solve p.toml --db jobs.db --executor slurm-jobs --quiet",
      // discrete inside an allocation: salloc runs it (and tells its pid)
      "exec salloc --ntasks=2 --quiet sh -c 'echo $$ > discrete.pid; exec " + program +
          " solve p.toml --db steps.db --executor slurm-steps --quiet'"};
  for (const std::string& command : commands) {
    SCOPED_TRACE(command);
    fs::remove(folder / "discrete.pid");
    const pid_t child = fork();
    if (child == 0) {
      if (chdir(folder.c_str()) != 0) _exit(127);
      execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    ASSERT_GT(child, 0);
    const bool steps = command.find("salloc") != std::string::npos;
    EXPECT_TRUE(
        WaitFor([steps] { return !(steps ? RunningSteps("slow") : QueuedJobs("slow")).empty(); }));
    pid_t discrete = child;
    if (steps) std::ifstream(folder / "discrete.pid") >> discrete;
    kill(discrete, SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    kill(discrete, SIGINT);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 130) << status;
    EXPECT_TRUE(WaitFor([] { return QueuedJobs("slow").empty() && RunningSteps("slow").empty(); }))
        << QueuedJobs("slow") << RunningSteps("slow");
  }
}

}  // namespace
