#pragma once

// Slurm's client commands (sbatch, squeue, scancel, srun) as the executors
// run them: found on PATH once, run without a shell, their output captured.

#include <stdexcept>
#include <string>
#include <vector>

// Slurm refused what the runner asked (a submission it rejects) or did not
// answer for as long as the analysis' `patience` allows. The message names
// the command and quotes Slurm's own error.
class CSlurmError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a client command printed and how it ended.
struct CSlurmReply {
  int status = -1;  // exit status; -1 when it could not be run or was killed
  std::string out;  // standard output
  std::string err;  // standard error, or why it could not be run
  // Slurm's error in one line: the last line of `err` that is not empty.
  std::string Error() const;
};

// The absolute path of a Slurm client command (sbatch, squeue, scancel, srun)
// on PATH. Throws CSlurmError naming the command when there is none.
std::string FindSlurmCommand(const std::string& name);

// Runs a client command (arguments[0] an absolute path) with no shell and no
// standard input, in a process group of its own (a Ctrl-C at the terminal is
// the runner's to handle, not the command's), and waits for it.
CSlurmReply RunSlurmCommand(const std::vector<std::string>& arguments);
