#pragma once

// Exit status of the `discrete` program (docs/cli.md). The numbers are part
// of the program's interface and never change.
enum class EExitCode {
  Success = 0,           // done; for `solve`, a feasible discrete design was found
  NoFeasibleDesign = 1,  // `solve` ended without a feasible discrete design
  UsageError = 2,        // the command line is wrong
  ProblemFileError = 3,  // the problem file cannot be read or has mistakes
  DatabaseError = 4,     // the task database cannot be opened, or a task in it is damaged
  ModuleError = 5,       // the module cannot be loaded, or failed during the search
  OtherError = 6,        // anything else (a failure of the program itself)
  SlurmError = 7,        // Slurm refused the analyses' jobs or did not answer
};
