#pragma once

// Splitting a constraint as the user writes it, "expression <= value",
// "expression >= value" or "expression == value", into its two sides.

#include <stdexcept>
#include <string>

#include "problem/Problem.h"

struct CComparison {
  std::string left;                                // the expression, trimmed
  EConstraintKind kind = EConstraintKind::AtMost;  // the operator
  std::string right;  // the value (an expression without names), trimmed
};

// Splits at the one comparison operator outside parentheses. Throws
// std::invalid_argument saying what is wrong: no operator, more than one, a
// strict "<" or ">", "!=", or an empty side.
CComparison SplitComparison(const std::string& text);
