// Depot directories as others leave them: the bytes are written here, by hand.
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/depot.h"
#include "support/pal_error.h"

using test::Lines;
using test::ok;
using test::Toc;

namespace {

namespace fs = std::filesystem;

// Two entries of bucket 00000059, the first with the tail of a longer text behind its NUL, and one
// of bucket 00000100. Nothing here may ever change.
const char firstToc[] = "<<id>abcdef</id><version>1</version><reference_count>0</reference_count>"
                        "<state>1</state><checksum>-559038737</checksum>"
                        "<deadline>1000000000</deadline>"
                        "<location>depot/00000059.0.dat</location>"
                        "<properties>AAECAwQF</properties>>\0ties>>\0es>>";
const char secondToc[] = "<<id>abcdef</id><version>2</version><reference_count>3</reference_count>"
                         "<state>0</state><checksum>0</checksum><deadline>0</deadline>"
                         "<location>depot/00000059.4.dat</location><properties></properties>>";
const char thirdToc[] =
    "<<id>abcdef</id><version>1234</version><reference_count>1</reference_count>"
    "<state>1</state><checksum>7</checksum><deadline>2147483647</deadline>"
    "<location>depot/00000100.0.dat</location><properties>TQ==</properties>>";

template <size_t Size> std::string bytesOf(const char (&literal)[Size]) {
  return {literal, Size}; // the NUL at the end as well
}

std::string with(std::string text, const std::string &old, const std::string &replacement) {
  const size_t start = text.find(old);
  EXPECT_NE(start, std::string::npos) << old;
  return text.replace(start, old.size(), replacement);
}

// "a" with any version of one character is in bucket 00000092.
Toc tocOf(const std::string &version, const std::string &id = "a") {
  Toc toc;
  toc.id = id;
  toc.version = version;
  return toc;
}

constexpr const char *tocName = "00000092.0.xml";
constexpr const char *tocPath = "depot/00000092.0.xml";

void makeSparse(const std::string &path, const std::string &text) {
  test::writeFile(path, text);
  fs::resize_file(path, 100 << 20);
}

// Writes over the beginning of a file without cutting it.
void writeOver(int descriptor, const std::string &bytes) {
  EXPECT_EQ(pwrite(descriptor, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
}

void writeOver(const std::string &path, const std::string &bytes) {
  const int descriptor = open(path.c_str(), O_WRONLY);
  writeOver(descriptor, bytes);
  close(descriptor);
}

size_t openFiles() {
  return static_cast<size_t>(
      std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{}));
}

class DepotFixture : public test::DepotTest {
protected:
  DepotFixture() {
    test::writeFile("depot/00000059.0.xml", bytesOf(firstToc));
    test::writeFile("depot/00000059.0.dat", "the first segment");
    test::writeFile("depot/00000059.4.xml", bytesOf(secondToc));
    test::writeFile("depot/00000059.4.dat", "");
    test::writeFile("depot/00000100.0.xml", bytesOf(thirdToc));
    test::writeFile("depot/00000100.0.dat", "the third segment");
    test::writeFile("depot/readme.txt", "not the depot's");
  }

  DepotEntry *get(const std::string &id, const std::string &version) {
    return DepotGetEntry(depot, id.c_str(), version.c_str());
  }

  std::string read(DepotEntry *entry) {
    PalFileHandle file{};
    EXPECT_EQ(DepotFileOpenForRead(depot, entry, &file), ok);
    char buffer[64];
    size_t count = 0;
    EXPECT_EQ(PalFileRead(file, buffer, sizeof(buffer), &count), ok);
    EXPECT_EQ(PalFileClose(file), ok);
    return {buffer, count};
  }
};

class DepotDirectory : public test::DepotTest {
protected:
  DepotEntry *get(const std::string &version, const std::string &id = "a") {
    return DepotGetEntry(depot, id.c_str(), version.c_str());
  }

  // Looks up a pair that is on disk, and forgets it again.
  void expectFound(const std::string &version, const std::string &what) {
    DepotEntry *entry = get(version);
    ASSERT_NE(entry, nullptr) << what;
    EXPECT_EQ(entry->version, version) << what;
    EXPECT_EQ(DepotFreeEntry(depot, entry), ok);
  }
};

} // namespace

TEST_F(DepotFixture, IsFound) {
  const DepotEntry *first = get("abcdef", "1");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->reference_count, 0);
  EXPECT_EQ(first->state, DEPOT_ENTRY_COMPLETE);
  EXPECT_EQ(first->checksum, -559038737);
  EXPECT_EQ(first->deadline, 1000000000);
  EXPECT_STREQ(first->location, "depot/00000059.0.dat");
  EXPECT_STREQ(first->toc_path, "depot/00000059.0.xml");
  ASSERT_EQ(first->properties_length, 6U);
  EXPECT_EQ(memcmp(first->properties, "\0\1\2\3\4\5", 6), 0);
  const DepotEntry *second = get("abcdef", "2");
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second->reference_count, 3);
  EXPECT_EQ(second->state, DEPOT_ENTRY_FILLING);
  const DepotEntry *third = get("abcdef", "1234");
  ASSERT_NE(third, nullptr);
  EXPECT_EQ(third->deadline, 2147483647);
  EXPECT_EQ(third->properties_length, 3U);
  EXPECT_EQ(get("abcdef", "3"), nullptr);
  EXPECT_EQ(get("abcdef", "12345"), nullptr);
  EXPECT_EQ(log.upTo(2), Lines{});
}

