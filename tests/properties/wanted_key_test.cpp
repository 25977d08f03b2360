#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "properties/wanted_key.h"

namespace {

constexpr size_t longest = 40; // more than is compared by words

// Of each length: all letters alike, or one of them another.
std::vector<std::string> similarKeys() {
  std::vector<std::string> keys;
  for (size_t length = 0; length <= longest; ++length) {
    keys.emplace_back(length, 'a');
    for (size_t other = 0; other < length; ++other) {
      keys.emplace_back(length, 'a').at(other) = 'b';
    }
  }
  return keys;
}

// A key at so many bytes from the start of a block that ends with it.
class Stored {
public:
  Stored(const std::string &key, size_t offset)
      : block_(std::make_unique<char[]>(offset + key.size() + 1)), offset_(offset) {
    memcpy(block_.get() + offset, key.c_str(), key.size() + 1);
  }

  const char *key() const { return block_.get() + offset_; }

private:
  std::unique_ptr<char[]> block_;
  size_t offset_;
};

void expectOnlyItself(const std::vector<std::string> &keys, size_t offset) {
  std::vector<Stored> stored;
  stored.reserve(keys.size());
  for (const std::string &key : keys) {
    stored.emplace_back(key, offset);
  }
  for (const std::string &key : keys) {
    const sprig::WantedKey wanted(key.c_str());
    for (size_t k = 0; k < keys.size(); ++k) {
      ASSERT_EQ(wanted.is(stored[k].key()), keys[k] == key) << key << ' ' << keys[k];
    }
  }
}

} // namespace

TEST(WantedKey, IsOnlyItselfAmongSimilarOnes) { expectOnlyItself(similarKeys(), 0); }

TEST(WantedKey, IsFoundWhereverAKeyLies) { expectOnlyItself(similarKeys(), 3); }

TEST(WantedKey, ComparesBytesAndNotLetters) {
  const sprig::WantedKey wanted("\xe4\xf6\xff");
  EXPECT_TRUE(wanted.is(Stored("\xe4\xf6\xff", 0).key()));
  EXPECT_FALSE(wanted.is(Stored("\xe4\xf6\x7f", 0).key()));
}
