// Catalogues in problem files: tables read from CSV files or written inline,
// the set variable over a catalogue's key values, its quantities as equations
// that interpolate the rows (exact at each row, linear between), and every
// mistake named with the file, the line and the column.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "expressions/ExpressionModel.h"
#include "expressions/PiecewiseLinear.h"
#include "problem/ProblemFile.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// A beam over a catalogue; `catalogue` is the [catalogues.sections] table's body.
std::string BeamProblem(const std::string& catalogue, const std::string& more = "") {
  return "name = \"beam\"\n"
         "objective = \"beam_mass\"\n"
         "[catalogues.sections]\n" +
         catalogue +
         "\n"
         "[variables.beam]\n"
         "catalogue = \"sections\"\n" +
         more;
}

// A folder of its own holding the problem file and its CSV files.
class CatalogueFiles : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(m_folder); }
  void TearDown() override { std::filesystem::remove_all(m_folder); }

  void Write(const std::string& name, const std::string& text) {
    std::ofstream(m_folder / name, std::ios::binary) << text;
  }
  CProblem Read(const std::string& problemText) {
    Write("beam.toml", problemText);
    return ReadProblemFile((m_folder / "beam.toml").string());
  }
  // Every mistake of the problem, the folder's path cut from each line.
  std::string ErrorsOf(const std::string& problemText) {
    try {
      Read(problemText);
    } catch (const CProblemFileError& error) {
      std::string text = error.what();
      const std::string folder = m_folder.string() + "/";
      for (size_t at; (at = text.find(folder)) != std::string::npos;) text.erase(at, folder.size());
      return text;
    }
    return "(no error)";
  }

  const std::filesystem::path m_folder =
      std::filesystem::temp_directory_path() / ("discrete-catalogue-" + std::to_string(getpid()));
};

// The model of the problem's equations: values of each for one value of the
// problem's only variable.
std::vector<double> QuantitiesAt(const CProblem& problem, double x) {
  CModelDefinition definition;
  definition.variableNames = {problem.variables[0].name};
  for (const CProblemEquation& equation : problem.equations) {
    definition.equations.emplace_back(equation.name, equation.expression);
    definition.responses.push_back(equation.name);
  }
  CExpressionModel model(definition);
  std::vector<double> values(definition.responses.size());
  model.Evaluate(&x, values.data());
  return values;
}

TEST(PiecewiseLinear, IsExactAtTheKeysLinearBetweenAndFlatOutside) {
  // Values that jump by six orders of magnitude: a closed form of sums of
  // max(0, x - k) terms loses 6e-6 of the last one; this must lose nothing.
  const std::vector<double> keys = {1000, 1000.001, 1000.002, 1000.5};
  const std::vector<double> values = {1e6, 1, 1e6, 3};
  std::vector<double> points;
  for (size_t i = 0; i < keys.size(); ++i) points.insert(points.end(), {keys[i], values[i]});
  for (size_t i = 0; i < keys.size(); ++i) {
    EXPECT_EQ(InterpolatePiecewiseLinear(keys[i], points.data(), 4), values[i]);
  }
  // Halfway between neighbouring keys, halfway between their values (up to
  // the rounding of keys near 1000).
  EXPECT_NEAR(InterpolatePiecewiseLinear(1000.251, points.data(), 4), (1e6 + 3) / 2, 1e-5);
  EXPECT_NEAR(InterpolatePiecewiseLinear(1000.0005, points.data(), 4), (1e6 + 1) / 2, 1e-3);
  EXPECT_EQ(InterpolatePiecewiseLinear(999, points.data(), 4), 1e6);
  EXPECT_EQ(InterpolatePiecewiseLinear(2000, points.data(), 4), 3);
  EXPECT_TRUE(std::isnan(InterpolatePiecewiseLinear(NAN, points.data(), 4)));
  EXPECT_TRUE(std::isnan(InterpolatePiecewiseLinear(1000, points.data(), 1)));
  const double unordered[] = {1, 10, 1, 20};  // keys 1, 1: not strictly ascending
  EXPECT_TRUE(std::isnan(InterpolatePiecewiseLinear(1, unordered, 2)));

  // The same through an expression: the written call reads back exactly.
  const std::vector<double> awkward = {2e-300, 0.1, 1.0 / 3, 7.000000000000001};
  CModelDefinition definition;
  definition.variableNames = {"x"};
  definition.responses = {InterpolationCall("x", awkward, {-1.0 / 3, 5e300, 0.7, -0.0})};
  CExpressionModel model(definition);
  for (size_t i = 0; i < awkward.size(); ++i) {
    double response = 0;
    model.Evaluate(&awkward[i], &response);
    EXPECT_EQ(response, std::vector<double>({-1.0 / 3, 5e300, 0.7, -0.0})[i]) << i;
  }
  CModelDefinition wrongCount;
  wrongCount.variableNames = {"x"};
  wrongCount.responses = {"interpolate(x, 1, 2, 3)"};
  EXPECT_THAT([&] { CExpressionModel bad(wrongCount); },
              ::testing::ThrowsMessage<CExpressionError>(HasSubstr("not 4 arguments")));
}

