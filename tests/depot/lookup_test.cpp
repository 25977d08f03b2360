#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/depot.h"
#include "support/pal_error.h"

using test::Lines;
using test::ok;
using test::Toc;

namespace {

namespace fs = std::filesystem;

// The trace of an operation with that of others inside.
Lines traceOf(const std::string &name, std::initializer_list<Lines> inside = {}) {
  Lines lines{{3, name + " entry\n"}};
  for (const Lines &part : inside) {
    lines.insert(lines.end(), part.begin(), part.end());
  }
  lines.push_back({3, name + " exit\n"});
  return lines;
}

const Lines indexFound = traceOf("DepotFindEntryIndex");
const Lines reloaded = traceOf("DepotEntryReloadFromToc_internal");
const Lines released = traceOf("DepotFreeEntry_internal");
const Lines bucketFound = traceOf("DepotFindBucket", {traceOf("DepotHashFunction")});
const Lines recordMade = traceOf("DepotEntryNewFromToc", {traceOf("DepotEntryNew")});

// "a" with any version of one character is in bucket 00000092.
Toc tocOf(const std::string &version = "1", const std::string &id = "a") {
  Toc toc;
  toc.id = id;
  toc.version = version;
  return toc;
}

constexpr const char *tocName = "00000092.0.xml";
constexpr const char *tocPath = "depot/00000092.0.xml";

class DepotLookup : public test::DepotTest {
protected:
  DepotEntry *get(const std::string &id = "a", const std::string &version = "1") {
    return DepotGetEntry(depot, id.c_str(), version.c_str());
  }

  int32_t indexOf(const std::string &id, const std::string &version) {
    return DepotFindEntryIndex(depot, id.c_str(), version.c_str());
  }

  // A record that is only loaded.
  DepotEntry *load(const Toc &toc) { return DepotEntryNewFromToc(depot, toc.bytes().c_str()); }

  // An entry on disk, looked up once.
  DepotEntry *putAndGet(const Toc &toc = tocOf()) {
    putToc(tocName, toc);
    DepotEntry *entry = get(toc.id, toc.version);
    EXPECT_NE(entry, nullptr);
    log.clear();
    return entry;
  }

  // What a lookup for those who hold the lock finds, and the indexes that it meets, sorted.
  struct Search {
    DepotEntry *entry = nullptr;
    std::vector<PalListValue> indexes;
    int32_t slots = 0;
  };
  Search search(const std::string &id = "a", const std::string &version = "1") {
    PalList1 list = nullptr;
    Search result;
    result.entry = DepotGetEntry_internal(depot, id.c_str(), version.c_str(), &list);
    result.slots = PalList1GetSize(&list);
    PalList1Iterator iterator{};
    EXPECT_EQ(PalList1IteratorCreate(&list, &iterator).palError, PAL_OK) << "there is no list";
    int32_t descriptor = 0;
    PalListValue index = 0;
    while (iterator.next(&iterator.state, &descriptor, &index).palError == PAL_OK) {
      result.indexes.push_back(index);
    }
    iterator.end(&iterator.state);
    std::sort(result.indexes.begin(), result.indexes.end());
    PalList1Destroy(&list);
    return result;
  }
};

} // namespace

TEST_F(DepotLookup, OfALoadedEntryNeedsIdAndVersionExactly) {
  EXPECT_EQ(indexOf("a", "1"), -1);
  EXPECT_EQ(log.lines(), indexFound);
  const std::string much(65536, 'm');
  const std::vector<std::pair<std::string, std::string>> pairs{
      {"a", "1"}, {"a", "2"},  {"a1", ""},        {"", "a1"},    {"ab", "1"},
      {"A", "1"}, {"a", "1 "}, {"%s%n", "100%d"}, {"a/b", "<>"}, {much, much}};
  for (const auto &[id, version] : pairs) {
    EXPECT_EQ(indexOf(id, version), -1) << id << '^' << version;
    DepotEntry *entry = load(tocOf(version, id));
    log.clear();
    const int32_t index = indexOf(id, version);
    EXPECT_EQ(log.lines(), indexFound);
    EXPECT_EQ(PalList1Access(&depot->entries, index), reinterpret_cast<PalListValue>(entry));
  }
  EXPECT_EQ(indexOf(much, much + "m"), -1);
  EXPECT_EQ(indexOf(much.substr(1), much), -1);
}

