#include "expressions/ExpressionModel.h"

#include <fmt/format.h>
#include <muParser.h>

#include <algorithm>
#include <cctype>
#include <cmath>

#include "expressions/ExpressionSyntax.h"
#include "expressions/MessageText.h"
#include "expressions/PiecewiseLinear.h"

namespace {

// interpolate(x, k1, v1, k2, v2, ...) for muParser. A wrong number of
// arguments shows when the expression is compiled (Compile() evaluates it
// once), never later: the count is fixed by the text.
double Interpolate(const double* arguments, int count) {
  if (count < 5 || count % 2 == 0) {
    throw mu::ParserError(
        fmt::format("{}(x, k1, v1, k2, v2, ...) takes x and two or more key, value pairs, not {} "
                    "arguments",
                    kInterpolateFunction, count));
  }
  return InterpolatePiecewiseLinear(arguments[0], arguments + 1, (count - 1) / 2);
}

// A parser with this program's constant pi and function interpolate;
// muParser already knows its own functions and _pi, _e.
std::unique_ptr<mu::Parser> MakeParser() {
  auto parser = std::make_unique<mu::Parser>();
  parser->DefineConst("pi", M_PI);
  parser->DefineFun(kInterpolateFunction, Interpolate);
  return parser;
}

// muParser's message, which quotes the offending token (for an unexpected
// token, the whole rest of the expression, line breaks included), with the
// token cut short.
std::string MessageOf(const mu::ParserError& error) {
  std::string message = error.GetMsg();
  const std::string& token = error.GetToken();
  constexpr size_t kLongestToken = 30;
  if (const size_t at = message.find(token);
      token.size() > kLongestToken && at != std::string::npos) {
    message.replace(at, token.size(), Excerpt(token, kLongestToken));
  }
  return Excerpt(message, 200);
}

// Makes the name stand for the value. A name muParser cannot take (too long,
// holding other characters) is a CExpressionError of the expression compiled
// with it.
void DefineName(mu::Parser& parser, const std::string& name, double* value,
                CExpressionError::EWhere where, int index) {
  try {
    parser.DefineVar(name, value);
  } catch (const mu::ParserError& error) {
    throw CExpressionError(where, index,
                           "cannot use '" + Excerpt(name) + "' as a name: " + MessageOf(error), "");
  }
}

// Checks that the expression keeps to the language (ExpressionSyntax.h) and
// parses it once, so that syntax errors and unknown names come out now and not
// at the first evaluation.
void Compile(mu::Parser& parser, const std::string& expression, CExpressionError::EWhere where,
             int index) {
  if (const auto outside = FindSyntaxOutsideTheLanguage(expression)) {
    throw CExpressionError(where, index, "cannot read '" + Excerpt(expression) + "': " + *outside,
                           "");
  }
  try {
    parser.SetExpr(expression);
    parser.Eval();
  } catch (const mu::ParserError& error) {
    const std::string token = error.GetToken();
    const bool isName = error.GetCode() == mu::ecUNASSIGNABLE_TOKEN && !token.empty() &&
                        (std::isalpha(static_cast<unsigned char>(token[0])) || token[0] == '_');
    if (isName) {
      throw CExpressionError(
          where, index, "unknown name '" + Excerpt(token) + "' in '" + Excerpt(expression) + "'",
          token);
    }
    if (expression.find_first_not_of(" \t") == std::string::npos) {
      throw CExpressionError(where, index, "the expression is empty", "");
    }
    throw CExpressionError(where, index,
                           "cannot read '" + Excerpt(expression) + "': " + MessageOf(error), "");
  }
}

}  // namespace

CExpressionModel::CExpressionModel(const CModelDefinition& definition)
    : m_variableValues(definition.variableNames.size(), 0.0),
      m_inputValues(definition.inputNames.size(), 0.0),
      m_equationValues(definition.equations.size(), 0.0) {
  // A parser for the expression at `index` of `where`, knowing the variables
  // and the first `equationCount` equations.
  auto makeParser = [&](size_t equationCount, CExpressionError::EWhere where, int index) {
    auto parser = MakeParser();
    for (size_t j = 0; j < definition.variableNames.size(); ++j) {
      DefineName(*parser, definition.variableNames[j], &m_variableValues[j], where, index);
    }
    for (size_t j = 0; j < definition.inputNames.size(); ++j) {
      DefineName(*parser, definition.inputNames[j], &m_inputValues[j], where, index);
    }
    for (size_t j = 0; j < equationCount; ++j) {
      DefineName(*parser, definition.equations[j].first, &m_equationValues[j], where, index);
    }
    return parser;
  };
  for (size_t i = 0; i < definition.equations.size(); ++i) {
    const auto where = CExpressionError::EWhere::Equation;
    auto parser = makeParser(i, where, static_cast<int>(i));
    Compile(*parser, definition.equations[i].second, where, static_cast<int>(i));
    m_equationParsers.push_back(std::move(parser));
  }
  for (size_t i = 0; i < definition.responses.size(); ++i) {
    const auto where = CExpressionError::EWhere::Response;
    auto parser = makeParser(definition.equations.size(), where, static_cast<int>(i));
    Compile(*parser, definition.responses[i], where, static_cast<int>(i));
    m_responseParsers.push_back(std::move(parser));
  }
}

CExpressionModel::~CExpressionModel() = default;

void CExpressionModel::Evaluate(const double* design, double* responses) {
  std::copy(design, design + m_variableValues.size(), m_variableValues.begin());
  for (size_t j = 0; j < m_equationParsers.size(); ++j) {
    m_equationValues[j] = m_equationParsers[j]->Eval();
  }
  for (size_t i = 0; i < m_responseParsers.size(); ++i) {
    responses[i] = m_responseParsers[i]->Eval();
  }
}

void CExpressionModel::Evaluate(const double* design, const double* inputs, double* responses) {
  std::copy(inputs, inputs + m_inputValues.size(), m_inputValues.begin());
  Evaluate(design, responses);
}

double CExpressionModel::EvaluateConstant(const std::string& expression) {
  auto parser = MakeParser();
  Compile(*parser, expression, CExpressionError::EWhere::Response, 0);
  return parser->Eval();
}

void CExpressionModel::Check(const std::string& expression, const std::vector<std::string>& names) {
  auto parser = MakeParser();
  std::vector<double> values(names.size(), 1.0);
  for (size_t i = 0; i < names.size(); ++i) {
    DefineName(*parser, names[i], &values[i], CExpressionError::EWhere::Response, 0);
  }
  Compile(*parser, expression, CExpressionError::EWhere::Response, 0);
}

bool CExpressionModel::IsReservedName(const std::string& name) {
  auto parser = MakeParser();
  return parser->GetFunDef().count(name) > 0 || parser->GetConst().count(name) > 0;
}
