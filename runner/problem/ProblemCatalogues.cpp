// Reading [catalogues.NAME] tables, from a CSV file or written inline, and
// making the quantities of the variables over them (docs/problem-format.md,
// "Catalogues").

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <numeric>

#include "expressions/ExpressionSyntax.h"
#include "expressions/MessageText.h"
#include "expressions/PiecewiseLinear.h"
#include "problem/CsvText.h"
#include "problem/ProblemSections.h"
#include "problem/RegularFile.h"

namespace {

// A catalogue's CSV file holds a few hundred rows; the limit only refuses
// runaway files and devices.
constexpr size_t kLargestCsvFile = size_t{16} << 20;

// A table as read, before its rows are sorted, with where each row stands
// for messages.
struct STable {
  std::vector<std::string> columns;
  std::string headerPlace;  // "ipe.csv:1: " or empty, before messages about columns
  std::vector<std::vector<double>> rows;
  std::vector<std::string> rowPlaces;  // "ipe.csv:7" or "row 3"
  std::vector<int> rowLines;           // the line of the problem file an issue about the row names
};

// Reports issues about one catalogue: at the field that gives the table
// ("catalogues.ipe.file" or "catalogues.ipe.rows"), on the line of that field
// or of the row concerned.
// A table of thousands of bad cells gives the first few and a line saying
// that more follow, not thousands of lines.
class CCatalogueIssues {
 public:
  CCatalogueIssues(std::vector<CProblemIssue>& issues, std::string path)
      : m_issues(issues), m_path(std::move(path)), m_issuesBefore(issues.size()) {}
  void Add(int line, const std::string& key, const std::string& message) {
    ++m_added;
    if (m_added <= kMostShown) m_issues.push_back({line, m_path + "." + key, message});
    if (m_added == kMostShown + 1) {
      m_issues.push_back(
          {line, m_path + "." + key,
           fmt::format("more mistakes in the table; the first {} are shown", kMostShown)});
    }
  }
  // Whether the catalogue has a mistake: an issue added here or by its table's reader.
  bool Found() const { return m_issues.size() > m_issuesBefore; }

