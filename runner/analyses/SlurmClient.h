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
