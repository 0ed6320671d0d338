#pragma once

// The analysis model of a design problem: named intermediate equations and
// response expressions over the design variables, compiled once and evaluated
// for many designs.
//
//   CModelDefinition definition;
//   definition.variableNames = {"R", "L"};
//   definition.equations = {{"volume", "pi*R^2*L"}};
//   definition.responses = {"volume - 1000", "R + L"};
//   CExpressionModel model(definition);     // throws CExpressionError
//   std::vector<double> responses(model.ResponseCount());
//   model.Evaluate(design.data(), responses.data());
//
// Expressions use muParser's syntax restricted to the language of problem
// files (ExpressionSyntax.h): numbers, names, + - * / ^, parentheses, muParser's
// functions (sqrt, exp, log (natural), sin, min, max, ...) and the constant pi.
// An equation may use the variables and the equations listed before it; a
// response may use every variable and equation.
//
// Cost: construction parses every expression once; Evaluate() runs the
// compiled byte code of each equation and response once, with no allocation.
// A model is not safe for concurrent use (it keeps the current values of the
// variables and equations inside).

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace mu {
class Parser;
}

struct CModelDefinition {
  // Names of the design variables, in design-variable order
  std::vector<std::string> variableNames;
  // (name, expression), in evaluation order
  std::vector<std::pair<std::string, std::string>> equations;
  std::vector<std::string> responses;  // response expressions, in response order
  // Names of values computed outside (the responses of analysis programs),
  // bound like variables; given to Evaluate() beside the design
  std::vector<std::string> inputNames;
};

// An expression that cannot be compiled, or a name muParser cannot take. Says
// which expression (equation or response and its index), what is wrong, and,
// for an unknown name, the name.
class CExpressionError : public std::runtime_error {
 public:
  enum class EWhere { Equation, Response };
  CExpressionError(EWhere where, int index, const std::string& message, std::string unknownName)
      : std::runtime_error(message),
        m_where(where),
        m_index(index),
        m_unknownName(std::move(unknownName)) {}
  EWhere Where() const { return m_where; }  // which list holds the expression
  int Index() const { return m_index; }     // its index in that list, from 0
  const std::string& UnknownName() const {
    return m_unknownName;
  }  // empty unless a name is unknown

 private:
  EWhere m_where;             // which list holds the expression
  int m_index;                // index in that list
  std::string m_unknownName;  // the unknown name, or empty
};

class CExpressionModel {
 public:
  // Compiles every expression. Throws CExpressionError for the first one that
  // does not compile, in the order equations, then responses.
  explicit CExpressionModel(const CModelDefinition& definition);
  ~CExpressionModel();
  CExpressionModel(const CExpressionModel&) = delete;
  CExpressionModel& operator=(const CExpressionModel&) = delete;

  int VariableCount() const { return static_cast<int>(m_variableValues.size()); }
  int ResponseCount() const { return static_cast<int>(m_responseParsers.size()); }

  // Evaluates all responses for the design: `design` holds VariableCount()
  // values, `responses` receives ResponseCount() values. Domain errors (sqrt of
  // a negative number, division by zero) give NaN or infinity, not exceptions.
  void Evaluate(const double* design, double* responses);
  // The same for a model with inputs: `inputs` holds InputCount() values.
  void Evaluate(const double* design, const double* inputs, double* responses);
  int InputCount() const { return static_cast<int>(m_inputValues.size()); }

  // Evaluates an expression that uses no variable (the right-hand side of a
  // constraint). Throws CExpressionError (as response 0) when it does not
  // compile or uses a name.
  static double EvaluateConstant(const std::string& expression);

  // Compiles the expression with the given names defined and nothing else;
  // throws CExpressionError (as response 0) when it does not compile.
  static void Check(const std::string& expression, const std::vector<std::string>& names);

  // True for names that expressions reserve for functions and constants
  // (sin, max, pi, ...): a variable or equation may not take them.
  static bool IsReservedName(const std::string& name);

 private:
  std::vector<double> m_variableValues;  // current design; fixed size, parsers point into it
  std::vector<double> m_inputValues;     // current inputs; fixed size, parsers point into it
  // Current equation values; fixed size, parsers point into it
  std::vector<double> m_equationValues;
  std::vector<std::unique_ptr<mu::Parser>> m_equationParsers;  // one per equation, in order
  std::vector<std::unique_ptr<mu::Parser>> m_responseParsers;  // one per response, in order
};
