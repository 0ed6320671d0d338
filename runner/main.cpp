// The `discrete` program: solves mixed-discrete design problems from problem
// files with the branch-and-bound module, and shows what a task database
// holds. Usage in docs/cli.md; exit codes in commands/ExitCodes.h.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <vector>

#include "TaskDatabase.h"
#include "analyses/SlurmClient.h"
#include "commands/Commands.h"
#include "expressions/MessageText.h"
#include "problem/ProblemFile.h"
#include "search/DiscreteModule.h"
#include "search/Search.h"
#include "solver/Algorithms.h"
#include "tasks/TaskProblem.h"

namespace {

// Runs a command and turns its failure into one line on stderr and an exit code.
int Guarded(const std::function<EExitCode()>& command) {
  try {
    return static_cast<int>(command());
  } catch (const CProblemFileError& error) {
    fmt::print(stderr, "{}\n", error.what());
    return static_cast<int>(EExitCode::ProblemFileError);
  } catch (const CDatabaseError& error) {
    fmt::print(stderr, "discrete: database error: {}\n", error.what());
    return static_cast<int>(EExitCode::DatabaseError);
  } catch (const CTaskDataError& error) {
    fmt::print(stderr, "discrete: database error: {}\n", error.what());
    return static_cast<int>(EExitCode::DatabaseError);
  } catch (const CModuleLoadError& error) {
    fmt::print(stderr, "discrete: module error: {}\n", error.what());
    return static_cast<int>(EExitCode::ModuleError);
  } catch (const CModuleError& error) {
    fmt::print(stderr, "discrete: module error: {}\n", error.what());
    return static_cast<int>(EExitCode::ModuleError);
  } catch (const CSlurmError& error) {
    fmt::print(stderr, "discrete: Slurm error: {}\n", error.what());
    return static_cast<int>(EExitCode::SlurmError);
  } catch (const CUsageError& error) {
    fmt::print(stderr, "discrete: {}\n", error.what());
    return static_cast<int>(EExitCode::UsageError);
  } catch (const std::exception& error) {
    fmt::print(stderr, "discrete: error: {}\n", error.what());
    return static_cast<int>(EExitCode::OtherError);
  }
}

// The option's value is a finite number >= 0 (CLI11's own ranges let NaN
// through and print their ends with 309 digits).
CLI::Validator FiniteAtLeastZero() {
  return CLI::Validator(
      [](std::string& input) -> std::string {
        char* end = nullptr;
        const double value = std::strtod(input.c_str(), &end);
        if (input.empty() || *end != '\0' || !std::isfinite(value) || value < 0) {
          return fmt::format("'{}' is not a finite number >= 0", Excerpt(input));
        }
        return "";
      },
      "NUMBER >= 0");
}

// The option's value is a whole number from 0 to 2147483647.
CLI::Validator WholeAtLeastZero() {
  return CLI::Validator(
      [](std::string& input) -> std::string {
        char* end = nullptr;
        errno = 0;
        const long long value = std::strtoll(input.c_str(), &end, 10);
        if (input.empty() || *end != '\0' || errno != 0 || value < 0 ||
            value > std::numeric_limits<int>::max()) {
          return fmt::format("'{}' is not a whole number from 0 to {}", Excerpt(input),
                             std::numeric_limits<int>::max());
        }
        return "";
      },
      "INT >= 0");
}

// --executor NAME, read into `executor`.
void AddExecutorOption(CLI::App& command, std::optional<EExecutor>& executor) {
  command
      .add_option_function<std::string>(
          "--executor", [&executor](const std::string& name) { executor = ExecutorFromName(name); },
          "where analysis programs run: local, slurm-steps or slurm-jobs (default: the file's "
          "[slurm] mode, else local)")
      ->check(CLI::IsMember({ExecutorName(EExecutor::Local), ExecutorName(EExecutor::SlurmSteps),
                             ExecutorName(EExecutor::SlurmJobs)}));
}

// The first argument names a command, unless it is an option. An unknown one
// would otherwise be reported as a missing command.
bool RefusesUnknownCommand(CLI::App& app, int argc, char** argv) {
  if (argc < 2 || argv[1][0] == '-') return false;
  std::vector<std::string> commands;
  for (const CLI::App* command : app.get_subcommands({})) {
    if (command->get_name() == argv[1]) return false;
    commands.push_back(command->get_name());
  }
  fmt::print(stderr, "discrete: unknown command '{}'; the commands are {}\n", Excerpt(argv[1]),
             fmt::join(commands, ", "));
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"discrete: mixed-discrete design optimisation by branch and bound"};
  app.require_subcommand(1);

