#include "problem/ProblemFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <limits>
#include <optional>
#include <tuple>

#include "expressions/MessageText.h"
#include "problem/ProblemBounds.h"
#include "problem/ProblemCheck.h"
#include "problem/ProblemSections.h"
#include "problem/RegularFile.h"
#include "problem/TomlFields.h"
#include "solver/Algorithms.h"

namespace {

constexpr double kLargestInteger = std::numeric_limits<int32_t>::max();
constexpr long long kMostStartPoints = 10000;
// The name makes the database file name "<name>-<n>.db", which must stay
// below the file systems' 255 bytes.
constexpr size_t kLongestProblemName = 100;
// Problem files are a few kilobytes; this leaves room for sets and
// expressions far beyond any real problem and refuses devices and runaway files.
constexpr size_t kLargestProblemFile = size_t{16} << 20;

// "expr", or a table {expression, name, scale}.
void ReadObjective(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues) {
  const toml::node* node = top.Node("objective");
  problem.objectiveLine = top.LineOf("objective");
  if (node == nullptr) return top.Report("objective", "missing; the objective is required");
  if (node->is_string()) {
    problem.objective = *node->value<std::string>();
  } else if (const toml::table* table = node->as_table()) {
    CTableReader reader(*table, "objective", issues);
    const auto expression = reader.Text("expression", ERequired::Yes);
    if (!expression) return;
    problem.objective = *expression;
    problem.objectiveName = reader.Text("name", ERequired::No).value_or(problem.objectiveName);
    if (const auto scale = reader.Number("scale", ERequired::No)) {
      if (*scale <= 0)
        reader.Report("scale", fmt::format("{} is not above 0", FormatNumber(*scale)));
      problem.objectiveScale = *scale;
    }
    reader.ReportUnknownKeys();
  } else {
    return top.Report(
        "objective",
        fmt::format("{} is neither an expression nor a table {{expression, name, scale}}",
                    Describe(*node)));
  }
  if (problem.objective.find_first_not_of(" \t") == std::string::npos) {
    top.Report("objective", "the expression is empty");
  }
}

void ReadOptimizer(CTableReader& top, COptimizerSettings& settings,
                   std::vector<CProblemIssue>& issues) {
  const toml::table* table = top.Table("optimizer", ERequired::No);
  if (table == nullptr) return;
  CTableReader reader(*table, "optimizer", issues);
  if (const auto algorithm = reader.Text("algorithm", ERequired::No)) {
    if (FindAlgorithm(*algorithm) == nullptr) {
      reader.Report("algorithm", fmt::format("\"{}\" is not an algorithm; use {}",
                                             Excerpt(*algorithm), AlgorithmNames(true)));
    }
    settings.algorithm = *algorithm;
  }
  if (const auto gradient = reader.Text("gradient", ERequired::No)) {
    if (*gradient == "central")
      settings.gradient = EGradientKind::Central;
    else if (*gradient == "forward")
      settings.gradient = EGradientKind::Forward;
    else
      reader.Report("gradient",
                    fmt::format("\"{}\" is not a scheme; use \"central\" or \"forward\"",
                                Excerpt(*gradient)));
  }
  if (const auto step = reader.Number("step", ERequired::No)) {
    if (*step <= 0 || *step >= 1)
      reader.Report("step", fmt::format("{} is not between 0 and 1", FormatNumber(*step)));
    settings.relativeStep = *step;
  }
  if (const auto evaluations = reader.Integer("max_evaluations", ERequired::No)) {
    if (*evaluations < 1 || *evaluations > kLargestInteger) {
      reader.Report("max_evaluations", fmt::format("{} is not between 1 and {}", *evaluations,
                                                   FormatNumber(kLargestInteger)));
    }
    settings.maxEvaluations =
        static_cast<int>(std::clamp<long long>(*evaluations, 1, kLargestInteger));
  }
  for (auto [key, target, least] :
       {std::tuple{"retries", &settings.retries, 0},
        std::tuple{"root_starts", &settings.rootStarts, 1},
        std::tuple{"suspicious_starts", &settings.suspiciousStarts, 0}}) {
    if (const auto count = reader.Integer(key, ERequired::No)) {
      if (*count < least || *count > kMostStartPoints) {
        reader.Report(key,
                      fmt::format("{} is not between {} and {}", *count, least, kMostStartPoints));
      }
      *target = static_cast<int>(std::clamp<long long>(*count, least, kMostStartPoints));
    }
  }
  for (auto [key, target] : {std::pair{"x_tolerance", &settings.xTolerance},
                             std::pair{"f_tolerance", &settings.fTolerance},
                             std::pair{"max_seconds", &settings.maxSeconds}}) {
    if (const auto value = reader.Number(key, ERequired::No)) {
      if (*value < 0) reader.Report(key, fmt::format("{} is below 0", FormatNumber(*value)));
      *target = *value;
    }
  }
  reader.ReportUnknownKeys();
}

void ReadLimits(CTableReader& top, CSearchLimits& limits, std::vector<CProblemIssue>& issues) {
  const toml::table* table = top.Table("limits", ERequired::No);
  if (table == nullptr) return;
  CTableReader reader(*table, "limits", issues);
  if (const auto nodes = reader.Integer("max_nodes", ERequired::No)) {
    if (*nodes < 1 || *nodes > kLargestInteger) {
      reader.Report("max_nodes", fmt::format("{} is not between 1 and {}", *nodes,
                                             FormatNumber(kLargestInteger)));
    }
    limits.maxNodes = static_cast<int>(std::clamp<long long>(*nodes, 0, kLargestInteger));
  }
  if (const auto seconds = reader.Number("time_limit", ERequired::No)) {
    if (*seconds <= 0)
      reader.Report("time_limit", fmt::format("{} is not above 0", FormatNumber(*seconds)));
    limits.timeLimit = *seconds;
  }
  reader.ReportUnknownKeys();
}

void ReadReference(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues) {
  const toml::table* table = top.Table("reference", ERequired::No);
  if (table == nullptr) return;
  CTableReader reader(*table, "reference", issues);
  problem.referenceObjective = reader.Number("objective", ERequired::Yes).value_or(kNoValue);
  if (const auto tolerance = reader.Number("tolerance", ERequired::No)) {
    if (*tolerance < 0)
      reader.Report("tolerance", fmt::format("{} is below 0", FormatNumber(*tolerance)));
    problem.referenceTolerance = *tolerance;
  }
  reader.ReportUnknownKeys();
}

// Why the name cannot name the database file; nothing when it can.
std::optional<std::string> ProblemNameMistake(const std::string& name) {
  const char* const rule = "(it names the database file)";
  if (name.empty()) return fmt::format("the name is empty {}", rule);
  if (name.size() > kLongestProblemName) {
    return fmt::format("\"{}\" has {} characters; a name has at most {} {}", Excerpt(name),
                       name.size(), kLongestProblemName, rule);
  }
  auto isLetterDigitOrUnderscore = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
  };
  if (!isLetterDigitOrUnderscore(name[0])) {
    return fmt::format("\"{}\" starts with {}; a name starts with a letter, a digit or '_' {}",
                       Excerpt(name), CharacterName(name[0]), rule);
  }
  const auto bad = std::find_if(name.begin(), name.end(), [&](char c) {
    return !isLetterDigitOrUnderscore(c) && c != '-' && c != '.';
  });
  if (bad != name.end()) {
    return fmt::format("\"{}\" holds {}; a name holds only letters, digits, '_', '-' and '.' {}",
                       Excerpt(name), CharacterName(*bad), rule);
  }
  return std::nullopt;
}

