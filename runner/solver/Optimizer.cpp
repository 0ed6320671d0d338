#include "solver/Optimizer.h"

#include <nlopt.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <memory>
#include <stdexcept>
#include <utility>

#include "solver/Algorithms.h"
#include "solver/FiniteDifference.h"
#include "solver/IpoptSearch.h"

namespace {

// Owns an nlopt_opt.
struct CNloptDeleter {
  void operator()(nlopt_opt_s* optimizer) const { nlopt_destroy(optimizer); }
};
using NloptPointer = std::unique_ptr<nlopt_opt_s, CNloptDeleter>;

// Why the local search forced NLopt to stop; an exception of a callback is
// kept apart and rethrown.
enum class EForcedStop {
  None,      // not forced, or by an exception
  Deadline,  // the problem's deadline passed
  Stalled,   // the run's best design stopped improving (kStallEvaluations)
};

// How an NLopt run ended.
ESolveStatus StatusOf(nlopt_result result, EForcedStop forced) {
  switch (result) {
    case NLOPT_SUCCESS:
    case NLOPT_STOPVAL_REACHED:
    case NLOPT_FTOL_REACHED:
    case NLOPT_XTOL_REACHED:
      return ESolveStatus::Converged;
    case NLOPT_MAXEVAL_REACHED:
      return ESolveStatus::EvaluationLimit;
    case NLOPT_MAXTIME_REACHED:
      return ESolveStatus::TimeLimit;
    case NLOPT_ROUNDOFF_LIMITED:
      return ESolveStatus::RoundOff;
    case NLOPT_FORCED_STOP:
      return forced == EForcedStop::Deadline  ? ESolveStatus::TimeLimit
             : forced == EForcedStop::Stalled ? ESolveStatus::RoundOff
                                              : ESolveStatus::Failed;
    default:
      return ESolveStatus::Failed;
  }
}

bool IsFinite(const CEvaluatedDesign& design) {
  return std::isfinite(design.objective) && std::isfinite(design.maxConstraint);
}

std::vector<double> ClampedInto(const CContinuousProblem& problem, std::vector<double> design) {
  for (size_t i = 0; i < design.size(); ++i)
    design[i] = std::clamp(design[i], problem.lower[i], problem.upper[i]);
  return design;
}

double SecondsUntil(std::chrono::steady_clock::time_point deadline) {
  if (deadline == std::chrono::steady_clock::time_point::max()) return 0.0;  // NLopt's "no limit"
  const double seconds =
      std::chrono::duration<double>(deadline - std::chrono::steady_clock::now()).count();
  return std::max(seconds, 1e-3);  // a limit of 0 would mean none
}

// One local search over the free variables (those whose bounds differ). The
// values NLopt sees are [objective in minimisation form / scale, scaled
// constraint values]; the last point NLopt asked for is cached with its
// values and Jacobian, because NLopt asks for the objective and the
// constraints of one point in separate calls.
class CLocalSearch : public CLocalModel {
 public:
  CLocalSearch(const CContinuousProblem& problem, const COptimizerSettings& settings,
               int maxImprovements)
      : m_problem(problem),
        m_settings(settings),
        m_maxImprovements(maxImprovements),
        m_constraintCount(static_cast<int>(problem.isEquality.size())) {
    for (size_t i = 0; i < problem.lower.size(); ++i) {
      if (problem.upper[i] > problem.lower[i]) m_free.push_back(static_cast<int>(i));
    }
    for (int k = 0; k < m_constraintCount; ++k) {
      (problem.isEquality[k] ? m_equalities : m_inequalities).push_back(k);
    }
    const double defaultStep =
        settings.relativeStep > 0 ? settings.relativeStep : DefaultRelativeStep(settings.gradient);
    m_differences.kind = settings.gradient;
    for (int i : m_free) {
      m_differences.lower.push_back(problem.lower[i]);
      m_differences.upper.push_back(problem.upper[i]);
      m_differences.typical.push_back(problem.typicalMagnitude[i]);
      m_differences.relativeStep.push_back(problem.relativeStep[i] > 0 ? problem.relativeStep[i]
                                                                       : defaultStep);
    }
  }

