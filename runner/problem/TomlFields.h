#pragma once

// Typed access to the fields of one TOML table that collects mistakes instead
// of stopping at the first. Each accessor marks its key as known;
// ReportUnknownKeys() then names every key nobody asked for (usually a typo).
//
//   CTableReader variable(table, "variables.x3", issues);
//   auto lower = variable.Number("lower", ERequired::Yes);
//   ...
//   variable.ReportUnknownKeys();
//
// Field paths in messages are the table's path plus the key
// ("variables.x3.lower"); lines are those of the value, or of the table when
// a required key is missing.

#include <toml++/toml.h>

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "problem/ProblemIssue.h"

enum class ERequired { No, Yes };

class CTableReader {
 public:
  // `table` and `issues` must outlive the reader.
  CTableReader(const toml::table& table, std::string path, std::vector<CProblemIssue>& issues);

  // A text. Nothing (and an issue) when missing but required, or not a text.
  std::optional<std::string> Text(const std::string& key, ERequired required);
  // A finite number, integer or floating point.
  std::optional<double> Number(const std::string& key, ERequired required);
  // A whole number (TOML integer).
  std::optional<long long> Integer(const std::string& key, ERequired required);
  // true or false.
  std::optional<bool> Boolean(const std::string& key, ERequired required);
  // A list of texts (an empty list included).
  std::optional<std::vector<std::string>> TextList(const std::string& key, ERequired required);
  // A sub-table.
  const toml::table* Table(const std::string& key, ERequired required);
  // The value of any type, or null when the key is absent.
  const toml::node* Node(const std::string& key);

  // Line of the key's value; the table's own line when the key is absent (0
  // for the top of the document).
  int LineOf(const std::string& key) const;
  // Path of the key: the table's path, a dot, the key.
  std::string PathOf(const std::string& key) const;
  // Records an issue about the key.
  void Report(const std::string& key, const std::string& message);
  // Records an issue for every key that no accessor has asked for.
  void ReportUnknownKeys();

 private:
  const toml::node* Find(const std::string& key, ERequired required, const char* typeName);

  const toml::table& m_table;            // the table read; not owned
  std::string m_path;                    // dotted path of the table; empty at the top
  std::vector<CProblemIssue>& m_issues;  // where mistakes go; not owned
  std::set<std::string> m_knownKeys;     // keys asked for so far
};

// The entries of a table in the order they appear in the file (toml++ keeps
// tables sorted by key; declaration order numbers the design variables).
std::vector<std::pair<std::string, const toml::node*>> InFileOrder(const toml::table& table);
// The line of a TOML node (0 when toml++ does not know it).
int LineOf(const toml::node& node);
// A TOML value written back for a message ("60", "\"abc\"", "[1, 2]"), long
// ones cut short (MessageText.h).
std::string Describe(const toml::node& node);
// A number written for a message in the shortest form that reads back exactly.
std::string FormatNumber(double value);
