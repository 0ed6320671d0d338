// Compiling and evaluating the analysis model: where a name is unknown, and
// designs outside an expression's domain. (Evaluating equations and responses
// is exercised by every solved task and example.)

#include <gtest/gtest.h>

#include <cmath>

#include "ExpressionModel.h"

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