TEST(Catalogue, InlineRowsAreSortedByKeyAndEachColumnBecomesAQuantity) {
  const CProblem problem = ParseProblem(BeamProblem(R"(columns = ["mass", "height", "inertia"]
key = "height"
rows = [[30.7, 240, 3892], [6.0, 80, 80.14], [22.4, 200, 1943]])",
                                                    "upper = 220\n"),
                                        "beam.toml");
  ASSERT_EQ(problem.sets.size(), 1u);
  EXPECT_EQ(problem.sets[0].name, "sections");
  EXPECT_THAT(problem.sets[0].values, ElementsAre(80, 200, 240));
  const CProblemVariable& beam = problem.variables[0];
  EXPECT_EQ(beam.kind, EVariableKind::Set);
  EXPECT_EQ(beam.lower, 80);
  EXPECT_EQ(beam.upper, 200);  // 220 moved down onto a row
  ASSERT_EQ(problem.equations.size(), 3u);
  EXPECT_EQ(problem.equations[0].name, "beam_mass");
  EXPECT_EQ(problem.equations[1].name, "beam_height");
  EXPECT_EQ(problem.equations[1].expression, "beam");
  EXPECT_EQ(problem.equations[2].origin, "column 'inertia' of catalogue 'sections'");
  EXPECT_THAT(QuantitiesAt(problem, 80), ElementsAre(6.0, 80, 80.14));
  EXPECT_THAT(QuantitiesAt(problem, 200), ElementsAre(22.4, 200, 1943));
  EXPECT_THAT(QuantitiesAt(problem, 240), ElementsAre(30.7, 240, 3892));
  const std::vector<double> between = QuantitiesAt(problem, 230);  // three quarters of the way
  EXPECT_DOUBLE_EQ(between[0], 22.4 + 0.75 * (30.7 - 22.4));
  EXPECT_DOUBLE_EQ(between[2], 1943 + 0.75 * (3892 - 1943));
}

// The file's CSV with quotes, CR LF line ends, a byte-order mark and a blank
// line; the path is taken from the problem file's folder.
TEST_F(CatalogueFiles, CsvFileIsReadFromTheProblemFilesFolder) {
  Write("ipe.csv",
        "\xEF\xBB\xBFh,\"A\", Iy \r\n"
        "100,10.3,171\r\n"
        "\r\n"
        "\"80\",  7.64 ,80.14\r\n"
        "120,+13.2,3.178e2");
  const CProblem problem = Read(BeamProblem("file = \"ipe.csv\"\nkey = \"h\"\n",
                                            "[equations]\nbeam_mass = \"7.85e-3 * beam_A\"\n"));
  EXPECT_THAT(problem.catalogues[0].columns, ElementsAre("h", "A", "Iy"));
  EXPECT_THAT(problem.sets[0].values, ElementsAre(80, 100, 120));
  EXPECT_EQ(problem.equations.size(), 4u);  // beam_h, beam_A, beam_Iy, then beam_mass
  EXPECT_THAT(QuantitiesAt(problem, 120), ElementsAre(120, 13.2, 317.8, 7.85e-3 * 13.2));
}

// A catalogue whose quantities would be longer than an expression may be is
// refused once, naming the row count, and nothing else is reported.
TEST_F(CatalogueFiles, CatalogueTooLargeForAnExpressionIsRefusedOnce) {
  std::string csv = "h,A,mass\n";
  for (int row = 1; row <= 1500; ++row) csv += fmt::format("{},{},{}\n", row, row / 7.0, row);
  Write("t.csv", csv);
  const std::string errors =
      ErrorsOf(BeamProblem("file = \"t.csv\"\nkey = \"h\"", "[equations]\nm = \"beam_A\"\n"));
  EXPECT_THAT(errors, ::testing::StartsWith(
                          "beam.toml:6: variables.beam.catalogue: catalogue 'sections' has too "
                          "many rows: the quantity 'beam_A' over its 1500 rows takes "));
  EXPECT_THAT(errors, ::testing::EndsWith("characters, an expression at most 20000"));
  EXPECT_EQ(errors.find('\n'), std::string::npos) << errors;
}

// A table of thousands of bad cells shows the first 20 and says that more follow.
TEST_F(CatalogueFiles, ManyBadCellsGiveTheFirstTwentyMistakes) {
  std::string csv = "h,mass\n";
  for (int row = 1; row <= 5000; ++row) csv += fmt::format("{},x\n", row);
  Write("t.csv", csv);
  const std::string errors = ErrorsOf(BeamProblem("file = \"t.csv\"\nkey = \"h\""));
  EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 20) << errors;
  EXPECT_THAT(errors, HasSubstr("t.csv:21: column 2 ('mass'): 'x' is not a finite number"));
  EXPECT_THAT(errors, ::testing::EndsWith("more mistakes in the table; the first 20 are shown"));
}

struct CCatalogueMistake {
  const char* csv;       // the CSV file t.csv
  const char* table;     // the catalogue table's body
  const char* more;      // the problem file's text after the variable's first line
  const char* expected;  // one line of the error
};

class CatalogueMistake : public CatalogueFiles,
                         public ::testing::WithParamInterface<CCatalogueMistake> {};