TEST_F(DepotFixture, IsHandedOutToThoseWhoAdd) {
  DepotEntry *entry = DepotAddEntry(depot, "abcdef", "1", "ignored", 7);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->reference_count, 0);
  EXPECT_EQ(entry->properties_length, 6U);
  EXPECT_EQ(DepotAddEntry(depot, "abcdef", "2", nullptr, 0), nullptr) << "it is being filled";
  DepotEntry *added = DepotAddEntry(depot, "abcdef", "3", nullptr, 0);
  ASSERT_NE(added, nullptr);
  EXPECT_STREQ(added->toc_path, "depot/00000059.1.xml");
  EXPECT_EQ(test::readFile("depot/00000059.0.xml"), bytesOf(firstToc));
  EXPECT_EQ(test::readFile("depot/00000059.4.xml"), bytesOf(secondToc));
}

TEST_F(DepotFixture, IsReadAndSavedAsItWasWithPaddingTakenForBytes) {
  EXPECT_EQ(read(get("abcdef", "1")), "the first segment");
  EXPECT_EQ(read(get("abcdef", "1234")), "the third segment");
  EXPECT_EQ(test::readFile("depot/00000059.0.xml"), bytesOf(firstToc));
  EXPECT_EQ(test::readFile("depot/00000100.0.xml"), with(bytesOf(thirdToc), "TQ==", "TQAA"));
  EXPECT_EQ(names().size(), 7U);
}

TEST_F(DepotFixture, IsCompleted) {
  EXPECT_EQ(DepotCompleteEntry(depot, get("abcdef", "1"), 999999999), ok);
  EXPECT_EQ(test::readFile("depot/00000059.0.xml"),
            with(bytesOf(firstToc), "count>0<", "count>1<"));
  EXPECT_EQ(DepotCompleteEntry(depot, get("abcdef", "2"), 5), ok);
  const std::string completed =
      with(with(bytesOf(secondToc), "count>3<", "count>4<"), "state>0<", "state>1<");
  EXPECT_EQ(test::readFile("depot/00000059.4.xml"), with(completed, "deadline>0<", "deadline>5<"));
  EXPECT_EQ(DepotCompleteEntry(depot, get("abcdef", "1234"), 2147483647), ok);
  EXPECT_EQ(test::readFile("depot/00000100.0.xml"),
            with(with(bytesOf(thirdToc), "count>1<", "count>2<"), "TQ==", "TQAA"));
  EXPECT_TRUE(loaded().empty());
  EXPECT_EQ(names().size(), 7U);
}