 private:
  std::vector<CProblemIssue>& m_issues;
  std::string m_path;
  static constexpr int kMostShown = 20;
  size_t m_issuesBefore;  // issues of the problem before this catalogue's
  int m_added = 0;        // issues added here, shown or not
};

std::string ColumnLabel(const std::vector<std::string>& columns, size_t index) {
  return fmt::format("column {} ('{}')", index + 1, Excerpt(columns[index]));
}

std::string Cells(size_t count) { return fmt::format("{} cell{}", count, count == 1 ? "" : "s"); }

// A cell of a CSV file: a finite number and nothing else (spaces around it
// aside). Nothing when it is not one.
std::optional<double> ParseCell(std::string_view cell) {
  while (!cell.empty() && std::isspace(static_cast<unsigned char>(cell.front())))
    cell.remove_prefix(1);
  while (!cell.empty() && std::isspace(static_cast<unsigned char>(cell.back())))
    cell.remove_suffix(1);
  if (!cell.empty() && cell.front() == '+') cell.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
  if (cell.empty() || error != std::errc() || end != cell.data() + cell.size() ||
      !std::isfinite(value))
    return std::nullopt;
  return value;
}

// The table of a CSV file: a header of column names, then rows of numbers.
void ReadCsvTable(const std::string& fileName, const std::string& path, int line,
                  CCatalogueIssues& issues, STable& table) {
  std::vector<CCsvRecord> records;
  try {
    records = SplitCsv(ReadRegularFile(path, kLargestCsvFile, "a CSV file"));
  } catch (const CCsvError& error) {
    return issues.Add(line, "file", fmt::format("{}:{}: {}", fileName, error.Line(), error.what()));
  } catch (const std::runtime_error& error) {
    return issues.Add(line, "file", fmt::format("{}: {}", fileName, error.what()));
  }
  if (records.empty())
    return issues.Add(line, "file", fmt::format("{}: the file is empty", fileName));
  for (std::string& name : records.front().fields) {
    const auto first = name.find_first_not_of(" \t");
    name = first == std::string::npos
               ? ""
               : name.substr(first, name.find_last_not_of(" \t") + 1 - first);
  }
  table.columns = records.front().fields;
  table.headerPlace = fmt::format("{}:{}: ", fileName, records.front().line);
  for (size_t r = 1; r < records.size(); ++r) {
    const CCsvRecord& record = records[r];
    const std::string place = fmt::format("{}:{}", fileName, record.line);
    if (record.fields.size() != table.columns.size()) {
      issues.Add(line, "file",
                 fmt::format("{}: {}; the header has {} columns", place,
                             Cells(record.fields.size()), table.columns.size()));
      continue;
    }
    std::vector<double> row;
    for (size_t c = 0; c < record.fields.size(); ++c) {
      if (const auto value = ParseCell(record.fields[c])) {
        row.push_back(*value);
      } else {
        issues.Add(line, "file",
                   fmt::format("{}: {}: '{}' is not a finite number", place,
                               ColumnLabel(table.columns, c), Excerpt(record.fields[c])));
      }
    }
    if (row.size() != table.columns.size()) continue;
    table.rows.push_back(std::move(row));
    table.rowPlaces.push_back(place);
    table.rowLines.push_back(line);
  }
}

// The table written in the problem file: columns = [...], rows = [[...], ...].
void ReadInlineTable(CTableReader& reader, CCatalogueIssues& issues, STable& table) {
  const toml::node* columns = reader.Node("columns");
  const toml::node* rows = reader.Node("rows");
  if (columns == nullptr || rows == nullptr) {
    return reader.Report(columns == nullptr ? "columns" : "rows",
                         "missing; a catalogue gives its 'file', or its 'columns' and 'rows'");
  }
  const toml::array* names = columns->as_array();
  if (names != nullptr) {
    for (const toml::node& name : *names) {
      if (!name.is_string()) break;
      table.columns.push_back(*name.value<std::string>());
    }
  }
  if (names == nullptr || table.columns.size() != names->size()) {
    table.columns.clear();
    return reader.Report("columns",
                         fmt::format("{} is not a list of column names", Describe(*columns)));
  }
  const toml::array* list = rows->as_array();
  if (list == nullptr) {
    return reader.Report("rows",
                         fmt::format("{} is not a list of rows [[...], ...]", Describe(*rows)));
  }
  for (size_t r = 0; r < list->size(); ++r) {
    const toml::node& node = *list->get(r);
    const std::string place = fmt::format("row {}", r + 1);
    const toml::array* cells = node.as_array();
    if (cells == nullptr || cells->size() != table.columns.size()) {
      issues.Add(LineOf(node), "rows",
                 cells == nullptr
                     ? fmt::format("{}: {} is not a list of numbers", place, Describe(node))
                     : fmt::format("{}: {}; there are {} columns", place, Cells(cells->size()),
                                   table.columns.size()));
      continue;
    }
    std::vector<double> row;
    for (size_t c = 0; c < cells->size(); ++c) {
      const toml::node& cell = *cells->get(c);
      if (cell.is_number() && std::isfinite(*cell.value<double>())) {
        row.push_back(*cell.value<double>());
      } else {
        issues.Add(LineOf(cell), "rows",
                   fmt::format("{}: {}: {} is not a finite number", place,
                               ColumnLabel(table.columns, c), Describe(cell)));
      }
    }
    if (row.size() != table.columns.size()) continue;
    table.rows.push_back(std::move(row));
    table.rowPlaces.push_back(place);
    table.rowLines.push_back(LineOf(node));
  }
}

// Column names name quantities "<variable>_<column>": letters, digits and
// '_', each once.
bool IsUsableColumnName(const std::string& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
  });
}

