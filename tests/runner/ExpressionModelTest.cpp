// Compiling and evaluating the analysis model.

#include <gtest/gtest.h>

#include <cmath>

#include "ExpressionModel.h"

namespace {

TEST(ExpressionModel, EvaluatesEquationsInOrderThenResponses) {
  CModelDefinition definition;
  definition.variableNames = {"R", "L"};
  definition.equations = {{"area", "pi * R^2"}, {"volume", "area * L"}};
  definition.responses = {"volume", "max(R, L) + abs(-1) + sqrt(4) + exp(0) + log(1)", "volume / area"};
  CExpressionModel model(definition);
  ASSERT_EQ(model.ResponseCount(), 3);
  const double design[] = {2.0, 5.0};
  double responses[3];
  model.Evaluate(design, responses);
  EXPECT_DOUBLE_EQ(responses[0], M_PI * 4 * 5);
  EXPECT_DOUBLE_EQ(responses[1], 5 + 1 + 2 + 1 + 0);
  EXPECT_DOUBLE_EQ(responses[2], 5.0);
  const double other[] = {1.0, 1.0};
  model.Evaluate(other, responses);
  EXPECT_DOUBLE_EQ(responses[0], M_PI);
}

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

TEST(ExpressionModel, ConstantsAndReservedNames) {
  EXPECT_DOUBLE_EQ(CExpressionModel::EvaluateConstant("1 / 6.931"), 1 / 6.931);
  EXPECT_THROW(CExpressionModel::EvaluateConstant("2 * y"), CExpressionError);
  EXPECT_TRUE(CExpressionModel::IsReservedName("sin"));
  EXPECT_TRUE(CExpressionModel::IsReservedName("pi"));
  EXPECT_FALSE(CExpressionModel::IsReservedName("thickness"));
}

}  // namespace
