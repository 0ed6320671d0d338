// The program when its task database fails it: a search killed in the middle,
// a full file system, a read-only file, a database locked by another process,
// paths that cannot be written. Real processes on real files; whatever a
// search committed must be reported as it is, and nothing half-written.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "DatabaseFiles.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

struct CRun {
  int exitCode = -1;   // the program's exit status
  std::string output;  // stdout
  std::string errors;  // stderr
};

// 16 integer variables under one budget: about 250 subtasks, the first
// feasible discrete design about halfway.
std::string LongProblem() {
  const char* const targets[] = {"1.06", "2.16", "1.53", "2.37", "2.45", "0.44", "0.25", "3.21",
                                 "1.13", "1.04", "3.78", "1.89", "3.21", "1.91", "2.5",  "0.74"};
  std::string objective, budget, variables;
  for (int k = 0; k < 16; ++k) {
    const std::string name(1, static_cast<char>('a' + k));
    objective += (k > 0 ? " + (" : "(") + name + " - " + targets[k] + ")^2";
    budget += (k > 0 ? " + " : "") + name;
    variables += "variables." + name + " = { kind = \"integer\", lower = 0, upper = 9 }\n";
  }
  return "name = \"long\"\nobjective = \"" + objective + "\"\n" + variables +
         "constraints.budget = \"" + budget + " <= 27.4\"\n";
}

class DatabaseFailure : public ::testing::Test {
 protected:
  void SetUp() override {
    std::ofstream(folder / "long.toml") << LongProblem();
    std::ofstream(folder / "small.toml")
        << "name = \"small\"\nobjective = \"(x - 1.4)^2\"\n"
           "variables.x = { kind = \"integer\", lower = 0, upper = 3 }\n";
    // The captured output goes to files that `nobody` may write, also once
    // the folder is made read-only.
    for (const char* name : {"stdout.txt", "stderr.txt"}) {
      std::ofstream(folder / name).flush();
      fs::permissions(folder / name, fs::perms::all & ~fs::perms::owner_exec &
                                         ~fs::perms::group_exec & ~fs::perms::others_exec);
    }
  }

