#pragma once

// How a local search, and so a task's continuous solve, ended. Only a
// converged solve yields a design that stands for its task: its design is a
// local optimum of the task's continuous problem within the optimiser's
// tolerances. Every other status means the search stopped somewhere on its
// way, and its best design says nothing about what the task's bounds allow.
//
// The numbers are stored in the task database (CResult m_nStatusCode) and
// never change.

enum class ESolveStatus {
  Converged = 0,        // the optimiser's stopping tests on the design or the objective were met
  EvaluationLimit = 1,  // stopped after the most analyses a local search may ask for
  TimeLimit = 2,        // stopped by the time of the local search or of the whole run
  RoundOff = 3,         // stopped because round-off kept it from making progress
  Failed = 4,           // the optimiser failed (its own error, or a forced stop)
  NonFinite = 5,        // its best design has a NaN or infinite objective or constraint
};

inline bool IsConverged(ESolveStatus status) { return status == ESolveStatus::Converged; }

// Words for a status, as records and reports show them ("converged",
// "stopped at the evaluation limit", ...).
const char* Describe(ESolveStatus status);
