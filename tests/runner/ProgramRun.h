#pragma once

// Running the `discrete` program as a user runs it, from a test: in a given
// folder, with its standard output captured.

#include <string>

struct CProgramRun {
  int exitCode = -1;   // the program's exit status; -1 when it did not exit normally
  std::string output;  // what it wrote to stdout
};

// Runs `discrete ARGUMENTS` in `folder` (the arguments as a shell would split
// them); stderr is discarded.
CProgramRun RunProgram(const std::string& folder, const std::string& arguments);
