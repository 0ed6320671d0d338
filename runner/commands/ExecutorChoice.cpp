#include "commands/ExecutorChoice.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <thread>

#include "commands/Commands.h"

namespace {

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// The whole number > 0 a variable holds; nothing for anything else.
std::optional<int> PositiveCount(const std::string& text) {
  if (text.empty()) return std::nullopt;
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (*end != '\0' || errno != 0 || value < 1 || value > kNoJobLimit) return std::nullopt;
  return static_cast<int>(value);
}

}  // namespace

CSlurmEnvironment ReadSlurmEnvironment() {
  return {Variable("SLURM_JOB_ID"), Variable("SLURM_NTASKS"), Variable("SLURM_CPUS_ON_NODE")};
}

EExecutor ChooseExecutor(std::optional<EExecutor> requested, ESlurmMode fileMode,
                         const CSlurmEnvironment& environment) {
  const bool insideAllocation = !environment.jobId.empty();
  EExecutor executor = EExecutor::Local;
  if (requested)
    executor = *requested;
  else if (fileMode == ESlurmMode::Steps)
    executor = EExecutor::SlurmSteps;
  else if (fileMode == ESlurmMode::Jobs)
    executor = EExecutor::SlurmJobs;
  else if (fileMode == ESlurmMode::Auto)
    executor = insideAllocation ? EExecutor::SlurmSteps : EExecutor::SlurmJobs;
  if (executor == EExecutor::SlurmSteps && !insideAllocation) {
    throw CUsageError(
        "the executor slurm-steps runs analyses as job steps of an allocation, and none is set "
        "(SLURM_JOB_ID); run discrete inside salloc or an sbatch script, or use --executor "
        "slurm-jobs");
  }
  return executor;
}

int DefaultJobs(EExecutor executor, const std::vector<CAnalysisDefinition>& analyses,
                const CSlurmEnvironment& environment) {
  switch (executor) {
    case EExecutor::SlurmJobs:
      return kNoJobLimit;
    case EExecutor::SlurmSteps: {
      if (const auto tasks = PositiveCount(environment.tasks)) return *tasks;
      const auto cpus = PositiveCount(environment.cpusOnNode);
      if (!cpus) return 1;
      int largest = 1;
      for (const CAnalysisDefinition& analysis : analyses)
        largest = std::max(largest, analysis.slurm.cpus);
      return std::max(1, *cpus / largest);
    }
    case EExecutor::Local:
      break;
  }
  return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}
