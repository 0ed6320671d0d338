// The balanced tree container, checked against a reference model: a vector
// kept in walk order (ascending key, insertion order among equal keys).

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "AVLtree.h"
#include "TreeTestSupport.h"

namespace {

// Leaks and double deletions are caught by the sanitizer build.
struct Item {
  int key;  // primary key; many items share one
  int id;   // rises with every item made, so equal keys are walked in id order
};

// Ties of the key are broken by id: consistent with the insertion order.
int CompareItems(const Item* a, const Item* b, bool tieBreak) {
  if (a->key != b->key) return a->key < b->key ? -1 : 1;
  if (!tieBreak || a->id == b->id) return 0;
  return a->id < b->id ? -1 : 1;
}

using Tree = CAVLTree<Item>;
using Node = CTreeNode<Item>;

// Recursively checks balance factors and the order of every item against the
// bounds passed down; returns the height and counts the nodes.
int CheckInvariants(const Node* node, const Item* low, const Item* high, int& count) {
  if (node == nullptr) return 0;
  ++count;
  if (low != nullptr) {
    EXPECT_GT(CompareItems(node->m_pData, low, true), 0);
  }
  if (high != nullptr) {
    EXPECT_LT(CompareItems(node->m_pData, high, true), 0);
  }
  const int left = CheckInvariants(node->m_pLink[0], low, node->m_pData, count);
  const int right = CheckInvariants(node->m_pLink[1], node->m_pData, high, count);
  EXPECT_EQ(node->m_cBalance, right - left);
  EXPECT_LE(std::abs(right - left), 1);
  return 1 + std::max(left, right);
}

class AVLTreeTest : public ::testing::Test {
 protected:
  Item* Add(int key) { return tree.Insert(new Item{key, nextId++}); }
  int nextId = 0;  // id of the next item made
  Tree tree{CompareItems};
};

TEST_F(AVLTreeTest, EqualKeysAreAllStoredAndWalkedInInsertionOrder) {
  std::vector<Item*> expected;
  for (int i = 0; i < 50; ++i) expected.push_back(Add(7));
  EXPECT_EQ(StoredItems(tree), expected);
}

TEST_F(AVLTreeTest, WalkStartsAgainAfterItsEndAndAfterProcessInit) {
  for (int key : {2, 1, 3}) Add(key);
  tree.ProcessInit();
  EXPECT_EQ(tree.ProcessNext()->key, 1);
  EXPECT_EQ(tree.ProcessNext()->key, 2);
  tree.ProcessInit();
  for (int key : {1, 2, 3}) EXPECT_EQ(tree.ProcessNext()->key, key);
  EXPECT_EQ(tree.ProcessNext(), nullptr);
  EXPECT_EQ(tree.ProcessNext()->key, 1);
}

// From the empty tree on: insertions, removals by key and by item (guided
// well and badly), and searches for a key never stored.
TEST_F(AVLTreeTest, RandomInsertionsAndRemovalsKeepOrderBalanceAndCount) {
  std::vector<Item*> model;  // walk order
  std::mt19937 random(20240611);
  Item absent{40, -1};
  for (int step = 0; step < 6000; ++step) {
    const int choice = static_cast<int>(random() % 10);
    if (choice < 6 || model.empty()) {
      Item* item = Add(static_cast<int>(random() % 40));
      model.insert(std::upper_bound(model.begin(), model.end(), item,
                                    [](const Item* a, const Item* b) { return a->key < b->key; }),
                   item);
    } else {
      const std::size_t at = random() % model.size();
      Item key = *model[at];
      const auto guide = [&](const Item* other) {
        return step % 2 == 0 ? CompareItems(&key, other, true) : +1;
      };
      std::unique_ptr<Item> detached(choice < 8 ? tree.Detach(&key)
                                                : tree.DetachItem(model[at], guide));
      ASSERT_EQ(detached.get(), model[at]);
      model.erase(model.begin() + static_cast<std::ptrdiff_t>(at));
    }
    EXPECT_EQ(tree.Detach(&absent), nullptr);
    int count = 0;
    CheckInvariants(tree.Root(), nullptr, nullptr, count);
    ASSERT_EQ(count, tree.Size());
    ASSERT_EQ(StoredItems(tree), model) << "step " << step;
    EXPECT_EQ(tree.Find(&absent), nullptr);
    if (model.empty()) continue;
    Item* probe = model[random() % model.size()];
    Item key = *probe;
    EXPECT_EQ(tree.Find(&key), probe);
  }
}

}  // namespace
