// Adding entries: what comes into being, under which name, and what is refused.
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "depot/operation.h"

using test::Lines;
using test::LockLostInside;
using test::LostLock;
using test::Names;
using test::ok;
using test::readFile;
using test::Toc;

namespace {

namespace fs = std::filesystem;

using Pair = std::pair<std::string, std::string>;

// Where the first entry of the bucket of "a" has its files.
const std::string data = "depot/00000092.0.dat";
const std::string toc = "depot/00000092.0.xml";

const std::vector<std::string> behindId{"version",  "reference_count", "state",     "checksum",
                                        "deadline", "location",        "properties"};

class DepotAdd : public test::OperationTest {
protected:
  DepotEntry *addBytes(const std::string &properties) {
    return DepotAddEntry(depot, "a", "1", properties.data(),
                         static_cast<uint32_t>(properties.size()));
  }

  DepotEntry *refuse(const std::string &id, const std::string &version) {
    log.clear();
    DepotEntry *entry = DepotAddEntry(depot, id.c_str(), version.c_str(), nullptr, 0);
    EXPECT_EQ(entry, nullptr) << id << '^' << version;
    return entry;
  }

  // That a refusal was logged as one, and left no record.
  void expectRefusalSaid() const {
    const Lines lines = problems();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, 0);
    EXPECT_EQ(lines[0].text.rfind("DepotAddEntry ", 0), 0U) << lines[0];
    EXPECT_EQ(lines[0].text.back(), '\n');
    EXPECT_EQ(loaded().size(), 0U);
  }

  // Puts TOC files of other entries there, and says what is in them.
  static std::map<std::string, std::string> occupy(const Names &names) {
    std::map<std::string, std::string> contents;
    for (const std::string &name : names) {
      Toc other;
      other.id = "somebody else's " + name;
      putToc(name, other);
      contents[path(name)] = other.bytes();
    }
    return contents;
  }
  static void expectUntouched(const std::map<std::string, std::string> &contents) {
    for (const auto &[path, content] : contents) {
      EXPECT_EQ(readFile(path), content) << path;
    }
  }
};

std::string tocOfIndex(int index) { return "depot/00000092." + std::to_string(index) + ".xml"; }

} // namespace

TEST_F(DepotAdd, MakesAnEntryThatWaitsForItsData) {
  const std::string id = "a";
  const std::string version = "1";
  DepotEntry *entry = DepotAddEntry(depot, id.c_str(), version.c_str(), nullptr, 0);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->id, id);
  EXPECT_EQ(entry->version, version);
  EXPECT_NE(entry->id, id.c_str());
  EXPECT_NE(entry->version, version.c_str());
  EXPECT_EQ(entry->toc_path, toc);
  EXPECT_EQ(entry->location, data);
  EXPECT_EQ(entry->state, DEPOT_ENTRY_FILLING);
  EXPECT_EQ(entry->reference_count, 0);
  EXPECT_EQ(entry->deadline, 0);
  EXPECT_EQ(entry->checksum, 0);
  EXPECT_EQ(entry->size, 0U);
  EXPECT_EQ(entry->open_count, 0U);
  EXPECT_EQ(entry->write_count, 0U);
  EXPECT_EQ(entry->access_time, 0);
  EXPECT_EQ(entry->modify_time, 0);
  EXPECT_EQ(entry->properties, nullptr);
  EXPECT_EQ(entry->properties_length, 0U);
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{entry});
}

TEST_F(DepotAdd, WritesAnEmptyDataFileAndATocFile) {
  add("a");
  EXPECT_EQ(names(), (Names{"00000092.0.dat", "00000092.0.xml"}));
  EXPECT_EQ(readFile(data), "");
  Toc expected;
  expected.id = "a";
  expected.state = "0";
  expected.location = data;
  EXPECT_EQ(readFile(toc), expected.bytes());
}