TEST_F(DepotFixture, IsPurgedOfWhatNobodyHolds) {
  EXPECT_EQ(DepotPurge(depot, 0), ok);
  EXPECT_EQ(names(), (std::vector<std::string>{"00000059.4.dat", "00000059.4.xml", "00000100.0.dat",
                                               "00000100.0.xml", "readme.txt"}));
  EXPECT_EQ(test::readFile("depot/00000059.4.xml"), bytesOf(secondToc));
  EXPECT_EQ(test::readFile("depot/00000100.0.xml"), bytesOf(thirdToc));
}

TEST_F(DepotFixture, IsPurgedOfWhatHasExpired) {
  EXPECT_EQ(DepotPurgeExpiredEntries(depot), ok);
  EXPECT_EQ(names(), (std::vector<std::string>{"00000059.4.dat", "00000059.4.xml", "00000100.0.dat",
                                               "00000100.0.xml", "readme.txt"}));
}

TEST_F(DepotFixture, IsPurgedOfEverything) {
  EXPECT_NE(get("abcdef", "1"), nullptr);
  EXPECT_EQ(DepotPurge(depot, 1), ok);
  EXPECT_EQ(names(), std::vector<std::string>{"readme.txt"});
  EXPECT_EQ(get("abcdef", "1"), nullptr);
}

TEST_F(DepotDirectory, MayHoldFilesThatAreNoTocs) {
  const std::string whole = tocOf("3").bytes();
  std::string bytes(5000, ' ');
  std::mt19937 random(23);
  for (char &c : bytes) {
    c = static_cast<char>(random());
  }
  const std::vector<std::pair<std::string, std::function<void(const std::string &)>>> strangers{
      {"empty", [](auto &path) { test::writeFile(path, ""); }},
      {"one NUL", [](auto &path) { test::writeFile(path, {'\0'}); }},
      {"truncated", [&](auto &path) { test::writeFile(path, whole.substr(0, 30)); }},
      {"no version", [](auto &path) { test::writeFile(path, "<<id>a</id>>"); }},
      {"random", [&](auto &path) { test::writeFile(path, bytes); }},
      {"long number",
       [&](auto &path) { test::writeFile(path, with(whole, "<state>1", "<state>" + whole)); }},
      {"huge and empty", [](auto &path) { makeSparse(path, ""); }},
      {"huge", [&](auto &path) { makeSparse(path, whole); }},
      {"FIFO", [](auto &path) { EXPECT_EQ(mkfifo(path.c_str(), 0600), 0); }},
      {"device", [](auto &path) { fs::create_symlink("/dev/null", path); }},
  };
  putToc(tocName, tocOf("1"));
  for (const auto &[what, make] : strangers) {
    make(path("00000092.1.xml"));
    make(path("00000092.strange.xml"));
    expectFound("1", what);
    EXPECT_EQ(get("2"), nullptr) << what;
    EXPECT_EQ(log.upTo(2), Lines{}) << what;
    fs::remove(path("00000092.1.xml"));
    fs::remove(path("00000092.strange.xml"));
  }
}

TEST_F(DepotDirectory, MayHoldHugeFilesThatBeginWithAToc) {
  makeSparse(tocPath, tocOf("1").bytes());
  DepotEntry *entry = get("1");
  ASSERT_NE(entry, nullptr);
  Toc changed = tocOf("1");
  changed.state = "7";
  writeOver(tocPath, changed.bytes());
  EXPECT_EQ(get("1"), entry);
  EXPECT_EQ(entry->state, 7);
}

TEST_F(DepotDirectory, MayHoldAnythingInItsFiles) {
  const std::string whole = tocOf("1").bytes();
  std::mt19937 random(24);
  for (int i = 0; i < 300; ++i) {
    std::string text;
    while (random() % 30 != 0) {
      text += whole.substr(random() % whole.size(), random() % 60);
    }
    test::writeFile(path("00000092." + std::to_string(i) + ".xml"), text);
  }
  putToc("00000092.300.xml", tocOf("2"));
  expectFound("2", "among others");
  EXPECT_EQ(get("3"), nullptr);
  EXPECT_EQ(log.upTo(2), Lines{});
}

