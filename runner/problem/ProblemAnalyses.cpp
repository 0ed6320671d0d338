// Reading [analyses.NAME] tables and the work_folder key (docs/problem-format.md).

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "expressions/MessageText.h"
#include "problem/ProblemSections.h"
#include "problem/RegularFile.h"

namespace {

constexpr long long kMostRetries = 1000;

void ReadCommand(CTableReader& reader, const std::string& baseFolder,
                 CAnalysisDefinition& analysis) {
  if (const auto inProcess = reader.Boolean("in_process", ERequired::No); inProcess && *inProcess) {
    analysis.inProcess = true;
    if (reader.Node("command"))
      reader.Report("command",
                    "an analysis with in_process = true is a function and has no command");
    return;
  }
  const auto command = reader.TextList("command", ERequired::No);
  if (!reader.Node("command")) return reader.Report("command", "missing; a command is required");
  if (!command) return;
  if (command->empty())
    return reader.Report("command", "the list is empty; name the program first");
  analysis.command = *command;
  std::string why;
  const std::string program = ResolveProgram(analysis.command[0], baseFolder, why);
  if (program.empty()) return reader.Report("command", why);
  analysis.command[0] = program;
}

// What an analysis may read: the design variables, then the quantities of
// catalogue variables (which depend on their variable alone), in the
// problem's order.
std::vector<std::string> ReadableNames(const CProblem& problem) {
  std::vector<std::string> names;
  for (const CProblemVariable& variable : problem.variables) names.push_back(variable.name);
  for (const CProblemEquation& equation : problem.equations)
    if (!equation.origin.empty()) names.push_back(equation.name);
  return names;
}

void ReadNames(CTableReader& reader, const CProblem& problem, CAnalysisDefinition& analysis) {
  const std::vector<std::string> readable = ReadableNames(problem);
  if (const auto reads = reader.TextList("reads", ERequired::No)) {
    for (const std::string& name : *reads) {
      if (std::find(readable.begin(), readable.end(), name) == readable.end()) {
        reader.Report("reads", fmt::format("'{}' is neither a design variable nor a quantity of a "
                                           "catalogue variable",
                                           Excerpt(name)));
      }
    }
    // In the problem's order, each once.
    for (const std::string& name : readable) {
      if (std::find(reads->begin(), reads->end(), name) != reads->end())
        analysis.reads.push_back(name);
    }
  } else if (reader.Node("reads") == nullptr) {
    analysis.reads = readable;
  }
  if (const auto writes = reader.TextList("writes", ERequired::No)) {
    if (writes->empty()) reader.Report("writes", "the list is empty; name at least one response");
    analysis.writes = *writes;
  } else if (reader.Node("writes") == nullptr) {
    reader.Report("writes", "missing; the responses it writes are required");
  }
}

void ReadHandling(CTableReader& reader, CAnalysisDefinition& analysis) {
  if (const auto seconds = reader.Number("time_limit", ERequired::No)) {
    if (*seconds <= 0)
      reader.Report("time_limit", fmt::format("{} is not above 0", FormatNumber(*seconds)));
    analysis.timeLimit = std::max(0.0, *seconds);
  }
  if (const auto retries = reader.Integer("retries", ERequired::No)) {
    if (*retries < 0 || *retries > kMostRetries)
      reader.Report("retries", fmt::format("{} is not between 0 and {}", *retries, kMostRetries));
    analysis.retries = static_cast<int>(std::clamp<long long>(*retries, 0, kMostRetries));
  }
  if (const auto keep = reader.Text("keep", ERequired::No)) {
    if (*keep == "all")
      analysis.keep = EKeepFolders::All;
    else if (*keep == "none")
      analysis.keep = EKeepFolders::None;
    else if (*keep != "failed")
      reader.Report("keep",
                    fmt::format("\"{}\" is not a choice; use \"failed\", \"all\" or \"none\"",
                                Excerpt(*keep)));
  }
}

}  // namespace

void ReadAnalyses(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues) {
  const std::string baseFolder = FolderOfFile(problem.file);
  std::string workFolder;
  if (const auto folder = top.Text("work_folder", ERequired::No)) {
    if (folder->empty()) top.Report("work_folder", "the folder is empty");
    workFolder = std::filesystem::absolute(std::filesystem::path(baseFolder) / *folder)
                     .lexically_normal()
                     .string();
  }
  const toml::table* analyses = top.Table("analyses", ERequired::No);
  if (analyses == nullptr) return;
  for (const auto& [name, node] : InFileOrder(*analyses)) {
    CAnalysisDefinition analysis;
    analysis.name = name;
    analysis.line = LineOf(*node);
    analysis.workFolder = workFolder;
    const toml::table* table = node->as_table();
    if (table == nullptr) {
      issues.push_back(
          {analysis.line, "analyses." + name,
           fmt::format("{} is not a table {{command, writes, ...}}", Describe(*node))});
      continue;
    }
    CTableReader reader(*table, "analyses." + name, issues);
    ReadCommand(reader, baseFolder, analysis);
    ReadNames(reader, problem, analysis);
    ReadHandling(reader, analysis);
    reader.Node("slurm");  // what Slurm gives it: read by ReadSlurm, with the file's [slurm]
    reader.ReportUnknownKeys();
    problem.analyses.push_back(std::move(analysis));
  }
}
