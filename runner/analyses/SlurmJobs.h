#pragma once

// The slurm-jobs executor: the tries handed over together (the points of a
// finite-difference Jacobian, the start points of a multi-start) become one
// job array per analysis,
//
//   sbatch --parsable --array=0-N[%JOBS] --job-name=discrete-ANALYSIS
//          --nodes=1 --ntasks=1 --cpus-per-task=C [--mem] [--time]
//          [--partition] [--account] --no-requeue --output=/dev/null [options...]
//          <work folder>/<analysis>/discrete-slurm.sh <list of folders>
//
// whose task i runs the program in the i-th folder of the list (which must be
// on a file system the nodes share), under `timeout` when the analysis has a
// time limit, and writes the program's exit status into exit_status.txt
// when it ends. The runner then watches for those files (so that a finished
// program is seen at once) and asks `squeue` every `poll_interval` seconds
// for the tasks that have none, so that a task Slurm ended without running
// the program to its end (cancelled, timed out, pre-empted, its node lost)
// is a failed try with Slurm's state and reason, and one that Slurm no longer
// knows is one too. (--no-requeue: a job Slurm would requeue after a node
// failure or a pre-emption fails instead, and the analysis' `retries` decide.) A controller that
// does not answer squeue is waited for `patience` seconds, then CSlurmError; a submission that
// sbatch refuses is CSlurmError at once. Arrays not yet ended when Run leaves by an exception are
// cancelled.

#include <memory>

#include "analyses/Executor.h"

// Throws CSlurmError when sbatch, squeue or scancel is not on PATH.
std::unique_ptr<CAnalysisExecutor> MakeSlurmJobExecutor();

// Cancels every job array this process submitted that has not ended, by
// running scancel and waiting for it. Async-signal-safe (fork, execve,
// waitpid): for the handler that ends the program at a second Ctrl-C, so that
// nothing it submitted goes on running.
void CancelSubmittedSlurmJobs();
