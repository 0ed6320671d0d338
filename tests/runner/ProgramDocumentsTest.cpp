// What the build makes of the program's own command-line definitions: the
// bash completion, driven here by real bash as it completes a command line,
// and the man page, rendered by groff.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "DatabaseFiles.h"
#include "ProgramRun.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

// What `command` prints to stdout, run by sh in `folder`.
std::string Shell(const fs::path& folder, const std::string& command) {
  FILE* pipe = popen(("cd '" + folder.string() + "' && " + command).c_str(), "r");
  std::string output;
  char buffer[4096];
  for (size_t count; (count = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
    output.append(buffer, count);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return output;
}

class BashCompletion : public ::testing::Test {
 protected:
  void SetUp() override {
    std::ofstream(folder / "gear.toml") << "";
    std::ofstream(folder / "gear.db") << "";
    fs::create_directory(folder / "runs");
  }

  // What bash offers for the last word of `words` (the program's name
  // first; "" for an empty last word), one per line, as the installed file
  // completes it.
  std::string Complete(const std::string& words) const {
    std::ofstream(folder / "complete.sh")
        << "source '" DISCRETE_COMPLETION_FILE "'\n"
        << "COMP_WORDS=(" << words << ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
        << "_discrete\nprintf '%s\\n' \"${COMPREPLY[@]}\" | sort\n";
    return Shell(folder, "bash complete.sh");
  }

  CScratchDirectory m_directory;
  const fs::path folder = m_directory.Path();
};

TEST_F(BashCompletion, TheInstalledFileIsWhatTheProgramPrintsAndRegistersTheFunction) {
  EXPECT_EQ(ReadFile(DISCRETE_COMPLETION_FILE), RunProgram(folder, "completion bash").output);
  EXPECT_EQ(
      Shell(folder, "bash -c \"source '" DISCRETE_COMPLETION_FILE "'; complete -p discrete\""),
      "complete -F _discrete discrete\n");
}

TEST_F(BashCompletion, CompletesCommandsOptionsTheirValuesAndFiles) {
  // The commands the program lists, the hidden `completion` not among them.
  EXPECT_EQ(Complete("discrete ''"),
            "export\noptimizers\nplot\nresume\nshow\nsolve\ntree\nversion\n");
  EXPECT_EQ(Complete("discrete -V s"), "show\nsolve\n");
  EXPECT_EQ(Complete("discrete --v"), "--version\n");
  EXPECT_EQ(Complete("discrete solve --o"), "--optimizer\n");
  // The choices are the program's own: the optimisers it lists.
  std::string optimizers;
  for (std::istringstream lines(RunProgram(folder, "optimizers").output); lines.good();) {
    std::string name, rest;
    if (lines >> name && std::getline(lines, rest)) optimizers += name + "\n";
  }
  EXPECT_EQ(Complete("discrete solve gear.toml --optimizer ''"),
            Shell(folder, "printf '" + optimizers + "' | sort"));
  EXPECT_EQ(Complete("discrete resume gear.db --executor slurm-"), "slurm-jobs\nslurm-steps\n");
  EXPECT_EQ(Complete("discrete tree gear.db --format = d"), "dot\n");  // bash splits at =
  // Files for the problem, the database and --db; nothing for numbers.
  EXPECT_EQ(Complete("discrete solve g"), "gear.db\ngear.toml\n");
  EXPECT_EQ(Complete("discrete solve --max-nodes 3 --db r"), "runs\n");
  EXPECT_EQ(Complete("discrete solve --max-nodes ''"), "\n");
  EXPECT_EQ(Complete("discrete show gear.db ''"), "\n");  // a task id
  EXPECT_EQ(Complete("discrete solve gear.toml ''"), "\n");
  EXPECT_EQ(Complete("discrete frobnicate ''"), "\n");
}

#ifdef DISCRETE_MAN_PAGE
// The man page renders without a warning and names every command and the
// exit codes.
TEST(ManPage, RendersAndNamesEveryCommand) {
  CScratchDirectory directory;
  const std::string page = "'" DISCRETE_MAN_PAGE "'";
  EXPECT_THAT(Shell(directory.Path(), "groff -man -Tutf8 -ww -z " + page + " 2>&1"), IsEmpty());
  const std::string text = Shell(directory.Path(), "groff -man -Tascii -P-cbou " + page);
  for (const char* section : {"NAME", "SYNOPSIS", "COMMANDS", "ENVIRONMENT", "FILES", "EXAMPLES",
                              "EXIT STATUS", "SEE ALSO"})
    EXPECT_THAT(text, HasSubstr(std::string("\n") + section + "\n")) << section;
  for (const char* command : {"solve", "resume", "show", "tree", "version", "optimizers"})
    EXPECT_THAT(text, HasSubstr(std::string("discrete ") + command)) << command;
  EXPECT_THAT(text, HasSubstr("--optimizer"));
  EXPECT_THAT(text, HasSubstr("130, 143"));
  EXPECT_THAT(text, Not(HasSubstr("completion bash >")));
}
#endif

}  // namespace
