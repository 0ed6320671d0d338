#include "problem/Comparison.h"

namespace {

std::string Trim(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return "";
  const size_t last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

}  // namespace

CComparison SplitComparison(const std::string& text) {
  const std::string expected = "write it as 'expression <= value', '>= value' or '== value'";
  int depth = 0;
  size_t operatorAt = std::string::npos;
  CComparison comparison;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '(') ++depth;
    if (c == ')') --depth;
    if (depth != 0 || (c != '<' && c != '>' && c != '=' && c != '!')) continue;
    const bool followedByEquals = i + 1 < text.size() && text[i + 1] == '=';
    if (!followedByEquals || c == '!') {
      throw std::invalid_argument("'" + std::string(1, c) + (c == '!' ? "=" : "") +
                                  "' is not a constraint operator; " + expected);
    }
    if (operatorAt != std::string::npos) {
      throw std::invalid_argument("more than one comparison; " + expected);
    }
    operatorAt = i;
    comparison.kind = c == '<'   ? EConstraintKind::AtMost
                      : c == '>' ? EConstraintKind::AtLeast
                                 : EConstraintKind::EqualTo;
    ++i;  // skip the '=' of the operator
  }
  if (operatorAt == std::string::npos) {
    throw std::invalid_argument("no comparison; " + expected);
  }
  comparison.left = Trim(text.substr(0, operatorAt));
  comparison.right = Trim(text.substr(operatorAt + 2));
  if (comparison.left.empty() || comparison.right.empty()) {
    throw std::invalid_argument("a side of the comparison is empty; " + expected);
  }
  return comparison;
}
