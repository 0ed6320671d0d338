#pragma once

// What `discrete show` prints about the evaluations of analysis programs
// (table `evaluations`, tasks/EvaluationTable.h): one line per try, with its
// row, task, analysis, try number, status, seconds, and its input with the
// responses it returned, or the reason it failed and the folder kept.

#include <cstdio>
#include <optional>

enum class EEvaluationSelection {
  Failed,  // only the tries that failed
  All,     // every try
};

// The count of evaluations run and failed, then the selected ones (of
// `taskId` only, when given). Prints nothing for a database without
// evaluations.
void PrintEvaluations(FILE* out, EEvaluationSelection selection, std::optional<int> taskId);
