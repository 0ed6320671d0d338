#include "BashCompletion.h"

#include <fmt/format.h>

#include <vector>

namespace {

// How the value of an option or a positional argument is completed.
struct CValueCompletion {
  bool takesValue = false;           // a flag takes none
  bool fileName = false;             // complete a file name
  std::vector<std::string> choices;  // complete one of these
};

// From CLI11's type name: "TEXT", "INT", "TEXT:{text,dot}" (the choices of
// an IsMember check), "FLOAT:NUMBER >= 0" (another check's description).
CValueCompletion CompletionOf(const CLI::Option& option) {
  CValueCompletion completion;
  completion.takesValue = option.get_expected_max() > 0;
  if (!completion.takesValue) return completion;
  const std::string typeName = option.get_type_name();
  for (size_t start = typeName.find(":{"); start != std::string::npos;
       start = typeName.find(":{", start + 1)) {
    const size_t end = typeName.find('}', start);
    if (end == std::string::npos) break;
    std::string list = typeName.substr(start + 2, end - start - 2);
    for (size_t from = 0; from <= list.size();) {
      const size_t comma = std::min(list.find(',', from), list.size());
      completion.choices.push_back(list.substr(from, comma - from));
      from = comma + 1;
    }
  }
  completion.fileName = completion.choices.empty() && typeName.rfind("TEXT", 0) == 0;
  return completion;
}

// A bash word list: words joined by spaces (the names and choices are plain
// words, no quoting needed).
std::string Words(const std::vector<std::string>& words) {
  return fmt::format("{}", fmt::join(words, " "));
}

// The lines that fill the script's tables for one command, keyed `key`.
std::string CommandTables(const CLI::App& command, const std::string& key) {
  std::vector<std::string> options, valueOptions, positionals;
  std::string valueLines;
  for (const CLI::Option* option : command.get_options()) {
    const CValueCompletion completion = CompletionOf(*option);
    if (!option->nonpositional()) {
      positionals.push_back(completion.fileName ? "file" : "none");
      continue;
    }
    std::vector<std::string> names;
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
    options.insert(options.end(), names.begin(), names.end());
    if (!completion.takesValue) continue;
    for (const std::string& name : names) {
      valueOptions.push_back(name);
      if (!completion.choices.empty())
        valueLines +=
            fmt::format("  choices[\"{} {}\"]='{}'\n", key, name, Words(completion.choices));
      else if (completion.fileName)
        valueLines += fmt::format("  files[\"{} {}\"]=1\n", key, name);
    }
  }
  return fmt::format(
      "  options[\"{0}\"]='{1}'\n  value_options[\"{0}\"]=' {2} '\n"
      "  positionals[\"{0}\"]='{3}'\n{4}",
      key, Words(options), Words(valueOptions), Words(positionals), valueLines);
}

// What the function does with the tables; the same for every program.
constexpr const char* kCompletionLogic = R"(
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  # bash splits --format=dot into --format, =, dot.
  if [[ $cur == "=" ]]; then
    cur=""
  elif [[ $prev == "=" && $COMP_CWORD -ge 2 ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  local command="" positional=0 takes_value=0 i word
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    [[ $word == "=" ]] && continue
    if [[ -z $command ]]; then
      [[ $word == -* ]] || command=$word
    elif ((takes_value)); then
      takes_value=0
    elif [[ $word == -* ]]; then
      [[ ${value_options[$command]} == *" $word "* ]] && takes_value=1
    else
      ((positional++))
    fi
  done
  if [[ -z $command ]]; then
    if [[ $cur == -* ]]; then
      COMPREPLY=($(compgen -W "${options[-]}" -- "$cur"))
    else
      COMPREPLY=($(compgen -W "$commands" -- "$cur"))
    fi
    return 0
  fi
  [[ -n ${options[$command]+set} ]] || return 0
  if ((takes_value)); then
    if [[ -n ${choices[$command $prev]+set} ]]; then
      COMPREPLY=($(compgen -W "${choices[$command $prev]}" -- "$cur"))
    elif [[ -n ${files[$command $prev]+set} ]]; then
      compopt -o filenames 2>/dev/null
      COMPREPLY=($(compgen -f -- "$cur"))
    fi
    return 0
  fi
  if [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W "${options[$command]}" -- "$cur"))
    return 0
  fi
  local kinds=(${positionals[$command]})
  if [[ ${kinds[positional]} == file ]]; then
    compopt -o filenames 2>/dev/null
    COMPREPLY=($(compgen -f -- "$cur"))
  fi
  return 0
}
)";

}  // namespace

std::string BashCompletionScript(const CLI::App& program) {
  const std::string name = program.get_name();
  std::string tables = CommandTables(program, "-");
  std::vector<std::string> commands;
  for (const CLI::App* command : program.get_subcommands({})) {
    if (command->get_group().empty()) continue;
    commands.push_back(command->get_name());
    tables += CommandTables(*command, command->get_name());
  }
  return fmt::format(
      "# bash completion for {0}: generated by `{0} completion bash` from the program's own\n"
      "# command-line definitions.\n"
      "_{0}() {{\n"
      "  local commands='{1}'\n"
      "  local -A options value_options positionals choices files\n"
      "{2}{3}"
      "complete -F _{0} {0}\n",
      name, Words(commands), tables, kCompletionLogic);
}