TEST_F(DepotLookup, OfALoadedEntryTakesTheOneThatWasLoadedLast) {
  const DepotEntry *older = load(tocOf());
  const DepotEntry *newer = load(tocOf());
  load(tocOf("2"));
  for (const DepotEntry *expected : {newer, older}) {
    const int32_t index = indexOf("a", "1");
    ASSERT_EQ(PalList1Access(&depot->entries, index), reinterpret_cast<PalListValue>(expected));
    PalList1Remove(&depot->entries, index);
    DepotFreeEntry_internal(depot, const_cast<DepotEntry *>(expected));
  }
  EXPECT_EQ(indexOf("a", "1"), -1);
}

TEST_F(DepotLookup, OfALoadedEntrySeesWhatOthersDoToTheList) {
  DepotEntry *first = load(tocOf("1"));
  DepotEntry *second = load(tocOf("2"));
  const int32_t index = indexOf("a", "1");
  ASSERT_EQ(PalList1Remove(&depot->entries, index), 0);
  EXPECT_EQ(indexOf("a", "1"), -1);
  ASSERT_EQ(PalList1Remove(&depot->entries, indexOf("a", "2")), 0);
  EXPECT_EQ(PalList1Add(&depot->entries, reinterpret_cast<PalListValue>(first)), 1);
  EXPECT_EQ(PalList1Add(&depot->entries, reinterpret_cast<PalListValue>(second)), 0);
  EXPECT_EQ(indexOf("a", "1"), 1) << "the slot that the other one had";
  EXPECT_EQ(indexOf("a", "2"), 0);
}

TEST_F(DepotLookup, OfALoadedEntryFindsNothingWithoutAList) {
  PalList1 entries = std::exchange(depot->entries, nullptr);
  EXPECT_EQ(indexOf("a", "1"), -1);
  EXPECT_EQ(log.lines(), (Lines{{3, "DepotFindEntryIndex entry\n"},
                                {0, "DepotFindEntryIndex exit.  Error 21(0) obtaining lock\n"}}));
  depot->entries = entries;
}

TEST_F(DepotLookup, OfALoadedEntryNeedsNoLocksAndNoDisk) {
  DepotEntry *entry = load(tocOf());
  destroySemaphore("depot.lk");
  fs::remove("depot");
  EXPECT_EQ(PalList1Access(&depot->entries, indexOf("a", "1")),
            reinterpret_cast<PalListValue>(entry));
}

TEST_F(DepotLookup, GivesTheLoadedRecordAfterALookAtItsFile) {
  DepotEntry *entry = putAndGet();
  EXPECT_EQ(get(), entry);
  EXPECT_EQ(log.lines(),
            traceOf("DepotGetEntry", {traceOf("DepotGetEntry_internal", {indexFound, reloaded})}));
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{entry});
  EXPECT_EQ(semaphore("depot.lk"), 2);
  EXPECT_EQ(semaphore("entry.lk"), 2);
}

TEST_F(DepotLookup, TakesOverWhatTheFileOfALoadedRecordSays) {
  DepotEntry *entry = putAndGet();
  entry->size = uint64_t{1} << 40;
  entry->open_count = 5;
  entry->write_count = 4;
  entry->access_time = 3;
  entry->modify_time = 2;
  putToc(tocName, {"a", "1", "7", "2", "-5", "1700000000", "/elsewhere", "AAECAw=="});
  EXPECT_EQ(get(), entry);
  EXPECT_STREQ(entry->id, "a");
  EXPECT_STREQ(entry->version, "1");
  EXPECT_EQ(entry->reference_count, 7);
  EXPECT_EQ(entry->state, 2);
  EXPECT_EQ(entry->checksum, -5);
  EXPECT_EQ(entry->deadline, 1700000000);
  EXPECT_STREQ(entry->location, "/elsewhere");
  ASSERT_EQ(entry->properties_length, 6U);
  EXPECT_EQ(memcmp(entry->properties, "\0\1\2\3\0\0", 6), 0);
  EXPECT_STREQ(entry->toc_path, tocPath);
  EXPECT_EQ(entry->size, uint64_t{1} << 40);
  EXPECT_EQ(entry->open_count, 5U);
  EXPECT_EQ(entry->write_count, 4U);
  EXPECT_EQ(entry->access_time, 3);
  EXPECT_EQ(entry->modify_time, 2);

  putToc(tocName, tocOf());
  EXPECT_EQ(get(), entry);
  EXPECT_STREQ(entry->location, "/nowhere");
  EXPECT_EQ(entry->properties, nullptr);
  EXPECT_EQ(entry->properties_length, 0U);
}