TEST_F(DepotAdd, IsTraced) {
  add("a");
  EXPECT_TRUE(isTraced("DepotAddEntry"));
  EXPECT_TRUE(hasInOrder({"DepotAddEntry entry", "DepotGetEntry_internal entry",
                          "DepotFindEntryIndex entry", "DepotFindBucket entry",
                          "DepotGetEntry_internal exit", "DepotSaveEntry entry",
                          "DepotSaveEntry_internal entry", "DepotEntrySetProperties entry",
                          "DepotEntrySetProperties exit", "DepotSaveEntry_internal exit",
                          "DepotSaveEntry exit", "DepotAddEntry exit"}));
  EXPECT_TRUE(hasInOrder({"DepotGetEntry_internal exit", "DepotEntryNew entry",
                          "DepotEntryNew exit", "DepotSaveEntry entry"}));
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotAdd, PutsTheFilesIntoTheHandlesDirectory) {
  const std::string elsewhere = directory / "elsewhere";
  const DepotEntry *entry = DepotAddEntry(openDepot(elsewhere), "a", "1", nullptr, 0);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->toc_path, elsewhere + "/00000092.0.xml");
  EXPECT_EQ(entry->location, elsewhere + "/00000092.0.dat");
  EXPECT_EQ(readToc(entry->toc_path).location, entry->location);
  EXPECT_EQ(readFile(entry->location), "");
  EXPECT_EQ(names(), Names{});
}

TEST_F(DepotAdd, KeepsACopyOfTheProperties) {
  std::string properties("\x00\xff\x10", 3);
  DepotEntry *entry = addBytes(properties);
  properties.assign(3, 'x');
  ASSERT_NE(entry, nullptr);
  ASSERT_EQ(entry->properties_length, 3U);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(entry->properties), 3),
            std::string("\x00\xff\x10", 3));
  EXPECT_EQ(readToc(toc).properties, "AP8Q");
}

TEST_F(DepotAdd, TakesAnEmptyBufferForNoProperties) {
  DepotEntry *entry = DepotAddEntry(depot, "a", "1", "", 0);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->properties, nullptr);
  EXPECT_EQ(entry->properties_length, 0U);
  EXPECT_EQ(readToc(toc).properties, "");
}

TEST_F(DepotAdd, SavesManyProperties) {
  const std::string properties(9000, '\xa5');
  ASSERT_NE(addBytes(properties), nullptr);
  const DepotEntry *found = DepotGetEntry(openDepot(), "a", "1");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(found->properties), found->properties_length),
            properties);
}

TEST_F(DepotAdd, RefusesAnEntryThatIsNotComplete) {
  for (const char *state : {"0", "2", "-1"}) {
    Toc other;
    other.id = std::string("in state ") + state;
    other.state = state;
    putEntry(other);
    const Names before = names();
    // From disk, and once it is loaded.
    for (const size_t count : {loaded().size() + 1, loaded().size() + 1}) {
      refuse(other.id, other.version);
      EXPECT_EQ(problems(),
                (Lines{{1, "DepotAddEntry unable to use entry due to in-progress operations\n"}}));
      EXPECT_TRUE(isTraced("DepotAddEntry"));
      EXPECT_EQ(loaded().size(), count);
    }
    EXPECT_EQ(names(), before);
  }
}

TEST_F(DepotAdd, RefusesItsOwnEntryUntilThatIsComplete) {
  DepotEntry *entry = add("a");
  refuse("a", "1");
  DepotEntryChangeState(depot, entry, DEPOT_ENTRY_COMPLETE);
  EXPECT_EQ(add("a"), entry);
}

TEST_F(DepotAdd, HandsOutACompleteEntryAsItIs) {
  DepotEntry *entry = addComplete("a");
  const std::string saved = readFile(toc);
  log.clear();
  EXPECT_EQ(addBytes("other properties"), entry);
  EXPECT_TRUE(isTraced("DepotAddEntry"));
  EXPECT_EQ(problems(), Lines{});
  EXPECT_EQ(entry->reference_count, 1);
  EXPECT_EQ(entry->properties_length, 0U);
  EXPECT_EQ(readFile(toc), saved);
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{entry});
}

