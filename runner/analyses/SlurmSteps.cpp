#include "analyses/SlurmSteps.h"

#include <fstream>

#include "analyses/ProcessExecutor.h"
#include "analyses/SlurmClient.h"

namespace {

// The last line of the try's stderr.txt in which Slurm reports an error.
std::string SlurmErrorIn(const std::string& folder) {
  std::ifstream file(folder + "/stderr.txt");
  std::string line;
  std::string last;
  while (std::getline(file, line)) {
    if (line.rfind("srun: error:", 0) == 0 || line.rfind("slurmstepd: error:", 0) == 0) last = line;
  }
  return last;
}

}  // namespace

std::vector<std::string> StepCommand(const std::string& srun, const CAnalysisDefinition& analysis) {
  const CSlurmSettings& slurm = analysis.slurm;
  std::vector<std::string> command = {srun,
                                      "--exclusive",
                                      "--nodes=1",
                                      "--ntasks=1",
                                      "--cpus-per-task=" + std::to_string(slurm.cpus),
                                      "--job-name=" + analysis.name,
                                      "--quiet"};
  if (!slurm.memory.empty()) command.push_back("--mem=" + slurm.memory);
  if (!slurm.time.empty()) command.push_back("--time=" + slurm.time);
  command.insert(command.end(), slurm.options.begin(), slurm.options.end());
  command.insert(command.end(), analysis.command.begin(), analysis.command.end());
  return command;
}

std::unique_ptr<CAnalysisExecutor> MakeSlurmStepExecutor() {
  const std::string srun = FindSlurmCommand("srun");
  return std::make_unique<CProcessExecutor>(
      [srun](const CAnalysisDefinition& analysis) { return StepCommand(srun, analysis); },
      [](const CTryRequest& request, CEvaluationOutcome& outcome) {
        const std::string error = SlurmErrorIn(request.folder);
        if (!error.empty()) outcome.reason += "; " + error;
      });
}