void ReadSettings(CTableReader& top, CProblem& problem) {
  const auto name = top.Text("name", ERequired::Yes);
  if (name) {
    if (const auto mistake = ProblemNameMistake(*name)) top.Report("name", *mistake);
  }
  problem.name = name.value_or("");
  problem.description = top.Text("description", ERequired::No).value_or("");
  problem.source = top.Text("source", ERequired::No).value_or("");
  if (const auto sense = top.Text("sense", ERequired::No)) {
    if (*sense != "min" && *sense != "max") {
      top.Report("sense",
                 fmt::format("\"{}\" is not a sense; use \"min\" or \"max\"", Excerpt(*sense)));
    }
    problem.minimize = *sense != "max";
  }
  if (const auto tolerance = top.Number("tolerance", ERequired::No)) {
    if (*tolerance < 0)
      top.Report("tolerance", fmt::format("{} is below 0", FormatNumber(*tolerance)));
    problem.tolerance = *tolerance;
  }
  if (const auto moduleType = top.Integer("module_type", ERequired::No)) {
    if (*moduleType != 0 && *moduleType != 1) {
      top.Report("module_type",
                 fmt::format("{} is not a module type; use 0 (one start point) or 1 (several)",
                             *moduleType));
    }
    problem.moduleType = *moduleType == 1 ? 1 : 0;
  }
  problem.startPoints = problem.moduleType == 1 ? 8 : 1;
  if (const auto startPoints = top.Integer("start_points", ERequired::No)) {
    if (*startPoints < 1 || *startPoints > kMostStartPoints) {
      top.Report("start_points",
                 fmt::format("{} is not between 1 and {}", *startPoints, kMostStartPoints));
    } else if (problem.moduleType == 0 && *startPoints != 1) {
      top.Report("start_points", "only a problem of module_type 1 has several start points");
    }
    problem.startPoints =
        static_cast<int>(std::clamp<long long>(*startPoints, 1, kMostStartPoints));
  }
  if (const auto seed = top.Integer("seed", ERequired::No)) {
    if (*seed < 0 || *seed > kLargestInteger) {
      top.Report("seed",
                 fmt::format("{} is not between 0 and {}", *seed, FormatNumber(kLargestInteger)));
    }
    problem.seed = static_cast<unsigned>(std::clamp<long long>(*seed, 0, kLargestInteger));
  }
}