TEST_F(DepotAdd, HandsOutACompleteEntryFromDisk) {
  Toc other;
  other.id = "a";
  other.referenceCount = "3";
  other.checksum = "-5";
  other.deadline = "77";
  other.properties = "AP8Q";
  putEntry(other, 4);
  const Names before = names();
  DepotEntry *entry = add("a");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->state, DEPOT_ENTRY_COMPLETE);
  EXPECT_EQ(entry->reference_count, 3);
  EXPECT_EQ(entry->checksum, -5);
  EXPECT_EQ(entry->deadline, 77);
  EXPECT_EQ(entry->properties_length, 3U);
  EXPECT_EQ(entry->toc_path, tocOfIndex(4));
  EXPECT_EQ(entry->location, path("00000092.4.dat"));
  EXPECT_EQ(names(), before);
}

TEST_F(DepotAdd, SeesThatAnotherProcessCompletedTheEntry) {
  DepotEntry *entry = add("a");
  Toc completed = readToc(toc);
  completed.state = "1";
  completed.referenceCount = "2";
  putToc("00000092.0.xml", completed);
  EXPECT_EQ(add("a"), entry);
  EXPECT_EQ(entry->state, DEPOT_ENTRY_COMPLETE);
  EXPECT_EQ(entry->reference_count, 2);
}

TEST_F(DepotAdd, MakesAnewWhatAnotherProcessRemoved) {
  addComplete("a");
  fs::remove(toc);
  fs::remove(data);
  log.clear();
  DepotEntry *entry = add("a");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(problems(),
            (Lines{{1, "DepotVerifyEntry_internal error -4 opening file " + toc + "\n"}}));
  EXPECT_EQ(entry->state, DEPOT_ENTRY_FILLING);
  EXPECT_EQ(entry->toc_path, toc);
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{entry});
}

TEST_F(DepotAdd, MakesAnewWhatAnotherProcessReplaced) {
  addComplete("a", "1");
  Toc other = readToc(toc);
  other.version = "2";
  putToc("00000092.0.xml", other);
  DepotEntry *entry = add("a", "1");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->toc_path, tocOfIndex(1));
  EXPECT_EQ(readFile(toc), other.bytes());
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{entry});
}

TEST_F(DepotAdd, TakesTheSmallestFreeIndex) {
  struct Case {
    Names names;
    int index;
  };
  const std::vector<Case> cases{
      {{}, 0},
      {{"00000092.0.xml"}, 1},
      {{"00000092.1.xml"}, 0},
      {{"00000092.0.xml", "00000092.2.xml"}, 1},
      {{"00000092.2.xml", "00000092.0.xml", "00000092.1.xml"}, 3},
      {{"00000092.0.xml", "00000092.1.xml", "00000092.3x.xml", "00000092.2.xml"}, 4},
      // The number stands behind the tenth character, and is what strtol() makes of it.
      {{"00000092.0x.xml"}, 1},
      {{"00000092.00.xml", "00000092.01.xml"}, 2},
      {{"00000092. +0.xml"}, 1},
      {{"00000092-0xml"}, 1},
      {{"00000092.xml"}, 1},
      {{"00000092xml"}, 1},
      {{"00000092.first.xml", "00000092.1.2.xml"}, 2},
      {{"00000092.-1.xml"}, 0},
      {{"00000092.99999999999999999999.xml"}, 0},
      // Names that are no TOC file of the bucket.
      {{"00000092.0.dat"}, 0},
      {{"00000092.0.XML"}, 0},
      {{"00000092.0.xml.old"}, 0},
      {{"00000093.0.xml"}, 0},
      {{"0000009.0.xml"}, 0},
      {{"x00000092.0.xml"}, 0},
  };
  for (const Case &example : cases) {
    auto contents = occupy(example.names);
    contents.erase(data); // becomes that of the entry
    DepotEntry *entry = add("a");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->toc_path, tocOfIndex(example.index)) << testing::PrintToString(example.names);
    expectUntouched(contents);
    EXPECT_EQ(DepotRemoveEntry(depot, entry, 0).palError, PAL_OK);
    for (const std::string &name : example.names) {
      fs::remove(path(name));
    }
  }
}

TEST_F(DepotAdd, TakesAnIndexAgainThatBecameFree) {
  DepotEntry *first = add("a", "1");
  EXPECT_EQ(add("a", "2")->toc_path, tocOfIndex(1));
  EXPECT_EQ(DepotRemoveEntry(depot, first, 0).palError, PAL_OK);
  EXPECT_EQ(add("a", "3")->toc_path, toc);
}

