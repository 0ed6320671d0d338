#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <thread>

#include "LogFile.h"
#include "TaskDatabase.h"
#include "commands/Commands.h"
#include "commands/OutputFiles.h"
#include "commands/Report.h"
#include "problem/ProblemFile.h"
#include "search/DiscreteModule.h"
#include "search/ProgressLine.h"
#include "search/Search.h"
#include "search/SearchLog.h"
#include "search/SearchState.h"
#include "tasks/TaskProblem.h"
#include "tasks/TaskWriter.h"

namespace {

// Closes the database and removes the log when the command ends, however it ends.
struct CSession {
  std::unique_ptr<CLogFile> log;  // the installed log; null before it is opened
  ~CSession() {
    CloseTaskDatabase();
    SetCurrentLog(nullptr);
  }
};

std::string LogPathFor(const std::string& databasePath) {
  const std::filesystem::path path(databasePath);
  return path.extension() == ".db" ? std::filesystem::path(path).replace_extension(".log").string()
                                   : databasePath + ".log";
}

void ApplyOverrides(const CSolveOptions& options, CProblem& problem) {
  if (options.optimizer) problem.optimizer.algorithm = *options.optimizer;
  if (options.maxNodes) problem.limits.maxNodes = *options.maxNodes;
  if (options.timeLimit) problem.limits.timeLimit = *options.timeLimit;
  if (options.retries) problem.optimizer.retries = *options.retries;
  if (options.rootStarts) problem.optimizer.rootStarts = *options.rootStarts;
  if (options.suspiciousStarts) problem.optimizer.suspiciousStarts = *options.suspiciousStarts;
}

// Both files are checked before either is created, so that a bad path leaves
// nothing behind.
void CheckOutputFiles(const std::string& databasePath, const std::string& logPath) {
  if (const std::string why = WhyNotWritable(databasePath); !why.empty())
    throw CDatabaseError(fmt::format("cannot write task database '{}': {}", databasePath, why));
  if (const std::string why = WhyNotWritable(logPath); !why.empty())
    throw std::runtime_error(fmt::format("cannot write log file '{}': {}", logPath, why));
}

void InstallLockWait(const CSolveOptions& options, FILE* messages) {
  CLockWaitSettings settings;
  settings.timeoutSeconds = options.lockTimeout;
  if (!options.quiet) {
    settings.onWaiting = [messages, timeout = options.lockTimeout](const std::string& file,
                                                                   const std::string& holder) {
      fmt::print(messages,
                 "waiting for task database '{}': it is locked by {}; giving up after {:g} s "
                 "(--lock-timeout)\n",
                 file, holder, timeout);
      std::fflush(messages);
    };
  }
  SetLockWaitSettings(std::move(settings));
}

// After a failure in the middle of the search: the report of what the search
// committed, when the search task itself was committed solved. A failure to
// read it leaves the first failure to be reported alone.
void ReportCommittedSearch(FILE* out, int searchTaskId, const std::string& databasePath) {
  try {
    const CSearchState state = ReadSearchState(searchTaskId);
    if (!state.searchTaskSolved) return;
    CSearchOutcome outcome;
    outcome.end = ESearchEnd::Unfinished;
    outcome.searchTaskId = searchTaskId;
    outcome.nodesSolved = state.solvedSubtasks;
    outcome.resultTask = state.resultTask;
    outcome.discreteFeasible = state.discreteFeasible;
    PrintReport(out, outcome, databasePath);
  } catch (const std::exception&) {
  }
}

}  // namespace

// Analyses without a work_folder work in "<database without .db>.work"
// beside the database.
void SetDefaultWorkFolder(CProblem& problem, const std::string& databasePath) {
  std::filesystem::path folder = std::filesystem::absolute(databasePath);
  if (folder.extension() == ".db") folder.replace_extension();
  folder += ".work";
  for (CAnalysisDefinition& analysis : problem.analyses) {
    if (analysis.workFolder.empty()) analysis.workFolder = folder.lexically_normal().string();
  }
}

std::string FreeDatabaseName(const std::string& problemName) {
  std::string candidate = problemName + ".db";
  for (int n = 2; std::filesystem::exists(candidate); ++n)
    candidate = fmt::format("{}-{}.db", problemName, n);
  return candidate;
}

EExitCode RunSolve(const CSolveOptions& options, FILE* out, FILE* messages) {
  CProblem problem = ReadProblemFile(options.problemFile);
  ApplyOverrides(options, problem);
  if (!options.quiet) {
    for (const std::string& note : problem.boundNotes) fmt::print(messages, "{}\n", note);
  }
  // The module is loaded before anything is written, so that a missing module touches no file.
  const CDiscreteModule module = CDiscreteModule::Load();
  std::string databasePath = options.databasePath;
  if (databasePath.empty()) {
    databasePath = FreeDatabaseName(problem.name);
    if (!options.quiet && databasePath != problem.name + ".db") {
      fmt::print(messages, "{}.db exists already; writing to {}\n", problem.name, databasePath);
    }
  }
  SetDefaultWorkFolder(problem, databasePath);
  const bool addsToExistingDatabase = std::filesystem::exists(databasePath);
  const std::string logPath = options.logPath.empty() ? LogPathFor(databasePath) : options.logPath;
  CheckOutputFiles(databasePath, logPath);
  InstallLockWait(options, messages);

  // The database is opened before the log, so that a file that is no task
  // database is refused without leaving a log behind.
  CSession session;
  OpenTaskDatabase(databasePath);
  if (!options.quiet && addsToExistingDatabase) {
    fmt::print(messages, "adding the search to the tasks already in {}\n", databasePath);
  }
  session.log = std::make_unique<CLogFile>(logPath.c_str(), options.logLevel);
  SetCurrentLog(session.log.get());
  const int searchTaskId = WriteSearchTask(problem);
  session.log->WriteLine(
      "SEARCH", fmt::format("{}: problem {} written as search task {} of {}", kProgramSignature,
                            problem.file, searchTaskId, databasePath)
                    .c_str());

  CObserverList observers;
  CSearchLog searchLog(*session.log);
  observers.Add(searchLog);
  CProgressLine progress(stderr);
  if (!options.quiet && isatty(fileno(stderr))) observers.Add(progress);
  const int jobs = options.jobs > 0
                       ? options.jobs
                       : std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  const FSolveTask solveTask = [jobs](int taskId, std::chrono::steady_clock::time_point deadline) {
    CTaskSolveSettings settings;
    settings.deadline = deadline;
    settings.jobs = jobs;
    return SolveTask(taskId, settings);
  };
  CBranchAndBoundSearch search(module, solveTask, observers, problem.limits, session.log.get());
  CSearchOutcome outcome;
  try {
    outcome = search.Run(searchTaskId);
  } catch (const CModuleError& error) {
    ReportCommittedSearch(out, searchTaskId, databasePath);
    throw CModuleError(fmt::format("{} (details in {})", error.what(), logPath));
  } catch (const CDatabaseError& error) {
    ReportCommittedSearch(out, searchTaskId, databasePath);
    throw CDatabaseError(
        fmt::format("{}; the search stopped, and {} keeps what it committed before", error.what(),
                    databasePath));
  } catch (const CTaskDataError&) {
    ReportCommittedSearch(out, searchTaskId, databasePath);
    throw;
  }
  PrintReport(out, outcome, databasePath);
  return outcome.discreteFeasible ? EExitCode::Success : EExitCode::NoFeasibleDesign;
}
