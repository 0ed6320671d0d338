#pragma once

// SQL views that show the task database's records as plain columns, for
// `sqlite3` and any SQL client (no extension, no function of ours):
//
//   tasks    task, kind ('search', 'subtask', 'task'), parent (NULL for
//            none), children, name, optimizer, status (how its last run
//            ended), created (seconds since the epoch): one row per CTask
//   results  task, objective, max_constraint, converged (1/0), status_code,
//            status, result_task (NULL for none), discrete_feasible (1/0),
//            optimizer, analyses, iterations, seconds: one row per task
//            that has been solved (TaskResult.h IsSolved)
//   designs  task, variable (from 0), name, value, lower, upper, kind
//            ('continuous', 'integer', 'set'): one row per design variable
//            of a solved task, its value in the task's best design (the
//            point that CResult names through CIter, as ReadBestDesign)
//
// The columns are decoded from the records' BLOBs in SQL (RecordSql.h):
// numbers are the stored doubles bit for bit; infinities are SQLite's
// infinite reals, NaN is NULL. A query decodes every record of the tables
// it reads (the views cannot use the key index through the decoding).

#include <string>
#include <utility>
#include <vector>

// Each view's name and SELECT.
std::vector<std::pair<std::string, std::string>> RecordViews();

// Creates the views in the open database (replacing those of an older
// program), in one hold of the lock: a handful of schema writes, none per
// task.
void CreateRecordViews();

// Creates them as TEMP views of this connection only: works on a database
// opened read-only and shadows views stored in the file.
void CreateTemporaryRecordViews();
