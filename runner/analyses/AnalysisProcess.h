#pragma once

// One evaluation of an external analysis program: the exchange of
// docs/problem-format.md ("Analyses") in a working folder that the caller has
// made and that is empty.
//
//   input.json    written here: {"b": 0.3, "h": 0.5}, the variables it reads
//   the program   run in the folder through posix_spawn (no shell), in a
//                 process group of its own, with DISCRETE_EVALUATION_ID,
//                 DISCRETE_WORK_FOLDER, DISCRETE_INPUT and DISCRETE_OUTPUT
//                 set, stdout and stderr going to stdout.txt and stderr.txt
//   output.json   written by the program: {"stress": 1.2e8, ...}, exactly
//                 the responses it writes, finite numbers
//
// Every way an evaluation can fail is an outcome with a one-line reason, not
// an exception: the program cannot be started, exits with a status other
// than 0, dies by a signal, runs out of time (its process group gets SIGTERM,
// then SIGKILL after kTerminationGrace), leaves no output.json, one larger
// than kLargestOutput, one that is not valid JSON or not an object, or one
// whose responses are missing, extra, not numbers or not finite.

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "analyses/AnalysisDefinition.h"

constexpr std::chrono::milliseconds kTerminationGrace{2000};
constexpr size_t kLargestOutput = size_t{16} << 20;

struct CEvaluationOutcome {
  bool succeeded = false;
  std::vector<double> values;  // one per response written, when it succeeded
  std::string reason;          // one line, when it failed
  double seconds = 0.0;        // from the start (or submission) to the end
  // It failed because the cluster ended it, not the program (ETryStatus::Lost).
  bool lost = false;
};

// Kills the process group of every analysis program running now (SIGKILL),
// those being started included. Async-signal-safe: for a handler of SIGINT,
// SIGTERM or SIGHUP that ends the process at once, so that no program goes on
// running without anyone to read its answer. (Threads block those signals
// while they start a program, so the handler never runs on one of them.)
void KillRunningAnalyses();

// input.json's text for the values an analysis reads: a JSON object whose
// numbers read back to exactly the same doubles.
std::string InputJson(const std::vector<std::pair<std::string, double>>& inputs);

// Writes input.json (InputJson's text) into an evaluation's folder; returns
// why it could not, or "".
std::string WriteInputFile(const std::string& folder, const std::string& inputJson);

// Runs `command` (the analysis' own, or one that runs it elsewhere, such as
// `srun ... program`) in the evaluation's folder, which holds input.json,
// within the analysis' time limit, and reads its output.json. Safe to call
// from several threads at once, for different folders.
CEvaluationOutcome RunAnalysisProgram(const CAnalysisDefinition& analysis,
                                      const std::vector<std::string>& command,
                                      const std::string& evaluationId, const std::string& folder);

// The responses in the folder's output.json, or why they are not usable.
CEvaluationOutcome ReadOutput(const CAnalysisDefinition& analysis, const std::string& folder);

// Reasons: a program that exited with a status (`killed` false; "" for 0)
// or was killed by a signal; one stopped at the analysis' time limit.
std::string EndReason(bool killed, int number);
std::string TimeLimitReason(const CAnalysisDefinition& analysis);

// The environment variables an analysis program receives besides the
// runner's own ("DISCRETE_EVALUATION_ID=7", ...).
std::vector<std::string> EvaluationEnvironment(const std::string& evaluationId,
                                               const std::string& folder);
