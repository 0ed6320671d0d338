#pragma once

// Reading a problem file (TOML, docs/problem-format.md) into a CProblem.
//
//   CProblem problem = ReadProblemFile("examples/gear_train.toml");
//
// Every mistake in the file is collected, not only the first, and reported
// with the file, the line, the field and what is wrong:
//
//   gear.toml:12: variables.x3.lower: 70 is above upper bound 60
//
// Reading touches nothing but the file: a problem that has mistakes never
// reaches a task database.

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "problem/Problem.h"
#include "problem/ProblemIssue.h"

// A problem file with mistakes. what() is every mistake, one per line, in the
// form "file:line: field: message".
class CProblemFileError : public std::runtime_error {
 public:
  CProblemFileError(const std::string& file, std::vector<CProblemIssue> issues);
  const std::vector<CProblemIssue>& Issues() const { return m_issues; }  // at least one

 private:
  std::vector<CProblemIssue> m_issues;  // in order of lines
};

// The text of a problem file, read once, and the name messages give it.
struct CProblemText {
  std::string text;
  std::string name;  // the path as given, or kStandardInputName
};

// The path that names standard input, and the name its messages give it.
inline constexpr const char* kStandardInputPath = "-";
inline constexpr const char* kStandardInputName = "<stdin>";

// Reads the file at `path` (kStandardInputPath: standard input) with the
// checks of RegularFile.h and the size limit of problem files. Throws
// CProblemFileError when it cannot be read.
CProblemText ReadProblemText(const std::string& path);

// Reads and checks the file (ReadProblemText, then ParseProblem). Throws
// CProblemFileError when it cannot be read or has mistakes.
CProblem ReadProblemFile(const std::string& path);

// Reads and checks a problem given as text; `fileName` names it in messages
// and becomes CProblem::file.
CProblem ParseProblem(std::string_view text, const std::string& fileName);
