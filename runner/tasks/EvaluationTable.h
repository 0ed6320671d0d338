#pragma once

// The store of evaluations (analyses/EvaluationStore.h) in the task database:
// table `evaluations` (docs/task-database.md), one row per try of an
// analysis program, so that a design evaluated once, by this search, an
// earlier one or one that was interrupted, is answered from the table and
// never run again. Rows are plain SQL values, readable with sqlite3:
//
//   SELECT analysis, inputs, status, responses, seconds FROM evaluations;
//
// The database must be open. Save commits at once (each batch of
// evaluations survives a kill that follows it); Find reads without the lock.

#include "analyses/EvaluationStore.h"

class CEvaluationTable : public CEvaluationStore {
 public:
  // Evaluations saved are recorded as asked for by the solve of `taskId`.
  explicit CEvaluationTable(int taskId) : m_taskId(taskId) {}

  // A succeeded evaluation of the analysis at the inputs if there is one,
  // else one that failed in all its tries; the latest of either.
  bool Find(const CAnalysisDefinition& analysis, const std::string& inputs,
            std::vector<double>& responses) override;
  void Save(const std::vector<CItem>& items) override;

 private:
  int m_taskId;
};

// One row of the table, for reports.
struct CEvaluationRow {
  long id = 0;  // the row's number, in the order stored
  int taskId = 0;
  std::string analysis;
  std::string inputs;  // input.json's text
  int attempt = 1;     // the try's number within its evaluation
  std::string evaluationId;
  std::string status;     // "succeeded", "retried", "failed" or "lost"
  std::string responses;  // a JSON object, when it succeeded
  std::string reason;     // when it did not
  double seconds = 0.0;
  std::string folder;  // kept folder, or ""
};

// Every row, in the order stored; none when the database has no evaluations.
std::vector<CEvaluationRow> ReadEvaluations();
