#pragma once

// Small builders shared by the search tree's tests.

#include <valarray>
#include <vector>

#include "DiscreteTree.h"

// A numbered node holding an evaluated solution inside the given bounds.
inline CDiscreteNode MakeNode(double objective, std::valarray<double> values,
                              std::valarray<double> lower, std::valarray<double> upper,
                              double maxCon = 0.0) {
  CDiscreteNode node(-1);
  node.m_dObjective = objective;
  node.m_dMaxCon = maxCon;
  node.m_vaValues = values;
  node.m_vaLower = lower;
  node.m_vaUpper = upper;
  return node;
}

// A tree whose discrete variables are those with a nonzero set reference.
inline CDiscreteTree MakeTree(const std::vector<int>& setRefs,
                              std::vector<std::vector<double>> sets, int sense,
                              double conTol = 1e-6) {
  std::vector<int> discrete;
  for (int variable = 0; variable < static_cast<int>(setRefs.size()); ++variable) {
    if (setRefs[variable] != 0) discrete.push_back(variable);
  }
  std::valarray<int> indices(discrete.data(), discrete.size());
  std::valarray<int> refs(setRefs.data(), setRefs.size());
  return CDiscreteTree(indices, refs, sets, conTol, sense);
}

// The stored items in walk order.
template <class TTree>
auto StoredItems(TTree& tree) {
  std::vector<decltype(tree.ProcessNext())> items;
  tree.ProcessInit();
  while (auto item = tree.ProcessNext()) items.push_back(item);
  return items;
}
inline std::vector<const CDiscreteNode*> StoredNodes(CDiscreteTree& tree) {
  const auto nodes = StoredItems(tree);
  return {nodes.begin(), nodes.end()};
}

inline std::vector<int> StoredNodeNumbers(CDiscreteTree& tree) {
  std::vector<int> numbers;
  for (const CDiscreteNode* node : StoredNodes(tree)) numbers.push_back(node->m_nNodeID);
  return numbers;
}
