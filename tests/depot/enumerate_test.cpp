// Walks over the entries on disk.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "depot/operation.h"

using test::failed;
using test::Lines;
using test::lockFailed;
using test::LockLostInside;
using test::LostLock;
using test::Names;
using test::ok;
using test::Toc;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

const Lines nullReturned{{1, "DepotEntryEnumNextElement null returned by DepotEntryNewFromToc\n"}};

Lines cannotBe(const std::string &done, const std::string &path) {
  return {{1, "DepotEntryEnumNextElement error -4 " + done + " file " + path + "\n"}};
}

Toc tocOf(const std::string &id) {
  Toc toc;
  toc.id = id;
  return toc;
}

class DepotEnumeration : public test::OperationTest {
protected:
  ~DepotEnumeration() override {
    if (walk != nullptr) {
      EXPECT_EQ(DepotEntryEnumDelete(walk), ok);
    }
  }

  void begin() {
    ASSERT_EQ(DepotEnumNew(depot, &walk), ok);
    ASSERT_NE(walk, nullptr);
    log.clear();
  }
  PalError end() {
    log.clear();
    DepotEnum *ended = walk;
    const PalError result = DepotEntryEnumDelete(ended);
    walk = result.palError == PAL_OK ? nullptr : ended;
    return result;
  }
  DepotEntry *next() {
    log.clear();
    const int before = semaphore("enum.lk");
    DepotEntry *entry = DepotEntryEnumNextElement(walk);
    EXPECT_EQ(semaphore("enum.lk"), before) << "given back on every way out";
    return entry;
  }

  // The identifiers that a whole walk meets, in its order.
  Names walkThrough() {
    begin();
    Names ids;
    for (const DepotEntry *entry = next(); entry != nullptr; entry = next()) {
      ids.emplace_back(entry->id);
    }
    EXPECT_TRUE(isTraced("DepotEntryEnumNextElement"));
    return ids;
  }
  Names sortedWalk() {
    Names ids = walkThrough();
    std::sort(ids.begin(), ids.end());
    return ids;
  }

  DepotEnum *walk = nullptr;
};

} // namespace

TEST_F(DepotEnumeration, BeginsWithItsOwnLockAndDirectory) {
  ASSERT_EQ(DepotEnumNew(depot, &walk), ok);
  ASSERT_NE(walk, nullptr);
  EXPECT_EQ(walk->depot, depot);
  EXPECT_NE(walk->enumLock.handle, nullptr);
  EXPECT_NE(walk->dir.handle, nullptr);
  EXPECT_TRUE(fs::is_regular_file("enum.lk"));
  EXPECT_FALSE(fs::exists("depot/enum.lk"));
  EXPECT_TRUE(isTraced("DepotEnumNew"));
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotEnumeration, PostsItsLockOnceWithoutHavingWaited) {
  begin();
  EXPECT_EQ(semaphore("enum.lk"), 2);
  DepotEnum *second = nullptr;
  EXPECT_EQ(DepotEnumNew(depot, &second), ok);
  EXPECT_EQ(semaphore("enum.lk"), 3);
  EXPECT_EQ(DepotEntryEnumDelete(second), ok);
  EXPECT_EQ(semaphore("enum.lk"), 3) << "waits for it and gives it back";
}

TEST_F(DepotEnumeration, BeginsWhenItsLockCannotBePosted) {
  writeFile("enum.lk", "");
  const int set = semget(ftok("enum.lk", 1), 1, IPC_CREAT | 0600);
  ASSERT_EQ(semctl(set, 0, SETVAL, 32767), 0); // the most that there can be
  EXPECT_EQ(DepotEnumNew(depot, &walk), ok);
  EXPECT_NE(walk, nullptr);
  EXPECT_EQ(problems(), (Lines{{1, "DepotEnumNew error -2 releasing enum lock\n"}}));
  EXPECT_TRUE(isTraced("DepotEnumNew"));
}

