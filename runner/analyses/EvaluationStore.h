#pragma once

// Where evaluations of analysis programs are kept, so that no design is
// evaluated twice by the same analysis: the evaluator (AnalysisEvaluator.h)
// asks the store before it runs a program and hands it every try it made.
// The task database holds one (tasks/EvaluationTable.h).
//
// An analysis is identified by its signature (AnalysisSignature: name,
// command, reads, writes), a design by the exact text of its input.json,
// which holds every value it reads in the shortest form that reads back to
// the same double.

#include <string>
#include <vector>

#include "analyses/AnalysisDefinition.h"

// What one try of an evaluation came to.
enum class ETryStatus {
  Succeeded,  // the responses are there
  Retried,    // it failed and another try followed
  Failed,     // it failed and was the last try: the design has no responses
  // The last try, ended by the cluster and not by the program (cancelled,
  // timed out by Slurm, pre-empted, its node lost): the design has no
  // responses in this search, and is never served to another: it is tried
  // again there.
  Lost,
};

// "succeeded", "retried", "failed", "lost"
const char* TryStatusName(ETryStatus status);

// One try of an evaluation: one run of the program in a folder of its own.
struct CEvaluationTry {
  std::string id;      // the evaluation id (its folder's name); empty when none could be made
  std::string folder;  // the folder when it was kept, else empty
  ETryStatus status = ETryStatus::Failed;
  std::vector<double> responses;  // one per response written, when it succeeded
  std::string reason;             // one line, when it failed
  double seconds = 0.0;           // wall time of the try
};

// The evaluation of one design by one analysis: its input and its tries, the
// last of which succeeded or failed.
struct CEvaluation {
  std::string inputs;  // input.json's text
  std::vector<CEvaluationTry> tries;
};

class CEvaluationStore {
 public:
  virtual ~CEvaluationStore() = default;
  // The stored answer of `analysis` for `inputs`: true, with `responses` set
  // (NaN for each when the stored evaluation failed), when there is one.
  virtual bool Find(const CAnalysisDefinition& analysis, const std::string& inputs,
                    std::vector<double>& responses) = 0;
  // An evaluation and the analysis that made it.
  struct CItem {
    const CAnalysisDefinition* analysis;
    const CEvaluation* evaluation;
  };
  // Stores evaluations, all in one commit (each row at once is durable).
  virtual void Save(const std::vector<CItem>& items) = 0;
};
