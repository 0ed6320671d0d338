#pragma once

// Where analysis programs run (docs/cluster.md), and what Slurm gives each
// evaluation of an analysis.
//
//   local        on this machine, `--jobs` at a time (the default)
//   slurm-steps  each evaluation a job step (`srun --exclusive`) of the
//                allocation `discrete` runs in (salloc, or an sbatch script)
//   slurm-jobs   each batch of independent evaluations one job array
//                (`sbatch --array`), every evaluation one array task
//
// A problem file chooses with [slurm] mode ("auto" takes slurm-steps inside an
// allocation, slurm-jobs outside one); `discrete solve --executor` overrides
// it. The resources come from [slurm] and, per analysis, from
// [analyses.NAME.slurm], and are stored with each analysis.

#include <optional>
#include <string>
#include <vector>

enum class EExecutor { Local, SlurmSteps, SlurmJobs };

// "local", "slurm-steps", "slurm-jobs"
const char* ExecutorName(EExecutor executor);
// The executor of a name above; nothing for any other text.
std::optional<EExecutor> ExecutorFromName(const std::string& name);

// What Slurm gives one evaluation, and how the runner talks to Slurm. Empty
// texts leave Slurm's defaults (the partition's, the cluster's).
struct CSlurmSettings {
  std::string partition;             // --partition (jobs only)
  std::string account;               // --account (jobs only)
  std::string time;                  // --time, in Slurm's format ("30", "1:00:00", "2-00")
  int cpus = 1;                      // --cpus-per-task
  std::string memory;                // --mem ("4G", "500M")
  std::vector<std::string> options;  // further options of sbatch (jobs) or srun (steps), as given
  double pollInterval = 2.0;  // seconds between two questions to the controller (squeue); > 0
  double patience = 60.0;     // seconds a controller that does not answer is waited for; > 0
};
