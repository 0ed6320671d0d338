#pragma once

// What the `discrete` program says about its own use, built from its CLI11
// definitions so that it never drifts from them: the end of every --help
// (examples, then the exit codes of commands/ExitCodes.h), the short usage
// for a command line without a command, and the list of commands an unknown
// command is answered with.

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

// The program's help formatter: as CLI11's, but --help-all gives each
// command as a block that help2man makes a subsection of the man page:
//
//   discrete tree [OPTIONS] database:
//     print the search tree stored in a database
//     --format TEXT:{text,dot}  text or dot
std::shared_ptr<CLI::Formatter> HelpFormatter();

// One example of a --help: the command line, and what it does.
struct CHelpExample {
  std::string commandLine;  // "discrete solve gear.toml --max-nodes 200"
  std::string what;         // "stop after 200 subtasks"
};

// Ends the --help of `command` (the program or one of its commands) with
// its examples and the exit-code table:
//
//   AddHelpFooter(*treeCommand, {{"discrete tree gear.db", "the tree as text"}});
void AddHelpFooter(CLI::App& command, const std::vector<CHelpExample>& examples);

// The commands a user may type, in the order they were added; hidden
// commands (an empty group) are left out.
std::vector<std::string> CommandNames(const CLI::App& program);

// "usage: discrete COMMAND ...", the commands with their descriptions, and
// where to read more: what `discrete` alone prints.
std::string ShortUsage(const CLI::App& program);

// The first argument that is not an option (the command, since the program's
// own options take no value); null when there is none.
const char* FirstCommandArgument(int argc, char** argv);
