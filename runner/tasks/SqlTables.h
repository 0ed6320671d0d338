#pragma once

// The runner's own SQL tables beside the record tables of the task database
// (analyses, evaluations, searches): the open database's handle for them,
// and whether one exists yet (each is created with its first row, so that a
// database written without analyses or searches has none).

#include <string>

#include "TaskDatabaseHandle.h"

// The open database's handle; `user` names the caller in errors.
POD& SqlTables(const char* user);

// Whether the open database holds the table.
bool HasSqlTable(const char* table);