TEST_F(DepotEnumeration, DoesNotBeginWithoutItsLockFile) {
  fs::create_directory("enum.lk");
  DepotEnum notAWalk{};
  walk = &notAWalk;
  EXPECT_EQ(DepotEnumNew(depot, &walk), failed(EISDIR, 3));
  EXPECT_EQ(walk, nullptr);
  EXPECT_EQ(problems(), (Lines{{0, "DepotEnumNew exit.  Error -4 creating semaphore path\n"}}));
  EXPECT_TRUE(isCutShort("DepotEnumNew"));
}

TEST_F(DepotEnumeration, DoesNotBeginWithoutItsDirectory) {
  fs::remove("depot");
  DepotEnum notAWalk{};
  walk = &notAWalk;
  EXPECT_EQ(DepotEnumNew(depot, &walk), failed(ENOENT, 2));
  EXPECT_EQ(walk, nullptr);
  EXPECT_EQ(problems(), Lines{});
  EXPECT_EQ(semaphore("enum.lk"), 1) << "not posted";
}

TEST_F(DepotEnumeration, NeedsAHandleAndAResult) {
  expectInvalid("DepotEnumNew", {[&] { return DepotEnumNew(nullptr, &walk); },
                                 [&] { return DepotEnumNew(depot, nullptr); }});
  EXPECT_EQ(walk, nullptr);
  expectInvalid("DepotEntryEnumDelete", {[] { return DepotEntryEnumDelete(nullptr); }});
  EXPECT_EQ(DepotEntryEnumNextElement(nullptr), nullptr);
  expectInvalidLogged("DepotEntryEnumNextElement");
}

TEST_F(DepotEnumeration, OfAnEmptyDepotEndsAtOnceAndForGood) {
  begin();
  for (int time = 0; time < 3; ++time) {
    EXPECT_EQ(next(), nullptr);
    EXPECT_TRUE(isTraced("DepotEntryEnumNextElement"));
    EXPECT_EQ(problems(), Lines{});
  }
}

TEST_F(DepotEnumeration, MakesARecordOfATocFile) {
  Toc toc;
  toc.id = "a";
  toc.version = "1.2";
  toc.referenceCount = "3";
  toc.state = "1";
  toc.checksum = "-5";
  toc.deadline = "77";
  toc.location = "/somewhere/else.dat";
  toc.properties = "AP8Q";
  putToc("any name.xml", toc);
  begin();
  DepotEntry *entry = next();
  ASSERT_NE(entry, nullptr);
  EXPECT_STREQ(entry->id, "a");
  EXPECT_STREQ(entry->version, "1.2");
  EXPECT_EQ(entry->reference_count, 3);
  EXPECT_EQ(entry->state, 1);
  EXPECT_EQ(entry->checksum, -5);
  EXPECT_EQ(entry->deadline, 77);
  EXPECT_STREQ(entry->location, "/somewhere/else.dat");
  EXPECT_EQ(entry->toc_path, path("any name.xml"));
  EXPECT_EQ(entry->properties_length, 3U);
  EXPECT_EQ(entry->size, 0U);
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{entry});
  EXPECT_TRUE(isTraced("DepotEntryEnumNextElement"));
  EXPECT_TRUE(hasInOrder({"DepotEntryNewFromToc entry", "DepotEntryNewFromToc exit"}));
  EXPECT_EQ(problems(), Lines{});
  EXPECT_EQ(next(), nullptr);
}

TEST_F(DepotEnumeration, MeetsEveryEntryOnceWhateverItsLength) {
  Names expected;
  for (const size_t length : {1U, 7000U, 20U, 70000U, 300U, 69999U}) {
    expected.emplace_back(length, 'i');
    putEntry(tocOf(expected.back()));
  }
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(sortedWalk(), expected);
  EXPECT_EQ(loaded().size(), expected.size());
}

