// Unit costs of the task database on a file in /tmp: one lock hold (BEGIN
// IMMEDIATE + COMMIT), reading and writing a typical design-variable record
// (20 variables) and design point (20 values) inside a hold, and the database
// work of one search node as the module does it (3 holds, about 30 record
// reads and writes, one task id), under synchronous=NORMAL (the default) and
// synchronous=FULL.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "Records.h"
#include "TaskDatabase.h"
#include "TaskDatabaseConnection.h"

namespace {

constexpr int kVariables = 20;
constexpr int kConstraints = 10;

// A task database file in a fresh directory under /tmp, open for the length
// of one benchmark; synchronousMode 1 is NORMAL, 2 is FULL.
class CBenchmarkDatabase {
 public:
  explicit CBenchmarkDatabase(int64_t synchronousMode) {
    char pattern[] = "/tmp/discrete-bench-XXXXXX";
    m_directory = mkdtemp(pattern);
    OpenTaskDatabase(m_directory + "/tasks.db");
    const std::string pragma = "PRAGMA synchronous = " + std::to_string(synchronousMode);
    sqlite3_exec(TaskDatabaseConnection(GetPOD()), pragma.c_str(), nullptr, nullptr, nullptr);
  }
  ~CBenchmarkDatabase() {
    CloseTaskDatabase();
    std::filesystem::remove_all(m_directory);
  }

