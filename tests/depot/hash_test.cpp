#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/depot.h"
#include "support/pal_error.h"

using test::Lines;
using test::ok;

namespace {

struct KnownKey {
  std::string key;
  uint32_t hash;
};

struct KnownPair {
  std::string id;
  std::string version;
  std::string bucket;
};

// Names on disk: none of these may ever change.
const std::vector<KnownKey> knownKeys{
    {"", 0},
    {"a", 92},
    {"ab", 92},
    {"abc", 16},
    {"abcd", 16},
    {"abcde", 86},
    {"z", 139},
    {"0", 30},
    {"segment1", 191},
    {"Segment1", 192},
    {"com.example.base-3.2.11", 1},
    {"id with spaces 1.0", 13},
    {"a/b\\c", 249},
    {"100%s%n", 209},
    {"<id>x</id>", 202},
    {"line\nbreak", 79},
    {"\x80", 80},
    {"\xff", 128},
    {"\xff\xff\xff", 179},
    {"\xc3\xa4\xc3\xb6\xc3\xbc", 101},
    {"abcdefghijklmnopqrstuvwxyz0123456789", 192},
    {std::string(1001, 'x'), 153},
};

const std::vector<KnownPair> knownPairs{
    {"", "", "00000000"},
    {"a", "", "00000092"},
    {"", "a", "00000092"},
    {"a", "b", "00000092"},
    {"a", "1", "00000092"},
    {"a", "bc", "00000016"},
    {"ab", "c", "00000016"},
    {"abcdef", "1", "00000059"},
    {"abcdef", "1234", "00000100"},
    {"segment", "1", "00000191"},
    {"segment", "2", "00000191"},
    {"same-id", "1.0", "00000104"},
    {"same-id", "9.9", "00000104"},
    {"short", "a-version-that-is-much-longer", "00000127"},
    {"\xff\xfe", "\xfd", "00000147"},
};

uint32_t hashOf(const std::string &key) {
  uint32_t hash = 0xffffffff;
  EXPECT_EQ(DepotHashFunction(key.c_str(), &hash), ok);
  return hash;
}

std::string bucketOf(const std::string &id, const std::string &version) {
  char *name = DepotFindBucket(id.c_str(), version.c_str());
  std::string bucket = name == nullptr ? "none" : name;
  PalMemoryFree(name);
  return bucket;
}

class DepotHash : public testing::Test {
protected:
  // A text without NUL, of up to `longest` bytes.
  std::string randomText(size_t longest) {
    std::string text(random() % (longest + 1), ' ');
    for (char &c : text) {
      c = static_cast<char>(random() % 255 + 1);
    }
    return text;
  }

  test::Log log;
  std::mt19937 random{20};
};

} // namespace

TEST_F(DepotHash, OfKnownKeysNeverChanges) {
  for (const KnownKey &known : knownKeys) {
    EXPECT_EQ(hashOf(known.key), known.hash) << known.key;
  }
}

TEST_F(DepotHash, NamesTheBucketsOfKnownPairs) {
  for (const KnownPair &known : knownPairs) {
    EXPECT_EQ(bucketOf(known.id, known.version), known.bucket) << known.id << '^' << known.version;
  }
}

TEST_F(DepotHash, UsesTheFirstHalfOfTheKeyOnly) {
  for (size_t length = 1; length <= 64; ++length) {
    const std::string used((length + 1) / 2, 'u');
    const uint32_t hash = hashOf(used + std::string(length / 2, 'u'));
    EXPECT_EQ(hashOf(used + std::string(length / 2, 'v')), hash) << length;
    std::string other = used;
    other.back() = 'v';
    EXPECT_NE(hashOf(other + std::string(length / 2, 'u')), hash) << length;
  }
}

TEST_F(DepotHash, DividesAllKeysAmong251Buckets) {
  std::vector<int> keys(251);
  for (int i = 0; i < 20000; ++i) {
    const uint32_t hash = hashOf(randomText(20));
    ASSERT_LT(hash, keys.size());
    ++keys[hash];
  }
  for (size_t bucket = 0; bucket < keys.size(); ++bucket) {
    EXPECT_GT(keys[bucket], 0) << bucket;
  }
}

TEST_F(DepotHash, IsTheDescribedOneForAnyPair) {
  for (int i = 0; i < 5000; ++i) {
    const std::string id = randomText(40);
    const std::string version = randomText(40);
    ASSERT_EQ(bucketOf(id, version), test::bucketOf(id, version)) << id << '^' << version;
  }
  const std::string longId = randomText(65536);
  EXPECT_EQ(bucketOf(longId, "1"), test::bucketOf(longId, "1"));
  EXPECT_EQ(bucketOf("1", longId), test::bucketOf("1", longId));
  EXPECT_EQ(bucketOf(longId, longId), test::bucketOf(longId, longId));
}

TEST_F(DepotHash, PutsVersionsOfOneLengthTogetherWhereTheIdIsNoShorter) {
  for (int i = 0; i < 500; ++i) {
    const std::string id = randomText(30);
    std::string version = randomText(id.size());
    const std::string bucket = bucketOf(id, version);
    for (char &c : version) {
      c = static_cast<char>(random() % 255 + 1);
    }
    ASSERT_EQ(bucketOf(id, version), bucket) << id << '^' << version;
  }
}

TEST_F(DepotHash, TakesNothingInAPairForAFormat) {
  for (const std::string text : {"%s", "%n%n%n", "%d%%", "%1$s"}) {
    EXPECT_EQ(bucketOf(text, text), test::bucketOf(text, text));
  }
}

TEST_F(DepotHash, TracesItselfInsideTheNamingOfABucket) {
  hashOf("a");
  EXPECT_EQ(log.lines(),
            (Lines{{3, "DepotHashFunction entry\n"}, {3, "DepotHashFunction exit\n"}}));
  log.clear();
  bucketOf("a", "1");
  EXPECT_EQ(log.lines(), (Lines{{3, "DepotFindBucket entry\n"},
                                {3, "DepotHashFunction entry\n"},
                                {3, "DepotHashFunction exit\n"},
                                {3, "DepotFindBucket exit\n"}}));
}

TEST_F(DepotHash, OfAnEmptyKeyIsTracedToo) {
  hashOf("");
  EXPECT_EQ(log.lines(),
            (Lines{{3, "DepotHashFunction entry\n"}, {3, "DepotHashFunction exit\n"}}));
}
