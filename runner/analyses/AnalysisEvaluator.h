#pragma once

// The analyses of a problem evaluated for designs: before the expressions of
// a design are evaluated, each analysis runs once (serially, in the order of
// the problem file), and its responses become inputs of the expressions.
//
//   CAnalysisEvaluator evaluator(task.analyses, task.variableNames, LogLine);
//   std::vector<double> inputs(evaluator.InputCount());
//   evaluator.Evaluate(design, inputs.data());   // NaN for a failed analysis
//
// A failed evaluation (AnalysisProcess.h) is tried again as the analysis'
// `retries` says, each try a fresh evaluation in a fresh folder; when every
// try failed, the analysis' responses are NaN, which the optimiser takes as a
// design it cannot use. Each failed try is reported in one line naming the
// analysis, the evaluation, the reason and the kept folder.
//
// Working folders: <workFolder>/<analysis>/<evaluation id>/, the id being a
// number that is taken by creating its folder (so that no two evaluations, of
// this process or another, share one). A folder is removed after the
// evaluation unless `keep` says otherwise ("failed": only failed ones stay).
//
// Designs already evaluated by this evaluator are answered from memory: the
// solver asks again for the responses of designs it records.

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "analyses/AnalysisDefinition.h"

// Evaluations of analysis programs in this process, for the report.
struct CAnalysisCounts {
  long evaluations = 0;  // evaluations run, tries included
  long failed = 0;       // of them, those that failed
};
CAnalysisCounts& AnalysisCounts();

class CAnalysisEvaluator {
 public:
  using CReport = std::function<void(const std::string& line)>;

  // Throws std::invalid_argument unless every name in an analysis' `reads`
  // is one of `variableNames` and every analysis has a work folder.
  CAnalysisEvaluator(std::vector<CAnalysisDefinition> analyses,
                     const std::vector<std::string>& variableNames, CReport report);

  // The responses of all analyses, in order: the first analysis' writes, then
  // the second's, ...
  const std::vector<std::string>& InputNames() const { return m_inputNames; }
  int InputCount() const { return static_cast<int>(m_inputNames.size()); }

  // `design` holds one value per variable; `inputs` receives InputCount().
  void Evaluate(const double* design, double* inputs);

 private:
  // The analysis' responses for the design, with its retries; NaN when all failed.
  void EvaluateOne(size_t index, const double* design, double* values);

  std::vector<CAnalysisDefinition> m_analyses;
  std::vector<std::vector<size_t>> m_readIndices;  // per analysis: the variables it reads
  std::vector<std::string> m_inputNames;
  size_t m_variableCount;
  CReport m_report;
  std::map<std::vector<double>, std::vector<double>> m_evaluated;  // design -> inputs
};
