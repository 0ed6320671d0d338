#include "commands/EvaluationListing.h"

#include <fmt/format.h>

#include <algorithm>

#include "tasks/EvaluationTable.h"

namespace {

// The rows of the task, or all of them.
std::vector<CEvaluationRow> RowsOf(std::optional<int> taskId) {
  std::vector<CEvaluationRow> rows = ReadEvaluations();
  if (taskId) {
    rows.erase(std::remove_if(rows.begin(), rows.end(),
                              [&](const CEvaluationRow& row) { return row.taskId != *taskId; }),
               rows.end());
  }
  return rows;
}

// The JSON text as JSON; text that does not parse as a string, and "" as null.
CJson Embedded(const std::string& text) {
  if (text.empty()) return nullptr;
  CJson value = CJson::parse(text, nullptr, false);
  return value.is_discarded() ? CJson(text) : value;
}

CJson TextOrNull(const std::string& text) { return text.empty() ? CJson(nullptr) : CJson(text); }

}  // namespace

CJson EvaluationsJson(EEvaluationSelection selection, std::optional<int> taskId) {
  CJson evaluations = CJson::array();
  for (const CEvaluationRow& row : RowsOf(taskId)) {
    if (selection == EEvaluationSelection::Failed && row.status == "succeeded") continue;
    CJson evaluation = CJson::object();
    evaluation["id"] = row.id;
    evaluation["task"] = row.taskId;
    evaluation["analysis"] = row.analysis;
    evaluation["attempt"] = row.attempt;
    evaluation["evaluation_id"] = row.evaluationId;
    evaluation["status"] = row.status;
    evaluation["inputs"] = Embedded(row.inputs);
    evaluation["responses"] = Embedded(row.responses);
    evaluation["reason"] = TextOrNull(row.reason);
    evaluation["seconds"] = JsonNumber(row.seconds);
    evaluation["folder"] = TextOrNull(row.folder);
    evaluations.push_back(std::move(evaluation));
  }
  return evaluations;
}

void PrintEvaluations(FILE* out, EEvaluationSelection selection, std::optional<int> taskId) {
  const std::vector<CEvaluationRow> rows = RowsOf(taskId);
  if (rows.empty()) return;
  size_t failed = 0;
  for (const CEvaluationRow& row : rows) failed += row.status != "succeeded" ? 1 : 0;
  fmt::print(out, "\nEvaluations of analysis programs{}: {} run, {} failed{}\n",
             taskId ? fmt::format(" for task {}", *taskId) : "", rows.size(), failed,
             selection == EEvaluationSelection::Failed && failed > 0 ? "; those that failed:" : "");
  if (selection == EEvaluationSelection::Failed && failed == 0) return;
  fmt::print(out, "{:>6} {:>6}  {:<12} {:>3}  {:<9} {:>9}  {}\n", "row", "task", "analysis", "try",
             "status", "seconds", "input -> responses, or why it failed");
  for (const CEvaluationRow& row : rows) {
    const bool succeeded = row.status == "succeeded";
    if (selection == EEvaluationSelection::Failed && succeeded) continue;
    const std::string outcome =
        succeeded ? fmt::format("{} -> {}", row.inputs, row.responses)
                  : fmt::format("{}: {}{}", row.inputs, row.reason,
                                row.folder.empty() ? "" : fmt::format(" (folder {})", row.folder));
    fmt::print(out, "{:>6} {:>6}  {:<12} {:>3}  {:<9} {:>9.3f}  {}\n", row.id, row.taskId,
               row.analysis, row.attempt, row.status, row.seconds, outcome);
  }
}
