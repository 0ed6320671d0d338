#include "problem/VariableNotes.h"

#include <toml++/toml.h>

std::map<std::string, CVariableNotes> VariableNotesOf(std::string_view problemText) {
  std::map<std::string, CVariableNotes> notes;
  toml::table document;
  try {
    document = toml::parse(problemText);
  } catch (const toml::parse_error&) {
    return notes;
  }
  const toml::table* variables = document["variables"].as_table();
  if (variables == nullptr) return notes;
  for (const auto& [name, node] : *variables) {
    const toml::table* variable = node.as_table();
    if (variable == nullptr) continue;
    CVariableNotes note;
    note.units = (*variable)["units"].value_or(std::string());
    note.description = (*variable)["description"].value_or(std::string());
    if (!note.units.empty() || !note.description.empty())
      notes.emplace(std::string(name.str()), std::move(note));
  }
  return notes;
}
