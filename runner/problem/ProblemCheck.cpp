#include "problem/ProblemCheck.h"

#include <fmt/format.h>
#include <muParserDef.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <optional>

#include "expressions/ExpressionModel.h"
#include "expressions/MessageText.h"

namespace {

// Names of variables and equations are at most as long as muParser's identifiers.
constexpr size_t kLongestName = mu::MaxLenIdentifier;

// Why the name cannot be used in expressions; nothing when it can.
std::optional<std::string> NameMistake(const std::string& name) {
  if (name.size() > kLongestName) {
    return fmt::format("'{}' has {} characters; a name has at most {}", Excerpt(name), name.size(),
                       kLongestName);
  }
  auto isNameCharacter = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
  };
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])) ||
      !std::all_of(name.begin(), name.end(), isNameCharacter)) {
    return fmt::format(
        "'{}' is not a usable name: start with a letter or '_', then letters, digits or '_'",
        Excerpt(name));
  }
  if (CExpressionModel::IsReservedName(name)) {
    return fmt::format("'{}' is the name of a function or constant", name);
  }
  return std::nullopt;
}

// Names of variables and equations share one name space: expressions use both.
void CheckNames(const CProblem& problem, std::vector<CProblemIssue>& issues) {
  std::map<std::string, std::string> declared;  // name -> "variable (line n)"
  // `what` says what the name names, `origin` more of it (empty for a name of the file's own)
  auto check = [&](const std::string& name, int line, const std::string& path,
                   const std::string& what, const std::string& origin = "") {
    const std::string label =
        origin.empty() ? "'" + name + "'" : fmt::format("'{}' ({})", name, origin);
    if (const auto mistake = NameMistake(name)) {
      issues.push_back(
          {line, path, origin.empty() ? *mistake : fmt::format("{}: {}", origin, *mistake)});
    } else if (auto found = declared.find(name); found != declared.end()) {
      issues.push_back(
          {line, path,
           fmt::format("duplicate name {}: already the name of a {}", label, found->second)});
      return;
    }
    declared.emplace(
        name, fmt::format("{} (line {})", origin.empty() ? what : what + ", " + origin, line));
  };
  for (const CProblemVariable& variable : problem.variables) {
    check(variable.name, variable.line, "variables." + variable.name, "variable");
  }
  for (const CProblemEquation& equation : problem.equations) {
    if (equation.field.empty())
      check(equation.name, equation.line, "equations." + equation.name, "equation");
    else
      check(equation.name, equation.line, equation.field, "catalogue quantity", equation.origin);
  }
  // Responses of analyses are bound like variables; an analysis' name names
  // its working folder, so it keeps to the same rule.
  for (const CAnalysisDefinition& analysis : problem.analyses) {
    const std::string path = "analyses." + analysis.name;
    if (const auto mistake = NameMistake(analysis.name))
      issues.push_back({analysis.line, path, *mistake});
    for (const std::string& response : analysis.writes)
      check(response, analysis.line, path + ".writes", "response");
  }
}

void CheckExpression(const std::string& expression, const std::vector<std::string>& names, int line,
                     const std::string& path, const std::string& scopeHint,
                     std::vector<CProblemIssue>& issues) {
  try {
    CExpressionModel::Check(expression, names);
  } catch (const CExpressionError& error) {
    std::string message = error.what();
    if (!error.UnknownName().empty()) message += scopeHint;
    issues.push_back({line, path, message});
  }
}

// Names that are unusable (already reported) are left out of the checks.
void CheckExpressions(const CProblem& problem, std::vector<CProblemIssue>& issues) {
  std::vector<std::string> names;
  auto declare = [&](const std::string& name) {
    if (!NameMistake(name)) names.push_back(name);
  };
  for (const CProblemVariable& variable : problem.variables) declare(variable.name);
  for (const CAnalysisDefinition& analysis : problem.analyses) {
    for (const std::string& response : analysis.writes) declare(response);
  }
  for (const CProblemEquation& equation : problem.equations) {
    // An empty expression (or a value that is none) is already reported while reading.
    if (equation.expression.find_first_not_of(" \t\r\n") != std::string::npos) {
      CheckExpression(equation.expression, names, equation.line,
                      equation.field.empty() ? "equations." + equation.name : equation.field,
                      " (an equation may use the variables and the equations above it)", issues);
    }
    declare(equation.name);
  }
  if (problem.objective.find_first_not_of(" \t") != std::string::npos) {
    CheckExpression(problem.objective, names, problem.objectiveLine, "objective", "", issues);
  }
  for (const CProblemConstraint& constraint : problem.constraints) {
    if (constraint.expression.empty()) continue;  // already reported while reading
    CheckExpression(constraint.expression, names, constraint.line, "constraints." + constraint.name,
                    "", issues);
  }
}

}  // namespace

void CheckProblem(const CProblem& problem, std::vector<CProblemIssue>& issues) {
  CheckNames(problem, issues);
  CheckExpressions(problem, issues);
}
