#pragma once

// The searches of a task database and how each ended: table `searches`
// (docs/task-database.md), one row per search task, holding the problem
// file's text and the settings given on the command line, so that a search
// that did not finish can be run again to its end (`discrete resume`)
// without the file at hand. Rows are plain SQL values.
//
// The database must be open; writes run inside the caller's hold of the lock.

#include <string>
#include <vector>

struct CSearchRow {
  int searchTaskId = 0;
  std::string problemFile;  // the absolute path it was read from
  std::string problemText;  // its text, as read
  std::string settings;     // command-line settings as a JSON object
  std::string started;      // local time, ISO 8601
  std::string ended;        // "" while it runs, or when it was killed
  std::string end;          // how it ended (ESearchEnd in words); "" as `ended`
  int resumedBy = 0;        // the search task that took it up again; 0 for none
};

// Creates the table when the database has none yet.
void WriteSearchStarted(const CSearchRow& row);
void WriteSearchEnded(int searchTaskId, const std::string& end);
void WriteSearchResumed(int searchTaskId, int resumedBy);

// Every row, by search task id; none when the database has no such table.
std::vector<CSearchRow> ReadSearches();
