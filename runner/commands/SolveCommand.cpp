#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "LogFile.h"
#include "Records.h"
#include "TaskDatabase.h"
#include "analyses/SlurmClient.h"
#include "commands/Commands.h"
#include "commands/ConvergencePlot.h"
#include "commands/ExecutorChoice.h"
#include "commands/Interruption.h"
#include "commands/OutputFiles.h"
#include "commands/Report.h"
#include "problem/ProblemFile.h"
#include "search/ConvergenceHistory.h"
#include "search/DiscreteModule.h"
#include "search/ProgressLine.h"
#include "search/Search.h"
#include "search/SearchLog.h"
#include "search/SearchState.h"
#include "tasks/ConvergenceTable.h"
#include "tasks/RecordViews.h"
#include "tasks/SearchTable.h"
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

// The module, loaded once, when first needed.
const CDiscreteModule& LoadedModule() {
  static const CDiscreteModule loaded = CDiscreteModule::Load();
  return loaded;
}

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

// The command line's settings that shape the search (not its limits), as
// table `searches` keeps them for a resumed search.
std::string SettingsJson(const CSolveOptions& options) {
  nlohmann::json json = nlohmann::json::object();
  if (options.optimizer) json["optimizer"] = *options.optimizer;
  if (options.retries) json["retries"] = *options.retries;
  if (options.rootStarts) json["root_starts"] = *options.rootStarts;
  if (options.suspiciousStarts) json["suspicious_starts"] = *options.suspiciousStarts;
  if (options.executor) json["executor"] = ExecutorName(*options.executor);
  return json.dump();
}

// The settings SettingsJson kept.
CSolveOptions StoredOptions(const std::string& text) {
  const nlohmann::json json = nlohmann::json::parse(text);
  CSolveOptions stored;
  if (json.contains("optimizer")) stored.optimizer = json["optimizer"].get<std::string>();
  if (json.contains("retries")) stored.retries = json["retries"].get<int>();
  if (json.contains("root_starts")) stored.rootStarts = json["root_starts"].get<int>();
  if (json.contains("suspicious_starts"))
    stored.suspiciousStarts = json["suspicious_starts"].get<int>();
  if (json.contains("executor")) {
    const std::string name = json["executor"].get<std::string>();
    stored.executor = ExecutorFromName(name);
    if (!stored.executor)
      throw std::runtime_error(fmt::format("the stored executor '{}' is unknown", name));
  }
  return stored;
}

// The search a `resume` takes up: the one asked for, or the last one that
// did not finish and was not resumed yet. Throws std::runtime_error naming
// the database when there is none.
CSearchRow SearchToResume(const std::string& databasePath, std::optional<int> searchTaskId) {
  const std::vector<CSearchRow> searches = ReadSearches();
  for (auto row = searches.rbegin(); row != searches.rend(); ++row) {
    if (searchTaskId ? row->searchTaskId == *searchTaskId
                     : row->end != Describe(ESearchEnd::Complete) && row->resumedBy == 0)
      return *row;
  }
  if (searchTaskId) {
    throw std::runtime_error(
        fmt::format("{} holds no search task {} that could be resumed (only searches run by "
                    "this version of discrete can be)",
                    databasePath, *searchTaskId));
  }
  throw std::runtime_error(fmt::format(
      "{} holds no search that stopped before its end; nothing to resume", databasePath));
}

