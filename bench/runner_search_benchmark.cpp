// Whole searches of the examples, as `discrete solve` runs them: write the
// problem into a fresh task database file, solve the search task, and drive
// the module (libDiscrete.so, loaded as the program loads it) to the end.
// Counters: subtasks solved, analyses and gradient evaluations per search.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "TaskDatabase.h"
#include "Timing.h"
#include "problem/ProblemFile.h"
#include "search/DiscreteModule.h"
#include "search/Search.h"
#include "tasks/TaskSolver.h"
#include "tasks/TaskWriter.h"

namespace {

struct CQuietObserver : CSearchObserver {
  void OnNode(const CNodeSummary&) override {}
  void OnEnd(const CSearchOutcome&) override {}
};

void BM_WholeSearch(benchmark::State& state, const std::string& example) {
  const CProblem problem = ReadProblemFile(std::string(EXAMPLES_DIR) + "/" + example);
  const CDiscreteModule module = CDiscreteModule::Load();
  const std::filesystem::path database =
      std::filesystem::temp_directory_path() / ("bench-" + example + ".db");
  CQuietObserver observer;
  CSearchOutcome outcome;
  int analyses = 0;
  int gradients = 0;
  for (auto _ : state) {
    for (const char* suffix : {"", "-wal", "-shm"})
      std::filesystem::remove(database.string() + suffix);
    const int analysesBefore = nNumAnalyses;
    const int gradientsBefore = nNumGradCalc;
    OpenTaskDatabase(database.string());
    const int searchTask = WriteSearchTask(problem);
    const FSolveTask solveTask = [](int taskId, std::chrono::steady_clock::time_point deadline) {
      return SolveTask(taskId, {deadline, 1});
    };
    CBranchAndBoundSearch search(module, solveTask, observer, problem.limits, nullptr);
    outcome = search.Run(searchTask);
    CloseTaskDatabase();
    analyses = nNumAnalyses - analysesBefore;
    gradients = nNumGradCalc - gradientsBefore;
  }
  state.counters["subtasks"] = outcome.nodesSolved;
  state.counters["analyses"] = analyses;
  state.counters["gradients"] = gradients;
  state.counters["optimiser_s"] = outcome.solverSeconds;
  for (const char* suffix : {"", "-wal", "-shm"})
    std::filesystem::remove(database.string() + suffix);
}

BENCHMARK_CAPTURE(BM_WholeSearch, pressure_vessel, std::string("pressure_vessel.toml"))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_WholeSearch, gear_train, std::string("gear_train.toml"))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_WholeSearch, coil_spring, std::string("coil_spring.toml"))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_WholeSearch, speed_reducer, std::string("speed_reducer.toml"))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_WholeSearch, process_synthesis, std::string("process_synthesis.toml"))
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
