#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "expressions/ExpressionModel.h"
#include "expressions/MessageText.h"
#include "problem/Comparison.h"
#include "problem/ProblemSections.h"

namespace {

constexpr double kSmallestInteger = std::numeric_limits<int32_t>::min();
constexpr double kLargestInteger = std::numeric_limits<int32_t>::max();
constexpr long long kMostSetValues = 1000000;

// The values of a set: a list of numbers, or a range {from, to, step}.
void ReadSet(CTableReader& sets, const std::string& name, const toml::node& node, CProblemSet& set,
             std::vector<CProblemIssue>& issues) {
  set.name = name;
  set.line = LineOf(node);
  const std::string path = sets.PathOf(name);
  if (const toml::array* list = node.as_array()) {
    for (const toml::node& value : *list) {
      if (!value.is_number() || !std::isfinite(*value.value<double>())) {
        issues.push_back(
            {LineOf(value), path, fmt::format("{} is not a finite number", Describe(value))});
        continue;
      }
      set.values.push_back(*value.value<double>());
    }
  } else if (const toml::table* range = node.as_table()) {
    CTableReader reader(*range, path, issues);
    const auto from = reader.Number("from", ERequired::Yes);
    const auto to = reader.Number("to", ERequired::Yes);
    const auto step = reader.Number("step", ERequired::Yes);
    reader.ReportUnknownKeys();
    if (!from || !to || !step) return;
    if (*step <= 0)
      return reader.Report("step", fmt::format("{} is not above 0", FormatNumber(*step)));
    if (*to < *from) {
      return reader.Report(
          "to", fmt::format("{} is below 'from' {}", FormatNumber(*to), FormatNumber(*from)));
    }
    const double count = std::floor((*to - *from) / *step * (1 + 1e-12) + 1e-9) + 1;
    if (count > kMostSetValues) {
      return reader.Report("step", fmt::format("the range has {} values; at most {} are allowed",
                                               count, kMostSetValues));
    }
    for (long long i = 0; i < static_cast<long long>(count); ++i)
      set.values.push_back(*from + i * *step);
    return;
  } else {
    issues.push_back({LineOf(node), path,
                      fmt::format("{} is neither a list of values nor a range {{from, to, step}}",
                                  Describe(node))});
    return;
  }
  if (set.values.empty()) {
    issues.push_back({set.line, path, "the set is empty; give at least one value"});
    return;
  }
  for (size_t i = 1; i < set.values.size(); ++i) {
    if (set.values[i] <= set.values[i - 1]) {
      issues.push_back({set.line, path,
                        fmt::format("values are not ascending: {} follows {}",
                                    FormatNumber(set.values[i]), FormatNumber(set.values[i - 1]))});
      return;
    }
  }
}

EVariableKind ReadKind(CTableReader& reader, bool hasSet) {
  const auto kind = reader.Text("kind", ERequired::No);
  if (!kind) return hasSet ? EVariableKind::Set : EVariableKind::Continuous;
  if (*kind == "continuous") return EVariableKind::Continuous;
  if (*kind == "integer") return EVariableKind::Integer;
  if (*kind == "set") return EVariableKind::Set;
  reader.Report("kind",
                fmt::format("\"{}\" is not a kind; use \"continuous\", \"integer\" or \"set\"",
                            Excerpt(*kind)));
  return EVariableKind::Continuous;
}

// The set of a Set variable: named by `set`, or the set of a catalogue's key
// values named by `catalogue`.
void ReadValues(CTableReader& reader, const CProblem& problem, CProblemVariable& variable) {
  const auto setName = reader.Text("set", ERequired::No);
  const auto catalogueName = reader.Text("catalogue", ERequired::No);
  variable.kind = ReadKind(reader, setName || catalogueName);
  if (variable.kind != EVariableKind::Set) {
    if (setName || catalogueName) {
      reader.Report(setName ? "set" : "catalogue",
                    "only a variable of kind \"set\" takes its values from a set or a catalogue");
    }
  } else if (catalogueName) {
    if (setName) reader.Report("set", "give the variable's 'set' or its 'catalogue', not both");
    const auto& catalogues = problem.catalogues;
    auto found = std::find_if(catalogues.begin(), catalogues.end(),
                              [&](const CProblemCatalogue& c) { return c.name == *catalogueName; });
    if (found == catalogues.end()) {
      reader.Report("catalogue", fmt::format("unknown catalogue '{}'", Excerpt(*catalogueName)));
    } else {
      variable.catalogueIndex = static_cast<int>(found - catalogues.begin());
      variable.setName = found->name;
      variable.setIndex = found->setIndex;
    }
  } else if (!setName) {
    reader.Report("set", "missing; a variable of kind \"set\" names the set of its values");
  } else {
    variable.setName = *setName;
    auto found = std::find_if(problem.sets.begin(), problem.sets.end(),
                              [&](const CProblemSet& s) { return s.name == *setName; });
    if (found == problem.sets.end()) {
      reader.Report("set", fmt::format("unknown set '{}'", Excerpt(*setName)));
    } else {
      variable.setIndex = static_cast<int>(found - problem.sets.begin());
    }
  }
}

void ReadVariable(CTableReader& reader, const CProblem& problem, CProblemVariable& variable) {
  ReadValues(reader, problem, variable);
  const bool isSet = variable.kind == EVariableKind::Set;
  const std::vector<CProblemSet>& sets = problem.sets;
  // A set variable's bounds default to its set's range.
  const bool setKnown = variable.setIndex >= 0 && !sets[variable.setIndex].values.empty();
  const ERequired boundsRequired = isSet ? ERequired::No : ERequired::Yes;
  const auto lower = reader.Number("lower", boundsRequired);
  const auto upper = reader.Number("upper", boundsRequired);
  const auto start = reader.Number("start", ERequired::No);
  const auto scale = reader.Number("scale", ERequired::No);
  const auto reference = reader.Number("reference", ERequired::No);
  variable.description = reader.Text("description", ERequired::No).value_or("");
  variable.units = reader.Text("units", ERequired::No).value_or("");
  reader.ReportUnknownKeys();

  if (setKnown) {
    variable.lower = lower.value_or(sets[variable.setIndex].values.front());
    variable.upper = upper.value_or(sets[variable.setIndex].values.back());
  } else {
    variable.lower = lower.value_or(0.0);
    variable.upper = upper.value_or(0.0);
  }
  variable.givenLower = variable.lower;
  variable.givenUpper = variable.upper;
  if (variable.kind == EVariableKind::Integer) {
    for (const char* key : {"lower", "upper"}) {
      const auto& bound = std::string(key) == "lower" ? lower : upper;
      if (bound && (*bound < kSmallestInteger || *bound > kLargestInteger)) {
        reader.Report(
            key, fmt::format("{} is beyond the 32-bit integer range {} .. {}", FormatNumber(*bound),
                             FormatNumber(kSmallestInteger), FormatNumber(kLargestInteger)));
      }
    }
  }
  const bool boundsKnown = (lower || setKnown) && (upper || setKnown);
  if (boundsKnown && variable.lower > variable.upper) {
    reader.Report(lower ? "lower" : "upper",
                  lower ? fmt::format("{} is above upper bound {}", FormatNumber(variable.lower),
                                      FormatNumber(variable.upper))
                        : fmt::format("{} is below lower bound {}", FormatNumber(variable.upper),
                                      FormatNumber(variable.lower)));
  }
  if (start) {
    variable.start = *start;
    if (boundsKnown && (*start < variable.lower || *start > variable.upper)) {
      reader.Report("start",
                    fmt::format("{} is outside the bounds {} .. {}", FormatNumber(*start),
                                FormatNumber(variable.lower), FormatNumber(variable.upper)));
    }
  }
  if (scale) {
    if (*scale <= 0) reader.Report("scale", fmt::format("{} is not above 0", FormatNumber(*scale)));
    variable.scale = *scale;
  }
  if (reference) variable.reference = *reference;
}

// "expr <= value", or a table {expression = "expr <= value", scale = s}.
void ReadConstraint(const std::string& name, const toml::node& node, CProblemConstraint& constraint,
                    std::vector<CProblemIssue>& issues) {
  const std::string path = "constraints." + name;
  constraint.name = name;
  constraint.line = LineOf(node);
  std::optional<std::string> text;
  if (node.is_string()) {
    text = node.value<std::string>();
  } else if (const toml::table* table = node.as_table()) {
    CTableReader reader(*table, path, issues);
    text = reader.Text("expression", ERequired::Yes);
    if (const auto scale = reader.Number("scale", ERequired::No)) {
      if (*scale <= 0)
        reader.Report("scale", fmt::format("{} is not above 0", FormatNumber(*scale)));
      constraint.scale = *scale;
    }
    reader.ReportUnknownKeys();
  } else {
    issues.push_back(
        {constraint.line, path,
         fmt::format("{} is neither \"expression <= value\" nor a table {{expression, scale}}",
                     Describe(node))});
  }
  if (!text) return;
  try {
    const CComparison comparison = SplitComparison(*text);
    constraint.expression = comparison.left;
    constraint.kind = comparison.kind;
    try {
      constraint.bound = CExpressionModel::EvaluateConstant(comparison.right);
    } catch (const CExpressionError& error) {
      issues.push_back(
          {constraint.line, path,
           error.UnknownName().empty()
               ? error.what()
               : fmt::format("the value '{}' may not use names; move '{}' to the left-hand side",
                             Excerpt(comparison.right), error.UnknownName())});
    }
    if (!std::isfinite(constraint.bound)) {
      issues.push_back(
          {constraint.line, path,
           fmt::format("the value '{}' is not a finite number", Excerpt(comparison.right))});
    }
  } catch (const std::invalid_argument& error) {
    issues.push_back({constraint.line, path, error.what()});
  }
}

}  // namespace