TEST_P(CatalogueMistake, NamesTheFileTheLineAndTheColumn) {
  const CCatalogueMistake& bad = GetParam();
  if (*bad.csv != '\0') Write("t.csv", bad.csv);
  EXPECT_THAT(ErrorsOf(BeamProblem(bad.table, bad.more)), HasSubstr(bad.expected));
}

const char* const kFromCsv = "file = \"t.csv\"\nkey = \"h\"";

INSTANTIATE_TEST_SUITE_P(
    EveryKind, CatalogueMistake,
    ::testing::Values(
        CCatalogueMistake{"", "file = \"none.csv\"\nkey = \"h\"", "",
                          "beam.toml:4: catalogues.sections.file: none.csv: cannot open the file: "
                          "No such file or directory"},
        CCatalogueMistake{"h,mass\n80,6\n100,8.l\n", kFromCsv, "",
                          "beam.toml:4: catalogues.sections.file: t.csv:3: column 2 ('mass'): "
                          "'8.l' is not a finite number"},
        CCatalogueMistake{"h,mass\n80,6\n\n100\n", kFromCsv, "",
                          "t.csv:4: 1 cell; the header has 2 columns"},
        CCatalogueMistake{"h,mass\n80,6\n100,8\n80,7\n", kFromCsv, "",
                          "t.csv:2 and t.csv:4 have the same h 80; the key column's values are "
                          "unique"},
        CCatalogueMistake{"h,mass\n80,6\n", kFromCsv, "",
                          "catalogues.sections.file: the catalogue has 1 row; it needs at least 2"},
        CCatalogueMistake{"h,mass\n80,6\n100,8\n", "file = \"t.csv\"\nkey = \"height\"", "",
                          "beam.toml:5: catalogues.sections.key: unknown column 'height'; the "
                          "columns are h, mass"},
        CCatalogueMistake{"h,I y,h\n80,6,1\n100,8,2\n", kFromCsv, "",
                          "t.csv:1: column 2 ('I y') is not a usable column name"},
        CCatalogueMistake{"h,I y,h\n80,6,1\n100,8,2\n", kFromCsv, "",
                          "t.csv:1: column 3 ('h') has the name of column 1"},
        CCatalogueMistake{"h,mass\n80,6\"\n100,8\n", kFromCsv, "",
                          "t.csv:2: malformed CSV: a quote inside an unquoted field"},
        CCatalogueMistake{"h,mass\n80,\"6\n", kFromCsv, "", "malformed CSV: a quoted field"},
        CCatalogueMistake{"", "columns = [\"h\", \"mass\"]\nkey = \"h\"\nrows = [[80, 6], [100]]",
                          "",
                          "beam.toml:6: catalogues.sections.rows: row 2: 1 cell; there are 2 "
                          "columns"},
        CCatalogueMistake{"",
                          "columns = [\"h\", \"mass\"]\nkey = \"h\"\nrows = [[80, 6], [100, "
                          "\"8\"]]",
                          "", "row 2: column 2 ('mass'): '8' is not a finite number"},
        CCatalogueMistake{"", "columns = [\"h\", \"mass\"]\nkey = \"h\"", "",
                          "catalogues.sections.rows: missing; a catalogue gives its 'file', or "
                          "its 'columns' and 'rows'"},
        CCatalogueMistake{"h,mass\n80,6\n100,8\n",
                          "file = \"t.csv\"\nkey = \"h\"\nrows = [[80, 6], [100, 8]]", "",
                          "give the catalogue's 'file' or its 'columns' and 'rows', not both"},
        // Names that collide: a quantity with an equation, a variable, a set.
        CCatalogueMistake{"h,mass\n80,6\n100,8\n", kFromCsv, "[equations]\nbeam_mass = \"1\"\n",
                          "beam.toml:9: equations.beam_mass: duplicate name 'beam_mass': already "
                          "the name of a catalogue quantity, column 'mass' of catalogue "
                          "'sections' (line 6)"},
        CCatalogueMistake{"h,mass\n80,6\n100,8\n", kFromCsv,
                          "[variables.beam_h]\nlower = 0\nupper = 1\n",
                          "beam.toml:6: variables.beam.catalogue: duplicate name 'beam_h' (column "
                          "'h' of catalogue 'sections'): already the name of a variable (line 8)"},
        CCatalogueMistake{"h,mass\n80,6\n100,8\n", kFromCsv, "[sets]\nsections = [1, 2]\n",
                          "beam.toml:3: catalogues.sections: 'sections' is already the name of a "
                          "set (line 9)"},
        CCatalogueMistake{"", "columns = [\"h\"]\nkey = \"h\"\nrows = [[1], [2]]",
                          "set = \"sections\"\n",
                          "variables.beam.set: give the variable's 'set' or its 'catalogue', not "
                          "both"},
        CCatalogueMistake{"", "columns = [\"h\"]\nkey = \"h\"\nrows = [[1], [2]]",
                          "[variables.b]\ncatalogue = \"ipe\"\n",
                          "variables.b.catalogue: unknown catalogue 'ipe'"}));

}  // namespace