  // Runs the program in the folder; as the user `nobody` when asked (the
  // tests run as root, to whom file modes mean nothing).
  CRun Run(const std::string& arguments, bool asNobody = false) const {
    const std::string command = "cd '" + folder.string() + "' && '" DISCRETE_PROGRAM "' " +
                                arguments + " > '" + (folder / "stdout.txt").string() + "' 2> '" +
                                (folder / "stderr.txt").string() + "'";
    const pid_t child = fork();
    if (child == 0) {
      if (asNobody && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(99);
      execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
      _exit(98);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(folder / "stdout.txt"),
            ReadFile(folder / "stderr.txt")};
  }

  CScratchDirectory m_directory;               // removed after the test
  const fs::path folder = m_directory.Path();  // where the program runs
};

// The line of `show` for a task.
std::string TaskLine(const std::string& listing, int taskId) {
  std::smatch line;
  const std::regex pattern("(^|\n)( +" + std::to_string(taskId) + "  [^\n]*)");
  return std::regex_search(listing, line, pattern) ? line[2].str() : "";
}

// Killed (SIGTERM, which stops at once, or kill -9) while it solves a subtask: the subtask the
// module made is shown as not solved everywhere, the best committed design is the incumbent, and
// the search says that it did not finish.
TEST_F(DatabaseFailure, AKilledSearchIsShownAsItWasCommitted) {
  for (const int signal : {SIGTERM, SIGKILL}) {
    SCOPED_TRACE(signal);
    fs::remove(folder / "long.db");
    // The log is a pipe of one page that the test reads: once the test stops
    // reading, the program blocks within a few nodes, long before its end.
    const fs::path log = folder / "long.log";
    fs::remove(log);
    ASSERT_EQ(mkfifo(log.c_str(), 0600), 0);
    const pid_t child = fork();
    if (child == 0) {
      chdir(folder.c_str());
      const int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      execl(DISCRETE_PROGRAM, "discrete", "solve", "long.toml", "--db", "long.db", "--log",
            "long.log", "--quiet", static_cast<char*>(nullptr));
      _exit(98);
    }
    const int reader = open(log.c_str(), O_RDONLY);
    ASSERT_GE(reader, 0);
    fcntl(reader, F_SETPIPE_SZ, 4096);
    // Reads until two nodes after the first incumbent: its step is committed.
    std::string text;
    int linesAfterIncumbent = -1;
    char buffer[256];
    while (linesAfterIncumbent < 2) {
      const ssize_t got = read(reader, buffer, sizeof buffer);
      ASSERT_GT(got, 0) << "the search ended before the test could stop it";
      for (ssize_t i = 0; i < got; ++i) {
        text += buffer[i];
        if (buffer[i] != '\n') continue;
        if (linesAfterIncumbent >= 0) ++linesAfterIncumbent;
        if (linesAfterIncumbent < 0 && text.find("new incumbent") != std::string::npos)
          linesAfterIncumbent = 0;
      }
    }
    kill(child, signal);
    int status = 0;
    waitpid(child, &status, 0);
    close(reader);
    ASSERT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 128 + signal) << status;

    const CRun show = Run("show long.db");
    ASSERT_EQ(show.exitCode, 0) << show.errors;
    std::smatch best;
    ASSERT_TRUE(std::regex_search(
        show.output, best,
        std::regex("best so far task (\\d+) \\(feasible discrete\\); search not finished")))
        << show.output;
    const int incumbent = std::stoi(best[1]);
    const std::string incumbentLine = TaskLine(show.output, incumbent);
    EXPECT_THAT(incumbentLine, HasSubstr("discrete feasible"));
    // The subtask being solved when the search was killed: made, never solved.
    std::smatch last;
    ASSERT_TRUE(std::regex_search(show.output, last, std::regex("\n +(\\d+)  subtask[^\n]*\n$")));
    EXPECT_THAT(TaskLine(show.output, std::stoi(last[1])),
                HasSubstr("-             -  not solved"));
    EXPECT_THAT(Run("show long.db " + last[1].str()).output, HasSubstr("has not been solved"));
    // No discrete design committed is better than the incumbent.
    const double incumbentObjective = std::stod(incumbentLine.substr(38, 16));
    std::istringstream lines(show.output);
    for (std::string line; std::getline(lines, line);) {
      if (line.find("discrete feasible") == std::string::npos ||
          line.find("subtask") == std::string::npos)
        continue;
      EXPECT_GE(std::stod(line.substr(38, 16)), incumbentObjective) << line;
    }
    const CRun tree = Run("tree long.db");
    EXPECT_THAT(tree.output, HasSubstr("task " + std::to_string(incumbent) + "  "));
    EXPECT_THAT(tree.output, HasSubstr("discrete feasible  <== incumbent"));
    EXPECT_THAT(tree.output, HasSubstr("not solved"));
    EXPECT_THAT(tree.output, HasSubstr("search not finished: "));
    EXPECT_THAT(tree.output, HasSubstr("the best feasible discrete design so far is task " +
                                       std::to_string(incumbent)));
  }
}

// Mounts a small tmpfs for the test; the test is skipped where mounting is
// not permitted.
class CSmallFileSystem {
 public:
  explicit CSmallFileSystem(const fs::path& where) : m_path(where) {
    fs::create_directories(m_path);
    m_mounted = mount("tmpfs", m_path.c_str(), "tmpfs", 0, "size=1m") == 0;
  }
  ~CSmallFileSystem() {
    if (m_mounted) umount(m_path.c_str());
  }
  bool Mounted() const { return m_mounted; }

 private:
  fs::path m_path;  // the mount point
  bool m_mounted;   // mount succeeded
};

// A full file system (a real one: a 1 MB tmpfs, not SQLite's max_page_count)
// stops the search at the step whose commit fails, with the reason, and
// loses nothing committed before: the search before it and the steps before.
TEST_F(DatabaseFailure, AFullFileSystemStopsTheSearchAtOnceWithTheReasonAndKeepsWhatWasCommitted) {
  const CSmallFileSystem small(folder / "small-fs");
  if (!small.Mounted()) GTEST_SKIP() << "mounting a tmpfs is not permitted here";
  ASSERT_EQ(Run("solve small.toml --quiet --db small-fs/x.db --log x.log").exitCode, 0);
  const CRun run = Run("solve long.toml --quiet --db small-fs/x.db --log x.log");
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_THAT(run.errors, HasSubstr("discrete: database error: task database '"));
  EXPECT_THAT(run.errors, HasSubstr("database or disk is full"));
  EXPECT_THAT(run.errors, HasSubstr("in: COMMIT; the search stopped"));
  EXPECT_THAT(run.errors, Not(HasSubstr("missing")));
  EXPECT_THAT(run.output, HasSubstr("(the search did not finish)"));
  EXPECT_THAT(run.output, HasSubstr("  bound      not known: the search failed before its end\n"));

  const CRun show = Run("show small-fs/x.db");
  ASSERT_EQ(show.exitCode, 0) << show.errors;
  EXPECT_THAT(TaskLine(show.output, 1), HasSubstr("result task 3 (feasible discrete)"));
  EXPECT_THAT(TaskLine(show.output, 4), HasSubstr("search not finished"));
  const CRun tree = Run("tree small-fs/x.db --task 4");
  EXPECT_EQ(tree.exitCode, 0) << tree.errors;
  EXPECT_THAT(tree.output, HasSubstr("search not finished: "));
}