TEST_F(DepotLookup, KeepsWhatTheFileOfALoadedRecordDoesNotSay) {
  const Toc full{"a", "1", "7", "2", "-5", "9", "/kept", "TWFu"};
  DepotEntry *entry = putAndGet(full);
  for (const std::string name :
       {"reference_count", "state", "checksum", "deadline", "location", "properties"}) {
    std::string bytes = Toc{"a", "1", "8", "8", "8", "8", "/taken", "QUJD"}.bytes();
    const size_t start = bytes.find("<" + name + ">");
    const size_t end = bytes.find("</" + name + ">") + name.size() + 3;
    bytes.erase(start, end - start);
    putToc(tocName, full);
    ASSERT_EQ(get(), entry);
    test::writeFile(tocPath, bytes);
    ASSERT_EQ(get(), entry) << name;
    EXPECT_EQ(entry->reference_count, name == "reference_count" ? 7 : 8);
    EXPECT_EQ(entry->state, name == "state" ? 2 : 8);
    EXPECT_EQ(entry->checksum, name == "checksum" ? -5 : 8);
    EXPECT_EQ(entry->deadline, name == "deadline" ? 9 : 8);
    EXPECT_STREQ(entry->location, name == "location" ? "/kept" : "/taken");
    EXPECT_EQ(memcmp(entry->properties, name == "properties" ? "Man" : "ABC", 3), 0) << name;
  }
}

TEST_F(DepotLookup, KeepsANumberWhereTheFileOfALoadedRecordHasTooLongAOne) {
  struct Case {
    std::string text;
    int32_t value;
  };
  const std::vector<Case> cases{{"0000000000000005", 42},
                                {std::string(65536, '1'), 42},
                                {"000000000000005", 5},
                                {"999999999999999", INT32_MAX},
                                {"-2147483649", INT32_MIN},
                                {"", 0},
                                {"1x", 1}};
  Toc toc = tocOf();
  toc.referenceCount = toc.state = toc.checksum = toc.deadline = "42";
  DepotEntry *entry = putAndGet(toc);
  for (const Case &change : cases) {
    putToc(tocName, toc);
    ASSERT_EQ(get(), entry);
    Toc changed = toc;
    changed.referenceCount = changed.state = changed.checksum = changed.deadline = change.text;
    putToc(tocName, changed);
    ASSERT_EQ(get(), entry) << change.text;
    for (const int32_t number :
         {entry->reference_count, entry->state, entry->checksum, entry->deadline}) {
      EXPECT_EQ(number, change.value) << change.text;
    }
  }
}

