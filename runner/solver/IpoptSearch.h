#pragma once

// One local search with Ipopt (Waechter & Biegler 2006, "On the
// implementation of an interior-point filter line-search algorithm for
// large-scale nonlinear programming"): the model's finite-difference
// Jacobian for first derivatives and a limited-memory quasi-Newton
// approximation of the Hessian of the Lagrangian (hessian_approximation =
// limited-memory), since the program has no second derivatives. The model
// is already scaled (Optimizer.cpp), so Ipopt's own scaling is off; bounds
// are kept exactly (bound_relax_factor = 0), so every design lies within them.
// Ipopt's own convergence tolerance (tol = 1e-8) applies; its constraint
// tolerance is the model's; max_evaluations bounds its iterations and
// max_seconds its CPU time.
//
// Status: converged for Ipopt's "solved", "solved to acceptable level" and
// "infeasible problem detected" (a point of local infeasibility is its
// result, as it is for the NLopt algorithms); evaluation limit for the
// iteration limit; time limit when the model's deadline stopped it; round-off
// when the search direction became too small; NaN or infinite values when
// Ipopt met them; failed otherwise.

#include <vector>

#include "solver/LocalModel.h"
#include "solver/OptimizerSettings.h"

// Searches from `freeValues`, which it leaves at Ipopt's final point.
// Rethrows an exception of the model's evaluation once Ipopt has returned.
CBackendEnd SearchWithIpopt(CLocalModel& model, std::vector<double>& freeValues,
                            const COptimizerSettings& settings);
