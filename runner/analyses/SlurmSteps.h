#pragma once

// The slurm-steps executor: each try a job step of the allocation the runner
// runs in, started by
//
//   srun --exclusive --nodes=1 --ntasks=1 --cpus-per-task=C [--mem=M]
//        [--time=T] --job-name=ANALYSIS --quiet [options...] PROGRAM ARGS...
//
// in the try's folder, as a local process is (ProcessExecutor.h): srun
// forwards the environment, the output and the end of the program, waits
// while the allocation has no free CPUs for the step, and ends the step
// when it is killed, at a time limit or at a second Ctrl-C. A failed try's
// reason gets Slurm's own last error from stderr.txt ("srun: error: Unable
// to create step ...", "slurmstepd: error: *** STEP 12.3 ... CANCELLED ...");
// a try with one is lost (ETryStatus::Lost): Slurm, not the program, ended it.

#include <memory>
#include <string>
#include <vector>

#include "analyses/Executor.h"

// The command line of one try through `srun` (an absolute path).
std::vector<std::string> StepCommand(const std::string& srun, const CAnalysisDefinition& analysis);

// Throws CSlurmError when srun is not on PATH.
std::unique_ptr<CAnalysisExecutor> MakeSlurmStepExecutor();
