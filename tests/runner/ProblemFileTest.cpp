// Reading problem files: discrete bounds are moved onto allowed values, and
// every kind of mistake is reported with file, line, field and reason. (What a
// sound file describes is checked where it is written as a task.)

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <tuple>

#include "problem/ProblemFile.h"
#include "problem/VariableNotes.h"

namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StrEq;
using ::testing::ThrowsMessage;

// A sound problem; each bad case below replaces one line of it (1-based).
const char* const kSoundProblem = R"(name = "plate"
description = "a plate of catalogue thickness"
sense = "min"
tolerance = 1e-6
objective = "w * t * density"
[sets]
thickness = { from = 0.0625, to = 1.0, step = 0.0625 }
[variables.w]
lower = 10
upper = 60
start = 20
[variables.t]
kind = "set"
set = "thickness"
lower = 0.1
[variables.n]
kind = "integer"
lower = 1.5
upper = 7.8
[equations]
density = "7.85 + 0 * n"
[constraints]
stiffness = "w * t^3 >= 2"
area = { expression = "w * t <= 30", scale = 10 }
)";

// `text` with its line `lineNumber` (1-based) replaced.
std::string WithLine(int lineNumber, const std::string& replacement,
                     std::string text = kSoundProblem) {
  size_t begin = 0;
  for (int line = 1; line < lineNumber; ++line) begin = text.find('\n', begin) + 1;
  const size_t end = text.find('\n', begin);
  return text.replace(begin, end - begin, replacement);
}

std::string ErrorsOf(const std::string& text, const std::string& fileName = "plate.toml") {
  try {
    ParseProblem(text, fileName);
  } catch (const CProblemFileError& error) {
    return error.what();
  }
  return "(no error)";
}

TEST(ProblemFile, MovesDiscreteBoundsOntoAllowedValuesAndSaysSo) {
  const CProblem problem = ParseProblem(kSoundProblem, "plate.toml");
  ASSERT_EQ(problem.sets.size(), 1u);
  EXPECT_EQ(problem.sets[0].values.size(), 16u);  // 1/16 .. 1 in steps of 1/16
  const CProblemVariable& t = problem.variables[1];
  EXPECT_EQ(t.lower, 0.125);  // 0.1 moved up to the next set value
  EXPECT_EQ(t.upper, 1.0);    // the set's largest value, as no upper bound is given
  EXPECT_EQ(t.givenLower, 0.1);
  const CProblemVariable& n = problem.variables[2];
  EXPECT_EQ(n.lower, 2.0);
  EXPECT_EQ(n.upper, 7.0);
  EXPECT_TRUE(n.boundsMoved);
  EXPECT_FALSE(problem.variables[0].boundsMoved);
  EXPECT_THAT(problem.boundNotes,
              ElementsAre("plate.toml:12: variables.t: lower bound 0.1 moved up to 0.125 (a value "
                          "of set 'thickness')",
                          "plate.toml:16: variables.n: lower bound 1.5 rounded up to 2",
                          "plate.toml:16: variables.n: upper bound 7.8 rounded down to 7"));
}

TEST(ProblemFile, ValuesWithinRoundingOfAnAllowedValueAreTakenAsIt) {
  const CProblem problem = ParseProblem(WithLine(18, "lower = 1.9999999999999998"), "plate.toml");
  EXPECT_EQ(problem.variables[2].lower, 2.0);
  EXPECT_EQ(problem.boundNotes.size(), 2u);  // t's lower and n's upper only
}

struct CBadCase {
  int line;                 // line of kSoundProblem to replace; 0 appends
  const char* replacement;  // the replacing text
  const char* expected;     // the error line expected
};

class ProblemFileMistake : public ::testing::TestWithParam<CBadCase> {};

