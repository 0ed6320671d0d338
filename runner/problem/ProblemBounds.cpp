#include "problem/ProblemBounds.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "expressions/MessageText.h"
#include "problem/TomlFields.h"

namespace {

constexpr double kSameValue = 1e-12;  // relative distance below which two values are one

bool IsSameValue(double a, double b) {
  return std::fabs(a - b) <= kSameValue * std::max(1.0, std::fabs(b));
}

// The smallest allowed value at or above `value` (or the value itself when
// none is); `allowed` ascending.
double AllowedAtOrAbove(double value, const std::vector<double>& allowed) {
  for (double candidate : allowed) {
    if (candidate >= value || IsSameValue(value, candidate)) return candidate;
  }
  return value;
}

double AllowedAtOrBelow(double value, const std::vector<double>& allowed) {
  for (auto candidate = allowed.rbegin(); candidate != allowed.rend(); ++candidate) {
    if (*candidate <= value || IsSameValue(value, *candidate)) return *candidate;
  }
  return value;
}

double WholeAtOrAbove(double value) {
  const double nearest = std::round(value);
  return IsSameValue(value, nearest) ? nearest : std::ceil(value);
}

double WholeAtOrBelow(double value) {
  const double nearest = std::round(value);
  return IsSameValue(value, nearest) ? nearest : std::floor(value);
}

}  // namespace

std::vector<std::string> MoveBoundsOntoAllowedValues(CProblem& problem,
                                                     std::vector<CProblemIssue>& issues) {
  std::vector<std::string> notes;
  for (CProblemVariable& variable : problem.variables) {
    const bool isInteger = variable.kind == EVariableKind::Integer;
    const bool isSet = variable.kind == EVariableKind::Set && variable.setIndex >= 0;
    if ((!isInteger && !isSet) || variable.lower > variable.upper)
      continue;  // the latter already reported
    const std::string where =
        fmt::format("{}:{}: variables.{}", problem.file, variable.line, variable.name);
    const double oldLower = variable.lower;
    const double oldUpper = variable.upper;
    if (isInteger) {
      variable.lower = WholeAtOrAbove(oldLower);
      variable.upper = WholeAtOrBelow(oldUpper);
    } else {
      const std::vector<double>& values = problem.sets[variable.setIndex].values;
      variable.lower = AllowedAtOrAbove(oldLower, values);
      variable.upper = AllowedAtOrBelow(oldUpper, values);
    }
    const char* moved = isInteger ? "rounded" : "moved";
    const std::string target =
        isInteger ? "" : fmt::format(" (a value of set '{}')", Excerpt(variable.setName));
    const bool lowerMoved = !IsSameValue(oldLower, variable.lower);
    const bool upperMoved = !IsSameValue(oldUpper, variable.upper);
    if (variable.lower > variable.upper) {
      issues.push_back({variable.line, "variables." + variable.name,
                        fmt::format("no {} lies between the bounds {} and {}",
                                    isInteger ? "whole number"
                                              : "value of set '" + Excerpt(variable.setName) + "'",
                                    FormatNumber(oldLower), FormatNumber(oldUpper))});
      continue;
    }
    if (lowerMoved) {
      notes.push_back(fmt::format("{}: lower bound {} {} up to {}{}", where, FormatNumber(oldLower),
                                  moved, FormatNumber(variable.lower), target));
    }
    if (upperMoved) {
      notes.push_back(fmt::format("{}: upper bound {} {} down to {}{}", where,
                                  FormatNumber(oldUpper), moved, FormatNumber(variable.upper),
                                  target));
    }
    variable.boundsMoved = lowerMoved || upperMoved;
    if (!std::isnan(variable.start) &&
        (variable.start < variable.lower || variable.start > variable.upper)) {
      const double oldStart = variable.start;
      variable.start = std::clamp(variable.start, variable.lower, variable.upper);
      notes.push_back(fmt::format("{}: start value {} moved to {} to lie within the new bounds",
                                  where, FormatNumber(oldStart), FormatNumber(variable.start)));
    }
  }
  return notes;
}
