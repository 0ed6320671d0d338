#pragma once

// A mistake in a problem file, as the readers of its parts (TomlFields.h,
// ProblemSections.h, ProblemCheck.h, ProblemBounds.h) collect them and
// ReadProblemFile() (ProblemFile.h) reports them.

#include <string>

// One mistake in a problem file.
struct CProblemIssue {
  int line = 0;  // line of the file, from 1; 0 when the file as a whole is meant
  // Dotted path of the field (e.g. "variables.x3.lower"); empty for a syntax error
  std::string field;
  std::string message;  // what is wrong, naming the bad value and the rule it breaks
};