// Both files are checked before either is created, so that a bad path leaves
// nothing behind.
void CheckOutputFiles(const std::string& databasePath, const std::string& logPath,
                      const std::string& plotPath) {
  if (const std::string why = WhyNotWritable(databasePath); !why.empty())
    throw CDatabaseError(fmt::format("cannot write task database '{}': {}", databasePath, why));
  if (const std::string why = WhyNotWritable(logPath); !why.empty())
    throw std::runtime_error(fmt::format("cannot write log file '{}': {}", logPath, why));
  if (const std::string why = plotPath.empty() ? "" : WhyNotWritable(plotPath); !why.empty())
    throw std::runtime_error(fmt::format("cannot write plot file '{}': {}", plotPath, why));
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
void ReportCommittedSearch(FILE* out, int searchTaskId, const std::string& databasePath,
                           const std::string& logPath, EReportFormat format) {
  try {
    const CSearchState state = ReadSearchState(searchTaskId);
    if (!state.searchTaskSolved) return;
    CSearchOutcome outcome;
    outcome.end = ESearchEnd::Unfinished;
    outcome.searchTaskId = searchTaskId;
    outcome.nodesSolved = state.solvedSubtasks;
    outcome.resultTask = state.resultTask;
    outcome.discreteFeasible = state.discreteFeasible;
    outcome.openNodesKnown = false;
    PrintReport(out, outcome, databasePath, logPath, format);
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

namespace {

// What one run of the search needs besides the options: the problem, what
// table `searches` keeps of it, and the search it resumes (0 for none).
struct CSearchRequest {
  CProblem problem;
  std::string problemText;
  std::string settingsJson;
  int resumes = 0;
  EExecutor executor = EExecutor::Local;  // where the analyses run
  int jobs = 1;                           // evaluations run at the same time
};

// Where the analyses run and how many at a time, decided anew at every run
// (a resume may run inside an allocation or outside one). Throws CUsageError
// before anything is written when the executor cannot run here.
void ChooseWhereAnalysesRun(const CSolveOptions& options, std::optional<EExecutor> requested,
                            CSearchRequest& request) {
  const CSlurmEnvironment environment = ReadSlurmEnvironment();
  request.executor = ChooseExecutor(requested, request.problem.slurmMode, environment);
  request.jobs = options.jobs > 0
                     ? options.jobs
                     : DefaultJobs(request.executor, request.problem.analyses, environment);
  for (const CAnalysisDefinition& analysis : request.problem.analyses) {
    if (analysis.inProcess && options.functions.count(analysis.name) == 0) {
      throw CUsageError(fmt::format(
          "analysis '{}' is a function of the program that defined the problem (in_process = "
          "true); solve or resume it from there (Python: discrete.solve, discrete.resume)",
          analysis.name));
    }
  }
}

// "slurm-jobs, up to 8 at a time"
std::string DescribeExecutor(EExecutor executor, int jobs) {
  if (jobs >= kNoJobLimit)
    return fmt::format("{}, no limit on how many at a time", ExecutorName(executor));
  return fmt::format("{}, up to {} at a time", ExecutorName(executor), jobs);
}

// Writes the search task, runs the search with Ctrl-C handled, and reports.
// The database is open in `session`.
EExitCode RunSearch(const CSolveOptions& options, CSearchRequest request, CSession& session,
                    const std::string& databasePath, const std::string& logPath, FILE* out,
                    FILE* messages) {
  CProblem& problem = request.problem;
  const int searchTaskId = [&] {
    CLock step(GetPOD(), 0);
    const int id = WriteSearchTask(problem);
    CSearchRow row;
    row.searchTaskId = id;
    // Absolute, so that a resume from another folder finds what its relative paths name.
    row.problemFile = std::filesystem::absolute(problem.file).lexically_normal().string();
    row.problemText = request.problemText;
    row.settings = request.settingsJson;
    WriteSearchStarted(row);
    CreateRecordViews();  // plain-SQL views of the records, for sqlite3 (RecordViews.h)
    if (request.resumes != 0) WriteSearchResumed(request.resumes, id);
    step.UnLock();
    return id;
  }();
  session.log->WriteLine(
      "SEARCH",
      fmt::format(
          "{}: problem {} written as search task {} of {}{}", kProgramSignature, problem.file,
          searchTaskId, databasePath,
          request.resumes != 0 ? fmt::format(", resuming search task {}", request.resumes) : "")
          .c_str());
  if (!options.quiet && request.resumes != 0) {
    fmt::print(messages,
               "resuming search task {} as search task {}: its analyses are answered from the "
               "database\n",
               request.resumes, searchTaskId);
  }
  if (!problem.analyses.empty() && request.executor != EExecutor::Local) {
    const std::string where =
        "analyses run through " + DescribeExecutor(request.executor, request.jobs);
    session.log->WriteLine("SEARCH", where.c_str());
    if (!options.quiet) fmt::print(messages, "{}\n", where);
  }

  CObserverList observers;
  CSearchLog searchLog(*session.log);
  observers.Add(searchLog);
  CConvergenceHistory history;
  observers.Add(history);
  CProgressLine progress(stderr);
  if (!options.quiet && isatty(fileno(stderr))) observers.Add(progress);
  const FSolveTask solveTask = [jobs = request.jobs, executor = request.executor,
                                functions = &options.functions](
                                   int taskId, std::chrono::steady_clock::time_point deadline) {
    CTaskSolveSettings settings;
    settings.deadline = deadline;
    settings.jobs = jobs;
    settings.executor = executor;
    settings.functions = functions;
    return SolveTask(taskId, settings);
  };
  CBranchAndBoundSearch search(LoadedModule(), solveTask, observers, problem.limits,
                               session.log.get());
  search.StopWhen(InterruptRequested);
  CInterruptHandling interruptHandling;
  CSearchOutcome outcome;
  try {
    outcome = search.Run(searchTaskId);
  } catch (const CModuleError& error) {
    ReportCommittedSearch(out, searchTaskId, databasePath, logPath, options.format);
    throw CModuleError(fmt::format("{} (details in {})", error.what(), logPath));
  } catch (const CDatabaseError& error) {
    ReportCommittedSearch(out, searchTaskId, databasePath, logPath, options.format);
    throw CDatabaseError(
        fmt::format("{}; the search stopped, and {} keeps what it committed before", error.what(),
                    databasePath));
  } catch (const CTaskDataError&) {
    ReportCommittedSearch(out, searchTaskId, databasePath, logPath, options.format);
    throw;
  } catch (const CSlurmError&) {
    ReportCommittedSearch(out, searchTaskId, databasePath, logPath, options.format);
    throw;
  }
  {
    CLock step(GetPOD(), 0);
    WriteSearchEnded(searchTaskId, Describe(outcome.end));
    WriteConvergence(searchTaskId, history.Points());
    step.UnLock();
  }
  PrintReport(out, outcome, databasePath, logPath, options.format);
  if (!options.plotPath.empty()) {
    WriteSvgFile(options.plotPath,
                 ConvergencePlotSvg(history.Points(), {problem.name, searchTaskId, history.End()}));
  }
  if (outcome.end != ESearchEnd::Complete && !options.quiet) {
    fmt::print(messages, "to go on with this search: discrete resume {}\n", databasePath);
  }
  return outcome.discreteFeasible ? EExitCode::Success : EExitCode::NoFeasibleDesign;
}

}  // namespace

EExitCode RunSolve(const CSolveOptions& options, FILE* out, FILE* messages) {
  CSearchRequest request;
  // Read once: table `searches` keeps the very text that was solved.
  CProblemText problemText = ReadProblemText(options.problemFile);
  request.problem = ParseProblem(problemText.text, problemText.name);
  request.problemText = std::move(problemText.text);
  request.settingsJson = SettingsJson(options);
  CProblem& problem = request.problem;
  ApplyOverrides(options, problem);
  ChooseWhereAnalysesRun(options, options.executor, request);
  if (!options.quiet) {
    for (const std::string& note : problem.boundNotes) fmt::print(messages, "{}\n", note);
  }
  // The module is loaded before anything is written, so that a missing module touches no file.
  LoadedModule();
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
  CheckOutputFiles(databasePath, logPath, options.plotPath);
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
  return RunSearch(options, std::move(request), session, databasePath, logPath, out, messages);
}

EExitCode RunResume(const CSolveOptions& options, std::optional<int> searchTaskId, FILE* out,
                    FILE* messages) {
  const std::string& databasePath = options.databasePath;
  if (!std::filesystem::is_regular_file(databasePath))
    throw CDatabaseError(databasePath + ": no such database file");
  LoadedModule();
  const std::string logPath = options.logPath.empty() ? LogPathFor(databasePath) : options.logPath;
  CheckOutputFiles(databasePath, logPath, options.plotPath);
  InstallLockWait(options, messages);
  CSession session;
  OpenTaskDatabase(databasePath);
  const CSearchRow resumed = SearchToResume(databasePath, searchTaskId);
  CSearchRequest request;
  request.problem = ParseProblem(resumed.problemText, resumed.problemFile);
  request.problemText = resumed.problemText;
  request.resumes = resumed.searchTaskId;
  CProblem& problem = request.problem;
  // The resume's own --executor holds for it, and for a resume of it.
  CSolveOptions stored = StoredOptions(resumed.settings);
  if (options.executor) stored.executor = options.executor;
  request.settingsJson = SettingsJson(stored);
  ApplyOverrides(stored, problem);
  ChooseWhereAnalysesRun(options, stored.executor, request);
  // The limits that stopped it are not taken up again; those given now hold.
  problem.limits = CSearchLimits();
  if (options.maxNodes) problem.limits.maxNodes = *options.maxNodes;
  if (options.timeLimit) problem.limits.timeLimit = *options.timeLimit;
  SetDefaultWorkFolder(problem, databasePath);
  session.log = std::make_unique<CLogFile>(logPath.c_str(), options.logLevel);
  SetCurrentLog(session.log.get());
  return RunSearch(options, std::move(request), session, databasePath, logPath, out, messages);
}