TEST_F(DepotLookup, DropsALoadedRecordThatItsFileDoesNotConfirm) {
  const std::string whole = tocOf().bytes();
  const std::string opening = "DepotVerifyEntry_internal error -4 opening file ";
  const std::string reading = "DepotVerifyEntry_internal error -4 reading file ";
  struct Case {
    std::string what;
    std::function<void()> make;
    std::string line;
  };
  const std::vector<Case> cases{
      {"other version", [] { putToc(tocName, tocOf("2")); }, ""},
      {"other id", [] { putToc(tocName, tocOf("1", "b")); }, ""},
      {"longer id", [] { putToc(tocName, tocOf("1", "aa")); }, ""},
      {"longer version", [] { putToc(tocName, tocOf("1 ")); }, ""},
      {"no version", [] { putToc(tocName, tocOf("")); }, ""},
      {"no text", [] { test::writeFile(tocPath, ""); }, ""},
      {"NUL at once", [&] { test::writeFile(tocPath, '\0' + whole); }, ""},
      {"truncated id", [&] { test::writeFile(tocPath, whole.substr(0, 9)); }, ""},
      {"truncated version", [&] { test::writeFile(tocPath, whole.substr(0, 22)); }, ""},
      {"FIFO", [] { EXPECT_EQ(mkfifo(tocPath, 0600), 0); }, ""},
      {"no file", [] {}, opening},
      {"link to nothing", [] { fs::create_symlink("nothing", tocPath); }, opening},
      {"directory", [] { fs::create_directory(tocPath); }, reading},
  };
  for (const Case &change : cases) {
    putAndGet();
    fs::remove(tocPath);
    change.make();
    EXPECT_EQ(DepotGetEntry_internal(depot, "a", "1", nullptr), nullptr) << change.what;
    Lines expected{{1, change.line + tocPath + "\n"}};
    if (change.line.empty()) {
      expected = reloaded;
    }
    ASSERT_GE(log.lines().size(), 3 + expected.size()) << change.what;
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), log.lines().begin() + 3))
        << change.what << ": " << testing::PrintToString(log.lines());
    EXPECT_TRUE(loaded().empty()) << change.what;
    EXPECT_EQ(semaphore("entry.lk"), 2);
    fs::remove(tocPath);
  }
}

TEST_F(DepotLookup, GoesOnOnDiskWhenALoadedRecordIsDropped) {
  putAndGet();
  fs::rename(tocPath, "depot/00000092.1.xml");
  putToc(tocName, tocOf("2"));
  const DepotEntry *entry = get();
  ASSERT_NE(entry, nullptr);
  EXPECT_STREQ(entry->toc_path, "depot/00000092.1.xml");
  EXPECT_EQ(log.lines(), traceOf("DepotGetEntry",
                                 {traceOf("DepotGetEntry_internal", {indexFound, reloaded, released,
                                                                     bucketFound, recordMade})}));
  EXPECT_EQ(loaded().size(), 1U);
  log.clear();
  fs::remove("depot/00000092.1.xml");
  EXPECT_EQ(get(), nullptr);
  EXPECT_EQ(log.upTo(2), (Lines{{1, "DepotVerifyEntry_internal error -4 opening file "
                                    "depot/00000092.1.xml\n"}}));
}

TEST_F(DepotLookup, GoesOnOnDiskAlsoWhereAnOlderRecordIsLoaded) {
  DepotEntry *older = putAndGet();
  load(tocOf()); // read from no file that it knows
  putToc(tocName, tocOf("1"));
  log.clear();
  DepotEntry *entry = get();
  EXPECT_EQ(loaded(), (std::vector<DepotEntry *>{entry, older}));
  EXPECT_NE(entry, older);
  ASSERT_EQ(log.upTo(2).size(), 1U);
  EXPECT_EQ(log.upTo(2)[0].level, 1);
  EXPECT_EQ(log.upTo(2)[0].text.find("DepotVerifyEntry_internal error 21 opening file "), 0U);
}

TEST_F(DepotLookup, LoadsWhatItFindsOnDisk) {
  putToc("00000092.7.xml", {"a", "1", "2", "0", "-5", "9", "/there", "TWFu"});
  putToc(tocName, tocOf("2"));
  const DepotEntry *entry = get();
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(log.lines(),
            traceOf("DepotGetEntry",
                    {traceOf("DepotGetEntry_internal", {indexFound, bucketFound, recordMade})}));
  EXPECT_STREQ(entry->toc_path, "depot/00000092.7.xml");
  EXPECT_STREQ(entry->location, "/there");
  EXPECT_EQ(entry->reference_count, 2);
  EXPECT_EQ(entry->state, 0);
  EXPECT_EQ(entry->checksum, -5);
  EXPECT_EQ(entry->deadline, 9);
  EXPECT_EQ(entry->properties_length, 3U);
  EXPECT_EQ(entry->size, 0U);
  EXPECT_EQ(entry->open_count, 0U);
  EXPECT_EQ(loaded().size(), 1U);
  EXPECT_EQ(names(), (std::vector<std::string>{tocName, "00000092.7.xml"})) << "changes nothing";
}

