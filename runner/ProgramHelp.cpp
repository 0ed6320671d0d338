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

class CHelpFormatter : public CLI::Formatter {
 public:
  std::string make_expanded(const CLI::App* command) const override {
    std::string usage = command->get_parent()->get_name() + " " + command->get_name();
    std::vector<const CLI::Option*> positionals, options;
    for (const CLI::Option* option : command->get_options()) {
      if (option == command->get_help_ptr() || option == command->get_help_all_ptr()) continue;
      (option->nonpositional() ? options : positionals).push_back(option);
    }
    if (!options.empty()) usage += " [OPTIONS]";
    for (const CLI::Option* positional : positionals) usage += " " + positional->get_name(true);
    // The blank lines end help2man's paragraphs: the description, each
    // positional argument, the options.
    std::string text = fmt::format("\n{}:\n  {}\n\n", usage, command->get_description());
    for (const CLI::Option* option : positionals) text += make_option(option, true) + "\n";
    for (const CLI::Option* option : options) text += make_option(option, false);
    return text;
  }
};

}  // namespace

std::shared_ptr<CLI::Formatter> HelpFormatter() {
  auto formatter = std::make_shared<CHelpFormatter>();
  formatter->label("SUBCOMMAND", "COMMAND");
  return formatter;
}

void AddHelpFooter(CLI::App& command, const std::vector<CHelpExample>& examples) {
  std::string footer = "Examples:\n";
  for (const CHelpExample& example : examples)
    footer += fmt::format("  {}\n      {}\n", example.commandLine, example.what);
  footer += "\n" + ExitStatusTable();
  footer.pop_back();  // CLI11 ends the help with a line break of its own
  command.footer(footer);
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
