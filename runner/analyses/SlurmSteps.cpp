#include "analyses/SlurmSteps.h"

#include <fstream>
#include <regex>

#include "analyses/ProcessExecutor.h"
#include "analyses/SlurmClient.h"

namespace {

// The last line of the try's stderr.txt in which Slurm reports an error of
// its own; srun's report of how the program ended ("srun: error: node7:
// task 0: Exited with exit code 3") is the program's, not Slurm's.
std::string SlurmErrorIn(const std::string& folder) {
  static const std::regex slurmError("^(srun|slurmstepd): error: ");
  static const std::regex taskEnd("^srun: error: [^:]*: tasks? [0-9,-]+: ");
  std::ifstream file(folder + "/stderr.txt");
  std::string line;
  std::string last;
  while (std::getline(file, line)) {
    if (std::regex_search(line, slurmError) && !std::regex_search(line, taskEnd)) last = line;
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
        if (error.empty()) return;
        outcome.reason += "; " + error;
        outcome.lost = true;
      });
}
