#include <array>
#include <set>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "depot/hash_table.h"

using sprig::TextHash;

namespace {

struct Node {
  int number = 0;
  sprig::HashLink<Node> link;
};

using Table = sprig::HashTable<Node, &Node::link>;

// Enough to let the table's array grow several times.
constexpr int many = 1000;

class HashTable : public testing::Test {
protected:
  void insertAll(uint64_t hashes) {
    for (Node &node : nodes) {
      node.number = static_cast<int>(&node - nodes.data());
      ASSERT_TRUE(table.insert(node, static_cast<uint64_t>(node.number) % hashes));
    }
  }

  std::vector<int> numbersWith(uint64_t hash) const {
    std::vector<int> numbers;
    for (const Node *node = table.find(hash); node != nullptr; node = Table::findNext(*node)) {
      numbers.push_back(node->number);
    }
    return numbers;
  }

  // What was inserted with that hash, the last one first, without every `step`-th.
  static std::vector<int> expected(int hash, int hashes, int step) {
    std::vector<int> numbers;
    for (int number = many - 1; number >= 0; --number) {
      if (number % hashes == hash && (step == 0 || number % step != 0)) {
        numbers.push_back(number);
      }
    }
    return numbers;
  }

  std::array<Node, many> nodes;
  Table table;
};

} // namespace

TEST_F(HashTable, HasNothingAtFirst) {
  EXPECT_EQ(table.size(), 0U);
  EXPECT_EQ(table.find(0), nullptr);
}

TEST_F(HashTable, KeepsTheOrderAmongEqualHashesWhenItGrows) {
  for (const int hashes : {1, 3, 7, 64, 999}) {
    insertAll(static_cast<uint64_t>(hashes));
    EXPECT_EQ(table.size(), nodes.size());
    for (int hash = 0; hash < hashes; ++hash) {
      EXPECT_EQ(numbersWith(static_cast<uint64_t>(hash)), expected(hash, hashes, 0));
    }
    EXPECT_EQ(table.find(static_cast<uint64_t>(hashes)), nullptr);
    table.clear([](Node *) {});
  }
}

TEST_F(HashTable, TellsHashesApartThatShareAChain) {
  constexpr uint64_t apart = uint64_t{1} << 40;
  ASSERT_TRUE(table.insert(nodes[0], 5));
  ASSERT_TRUE(table.insert(nodes[1], 5 + apart));
  ASSERT_TRUE(table.insert(nodes[2], 5));
  EXPECT_EQ(table.find(5), &nodes[2]);
  EXPECT_EQ(Table::findNext(nodes[2]), &nodes[0]);
  EXPECT_EQ(Table::findNext(nodes[0]), nullptr);
  EXPECT_EQ(table.find(5 + apart), &nodes[1]);
  EXPECT_EQ(Table::findNext(nodes[1]), nullptr);
}

TEST_F(HashTable, ErasesOneOfMany) {
  for (const int step : {1, 2, 5}) {
    insertAll(7);
    size_t left = nodes.size();
    for (int number = 0; number < many; number += step) {
      table.erase(nodes[static_cast<size_t>(number)]);
      --left;
    }
    EXPECT_EQ(table.size(), left);
    for (int hash = 0; hash < 7; ++hash) {
      EXPECT_EQ(numbersWith(static_cast<uint64_t>(hash)), expected(hash, 7, step));
    }
    table.clear([](Node *) {});
  }
}

TEST_F(HashTable, HandsOutEachNodeOnceWhenItIsCleared) {
  insertAll(3);
  std::multiset<int> released;
  table.clear([&](Node *node) { released.insert(node->number); });
  EXPECT_EQ(released.size(), nodes.size());
  EXPECT_EQ(std::set<int>(released.begin(), released.end()).size(), nodes.size());
  EXPECT_EQ(table.size(), 0U);
  EXPECT_EQ(table.find(0), nullptr);
  table.clear([](Node *) { ADD_FAILURE() << "it is empty"; });
}

TEST_F(HashTable, MayBeFilledAgain) {
  insertAll(5);
  table.clear([](Node *) {});
  ASSERT_TRUE(table.insert(nodes[3], 1));
  EXPECT_EQ(numbersWith(1), std::vector<int>{3});
}

TEST(TextHash, IsTheSameForTheSameTextsOnly) {
  using Texts = std::vector<std::string_view>;
  const std::vector<Texts> all{
      {},
      {"a"},
      {"a", ""},
      {std::string_view("a\0", 2)},
      {"ab"},
      {"a", "b"},
      {"b", "a"},
      {"1234567"},
      {"12345678"},
      {"12345678", ""},
      {"123456789"},
      {"1234567812345678"},
      {"12345678", "12345678"},
      {"abcdefgh12345678"},
  };
  const auto hashOf = [](const Texts &texts) {
    TextHash hash;
    for (const std::string_view text : texts) {
      hash.add(text);
    }
    return hash.value();
  };
  std::set<uint64_t> hashes;
  for (const Texts &texts : all) {
    EXPECT_EQ(hashOf(texts), hashOf(texts));
    hashes.insert(hashOf(texts));
  }
  EXPECT_EQ(hashes.size(), all.size());
}
