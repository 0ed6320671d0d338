// Interrupted searches taken up again: a node limit, Ctrl-C and a second
// Ctrl-C, each followed by `discrete resume`, through the real program and a
// real analysis program that counts its runs.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

#include "DatabaseFiles.h"
#include "ProgramRun.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

// f = (x - 1.5)^2 + 0.3 x y - 0.2 x z from the program; y and z integer: a
// search of a few subtasks, each a few dozen evaluations.
constexpr const char* kProblem = R"(name = "resumable"
objective = "f + (y - 1.4)^2 + (z - 2.6)^2"
variables.x = { lower = 0, upper = 3, start = 2 }
variables.y = { kind = "integer", lower = 0, upper = 4, start = 3 }
variables.z = { kind = "integer", lower = 0, upper = 4, start = 0 }
analyses.f = { command = ["./f.sh"], writes = ["f"] }
optimizer.root_starts = 1
)";

class Resume : public ::testing::Test {
 protected:
  void SetUp() override {
    std::ofstream(folder / "p.toml") << kProblem;
    // Counts its runs in runs.txt (one line each, written when it starts).
    std::ofstream(folder / "f.sh")
        << "#!/bin/sh\necho run >> '" << (folder / "runs.txt").string() << R"('
awk '{ n = split($0, a, /[:,}]/); x = a[2]; y = a[4]; z = a[6]
       printf "{\"f\": %.17g}\n", (x - 1.5)^2 + 0.3*x*y - 0.2*x*z }' "$DISCRETE_INPUT" > "$DISCRETE_OUTPUT"
)";
    fs::permissions(folder / "f.sh", fs::perms::owner_all);
  }

  long Runs() const {
    const std::string runs = ReadFile(folder / "runs.txt");
    return std::count(runs.begin(), runs.end(), '\n');
  }
  CProgramRun Run(const std::string& arguments) const { return RunProgram(folder, arguments); }

  // The report's result (without the task that holds it: a resumed search
  // has tasks of its own), objective and design lines.
  static std::string Result(const std::string& report) {
    std::istringstream lines(report);
    std::string kept;
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind("Result:", 0) == 0) kept += line.substr(0, line.find(", held by")) + "\n";
      if (line.find("objective  ") != std::string::npos || line.rfind("  x ", 0) == 0 ||
          line.rfind("  y ", 0) == 0 || line.rfind("  z ", 0) == 0)
        kept += line + "\n";
    }
    return kept;
  }

  // Starts `discrete solve p.toml --db DB -j 2` in the background, its stdout
  // in out.txt; returns its pid.
  pid_t Start(const std::string& database) const {
    const std::string out = (folder / "out.txt").string();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    std::vector<std::string> arguments{DISCRETE_PROGRAM, "solve", "p.toml", "--db",
                                       database,         "-j",    "2"};
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    return pid;
  }
  // Waits until `done` holds, at most `seconds`.
  static void Await(const std::function<bool()>& done, int seconds = 60) {
    for (int i = 0; i < seconds * 100 && !done(); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  // Whether the process exists and is not a zombie (/proc/PID/stat's state).
  static bool IsRunning(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    if (!std::getline(stat, text)) return false;
    const size_t end = text.rfind(") ");
    return end != std::string::npos && end + 2 < text.size() && text[end + 2] != 'Z';
  }
  static int ExitStatusOf(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  CScratchDirectory m_directory;               // removed after the test
  const fs::path folder = m_directory.Path();  // where the program runs
};

TEST_F(Resume, AfterANodeLimitOrCtrlCTheSearchEndsAsAnUninterruptedOneRunningNothingTwice) {
  const CProgramRun whole = Run("solve p.toml --db whole.db -j 2");
  ASSERT_EQ(whole.exitCode, 0) << whole.output;
  const long wholeRuns = Runs();
  fs::remove(folder / "runs.txt");

  // Stopped by a node limit, then resumed.
  const CProgramRun limited = Run("solve p.toml --db limited.db -j 2 --max-nodes 2");
  EXPECT_THAT(limited.output, HasSubstr("stopped at the node limit"));
  const CProgramRun resumed = Run("resume limited.db -j 2");
  EXPECT_EQ(Result(resumed.output), Result(whole.output));
  EXPECT_THAT(resumed.output, HasSubstr("search complete"));
  EXPECT_EQ(Runs(), wholeRuns);
  EXPECT_THAT(Run("show limited.db").output, HasSubstr("; resumed as search task"));
  const CProgramRun again = Run("resume limited.db");
  EXPECT_NE(again.exitCode, 0);  // nothing left to resume

  // Stopped by Ctrl-C once evaluations are under way: the subtask being
  // solved is finished and the result so far written.
  fs::remove(folder / "runs.txt");
  const pid_t pid = Start("interrupted.db");
  Await([&] { return Runs() >= wholeRuns / 3; });
  kill(pid, SIGINT);
  ExitStatusOf(pid);
  EXPECT_THAT(ReadFile(folder / "out.txt"), HasSubstr("(interrupted)"));
  EXPECT_LT(Runs(), wholeRuns);
  // Its convergence history was kept when it stopped.
  EXPECT_THAT(Run("plot interrupted.db").output, HasSubstr(": search task 1, interrupted<"));
  const CProgramRun finished = Run("resume interrupted.db -j 2");
  EXPECT_EQ(Result(finished.output), Result(whole.output));
  EXPECT_EQ(Runs(), wholeRuns);
}

// A second Ctrl-C stops at once: the analysis programs running are killed
// with their process groups, the exit status is 130, and a resume finishes
// the search from the evaluations committed before.
TEST_F(Resume, ASecondCtrlCStopsAtOnceAndKillsTheRunningAnalyses) {
  const std::string marker = (folder / "sleeping").string();
  const std::string sleepers = (folder / "sleepers.txt").string();
  std::ofstream(folder / "f.sh", std::ios::app)  // from now on the analysis hangs
      << "[ -f '" << marker << "' ] && echo $$ >> '" << sleepers << "' && exec sleep 60\n";
  const CProgramRun whole = Run("solve p.toml --db whole.db -j 2");
  const long wholeRuns = Runs();
  std::ofstream(marker) << "";
  fs::remove(folder / "runs.txt");
  const pid_t pid = Start("stopped.db");
  Await([&] { return fs::exists(sleepers); });  // some analysis sleeps
  kill(pid, SIGINT);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  kill(pid, SIGINT);
  EXPECT_EQ(ExitStatusOf(pid), 130);
  std::ifstream pids(sleepers);
  int sleeping = 0;
  for (pid_t sleeper = 0; pids >> sleeper;) {
    ++sleeping;
    // SIGKILL was sent; the process is gone once the kernel has delivered it.
    Await([&] { return !IsRunning(sleeper); }, 5);
    EXPECT_FALSE(IsRunning(sleeper)) << "analysis process " << sleeper << " still runs";
  }
  EXPECT_GT(sleeping, 0);
  fs::remove(marker);
  const CProgramRun finished = Run("resume stopped.db -j 2");
  EXPECT_EQ(Result(finished.output), Result(whole.output));
  EXPECT_LE(Runs(), wholeRuns + 2);  // the killed evaluations, at most --jobs, run again
}

}  // namespace