TEST_F(DepotDirectory, MayHoldAnyPair) {
  const std::vector<std::string> texts{"",   "%s%n%1$s",  "a/../b\\c",    "line\nbreak\t",
                                       "<>", "a<b>c</b>", "\x01\x80\xff", std::string(65536, 'l')};
  int index = 0;
  for (const std::string &id : texts) {
    for (const std::string &version : texts) {
      const std::string name = test::bucketOf(id, version) + "." + std::to_string(index++) + ".xml";
      putToc(name, tocOf(version, id));
      DepotEntry *entry = get(version, id);
      ASSERT_NE(entry, nullptr) << name;
      EXPECT_EQ(entry->id, id);
      EXPECT_EQ(entry->version, version);
      EXPECT_EQ(entry->toc_path, path(name));
      EXPECT_EQ(get(version, id), entry);
    }
  }
  EXPECT_EQ(log.upTo(2), Lines{});
}

TEST_F(DepotDirectory, MayHoldAFileThatMayNotBeRead) {
  putToc(tocName, tocOf("1"));
  ASSERT_EQ(chmod(tocPath, 0), 0);
  EXPECT_EQ(get("1") != nullptr, geteuid() == 0);
  EXPECT_EQ(log.upTo(2).size(), geteuid() == 0 ? 0U : 1U);
}

TEST_F(DepotDirectory, IsReadUpToAFileThatCannotBeRead) {
  for (char version = 'A'; version <= 'P'; ++version) {
    putToc("00000092." + std::to_string(version - 'A') + ".xml", tocOf({version}));
  }
  fs::create_symlink("nothing", "depot/00000092.bad.xml");
  std::vector<fs::directory_entry> files(fs::directory_iterator("depot"), {});
  bool isBefore = true;
  for (const auto &file : files) {
    if (file.is_symlink()) {
      isBefore = false;
      continue;
    }
    log.clear();
    const DepotEntry *entry = get(readToc(file.path()).version);
    EXPECT_EQ(entry != nullptr, isBefore) << file.path();
    EXPECT_EQ(log.upTo(2).size(), isBefore ? 0U : 1U);
  }
}

TEST_F(DepotDirectory, MayBeReachedByALongPathOrOneWithBackslashes) {
  std::string deep = "deep";
  for (int i = 0; i < 8; ++i) {
    deep += "/" + std::string(200, 'd');
  }
  fs::create_directories(deep);
  fs::create_directories("back/slash");
  for (const auto &[path, local] :
       {std::pair<std::string, std::string>{deep, deep}, {"back\\slash", "back/slash"}}) {
    test::writeFile(local + "/" + tocName, tocOf("1").bytes());
    ASSERT_EQ(DepotSetDir(depot, path.c_str()), ok);
    DepotEntry *entry = get("1");
    ASSERT_NE(entry, nullptr) << path;
    EXPECT_EQ(entry->toc_path, local + "/" + tocName);
    EXPECT_EQ(get("1"), entry);
    EXPECT_EQ(DepotFreeEntry(depot, entry), ok);
  }
}