void CheckColumns(const STable& table, const std::string& key, int line, CCatalogueIssues& issues) {
  for (size_t c = 0; c < table.columns.size(); ++c) {
    const std::string& name = table.columns[c];
    if (!IsUsableColumnName(name)) {
      issues.Add(line, key,
                 fmt::format("{}{} is not a usable column name: letters, digits and '_' only (it "
                             "names the quantities <variable>_<column>)",
                             table.headerPlace, ColumnLabel(table.columns, c)));
    }
    const auto earlier = std::find(table.columns.begin(), table.columns.begin() + c, name);
    if (earlier != table.columns.begin() + c) {
      issues.Add(
          line, key,
          fmt::format("{}{} has the name of column {}; column names are unique", table.headerPlace,
                      ColumnLabel(table.columns, c), earlier - table.columns.begin() + 1));
    }
  }
}

// Sorts the rows by the key column into the catalogue; reports a key value
// that two rows share and a catalogue of fewer than two rows.
void SortRows(STable& table, const std::string& tableKey, int line, CCatalogueIssues& issues,
              CProblemCatalogue& catalogue) {
  const size_t key = static_cast<size_t>(catalogue.keyColumn);
  std::vector<size_t> order(table.rows.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return table.rows[a][key] < table.rows[b][key]; });
  for (size_t i = 1; i < order.size(); ++i) {
    const size_t first = order[i - 1];
    const size_t second = order[i];
    if (table.rows[first][key] == table.rows[second][key]) {
      issues.Add(table.rowLines[second], tableKey,
                 fmt::format("{} and {} have the same {} {}; the key column's values are unique",
                             table.rowPlaces[first], table.rowPlaces[second],
                             Excerpt(table.columns[key]), FormatNumber(table.rows[first][key])));
    }
  }
  if (table.rows.size() < 2 && !issues.Found()) {
    issues.Add(line, tableKey,
               fmt::format("the catalogue has {} row{}; it needs at least 2", table.rows.size(),
                           table.rows.size() == 1 ? "" : "s"));
  }
  if (issues.Found()) return;
  for (size_t index : order) catalogue.rows.push_back(std::move(table.rows[index]));
}

void ReadCatalogue(CTableReader& reader, const std::string& baseFolder,
                   std::vector<CProblemIssue>& issueList, CProblemCatalogue& catalogue) {
  CCatalogueIssues issues(issueList, "catalogues." + catalogue.name);
  STable table;
  const bool fromFile = reader.Node("file") != nullptr;
  const auto file = reader.Text("file", ERequired::No);
  const std::string tableKey = fromFile ? "file" : "rows";
  const auto keyName = reader.Text("key", ERequired::Yes);
  reader.Text("description", ERequired::No);
  if (fromFile && (reader.Node("columns") || reader.Node("rows"))) {
    reader.Report("file", "give the catalogue's 'file' or its 'columns' and 'rows', not both");
  } else if (file) {
    const std::string path = (std::filesystem::path(baseFolder) / *file).string();
    ReadCsvTable(Excerpt(*file), path, reader.LineOf("file"), issues, table);
  } else if (!fromFile) {
    ReadInlineTable(reader, issues, table);
  }
  reader.ReportUnknownKeys();
  const std::string columnsKey = fromFile ? "file" : "columns";
  const int line = reader.LineOf(columnsKey);
  if (table.columns.empty() && !issues.Found() && reader.Node(columnsKey) != nullptr)
    return issues.Add(line, columnsKey, "the catalogue has no columns");
  CheckColumns(table, columnsKey, line, issues);
  if (!keyName || table.columns.empty()) return;
  const auto key = std::find(table.columns.begin(), table.columns.end(), *keyName);
  if (key == table.columns.end()) {
    std::string known;
    for (const std::string& column : table.columns) known += (known.empty() ? "" : ", ") + column;
    return reader.Report("key", fmt::format("unknown column '{}'; the columns are {}",
                                            Excerpt(*keyName), Excerpt(known, 200)));
  }
  catalogue.columns = table.columns;
  catalogue.keyColumn = static_cast<int>(key - table.columns.begin());
  if (issues.Found()) return;
  SortRows(table, tableKey, line, issues, catalogue);
}

}  // namespace

