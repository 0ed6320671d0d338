#pragma once

// Exit status of the `discrete` program. The numbers are part of the
// program's interface and never change; kExitCodeMeanings says what each
// means, in the words every `--help` and the man page print (docs/cli.md
// gives them at length).
enum class EExitCode {
  Success = 0,
  NoFeasibleDesign = 1,
  UsageError = 2,
  ProblemFileError = 3,
  DatabaseError = 4,
  ModuleError = 5,
  OtherError = 6,
  SlurmError = 7,
};

struct CExitCodeMeaning {
  EExitCode code;
  const char* meaning;  // one line
};

// Every EExitCode, in order.
inline constexpr CExitCodeMeaning kExitCodeMeanings[] = {
    {EExitCode::Success, "done; for solve and resume: a feasible discrete design was found"},
    {EExitCode::NoFeasibleDesign, "solve or resume ended without a feasible discrete design"},
    {EExitCode::UsageError, "the command line is wrong, or asks for what cannot be done here"},
    {EExitCode::ProblemFileError, "the problem file cannot be read or has mistakes"},
    {EExitCode::DatabaseError,
     "the task database cannot be opened or written, or a task in it is damaged"},
    {EExitCode::ModuleError, "the module cannot be loaded, or it failed during the search"},
    {EExitCode::OtherError, "any other failure (also: resume found nothing to resume)"},
    {EExitCode::SlurmError, "Slurm refused the analyses' jobs or did not answer"},
};

// Besides the codes above: 128 + N when signal N stopped the program at once
// (commands/Interruption.h).
inline constexpr const char* kSignalExitCodes = "130, 143";
inline constexpr const char* kSignalExitMeaning =
    "stopped at once by a second Ctrl-C, or by SIGTERM (128 + the signal)";
