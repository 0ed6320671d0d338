#include "analyses/SlurmSettings.h"

namespace {

constexpr EExecutor kExecutors[] = {EExecutor::Local, EExecutor::SlurmSteps, EExecutor::SlurmJobs};

}  // namespace

const char* ExecutorName(EExecutor executor) {
  switch (executor) {
    case EExecutor::SlurmSteps:
      return "slurm-steps";
    case EExecutor::SlurmJobs:
      return "slurm-jobs";
    case EExecutor::Local:
      break;
  }
  return "local";
}

std::optional<EExecutor> ExecutorFromName(const std::string& name) {
  for (EExecutor executor : kExecutors)
    if (name == ExecutorName(executor)) return executor;
  return std::nullopt;
}