// Each way changes the file of version 1 into one of version 2, of the same size.
TEST_F(DepotDirectory, IsLookedAtAsItIsHoweverOthersChangeAFile) {
  const std::string changed = tocOf("2").bytes();
  int held = -1;
  const auto replace = [&] {
    test::writeFile("new", changed);
    fs::rename("new", tocPath);
  };
  struct Way {
    std::string what;
    std::function<void()> prepare;
    std::function<void()> change;
  };
  const auto nothing = [] {};
  const std::vector<Way> ways{
      {"rewritten", nothing, [&] { test::writeFile(tocPath, changed); }},
      {"written over", nothing, [&] { writeOver(tocPath, changed); }},
      {"written over by a file that stays open", [&] { held = open(tocPath, O_WRONLY); },
       [&] { writeOver(held, changed); }},
      {"renamed over", nothing, replace},
      {"removed and made again", nothing,
       [&] {
         fs::remove(tocPath);
         test::writeFile(tocPath, changed);
       }},
      {"written over by another name", [] { fs::create_hard_link(tocPath, "name"); },
       [&] { writeOver("name", changed); }},
      {"written over where a link leads",
       [] {
         fs::rename(tocPath, "name");
         fs::create_symlink("../name", tocPath);
       },
       [&] { writeOver("name", changed); }},
      {"a link that leads elsewhere",
       [&] {
         test::writeFile("name", changed);
         fs::rename(tocPath, "old");
         fs::create_symlink("../old", tocPath);
       },
       [] {
         fs::remove(tocPath);
         fs::create_symlink("../name", tocPath);
       }},
      {"written over with its time put back", nothing,
       [&] {
         const auto time = fs::last_write_time(tocPath);
         writeOver(tocPath, changed);
         fs::last_write_time(tocPath, time);
       }},
  };
  for (const Way &way : ways) {
    for (const bool staysLoaded : {false, true}) {
      putToc(tocName, tocOf("1"));
      way.prepare();
      EXPECT_EQ(get("2"), nullptr) << way.what;
      expectFound("1", way.what);
      if (staysLoaded) {
        EXPECT_NE(get("1"), nullptr);
      }
      way.change();
      expectFound("2", way.what);
      EXPECT_EQ(get("1"), nullptr) << way.what;
      EXPECT_TRUE(loaded().empty());
      for (const char *name : {tocPath, "name", "old"}) {
        fs::remove(name);
      }
      EXPECT_EQ(get("2"), nullptr) << "removed";
      close(std::exchange(held, -1));
    }
  }
}

TEST_F(DepotDirectory, IsLookedAtAsItIsHoweverOthersExchangeIt) {
  struct Way {
    std::string path;
    std::function<void(const std::string &)> put;
    std::function<void(const std::string &)> putBack;
  };
  const std::vector<Way> ways{
      {"itself", [](auto &side) { fs::rename(side + "/depot", "itself"); },
       [](auto &side) { fs::rename("itself", side + "/depot"); }},
      {"parent/depot", [](auto &side) { fs::rename(side, "parent"); },
       [](auto &side) { fs::rename("parent", side); }},
      {"link", [](auto &side) { fs::create_symlink(side + "/depot", "link"); },
       [](auto &) { fs::remove("link"); }},
      {"depot", [](auto &side) { fs::current_path(side); }, [](auto &) { fs::current_path(".."); }},
  };
  for (const char *side : {"1", "2"}) {
    fs::create_directories(std::string(side) + "/depot");
    test::writeFile(std::string(side) + "/" + tocPath, tocOf(side).bytes());
  }
  for (const Way &way : ways) {
    way.put("1");
    ASSERT_EQ(DepotSetDir(depot, way.path.c_str()), ok);
    way.putBack("1");
    for (const std::string side : {"1", "2", "1"}) {
      way.put(side);
      expectFound(side, way.path);
      EXPECT_EQ(get(side == "1" ? "2" : "1"), nullptr) << way.path;
      way.putBack(side);
    }
  }
}

TEST_F(DepotDirectory, HasEachOfItsFilesClosedAgain) {
  putToc(tocName, tocOf("1"));
  size_t open = 0;
  for (int round = 0; round < 3; ++round) {
    open = openFiles();
    DepotEntry *entry = get("1");
    EXPECT_EQ(get("1"), entry);
    EXPECT_EQ(get("2"), nullptr);
    EXPECT_EQ(mkfifo("depot/00000092.fifo.xml", 0600), 0);
    EXPECT_EQ(get("2"), nullptr);
    fs::create_directory("depot/00000092.bad.xml");
    EXPECT_EQ(get("2"), nullptr);
    EXPECT_EQ(DepotFreeEntry(depot, entry), ok);
    fs::remove("depot/00000092.bad.xml");
    fs::remove("depot/00000092.fifo.xml");
  }
  EXPECT_EQ(openFiles(), open) << "in the last round";
}