TEST_F(DepotEnumeration, ReadsNamesThatEndInXmlBehindSomething) {
  const std::string longName = std::string(250, 'n') + ".xml";
  for (const std::string name : {"abcxml", ".xml", "xxml", " xml", "00000092.0.xml", "xml.xml",
                                 "a%n.xml", longName.c_str()}) {
    putToc(name, tocOf(name));
  }
  for (const std::string name : {"xml", "axmlx", "a.xml.tmp", "a.XML", "a.xm", "xm", "a.dat"}) {
    putToc(name, tocOf("not to be read"));
  }
  Names expected{"abcxml",         ".xml",    "xxml",    " xml",
                 "00000092.0.xml", "xml.xml", "a%n.xml", longName};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(sortedWalk(), expected);
  EXPECT_EQ(problems(), Lines{});
  for (const DepotEntry *entry : loaded()) {
    EXPECT_EQ(entry->toc_path, path(entry->id));
  }
}

TEST_F(DepotEnumeration, FollowsLinks) {
  writeFile("outside", tocOf("a").bytes());
  fs::create_symlink("../outside", "depot/link.xml");
  EXPECT_EQ(walkThrough(), Names{"a"});
  EXPECT_EQ(loaded()[0]->toc_path, path("link.xml"));
}

TEST_F(DepotEnumeration, ReadsNoFurtherThanTheFirstNul) {
  writeFile(path("a.xml"), tocOf("a").bytes() + tocOf("b").bytes());
  EXPECT_EQ(walkThrough(), Names{"a"});
}

TEST_F(DepotEnumeration, SkipsWhatIsNoTocFile) {
  const std::string whole = tocOf("bad").bytes();
  Toc number = tocOf("bad");
  number.deadline = std::string(16, '1');
  const std::vector<std::string> contents{
      "",
      std::string(1, '\0'),
      "<<id>bad</id>>",
      std::string(1000, '\xff'),
      '\0' + whole,
      whole.substr(0, whole.find("<properties>")),
      number.bytes(),
  };
  putEntry(tocOf("good"));
  for (const std::string &content : contents) {
    writeFile(path("bad.xml"), content);
    begin();
    DepotEntry *entry = DepotEntryEnumNextElement(walk);
    ASSERT_NE(entry, nullptr) << content;
    EXPECT_STREQ(entry->id, "good");
    EXPECT_EQ(DepotEntryEnumNextElement(walk), nullptr);
    EXPECT_EQ(problems(), nullReturned) << content;
    EXPECT_EQ(end(), ok);
  }
}

TEST_F(DepotEnumeration, DoesNotWaitForAPipe) {
  ASSERT_EQ(mkfifo("depot/pipe.xml", 0600), 0);
  putEntry(tocOf("good"));
  begin();
  EXPECT_NE(DepotEntryEnumNextElement(walk), nullptr);
  EXPECT_EQ(DepotEntryEnumNextElement(walk), nullptr);
  EXPECT_EQ(problems(), nullReturned);
}

TEST_F(DepotEnumeration, EndsAtAFileThatCannotBeOpened) {
  fs::create_symlink("nowhere", "depot/link.xml");
  EXPECT_EQ(walkThrough(), Names{});
  EXPECT_EQ(problems(), cannotBe("opening", path("link.xml")));
}

TEST_F(DepotEnumeration, EndsAtAFileThatCannotBeRead) {
  fs::create_directory("depot/directory.xml");
  EXPECT_EQ(walkThrough(), Names{});
  EXPECT_EQ(problems(), cannotBe("reading", path("directory.xml")));
}

TEST_F(DepotEnumeration, MeetsWhatStandsBeforeAnUnreadableFile) {
  for (int number = 0; number < 20; ++number) {
    const std::string name = std::to_string(number) + ".xml";
    putToc(name, tocOf(name));
    if (number == 10) {
      fs::create_directory("depot/directory.xml");
    }
  }
  Names expected;
  for (const auto &file : fs::directory_iterator("depot")) {
    if (file.is_directory()) {
      break;
    }
    expected.push_back(file.path().filename());
  }
  EXPECT_EQ(walkThrough(), expected);
  EXPECT_EQ(problems(), cannotBe("reading", path("directory.xml")));
}