TEST_F(DepotLookup, FindsNothingThatIsNotThere) {
  for (const auto &[id, version] : std::vector<std::pair<std::string, std::string>>{
           {"a", "2"}, {"a", ""}, {"a", "11"}, {"a", "1 "}, {"b", "1"}, {"", "a1"}, {"", ""}}) {
    putToc(test::bucketOf(id, version) + ".0.xml", tocOf());
    log.clear();
    EXPECT_EQ(get(id, version), nullptr) << id << '^' << version;
    EXPECT_EQ(log.lines(), traceOf("DepotGetEntry",
                                   {traceOf("DepotGetEntry_internal", {indexFound, bucketFound})}));
  }
  EXPECT_TRUE(loaded().empty());
  EXPECT_EQ(semaphore("depot.lk"), 2);
  EXPECT_EQ(semaphore("entry.lk"), 2);
}

TEST_F(DepotLookup, ReadsTheFilesOfOneBucketAndTellsTheirIndexes) {
  struct Case {
    std::string name;
    std::vector<PalListValue> indexes;
  };
  const std::vector<Case> cases{
      {"00000092.3.xml", {3}},   {"00000092.3.dat", {}},    {"00000092.12.xml", {12}},
      {"00000092.007.xml", {7}}, {"00000092.-5.xml", {-5}}, {"00000092.+6.xml", {6}},
      {"00000092. 8.xml", {8}},  {"00000092.9abcxml", {9}}, {"00000092.xml", {0}},
      {"00000092xml", {0}},      {"00000092.x.xml", {0}},   {"00000092-4.xml", {4}},
      {"000000921.5.xml", {0}},  {"00000092.3.XML", {}},    {"00000092.3.xml~", {}},
      {"00000092.3.xm", {}},     {"00000092", {}},          {"x00000092.3.xml", {}},
      {"0000092.3.xml", {}},     {"00000091.3.xml", {}},    {"xml", {}},
      {"00000092.0x1.xml", {0}}, {"00000092.1.0.xml", {1}}, {"00000092.32767.xml", {32767}},
  };
  for (const Case &candidate : cases) {
    putToc(candidate.name, tocOf("2"));
    const Search miss = search();
    EXPECT_EQ(miss.entry, nullptr);
    EXPECT_EQ(miss.indexes, candidate.indexes) << candidate.name;
    const Search hit = search("a", "2");
    ASSERT_EQ(hit.entry != nullptr, !candidate.indexes.empty()) << candidate.name;
    EXPECT_EQ(hit.indexes, candidate.indexes) << candidate.name;
    if (hit.entry != nullptr) {
      EXPECT_EQ(hit.entry->toc_path, path(candidate.name));
      EXPECT_EQ(DepotFreeEntry(depot, hit.entry), ok);
    }
    fs::remove(path(candidate.name));
  }
}

TEST_F(DepotLookup, TellsTheIndexesOfAWholeBucketOnAMiss) {
  EXPECT_EQ(search().slots, 64);
  std::vector<PalListValue> indexes;
  for (int i = 0; i < 200; ++i) {
    const Toc toc = tocOf(std::string(1, static_cast<char>(i + 48)));
    const int index = i * 3;
    putToc("00000092." + std::to_string(index) + ".xml", toc);
    putToc("00000093." + std::to_string(index + 1) + ".xml", toc);
    indexes.push_back(index);
  }
  const Search miss = search("a", "\x01");
  EXPECT_EQ(miss.entry, nullptr);
  EXPECT_EQ(miss.indexes, indexes);
  EXPECT_EQ(miss.slots, 256);
  for (int i = 0; i < 200; ++i) {
    const DepotEntry *entry = get("a", std::string(1, static_cast<char>(i + 48)));
    ASSERT_NE(entry, nullptr) << i;
    EXPECT_EQ(entry->toc_path, path("00000092." + std::to_string(i * 3) + ".xml"));
  }
}

