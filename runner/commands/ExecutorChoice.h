#pragma once

// Which executor a run of `solve` or `resume` uses for its analysis programs
// (SlurmSettings.h), and how many evaluations it runs at a time when --jobs
// does not say (docs/cli.md, "--executor").

#include <optional>
#include <string>
#include <vector>

#include "analyses/AnalysisDefinition.h"
#include "analyses/SlurmSettings.h"
#include "problem/Problem.h"

// What Slurm tells a program started inside an allocation (salloc, sbatch,
// srun); empty texts for variables that are not set.
struct CSlurmEnvironment {
  std::string jobId;       // SLURM_JOB_ID: set inside an allocation
  std::string tasks;       // SLURM_NTASKS: tasks the allocation was asked for
  std::string cpusOnNode;  // SLURM_CPUS_ON_NODE: cpus of the allocation on this node
};

CSlurmEnvironment ReadSlurmEnvironment();

// `requested` (--executor) when given; else the file's [slurm] mode, "auto"
// meaning slurm-steps inside an allocation (SLURM_JOB_ID set) and slurm-jobs
// outside one; else local. Throws CUsageError when the choice is slurm-steps
// and there is no allocation to run steps in.
EExecutor ChooseExecutor(std::optional<EExecutor> requested, ESlurmMode fileMode,
                         const CSlurmEnvironment& environment);

// The --jobs of slurm-jobs when none is given: Slurm queues the jobs, so the
// runner sets no limit of its own.
constexpr int kNoJobLimit = 1 << 20;

// Evaluations run at the same time when --jobs is not given: for local the
// number of cores; for slurm-steps SLURM_NTASKS when set, else
// SLURM_CPUS_ON_NODE divided by the largest `cpus` of the analyses (at least
// 1), else 1; for slurm-jobs kNoJobLimit.
int DefaultJobs(EExecutor executor, const std::vector<CAnalysisDefinition>& analyses,
                const CSlurmEnvironment& environment);