TEST_F(DepotEnumeration, LoadsEverythingAgainEveryTime) {
  DepotEntry *added = add("a");
  for (const size_t times : {2U, 3U}) {
    begin();
    DepotEntry *again = next();
    ASSERT_NE(again, nullptr);
    EXPECT_NE(again, added);
    EXPECT_EQ(loaded().size(), times);
    EXPECT_EQ(loaded().front(), again);
    EXPECT_EQ(loaded().back(), added);
    EXPECT_EQ(DepotGetEntry(depot, "a", "1"), again) << "the newest";
    EXPECT_EQ(end(), ok);
  }
}

TEST_F(DepotEnumeration, OfTwoAtOnceGoTheirOwnWays) {
  putEntry(tocOf("a"));
  begin();
  DepotEnum *second = nullptr;
  ASSERT_EQ(DepotEnumNew(depot, &second), ok);
  EXPECT_NE(DepotEntryEnumNextElement(walk), nullptr);
  EXPECT_NE(DepotEntryEnumNextElement(second), nullptr);
  EXPECT_EQ(DepotEntryEnumNextElement(walk), nullptr);
  EXPECT_EQ(DepotEntryEnumNextElement(second), nullptr);
  EXPECT_EQ(DepotEntryEnumDelete(second), ok);
}

TEST_F(DepotEnumeration, GoesNoFurtherWithoutItsLock) {
  putEntry(tocOf("a"));
  begin();
  {
    const LostLock lost(walk->enumLock);
    EXPECT_EQ(next(), nullptr);
    EXPECT_EQ(problems(),
              (Lines{{0, "DepotEntryEnumNextElement exit.  Error -2(22) obtaining lock\n"}}));
    EXPECT_TRUE(isCutShort("DepotEntryEnumNextElement"));
  }
  EXPECT_NE(next(), nullptr) << "nothing was passed over";
}

TEST_F(DepotEnumeration, HandsOutARecordWhenItsLockCannotBeGivenBack) {
  putEntry(tocOf("a"));
  begin();
  const LockLostInside lost(walk->enumLock, "DepotEntryNewFromToc entry\n",
                            "DepotEntryEnumNextElement error -2 releasing lock\n");
  EXPECT_NE(DepotEntryEnumNextElement(walk), nullptr);
  EXPECT_TRUE(lost.isReported());
}

TEST_F(DepotEnumeration, EndsWithATrace) {
  begin();
  EXPECT_EQ(end(), ok);
  EXPECT_TRUE(isTraced("DepotEntryEnumDelete"));
  EXPECT_EQ(problems(), Lines{});
  EXPECT_EQ(semaphore("enum.lk"), 2);
}

TEST_F(DepotEnumeration, DoesNotEndWithoutItsLock) {
  putEntry(tocOf("a"));
  begin();
  {
    const LostLock lost(walk->enumLock);
    EXPECT_EQ(end(), lockFailed);
    EXPECT_EQ(problems(),
              (Lines{{0, "DepotEntryEnumDelete exit.  Error -2(22) obtaining lock\n"}}));
    EXPECT_TRUE(isCutShort("DepotEntryEnumDelete"));
  }
  EXPECT_NE(next(), nullptr) << "still a walk";
}

TEST_F(DepotEnumeration, EndsWhenItsDirectoryCannotBeClosed) {
  begin();
  EXPECT_EQ(PalDirClose(walk->dir), ok);
  EXPECT_EQ(PalDirOpen(&walk->dir, "nowhere"), failed(ENOENT, 2));
  EXPECT_EQ(end(), ok);
  EXPECT_EQ(problems(), (Lines{{1, "DepotEntryEnumDelete error -4 closing directory handle\n"}}));
  EXPECT_TRUE(isTraced("DepotEntryEnumDelete"));
}

TEST_F(DepotEnumeration, EndsWhenItsLockCannotBeGivenBack) {
  begin();
  EXPECT_EQ(PalDirClose(walk->dir), ok);
  EXPECT_EQ(PalDirOpen(&walk->dir, "nowhere"), failed(ENOENT, 2));
  const LockLostInside lost(walk->enumLock,
                            "DepotEntryEnumDelete error -4 closing directory handle\n",
                            "DepotEntryEnumDelete error -2 releasing lock\n");
  EXPECT_EQ(end(), ok);
  EXPECT_TRUE(lost.isReported());
}
