#include "tasks/EvaluationTable.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "Records.h"
#include "tasks/SqlTables.h"

namespace {

constexpr const char* kCreateTable =
    "CREATE TABLE IF NOT EXISTS evaluations (id INTEGER PRIMARY KEY, task_id INTEGER NOT NULL, "
    "analysis TEXT NOT NULL, signature TEXT NOT NULL, inputs TEXT NOT NULL, attempt INTEGER NOT "
    "NULL, evaluation_id TEXT NOT NULL, status TEXT NOT NULL, responses TEXT, reason TEXT, "
    "seconds REAL NOT NULL, folder TEXT)";
constexpr const char* kCreateIndex =
    "CREATE INDEX IF NOT EXISTS evaluations_by_input ON evaluations (signature, inputs)";
constexpr const char* kInsert =
    "INSERT INTO evaluations (task_id, analysis, signature, inputs, attempt, evaluation_id, "
    "status, responses, reason, seconds, folder) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, "
    "?11)";
constexpr const char* kFind =
    "SELECT status, responses FROM evaluations WHERE signature = ?1 AND inputs = ?2 AND status "
    "IN ('succeeded', 'failed') ORDER BY status = 'succeeded' DESC, id DESC LIMIT 1";
constexpr const char* kSelectAll =
    "SELECT id, task_id, analysis, inputs, attempt, evaluation_id, status, responses, reason, "
    "seconds, folder FROM evaluations ORDER BY id";

POD& Database() { return SqlTables("evaluations"); }

std::string ResponsesJson(const CAnalysisDefinition& analysis, const std::vector<double>& values) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (size_t i = 0; i < values.size() && i < analysis.writes.size(); ++i)
    json[analysis.writes[i]] = values[i];
  return json.dump();
}

// The responses of a stored JSON object in the analysis' order; false when
// one is missing or not a number (a row edited by hand: run it again).
bool ResponsesFrom(const CAnalysisDefinition& analysis, const std::string& text,
                   std::vector<double>& values) {
  const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
  if (!json.is_object()) return false;
  values.clear();
  for (const std::string& name : analysis.writes) {
    const auto found = json.find(name);
    if (found == json.end() || !found->is_number()) return false;
    values.push_back(found->get<double>());
  }
  return true;
}

}  // namespace

bool CEvaluationTable::Find(const CAnalysisDefinition& analysis, const std::string& inputs,
                            std::vector<double>& responses) {
  if (!HasSqlTable("evaluations")) return false;
  CSqliteStatement& find = Database().Statement(kFind);
  CStatementReset reset(find);
  const std::string signature = AnalysisSignature(analysis);
  find.BindText(1, signature);
  find.BindText(2, inputs);
  if (!find.Step()) return false;
  if (find.ColumnText(0) == TryStatusName(ETryStatus::Succeeded))
    return ResponsesFrom(analysis, find.ColumnText(1), responses);
  responses.assign(analysis.writes.size(), std::numeric_limits<double>::quiet_NaN());
  return true;
}

void CEvaluationTable::Save(const std::vector<CItem>& items) {
  CLock lock(GetPOD(), 0);
  Database().Statement(kCreateTable).Run();
  Database().Statement(kCreateIndex).Run();
  CSqliteStatement& insert = Database().Statement(kInsert);
  for (const CItem& item : items) {
    const std::string signature = AnalysisSignature(*item.analysis);
    const std::vector<CEvaluationTry>& tries = item.evaluation->tries;
    for (size_t t = 0; t < tries.size(); ++t) {
      const CEvaluationTry& thisTry = tries[t];
      CStatementReset reset(insert);
      insert.BindInteger(1, m_taskId);
      insert.BindText(2, item.analysis->name);
      insert.BindText(3, signature);
      insert.BindText(4, item.evaluation->inputs);
      insert.BindInteger(5, static_cast<int64_t>(t + 1));
      insert.BindText(6, thisTry.id);
      insert.BindText(7, TryStatusName(thisTry.status));
      if (thisTry.status == ETryStatus::Succeeded)
        insert.BindText(8, ResponsesJson(*item.analysis, thisTry.responses));
      else
        insert.BindText(9, thisTry.reason);
      insert.BindDouble(10, thisTry.seconds);
      if (!thisTry.folder.empty()) insert.BindText(11, thisTry.folder);
      insert.Run();
    }
  }
  lock.UnLock();
}

std::vector<CEvaluationRow> ReadEvaluations() {
  std::vector<CEvaluationRow> rows;
  if (!HasSqlTable("evaluations")) return rows;
  CSqliteStatement& select = Database().Statement(kSelectAll);
  CStatementReset reset(select);
  while (select.Step()) {
    CEvaluationRow row;
    row.id = static_cast<long>(select.ColumnInteger(0));
    row.taskId = static_cast<int>(select.ColumnInteger(1));
    row.analysis = select.ColumnText(2);
    row.inputs = select.ColumnText(3);
    row.attempt = static_cast<int>(select.ColumnInteger(4));
    row.evaluationId = select.ColumnText(5);
    row.status = select.ColumnText(6);
    row.responses = select.ColumnText(7);
    row.reason = select.ColumnText(8);
    row.seconds = select.ColumnDouble(9);
    row.folder = select.ColumnText(10);
    rows.push_back(std::move(row));
  }
  return rows;
}