  int Gradients() const { return m_gradients; }

  // The model as the backends see it (LocalModel.h).
  size_t FreeCount() const override { return m_free.size(); }
  double FreeLower(size_t j) const override { return m_problem.lower[m_free[j]]; }
  double FreeUpper(size_t j) const override { return m_problem.upper[m_free[j]]; }
  size_t ConstraintCount() const override { return m_constraintCount; }
  bool IsEquality(size_t k) const override { return m_problem.isEquality[k]; }
  double ConstraintTolerance(size_t k) const override {
    return 0.1 * m_problem.tolerance / m_outputScales[k + 1];
  }
  const std::vector<double>& OutputsAt(const double* freeValues) override {
    EnsureEvaluated(freeValues);
    return m_cachedOutputs;
  }
  const std::vector<double>& JacobianAt(const double* freeValues) override {
    EnsureEvaluated(freeValues);
    EnsureJacobian();
    return m_jacobian;
  }
  bool DeadlinePassed() const override {
    return std::chrono::steady_clock::now() >= m_problem.deadline;
  }

  CLocalRun Run(const std::vector<double>& start, int startIndex) {
    CLocalRun run;
    run.startIndex = startIndex;
    m_run = &run;
    m_design = ClampedInto(m_problem, start);
    std::vector<double> freeValues;
    for (int i : m_free) freeValues.push_back(m_design[i]);
    m_cacheValid = false;
    m_outputScales.assign(m_constraintCount + 1, 1.0);
    run.start = EvaluateFull(m_design);
    run.best = run.start;
    if (DeadlinePassed()) {
      run.status = ESolveStatus::TimeLimit;
      run.statusText = "the deadline had passed";
    } else if (!m_free.empty()) {
      if (AlgorithmNamed(m_settings.algorithm).usesGradients) ScaleFromGradients(freeValues);
      Search(freeValues);
    }
    if (!IsFinite(run.best)) run.status = ESolveStatus::NonFinite;
    m_run = nullptr;
    return run;
  }

 private:
  // An exception must not cross NLopt's C code: a callback that fails stores
  // its exception and stops NLopt, and the search rethrows it here.
  void Search(std::vector<double>& freeValues) {
    if (AlgorithmNamed(m_settings.algorithm).family == ESolverFamily::Ipopt) {
      const CBackendEnd end = SearchWithIpopt(*this, freeValues, m_settings);
      m_run->status = end.status;
      m_run->code = end.code;
      m_run->statusText = end.text;
      return;
    }
    const nlopt_result result = RunNlopt(MakeOptimizer(), freeValues);
    SetStatus(result, "");
    if (IsFeasible(m_run->best.maxConstraint, m_problem.tolerance) || m_constraintCount == 0 ||
        m_forced == EForcedStop::Deadline)
      return;
    // Restoration: from the run's best design, minimise the constraint
    // violation within the bounds alone, then search once more from there.
    std::vector<double> restart = FreeValuesOf(m_run->best);
    const nlopt_result restored = RunNlopt(MakeRestoration(), restart);
    if (m_forced == EForcedStop::Deadline) return SetStatus(NLOPT_FORCED_STOP, " in restoration");
    const bool restorationConverged = StatusOf(restored, m_forced) == ESolveStatus::Converged;
    SetStatus(RunNlopt(MakeOptimizer(), restart), " after restoration");
    // The restoration found a local minimum of the violation above the
    // tolerance, and the algorithm, started there, got no further: a point
    // of local infeasibility is the run's converged result.
    if (restorationConverged && !IsConverged(m_run->status) && m_forced != EForcedStop::Deadline &&
        !IsFeasible(m_run->best.maxConstraint, m_problem.tolerance)) {
      m_run->status = ESolveStatus::Converged;
      m_run->statusText += ": locally infeasible";
    }
  }

