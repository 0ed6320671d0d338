#pragma once

// A host for the module's tests: it writes a search task into the task
// database and plays the continuous optimiser on every subtask, in closed
// form, from the subtask's own records.
//
// The problem: minimise (or, with sense -1, maximise the negation of)
//   f(x) = sum_i w_i (x_i - t_i)^2   subject to   g(x) = a.x - b <= 0
// over the box of the task's bounds. Its solution is x_i(l) = clamp(t_i -
// l a_i / (2 w_i)) with the smallest multiplier l >= 0 that makes g <= 0
// (KKT conditions of a separable convex problem with one linear
// constraint); g(x(l)) falls monotonically in l, so bisection finds it. When
// no point of the box satisfies g <= 0, the point of least a.x is reported
// with its violation as the maximum constraint value.

#include <optional>
#include <vector>

class CLogFile;
class POD;

struct CVariable {
  double dLower;        // bound of the search task
  double dUpper;        // bound of the search task
  double dWeight;       // w_i > 0
  double dTarget;       // t_i, the unconstrained minimiser
  double dCoefficient;  // a_i of the constraint
  int nSetId;           // 0 continuous, -1 integer, k > 0 the values of set k
};

struct CValueSet {
  int nId;                     // > 0
  std::vector<double> values;  // ascending
};

struct CProblem {
  std::vector<CVariable> variables;
  std::vector<CValueSet> sets;
  double dLimit = 1e9;    // b
  int nSense = 1;         // 1 minimise f, -1 maximise -f
  int nModuleType = 0;    // 0 or 1 (1: subtasks start from all search points)
  double dConTol = 1e-9;  // constraint tolerance of the task
  int nExtraPoints = 0;   // points 1.. of the search task beside its best (point 0)
};

struct CDesign {
  std::vector<double> values;  // one per design variable
  double dObjective;           // f, or -f when maximising
  double dMaxCon;              // g(x)
};

// The continuous optimum over the box [lower, upper].
CDesign SolveInBox(const CProblem& problem, const std::vector<double>& lower,
                   const std::vector<double>& upper);

// The best feasible design whose discrete variables all take allowed values,
// found by trying every combination; none when no combination is feasible.
std::optional<CDesign> EnumerateBest(const CProblem& problem);

// Writes the search task with all its records under nTaskID, solved as a
// continuous problem (its best design is point 0, iteration 0).
void WriteSearchTask(POD* pDatabase, const CProblem& problem, int nTaskID);

// Runs a subtask as the continuous optimiser would: reads its bounds and
// start point, solves, and records the design as a new point and iteration.
void SolveSubtask(POD* pDatabase, const CProblem& problem, int nTaskID);

// Drives a whole search as a host does; returns the subtasks run.
int RunSearch(POD* pDatabase, const CProblem& problem, int nTaskID, CLogFile* pLog);