TEST_P(ProblemFileMistake, IsReportedWithFileLineFieldAndReason) {
  const CBadCase& bad = GetParam();
  const std::string text = bad.line == 0 ? std::string(kSoundProblem) + bad.replacement
                                         : WithLine(bad.line, bad.replacement);
  EXPECT_THAT(ErrorsOf(text), HasSubstr(bad.expected));
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, ProblemFileMistake,
    ::testing::Values(
        CBadCase{9, "lower = 70", "plate.toml:9: variables.w.lower: 70 is above upper bound 60"},
        CBadCase{5, "objective = \"w * t * rho\"",
                 "plate.toml:5: objective: unknown name 'rho' in 'w * t * rho'"},
        CBadCase{7, "thickness = []", "plate.toml:7: sets.thickness: the set is empty"},
        CBadCase{7, "thickness = [0.25, 0.125, 0.5]",
                 "plate.toml:7: sets.thickness: values are not ascending: 0.125 follows 0.25"},
        CBadCase{7, "thickness = [0.25, 0.25]", "values are not ascending: 0.25 follows 0.25"},
        CBadCase{19, "upper = 3e9",
                 "plate.toml:19: variables.n.upper: 3000000000 is beyond the 32-bit integer range "
                 "-2147483648 .. 2147483647"},
        CBadCase{11, "start = 61",
                 "plate.toml:11: variables.w.start: 61 is outside the bounds 10 .. 60"},
        CBadCase{21, "n = \"7.85\"",
                 "plate.toml:21: equations.n: duplicate name 'n': already the name of a variable "
                 "(line 16)"},
        CBadCase{10, "uper = 60",
                 "plate.toml:10: variables.w.uper: unknown key 'uper'; did you mean 'upper'?"},
        CBadCase{10, "uper = 60", "plate.toml:8: variables.w.upper: missing; a number is required"},
        CBadCase{9, "lower = \"ten\"", "plate.toml:9: variables.w.lower: 'ten' is not a number"},
        CBadCase{3, "sense = \"minimum\"",
                 "plate.toml:3: sense: \"minimum\" is not a sense; use \"min\" or \"max\""},
        CBadCase{5, "", "plate.toml: objective: missing; the objective is required"},
        CBadCase{14, "set = \"thick\"", "plate.toml:14: variables.t.set: unknown set 'thick'"},
        CBadCase{23, "stiffness = \"w * t^3 > 2\"",
                 "plate.toml:23: constraints.stiffness: '>' is not a constraint operator"},
        CBadCase{23, "stiffness = \"w * t^3\"", "constraints.stiffness: no comparison"},
        CBadCase{23, "stiffness = \"w * t^3 >= 2 * w\"",
                 "constraints.stiffness: the value '2 * w' may not use names; move 'w' to the "
                 "left-hand side"},
        CBadCase{23, "stiffness = \"w >= 1 <= 3\"",
                 "constraints.stiffness: more than one comparison"},
        CBadCase{4, "tolerance = = 1", "plate.toml:4: "},
        CBadCase{11, "units = 5",
                 "plate.toml:11: variables.w.units: 5 is not a text (write it in double quotes)"},
        CBadCase{11, "description = [\"wide\"]",
                 "plate.toml:11: variables.w.description: [ 'wide' ] is not a text"},
        CBadCase{19, "upper = 1.9",
                 "plate.toml:16: variables.n: no whole number lies between the bounds 1.5 and 1.9"},
        CBadCase{15, "lower = 0.3\nupper = 0.31",
                 "variables.t: no value of set 'thickness' lies between the bounds 0.3 and 0.31"},
        CBadCase{8, "[variables.sin]",
                 "plate.toml:8: variables.sin: 'sin' is the name of a function or constant"},
        CBadCase{8, "[variables.2w]", "variables.2w: '2w' is not a usable name"},
        CBadCase{21, "density = \"mass / 2\"\nmass = \"7.85\"",
                 "equations.density: unknown name 'mass' in 'mass / 2' (an equation may use the "
                 "variables and the equations above it)"},
        CBadCase{4, "module_type = 2", "module_type: 2 is not a module type"},
        CBadCase{
            4, "start_points = 4",
            "plate.toml:4: start_points: only a problem of module_type 1 has several start points"},
        CBadCase{0, "[optimizer]\nalgorithm = \"bfgs\"\n",
                 "optimizer.algorithm: \"bfgs\" is not an algorithm"},
        CBadCase{7, "thickness = { from = 0.0625, to = 1.0, step = 0 }",
                 "plate.toml:7: sets.thickness.step: 0 is not above 0"},
        CBadCase{13, "kind = \"real\"", "plate.toml:13: variables.t.kind: \"real\" is not a kind"},
        CBadCase{18, "set = \"thickness\"\nlower = 1.5",
                 "variables.n.set: only a variable of kind \"set\" takes its values from a set"},
        CBadCase{1, "name = \"my plate\"",
                 "plate.toml:1: name: \"my plate\" holds ' '; a name holds only letters, digits"},
        CBadCase{1, "name = \".plate\"",
                 "plate.toml:1: name: \".plate\" starts with '.'; a name starts with a letter, a "
                 "digit or '_'"},
        CBadCase{5, "objective = \"w = 3\"",
                 "plate.toml:5: objective: cannot read 'w = 3': '=' (character 3): expressions "
                 "have no assignments or comparisons"},
        CBadCase{5, "objective = \"(w < 3) * t\"",
                 "objective: cannot read '(w < 3) * t': '<' (character 4): expressions have no"},
        CBadCase{21, "density = \" \"",
                 "plate.toml:21: equations.density: the expression is empty"},
        CBadCase{21, "density = \"7.85, n\"",
                 "plate.toml:21: equations.density: cannot read '7.85, n': ',' (character 5): a "
                 "comma only separates the arguments of a function"},
        CBadCase{24, "area = { expression = \"w * t <= 30\", scale = -1 }",
                 "plate.toml:24: constraints.area.scale: -1 is not above 0"},
        CBadCase{0, "[limits]\nmax_nodes = 0\n",
                 "limits.max_nodes: 0 is not between 1 and 2147483647"},
        CBadCase{5, "objective = \"w * (t\"", "objective: cannot read 'w * (t'"},
        CBadCase{0, "[slurm]\nmode = \"jobs\"\n",
                 "plate.toml:25: slurm: [slurm] is set but the problem has no analyses"},
        CBadCase{1, "name = \"plate\"\nslurm = 3", "plate.toml:2: slurm: 3 is not a table"}));

