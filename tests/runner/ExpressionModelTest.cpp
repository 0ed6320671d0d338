// Compiling and evaluating the analysis model: where a name is unknown, and
// designs outside an expression's domain. (Evaluating equations and responses
// is exercised by every solved task and example.)

#include <gtest/gtest.h>

#include <cmath>

#include "expressions/ExpressionModel.h"

namespace {

TEST(ExpressionModel, NamesTheUnknownNameAndWhereItIs) {
  CModelDefinition definition;
  definition.variableNames = {"x"};
  definition.equations = {{"a", "x + b"}, {"b", "2 * x"}};  // b is defined after a
  definition.responses = {"a"};
  try {
    CExpressionModel model(definition);
    FAIL();
  } catch (const CExpressionError& error) {
    EXPECT_EQ(error.Where(), CExpressionError::EWhere::Equation);
    EXPECT_EQ(error.Index(), 0);
    EXPECT_EQ(error.UnknownName(), "b");
  }
}

// muParser also reads assignments, comparisons, conditions and comma lists;
// the model refuses them (the task solver compiles what the database holds).
TEST(ExpressionModel, CompilesExactlyTheDocumentedLanguage) {
  CModelDefinition definition;
  definition.variableNames = {"x", "y"};
  definition.equations = {{"e", "min(x, y) + max((x), y, 2) + sum(x, avg(x, y)) - _pi + pi - _e"}};
  definition.responses = {"-x^-2 + 1e-3 * .5 + sqrt(y)", "e", "atan2(y, x) + asinh(x)"};
  CExpressionModel model(definition);
  const double design[] = {1.0, 4.0};
  double responses[3];
  model.Evaluate(design, responses);
  EXPECT_DOUBLE_EQ(responses[0], -1.0 + 0.0005 + 2.0);
  EXPECT_NEAR(responses[1], 1.0 + 4.0 + 3.5 - std::exp(1.0), 1e-12);  // muParser's _e has 16 digits
  EXPECT_DOUBLE_EQ(responses[2], std::atan2(4.0, 1.0) + std::asinh(1.0));

  for (const char* refused : {"x = 3", "x, y", "(x), (y)", "x < y", "x >= y", "x != y", "x ? 1 : 2",
                              "x && y", "x || y", "\"text\"", "x # y", "x; y"}) {
    SCOPED_TRACE(refused);
    for (bool asEquation : {false, true}) {
      CModelDefinition bad;
      bad.variableNames = {"x", "y"};
      bad.equations = {{"e", asEquation ? refused : "x"}};
      bad.responses = {asEquation ? "e" : refused};
      EXPECT_THROW(CExpressionModel{bad}, CExpressionError);
    }
  }
}

// Names come from the database too: one that muParser cannot take is an
// error of the model, not an abort.
TEST(ExpressionModel, NamesMuParserCannotTakeAreExpressionErrors) {
  for (const std::string& name :
       {std::string(101, 'v'), std::string(40000, 'v'), std::string("a b")}) {
    CModelDefinition definition;
    definition.variableNames = {name};
    definition.responses = {"1"};
    EXPECT_THROW(CExpressionModel{definition}, CExpressionError);
  }
}

TEST(ExpressionModel, DomainErrorsGiveNotANumberNotAnException) {
  CModelDefinition definition;
  definition.variableNames = {"x"};
  definition.responses = {"sqrt(x)", "1 / x"};
  CExpressionModel model(definition);
  const double design[] = {-1.0};
  double responses[2];
  model.Evaluate(design, responses);
  EXPECT_TRUE(std::isnan(responses[0]));
  const double zero[] = {0.0};
  model.Evaluate(zero, responses);
  EXPECT_TRUE(std::isinf(responses[1]));
}

}  // namespace