  // Gradient-based scaling (Waechter & Biegler 2006, section 3.8): each
  // output whose gradient at the start point is larger than
  // kLargestScaledGradient in some component is divided by the factor that
  // brings it down to that size, so that an objective or a constraint of 1e10
  // does not swamp the quadratic model and the stopping tests. Outputs never
  // grow. The start's Jacobian is the one a gradient-based algorithm asks for
  // first, so the scaling costs no analysis.
  void ScaleFromGradients(const std::vector<double>& freeValues) {
    constexpr double kLargestScaledGradient = 100.0;
    m_cachedFree = freeValues;
    m_cachedOutputs.resize(m_constraintCount + 1);
    OutputsOf(m_run->start, m_cachedOutputs.data());
    m_cacheValid = true;
    m_jacobianValid = false;
    EnsureJacobian();
    const size_t n = m_free.size();
    for (int k = 0; k <= m_constraintCount; ++k) {
      double largest = 0.0;
      for (size_t j = 0; j < n; ++j) largest = std::max(largest, std::fabs(m_jacobian[k * n + j]));
      if (!std::isfinite(largest) || largest <= kLargestScaledGradient) continue;
      const double factor = largest / kLargestScaledGradient;
      m_outputScales[k] = factor;
      m_cachedOutputs[k] /= factor;
      for (size_t j = 0; j < n; ++j) m_jacobian[k * n + j] /= factor;
    }
  }

  void SetStatus(nlopt_result result, const char* when) {
    m_run->code = result;
    m_run->status = StatusOf(result, m_forced);
    m_run->statusText = std::string(nlopt_result_to_string(result)) +
                        (m_forced == EForcedStop::Stalled ? " (stalled)" : "") + when;
  }

  nlopt_result RunNlopt(NloptPointer optimizer, std::vector<double>& freeValues) {
    m_optimizer = optimizer.get();
    m_forced = EForcedStop::None;
    m_sinceImprovement = 0;
    const double remaining = SecondsUntil(m_problem.deadline);
    const double limit =
        m_settings.maxSeconds > 0 && (remaining == 0 || m_settings.maxSeconds < remaining)
            ? m_settings.maxSeconds
            : remaining;
    if (limit > 0) nlopt_set_maxtime(optimizer.get(), limit);
    double value = 0.0;
    const nlopt_result result = nlopt_optimize(optimizer.get(), freeValues.data(), &value);
    m_optimizer = nullptr;
    if (m_failure) std::rethrow_exception(std::exchange(m_failure, nullptr));
    return result;
  }

  std::vector<double> FreeValuesOf(const CEvaluatedDesign& design) const {
    std::vector<double> values;
    for (int i : m_free) values.push_back(design.values[i]);
    return values;
  }

  // Runs a callback's body unless the deadline has passed or the run has
  // stalled, in which case NLopt is stopped (and the run ends with
  // ESolveStatus::TimeLimit or ESolveStatus::RoundOff). A run has stalled
  // when its best design has not improved in the last 50 + 5n designs NLopt
  // asked for (n free variables): SLSQP can circle for its whole evaluation
  // budget at a corner of a box that holds no feasible point.
  template <class FBody>
  void Guarded(FBody body) {
    const int stallEvaluations = 50 + 5 * static_cast<int>(m_free.size());
    const EForcedStop forced = DeadlinePassed() ? EForcedStop::Deadline
                               : m_sinceImprovement > stallEvaluations &&
                                       !IsFeasible(m_run->best.maxConstraint, m_problem.tolerance)
                                   ? EForcedStop::Stalled
                                   : EForcedStop::None;
    if (forced != EForcedStop::None) {
      m_forced = forced;
      nlopt_force_stop(m_optimizer);
      return;
    }
    try {
      body();
    } catch (...) {
      m_failure = std::current_exception();
      nlopt_force_stop(m_optimizer);
    }
  }

  NloptPointer MakeBounded(nlopt_algorithm algorithm) const {
    NloptPointer optimizer(nlopt_create(algorithm, static_cast<unsigned>(m_free.size())));
    std::vector<double> lower;
    std::vector<double> upper;
    for (int i : m_free) {
      lower.push_back(m_problem.lower[i]);
      upper.push_back(m_problem.upper[i]);
    }
    nlopt_set_lower_bounds(optimizer.get(), lower.data());
    nlopt_set_upper_bounds(optimizer.get(), upper.data());
    return optimizer;
  }