// Two analyses run through Slurm, one with resources of its own; each bad
// case below replaces one line (1-based).
const char* const kSlurmProblem = R"(name = "beam"
objective = "f + g"
variables.x = { lower = 0, upper = 3 }
[analyses.a]
command = ["sh", "a.sh"]
writes = ["f"]
[analyses.b]
command = ["sh", "b.sh"]
writes = ["g"]
[analyses.b.slurm]
partition = "long"
time = "2-00:30"
cpus = 8
options = ["--qos=big"]
[slurm]
mode = "jobs"
partition = "short"
account = "design"
time = "30:00"
cpus = 2
memory = "4G"
options = ["--exclusive", "--constraint=avx2"]
poll_interval = 0.5
patience = 120
)";

// All fields of Slurm settings, to be compared at once.
auto Fields(const CSlurmSettings& s) {
  return std::tie(s.partition, s.account, s.time, s.cpus, s.memory, s.options, s.pollInterval,
                  s.patience);
}
using CSlurmFields = std::tuple<std::string, std::string, std::string, int, std::string,
                                std::vector<std::string>, double, double>;

// Every analysis gets the file's [slurm] settings with its own on top; they
// are stored with it and read back, and a definition stored before there
// were any gets the defaults.
TEST(ProblemFile, SlurmSettingsReachEveryAnalysisAndItsStoredDefinition) {
  const CProblem problem = ParseProblem(kSlurmProblem, "beam.toml");
  EXPECT_EQ(problem.slurmMode, ESlurmMode::Jobs);
  ASSERT_EQ(problem.analyses.size(), 2u);
  EXPECT_EQ(Fields(problem.analyses[0].slurm),
            CSlurmFields("short", "design", "30:00", 2, "4G", {"--exclusive", "--constraint=avx2"},
                         0.5, 120));
  const CAnalysisDefinition stored = AnalysisFromJson("b", AnalysisToJson(problem.analyses[1]));
  for (const CSlurmSettings* b : {&problem.analyses[1].slurm, &stored.slurm})
    EXPECT_EQ(Fields(*b),
              CSlurmFields("long", "design", "2-00:30", 8, "4G", {"--qos=big"}, 0.5, 120));
  EXPECT_EQ(ParseProblem(WithLine(16, "", kSlurmProblem), "beam.toml").slurmMode,
            ESlurmMode::Auto);  // the default of a [slurm] table
  const CAnalysisDefinition before = AnalysisFromJson(
      "old", R"({"command": ["/bin/sh"], "reads": [], "writes": ["f"], "time_limit": 0,
                 "retries": 0, "keep": "failed", "work_folder": "/w"})");
  const CSlurmSettings defaults;
  EXPECT_EQ(Fields(before.slurm), Fields(defaults));
}

