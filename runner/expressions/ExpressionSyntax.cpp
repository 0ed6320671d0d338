#include "expressions/ExpressionSyntax.h"

#include <fmt/format.h>
#include <muParserDef.h>

#include <cctype>
#include <cstring>
#include <vector>

#include "expressions/MessageText.h"

namespace {

bool IsWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.';
}

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

size_t LongestExpression() { return mu::MaxLenExpression; }

std::optional<std::string> FindSyntaxOutsideTheLanguage(std::string_view expression) {
  if (expression.size() > LongestExpression()) {
    return fmt::format("the expression has {} characters; at most {} are allowed",
                       expression.size(), LongestExpression());
  }
  // For each open parenthesis: whether it holds the arguments of a function.
  std::vector<bool> opensCall;
  bool afterName = false;  // the last token is a name (a function's, if '(' follows)
  for (size_t i = 0; i < expression.size(); ++i) {
    const char c = expression[i];
    auto at = [&] { return fmt::format("{} (character {})", CharacterName(c), i + 1); };
    if (IsWordCharacter(c)) {
      const bool startsToken = i == 0 || !IsWordCharacter(expression[i - 1]);
      if (startsToken) afterName = std::isalpha(static_cast<unsigned char>(c)) || c == '_';
    } else if (IsSpace(c)) {
      continue;
    } else if (c == '(') {
      opensCall.push_back(afterName);
      afterName = false;
    } else if (c == ')') {
      if (!opensCall.empty()) opensCall.pop_back();  // unbalanced: muParser says so
      afterName = false;
    } else if (c == ',') {
      if (opensCall.empty() || !opensCall.back()) {
        return at() + ": a comma only separates the arguments of a function";
      }
      afterName = false;
    } else if (c != '\0' && std::strchr("+-*/^", c) != nullptr) {
      afterName = false;
    } else if (c != '\0' && std::strchr("=<>!", c) != nullptr) {
      return at() + ": expressions have no assignments or comparisons";
    } else {
      return at() +
             " is not part of an expression: numbers, names, + - * / ^, parentheses and functions";
    }
  }
  return std::nullopt;
}
