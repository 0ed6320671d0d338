#pragma once

// What `discrete show` prints about a task database.
//
// PrintTaskList: one line per task, in id order: id, kind (search task,
// subtask, task), parent, number of children, best objective, largest scaled
// constraint violation, whether that design is feasible for the tolerance
// ("not solved" for a task that has not been solved, TaskResult.h), and for
// search tasks the discrete result and whether the search finished
// (SearchState.h).
//
// PrintTaskRecords: every record of one task in full (RecordPrinter.h): CTask,
// CResult, the design records, every CIter and every CDPoint.

#include <cstdio>

#include "commands/JsonOutput.h"

void PrintTaskList(FILE* out);
// The same as JSON: one object per task (docs/json-output.md, `discrete-tasks`).
CJson TaskListJson();

// Throw CTaskDataError (TaskProblem.h) when the database has no such task.
void PrintTaskRecords(FILE* out, int taskId);
// The records as JSON objects (RecordJson); `solved` tells whether the task
// has been solved.
CJson TaskRecordsJson(int taskId, bool& solved);
