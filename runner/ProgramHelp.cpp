#include "ProgramHelp.h"

#include <fmt/format.h>

#include <cstring>

#include "commands/ExitCodes.h"

namespace {

std::string ExitStatusTable() {
  std::string table = "Exit status:\n";
  for (const CExitCodeMeaning& entry : kExitCodeMeanings)
    table += fmt::format("  {:<9} {}\n", static_cast<int>(entry.code), entry.meaning);
  table += fmt::format("  {:<9} {}\n", kSignalExitCodes, kSignalExitMeaning);
  return table;
}

}  // namespace

void AddHelpFooter(CLI::App& command, const std::vector<CHelpExample>& examples) {
  std::string footer = "Examples:\n";
  for (const CHelpExample& example : examples)
    footer += fmt::format("  {}\n      {}\n", example.commandLine, example.what);
  command.footer(footer + "\n" + ExitStatusTable());
}

std::vector<std::string> CommandNames(const CLI::App& program) {
  std::vector<std::string> names;
  for (const CLI::App* command : program.get_subcommands({})) {
    if (!command->get_group().empty()) names.push_back(command->get_name());
  }
  return names;
}

std::string ShortUsage(const CLI::App& program) {
  std::string usage =
      fmt::format("usage: {} COMMAND [OPTIONS] [ARGUMENTS]\n\nCommands:\n", program.get_name());
  for (const CLI::App* command : program.get_subcommands({})) {
    if (command->get_group().empty()) continue;
    usage += fmt::format("  {:<12} {}\n", command->get_name(), command->get_description());
  }
  return usage +
         fmt::format("\n'{0} --help' and '{0} COMMAND --help' tell more.\n", program.get_name());
}

const char* FirstCommandArgument(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--") == 0) return i + 1 < argc ? argv[i + 1] : nullptr;
    if (argv[i][0] != '-') return argv[i];
  }
  return nullptr;
}
