#include "commands/Report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace {

std::string Number(double value) { return fmt::format("{:.10g}", value); }

// "92%", "0.0312%"
std::string Percent(double fraction) { return fmt::format("{:.3g}%", 100 * fraction); }

std::string KindOf(const CReportVariable& variable) {
  if (variable.kind == EVariableKind::Set) return "set " + variable.setName;
  return KindName(variable.kind);
}

void PrintHeading(FILE* out, const CReportContent& report) {
  const CSearchOutcome& outcome = report.outcome;
  fmt::print(out, "{}{}\n", report.problemName,
             report.problemDescription.empty() ? "" : ": " + report.problemDescription);
  fmt::print(out, "  problem file  {}\n", report.problemFile);
  fmt::print(out, "  database      {} (search task {})\n\n", report.databasePath,
             outcome.searchTaskId);
  std::string end = Describe(outcome.end);
  if (outcome.rootNotConverged) {
    end += ", but the continuous problem itself did not converge; nothing below it was explored";
  } else if (outcome.nodesNotConverged > 0) {
    const bool one = outcome.nodesNotConverged == 1;
    end += fmt::format(", but {} subtask{} did not converge; {} not explored",
                       outcome.nodesNotConverged, one ? "" : "s",
                       one ? "its subtree was" : "their subtrees were");
  }
  if (report.design) {
    const char* what = report.exact ? "the best feasible discrete design"
                       : outcome.end == ESearchEnd::Complete
                           ? "the best feasible discrete design found"
                           : "the best feasible discrete design found so far";
    fmt::print(out, "Result: {} ({}), held by task {}\n", what, end, outcome.resultTask);
  } else {
    fmt::print(out, "Result: no feasible discrete design found ({})\n", end);
  }
}

void PrintObjective(FILE* out, const CReportContent& report) {
  const double objective = report.design->objective;
  fmt::print(out, "  objective  {} = {}  ({})\n", report.objectiveName, Number(objective),
             report.minimize ? "minimised" : "maximised");
  if (std::isnan(report.target)) return;
  const double difference =
      std::fabs(objective - report.target) / std::max(1e-300, std::fabs(report.target));
  const bool reached = report.targetTolerance > 0 && difference <= report.targetTolerance;
  fmt::print(out, "  published  {}  (relative difference {:.2g}{})\n", Number(report.target),
             difference,
             report.targetTolerance > 0
                 ? fmt::format(", {} within {:g}", reached ? "reached" : "not reached",
                               report.targetTolerance)
                 : "");
}

// The best bound left and the gap, or why there is none.
void PrintBound(FILE* out, const CReportContent& report) {
  const CReportBound& bound = report.bound;
  const CSearchOutcome& outcome = report.outcome;
  std::string text;
  if (!bound.known) {
    text = "not known: the search failed before its end";
  } else if (bound.hasOpenBound) {
    text = fmt::format("{} (best of {} open node{})", Number(bound.openBound), bound.openNodes,
                       bound.openNodes == 1 ? "" : "s");
    text += bound.gap ? fmt::format("  gap {} absolute, {} relative", Number(bound.gap->absolute),
                                    Percent(bound.gap->relative))
                      : "; no gap without a feasible discrete design";
  } else if (outcome.end == ESearchEnd::Complete) {
    text = "none left: every node is closed";
    if (report.design) text += " (gap 0)";
  } else if (bound.openNodes > 0) {
    text = fmt::format("none: no node left open ({}) can hold a better design", bound.openNodes);
    if (report.design) text += " (gap 0)";
  } else {
    text = "none: no node is left open";
    if (report.design) text += " (gap 0)";
  }
  const int notConverged = outcome.nodesNotConverged + (outcome.rootNotConverged ? 1 : 0);
  if (bound.known && notConverged > 0) {
    text += fmt::format("; {} task{} did not converge, and no bound covers {}", notConverged,
                        notConverged == 1 ? "" : "s",
                        notConverged == 1 ? "its subtree" : "their subtrees");
  }
  fmt::print(out, "  bound      {}\n", text);
}

