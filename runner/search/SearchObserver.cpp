#include "search/SearchObserver.h"

const char* Describe(ENodeOutcome outcome) {
  switch (outcome) {
    case ENodeOutcome::NotSolved:
      return "not solved";
    case ENodeOutcome::NotConverged:
      return "not converged";
    case ENodeOutcome::Infeasible:
      return "infeasible";
    case ENodeOutcome::WorseThanIncumbent:
      return "worse than incumbent";
    case ENodeOutcome::DiscreteFeasible:
      return "discrete feasible";
    case ENodeOutcome::ToBranch:
      return "to branch";
  }
  return "?";
}

const char* Describe(ESearchEnd end) {
  switch (end) {
    case ESearchEnd::Complete:
      return "search complete";
    case ESearchEnd::NodeLimit:
      return "stopped at the node limit";
    case ESearchEnd::TimeLimit:
      return "stopped at the time limit";
    case ESearchEnd::Interrupted:
      return "interrupted";
    case ESearchEnd::Unfinished:
      return "the search did not finish";
  }
  return "?";
}
