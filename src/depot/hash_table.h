// A hash table of nodes that know their hash and are chained through themselves. It allocates
// nothing but its array, and says so when it cannot.
#ifndef SPRIG_DEPOT_HASH_TABLE_H
#define SPRIG_DEPOT_HASH_TABLE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <sprig/pal.h>

namespace sprig {

// A hash over one text or several behind each other, eight bytes at a time.
class TextHash {
public:
  TextHash &add(std::string_view text) {
    uint64_t word = 0;
    for (; text.size() >= sizeof word; text.remove_prefix(sizeof word)) {
      memcpy(&word, text.data(), sizeof word);
      mix(word);
    }
    word = 0;
    memcpy(&word, text.data(), text.size());
    mix(word + (uint64_t{text.size()} << (8 * (sizeof word - 1)))); // tells "a" from "a\0"
    return *this;
  }
  uint64_t value() const { return value_; }

private:
  void mix(uint64_t word) {
    constexpr uint64_t factor = 0x9e3779b97f4a7c15;
    constexpr int half = 32;
    value_ = (value_ ^ word) * factor;
    value_ ^= value_ >> half;
  }

  uint64_t value_ = 0;
};

template <typename Node> struct HashLink {
  uint64_t hash = 0;
  Node *next = nullptr; // in the chain
};

// Nodes are found through their member `Link`. Of nodes with the same hash, the one that was
// inserted last comes first.
template <typename Node, HashLink<Node> Node::*Link> class HashTable {
public:
  HashTable() = default;
  ~HashTable() { PalMemoryFree(chains_); }
  HashTable(const HashTable &) = delete;
  HashTable &operator=(const HashTable &) = delete;

  size_t size() const { return size_; }

  // The first node with a hash, and the next one behind a node with the same.
  Node *find(uint64_t hash) const {
    return chains_ == nullptr ? nullptr : withHash(chainOf(hash), hash);
  }
  static Node *findNext(const Node &node) { return withHash((node.*Link).next, (node.*Link).hash); }

  // False when there is no memory, with nothing inserted.
  bool insert(Node &node, uint64_t hash) {
    // A table that cannot grow only gets slower; one that never was cannot be used.
    if (size_ >= chainCount_ && !grow() && chains_ == nullptr) {
      return false;
    }
    Node *&chain = chainOf(hash);
    node.*Link = {hash, chain};
    chain = &node;
    ++size_;
    return true;
  }

  void erase(Node &node) {
    Node **at = &chainOf((node.*Link).hash);
    while (*at != &node) {
      at = &((*at)->*Link).next;
    }
    *at = (node.*Link).next;
    --size_;
  }

  // Empties the table, and hands each node that was in it to `release`.
  template <typename Release> void clear(Release release) {
    for (size_t i = 0; i < chainCount_; ++i) {
      for (Node *node = chains_[i]; node != nullptr;) {
        Node *next = (node->*Link).next;
        release(node);
        node = next;
      }
    }
    PalMemoryFree(chains_);
    chains_ = nullptr;
    chainCount_ = 0;
    size_ = 0;
  }

private:
  static constexpr size_t firstCount = 64;

  static Node *withHash(Node *node, uint64_t hash) {
    while (node != nullptr && (node->*Link).hash != hash) {
      node = (node->*Link).next;
    }
    return node;
  }

  Node *&chainOf(uint64_t hash) const { return chains_[hash & (chainCount_ - 1)]; }

  // Doubles the array. Each chain is dealt out in its order, to the ends of its two successors.
  bool grow() {
    const size_t count = chainCount_ == 0 ? firstCount : 2 * chainCount_;
    auto **chains = static_cast<Node **>(PalMemoryCalloc(count, sizeof(Node *)));
    if (chains == nullptr) {
      return false;
    }
    for (size_t i = 0; i < chainCount_; ++i) {
      Node **ends[] = {&chains[i], &chains[i + chainCount_]};
      for (Node *node = chains_[i]; node != nullptr; node = (node->*Link).next) {
        Node **&end = ends[((node->*Link).hash & chainCount_) != 0];
        *end = node;
        end = &(node->*Link).next;
      }
      *ends[0] = nullptr;
      *ends[1] = nullptr;
    }
    PalMemoryFree(chains_);
    chains_ = chains;
    chainCount_ = count;
    return true;
  }

  Node **chains_ = nullptr;
  size_t chainCount_ = 0; // a power of two
  size_t size_ = 0;
};

} // namespace sprig

#endif