// A database this user may only read: `solve` refuses it before it creates
// anything; `show` and `tree` read it, even in a folder the user may not
// write, and never write anything (no byte changed, no -wal, -shm or -journal).
TEST_F(DatabaseFailure, AReadOnlyDatabaseIsReadWithoutWritingAndRefusedForSolving) {
  ASSERT_EQ(Run("solve small.toml --quiet").exitCode, 0);
  fs::permissions(folder / "small.db",
                  fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
  fs::permissions(folder, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                              fs::perms::others_read | fs::perms::others_exec);
  const std::map<std::string, std::string> before = FilesIn(folder);
  for (const bool asNobody : {false, true}) {
    SCOPED_TRACE(asNobody ? "as nobody" : "as root");
    const CRun show = Run("show small.db", asNobody);
    EXPECT_EQ(show.exitCode, 0) << show.errors;
    EXPECT_THAT(show.output, HasSubstr("result task 3 (feasible discrete)"));
    const CRun tree = Run("tree small.db", asNobody);
    EXPECT_EQ(tree.exitCode, 0) << tree.errors;
    EXPECT_THAT(tree.output, HasSubstr("<== incumbent"));
    EXPECT_EQ(FilesIn(folder), before);
  }
  const CRun solve = Run("solve small.toml --db small.db", true);
  EXPECT_EQ(solve.exitCode, 4);
  EXPECT_THAT(solve.errors, HasSubstr("cannot write task database 'small.db': Permission denied"));
  EXPECT_EQ(FilesIn(folder), before);
}

// Another process holds the write lock: `solve` says that it waits and for
// whom, gives up after --lock-timeout with a clear error, and has written
// nothing.
TEST_F(DatabaseFailure, ALockedDatabaseIsWaitedForAsLongAsToldWithTheHolderNamed) {
  ASSERT_EQ(Run("solve small.toml --quiet").exitCode, 0);
  const std::string listing = Run("show small.db").output;
  {
    CPlainConnection holder((folder / "small.db").string());
    holder.Execute("BEGIN IMMEDIATE");
    const CRun run = Run("solve small.toml --db small.db --lock-timeout 1.5");
    EXPECT_EQ(run.exitCode, 4);
    const std::string me = "process " + std::to_string(getpid());
    EXPECT_THAT(run.errors, HasSubstr("waiting for task database '" +
                                      (folder / "small.db").string() + "': it is locked by " + me));
    EXPECT_THAT(run.errors, HasSubstr("giving up after 1.5 s (--lock-timeout)"));
    EXPECT_THAT(run.errors, HasSubstr("is locked by " + me));
    EXPECT_THAT(run.errors, HasSubstr("gave up waiting for it after 1.5 s"));
    holder.Execute("COMMIT");
  }
  EXPECT_EQ(Run("show small.db").output, listing);
}

// Paths that cannot be written are named with the reason, before any file is
// created.
TEST_F(DatabaseFailure, ABadDatabaseOrLogPathIsNamedWithTheReasonAndCreatesNothing) {
  const std::map<std::string, std::string> before = FilesIn(folder);
  const CRun missingFolder = Run("solve small.toml --db nowhere/x.db");
  EXPECT_EQ(missingFolder.exitCode, 4);
  EXPECT_THAT(
      missingFolder.errors,
      HasSubstr("cannot write task database 'nowhere/x.db': the folder 'nowhere' does not exist"));
  EXPECT_THAT(missingFolder.errors, Not(HasSubstr(":memory:")));
  const CRun badLog = Run("solve small.toml --log nowhere/x.log");
  EXPECT_EQ(badLog.exitCode, 6);
  EXPECT_THAT(
      badLog.errors,
      HasSubstr("cannot write log file 'nowhere/x.log': the folder 'nowhere' does not exist"));
  EXPECT_EQ(FilesIn(folder), before);
}

}  // namespace
