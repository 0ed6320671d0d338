// The `discrete` program: solves mixed-discrete design problems from problem
// files with the branch-and-bound module, and shows what a task database
// holds. Usage in docs/cli.md; exit codes in commands/ExitCodes.h.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string_view>
#include <vector>

#include "BashCompletion.h"
#include "ProgramHelp.h"
#include "TaskDatabase.h"
#include "analyses/SlurmClient.h"
#include "commands/Commands.h"
#include "commands/Export.h"
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
    // One line per mistake, each with the program's prefix.
    for (std::string_view rest = error.what(); !rest.empty();) {
      const size_t end = std::min(rest.find('\n'), rest.size());
      fmt::print(stderr, "discrete: {}\n", rest.substr(0, end));
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
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

// --format text|json of the report, read into `format`.
void AddReportFormatOption(CLI::App& command, EReportFormat& format) {
  command
      .add_option_function<std::string>(
          "--format",
          [&format](const std::string& name) {
            format = name == "json" ? EReportFormat::Json : EReportFormat::Text;
          },
          "the report on stdout: text (default) or json (one document, schema discrete-report)")
      ->check(CLI::IsMember({"text", "json"}));
}

// The first argument that is no option names a command (the program's own
// options take no value). An unknown one would otherwise be reported as a
// missing command, or as an argument not expected.
bool RefusesUnknownCommand(CLI::App& app, int argc, char** argv) {
  const char* name = FirstCommandArgument(argc, argv);
  if (name == nullptr) return false;
  for (const CLI::App* command : app.get_subcommands({})) {
    if (command->get_name() == name) return false;
  }
  fmt::print(stderr, "discrete: unknown command '{}'; the commands are {}\n", Excerpt(name),
             fmt::join(CommandNames(app), ", "));
  return true;
}

// CLI11's own errors (a missing argument, a value out of range), with the
// program's prefix and where to read more.
std::string FailureMessage(const CLI::App* app, const CLI::Error& error) {
  std::string command = "discrete";
  for (const CLI::App* parsed : app->get_subcommands()) command += " " + parsed->get_name();
  return fmt::format("discrete: {}\nRun '{} --help' for more information.\n", error.what(),
                     command);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"discrete: mixed-discrete design optimisation by branch and bound", "discrete"};
  app.require_subcommand(0, 1);  // none: the short usage, or the version
  app.failure_message(FailureMessage);
  app.formatter(HelpFormatter());
  app.group("Commands");  // the group the commands inherit, the heading of their list
  app.set_help_all_flag("--help-all", "print the help of the program and of every command");
  bool versionAsked = false;
  app.add_flag("--version,-V", versionAsked, "print what `discrete version` prints, and exit");
  AddHelpFooter(app, {{"discrete solve examples/gear_train.toml",
                       "solve a problem; writes gear_train.db and gear_train.log"},
                      {"discrete show gear_train.db", "list the tasks of that database"},
                      {"discrete solve --help", "the options of one command"}});

  CSolveOptions solve;
  std::optional<int> maxNodes;
  std::optional<double> timeLimit;
  std::optional<std::string> optimizer;
  CLI::App* solveCommand =
      app.add_subcommand("solve", "solve a problem file; writes a task database");
  AddHelpFooter(*solveCommand,
                {{"discrete solve gear_train.toml", "solve; writes gear_train.db and .log"},
                 {"discrete solve p.toml --db p.db --max-nodes 200 --optimizer cobyla",
                  "into p.db, at most 200 subtasks, with COBYLA"},
                 {"generate-problem | discrete solve -", "read the problem from standard input"}});
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
  AddReportFormatOption(*solveCommand, solve.format);
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
  AddHelpFooter(*resumeCommand,
                {{"discrete resume truss.db", "go on with the last search that stopped"},
                 {"discrete resume truss.db --task 31 --time-limit 600",
                  "go on with search task 31 for at most 10 minutes"}});
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
  AddReportFormatOption(*resumeCommand, resume.format);
  resumeCommand->add_option("--lock-timeout", resume.lockTimeout, "seconds to wait for a lock")
      ->check(CLI::NonNegativeNumber);
  resumeCommand->add_option("--plot", resume.plotPath,
                            "write the search's convergence plot to this SVG file when it ends");

  std::string database;
  std::optional<int> taskId;
  CLI::App* showCommand =
      app.add_subcommand("show", "list the tasks of a database, or one task's records");
  AddHelpFooter(*showCommand, {{"discrete show gear.db", "the tasks and the failed evaluations"},
                               {"discrete show gear.db 4", "every record of task 4"},
                               {"discrete show gear.db 4 --format json", "the same as JSON"}});
  showCommand->add_option("database", database, "task database")->required();
  showCommand->add_option("task", taskId, "task id: print all its records");
  bool allEvaluations = false;
  showCommand->add_flag("--evaluations", allEvaluations,
                        "list every evaluation of analysis programs, not only the failed ones");
  std::string showFormat = "text";
  showCommand->add_option("--format", showFormat, "text or json (docs/json-output.md)")
      ->check(CLI::IsMember({"text", "json"}));

  std::string format = "text";
  CLI::App* treeCommand = app.add_subcommand("tree", "print the search tree stored in a database");
  AddHelpFooter(
      *treeCommand,
      {{"discrete tree gear.db", "every search tree of the database, as text"},
       {"discrete tree gear.db --format svg --collapse > tree.svg", "a picture of the last search"},
       {"discrete tree gear.db --format json", "every node as JSON"}});
  treeCommand->add_option("database", database, "task database")->required();
  treeCommand->add_option("--task", taskId,
                          "search task (default: every search task; svg: the last)");
  treeCommand->add_option("--format", format, "text, dot, json or svg")
      ->check(CLI::IsMember({"text", "dot", "json", "svg"}));
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
  AddHelpFooter(
      *plotCommand,
      {{"discrete plot gear.db -o convergence.svg", "the last search's plot"},
       {"discrete solve gear.toml --plot convergence.svg", "drawn when the search ends"}});
  plotCommand->add_option("database", database, "task database")->required();
  plotCommand->add_option("--task", taskId,
                          "search task (default: the last one with a convergence history)");
  plotCommand->add_option("--output,-o", plotOutput,
                          "SVG file to write (default: standard output)");

  CLI::App* versionCommand =
      app.add_subcommand("version", "print the program's and the module's versions");
  AddHelpFooter(*versionCommand, {{"discrete version", "discrete 1.0.0, then the module's"}});
  CLI::App* optimizersCommand = app.add_subcommand(
      "optimizers", "list the continuous optimisers: name, then what it is, one per line");
  AddHelpFooter(*optimizersCommand, {{"discrete optimizers", "slsqp, cobyla, ..."}});

  // Hidden (no group): the build installs its output, docs/cli.md tells of it.
  CLI::App* completionCommand =
      app.add_subcommand("completion", "print the shell completion script")->group("");
  std::string shell;
  completionCommand->add_option("shell", shell, "the shell")
      ->required()
      ->check(CLI::IsMember({"bash"}));

  CExportOptions exportOptions;
  std::string exportFormat = "json";
  CLI::App* exportCommand = app.add_subcommand(
      "export", "write the tasks, results, designs and evaluations of a database as CSV or JSON");
  AddHelpFooter(*exportCommand,
                {{"discrete export gear.db > gear.json", "every table as one JSON document"},
                 {"discrete export gear.db --format csv -o gear-tables", "one CSV file per table"},
                 {"discrete export gear.db --format csv --table results", "one table to stdout"}});
  exportCommand->add_option("database", exportOptions.databasePath, "task database")->required();
  exportCommand->add_option("--format", exportFormat, "csv or json (default json)")
      ->check(CLI::IsMember({"csv", "json"}));
  std::vector<std::string> exportTables;
  for (const char* const* table = ExportTables(); *table != nullptr; ++table)
    exportTables.emplace_back(*table);
  exportCommand->add_option("--table", exportOptions.table, "only this table")
      ->check(CLI::IsMember(exportTables));
  exportCommand->add_option(
      "--output,-o", exportOptions.output,
      "file to write (default: standard output); for CSV of every table, the folder for one "
      "file per table");
  exportCommand->add_flag("--views", exportOptions.storeViews,
                          "also store the SQL views tasks, results and designs in the database");

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
    return Guarded(
        [&] { return RunShow(database, taskId, allEvaluations, showFormat == "json", stdout); });
  if (treeCommand->parsed()) {
    const ETreeFormat treeFormat = format == "dot"    ? ETreeFormat::Dot
                                   : format == "json" ? ETreeFormat::Json
                                   : format == "svg"  ? ETreeFormat::Svg
                                                      : ETreeFormat::Text;
    return Guarded([&] { return RunTree(database, taskId, treeFormat, stdout, picture); });
  }
  if (plotCommand->parsed())
    return Guarded([&] { return RunPlot(database, taskId, plotOutput, stdout); });
  if (exportCommand->parsed()) {
    exportOptions.format = exportFormat == "csv" ? EExportFormat::Csv : EExportFormat::Json;
    return Guarded([&] { return RunExport(exportOptions, stdout); });
  }
  if (versionCommand->parsed() || versionAsked) return Guarded([&] { return RunVersion(stdout); });
  if (optimizersCommand->parsed()) {
    for (const CAlgorithm& algorithm : Algorithms())
      fmt::print("{:<8} {}\n", algorithm.name, algorithm.description);
    return 0;
  }
  if (completionCommand->parsed()) {
    fmt::print("{}", BashCompletionScript(app));
    return 0;
  }
  fmt::print(stderr, "{}", ShortUsage(app));
  return static_cast<int>(EExitCode::UsageError);
}