void ReadSets(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues) {
  const toml::table* sets = top.Table("sets", ERequired::No);
  if (sets == nullptr) return;
  CTableReader reader(*sets, "sets", issues);
  for (const auto& [name, node] : InFileOrder(*sets)) {
    CProblemSet set;
    ReadSet(reader, name, *node, set, issues);
    reader.Node(name);
    problem.sets.push_back(std::move(set));
  }
}

void ReadVariables(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues) {
  const toml::table* variables = top.Table("variables", ERequired::Yes);
  if (variables == nullptr) return;
  if (variables->empty()) top.Report("variables", "the problem has no design variable");
  for (const auto& [name, node] : InFileOrder(*variables)) {
    CProblemVariable variable;
    variable.name = name;
    variable.line = LineOf(*node);
    const std::string path = "variables." + name;
    if (const toml::table* table = node->as_table()) {
      CTableReader reader(*table, path, issues);
      ReadVariable(reader, problem, variable);
    } else {
      issues.push_back(
          {variable.line, path,
           fmt::format("{} is not a table of the variable's fields", Describe(*node))});
    }
    problem.variables.push_back(std::move(variable));
  }
}

void ReadEquations(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues) {
  const toml::table* equations = top.Table("equations", ERequired::No);
  if (equations == nullptr) return;
  for (const auto& [name, node] : InFileOrder(*equations)) {
    CProblemEquation equation{name, node->value_or(std::string()), LineOf(*node), "", ""};
    if (!node->is_string()) {
      issues.push_back({equation.line, "equations." + name,
                        fmt::format("{} is not an expression in double quotes", Describe(*node))});
    } else if (equation.expression.find_first_not_of(" \t\r\n") == std::string::npos) {
      issues.push_back({equation.line, "equations." + name, "the expression is empty"});
    }
    problem.equations.push_back(std::move(equation));
  }
}

void ReadConstraints(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues) {
  const toml::table* constraints = top.Table("constraints", ERequired::No);
  if (constraints == nullptr) return;
  for (const auto& [name, node] : InFileOrder(*constraints)) {
    CProblemConstraint constraint;
    ReadConstraint(name, *node, constraint, issues);
    problem.constraints.push_back(std::move(constraint));
  }
}

const char* KindName(EVariableKind kind) {
  switch (kind) {
    case EVariableKind::Continuous:
      return "continuous";
    case EVariableKind::Integer:
      return "integer";
    case EVariableKind::Set:
      return "set";
  }
  return "continuous";
}

const char* OperatorText(EConstraintKind kind) {
  switch (kind) {
    case EConstraintKind::AtMost:
      return "<=";
    case EConstraintKind::AtLeast:
      return ">=";
    case EConstraintKind::EqualTo:
      return "==";
  }
  return "<=";
}