  CSolveOptions solve;
  std::optional<int> maxNodes;
  std::optional<double> timeLimit;
  std::optional<std::string> optimizer;
  CLI::App* solveCommand =
      app.add_subcommand("solve", "solve a problem file; writes a task database");
  solveCommand->add_option("problem", solve.problemFile, "problem file (TOML)")->required();
  solveCommand->add_option("--db", solve.databasePath,
                           "task database (default: <name>.db, never overwritten)");
  solveCommand->add_option("--log", solve.logPath,
                           "log file (default: the database's name with .log)");
  solveCommand
      ->add_option("--log-level", solve.logLevel, "log detail: 0 errors ... 3 module debug lines")
      ->check(CLI::Range(0, 9));
  std::vector<std::string> algorithmNames;
  for (const CAlgorithm& algorithm : Algorithms()) algorithmNames.push_back(algorithm.name);
  solveCommand
      ->add_option("--optimizer", optimizer, AlgorithmNames(false) + " (default: the file's)")
      ->check(CLI::IsMember(algorithmNames));
  solveCommand->add_option("--max-nodes", maxNodes, "stop after this many subtasks (0: no limit)")
      ->check(WholeAtLeastZero());
  solveCommand->add_option("--time-limit", timeLimit, "stop after this many seconds (0: no limit)")
      ->check(FiniteAtLeastZero());
  solveCommand
      ->add_option("--retries", solve.retries,
                   "other start points for a local search that did not converge")
      ->check(CLI::Range(0, 1000));
  solveCommand
      ->add_option("--root-starts", solve.rootStarts,
                   "start points of the root's continuous problem")
      ->check(CLI::Range(1, 1000));
  solveCommand
      ->add_option("--suspicious-starts", solve.suspiciousStarts,
                   "further start points for a subtask whose result looks suspicious")
      ->check(CLI::Range(0, 1000));
  solveCommand
      ->add_option("--jobs,-j", solve.jobs,
                   "evaluations of analysis programs run at the same time (default: local the "
                   "number of cores, slurm-steps the allocation's tasks, slurm-jobs no limit)")
      ->check(CLI::Range(1, 1024));
  AddExecutorOption(*solveCommand, solve.executor);
  solveCommand->add_flag("--quiet", solve.quiet, "no progress line and no notes; the report only");
  solveCommand
      ->add_option("--lock-timeout", solve.lockTimeout,
                   "seconds to wait for another process's lock (default 30)")
      ->check(CLI::NonNegativeNumber);
  solveCommand->add_option("--plot", solve.plotPath,
                           "write the search's convergence plot to this SVG file when it ends");

  CSolveOptions resume;
  std::optional<int> resumeTask;
  CLI::App* resumeCommand = app.add_subcommand(
      "resume", "go on with a search that stopped before its end (Ctrl-C, a kill, a limit)");
  resumeCommand->add_option("database", resume.databasePath, "task database")->required();
  resumeCommand->add_option("--task", resumeTask,
                            "the search task to resume (default: the last one that stopped)");
  resumeCommand->add_option("--log", resume.logPath, "log file (default: the database's .log)");
  resumeCommand->add_option("--log-level", resume.logLevel, "log detail")->check(CLI::Range(0, 9));
  resumeCommand
      ->add_option("--max-nodes", resume.maxNodes, "stop after this many subtasks (default: none)")
      ->check(WholeAtLeastZero());
  resumeCommand
      ->add_option("--time-limit", resume.timeLimit, "stop after this many seconds (default: none)")
      ->check(FiniteAtLeastZero());
  resumeCommand->add_option("--jobs,-j", resume.jobs, "evaluations run at the same time")
      ->check(CLI::Range(1, 1024));
  AddExecutorOption(*resumeCommand, resume.executor);
  resumeCommand->add_flag("--quiet", resume.quiet, "no progress line and no notes");
  resumeCommand->add_option("--lock-timeout", resume.lockTimeout, "seconds to wait for a lock")
      ->check(CLI::NonNegativeNumber);
  resumeCommand->add_option("--plot", resume.plotPath,
                            "write the search's convergence plot to this SVG file when it ends");