// Longest field path and TOML syntax message quoted in a message.
constexpr size_t kLongestField = 160;
constexpr size_t kLongestParseError = 200;

}  // namespace

CProblemFileError::CProblemFileError(const std::string& file, std::vector<CProblemIssue> issues)
    : std::runtime_error([&] {
        std::string text;
        for (const CProblemIssue& issue : issues) {
          if (!text.empty()) text += '\n';
          text += file;
          if (issue.line > 0) text += ":" + std::to_string(issue.line);
          text += ": ";
          if (!issue.field.empty()) text += Excerpt(issue.field, kLongestField) + ": ";
          text += issue.message;
        }
        return text;
      }()),
      m_issues(std::move(issues)) {}

CProblem ParseProblem(std::string_view text, const std::string& fileName) {
  toml::table document;
  try {
    document = toml::parse(text, std::string_view(fileName));
  } catch (const toml::parse_error& error) {
    throw CProblemFileError(fileName, {{static_cast<int>(error.source().begin.line), "",
                                        Excerpt(error.description(), kLongestParseError)}});
  }
  std::vector<CProblemIssue> issues;
  CProblem problem;
  problem.file = fileName;
  CTableReader top(document, "", issues);
  ReadSettings(top, problem);
  ReadSets(top, problem, issues);
  ReadCatalogues(top, problem, issues);
  ReadVariables(top, problem, issues);
  AddCatalogueQuantities(problem, issues);
  ReadEquations(top, problem, issues);
  ReadObjective(top, problem, issues);
  ReadConstraints(top, problem, issues);
  ReadAnalyses(top, problem, issues);
  ReadSlurm(top, problem, issues);
  ReadOptimizer(top, problem.optimizer, issues);
  ReadLimits(top, problem.limits, issues);
  ReadReference(top, problem, issues);
  top.ReportUnknownKeys();
  CheckProblem(problem, issues);
  problem.boundNotes = MoveBoundsOntoAllowedValues(problem, issues);
  if (!issues.empty()) {
    std::stable_sort(
        issues.begin(), issues.end(),
        [](const CProblemIssue& a, const CProblemIssue& b) { return a.line < b.line; });
    throw CProblemFileError(fileName, std::move(issues));
  }
  return problem;
}

CProblemText ReadProblemText(const std::string& path) {
  const bool standardInput = path == kStandardInputPath;
  CProblemText problem{"", standardInput ? kStandardInputName : path};
  try {
    problem.text = standardInput ? ReadStandardInput(kLargestProblemFile, "a problem file")
                                 : ReadRegularFile(path, kLargestProblemFile, "a problem file");
  } catch (const std::runtime_error& error) {
    throw CProblemFileError(problem.name, {{0, "", error.what()}});
  }
  return problem;
}

CProblem ReadProblemFile(const std::string& path) {
  const CProblemText problem = ReadProblemText(path);
  return ParseProblem(problem.text, problem.name);
}
