#pragma once

// An external analysis program as a problem file defines it
// (docs/problem-format.md, [analyses.NAME]): the command that runs it, the
// design variables it reads, the responses it writes, and how its failures
// are handled. Stored with the search task as JSON (docs/task-database.md,
// table `analyses`).

#include <string>
#include <vector>

#include "analyses/SlurmSettings.h"

// Which working folders of evaluations stay on disk.
enum class EKeepFolders { Failed, All, None };

struct CAnalysisDefinition {
  std::string name;                  // unique among analyses; names its folder
  std::vector<std::string> command;  // program (an absolute path once read) and its arguments
  // Computed by a function of the program that embeds the runner (the Python
  // package, InProcessExecutor.h) instead of a command, which is then empty.
  bool inProcess = false;
  std::vector<std::string> reads;   // variables it receives, in the problem's order
  std::vector<std::string> writes;  // responses it returns; at least one
  double timeLimit = 0.0;           // seconds per evaluation; 0 for none
  int retries = 0;                  // further tries after a failed evaluation
  EKeepFolders keep = EKeepFolders::Failed;
  std::string workFolder;  // absolute; evaluations go to <workFolder>/<name>/<id>/
  int line = 0;            // line of the problem file that declares it
  CSlurmSettings slurm;    // what Slurm gives one evaluation, when an executor uses Slurm
};

// The definition as a JSON text, and back. FromJson throws
// std::invalid_argument naming what is wrong.
std::string AnalysisToJson(const CAnalysisDefinition& analysis);
CAnalysisDefinition AnalysisFromJson(const std::string& name, const std::string& json);

// What identifies the analysis in the store of evaluations (EvaluationStore.h):
// its name, command, reads and writes as a JSON text. Time limit, retries and
// folders do not change what a program answers, so they are left out.
std::string AnalysisSignature(const CAnalysisDefinition& analysis);

// "failed", "all", "none"
const char* KeepName(EKeepFolders keep);

// The program of a command as it will be run: a name without '/' is looked up
// on PATH, any other path is taken relative to `baseFolder`. Returns the
// absolute path, or sets `why` (and returns "") when no executable file is
// there.
std::string ResolveProgram(const std::string& program, const std::string& baseFolder,
                           std::string& why);
