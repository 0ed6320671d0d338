#pragma once

// The expression language of problem files (docs/problem-format.md,
// "Expressions") is smaller than muParser's: numbers, names, + - * / ^,
// parentheses and function calls. muParser also reads assignments ("x = 3"
// writes the variable while it is evaluated), comparisons, logical and
// conditional operators, strings, and comma lists ("x, y" has two results
// and evaluates to the last). This check refuses those before muParser sees
// the expression; muParser then checks the grammar and the names.

#include <optional>
#include <string>
#include <string_view>

// The longest expression, in characters (muParser's own limit).
size_t LongestExpression();

// What the expression holds that the language does not have, said for a
// message ("'=' (character 3): expressions have no assignments or
// comparisons"); nothing when it keeps to the language.
std::optional<std::string> FindSyntaxOutsideTheLanguage(std::string_view expression);
