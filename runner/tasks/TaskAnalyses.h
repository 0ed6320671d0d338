#pragma once

// The analysis programs of a search task in the task database: table
// `analyses` (docs/task-database.md), one row per analysis, keyed by the
// search task's id and the analysis' position in the problem file, its
// definition as JSON (AnalysisDefinition.h). The module copies a subtask's
// records from its parent but knows nothing of analyses, so a subtask finds
// them by following CTask m_nParentTaskID up to its search task.
//
// Both functions need the open database; WriteAnalyses runs inside the
// caller's hold of the lock.

#include <vector>

#include "analyses/AnalysisDefinition.h"

// Stores the analyses of a search task (creating the table when the database
// has none yet). Nothing is written for a problem without analyses.
void WriteAnalyses(int searchTaskId, const std::vector<CAnalysisDefinition>& analyses);

// The search task a task descends from (itself for a search task). Throws
// std::invalid_argument for parents that form a cycle.
int SearchTaskOf(int taskId);

// The analyses of the task's search task, in order; none when it has none.
// Throws std::invalid_argument for a definition that cannot be read or
// parents that form a cycle.
std::vector<CAnalysisDefinition> ReadTaskAnalyses(int taskId);