  // The sum of squared violations, within the bounds alone (no constraint to
  // linearise, so no contradiction).
  NloptPointer MakeRestoration() {
    NloptPointer optimizer = MakeBounded(NLOPT_LD_SLSQP);
    nlopt_set_min_objective(optimizer.get(), &CLocalSearch::Violation, this);
    SetStoppingRules(optimizer.get());
    nlopt_set_stopval(optimizer.get(), 0.0);
    nlopt_set_maxeval(optimizer.get(), m_settings.maxEvaluations);
    return optimizer;
  }

  NloptPointer MakeOptimizer() {
    const unsigned n = static_cast<unsigned>(m_free.size());
    const auto algorithm =
        static_cast<nlopt_algorithm>(AlgorithmNamed(m_settings.algorithm).nloptAlgorithm);
    NloptPointer optimizer = MakeBounded(algorithm);
    nlopt_set_min_objective(optimizer.get(), &CLocalSearch::Objective, this);
    if (!m_inequalities.empty()) {
      const std::vector<double> tolerances = ConstraintTolerances(m_inequalities);
      nlopt_add_inequality_mconstraint(optimizer.get(),
                                       static_cast<unsigned>(m_inequalities.size()),
                                       &CLocalSearch::Inequalities, this, tolerances.data());
    }
    if (!m_equalities.empty()) {
      const std::vector<double> tolerances = ConstraintTolerances(m_equalities);
      nlopt_add_equality_mconstraint(optimizer.get(), static_cast<unsigned>(m_equalities.size()),
                                     &CLocalSearch::Equalities, this, tolerances.data());
    }
    SetStoppingRules(optimizer.get());
    nlopt_set_maxeval(optimizer.get(), m_settings.maxEvaluations);
    if (algorithm == NLOPT_AUGLAG) {
      NloptPointer local(nlopt_create(NLOPT_LD_LBFGS, n));
      SetStoppingRules(local.get());
      nlopt_set_local_optimizer(optimizer.get(), local.get());  // NLopt keeps its own copy
    }
    return optimizer;
  }

  // NLopt's tolerance of each constraint: a tenth of the problem's, in the
  // units the optimiser sees (after the gradient-based scaling).
  std::vector<double> ConstraintTolerances(const std::vector<int>& constraints) const {
    std::vector<double> tolerances;
    for (int k : constraints) tolerances.push_back(ConstraintTolerance(k));
    return tolerances;
  }

  void SetStoppingRules(nlopt_opt optimizer) const {
    nlopt_set_ftol_rel(optimizer, m_settings.fTolerance);
    nlopt_set_xtol_rel(optimizer, m_settings.xTolerance);
  }

  // Evaluates a whole design (already inside the bounds).
  CEvaluatedDesign EvaluateFull(const std::vector<double>& design) {
    CEvaluatedDesign evaluated = EvaluateDesign(m_problem, design);
    ++m_run->analyses;
    evaluated.analysis = ++m_analyses;
    return evaluated;
  }

  // The design for free values, clamped into the bounds.
  std::vector<double> DesignAt(const double* freeValues) const {
    std::vector<double> design = m_design;
    for (size_t j = 0; j < m_free.size(); ++j) {
      const int i = m_free[j];
      design[i] = std::clamp(freeValues[j], m_problem.lower[i], m_problem.upper[i]);
    }
    return design;
  }

  // What NLopt sees of an evaluated design: the objective in minimisation
  // form over its scale, every output over its gradient-based factor; NaN
  // becomes +HUGE_VAL (worst).
  void OutputsOf(const CEvaluatedDesign& design, double* outputs) const {
    const double sense = m_problem.minimize ? 1.0 : -1.0;
    const double objective =
        sense * design.objective / m_problem.objectiveScale / m_outputScales[0];
    outputs[0] = std::isnan(objective) ? HUGE_VAL : objective;
    for (int k = 0; k < m_constraintCount; ++k) {
      const double value = design.constraints[k] / m_outputScales[k + 1];
      outputs[k + 1] = std::isnan(value) ? HUGE_VAL : value;
    }
  }

