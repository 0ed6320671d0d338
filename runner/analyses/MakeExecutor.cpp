#include "analyses/MakeExecutor.h"

#include "analyses/ProcessExecutor.h"
#include "analyses/SlurmJobs.h"
#include "analyses/SlurmSteps.h"

std::unique_ptr<CAnalysisExecutor> MakeExecutor(EExecutor executor) {
  switch (executor) {
    case EExecutor::SlurmSteps:
      return MakeSlurmStepExecutor();
    case EExecutor::SlurmJobs:
      return MakeSlurmJobExecutor();
    case EExecutor::Local:
      break;
  }
  return std::make_unique<CProcessExecutor>();
}
