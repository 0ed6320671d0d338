#pragma once

// What `discrete show` prints about the evaluations of analysis programs
// (table `evaluations`, tasks/EvaluationTable.h): one line per try, with its
// row, task, analysis, try number, status, seconds, and its input with the
// responses it returned, or the reason it failed and the folder kept.

#include <cstdio>
#include <optional>

#include "commands/JsonOutput.h"

enum class EEvaluationSelection {
  Failed,  // only the tries that failed
  All,     // every try
};

// The count of evaluations run and failed, then the selected ones (of
// `taskId` only, when given). Prints nothing for a database without
// evaluations.
void PrintEvaluations(FILE* out, EEvaluationSelection selection, std::optional<int> taskId);

// The selected evaluations as JSON objects: id, task, analysis, attempt,
// evaluation_id, status, inputs and responses (objects, name -> number;
// responses null when it failed), reason and folder (null when none),
// seconds.
CJson EvaluationsJson(EEvaluationSelection selection, std::optional<int> taskId);
