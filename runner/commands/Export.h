#pragma once

// `discrete export`: the tables of a task database as CSV or JSON
// (docs/cli.md, docs/json-output.md):
//
//   tasks, results, designs   the record views (tasks/RecordViews.h), made
//                             as TEMP views of the read-only connection, so
//                             that any database exports, with or without
//                             stored views
//   evaluations               table `evaluations` (none without it)
//
// CSV (RFC 4180): a header line with the column names, then one line per
// row; fields with a comma, a double quote or a line break are quoted, with
// double quotes doubled; lines end in CRLF. Integers in decimal, reals in
// the shortest form that reads back to the same double, infinities as
// `inf` and `-inf`, NULL (and NaN, which SQL holds as NULL) as an empty field.
// One table goes to standard output or a file; every table goes into a
// folder, one file NAME.csv each, none of which may exist yet.
//
// JSON: one document `discrete-export` with one array of row objects per
// table (non-finite numbers as null).

#include <cstdio>
#include <optional>
#include <string>

#include "commands/ExitCodes.h"

enum class EExportFormat { Csv, Json };

struct CExportOptions {
  std::string databasePath;
  EExportFormat format = EExportFormat::Json;
  std::optional<std::string> table;  // only this table (tasks, results, designs, evaluations)
  std::string output;                // file (JSON, or CSV of one table) or folder (CSV); "" stdout
  bool storeViews = false;           // also store the views in the database (opened to write)
};

// The names of the tables that export writes, in order.
const char* const* ExportTables();

// Throws CUsageError for CSV of every table without an output folder, and
// for output files that exist already.
EExitCode RunExport(const CExportOptions& options, FILE* out);
