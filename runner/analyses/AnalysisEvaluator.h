#pragma once

// The analyses of a problem evaluated for designs: before the expressions of
// a design are evaluated, each analysis runs once, and its responses become
// inputs of the expressions.
//
//   CAnalysisEvaluator evaluator(task.analyses, task.variableNames, settings);
//   evaluator.Prepare(designs);                  // optional: all at once
//   std::vector<double> inputs(evaluator.InputCount());
//   evaluator.Evaluate(design, inputs.data());   // NaN for a failed analysis
//
// Each analysis is asked once per design it has not answered yet: first the
// store (EvaluationStore.h), then the program. A failed evaluation
// (AnalysisProcess.h) is tried again as the analysis' `retries` says, each try
// in a fresh folder; when every try failed, the analysis' responses are NaN,
// which the optimiser takes as a design it cannot use. Each failed try is
// reported in one line naming the analysis, the evaluation, the reason and the
// kept folder. Every try goes to the store. A design with a value that is
// not a finite number (an optimiser gone astray) is never sent to a program:
// its responses are NaN.
//
// Concurrency: Prepare runs the evaluations of designs that do not depend on
// each other (a finite-difference Jacobian, several start points) up to
// `jobs` at a time, through the executor of the settings (Executor.h: on this
// machine, or through Slurm); Evaluate then answers them from memory. Retries
// follow in rounds: the tries that failed in one round run again together in
// the next. Everything but the programs themselves happens on the calling
// thread: each evaluation is
// stored (and committed) as soon as it ends, so that a search killed
// meanwhile loses none that finished; reports and counts follow in the order
// of the designs, so that the log does not depend on which program finished
// first.
//
// Working folders: <workFolder>/<analysis>/<evaluation id>/, the id being a
// number that is taken by creating its folder (so that no two evaluations, of
// this process or another, share one). A folder is removed after the
// evaluation unless `keep` says otherwise ("failed": only failed ones stay).

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "analyses/AnalysisCounts.h"
#include "analyses/AnalysisDefinition.h"
#include "analyses/EvaluationStore.h"
#include "analyses/Executor.h"
#include "analyses/InProcessExecutor.h"

struct CEvaluatorSettings {
  int jobs = 1;                           // evaluations run at the same time by Prepare
  EExecutor executor = EExecutor::Local;  // where the programs run (SlurmSettings.h)
  // Receives the line of each failed try; may be empty.
  std::function<void(const std::string& line)> report;
  CEvaluationStore* store = nullptr;  // not owned; may be null: nothing stored
  // Further names that analyses may read besides the variables (the
  // quantities of catalogue variables), and how their values follow from a
  // design: (design, values), one value per name. May both be empty.
  std::vector<std::string> quantityNames;
  std::function<void(const double* design, double* values)> quantitiesOf;
  // The functions of the analyses that are functions (InProcessExecutor.h);
  // not owned; may be null when there are none.
  const CInProcessAnalyses* functions = nullptr;
};

class CAnalysisEvaluator {
 public:
  // Throws std::invalid_argument unless every name in an analysis' `reads`
  // is one of `variableNames` or of the settings' quantityNames, and every
  // analysis has a work folder and every analysis that is a function has one
  // in the settings; CSlurmError when the executor needs Slurm's
  // commands and they are not there.
  CAnalysisEvaluator(std::vector<CAnalysisDefinition> analyses,
                     const std::vector<std::string>& variableNames, CEvaluatorSettings settings);

  // The responses of all analyses, in order: the first analysis' writes, then
  // the second's, ...
  const std::vector<std::string>& InputNames() const { return m_inputNames; }
  int InputCount() const { return static_cast<int>(m_inputNames.size()); }

  // Evaluates, up to `jobs` at a time, what the designs (one value per
  // variable each) need and nothing answers yet.
  void Prepare(const std::vector<std::vector<double>>& designs);

  // `design` holds one value per variable; `inputs` receives InputCount().
  void Evaluate(const double* design, double* inputs);

 private:
  // An evaluation still to be run: which analysis, for which input.
  struct CPending {
    size_t analysis = 0;
    CEvaluation evaluation;  // its input first, its tries once it ran
  };

  // What analyses may read of a design: its variables, then the quantities.
  std::vector<double> ReadableOf(const double* design) const;
  // Whether every value the analysis reads is a finite number.
  bool ReadsFiniteValues(size_t analysis, const std::vector<double>& readable) const;
  // input.json's text of the analysis for a design's readable values.
  std::string InputsOf(size_t analysis, const std::vector<double>& readable) const;
  // Answers every (analysis, design) pair that has no answer yet, from the
  // store or by running the programs `jobs` at a time.
  void Answer(const std::vector<const double*>& designs, int jobs);
  // Runs the tries of the evaluations through the executor, in rounds: the
  // first try of each, then another of each that failed and may be retried.
  void RunPending(std::vector<CPending>& pending, int jobs);
  // Makes the folder of the evaluation's next try and writes its input.json
  // into it; sets `failure.reason` when either fails (the request's id is
  // then empty if no folder was made).
  CTryRequest StartTry(const CPending& item, CEvaluationOutcome& failure) const;
  // Records how a try of the evaluation ended, keeping or removing its
  // folder, and stores the evaluation once it has no try left to run;
  // whether it is to be tried again.
  bool EndTry(CPending& item, const CTryRequest& request, CEvaluationOutcome outcome);
  // Hands an evaluation to the store, as soon as it has ended.
  void Store(const CPending& item);
  // Counts and reports an evaluation, and remembers its answer.
  void Record(const CPending& item);

  std::vector<CAnalysisDefinition> m_analyses;
  size_t m_variableCount;
  // per analysis: what it reads, as indices into ReadableOf's values
  std::vector<std::vector<size_t>> m_readIndices;
  std::vector<std::string> m_inputNames;
  CEvaluatorSettings m_settings;
  std::unique_ptr<CAnalysisExecutor> m_executor;
  // (analysis, input.json text) -> its responses (NaN when it failed)
  std::map<std::pair<size_t, std::string>, std::vector<double>> m_answers;
};
