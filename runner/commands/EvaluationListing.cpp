#include "commands/EvaluationListing.h"

#include <fmt/format.h>

#include <algorithm>

#include "tasks/EvaluationTable.h"

void PrintEvaluations(FILE* out, EEvaluationSelection selection, std::optional<int> taskId) {
  std::vector<CEvaluationRow> rows = ReadEvaluations();
  if (taskId) {
    rows.erase(std::remove_if(rows.begin(), rows.end(),
                              [&](const CEvaluationRow& row) { return row.taskId != *taskId; }),
               rows.end());
  }
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
