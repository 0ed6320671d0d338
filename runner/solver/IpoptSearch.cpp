#include "solver/IpoptSearch.h"

#include <IpIpoptApplication.hpp>
#include <IpTNLP.hpp>
#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace {

using Ipopt::Index;
using Ipopt::Number;

// The model as Ipopt's TNLP: a dense Jacobian of the constraints, bounds
// [-inf, 0] for an inequality and [0, 0] for an equality. An exception of an
// evaluation must not cross Ipopt: it is kept, the evaluation reports
// failure, the next iteration stops Ipopt, and the caller rethrows it.
class CIpoptProblem : public Ipopt::TNLP {
 public:
  CIpoptProblem(CLocalModel& model, std::vector<double>& freeValues)
      : m_model(model), m_values(freeValues) {}

  std::exception_ptr Failure() const { return m_failure; }
  bool StoppedAtDeadline() const { return m_stoppedAtDeadline; }

  bool get_nlp_info(Index& n, Index& m, Index& nonZerosOfJacobian, Index& nonZerosOfHessian,
                    IndexStyleEnum& style) override {
    n = static_cast<Index>(m_model.FreeCount());
    m = static_cast<Index>(m_model.ConstraintCount());
    nonZerosOfJacobian = n * m;
    nonZerosOfHessian = 0;  // limited-memory approximation
    style = C_STYLE;
    return true;
  }

  bool get_bounds_info(Index n, Number* lower, Number* upper, Index m, Number* constraintLower,
                       Number* constraintUpper) override {
    for (Index j = 0; j < n; ++j) {
      lower[j] = m_model.FreeLower(j);
      upper[j] = m_model.FreeUpper(j);
    }
    for (Index k = 0; k < m; ++k) {
      constraintLower[k] = m_model.IsEquality(k) ? 0.0 : -HUGE_VAL;
      constraintUpper[k] = 0.0;
    }
    return true;
  }

  bool get_starting_point(Index n, bool, Number* x, bool, Number*, Number*, Index, bool,
                          Number*) override {
    std::copy_n(m_values.begin(), n, x);
    return true;
  }

  bool eval_f(Index, const Number* x, bool, Number& value) override {
    return Guarded([&] { value = m_model.OutputsAt(x)[0]; });
  }

  bool eval_grad_f(Index n, const Number* x, bool, Number* gradient) override {
    return Guarded([&] { std::copy_n(m_model.JacobianAt(x).begin(), n, gradient); });
  }

  bool eval_g(Index, const Number* x, bool, Index m, Number* values) override {
    return Guarded([&] { std::copy_n(m_model.OutputsAt(x).begin() + 1, m, values); });
  }

  bool eval_jac_g(Index n, const Number* x, bool, Index m, Index, Index* rows, Index* columns,
                  Number* values) override {
    if (values == nullptr) {  // the structure: dense, row by row
      for (Index k = 0; k < m; ++k) {
        for (Index j = 0; j < n; ++j) {
          rows[k * n + j] = k;
          columns[k * n + j] = j;
        }
      }
      return true;
    }
    return Guarded([&] {
      std::copy_n(m_model.JacobianAt(x).begin() + n, static_cast<size_t>(n) * m, values);
    });
  }

  bool intermediate_callback(Ipopt::AlgorithmMode, Index, Number, Number, Number, Number, Number,
                             Number, Number, Number, Index, const Ipopt::IpoptData*,
                             Ipopt::IpoptCalculatedQuantities*) override {
    if (m_model.DeadlinePassed()) m_stoppedAtDeadline = true;
    return !m_stoppedAtDeadline && !m_failure;
  }

  void finalize_solution(Ipopt::SolverReturn, Index n, const Number* x, const Number*,
                         const Number*, Index, const Number*, const Number*, Number,
                         const Ipopt::IpoptData*, Ipopt::IpoptCalculatedQuantities*) override {
    std::copy_n(x, n, m_values.begin());
  }

 private:
  template <class FBody>
  bool Guarded(FBody body) {
    if (m_failure) return false;
    if (m_model.DeadlinePassed()) {
      m_stoppedAtDeadline = true;
      return false;
    }
    try {
      body();
      return true;
    } catch (...) {
      m_failure = std::current_exception();
      return false;
    }
  }

