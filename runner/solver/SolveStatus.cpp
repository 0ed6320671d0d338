#include "solver/SolveStatus.h"

const char* Describe(ESolveStatus status) {
  switch (status) {
    case ESolveStatus::Converged:
      return "converged";
    case ESolveStatus::EvaluationLimit:
      return "stopped at the evaluation limit";
    case ESolveStatus::TimeLimit:
      return "stopped at the time limit";
    case ESolveStatus::RoundOff:
      return "stopped by round-off";
    case ESolveStatus::Failed:
      return "failed";
    case ESolveStatus::NonFinite:
      return "met NaN or infinite values";
  }
  return "?";
}