 private:
  std::string m_directory;  // removed at the end
};

std::valarray<pvFLOAT64> Values(size_t count, double first) {
  std::valarray<pvFLOAT64> values(count);
  for (size_t i = 0; i < count; ++i) values[i] = first + 0.37 * static_cast<double>(i);
  return values;
}

CDVar TypicalVariables(int taskId) {
  CDVar variables(GetPOD());
  variables.m_nTaskID = taskId;
  for (std::valarray<pvFLOAT64>* array :
       {&variables.m_vaLower, &variables.m_vaUpper, &variables.m_vaStart, &variables.m_vaGivenLower,
        &variables.m_vaGivenUpper, &variables.m_vaScale, &variables.m_vaFDStep,
        &variables.m_vaInitialStep, &variables.m_vaXTolerance, &variables.m_vaResolution,
        &variables.m_vaCost, &variables.m_vaReference})
    *array = Values(kVariables, 1.0);
  for (std::vector<pvINT32>* list :
       {&variables.m_vSetID, &variables.m_vKind, &variables.m_vActive, &variables.m_vLinkIndex,
        &variables.m_vSourceLine, &variables.m_vBoundsMoved, &variables.m_vBranchPriority,
        &variables.m_vDisplayDigits, &variables.m_vGroup, &variables.m_vScaleMode,
        &variables.m_vReportOrder, &variables.m_vFlags})
    list->assign(kVariables, 1);
  for (int i = 0; i < kVariables; ++i) {
    const std::string name = "thickness_" + std::to_string(i);
    variables.m_vNames.push_back(name);
    variables.m_vDescriptions.push_back("wall thickness of segment " + std::to_string(i));
    variables.m_vUnits.push_back("mm");
    variables.m_vvRespUse.push_back({0, 1});
    variables.m_vvConsUse.push_back({0, 2, 5});
    variables.m_vvEqnUse.emplace_back();
    variables.m_vvLinkUse.emplace_back();
    variables.m_vvTags.emplace_back();
  }
  return variables;
}

CDPoint TypicalPoint(int taskId, int pointId) {
  CDPoint point(GetPOD());
  point.m_nTaskID = taskId;
  point.m_nPointID = pointId;
  point.m_vaValues = Values(kVariables, 2.0);
  point.m_vaData1 = Values(kVariables, 0.1);
  point.m_vaData2 = Values(kVariables, 1.0);
  point.m_vaEval1 = Values(2, 10.0);
  point.m_vaEval2 = Values(kConstraints, -1.0);
  point.m_vaEval3 = Values(kVariables, 0.5);
  return point;
}

void BM_EmptyLockHold(benchmark::State& state) {
  CBenchmarkDatabase database(state.range(0));
  for (auto _ : state) CLock lock(GetPOD(), 0);
}

void BM_LockHoldWithOneWrite(benchmark::State& state) {
  CBenchmarkDatabase database(state.range(0));
  CDPoint point = TypicalPoint(1, 0);
  for (auto _ : state) {
    CLock lock(GetPOD(), 0);
    point.PutObject();
  }
}

void BM_NestedLockHold(benchmark::State& state) {
  CBenchmarkDatabase database(1);
  CLock outer(GetPOD(), 0);
  for (auto _ : state) CLock inner(GetPOD(), 0);
}

// makeRecord builds the record once the database is open (records bind to it).
template <class TMakeRecord>
void MeasureGet(benchmark::State& state, TMakeRecord makeRecord) {
  CBenchmarkDatabase database(1);
  auto record = makeRecord();
  record.PutObject();
  CLock hold(GetPOD(), 0);
  for (auto _ : state) benchmark::DoNotOptimize(record.GetObject());
}

template <class TMakeRecord>
void MeasurePut(benchmark::State& state, TMakeRecord makeRecord) {
  CBenchmarkDatabase database(1);
  auto record = makeRecord();
  CLock hold(GetPOD(), 0);
  for (auto _ : state) record.PutObject();
}

void BM_GetDesignVariables(benchmark::State& state) {
  MeasureGet(state, [] { return TypicalVariables(1); });
}
void BM_PutDesignVariables(benchmark::State& state) {
  MeasurePut(state, [] { return TypicalVariables(1); });
}
void BM_GetDesignPoint(benchmark::State& state) {
  MeasureGet(state, [] { return TypicalPoint(1, 0); });
}
void BM_PutDesignPoint(benchmark::State& state) {
  MeasurePut(state, [] { return TypicalPoint(1, 0); });
}

// Copies every design record of a task under a new id (as a subtask is
// derived from its search task): one read and one write per record.
template <class TRecord>
void CopyRecord(int fromTask, int toTask) {
  TRecord source(GetPOD());
  source.m_nTaskID = fromTask;
  source.GetObject();
  TRecord copy(GetPOD());
  copy.Copy(source);
  copy.m_nTaskID = toTask;
  copy.PutObject();
}

// The search task 1 with its records, sized like a 20-variable problem with
// one objective and ten constraints.
void StoreSearchTask() {
  CTask task(GetPOD());
  task.m_nTaskID = 1;
  task.m_strName = "pressure vessel";
  task.m_vaRealOptions = Values(4, 1e-6);
  task.PutObject();
  TypicalVariables(1).PutObject();
  TypicalPoint(1, 0).PutObject();
  CResult result(GetPOD());
  result.m_nTaskID = 1;
  result.PutObject();
  CIter iteration(GetPOD());
  iteration.m_nTaskID = 1;
  iteration.m_vaConValues = Values(kConstraints, -1.0);
  iteration.PutObject();
  CDSet sets(GetPOD());
  sets.m_nTaskID = 1;
  sets.m_vSetIDs = {1, 2, 3};
  sets.m_vSetValues.assign(3, std::vector<pvFLOAT64>(12, 1.5));
  sets.PutObject();
  CDResp responses(GetPOD());
  responses.m_nTaskID = 1;
  responses.m_vExpressions.assign(kConstraints + 1, "pi * thickness_1 * (thickness_2 + 2) - 1.5e3");
  responses.m_vvVarUse.assign(kConstraints + 1, {1, 2});
  responses.PutObject();
  CDObj objectives(GetPOD());
  objectives.m_nTaskID = 1;
  objectives.m_vRespIndex = {0};
  objectives.PutObject();
  CDCons constraints(GetPOD());
  constraints.m_nTaskID = 1;
  constraints.m_vRespIndex.assign(kConstraints, 1);
  constraints.m_vaBound = Values(kConstraints, 0.0);
  constraints.PutObject();
  CDEqn equations(GetPOD());
  equations.m_nTaskID = 1;
  equations.m_vNames = {"area", "volume"};
  equations.m_vExpressions = {"thickness_1 * thickness_2", "area * 3.5"};
  equations.PutObject();
  CDLink links(GetPOD());
  links.m_nTaskID = 1;
  links.PutObject();
}

// One node: a hold to post the finished subtask (result, task, iteration and
// point reads; two result writes), a hold to write the next subtask (a new
// task id, eight records copied, a new result tested and written, a start
// point) and a hold for the search task's result: 27 record reads and writes.
void BM_SearchNodeDatabaseWork(benchmark::State& state) {
  CBenchmarkDatabase database(state.range(0));
  StoreSearchTask();
  CResult searchResult(GetPOD());
  searchResult.m_nTaskID = 1;
  int lastTask = 1;
  for (auto _ : state) {
    {  // post the finished subtask
      CLock lock(GetPOD(), 0);
      CResult result(GetPOD());
      result.m_nTaskID = lastTask;
      result.GetObject();
      CIter bestIteration(GetPOD());
      bestIteration.m_nTaskID = 1;
      bestIteration.GetObject();
      CDPoint bestPoint(GetPOD());
      bestPoint.m_nTaskID = 1;
      bestPoint.GetObject();
      CTask posted(GetPOD());
      posted.m_nTaskID = lastTask;
      posted.GetObject();
      result.PutObject();
      searchResult.PutObject();
    }
    {  // write the next subtask
      CLock lock(GetPOD(), 0);
      const int newTask = CDBCtrl(GetPOD()).GetTaskID(true);
      CopyRecord<CTask>(1, newTask);
      CopyRecord<CDVar>(1, newTask);
      CopyRecord<CDSet>(1, newTask);
      CopyRecord<CDResp>(1, newTask);
      CopyRecord<CDObj>(1, newTask);
      CopyRecord<CDCons>(1, newTask);
      CopyRecord<CDEqn>(1, newTask);
      CopyRecord<CDLink>(1, newTask);
      CResult fresh(GetPOD());
      fresh.m_nTaskID = newTask;
      benchmark::DoNotOptimize(fresh.FindObject());
      fresh.PutObject();
      CDPoint start = TypicalPoint(newTask, 0);
      start.PutObject();
      lastTask = newTask;
    }
    {  // the search task's result
      CLock lock(GetPOD(), 0);
      searchResult.GetObject();
      searchResult.PutObject();
    }
  }
}

BENCHMARK(BM_EmptyLockHold)->Arg(1)->Arg(2)->ArgName("synchronous");
BENCHMARK(BM_LockHoldWithOneWrite)->Arg(1)->Arg(2)->ArgName("synchronous");
BENCHMARK(BM_NestedLockHold);
BENCHMARK(BM_GetDesignVariables);
BENCHMARK(BM_PutDesignVariables);
BENCHMARK(BM_GetDesignPoint);
BENCHMARK(BM_PutDesignPoint);
BENCHMARK(BM_SearchNodeDatabaseWork)->Arg(1)->Arg(2)->ArgName("synchronous");

}  // namespace

BENCHMARK_MAIN();