  CLocalModel& m_model;           // not owned
  std::vector<double>& m_values;  // the start, then the final point; not owned
  std::exception_ptr m_failure;   // of an evaluation
  bool m_stoppedAtDeadline = false;
};

ESolveStatus StatusOf(Ipopt::ApplicationReturnStatus status, bool stoppedAtDeadline) {
  switch (status) {
    case Ipopt::Solve_Succeeded:
    case Ipopt::Solved_To_Acceptable_Level:
    case Ipopt::Infeasible_Problem_Detected:
      return ESolveStatus::Converged;
    case Ipopt::Maximum_Iterations_Exceeded:
      return ESolveStatus::EvaluationLimit;
    case Ipopt::Maximum_CpuTime_Exceeded:
      return ESolveStatus::TimeLimit;
    case Ipopt::Search_Direction_Becomes_Too_Small:
      return ESolveStatus::RoundOff;
    case Ipopt::Invalid_Number_Detected:
      return ESolveStatus::NonFinite;
    default:
      return stoppedAtDeadline ? ESolveStatus::TimeLimit : ESolveStatus::Failed;
  }
}

const char* Describe(Ipopt::ApplicationReturnStatus status) {
  switch (status) {
    case Ipopt::Solve_Succeeded:
      return "Solve_Succeeded";
    case Ipopt::Solved_To_Acceptable_Level:
      return "Solved_To_Acceptable_Level";
    case Ipopt::Infeasible_Problem_Detected:
      return "Infeasible_Problem_Detected";
    case Ipopt::Search_Direction_Becomes_Too_Small:
      return "Search_Direction_Becomes_Too_Small";
    case Ipopt::Diverging_Iterates:
      return "Diverging_Iterates";
    case Ipopt::User_Requested_Stop:
      return "User_Requested_Stop";
    case Ipopt::Maximum_Iterations_Exceeded:
      return "Maximum_Iterations_Exceeded";
    case Ipopt::Restoration_Failed:
      return "Restoration_Failed";
    case Ipopt::Error_In_Step_Computation:
      return "Error_In_Step_Computation";
    case Ipopt::Maximum_CpuTime_Exceeded:
      return "Maximum_CpuTime_Exceeded";
    case Ipopt::Invalid_Number_Detected:
      return "Invalid_Number_Detected";
    default:
      return "Ipopt error";
  }
}

}  // namespace

CBackendEnd SearchWithIpopt(CLocalModel& model, std::vector<double>& freeValues,
                            const COptimizerSettings& settings) {
  Ipopt::SmartPtr<Ipopt::IpoptApplication> application = IpoptApplicationFactory();
  Ipopt::OptionsList& options = *application->Options();
  options.SetIntegerValue("print_level", 0);
  options.SetStringValue("sb", "yes");  // no banner
  options.SetStringValue("hessian_approximation", "limited-memory");
  options.SetStringValue("nlp_scaling_method", "none");
  options.SetNumericValue("bound_relax_factor", 0.0);
  options.SetStringValue("honor_original_bounds", "yes");
  double constraintTolerance = HUGE_VAL;
  for (size_t k = 0; k < model.ConstraintCount(); ++k) {
    constraintTolerance = std::min(constraintTolerance, model.ConstraintTolerance(k));
  }
  if (std::isfinite(constraintTolerance))
    options.SetNumericValue("constr_viol_tol", constraintTolerance);
  options.SetIntegerValue("max_iter", settings.maxEvaluations);
  if (settings.maxSeconds > 0) options.SetNumericValue("max_cpu_time", settings.maxSeconds);

  CBackendEnd end;
  if (application->Initialize() != Ipopt::Solve_Succeeded) {
    end.text = "Ipopt could not be initialised";
    return end;
  }
  Ipopt::SmartPtr<CIpoptProblem> problem = new CIpoptProblem(model, freeValues);
  const Ipopt::ApplicationReturnStatus status =
      application->OptimizeTNLP(Ipopt::SmartPtr<Ipopt::TNLP>(problem));
  if (problem->Failure()) std::rethrow_exception(problem->Failure());
  end.status = StatusOf(status, problem->StoppedAtDeadline());
  end.code = static_cast<int>(status);
  end.text = Describe(status);
  return end;
}
