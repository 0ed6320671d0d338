#pragma once

// The bash completion of the `discrete` program, generated from its CLI11
// definitions (`discrete completion bash`, and the file the build installs
// as share/bash-completion/completions/discrete), so that it completes what
// the program accepts and nothing else:
//
//   - the commands, then each command's options;
//   - an option's value from its choices (CLI::IsMember: --optimizer,
//     --format, --executor), a file name for a text value without choices
//     (--db, --log), nothing for a number;
//   - a file name for a positional argument that is text (the problem file,
//     the database), nothing for a number (a task id).
//
// Commands in no group (hidden ones) are left out.

#include <CLI/CLI.hpp>
#include <string>

std::string BashCompletionScript(const CLI::App& program);
