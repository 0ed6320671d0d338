// Reading the [slurm] table and the analyses' [analyses.NAME.slurm] tables
// (docs/problem-format.md, "Running analyses on a Slurm cluster").

#include <fmt/format.h>

#include <algorithm>
#include <regex>

#include "expressions/MessageText.h"
#include "problem/ProblemSections.h"

namespace {

constexpr long long kMostCpus = 4096;

// Slurm's time formats (sbatch --time): minutes, minutes:seconds,
// hours:minutes:seconds, days-hours, days-hours:minutes, days-hours:minutes:seconds.
const std::regex kSlurmTime(R"(\d+(:\d+){0,2}|\d+-\d+(:\d+){0,2})");
// Digits, then an optional unit (sbatch --mem; Slurm takes either case).
const std::regex kSlurmMemory(R"(\d+[KMGTkmgt]?)");

// The keys an analysis may set for itself; the file's [slurm] has these and
// the ones that say how the runner talks to Slurm.
void ReadResources(CTableReader& reader, CSlurmSettings& settings) {
  for (auto [key, target] :
       {std::pair{"partition", &settings.partition}, std::pair{"account", &settings.account}}) {
    if (const auto text = reader.Text(key, ERequired::No)) *target = *text;
  }
  if (const auto time = reader.Text("time", ERequired::No)) {
    if (!std::regex_match(*time, kSlurmTime)) {
      reader.Report("time", fmt::format("\"{}\" is not a time as Slurm writes it; use \"MM\", "
                                        "\"MM:SS\", \"HH:MM:SS\", \"D-HH\", \"D-HH:MM\" or "
                                        "\"D-HH:MM:SS\"",
                                        Excerpt(*time)));
    }
    settings.time = *time;
  }
  if (const auto cpus = reader.Integer("cpus", ERequired::No)) {
    if (*cpus < 1 || *cpus > kMostCpus)
      reader.Report("cpus", fmt::format("{} is not between 1 and {}", *cpus, kMostCpus));
    settings.cpus = static_cast<int>(std::clamp<long long>(*cpus, 1, kMostCpus));
  }
  if (const auto memory = reader.Text("memory", ERequired::No)) {
    if (!std::regex_match(*memory, kSlurmMemory)) {
      reader.Report("memory", fmt::format("\"{}\" is not an amount of memory; write digits with "
                                          "an optional K, M, G or T (\"4G\", \"500M\")",
                                          Excerpt(*memory)));
    }
    settings.memory = *memory;
  }
  if (const auto options = reader.TextList("options", ERequired::No)) {
    for (const std::string& option : *options) {
      if (option.rfind("--", 0) != 0) {
        reader.Report("options", fmt::format("\"{}\" does not begin with \"--\"; write each "
                                             "option as one text (\"--qos=long\")",
                                             Excerpt(option)));
      }
    }
    settings.options = *options;
  }
}

void ReadControllerSettings(CTableReader& reader, CSlurmSettings& settings) {
  for (auto [key, target] : {std::pair{"poll_interval", &settings.pollInterval},
                             std::pair{"patience", &settings.patience}}) {
    if (const auto seconds = reader.Number(key, ERequired::No)) {
      if (*seconds <= 0)
        reader.Report(key, fmt::format("{} is not above 0", FormatNumber(*seconds)));
      else
        *target = *seconds;
    }
  }
}

ESlurmMode ReadMode(CTableReader& reader) {
  const auto mode = reader.Text("mode", ERequired::No);
  if (!mode || *mode == "auto") return ESlurmMode::Auto;
  if (*mode == "steps") return ESlurmMode::Steps;
  if (*mode == "jobs") return ESlurmMode::Jobs;
  reader.Report("mode", fmt::format("\"{}\" is not a mode; use \"auto\", \"steps\" or \"jobs\"",
                                    Excerpt(*mode)));
  return ESlurmMode::Auto;
}

// The [analyses.NAME] table of an analysis read before; null when there is none.
const toml::table* AnalysisTable(CTableReader& top, const std::string& name) {
  const toml::node* analyses = top.Node("analyses");
  const toml::table* table = analyses != nullptr ? analyses->as_table() : nullptr;
  const toml::node* analysis = table != nullptr ? table->get(name) : nullptr;
  return analysis != nullptr ? analysis->as_table() : nullptr;
}

}  // namespace

void ReadSlurm(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues) {
  CSlurmSettings defaults;
  if (const toml::table* table = top.Table("slurm", ERequired::No)) {
    CTableReader reader(*table, "slurm", issues);
    problem.slurmMode = ReadMode(reader);
    ReadResources(reader, defaults);
    ReadControllerSettings(reader, defaults);
    reader.ReportUnknownKeys();
    if (problem.analyses.empty())
      top.Report("slurm", "[slurm] is set but the problem has no analyses");
  }
  for (CAnalysisDefinition& analysis : problem.analyses) {
    analysis.slurm = defaults;
    const toml::table* own = AnalysisTable(top, analysis.name);
    const toml::node* node = own != nullptr ? own->get("slurm") : nullptr;
    if (node == nullptr) continue;
    const std::string path = "analyses." + analysis.name + ".slurm";
    const toml::table* table = node->as_table();
    if (table == nullptr) {
      issues.push_back(
          {LineOf(*node), path,
           fmt::format("{} is not a table {{partition, time, cpus, ...}}", Describe(*node))});
      continue;
    }
    CTableReader reader(*table, path, issues);
    ReadResources(reader, analysis.slurm);
    for (const char* key : {"mode", "poll_interval", "patience"}) {
      if (reader.Node(key) != nullptr)
        reader.Report(key, "set for the whole file only, in [slurm]");
    }
    reader.ReportUnknownKeys();
  }
}