TEST_F(DepotLookup, LeavesTheListAloneWhereTheEntryIsLoaded) {
  DepotEntry *entry = putAndGet();
  PalList1 none = nullptr;
  EXPECT_EQ(DepotGetEntry_internal(depot, "a", "1", &none), entry);
  EXPECT_EQ(none, nullptr);
  fs::remove(tocPath);
  EXPECT_EQ(search().entry, nullptr) << "dropped, and looked for with a list";
}

TEST_F(DepotLookup, NeedsNoLockByThoseWhoHoldIt) {
  putToc(tocName, tocOf());
  destroySemaphore("depot.lk");
  DepotEntry *entry = DepotGetEntry_internal(depot, "a", "1", nullptr);
  EXPECT_NE(entry, nullptr);
  EXPECT_EQ(DepotGetEntry_internal(depot, "a", "1", nullptr), entry);
  EXPECT_EQ(log.upTo(2), Lines{});
  EXPECT_EQ(get(), nullptr);
  EXPECT_EQ(log.upTo(2), (Lines{{0, "DepotGetEntry exit.  Error -2(22) obtaining lock\n"}}));
}

TEST_F(DepotLookup, FindsNothingWhereTheDirectoryIsGone) {
  DepotEntry *entry = putAndGet();
  EXPECT_EQ(DepotFreeEntry(depot, entry), ok);
  fs::remove_all("depot");
  log.clear();
  EXPECT_EQ(get(), nullptr);
  EXPECT_EQ(log.lines(), traceOf("DepotGetEntry",
                                 {traceOf("DepotGetEntry_internal", {indexFound, bucketFound})}));
  EXPECT_TRUE(search().indexes.empty());
  fs::create_directory("depot");
  putToc(tocName, tocOf());
  EXPECT_NE(get(), nullptr);
}

TEST_F(DepotLookup, EndsAtAFileThatCannotBeRead) {
  const std::string opening = "DepotGetEntry_internal error -4 opening file ";
  const std::string reading = "DepotGetEntry_internal error -4 reading file ";
  struct Case {
    std::string name;
    std::function<void(const std::string &)> make;
    std::string line;
  };
  const auto link = [](const char *target) {
    return [target](const std::string &path) { fs::create_symlink(target, path); };
  };
  const std::vector<Case> cases{
      {tocName, link("nothing"), opening + tocPath},
      {tocName, link(tocName), opening + tocPath},
      {tocName, link("."), reading + tocPath},
      {tocName, [](const std::string &path) { fs::create_directory(path); }, reading + tocPath},
      {"00000092.0%s%n.xml", link("nothing"), opening + "depot/00000092.0%s%n.xml"},
      {"00000092\\0.xml", [](const std::string &path) { test::writeFile(path, "text"); },
       opening + "depot/00000092/0.xml"},
  };
  for (const Case &candidate : cases) {
    candidate.make(path(candidate.name));
    log.clear();
    const Search ended = search();
    EXPECT_EQ(ended.entry, nullptr);
    EXPECT_EQ(ended.indexes, std::vector<PalListValue>{0});
    Lines expected = traceOf("DepotGetEntry_internal", {indexFound, bucketFound});
    expected.insert(expected.end() - 1, {1, candidate.line + "\n"});
    EXPECT_EQ(log.lines(), expected);
    EXPECT_EQ(get("b", "1"), nullptr) << "in another bucket";
    EXPECT_EQ(log.upTo(2).size(), 1U);
    fs::remove(path(candidate.name));
  }
}

TEST_F(DepotLookup, EndsAtTheEntryWhoseFileLacksAnElement) {
  std::string bytes = tocOf().bytes();
  bytes.erase(bytes.find("<deadline>"), strlen("<deadline>0</deadline>"));
  test::writeFile(tocPath, bytes);
  EXPECT_EQ(get(), nullptr);
  EXPECT_EQ(log.upTo(2), (Lines{{1, "DepotGetEntry_internal call to DepotEntryNewFromToc "
                                    "returned null\n"}}));
  EXPECT_TRUE(loaded().empty());
  EXPECT_EQ(get("a", "2"), nullptr);
  EXPECT_EQ(log.upTo(2).size(), 1U) << "it is of no concern to others";
}
