#pragma once

// The host's continuous optimiser, small and exact: the problem of Problem.h
// without its discrete restrictions, inside given bounds. The objective is
// separable, so for a multiplier lambda >= 0 of the budget each variable's
// minimiser is its target moved by -lambda a_i / (2 w_i) and clamped into
// its bounds; the budget's left-hand side falls as lambda grows, and
// bisection finds the lambda at which it meets the budget (the KKT
// conditions of a convex problem, so this is the global optimum). When no
// design in the bounds keeps the budget, the design of least violation is
// returned, with its positive constraint value.

#include <vector>

#include "Problem.h"

CSolution SolveContinuous(const CProblem& problem, const std::vector<double>& lower,
                          const std::vector<double>& upper);

// The objective and constraint value of a design.
CSolution Evaluate(const CProblem& problem, const std::vector<double>& values);
