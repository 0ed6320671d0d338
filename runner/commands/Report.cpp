#include "commands/Report.h"

#include <fmt/format.h>

#include <cmath>

#include "Records.h"
#include "Timing.h"
#include "analyses/AnalysisEvaluator.h"
#include "solver/Design.h"
#include "tasks/TaskProblem.h"
#include "tasks/TaskResult.h"

namespace {

// What the report shows of the problem besides the continuous part.
struct CProblemLabels {
  std::string name;                // CTask m_strName
  std::string description;         // CTask m_strDescription
  std::string problemFile;         // CTask m_strProblemFile
  std::vector<std::string> kinds;  // per variable: "continuous", "integer", "set <name>"
  double target = std::nan("");    // CDObj m_vaTarget[0]
  double targetTolerance = 0.0;    // CDObj m_vaTargetTol[0]
};

CProblemLabels ReadLabels(int taskId) {
  POD* database = GetPOD();
  CProblemLabels labels;
  CTask task(database);
  task.m_nTaskID = taskId;
  CDVar variables(database);
  variables.m_nTaskID = taskId;
  CDSet sets(database);
  sets.m_nTaskID = taskId;
  CDObj objectives(database);
  objectives.m_nTaskID = taskId;
  if (!task.GetObject() || !variables.GetObject() || !sets.GetObject() || !objectives.GetObject()) {
    throw CTaskDataError(fmt::format("task {}: a record of its problem is missing", taskId));
  }
  labels.name = task.m_strName;
  labels.description = task.m_strDescription;
  labels.problemFile = task.m_strProblemFile;
  for (const pvINT32& setId : variables.m_vSetID) {
    std::string kind = setId == 0    ? "continuous"
                       : setId == -1 ? "integer"
                                     : fmt::format("set {}", long(setId));
    for (size_t k = 0; k < sets.m_vSetIDs.size() && setId > 0; ++k) {
      if (sets.m_vSetIDs[k] == setId && k < sets.m_vSetNames.size())
        kind = "set " + sets.m_vSetNames[k];
    }
    labels.kinds.push_back(kind);
  }
  if (objectives.m_vaTarget.size() > 0) labels.target = objectives.m_vaTarget[0];
  if (objectives.m_vaTargetTol.size() > 0) labels.targetTolerance = objectives.m_vaTargetTol[0];
  return labels;
}

std::string Number(double value) { return fmt::format("{:.10g}", value); }

const char* OperatorOf(EConstraintKind kind) {
  switch (kind) {
    case EConstraintKind::AtMost:
      return "<=";
    case EConstraintKind::AtLeast:
      return ">=";
    case EConstraintKind::EqualTo:
      return "==";
  }
  return "?";
}

void PrintHeading(FILE* out, const CProblemLabels& labels, const CSearchOutcome& outcome,
                  const std::string& databasePath) {
  fmt::print(out, "{}{}\n", labels.name,
             labels.description.empty() ? "" : ": " + labels.description);
  fmt::print(out, "  problem file  {}\n", labels.problemFile);
  fmt::print(out, "  database      {} (search task {})\n\n", databasePath, outcome.searchTaskId);
  // Only a search that ended with every node solved is complete and exact.
  const bool exact = outcome.end == ESearchEnd::Complete && outcome.nodesNotConverged == 0 &&
                     !outcome.rootNotConverged;
  std::string end = Describe(outcome.end);
  if (outcome.rootNotConverged) {
    end += ", but the continuous problem itself did not converge; nothing below it was explored";
  } else if (outcome.nodesNotConverged > 0) {
    const bool one = outcome.nodesNotConverged == 1;
    end += fmt::format(", but {} subtask{} did not converge; {} not explored",
                       outcome.nodesNotConverged, one ? "" : "s",
                       one ? "its subtree was" : "their subtrees were");
  }
  if (outcome.discreteFeasible) {
    const char* what = exact ? "the best feasible discrete design"
                       : outcome.end == ESearchEnd::Complete
                           ? "the best feasible discrete design found"
                           : "the best feasible discrete design found so far";
    fmt::print(out, "Result: {} ({}), held by task {}\n", what, end, outcome.resultTask);
  } else {
    fmt::print(out, "Result: no feasible discrete design found ({})\n", end);
  }
}

void PrintObjective(FILE* out, const CTaskProblem& task, const CProblemLabels& labels,
                    const CTaskDesign& design) {
  fmt::print(out, "  objective  {} = {}  ({})\n", task.responseNames[task.objectiveResponse],
             Number(design.objective), task.minimize ? "minimised" : "maximised");
  if (std::isnan(labels.target)) return;
  const double difference =
      std::fabs(design.objective - labels.target) / std::max(1e-300, std::fabs(labels.target));
  const bool reached = labels.targetTolerance > 0 && difference <= labels.targetTolerance;
  fmt::print(out, "  published  {}  (relative difference {:.2g}{})\n", Number(labels.target),
             difference,
             labels.targetTolerance > 0
                 ? fmt::format(", {} within {:g}", reached ? "reached" : "not reached",
                               labels.targetTolerance)
                 : "");
}

void PrintVariables(FILE* out, const CTaskProblem& task, const CProblemLabels& labels,
                    const CTaskDesign& design) {
  size_t width = 8;
  for (const std::string& name : task.variableNames) width = std::max(width, name.size());
  fmt::print(out, "\n  {:<{}}  {:>16}  {:>12}  {:>12}  {}\n", "variable", width, "value", "lower",
             "upper", "kind");
  for (size_t i = 0; i < task.variableNames.size() && i < design.values.size(); ++i) {
    fmt::print(out, "  {:<{}}  {:>16}  {:>12}  {:>12}  {}\n", task.variableNames[i], width,
               Number(design.values[i]), Number(task.lower[i]), Number(task.upper[i]),
               i < labels.kinds.size() ? labels.kinds[i] : "");
  }
}

void PrintConstraints(FILE* out, const CTaskProblem& task, const CTaskDesign& design) {
  if (task.constraintResponses.empty()) return;
  size_t width = 10;
  for (int response : task.constraintResponses)
    width = std::max(width, task.responseNames[response].size());
  fmt::print(out, "\n  {:<{}}  {:>16}      {:>12}  {:>12}\n", "constraint", width, "value", "bound",
             "scaled");
  for (size_t k = 0; k < task.constraintResponses.size(); ++k) {
    const int response = task.constraintResponses[k];
    const double value =
        response < static_cast<int>(design.responses.size()) ? design.responses[response] : NAN;
    const double scaled = ScaledConstraintValue(task.constraintKinds[k], value,
                                                task.constraintBounds[k], task.constraintScales[k]);
    const double violation =
        task.constraintKinds[k] == EConstraintKind::EqualTo ? std::fabs(scaled) : scaled;
    const char* status = !IsFeasible(violation, task.tolerance) ? "violated"
                         : violation >= -task.tolerance         ? "active"
                                                                : "holds";
    fmt::print(out, "  {:<{}}  {:>16}  {}  {:>12}  {:>12}  {}\n", task.responseNames[response],
               width, Number(value), OperatorOf(task.constraintKinds[k]),
               Number(task.constraintBounds[k]), fmt::format("{:.3g}", scaled), status);
  }
  fmt::print(out, "  largest scaled violation {:.3g} (tolerance {:g})\n", design.maxConstraint,
             task.tolerance);
}

void PrintEffort(FILE* out, const CSearchOutcome& outcome) {
  fmt::print(out,
             "\nSearch: {} subtasks solved{}, {} analyses, {} gradient evaluations, {:.2f} s\n",
             outcome.nodesSolved,
             outcome.nodesNotConverged > 0
                 ? fmt::format(" ({} of them not converged)", outcome.nodesNotConverged)
                 : "",
             nNumAnalyses, nNumGradCalc, outcome.seconds);
  if (const CAnalysisCounts& counts = AnalysisCounts(); counts.evaluations + counts.served > 0) {
    fmt::print(out,
               "Analysis programs: {} evaluations run, {} served from the database, {} failed\n",
               counts.evaluations, counts.served, counts.failed);
    if (counts.slurmSubmissions > 0) {
      fmt::print(out, "Slurm: {} job arrays submitted, {} queue polls\n", counts.slurmSubmissions,
                 counts.slurmPolls);
    }
  }
  fmt::print(out,
             "Time (s): optimiser {:.3f}, database reads {:.3f}, database writes {:.3f}, discrete "
             "set-up {:.3f}\n",
             outcome.solverSeconds, dbReadTime.m_dTotal, dbWriteTime.m_dTotal,
             discSetupTime.m_dTotal);
}

}  // namespace

void PrintReport(FILE* out, const CSearchOutcome& outcome, const std::string& databasePath) {
  const CTaskProblem task = ReadTaskProblem(outcome.searchTaskId);
  const CProblemLabels labels = ReadLabels(outcome.searchTaskId);
  PrintHeading(out, labels, outcome, databasePath);
  if (outcome.discreteFeasible && outcome.resultTask > 0) {
    const CTaskDesign design = ReadBestDesign(outcome.resultTask);
    PrintObjective(out, task, labels, design);
    PrintVariables(out, task, labels, design);
    PrintConstraints(out, task, design);
  } else {
    const CTaskDesign relaxation = ReadBestDesign(outcome.searchTaskId);
    fmt::print(out,
               "  the continuous {} (no discrete restriction) has objective {} and largest scaled "
               "violation {:.3g} (tolerance {:g})\n",
               outcome.rootNotConverged ? "problem's best design evaluated" : "optimum",
               Number(relaxation.objective), relaxation.maxConstraint, task.tolerance);
  }
  PrintEffort(out, outcome);
}
