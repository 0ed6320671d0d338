#include "analyses/AnalysisDefinition.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace {

// Why `path` cannot be run; empty when it is an executable regular file.
std::string WhyNotExecutable(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::strerror(errno);
  if (!S_ISREG(status.st_mode)) return "not a regular file";
  if (access(path.c_str(), X_OK) != 0) return "not executable";
  return "";
}

nlohmann::json SlurmToJson(const CSlurmSettings& slurm) {
  return {{"partition", slurm.partition},
          {"account", slurm.account},
          {"time", slurm.time},
          {"cpus", slurm.cpus},
          {"memory", slurm.memory},
          {"options", slurm.options},
          {"poll_interval", slurm.pollInterval},
          {"patience", slurm.patience}};
}

CSlurmSettings SlurmFromJson(const nlohmann::json& json) {
  CSlurmSettings slurm;
  slurm.partition = json.at("partition").get<std::string>();
  slurm.account = json.at("account").get<std::string>();
  slurm.time = json.at("time").get<std::string>();
  slurm.cpus = json.at("cpus").get<int>();
  slurm.memory = json.at("memory").get<std::string>();
  slurm.options = json.at("options").get<std::vector<std::string>>();
  slurm.pollInterval = json.at("poll_interval").get<double>();
  slurm.patience = json.at("patience").get<double>();
  return slurm;
}

}  // namespace

const char* KeepName(EKeepFolders keep) {
  switch (keep) {
    case EKeepFolders::All:
      return "all";
    case EKeepFolders::None:
      return "none";
    case EKeepFolders::Failed:
      break;
  }
  return "failed";
}

std::string AnalysisToJson(const CAnalysisDefinition& analysis) {
  const nlohmann::json json = {{"command", analysis.command},
                               {"in_process", analysis.inProcess},
                               {"reads", analysis.reads},
                               {"writes", analysis.writes},
                               {"time_limit", analysis.timeLimit},
                               {"retries", analysis.retries},
                               {"keep", KeepName(analysis.keep)},
                               {"work_folder", analysis.workFolder},
                               {"slurm", SlurmToJson(analysis.slurm)}};
  return json.dump();
}

std::string AnalysisSignature(const CAnalysisDefinition& analysis) {
  const nlohmann::json json = {{"name", analysis.name},
                               {"command", analysis.command},
                               {"reads", analysis.reads},
                               {"writes", analysis.writes}};
  return json.dump();
}

CAnalysisDefinition AnalysisFromJson(const std::string& name, const std::string& text) {
  CAnalysisDefinition analysis;
  analysis.name = name;
  try {
    const nlohmann::json json = nlohmann::json::parse(text);
    analysis.command = json.at("command").get<std::vector<std::string>>();
    // Databases written before analyses could be functions have no such key.
    analysis.inProcess = json.value("in_process", false);
    analysis.reads = json.at("reads").get<std::vector<std::string>>();
    analysis.writes = json.at("writes").get<std::vector<std::string>>();
    analysis.timeLimit = json.at("time_limit").get<double>();
    analysis.retries = json.at("retries").get<int>();
    const std::string keep = json.at("keep").get<std::string>();
    analysis.keep = keep == "all"    ? EKeepFolders::All
                    : keep == "none" ? EKeepFolders::None
                                     : EKeepFolders::Failed;
    analysis.workFolder = json.at("work_folder").get<std::string>();
    // Databases written before analyses could run through Slurm have none.
    if (json.contains("slurm")) analysis.slurm = SlurmFromJson(json.at("slurm"));
  } catch (const nlohmann::json::exception& error) {
    throw std::invalid_argument(fmt::format("analysis '{}': {}", name, error.what()));
  }
  if (analysis.command.empty() == !analysis.inProcess || analysis.writes.empty())
    throw std::invalid_argument(
        fmt::format("analysis '{}': neither a command nor a function, or no responses", name));
  return analysis;
}

std::string ResolveProgram(const std::string& program, const std::string& baseFolder,
                           std::string& why) {
  namespace fs = std::filesystem;
  if (program.empty()) {
    why = "the program is empty";
    return "";
  }
  if (program.find('/') != std::string::npos) {
    const fs::path path = fs::absolute(fs::path(baseFolder) / program).lexically_normal();
    why = WhyNotExecutable(path.string());
    if (!why.empty()) why = fmt::format("cannot run '{}': {}", path.string(), why);
    return why.empty() ? path.string() : "";
  }
  const char* searchPath = std::getenv("PATH");
  std::string folders = searchPath != nullptr ? searchPath : "/usr/bin:/bin";
  size_t begin = 0;
  while (begin <= folders.size()) {
    const size_t end = std::min(folders.find(':', begin), folders.size());
    const std::string folder = folders.substr(begin, end - begin);
    const fs::path candidate = fs::absolute(fs::path(folder.empty() ? "." : folder) / program);
    if (WhyNotExecutable(candidate.string()).empty()) return candidate.string();
    begin = end + 1;
  }
  why = fmt::format("cannot run '{}': no executable of that name on PATH", program);
  return "";
}
