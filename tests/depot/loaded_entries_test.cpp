// The index over a handle's list gives what a walk through the list gives, whoever changes the
// list.
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "depot/loaded_entries.h"

using sprig::LoadedEntries;

namespace {

// A list with its index, and records whose strings the test owns.
class LoadedEntriesTest : public testing::Test {
protected:
  struct Record {
    std::string id;
    std::string version;
    DepotEntry entry{};
  };

  LoadedEntriesTest() { EXPECT_EQ(PalList1Create(&depot.entries, 256, 256), 0); }
  ~LoadedEntriesTest() override { PalList1Destroy(&depot.entries); }

  DepotEntry &make(const std::string &id, const std::string &version) {
    Record &record = *records_.emplace_back(std::make_unique<Record>(Record{id, version, {}}));
    record.entry.id = record.id.data();
    record.entry.version = record.version.data();
    return record.entry;
  }

  DepotEntry &add(const std::string &id, const std::string &version = "1") {
    DepotEntry &entry = make(id, version);
    EXPECT_TRUE(index.add(depot, entry));
    return entry;
  }

  DepotEntry &addFromOutside(const std::string &id, const std::string &version = "1") {
    DepotEntry &entry = make(id, version);
    EXPECT_NE(PalList1Add(&depot.entries, reinterpret_cast<PalListValue>(&entry)), -1);
    return entry;
  }

  void removeFromOutside(const DepotEntry &entry) {
    ASSERT_EQ(PalList1Remove(&depot.entries, descriptorOf(entry)), 0);
  }

  // Places in the list, by a plain walk.
  int32_t descriptorOf(const DepotEntry &entry) {
    return walk([&](const DepotEntry &other) { return &other == &entry; });
  }
  int32_t newest(const std::string &id, const std::string &version) {
    return walk(
        [&](const DepotEntry &entry) { return entry.id == id && entry.version == version; });
  }

  int32_t find(const std::string &id, const std::string &version = "1") {
    return index.find(depot, id.c_str(), version.c_str());
  }

  Depot depot{};
  LoadedEntries index;

private:
  template <typename Matches> int32_t walk(Matches matches) {
    PalList1Iterator iterator{};
    EXPECT_EQ(PalList1IteratorCreate(&depot.entries, &iterator).palError, PAL_OK);
    int32_t descriptor = -1;
    PalListValue value = 0;
    int32_t found = -1;
    while (found == -1 && iterator.next(&iterator.state, &descriptor, &value).palError == PAL_OK) {
      // NOLINTNEXTLINE(performance-no-int-to-ptr): the list carries pointers
      found = matches(*reinterpret_cast<DepotEntry *>(value)) ? descriptor : -1;
    }
    iterator.end(&iterator.state);
    return found;
  }

  std::vector<std::unique_ptr<Record>> records_;
};

// Pairs of few ids and versions, so that many records are one and the same pair.
class Pairs {
public:
  Pairs(unsigned seed, int count) : random_(seed), count_(count) {}
  int draw(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }
  std::string id() { return "id" + std::to_string(draw(count_)); }
  std::string version() { return std::to_string(draw(3)); }

private:
  std::mt19937 random_;
  int count_;
};

} // namespace

TEST_F(LoadedEntriesTest, AreNoneAtFirst) { EXPECT_EQ(find("a"), -1); }

TEST_F(LoadedEntriesTest, AreFoundByIdAndVersion) {
  const DepotEntry &one = add("a", "1");
  const DepotEntry &two = add("a", "2");
  EXPECT_EQ(find("a", "1"), descriptorOf(one));
  EXPECT_EQ(find("a", "2"), descriptorOf(two));
  EXPECT_EQ(find("a", "3"), -1);
  EXPECT_EQ(find("a1", ""), -1) << "not by both joined";
}

TEST_F(LoadedEntriesTest, AreFoundNewestFirst) {
  const DepotEntry &older = add("a");
  const DepotEntry &newer = add("a");
  EXPECT_EQ(find("a"), descriptorOf(newer));
  index.remove(depot, newer);
  EXPECT_EQ(find("a"), descriptorOf(older));
  index.remove(depot, older);
  EXPECT_EQ(find("a"), -1);
}

TEST_F(LoadedEntriesTest, AreRemovedAsThemselves) {
  const DepotEntry &older = add("a");
  const DepotEntry &newer = add("a");
  index.remove(depot, older);
  EXPECT_EQ(find("a"), descriptorOf(newer));
  EXPECT_EQ(descriptorOf(older), -1);
}