TEST_F(DepotAdd, OverwritesNothingThatTheLookupDidNotGetTo) {
  fs::create_directory(toc); // where the lookup ends, before or behind the others
  Names others;
  for (int index = 1; index <= 20; ++index) {
    others.push_back("00000092." + std::to_string(index) + ".xml");
  }
  const auto contents = occupy(others);
  DepotEntry *entry = add("a");
  ASSERT_NE(entry, nullptr);
  EXPECT_TRUE(log.has(1, "DepotGetEntry_internal error -4 reading file " + toc + "\n"));
  EXPECT_EQ(entry->toc_path, tocOfIndex(21));
  EXPECT_EQ(entry->location, path("00000092.21.dat"));
  EXPECT_EQ(readToc(entry->toc_path).location, entry->location);
  expectUntouched(contents);
}

TEST_F(DepotAdd, DoesNotWriteThroughALinkThatLeadsNowhere) {
  fs::create_symlink("nowhere", toc);
  DepotEntry *entry = add("a");
  ASSERT_NE(entry, nullptr);
  EXPECT_TRUE(log.has(1, "DepotGetEntry_internal error -4 opening file " + toc + "\n"));
  EXPECT_EQ(entry->toc_path, tocOfIndex(1));
  EXPECT_TRUE(fs::is_symlink(toc));
  EXPECT_FALSE(fs::exists("depot/nowhere"));
}

