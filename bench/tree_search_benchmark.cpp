// One cycle of the search, as the module runs it: CreateNode, solve the
// child, CheckNode, AddNode, measured on searches that already store 1e3, 1e4
// and 1e5 nodes. A search must not slow down as it grows: the cost per cycle
// should stay nearly flat from 1e3 to 1e5 stored nodes.
//
// The continuous optimiser is played by a made-up solver: ten integer
// variables in wide ranges (so the search never runs out of open nodes), the
// values inside the child's bounds at fractional points, and as objective the
// distance of the child's bounds from the root's, rounded to tenths. A child
// is never better than its parent, and many objectives tie.

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "DiscreteTree.h"

namespace {

constexpr int kVariables = 10;
constexpr double kRange = 1e6;

class SyntheticSearch {
 public:
  SyntheticSearch() : m_tree(MakeTree()), m_random(1) {
    CDiscreteNode root(-1);
    root.m_vaLower.resize(kVariables, 0.0);
    root.m_vaUpper.resize(kVariables, kRange);
    root.m_vaValues.resize(kVariables);
    Solve(root);
    m_tree.CheckNode(root);
    m_tree.AddNode(root);
  }

  // One cycle; false when the search has no node to branch.
  bool Step() {
    if (!m_tree.CreateNode(m_child)) return false;
    Solve(m_child);
    m_tree.CheckNode(m_child);
    return m_tree.AddNode(m_child);
  }

  int32_t StoredNodes() const { return m_tree.Size(); }

 private:
  static CDiscreteTree MakeTree() {
    std::valarray<int> indices(kVariables), setRefs(-1, kVariables);
    for (int i = 0; i < kVariables; ++i) indices[i] = i;
    std::vector<std::vector<double>> noSets;
    return CDiscreteTree(indices, setRefs, noSets, 1e-6, 1);
  }

  void Solve(CDiscreteNode& node) {
    double distance = 0.0;
    for (int i = 0; i < kVariables; ++i) {
      const double low = node.m_vaLower[i], high = node.m_vaUpper[i];
      node.m_vaValues[i] = low + (high - low) * (0.1 + 0.8 * m_unit(m_random));
      distance += low + (kRange - high);
    }
    node.m_dObjective = std::round(distance / 1e4) / 10.0;
    node.m_dMaxCon = 0.0;
  }

  CDiscreteTree m_tree;   // the search under measurement
  CDiscreteNode m_child;  // the node being made and evaluated, as the module's own
  std::mt19937 m_random;  // values inside the bounds
  std::uniform_real_distribution<double> m_unit;  // 0..1
};

// Grows a search to N stored nodes (not timed), then times N/4 cycles.
void BM_SearchCycle(benchmark::State& state) {
  const int64_t stored = state.range(0), cycles = stored / 4;
  for (auto _ : state) {
    state.PauseTiming();
    auto search = std::make_unique<SyntheticSearch>();
    while (search->StoredNodes() < stored) search->Step();
    state.ResumeTiming();
    for (int64_t cycle = 0; cycle < cycles; ++cycle) benchmark::DoNotOptimize(search->Step());
    state.PauseTiming();
    search.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * cycles);
  state.counters["per_cycle"] =
      benchmark::Counter(static_cast<double>(state.iterations() * cycles),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

}  // namespace

BENCHMARK(BM_SearchCycle)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

BENCHMARK_MAIN();