  // Evaluates a point NLopt asked for, unless it is the cached one; it may
  // improve the run's best.
  void EnsureEvaluated(const double* freeValues) {
    if (m_cacheValid && std::equal(m_cachedFree.begin(), m_cachedFree.end(), freeValues)) return;
    m_cachedFree.assign(freeValues, freeValues + m_free.size());
    const CEvaluatedDesign design = EvaluateFull(DesignAt(freeValues));
    m_cachedOutputs.resize(m_constraintCount + 1);
    OutputsOf(design, m_cachedOutputs.data());
    m_cacheValid = true;
    m_jacobianValid = false;
    ++m_sinceImprovement;
    if (IsBetterDesign(design, m_run->best, m_problem.minimize, m_problem.tolerance)) {
      m_sinceImprovement = 0;
      m_run->best = design;
      if (static_cast<int>(m_run->improvements.size()) >= m_maxImprovements &&
          m_maxImprovements > 0) {
        m_run->improvements.back() = design;
      } else if (m_maxImprovements > 0) {
        m_run->improvements.push_back(design);
      }
    }
  }

  void EnsureJacobian() {
    if (m_jacobianValid) return;
    const FVectorFunction outputs = [this](const double* freeValues, double* values) {
      OutputsOf(EvaluateFull(DesignAt(freeValues)), values);
    };
    FPreparePoints prepare;
    if (m_problem.prepare) {
      prepare = [this](const std::vector<std::vector<double>>& freePoints) {
        std::vector<std::vector<double>> designs;
        for (const std::vector<double>& point : freePoints)
          designs.push_back(DesignAt(point.data()));
        m_problem.prepare(designs);
      };
    }
    EstimateJacobian(outputs, m_constraintCount + 1, m_cachedFree, m_cachedOutputs, m_differences,
                     m_jacobian, prepare);
    ++m_gradients;
    m_jacobianValid = true;
  }

  // Copies the rows of the given outputs (1 = first constraint) into NLopt's gradient.
  void CopyRows(const std::vector<int>& rows, double* gradient) const {
    const size_t n = m_free.size();
    for (size_t r = 0; r < rows.size(); ++r) {
      std::copy_n(m_jacobian.begin() + rows[r] * n, n, gradient + r * n);
    }
  }

  static double Objective(unsigned, const double* freeValues, double* gradient, void* data) {
    auto* search = static_cast<CLocalSearch*>(data);
    double value = HUGE_VAL;
    search->Guarded([&] {
      search->EnsureEvaluated(freeValues);
      if (gradient != nullptr) {
        search->EnsureJacobian();
        search->CopyRows({0}, gradient);
      }
      value = search->m_cachedOutputs[0];
    });
    return value;
  }

  // Sum of the squared violations: max(0, c)^2 for an inequality, c^2 for an
  // equality; its gradient from the constraints' Jacobian.
  static double Violation(unsigned, const double* freeValues, double* gradient, void* data) {
    auto* search = static_cast<CLocalSearch*>(data);
    double value = HUGE_VAL;
    search->Guarded([&] {
      search->EnsureEvaluated(freeValues);
      if (gradient != nullptr) {
        search->EnsureJacobian();
        std::fill_n(gradient, search->m_free.size(), 0.0);
      }
      value = 0.0;
      const size_t n = search->m_free.size();
      for (int k = 0; k < search->m_constraintCount; ++k) {
        const double c = search->m_cachedOutputs[k + 1];
        const double violation = search->m_problem.isEquality[k] ? c : std::max(0.0, c);
        value += violation * violation;
        for (size_t j = 0; gradient != nullptr && j < n; ++j) {
          gradient[j] += 2 * violation * search->m_jacobian[(k + 1) * n + j];
        }
      }
    });
    return value;
  }

  static void Constraints(const std::vector<int>& which, double* result, const double* freeValues,
                          double* gradient, CLocalSearch* search) {
    search->EnsureEvaluated(freeValues);
    std::vector<int> rows;
    for (size_t r = 0; r < which.size(); ++r) {
      result[r] = search->m_cachedOutputs[which[r] + 1];
      rows.push_back(which[r] + 1);
    }
    if (gradient != nullptr) {
      search->EnsureJacobian();
      search->CopyRows(rows, gradient);
    }
  }