TEST_F(LoadedEntriesTest, AreFoundWhenOthersPutThemIntoTheList) {
  add("a");
  const DepotEntry &newest = addFromOutside("a");
  const DepotEntry &other = addFromOutside("b");
  EXPECT_EQ(find("a"), descriptorOf(newest));
  EXPECT_EQ(find("b"), descriptorOf(other));
}

TEST_F(LoadedEntriesTest, AreMissedWhenOthersTakeThemOut) {
  const DepotEntry &older = add("a");
  const DepotEntry &newer = add("a");
  EXPECT_EQ(find("a"), descriptorOf(newer));
  removeFromOutside(newer);
  EXPECT_EQ(find("a"), descriptorOf(older));
  removeFromOutside(older);
  EXPECT_EQ(find("a"), -1);
}

TEST_F(LoadedEntriesTest, AreNotMistakenForAnotherInTheSameSlot) {
  const DepotEntry &gone = add("a");
  const int32_t slot = find("a");
  removeFromOutside(gone);
  const DepotEntry &other = addFromOutside("b");
  ASSERT_EQ(descriptorOf(other), slot);
  EXPECT_EQ(find("a"), -1);
  EXPECT_EQ(find("b"), slot);
}

TEST_F(LoadedEntriesTest, AreRemovedWhereverTheyCameFrom) {
  const DepotEntry &entry = addFromOutside("a");
  index.remove(depot, entry);
  EXPECT_EQ(descriptorOf(entry), -1);
  index.remove(depot, entry);
  EXPECT_EQ(find("a"), -1) << "removing what is not there changes nothing";
}

TEST_F(LoadedEntriesTest, AreRemovedWhenTheirPairWasChanged) {
  DepotEntry &entry = add("a");
  std::string other = "b";
  entry.id = other.data();
  index.remove(depot, entry);
  EXPECT_EQ(descriptorOf(entry), -1);
}

TEST_F(LoadedEntriesTest, WithoutAPairAreNeverFound) {
  DepotEntry &entry = make("", "");
  entry.id = nullptr;
  entry.version = nullptr;
  EXPECT_TRUE(index.add(depot, entry));
  EXPECT_EQ(find("", ""), -1);
  addFromOutside("a"); // lets the index be built anew
  EXPECT_EQ(find("", ""), -1);
  index.remove(depot, entry);
  EXPECT_EQ(descriptorOf(entry), -1);
}

TEST_F(LoadedEntriesTest, KnowTheirTocFileAsLongAsTheyAreListed) {
  const DepotEntry &entry = add("a");
  sprig::FileIdentity file;
  file.size = 7;
  ASSERT_NE(index.tocFile(depot, entry), nullptr);
  EXPECT_EQ(*index.tocFile(depot, entry), std::nullopt);
  *index.tocFile(depot, entry) = file;
  add("b");
  EXPECT_EQ(*index.tocFile(depot, entry), file);
  index.remove(depot, entry);
  EXPECT_EQ(index.tocFile(depot, entry), nullptr);
}

TEST_F(LoadedEntriesTest, AreFoundAmongManyAsAWalkFindsThem) {
  constexpr int many = 5000;
  Pairs pairs(5, many / 4);
  for (int i = 0; i < many; ++i) {
    add(pairs.id(), pairs.version());
  }
  for (int i = 0; i < 1000; ++i) {
    const std::string id = pairs.id();
    const std::string version = pairs.version();
    ASSERT_EQ(find(id, version), newest(id, version)) << id << "^" << version;
  }
}

TEST_F(LoadedEntriesTest, AreFoundAsAWalkFindsThemWhoeverChangesTheList) {
  Pairs pairs(6, 12);
  std::vector<const DepotEntry *> listed;
  for (int i = 0; i < 10000 && !HasFailure(); ++i) {
    const int action = pairs.draw(100);
    const bool isOutside = pairs.draw(20) == 0;
    if (listed.empty() || action < 51) {
      const std::string id = pairs.id();
      listed.push_back(isOutside ? &addFromOutside(id, pairs.version())
                                 : &add(id, pairs.version()));
    } else {
      const auto at = listed.begin() + pairs.draw(static_cast<int>(listed.size()));
      if (isOutside) {
        removeFromOutside(**at);
      } else {
        index.remove(depot, **at);
      }
      listed.erase(at);
    }
    const std::string id = pairs.id();
    const std::string version = pairs.version();
    EXPECT_EQ(find(id, version), newest(id, version)) << i;
  }
}
