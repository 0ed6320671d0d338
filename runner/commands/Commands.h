#pragma once

// The commands of the `discrete` program (main.cpp reads the command line and
// maps exceptions to exit codes, ExitCodes.h):
//
//   solve    write a problem file into a task database and run the search
//   show     list a database's tasks, or one task's records in full
//   tree     a search tree read back from a database, as text, Graphviz, JSON or SVG
//   export   a database's tasks, results, designs and evaluations as CSV or JSON (Export.h)
//   plot     a search's convergence plot (SVG) from a database
//   version  the program's and the module's versions
//
// Each prints to the given stream and returns its exit code; failures are
// exceptions (CProblemFileError, CDatabaseError, CTaskDataError,
// CModuleLoadError, CModuleError, CSlurmError, CUsageError).

#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>

#include "analyses/InProcessExecutor.h"
#include "analyses/SlurmSettings.h"
#include "commands/ExitCodes.h"
#include "commands/Report.h"
#include "commands/SearchTreeView.h"
#include "commands/TreePicture.h"

// The command line asks for what cannot be done where the program runs (the
// message says why and what to do instead); exit status 2, as for a command
// line that does not parse.
class CUsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct CSolveOptions {
  std::string problemFile;               // the problem (TOML)
  std::string databasePath;              // empty: "<name>.db", or the first free "<name>-<n>.db"
  std::string logPath;                   // empty: the database path with ".log" for ".db"
  int logLevel = 1;                      // detail of the log; above 2 the module writes debug lines
  std::optional<std::string> optimizer;  // overrides the file's algorithm; one of Algorithms()
  std::optional<int> maxNodes;           // overrides the file's node limit; 0 for none
  std::optional<double> timeLimit;       // overrides the file's time limit (seconds); 0 for none
  std::optional<int> retries;            // override the file's optimizer.retries,
  std::optional<int> rootStarts;         // ... optimizer.root_starts
  std::optional<int> suspiciousStarts;   // ... and optimizer.suspicious_starts
  int jobs = 0;  // analysis evaluations run at the same time; 0: the executor's default
  std::optional<EExecutor> executor;  // overrides the file's [slurm] mode (ExecutorChoice.h)
  bool quiet = false;                 // no progress line and no notes; the report only
  double lockTimeout = 30.0;          // seconds to wait for another process's lock on the database
  // The functions of the problem's analyses with in_process = true, given by
  // the program that embeds the commands (the Python package); a problem
  // with such an analysis and no function for it is refused (CUsageError).
  CInProcessAnalyses functions;
  EReportFormat format = EReportFormat::Text;  // of the report on stdout
  std::string plotPath;  // "": none; else the convergence plot is written there (SVG)
};

EExitCode RunSolve(const CSolveOptions& options, FILE* out, FILE* messages);
// Runs again, as a new search task of the same database, a search that did
// not finish (`searchTaskId`, or the last such one): its problem and settings
// come from table `searches`, its limits from `options` (maxNodes,
// timeLimit), and every analysis already run is answered from the database.
EExitCode RunResume(const CSolveOptions& options, std::optional<int> searchTaskId, FILE* out,
                    FILE* messages);
// The task list and the failed evaluations of analysis programs (all of them
// with `allEvaluations`), or one task's records and evaluations; as text, or
// as one JSON document (`json`: discrete-tasks, discrete-task).
EExitCode RunShow(const std::string& databasePath, std::optional<int> taskId, bool allEvaluations,
                  bool json, FILE* out);
// An SVG picture shows one search: `taskId`, or the last search task; its
// options given with another format are a CUsageError.
EExitCode RunTree(const std::string& databasePath, std::optional<int> taskId, ETreeFormat format,
                  FILE* out, const CTreePictureOptions& picture = {});
// The convergence plot of search `taskId` (or of the last search task that
// has a convergence history) to the file, or to `out` for "" or "-".
EExitCode RunPlot(const std::string& databasePath, std::optional<int> taskId,
                  const std::string& outputPath, FILE* out);
EExitCode RunVersion(FILE* out);

// Opens an existing task database read-only (ETaskDatabaseAccess::ReadOnly):
// it never creates one and never writes. Throws CDatabaseError when the file
// does not exist.
void OpenExistingDatabase(const std::string& path);

// The database file `solve` writes to when none is given: "<name>.db" in the
// current folder, or "<name>-2.db", "<name>-3.db", ... when it exists.
std::string FreeDatabaseName(const std::string& problemName);