  std::string database;
  std::optional<int> taskId;
  CLI::App* showCommand =
      app.add_subcommand("show", "list the tasks of a database, or one task's records");
  showCommand->add_option("database", database, "task database")->required();
  showCommand->add_option("task", taskId, "task id: print all its records");
  bool allEvaluations = false;
  showCommand->add_flag("--evaluations", allEvaluations,
                        "list every evaluation of analysis programs, not only the failed ones");

  std::string format = "text";
  CLI::App* treeCommand = app.add_subcommand("tree", "print the search tree stored in a database");
  treeCommand->add_option("database", database, "task database")->required();
  treeCommand->add_option("--task", taskId,
                          "search task (default: every search task; svg: the last)");
  treeCommand->add_option("--format", format, "text, dot or svg")
      ->check(CLI::IsMember({"text", "dot", "svg"}));
  CTreePictureOptions picture;
  treeCommand->add_flag("--incumbent-path", picture.incumbentPath,
                        "svg: keep the path to the incumbent and the siblings along it");
  treeCommand->add_option("--max-depth", picture.maxDepth, "svg: cut the tree below this depth")
      ->check(WholeAtLeastZero());
  treeCommand->add_flag("--collapse", picture.collapse,
                        "svg: draw each subtree without open, unsolved or feasible nodes as one "
                        "marker with its node count");

  std::string plotOutput;
  CLI::App* plotCommand = app.add_subcommand(
      "plot", "draw a search's convergence plot (SVG): incumbent and best open bound");
  plotCommand->add_option("database", database, "task database")->required();
  plotCommand->add_option("--task", taskId,
                          "search task (default: the last one with a convergence history)");
  plotCommand->add_option("--output,-o", plotOutput,
                          "SVG file to write (default: standard output)");

  CLI::App* versionCommand =
      app.add_subcommand("version", "print the program's and the module's versions");
  CLI::App* optimizersCommand = app.add_subcommand(
      "optimizers", "list the continuous optimisers: name, then what it is, one per line");

  if (RefusesUnknownCommand(app, argc, argv)) return static_cast<int>(EExitCode::UsageError);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int code = app.exit(error);
    return code == 0 ? 0 : static_cast<int>(EExitCode::UsageError);
  }
  if (solveCommand->parsed()) {
    solve.maxNodes = maxNodes;
    solve.timeLimit = timeLimit;
    solve.optimizer = optimizer;
    return Guarded([&] { return RunSolve(solve, stdout, stderr); });
  }
  if (resumeCommand->parsed())
    return Guarded([&] { return RunResume(resume, resumeTask, stdout, stderr); });
  if (showCommand->parsed())
    return Guarded([&] { return RunShow(database, taskId, allEvaluations, stdout); });
  if (treeCommand->parsed()) {
    const ETreeFormat treeFormat = format == "dot"   ? ETreeFormat::Dot
                                   : format == "svg" ? ETreeFormat::Svg
                                                     : ETreeFormat::Text;
    return Guarded([&] { return RunTree(database, taskId, treeFormat, stdout, picture); });
  }
  if (plotCommand->parsed())
    return Guarded([&] { return RunPlot(database, taskId, plotOutput, stdout); });
  if (versionCommand->parsed()) return Guarded([&] { return RunVersion(stdout); });
  if (optimizersCommand->parsed()) {
    for (const CAlgorithm& algorithm : Algorithms())
      fmt::print("{:<8} {}\n", algorithm.name, algorithm.description);
    return 0;
  }
  return static_cast<int>(EExitCode::UsageError);
}