class SlurmMistake : public ::testing::TestWithParam<CBadCase> {};

TEST_P(SlurmMistake, IsReportedWithFileLineFieldAndReason) {
  const CBadCase& bad = GetParam();
  EXPECT_THAT(ErrorsOf(WithLine(bad.line, bad.replacement, kSlurmProblem), "beam.toml"),
              HasSubstr(bad.expected));
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, SlurmMistake,
    ::testing::Values(
        CBadCase{16, "mode = \"batch\"",
                 "beam.toml:16: slurm.mode: \"batch\" is not a mode; use \"auto\", \"steps\" or "
                 "\"jobs\""},
        CBadCase{19, "time = \"1h\"",
                 "beam.toml:19: slurm.time: \"1h\" is not a time as Slurm writes it; use \"MM\", "
                 "\"MM:SS\", \"HH:MM:SS\", \"D-HH\", \"D-HH:MM\" or \"D-HH:MM:SS\""},
        CBadCase{19, "time = \"1:02:03:04\"", "slurm.time: \"1:02:03:04\" is not a time"},
        CBadCase{12, "time = \"2-\"", "analyses.b.slurm.time: \"2-\" is not a time"},
        CBadCase{20, "cpus = 0", "beam.toml:20: slurm.cpus: 0 is not between 1 and 4096"},
        CBadCase{13, "cpus = 4097", "analyses.b.slurm.cpus: 4097 is not between 1 and 4096"},
        CBadCase{13, "cpus = 1.5", "analyses.b.slurm.cpus: 1.5 is not a whole number"},
        CBadCase{21, "memory = \"4 GB\"",
                 "beam.toml:21: slurm.memory: \"4 GB\" is not an amount of memory; write digits "
                 "with an optional K, M, G or T (\"4G\", \"500M\")"},
        CBadCase{22, "options = [\"--exclusive\", \"-p gpu\"]",
                 "beam.toml:22: slurm.options: \"-p gpu\" does not begin with \"--\"; write each "
                 "option as one text (\"--qos=long\")"},
        CBadCase{14, "options = \"--qos=big\"",
                 "analyses.b.slurm.options: '--qos=big' is not a list of texts"},
        CBadCase{23, "poll_interval = 0", "beam.toml:23: slurm.poll_interval: 0 is not above 0"},
        CBadCase{24, "patience = -1", "beam.toml:24: slurm.patience: -1 is not above 0"},
        CBadCase{13, "patience = 5",
                 "beam.toml:13: analyses.b.slurm.patience: set for the whole file only, in "
                 "[slurm]"},
        CBadCase{12, "tme = \"30\"",
                 "beam.toml:12: analyses.b.slurm.tme: unknown key 'tme'; did you mean 'time'?"},
        CBadCase{17, "partitions = \"short\"", "slurm.partitions: unknown key 'partitions'"},
        CBadCase{17, "partition = 3", "slurm.partition: 3 is not a text"},
        CBadCase{10, "slurm = \"big\"\n[nothing]",
                 "beam.toml:10: analyses.b.slurm: 'big' is not a table {partition, time, cpus, "
                 "...}"}));

// The report takes units and descriptions from the stored problem text
// (VariableNotes.h), which needs neither the catalogues' files nor a check.
TEST(ProblemFile, UnitsAndDescriptionsAreReadForTheReport) {
  const std::string text = WithLine(11, "units = \"mm\"\ndescription = \"plate width\"");
  const CProblem problem = ParseProblem(text, "plate.toml");
  EXPECT_EQ(problem.variables[0].units, "mm");
  EXPECT_EQ(problem.variables[0].description, "plate width");
  const auto notes = VariableNotesOf(text);
  ASSERT_EQ(notes.size(), 1u);  // only variables with a note
  EXPECT_EQ(notes.at("w").units, "mm");
  EXPECT_EQ(notes.at("w").description, "plate width");
  EXPECT_TRUE(VariableNotesOf("variables = [").empty());
}