  static void Inequalities(unsigned, double* result, unsigned, const double* freeValues,
                           double* gradient, void* data) {
    auto* search = static_cast<CLocalSearch*>(data);
    search->Guarded(
        [&] { Constraints(search->m_inequalities, result, freeValues, gradient, search); });
  }

  static void Equalities(unsigned, double* result, unsigned, const double* freeValues,
                         double* gradient, void* data) {
    auto* search = static_cast<CLocalSearch*>(data);
    search->Guarded(
        [&] { Constraints(search->m_equalities, result, freeValues, gradient, search); });
  }

  const CContinuousProblem& m_problem;   // not owned
  const COptimizerSettings& m_settings;  // not owned
  int m_maxImprovements;                 // improvements kept per run
  int m_constraintCount;                 // constraints of the problem
  std::vector<int> m_free;               // variables with lower < upper, ascending
  std::vector<int> m_inequalities;       // constraint indices of inequalities
  std::vector<int> m_equalities;         // constraint indices of equalities
  CFiniteDifferenceSetup m_differences;  // over the free variables
  std::vector<double> m_design;         // the current run's design; fixed variables at their values
  CLocalRun* m_run = nullptr;           // the run in progress; null between runs
  bool m_cacheValid = false;            // m_cachedFree was evaluated in this run
  std::vector<double> m_cachedFree;     // free values of the last point NLopt asked for
  std::vector<double> m_cachedOutputs;  // NLopt's values there: objective, then constraints
  bool m_jacobianValid = false;         // m_jacobian belongs to m_cachedFree
  std::vector<double> m_jacobian;       // (1 + constraints) x free variables, row-major
  std::vector<double>
      m_outputScales;               // gradient-based factor of each output (objective first); >= 1
  int m_gradients = 0;              // Jacobians estimated
  int m_analyses = 0;               // analyses of all runs so far
  nlopt_opt m_optimizer = nullptr;  // the optimiser running; null between runs
  EForcedStop m_forced = EForcedStop::None;  // why the running optimiser was stopped
  int m_sinceImprovement = 0;    // designs NLopt asked for since the run's best last improved
  std::exception_ptr m_failure;  // exception of a callback, rethrown after NLopt returns
};

}  // namespace

COptimizationResult Optimize(const CContinuousProblem& problem,
                             const std::vector<std::vector<double>>& startPoints,
                             const COptimizerSettings& settings, int maxImprovements) {
  if (startPoints.empty())
    throw std::invalid_argument("the optimiser needs at least one start point");
  CLocalSearch search(problem, settings, maxImprovements);
  if (problem.prepare && startPoints.size() > 1) {
    std::vector<std::vector<double>> starts;
    for (const std::vector<double>& start : startPoints)
      starts.push_back(ClampedInto(problem, start));
    problem.prepare(starts);
  }
  COptimizationResult result;
  for (size_t s = 0; s < startPoints.size(); ++s) {
    result.runs.push_back(search.Run(startPoints[s], static_cast<int>(s)));
    result.analyses += result.runs.back().analyses;
    if (IsBetterDesign(result.runs.back().best, result.Best(), problem.minimize,
                       problem.tolerance)) {
      result.bestRun = static_cast<int>(s);
    }
  }
  result.gradients = search.Gradients();
  return result;
}

ESolveStatus COptimizationResult::Status() const {
  for (const CLocalRun& run : runs) {
    if (IsConverged(run.status)) return ESolveStatus::Converged;
  }
  return runs[bestRun].status;
}

CEvaluatedDesign EvaluateDesign(const CContinuousProblem& problem,
                                const std::vector<double>& values) {
  CEvaluatedDesign evaluated;
  evaluated.values = values;
  evaluated.constraints.resize(problem.isEquality.size());
  problem.evaluate(values.data(), &evaluated.objective, evaluated.constraints.data());
  evaluated.maxConstraint = MaxConstraint(evaluated.constraints, problem.isEquality);
  return evaluated;
}