TEST_F(DepotAdd, DoesNotWaitForAPipe) {
  ASSERT_EQ(mkfifo(toc.c_str(), 0600), 0);
  DepotEntry *entry = add("a");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->toc_path, tocOfIndex(1));
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotAdd, TakesBackAnEntryWhoseDataFileCannotBeMade) {
  fs::create_directory(data);
  refuse("a", "1");
  EXPECT_TRUE(log.has(3, "DepotRemoveEntry_internal entry\n"));
  EXPECT_EQ(names(), Names{}) << "an empty directory is removed like a file";
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_F(DepotAdd, LeavesTheTocFileOfADataFileThatItCanNeitherMakeNorRemove) {
  block(data);
  refuse("a", "1");
  EXPECT_TRUE(log.has(1, "DepotRemoveEntry_internal exit.  Error -4 removing file " + data + "\n"));
  EXPECT_EQ(names(), (Names{"00000092.0.dat", "00000092.0.xml"}));
  EXPECT_EQ(readToc(toc).state, "0");
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_F(DepotAdd, FailsWithoutItsDirectory) {
  fs::remove("depot");
  refuse("a", "1");
  EXPECT_FALSE(fs::exists("depot"));
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_F(DepotAdd, RefusesPairsThatWouldHideAnElement) {
  std::vector<Pair> pairs{{"</id>", "1"},        {"before</id>behind", "1"}, {"a", "</version>"},
                          {"<version >", "1"},   {"<version\t>", "1"},       {"<version\n>", "1"},
                          {"<version/>", "1"},   {"<version x=1>", "1"},     {"x<version>x", "1"},
                          {"a", "<properties/>"}};
  for (const std::string &element : behindId) {
    pairs.emplace_back("<" + element + ">", "1");
    if (element != "version") {
      pairs.emplace_back("a", "<" + element + ">");
    }
  }
  for (const auto &[id, version] : pairs) {
    refuse(id, version);
    expectRefusalSaid();
  }
  EXPECT_EQ(names(), Names{});
}

TEST_F(DepotAdd, RefusesPathsThatWouldHideAnElement) {
  for (const char *hiding : {"a<properties>", "a</location>"}) {
    fs::create_directories(hiding);
    EXPECT_EQ(DepotAddEntry(openDepot(hiding), "a", "1", nullptr, 0), nullptr);
    expectRefusalSaid();
    EXPECT_TRUE(fs::is_empty(hiding));
  }
}

TEST_F(DepotAdd, AcceptsEveryOtherPath) {
  for (const char *harmless :
       {"a<location>", "a<state>", "a</id>", "a</properties>", "a<properties", "%s%n"}) {
    fs::create_directories(harmless);
    EXPECT_NE(DepotAddEntry(openDepot(harmless), "a", "1", nullptr, 0), nullptr);
    const DepotEntry *found = DepotGetEntry(openDepot(harmless), "a", "1");
    ASSERT_NE(found, nullptr) << harmless;
    EXPECT_EQ(found->location, std::string(harmless) + "/00000092.0.dat");
  }
}

TEST_F(DepotAdd, AcceptsEveryOtherText) {
  const std::vector<Pair> pairs{
      {"", ""},
      {"a<b>c", "<1>"},
      {"<id>", "1"},
      {"<id/>", "1"},
      {"</id", "1"},
      {"</id >", "1"},
      {"</version>", "1"},
      {"<version", "1"},
      {"<version<", "1"},
      {"<versions>", "1"},
      {"< version>", "1"},
      {"<VERSION>", "1"},
      {"version", "version"},
      {"a", "<id>"},
      {"a", "</id>"},
      {"a", "<version>"},
      {"a", "</reference_count>"},
      {"%s%n%d", "%1$s"},
      {"a/../b\\c", "1\n2\r\t"},
      {"\x01\xff", "\xc3\xa4"},
      {std::string(65536, 'i'), std::string(65536, 'v')},
  };
  Depot *other = openDepot();
  for (const auto &[id, version] : pairs) {
    DepotEntry *entry = add(id, version);
    ASSERT_NE(entry, nullptr) << id << '^' << version;
    EXPECT_EQ(DepotCompleteEntry(depot, entry, 0), ok);
    const DepotEntry *found = DepotGetEntry(other, id.c_str(), version.c_str());
    ASSERT_NE(found, nullptr) << id << '^' << version;
    EXPECT_EQ(found->id, id);
    EXPECT_EQ(found->version, version);
    EXPECT_EQ(found->reference_count, 1);
    EXPECT_NE(add(id, version), nullptr);
  }
  EXPECT_EQ(problems(), Lines{});
  EXPECT_EQ(names().size(), 2 * pairs.size());
}

TEST_F(DepotAdd, NeedsAHandleAndAPair) {
  const std::vector<std::function<DepotEntry *()>> calls{
      [] { return DepotAddEntry(nullptr, "a", "1", nullptr, 0); },
      [&] { return DepotAddEntry(depot, nullptr, "1", nullptr, 0); },
      [&] { return DepotAddEntry(depot, "a", nullptr, nullptr, 0); },
      [&] { return DepotAddEntry(depot, "a", "1", nullptr, 4); },
  };
  for (const auto &call : calls) {
    EXPECT_EQ(call(), nullptr);
    expectInvalidLogged("DepotAddEntry");
  }
  EXPECT_EQ(names(), Names{});
}

TEST_F(DepotAdd, GoesOnWithoutTheDepotsLock) {
  const LostLock lost(depot->depotLock);
  EXPECT_NE(add("a"), nullptr);
  EXPECT_EQ(problems(), (Lines{{1, "DepotAddEntry continue. Ignore WAIT_TIMEOUT\n"},
                               {1, "DepotAddEntry error -2 releasing lock\n"}}));
  EXPECT_TRUE(isTraced("DepotAddEntry"));
  refuse("a", "1");
  EXPECT_EQ(problems().size(), 3U);
}

TEST_F(DepotAdd, HandsOutItsEntryWhenTheDepotsLockCannotBeGivenBack) {
  const LockLostInside lost(depot->depotLock, "DepotGetEntry_internal entry\n",
                            "DepotAddEntry error -2 releasing lock\n");
  EXPECT_NE(add("a"), nullptr);
  EXPECT_TRUE(lost.isReported());
}

TEST_F(DepotAdd, FailsWithoutTheEntriesLock) {
  const LostLock lost(depot->entryLock);
  refuse("a", "1");
  EXPECT_TRUE(log.has(0, "DepotSaveEntry exit.  Error -2(22) obtaining lock\n"));
  EXPECT_EQ(names(), Names{});
  EXPECT_EQ(loaded().size(), 0U);
}
