// The report as one JSON document, schema `discrete-report` version 1
// (docs/schema/discrete-report.schema.json, described in docs/json-output.md).

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "commands/Report.h"

namespace {

// ordered_json keeps the members in the order written: `schema` first.
using json = nlohmann::ordered_json;

// JSON has no NaN or infinity: such numbers are written as null.
json Finite(double value) { return std::isfinite(value) ? json(value) : json(nullptr); }

const char* EndCode(ESearchEnd end) {
  switch (end) {
    case ESearchEnd::Complete:
      return "complete";
    case ESearchEnd::NodeLimit:
      return "node_limit";
    case ESearchEnd::TimeLimit:
      return "time_limit";
    case ESearchEnd::Interrupted:
      return "interrupted";
    case ESearchEnd::Unfinished:
      return "unfinished";
  }
  return "unfinished";
}

const char* KindCode(EVariableKind kind) {
  switch (kind) {
    case EVariableKind::Continuous:
      return "continuous";
    case EVariableKind::Integer:
      return "integer";
    case EVariableKind::Set:
      return "set";
  }
  return "continuous";
}

const char* OperatorCode(EConstraintKind kind) {
  switch (kind) {
    case EConstraintKind::AtMost:
      return "<=";
    case EConstraintKind::AtLeast:
      return ">=";
    case EConstraintKind::EqualTo:
      return "==";
  }
  return "<=";
}

json DesignJson(const std::vector<CReportVariable>& variables) {
  json design = json::array();
  for (const CReportVariable& variable : variables) {
    design.push_back({{"name", variable.name},
                      {"value", Finite(variable.value)},
                      {"lower", Finite(variable.lower)},
                      {"upper", Finite(variable.upper)},
                      {"kind", KindCode(variable.kind)},
                      {"set", variable.setName.empty() ? json(nullptr) : json(variable.setName)},
                      {"units", variable.units},
                      {"description", variable.description}});
  }
  return design;
}

json ConstraintsJson(const std::vector<CReportConstraint>& constraints) {
  json list = json::array();
  for (const CReportConstraint& constraint : constraints) {
    list.push_back({{"name", constraint.name},
                    {"value", Finite(constraint.value)},
                    {"operator", OperatorCode(constraint.kind)},
                    {"bound", Finite(constraint.bound)},
                    {"scaled", Finite(constraint.scaled)},
                    {"violation", Finite(constraint.violation)},
                    {"status", constraint.status}});
  }
  return list;
}

json ObjectiveJson(const CReportContent& report) {
  const bool hasTarget = !std::isnan(report.target);
  return {{"name", report.objectiveName},
          {"sense", report.minimize ? "min" : "max"},
          {"value", report.design ? Finite(report.design->objective) : json(nullptr)},
          {"published", hasTarget ? Finite(report.target) : json(nullptr)},
          {"published_tolerance", hasTarget ? Finite(report.targetTolerance) : json(nullptr)}};
}

json BoundJson(const CReportBound& bound) {
  const auto known = [&](json value) { return bound.known ? value : json(nullptr); };
  return {{"known", bound.known},
          {"open_nodes", known(bound.openNodes)},
          {"value", bound.hasOpenBound ? Finite(bound.openBound) : json(nullptr)},
          {"gap_absolute", bound.gap ? Finite(bound.gap->absolute) : json(nullptr)},
          {"gap_relative", bound.gap ? Finite(bound.gap->relative) : json(nullptr)}};
}

json EffortJson(const CReportContent& report) {
  const CSearchOutcome& outcome = report.outcome;
  const CAnalysisCounts& counts = report.analysisCounts;
  return {{"subtasks", outcome.nodesSolved},
          {"not_converged", outcome.nodesNotConverged},
          {"analyses", report.analyses},
          {"gradient_evaluations", report.gradientEvaluations},
          {"seconds", Finite(outcome.seconds)},
          {"solver_seconds", Finite(outcome.solverSeconds)},
          {"database_read_seconds", Finite(report.databaseReadSeconds)},
          {"database_write_seconds", Finite(report.databaseWriteSeconds)},
          {"discrete_setup_seconds", Finite(report.discreteSetupSeconds)},
          {"program_evaluations", counts.evaluations},
          {"program_evaluations_served", counts.served},
          {"program_evaluations_failed", counts.failed},
          {"slurm_submissions", counts.slurmSubmissions},
          {"slurm_polls", counts.slurmPolls}};
}

}  // namespace

void PrintJsonReport(FILE* out, const CReportContent& report) {
  const CSearchOutcome& outcome = report.outcome;
  json document;
  document["schema"] = "discrete-report";
  document["schema_version"] = 1;
  document["problem"] = {{"name", report.problemName},
                         {"description", report.problemDescription},
                         {"file", report.problemFile}};
  document["database"] = report.databasePath;
  document["log"] = report.logPath;
  document["search_task"] = outcome.searchTaskId;
  document["result_task"] = report.design ? json(outcome.resultTask) : json(nullptr);
  document["discrete_feasible"] = report.design.has_value();
  document["end"] = EndCode(outcome.end);
  document["end_text"] = Describe(outcome.end);
  document["exact"] = report.exact;
  document["root_converged"] = !outcome.rootNotConverged;
  document["objective"] = ObjectiveJson(report);
  document["design"] = report.design ? DesignJson(report.design->variables) : json::array();
  document["constraints"] =
      report.design ? ConstraintsJson(report.design->constraints) : json::array();
  document["max_constraint"] = report.design ? Finite(report.design->maxConstraint) : json(nullptr);
  document["tolerance"] = Finite(report.tolerance);
  document["relaxation"] = {{"objective", Finite(report.relaxationObjective)},
                            {"max_constraint", Finite(report.relaxationMaxConstraint)}};
  document["bound"] = BoundJson(report.bound);
  document["effort"] = EffortJson(report);
  fmt::print(out, "{}\n", document.dump(2));
}
