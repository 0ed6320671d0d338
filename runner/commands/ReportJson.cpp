// The report as one JSON document, schema `discrete-report` version 1
// (docs/schema/discrete-report.schema.json, described in docs/json-output.md).

#include "commands/JsonOutput.h"
#include "commands/Report.h"

namespace {

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

CJson DesignJson(const std::vector<CReportVariable>& variables) {
  CJson design = CJson::array();
  for (const CReportVariable& variable : variables) {
    design.push_back({{"name", variable.name},
                      {"value", JsonNumber(variable.value)},
                      {"lower", JsonNumber(variable.lower)},
                      {"upper", JsonNumber(variable.upper)},
                      {"kind", KindName(variable.kind)},
                      {"set", variable.setName.empty() ? CJson(nullptr) : CJson(variable.setName)},
                      {"units", variable.units},
                      {"description", variable.description}});
  }
  return design;
}

CJson ConstraintsJson(const std::vector<CReportConstraint>& constraints) {
  CJson list = CJson::array();
  for (const CReportConstraint& constraint : constraints) {
    list.push_back({{"name", constraint.name},
                    {"value", JsonNumber(constraint.value)},
                    {"operator", OperatorText(constraint.kind)},
                    {"bound", JsonNumber(constraint.bound)},
                    {"scaled", JsonNumber(constraint.scaled)},
                    {"violation", JsonNumber(constraint.violation)},
                    {"status", constraint.status}});
  }
  return list;
}

CJson ObjectiveJson(const CReportContent& report) {
  const bool hasTarget = !std::isnan(report.target);
  return {{"name", report.objectiveName},
          {"sense", report.minimize ? "min" : "max"},
          {"value", report.design ? JsonNumber(report.design->objective) : CJson(nullptr)},
          {"published", hasTarget ? JsonNumber(report.target) : CJson(nullptr)},
          {"published_tolerance", hasTarget ? JsonNumber(report.targetTolerance) : CJson(nullptr)}};
}

CJson BoundJson(const CReportBound& bound) {
  const auto known = [&](CJson value) { return bound.known ? value : CJson(nullptr); };
  return {{"known", bound.known},
          {"open_nodes", known(bound.openNodes)},
          {"value", bound.hasOpenBound ? JsonNumber(bound.openBound) : CJson(nullptr)},
          {"gap_absolute", bound.gap ? JsonNumber(bound.gap->absolute) : CJson(nullptr)},
          {"gap_relative", bound.gap ? JsonNumber(bound.gap->relative) : CJson(nullptr)}};
}

CJson EffortJson(const CReportContent& report) {
  const CSearchOutcome& outcome = report.outcome;
  const CAnalysisCounts& counts = report.analysisCounts;
  return {{"subtasks", outcome.nodesSolved},
          {"not_converged", outcome.nodesNotConverged},
          {"analyses", report.analyses},
          {"gradient_evaluations", report.gradientEvaluations},
          {"seconds", JsonNumber(outcome.seconds)},
          {"solver_seconds", JsonNumber(outcome.solverSeconds)},
          {"database_read_seconds", JsonNumber(report.databaseReadSeconds)},
          {"database_write_seconds", JsonNumber(report.databaseWriteSeconds)},
          {"discrete_setup_seconds", JsonNumber(report.discreteSetupSeconds)},
          {"program_evaluations", counts.evaluations},
          {"program_evaluations_served", counts.served},
          {"program_evaluations_failed", counts.failed},
          {"slurm_submissions", counts.slurmSubmissions},
          {"slurm_polls", counts.slurmPolls}};
}

}  // namespace

void PrintJsonReport(FILE* out, const CReportContent& report) {
  const CSearchOutcome& outcome = report.outcome;
  CJson document = JsonDocument("discrete-report");
  document["problem"] = {{"name", report.problemName},
                         {"description", report.problemDescription},
                         {"file", report.problemFile}};
  document["database"] = report.databasePath;
  document["log"] = report.logPath;
  document["search_task"] = outcome.searchTaskId;
  document["result_task"] = report.design ? CJson(outcome.resultTask) : CJson(nullptr);
  document["discrete_feasible"] = report.design.has_value();
  document["end"] = EndCode(outcome.end);
  document["end_text"] = Describe(outcome.end);
  document["exact"] = report.exact;
  document["root_converged"] = !outcome.rootNotConverged;
  document["objective"] = ObjectiveJson(report);
  document["design"] = report.design ? DesignJson(report.design->variables) : CJson::array();
  document["constraints"] =
      report.design ? ConstraintsJson(report.design->constraints) : CJson::array();
  document["max_constraint"] =
      report.design ? JsonNumber(report.design->maxConstraint) : CJson(nullptr);
  document["tolerance"] = JsonNumber(report.tolerance);
  document["relaxation"] = {{"objective", JsonNumber(report.relaxationObjective)},
                            {"max_constraint", JsonNumber(report.relaxationMaxConstraint)}};
  document["bound"] = BoundJson(report.bound);
  document["effort"] = EffortJson(report);
  PrintJson(out, document);
}