TEST(ProblemFile, ReportsEveryMistakeNotOnlyTheFirst) {
  std::string text = WithLine(9, "lower = 70");
  text.replace(text.find("sense = \"min\""), 13, "sense = \"up\"");
  // Both mistakes, in order of lines.
  EXPECT_THAT(ErrorsOf(text),
              ContainsRegex("plate.toml:3: sense.*plate.toml:9: variables.w.lower"));
}

// A mistake gets one line (a value of the wrong type no second one about its
// contents), quoting at most the start of a name, expression or text of any size.
TEST(ProblemFile, EveryMistakeIsOneShortLineHoweverLargeTheInput) {
  const std::string huge(800000, 'v');
  const struct {
    std::string text;      // the problem
    std::string expected;  // in the one line of the error
  } cases[] = {
      {WithLine(1, "name = 5"), "plate.toml:1: name: 5 is not a text (write it in double quotes)"},
      {WithLine(21, "density = 7.85"),
       "plate.toml:21: equations.density: 7.85 is not an expression in double quotes"},
      {WithLine(1, "name = \"" + std::string(300, 'p') + "\""),
       "pppp...\" has 300 characters; a name has at most 100"},
      {std::string(kSoundProblem) + "[variables." + std::string(101, 'v') +
           "]\nlower = 0\nupper = 1\n",
       "vvvv...' has 101 characters; a name has at most 100"},
      {std::string(kSoundProblem) + "[variables." + huge.substr(0, 40000) +
           "]\nlower = 0\nupper = 1\n",
       "has 40000 characters; a name has at most 100"},
      {WithLine(5, "objective = \"" + huge + "\""),
       "the expression has 800000 characters; at most 20000 are allowed"},
      {WithLine(5, "objective = \"\"\"w * t\n  * rho\"\"\""),
       "objective: unknown name 'rho' in 'w * t   * rho'"},
      {WithLine(3, "sense = \"" + huge + "\""), "\"vvvv"},
      // muParser quotes the rest of the expression from an unexpected token on.
      {WithLine(5, "objective = \"\"\"w * . 7\n + " + huge.substr(0, 5000) + "\n + t\"\"\""),
       "v...\" found at position 4"},
  };
  for (const auto& bad : cases) {
    const std::string errors = ErrorsOf(bad.text);
    EXPECT_THAT(errors, HasSubstr(bad.expected));
    EXPECT_EQ(errors.find('\n'), std::string::npos) << errors.substr(0, 400);
    EXPECT_LT(errors.size(), 400u);
  }
}

// What cannot be read says why, and what is no regular file or too large is
// not read at all (reading /dev/zero would never end).
TEST(ProblemFile, OnlyARegularFileOfAtMost16MiBIsRead) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                       ("discrete-problem-file-" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  const std::string fifo = (folder / "fifo.toml").string();
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const std::string large = (folder / "large.toml").string();
  std::ofstream(large) << kSoundProblem;
  std::filesystem::resize_file(large, (16 << 20) + 1);
  const std::pair<std::string, std::string> cases[] = {
      {"/nonexistent/gear.toml",
       "/nonexistent/gear.toml: cannot open the file: No such file or directory"},
      {folder.string(), folder.string() + ": is a directory, not a problem file (a regular file)"},
      {"/dev/zero", "/dev/zero: is a character device, not a problem file (a regular file)"},
      {fifo, fifo + ": is a FIFO (named pipe), not a problem file (a regular file)"},
      {large, large + ": the file is larger than 16 MiB, the most a problem file may hold"},
  };
  for (const auto& [path, expected] : cases) {
    EXPECT_THAT([&] { ReadProblemFile(path); }, ThrowsMessage<CProblemFileError>(StrEq(expected)));
  }
  std::filesystem::remove_all(folder);
}

}  // namespace
