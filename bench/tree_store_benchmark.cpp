// The search tree's node store: the container alone (insert, detach, walk)
// and the tree's store operations, which keep the store index as well
// (AddNode, DeleteNode), at 1e3, 1e4 and 1e5 stored nodes. Each run fills
// a store of N nodes with 10 design variables; objectives repeat about ten
// times each, as tied objectives do in a search.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "DiscreteTree.h"

namespace {

constexpr int kVariables = 10;

std::vector<CDiscreteNode> RandomNodes(int count) {
  std::mt19937 random(static_cast<unsigned>(count));
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<CDiscreteNode> nodes(static_cast<std::size_t>(count));
  for (CDiscreteNode& node : nodes) {
    node.m_nNodeID = CDiscreteNode::TakeNodeNumber();
    node.m_dObjective = static_cast<double>(random() % static_cast<unsigned>(count / 10 + 1));
    node.m_vaValues.resize(kVariables);
    node.m_vaLower.resize(kVariables);
    node.m_vaUpper.resize(kVariables);
    for (int i = 0; i < kVariables; ++i) {
      node.m_vaLower[i] = std::floor(100.0 * unit(random));
      node.m_vaUpper[i] = node.m_vaLower[i] + 1.0 + std::floor(100.0 * unit(random));
      node.m_vaValues[i] = node.m_vaLower[i] + 0.5;
    }
  }
  return nodes;
}

void SetPerNodeCounter(benchmark::State& state, int64_t nodesPerIteration) {
  state.SetItemsProcessed(state.iterations() * nodesPerIteration);
  state.counters["per_node"] =
      benchmark::Counter(static_cast<double>(state.iterations() * nodesPerIteration),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// The container under the store, ordered by the store's comparison. The
// nodes belong to the benchmark, so the container leaves them alone when it
// goes.
struct CBorrowingContainer : CAVLTree<CDiscreteNode> {
  CBorrowingContainer() : CAVLTree<CDiscreteNode>(CDiscreteTree::CompareNodes) {}
  ~CBorrowingContainer() override {
    Destroy([](CDiscreteNode*) {}, nullptr);
    m_Root.m_pLink[0] = nullptr;
  }
};

void BM_ContainerInsert(benchmark::State& state) {
  std::vector<CDiscreteNode> nodes = RandomNodes(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    auto container = std::make_unique<CBorrowingContainer>();
    for (CDiscreteNode& node : nodes) container->Insert(&node);
    state.PauseTiming();
    container.reset();
    state.ResumeTiming();
  }
  SetPerNodeCounter(state, state.range(0));
}

void BM_ContainerDetach(benchmark::State& state) {
  std::vector<CDiscreteNode> nodes = RandomNodes(static_cast<int>(state.range(0)));
  for (CDiscreteNode& node : nodes)
    node.m_dObjective += 1e-3 * node.m_nNodeID;  // distinct keys: Detach finds each
  std::vector<CDiscreteNode*> order;
  for (CDiscreteNode& node : nodes) order.push_back(&node);
  std::shuffle(order.begin(), order.end(), std::mt19937(1));
  for (auto _ : state) {
    state.PauseTiming();
    CBorrowingContainer container;
    for (CDiscreteNode& node : nodes) container.Insert(&node);
    state.ResumeTiming();
    for (CDiscreteNode* node : order) benchmark::DoNotOptimize(container.Detach(node));
  }
  SetPerNodeCounter(state, state.range(0));
}

void BM_ContainerWalk(benchmark::State& state) {
  std::vector<CDiscreteNode> nodes = RandomNodes(static_cast<int>(state.range(0)));
  CBorrowingContainer container;
  for (CDiscreteNode& node : nodes) container.Insert(&node);
  for (auto _ : state) {
    container.ProcessInit();
    while (CDiscreteNode* node = container.ProcessNext()) benchmark::DoNotOptimize(node);
  }
  SetPerNodeCounter(state, state.range(0));
}

void BM_TreeAddNode(benchmark::State& state) {
  std::vector<CDiscreteNode> nodes = RandomNodes(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    auto tree = std::make_unique<CDiscreteTree>();
    state.ResumeTiming();
    for (CDiscreteNode& node : nodes) tree->AddNode(node);
    state.PauseTiming();
    tree.reset();
    state.ResumeTiming();
  }
  SetPerNodeCounter(state, state.range(0));
}

// Deletes every node by a copy that names it, in random order.
void BM_TreeDeleteNode(benchmark::State& state) {
  std::vector<CDiscreteNode> nodes = RandomNodes(static_cast<int>(state.range(0)));
  std::shuffle(nodes.begin(), nodes.end(), std::mt19937(1));
  for (auto _ : state) {
    state.PauseTiming();
    CDiscreteTree tree;
    for (CDiscreteNode& node : nodes) tree.AddNode(node);
    state.ResumeTiming();
    for (CDiscreteNode& node : nodes) benchmark::DoNotOptimize(tree.DeleteNode(node));
  }
  SetPerNodeCounter(state, state.range(0));
}

}  // namespace

BENCHMARK(BM_ContainerInsert)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ContainerDetach)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ContainerWalk)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TreeAddNode)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TreeDeleteNode)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
