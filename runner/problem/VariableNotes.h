#pragma once

// What a problem file says of its variables for the reader only: the keys
// `units` and `description` of each [variables.NAME] (docs/problem-format.md).
// The task database's records have no field for them, so the report takes
// them from the problem text that table `searches` keeps (SearchTable.h).
//
//   std::map<std::string, CVariableNotes> notes = VariableNotesOf(row.problemText);
//
// The text was checked when the search was written; only these two keys are
// read again, so nothing else of the file (its catalogues' CSV files, its
// analysis programs) needs to exist any more.

#include <map>
#include <string>
#include <string_view>

struct CVariableNotes {
  std::string units;        // "" when the file gives none
  std::string description;  // "" when the file gives none
};

// The notes of every variable that has any, by variable name; none when the
// text does not parse as TOML or has no table `variables`.
std::map<std::string, CVariableNotes> VariableNotesOf(std::string_view problemText);
