#include "problem/TomlFields.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "expressions/MessageText.h"

namespace {

// Edit distance of two short texts (Levenshtein 1966), for "did you mean".
size_t EditDistance(const std::string& a, const std::string& b) {
  std::vector<size_t> previous(b.size() + 1);
  std::vector<size_t> current(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) previous[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    current[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t substitution = previous[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      current[j] = std::min({previous[j] + 1, current[j - 1] + 1, substitution});
    }
    std::swap(previous, current);
  }
  return previous[b.size()];
}

}  // namespace

std::vector<std::pair<std::string, const toml::node*>> InFileOrder(const toml::table& table) {
  std::vector<std::pair<std::string, const toml::node*>> entries;
  for (auto&& [key, node] : table) entries.emplace_back(std::string(key.str()), &node);
  std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
    return a.second->source().begin < b.second->source().begin;
  });
  return entries;
}

int LineOf(const toml::node& node) { return static_cast<int>(node.source().begin.line); }

std::string Describe(const toml::node& node) {
  if (auto number = node.value<double>(); number && !node.is_string()) return FormatNumber(*number);
  std::ostringstream text;
  node.visit([&](auto&& value) { text << value; });
  return Excerpt(text.str());
}

std::string FormatNumber(double value) { return fmt::format("{}", value); }

CTableReader::CTableReader(const toml::table& table, std::string path,
                           std::vector<CProblemIssue>& issues)
    : m_table(table), m_path(std::move(path)), m_issues(issues) {}

std::string CTableReader::PathOf(const std::string& key) const {
  return m_path.empty() ? key : m_path + "." + key;
}

int CTableReader::LineOf(const std::string& key) const {
  if (const toml::node* node = m_table.get(key)) return ::LineOf(*node);
  return m_path.empty() ? 0 : ::LineOf(m_table);  // the document as a whole has no line
}

void CTableReader::Report(const std::string& key, const std::string& message) {
  m_issues.push_back({LineOf(key), PathOf(key), message});
}

const toml::node* CTableReader::Node(const std::string& key) {
  m_knownKeys.insert(key);
  return m_table.get(key);
}

const toml::node* CTableReader::Find(const std::string& key, ERequired required,
                                     const char* typeName) {
  const toml::node* node = Node(key);
  if (node == nullptr && required == ERequired::Yes) {
    Report(key, fmt::format("missing; {} is required", typeName));
  }
  return node;
}

std::optional<std::string> CTableReader::Text(const std::string& key, ERequired required) {
  const toml::node* node = Find(key, required, "a text");
  if (node == nullptr) return std::nullopt;
  if (!node->is_string()) {
    Report(key, fmt::format("{} is not a text (write it in double quotes)", Describe(*node)));
    return std::nullopt;
  }
  return node->value<std::string>();
}

std::optional<double> CTableReader::Number(const std::string& key, ERequired required) {
  const toml::node* node = Find(key, required, "a number");
  if (node == nullptr) return std::nullopt;
  if (!node->is_number()) {
    Report(key, fmt::format("{} is not a number", Describe(*node)));
    return std::nullopt;
  }
  const double value = *node->value<double>();
  if (!std::isfinite(value)) {
    Report(key, fmt::format("{} is not a finite number", Describe(*node)));
    return std::nullopt;
  }
  return value;
}

std::optional<bool> CTableReader::Boolean(const std::string& key, ERequired required) {
  const toml::node* node = Find(key, required, "true or false");
  if (node == nullptr) return std::nullopt;
  if (!node->is_boolean()) {
    Report(key, fmt::format("{} is not true or false", Describe(*node)));
    return std::nullopt;
  }
  return node->value<bool>();
}

std::optional<long long> CTableReader::Integer(const std::string& key, ERequired required) {
  const toml::node* node = Find(key, required, "a whole number");
  if (node == nullptr) return std::nullopt;
  if (!node->is_integer()) {
    Report(key, fmt::format("{} is not a whole number", Describe(*node)));
    return std::nullopt;
  }
  return node->value<long long>();
}

const toml::table* CTableReader::Table(const std::string& key, ERequired required) {
  const toml::node* node = Find(key, required, "a table");
  if (node == nullptr) return nullptr;
  if (!node->is_table()) {
    Report(key, fmt::format("{} is not a table", Describe(*node)));
    return nullptr;
  }
  return node->as_table();
}

std::optional<std::vector<std::string>> CTableReader::TextList(const std::string& key,
                                                               ERequired required) {
  const toml::node* node = Find(key, required, "a list of texts");
  if (node == nullptr) return std::nullopt;
  const toml::array* array = node->as_array();
  std::vector<std::string> texts;
  if (array != nullptr) {
    for (const toml::node& element : *array) {
      if (!element.is_string()) break;
      texts.push_back(*element.value<std::string>());
    }
  }
  if (array == nullptr || texts.size() != array->size()) {
    Report(key, fmt::format("{} is not a list of texts", Describe(*node)));
    return std::nullopt;
  }
  return texts;
}

void CTableReader::ReportUnknownKeys() {
  for (auto&& [key, node] : m_table) {
    const std::string name(key.str());
    if (m_knownKeys.count(name) > 0) continue;
    std::string message = "unknown key '" + Excerpt(name) + "'";
    for (const std::string& known : m_knownKeys) {
      if (EditDistance(name, known) <= 2) {
        message += "; did you mean '" + known + "'?";
        break;
      }
    }
    m_issues.push_back({::LineOf(node), PathOf(name), message});
  }
}
