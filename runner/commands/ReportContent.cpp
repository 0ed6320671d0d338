#include "commands/ReportContent.h"

#include <fmt/format.h>

#include <cmath>

#include "Records.h"
#include "Timing.h"
#include "problem/VariableNotes.h"
#include "solver/Design.h"
#include "tasks/SearchTable.h"
#include "tasks/TaskProblem.h"
#include "tasks/TaskResult.h"

namespace {

// The kind of each variable (CDVar m_vSetID: 0 continuous, -1 integer, else a
// set named in CDSet), and the problem's labels from CTask and CDObj.
void ReadLabels(int taskId, CReportContent& report, std::vector<CReportVariable>& variables) {
  POD* database = GetPOD();
  CTask task(database);
  task.m_nTaskID = taskId;
  CDVar records(database);
  records.m_nTaskID = taskId;
  CDSet sets(database);
  sets.m_nTaskID = taskId;
  CDObj objectives(database);
  objectives.m_nTaskID = taskId;
  if (!task.GetObject() || !records.GetObject() || !sets.GetObject() || !objectives.GetObject()) {
    throw CTaskDataError(fmt::format("task {}: a record of its problem is missing", taskId));
  }
  report.problemName = task.m_strName;
  report.problemDescription = task.m_strDescription;
  report.problemFile = task.m_strProblemFile;
  for (size_t i = 0; i < records.m_vSetID.size() && i < variables.size(); ++i) {
    const pvINT32 setId = records.m_vSetID[i];
    CReportVariable& variable = variables[i];
    variable.kind = setId == 0    ? EVariableKind::Continuous
                    : setId == -1 ? EVariableKind::Integer
                                  : EVariableKind::Set;
    if (setId <= 0) continue;
    variable.setName = fmt::format("{}", long(setId));
    for (size_t k = 0; k < sets.m_vSetIDs.size(); ++k) {
      if (sets.m_vSetIDs[k] == setId && k < sets.m_vSetNames.size())
        variable.setName = sets.m_vSetNames[k];
    }
  }
  if (objectives.m_vaTarget.size() > 0) report.target = objectives.m_vaTarget[0];
  if (objectives.m_vaTargetTol.size() > 0) report.targetTolerance = objectives.m_vaTargetTol[0];
}

// Units and descriptions from the problem text the search was started with.
void AddNotes(int searchTaskId, std::vector<CReportVariable>& variables) {
  for (const CSearchRow& row : ReadSearches()) {
    if (row.searchTaskId != searchTaskId) continue;
    const auto notes = VariableNotesOf(row.problemText);
    for (CReportVariable& variable : variables) {
      const auto found = notes.find(variable.name);
      if (found == notes.end()) continue;
      variable.units = found->second.units;
      variable.description = found->second.description;
    }
  }
}

std::vector<CReportConstraint> ConstraintsAt(const CTaskProblem& task, const CTaskDesign& design) {
  std::vector<CReportConstraint> constraints;
  for (size_t k = 0; k < task.constraintResponses.size(); ++k) {
    const int response = task.constraintResponses[k];
    CReportConstraint constraint;
    constraint.name = task.responseNames[response];
    constraint.value =
        response < static_cast<int>(design.responses.size()) ? design.responses[response] : NAN;
    constraint.kind = task.constraintKinds[k];
    constraint.bound = task.constraintBounds[k];
    constraint.scaled = ScaledConstraintValue(constraint.kind, constraint.value, constraint.bound,
                                              task.constraintScales[k]);
    constraint.violation = constraint.kind == EConstraintKind::EqualTo
                               ? std::fabs(constraint.scaled)
                               : constraint.scaled;
    constraint.status = !IsFeasible(constraint.violation, task.tolerance) ? "violated"
                        : constraint.violation >= -task.tolerance         ? "active"
                                                                          : "holds";
    constraints.push_back(std::move(constraint));
  }
  return constraints;
}

CReportBound BoundOf(const CSearchOutcome& outcome, const std::optional<CReportDesign>& design) {
  CReportBound bound;
  bound.known = outcome.openNodesKnown;
  bound.openNodes = outcome.openNodes;
  bound.hasOpenBound = outcome.hasOpenBound;
  bound.openBound = outcome.openBound;
  if (design && bound.known)
    bound.gap = GapOf(design->objective, bound.hasOpenBound, bound.openBound);
  return bound;
}

}  // namespace

CReportContent GatherReport(const CSearchOutcome& outcome, const std::string& databasePath,
                            const std::string& logPath) {
  const CTaskProblem task = ReadTaskProblem(outcome.searchTaskId);
  CReportContent report;
  report.databasePath = databasePath;
  report.logPath = logPath;
  report.outcome = outcome;
  report.exact = outcome.end == ESearchEnd::Complete && outcome.nodesNotConverged == 0 &&
                 !outcome.rootNotConverged;
  report.objectiveName = task.responseNames[task.objectiveResponse];
  report.minimize = task.minimize;
  report.tolerance = task.tolerance;

  std::vector<CReportVariable> variables(task.variableNames.size());
  for (size_t i = 0; i < variables.size(); ++i) {
    variables[i].name = task.variableNames[i];
    variables[i].lower = task.lower[i];
    variables[i].upper = task.upper[i];
  }
  ReadLabels(outcome.searchTaskId, report, variables);
  AddNotes(outcome.searchTaskId, variables);

  if (outcome.discreteFeasible && outcome.resultTask > 0) {
    const CTaskDesign result = ReadBestDesign(outcome.resultTask);
    CReportDesign design;
    design.objective = result.objective;
    design.maxConstraint = result.maxConstraint;
    variables.resize(std::min(variables.size(), result.values.size()));
    for (size_t i = 0; i < variables.size(); ++i) variables[i].value = result.values[i];
    design.variables = std::move(variables);
    design.constraints = ConstraintsAt(task, result);
    report.design = std::move(design);
  }
  const CTaskDesign relaxation = ReadBestDesign(outcome.searchTaskId);
  report.relaxationObjective = relaxation.objective;
  report.relaxationMaxConstraint = relaxation.maxConstraint;
  report.bound = BoundOf(outcome, report.design);

  report.analyses = nNumAnalyses;
  report.gradientEvaluations = nNumGradCalc;
  report.analysisCounts = AnalysisCounts();
  report.databaseReadSeconds = dbReadTime.m_dTotal;
  report.databaseWriteSeconds = dbWriteTime.m_dTotal;
  report.discreteSetupSeconds = discSetupTime.m_dTotal;
  return report;
}
