#pragma once

// Running the `discrete` program as a user runs it, from a test: in a given
// folder, with its standard output and standard error captured.

#include <string>

struct CProgramRun {
  int exitCode = -1;   // the program's exit status; -1 when it did not exit normally
  std::string output;  // what it wrote to stdout
  std::string errors;  // what it wrote to stderr
};

// Runs `ENVIRONMENT discrete ARGUMENTS` in `folder` (as a shell would split
// them; `environment` is a prefix such as "NAME=value" or "env -u NAME").
// The captured output is left in no file.
CProgramRun RunProgram(const std::string& folder, const std::string& arguments,
                       const std::string& environment = "");