void ReadCatalogues(CTableReader& top, CProblem& problem, std::vector<CProblemIssue>& issues) {
  const toml::table* catalogues = top.Table("catalogues", ERequired::No);
  if (catalogues == nullptr) return;
  const std::string baseFolder = FolderOfFile(problem.file);
  for (const auto& [name, node] : InFileOrder(*catalogues)) {
    CProblemCatalogue catalogue;
    catalogue.name = name;
    catalogue.line = LineOf(*node);
    const std::string path = "catalogues." + name;
    const auto set =
        std::find_if(problem.sets.begin(), problem.sets.end(),
                     [&catalogue](const CProblemSet& s) { return s.name == catalogue.name; });
    if (set != problem.sets.end()) {
      issues.push_back({catalogue.line, path,
                        fmt::format("'{}' is already the name of a set (line {}); a catalogue's "
                                    "key values form a set of its name",
                                    Excerpt(name), set->line)});
    }
    if (const toml::table* table = node->as_table()) {
      CTableReader reader(*table, path, issues);
      ReadCatalogue(reader, baseFolder, issues, catalogue);
    } else {
      issues.push_back({catalogue.line, path,
                        fmt::format("{} is not a table {{file, key}} or {{columns, rows, key}}",
                                    Describe(*node))});
    }
    if (!catalogue.rows.empty() && set == problem.sets.end()) {
      CProblemSet keys{name, {}, catalogue.line};
      for (const auto& row : catalogue.rows) keys.values.push_back(row[catalogue.keyColumn]);
      catalogue.setIndex = static_cast<int>(problem.sets.size());
      problem.sets.push_back(std::move(keys));
    }
    problem.catalogues.push_back(std::move(catalogue));
  }
}

void AddCatalogueQuantities(CProblem& problem, std::vector<CProblemIssue>& issues) {
  for (const CProblemVariable& variable : problem.variables) {
    if (variable.catalogueIndex < 0) continue;
    const CProblemCatalogue& catalogue = problem.catalogues[variable.catalogueIndex];
    // The quantities of a catalogue with mistakes (already reported), which
    // has no rows, and those too long to be expressions stand in as the
    // variable itself, so that expressions using them are not reported as well.
    const bool sound = catalogue.setIndex >= 0;
    const std::vector<double> keys =
        sound ? problem.sets[catalogue.setIndex].values : std::vector<double>();
    const std::string field = "variables." + variable.name + ".catalogue";
    bool tooLong = false;  // reported once
    for (size_t c = 0; c < catalogue.columns.size(); ++c) {
      if (!IsUsableColumnName(catalogue.columns[c])) continue;  // reported
      CProblemEquation quantity;
      quantity.name = variable.name + "_" + catalogue.columns[c];
      quantity.line = variable.line;
      quantity.origin = fmt::format("column '{}' of catalogue '{}'", Excerpt(catalogue.columns[c]),
                                    Excerpt(catalogue.name));
      quantity.field = field;
      if (static_cast<int>(c) != catalogue.keyColumn && sound) {
        std::vector<double> values;
        for (const auto& row : catalogue.rows) values.push_back(row[c]);
        quantity.expression = InterpolationCall(variable.name, keys, values);
      }
      if (quantity.expression.size() > LongestExpression()) {
        if (!tooLong) {
          issues.push_back(
              {variable.line, field,
               fmt::format("catalogue '{}' has too many rows: the quantity '{}' over its {} rows "
                           "takes {} characters, an expression at most {}",
                           Excerpt(catalogue.name), Excerpt(quantity.name), catalogue.rows.size(),
                           quantity.expression.size(), LongestExpression())});
        }
        tooLong = true;
        quantity.expression.clear();
      }
      if (quantity.expression.empty()) quantity.expression = variable.name;
      problem.equations.push_back(std::move(quantity));
    }
  }
}