void PrintVariables(FILE* out, const std::vector<CReportVariable>& variables) {
  size_t nameWidth = 8, kindWidth = 4, unitsWidth = 5;
  bool hasUnits = false, hasDescription = false;
  for (const CReportVariable& variable : variables) {
    nameWidth = std::max(nameWidth, variable.name.size());
    kindWidth = std::max(kindWidth, KindOf(variable).size());
    unitsWidth = std::max(unitsWidth, variable.units.size());
    hasUnits = hasUnits || !variable.units.empty();
    hasDescription = hasDescription || !variable.description.empty();
  }
  // Units and descriptions get columns only when the file gives some.
  const auto row = [&](const std::string& name, const std::string& value, const std::string& lower,
                       const std::string& upper, const std::string& kind, const std::string& units,
                       const std::string& description) {
    std::string line =
        fmt::format("  {:<{}}  {:>16}  {:>12}  {:>12}  ", name, nameWidth, value, lower, upper);
    if (!hasUnits && !hasDescription) return fmt::print(out, "{}{}\n", line, kind);
    line += fmt::format("{:<{}}", kind, kindWidth);
    if (hasUnits) line += fmt::format("  {:<{}}", units, unitsWidth);
    if (hasDescription) line += "  " + description;
    line.erase(line.find_last_not_of(' ') + 1);
    fmt::print(out, "{}\n", line);
  };
  fmt::print(out, "\n");
  row("variable", "value", "lower", "upper", "kind", "units", "description");
  for (const CReportVariable& variable : variables) {
    row(variable.name, Number(variable.value), Number(variable.lower), Number(variable.upper),
        KindOf(variable), variable.units, variable.description);
  }
}

void PrintConstraints(FILE* out, const CReportContent& report) {
  const CReportDesign& design = *report.design;
  if (design.constraints.empty()) return;
  size_t width = 10;
  for (const CReportConstraint& constraint : design.constraints)
    width = std::max(width, constraint.name.size());
  fmt::print(out, "\n  {:<{}}  {:>16}      {:>12}  {:>12}\n", "constraint", width, "value", "bound",
             "scaled");
  for (const CReportConstraint& constraint : design.constraints) {
    fmt::print(out, "  {:<{}}  {:>16}  {}  {:>12}  {:>12}  {}\n", constraint.name, width,
               Number(constraint.value), OperatorText(constraint.kind), Number(constraint.bound),
               fmt::format("{:.3g}", constraint.scaled), constraint.status);
  }
  fmt::print(out, "  largest scaled violation {:.3g} (tolerance {:g})\n", design.maxConstraint,
             report.tolerance);
}

void PrintEffort(FILE* out, const CReportContent& report) {
  const CSearchOutcome& outcome = report.outcome;
  fmt::print(out,
             "\nSearch: {} subtasks solved{}, {} analyses, {} gradient evaluations, {:.2f} s\n",
             outcome.nodesSolved,
             outcome.nodesNotConverged > 0
                 ? fmt::format(" ({} of them not converged)", outcome.nodesNotConverged)
                 : "",
             report.analyses, report.gradientEvaluations, outcome.seconds);
  if (const CAnalysisCounts& counts = report.analysisCounts;
      counts.evaluations + counts.served > 0) {
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
             outcome.solverSeconds, report.databaseReadSeconds, report.databaseWriteSeconds,
             report.discreteSetupSeconds);
}

}  // namespace

void PrintTextReport(FILE* out, const CReportContent& report) {
  PrintHeading(out, report);
  if (report.design) {
    PrintObjective(out, report);
    PrintBound(out, report);
    PrintVariables(out, report.design->variables);
    PrintConstraints(out, report);
  } else {
    fmt::print(out,
               "  the continuous {} (no discrete restriction) has objective {} and largest scaled "
               "violation {:.3g} (tolerance {:g})\n",
               report.outcome.rootNotConverged ? "problem's best design evaluated" : "optimum",
               Number(report.relaxationObjective), report.relaxationMaxConstraint,
               report.tolerance);
    PrintBound(out, report);
  }
  PrintEffort(out, report);
}

void PrintReport(FILE* out, const CSearchOutcome& outcome, const std::string& databasePath,
                 const std::string& logPath, EReportFormat format) {
  const CReportContent report = GatherReport(outcome, databasePath, logPath);
  if (format == EReportFormat::Json) {
    PrintJsonReport(out, report);
  } else {
    PrintTextReport(out, report);
  }
}
