// The depot for C++.
#include <cerrno>
#include <climits>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include <sprig/sprig.hpp>

#include "support/depot.h"
#include "support/pal_error.h"

using namespace std::string_literals;
using sprig::DepotError;
using sprig::DepotFile;
using sprig::DepotWalk;
using sprig::Octets;

namespace {

namespace fs = std::filesystem;

constexpr int32_t inFuture = INT32_MAX;
constexpr size_t kilobyte = 1024;

// Which operation of the depot has failed, and how.
struct Failed {
  std::string operation = "none";
  PalError error{};

  bool operator==(const Failed &other) const {
    return operation == other.operation && error == other.error;
  }
};

std::ostream &operator<<(std::ostream &out, const Failed &failed) {
  return out << failed.operation << ' ' << failed.error;
}

Failed failureOf(const std::function<void()> &body) {
  try {
    body();
  } catch (const DepotError &error) {
    return {error.operation(), {error.code(), error.native_error(), error.location()}};
  }
  return {};
}

constexpr PalError missing{PAL_NOT_FOUND, 0, 0};
const Failed noSuchEntry{"DepotGetEntry", missing};

// An open depot, besides the one of the fixture it comes from.
class CppDepot : public test::DepotTest {
protected:
  CppDepot() { sprig_init(); }

  void fill(const std::string &id, const std::string &content) {
    ASSERT_TRUE(mine.add(id, "1"));
    mine.open_for_write(id, "1").write(content);
  }
  void complete(const std::string &id, int32_t deadline = 0) {
    fill(id, "data");
    mine.complete(id, "1", deadline);
  }
  // What is on disk, which another handle sees.
  std::optional<sprig::DepotEntry> onDisk(const std::string &id) {
    return sprig::Depot("depot").find(id, "1");
  }
  std::set<std::string> ids() {
    std::set<std::string> found;
    for (const sprig::DepotEntry &entry : mine.entries()) {
      found.insert(entry.id);
    }
    return found;
  }

  sprig::Depot mine{"depot"};
};

using CppDepotFile = CppDepot;
using CppDepotWalk = CppDepot;
using CppDepotSpace = CppDepot;
using CppDepotError = CppDepot;

} // namespace

TEST_F(CppDepot, MakesItsDirectory) {
  const sprig::Depot other("made");
  EXPECT_TRUE(fs::is_directory("made"));
  EXPECT_EQ(other.directory(), "made");
}

TEST_F(CppDepot, IsNotOpenedWithoutItsLockFiles) {
  fs::create_directories("elsewhere/depot.lk");
  fs::current_path("elsewhere");
  EXPECT_EQ(failureOf([] { sprig::Depot{"depot"}; }),
            (Failed{"DepotNew", test::failed(EISDIR, 3)}));
}

TEST_F(CppDepot, RefusesTextThatCWouldCut) {
  const std::string cut = "a\0b"s;
  EXPECT_THROW(sprig::Depot{cut}, std::invalid_argument);
  EXPECT_THROW(mine.find(cut, "1"), std::invalid_argument);
  EXPECT_THROW(mine.add("segment", cut), std::invalid_argument);
}

TEST_F(CppDepot, AddsAnEntryThatIsToBeFilled) {
  const auto added = mine.add("segment", "1");
  ASSERT_TRUE(added);
  EXPECT_EQ(added->id, "segment");
  EXPECT_EQ(added->version, "1");
  EXPECT_FALSE(added->is_complete());
  EXPECT_EQ(added->state, DEPOT_ENTRY_FILLING);
  EXPECT_EQ(added->registrations, 0);
  EXPECT_EQ(added->modify_time, 0);
  EXPECT_EQ(added->toc_path, path(stems(".xml").at(0) + ".xml"));
  EXPECT_EQ(added->data_path, path(stems(".dat").at(0) + ".dat"));
  EXPECT_TRUE(added->description().empty());
}

TEST_F(CppDepot, KeepsTheDescriptionOfASegment) {
  sprig::Segment segment("segment", "1");
  segment.set_size(7);
  segment.set_checksum({1, 2, 3});
  ASSERT_TRUE(mine.add(segment));
  const auto entry = onDisk("segment");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->description(), segment.description());
}

TEST_F(CppDepot, AddsNothingToAnEntryThatIsBeingFilled) {
  ASSERT_TRUE(mine.add("segment", "1"));
  EXPECT_FALSE(mine.add("segment", "1"));
}

TEST_F(CppDepot, GivesACompleteEntryInThePlaceOfANewOne) {
  complete("segment");
  const auto entry = mine.add("segment", "1");
  ASSERT_TRUE(entry);
  EXPECT_TRUE(entry->is_complete());
  EXPECT_EQ(entry->registrations, 1);
}

TEST_F(CppDepot, ThrowsWhereAnEntryCannotBeMade) {
  fs::remove("depot");
  test::writeFile("depot", "no directory");
  EXPECT_EQ(failureOf([&] { mine.add("segment", "1"); }), (Failed{"DepotAddEntry", missing}));
}

TEST_F(CppDepot, FindsWhatOthersHaveAdded) {
  EXPECT_FALSE(mine.find("segment", "1"));
  addComplete("segment", "1", 77);
  const auto entry = mine.find("segment", "1");
  ASSERT_TRUE(entry);
  EXPECT_TRUE(entry->is_complete());
  EXPECT_EQ(entry->deadline, 77);
}

TEST_F(CppDepot, GivesCopiesOfItsEntries) {
  complete("segment");
  const auto entry = mine.find("segment", "1");
  mine.remove("segment", "1", true);
  EXPECT_EQ(entry.value().id, "segment");
  EXPECT_FALSE(mine.find("segment", "1"));
}

TEST_F(CppDepot, TakesASegmentInParts) {
  ASSERT_TRUE(mine.add("segment", "1"));
  {
    DepotFile file = mine.open_for_write("segment", "1", true);
    file.write("first ");
    file.close();
  }
  sprig::Depot later("depot");
  const uint64_t offset = later.resume_offset(later.find("segment", "1").value());
  EXPECT_EQ(offset, 6U);
  DepotFile file = later.open_for_write("segment", "1");
  file.seek(offset);
  file.write("second");
  file.close();
  later.complete("segment", "1", 0);
  EXPECT_EQ(test::readFile(later.find("segment", "1").value().data_path), "first second");
}

TEST_F(CppDepot, ResumesNothingThatWasOpenedMeanwhile) {
  fill("segment", "data");
  sprig::DepotEntry known = mine.find("segment", "1").value();
  EXPECT_EQ(mine.resume_offset(known), 4U);
  known.modify_time = 0; // as it was before the data were opened
  EXPECT_EQ(mine.resume_offset(known), 0U);
}

TEST_F(CppDepot, TellsTheSizeOfData) {
  fill("segment", "data");
  EXPECT_EQ(mine.data_size("segment", "1"), 4U);
  EXPECT_EQ(mine.find("segment", "1").value().size, 4U);
}

TEST_F(CppDepot, RegistersWhoCompletesAnEntry) {
  complete("segment", 50);
  mine.complete("segment", "1", 40);
  const auto entry = onDisk("segment");
  EXPECT_TRUE(entry.value().is_complete());
  EXPECT_EQ(entry->registrations, 2);
  EXPECT_EQ(entry->deadline, 50);
}

TEST_F(CppDepot, RegistersUsersOfCompleteEntriesOnly) {
  EXPECT_FALSE(mine.register_user("segment", "1", inFuture));
  ASSERT_TRUE(mine.add("segment", "1"));
  EXPECT_FALSE(mine.register_user("segment", "1", inFuture));
  EXPECT_FALSE(onDisk("segment").value().is_complete());
  mine.complete("segment", "1", 0);
  EXPECT_TRUE(mine.register_user("segment", "1", inFuture));
  EXPECT_EQ(onDisk("segment").value().registrations, 2);
  EXPECT_EQ(onDisk("segment").value().deadline, inFuture);
}

TEST_F(CppDepot, RemovesAnEntryWithItsLastRegistration) {
  complete("segment");
  mine.unregister_user("segment", "1");
  EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(CppDepot, KeepsRegisteredEntriesUnlessForced) {
  complete("segment");
  mine.remove("segment", "1");
  EXPECT_TRUE(mine.find("segment", "1"));
  mine.remove("segment", "1", true);
  EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(CppDepot, SetsStateAndChecksum) {
  ASSERT_TRUE(mine.add("segment", "1"));
  mine.set_state("segment", "1", 5);
  mine.set_checksum("segment", "1", -9);
  EXPECT_EQ(onDisk("segment").value().state, 5);
  EXPECT_EQ(onDisk("segment").value().checksum, -9);
}

TEST_F(CppDepot, PurgesEntriesWithoutRegistrations) {
  ASSERT_TRUE(mine.add("filling", "1"));
  complete("registered");
  mine.purge();
  EXPECT_EQ(ids(), std::set<std::string>{"registered"});
  mine.purge(true);
  EXPECT_EQ(ids(), std::set<std::string>());
}

TEST_F(CppDepot, PurgesExpiredEntries) {
  complete("expired", 1);
  complete("kept", inFuture);
  mine.purge_expired();
  EXPECT_EQ(ids(), std::set<std::string>{"kept"});
}

TEST_F(CppDepot, ThrowsForEntriesThatAreNotThere) {
  const std::function<void()> operations[] = {
      [&] { mine.open_for_write("none", "1"); },
      [&] { mine.open_for_read("none", "1"); },
      [&] { mine.data_size("none", "1"); },
      [&] { mine.set_state("none", "1", 1); },
      [&] { mine.set_checksum("none", "1", 1); },
      [&] { mine.complete("none", "1", 0); },
      [&] { mine.unregister_user("none", "1"); },
      [&] { mine.remove("none", "1"); },
      [&] { static_cast<void>(mine.reserve_for("none", "1", 1)); }};
  for (const auto &operation : operations) {
    EXPECT_EQ(failureOf(operation), noSuchEntry);
  }
  complete("gone");
  const sprig::DepotEntry gone = mine.find("gone", "1").value();
  mine.remove("gone", "1", true);
  EXPECT_EQ(failureOf([&] { mine.resume_offset(gone); }),
            (Failed{"DepotSetCheckpointOffset", missing}));
}

TEST_F(CppDepot, ThrowsWhereItsLockIsGone) {
  destroySemaphore("depot.lk");
  EXPECT_EQ(failureOf([&] { mine.purge(); }).operation, "DepotPurge");
  EXPECT_EQ(failureOf([&] { mine.purge(); }).error.palError, PAL_WAIT_TIMEOUT);
  EXPECT_FALSE(mine.find("segment", "1"));
}

TEST_F(CppDepot, IsReleasedByWhomItWasMovedTo) {
  sprig::Depot first("depot");
  const ::Depot *native = first.native();
  sprig::Depot second = std::move(first);
  EXPECT_EQ(second.native(), native);
  first = std::move(second);
  EXPECT_EQ(first.native(), native);
  EXPECT_FALSE(std::is_copy_constructible_v<sprig::Depot>);
}

TEST_F(CppDepotFile, ReadsWhatWasWritten) {
  fill("segment", "0123456789");
  DepotFile file = mine.open_for_read("segment", "1");
  EXPECT_EQ(file.size(), 10U);
  char bytes[20];
  file.seek(4);
  EXPECT_EQ(file.read(bytes, 3), 3U);
  EXPECT_EQ(std::string(bytes, 3), "456");
  EXPECT_EQ(file.read(bytes, sizeof bytes), 3U);
  EXPECT_EQ(file.read(bytes, sizeof bytes), 0U);
}

TEST_F(CppDepotFile, IsCutWhenItIsTruncated) {
  fill("segment", "data");
  EXPECT_EQ(mine.open_for_write("segment", "1").size(), 4U);
  EXPECT_EQ(mine.open_for_write("segment", "1", true).size(), 0U);
}

TEST_F(CppDepotFile, ThrowsWhatTheSystemRefuses) {
  fill("segment", "data");
  DepotFile file = mine.open_for_read("segment", "1");
  EXPECT_EQ(failureOf([&] { file.write("more"); }),
            (Failed{"PalFileWrite", test::failed(EBADF, 2)}));
  EXPECT_EQ(failureOf([&] { file.seek(UINT64_MAX); }),
            (Failed{"PalFileSetLocation", test::failed(EINVAL, 2)}));
}

TEST_F(CppDepotFile, CannotBeOpenedWithoutData) {
  fill("segment", "data");
  fs::remove(mine.find("segment", "1").value().data_path);
  const PalError gone = test::failed(ENOENT, 3);
  EXPECT_EQ(failureOf([&] { mine.open_for_read("segment", "1"); }),
            (Failed{"DepotFileOpenForRead", gone}));
  EXPECT_EQ(failureOf([&] { mine.open_for_write("segment", "1"); }),
            (Failed{"DepotFileOpenForWrite", gone}));
}

TEST_F(CppDepotFile, CannotBeUsedWhenItIsClosedOrMoved) {
  fill("segment", "data");
  DepotFile file = mine.open_for_read("segment", "1");
  DepotFile moved = std::move(file);
  char byte = 0;
  EXPECT_EQ(failureOf([&] { file.read(&byte, 1); }), // NOLINT(bugprone-use-after-move)
            (Failed{"PalFileRead", test::invalid(1)}));
  EXPECT_EQ(moved.read(&byte, 1), 1U);
  file = std::move(moved);
  file.close();
  EXPECT_EQ(failureOf([&] { file.close(); }), (Failed{"PalFileClose", test::invalid(1)}));
  EXPECT_EQ(failureOf([&] { file.size(); }), (Failed{"PalFileGetSize", test::invalid(1)}));
}

TEST_F(CppDepotFile, ReadsOnWhenItsEntryIsGone) {
  complete("segment");
  DepotFile file = mine.open_for_read("segment", "1");
  mine.remove("segment", "1", true);
  char bytes[4];
  EXPECT_EQ(file.read(bytes, sizeof bytes), 4U);
}

TEST_F(CppDepotWalk, MeetsEveryEntry) {
  EXPECT_EQ(ids(), std::set<std::string>());
  fill("filling", "");
  complete("first");
  complete("second");
  EXPECT_EQ(ids(), (std::set<std::string>{"filling", "first", "second"}));
}

TEST_F(CppDepotWalk, LeavesNoRecordsLoaded) {
  for (int i = 0; i < 10; ++i) {
    test::Toc toc;
    toc.id = "s" + std::to_string(i);
    putEntry(toc);
  }
  sprig::Depot owner("depot");
  int count = 0;
  for (auto walk = owner.entries(); const sprig::DepotEntry &entry : walk) {
    EXPECT_EQ(entry.id.substr(0, 1), "s");
    ++count;
  }
  EXPECT_EQ(count, 10);
  EXPECT_EQ(DepotFindEntryIndex(owner.native(), "s0", "1"), -1);
}

TEST_F(CppDepotWalk, MayRemoveWhatItMeets) {
  complete("first");
  complete("second");
  for (const sprig::DepotEntry &entry : mine.entries()) {
    mine.remove(entry.id, entry.version, true);
  }
  EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(CppDepotWalk, IsStoppedAndGoesOn) {
  complete("first");
  complete("second");
  DepotWalk walk = mine.entries();
  auto at = walk.begin();
  ASSERT_NE(at, walk.end());
  const std::string met = at->id;
  auto next = walk.begin();
  ASSERT_NE(next, walk.end());
  EXPECT_NE(next->id, met);
  next++;
  EXPECT_EQ(next, walk.end());
}

TEST_F(CppDepotWalk, IsNotBegunWithoutItsLockFile) {
  fs::create_directory("enum.lk");
  EXPECT_EQ(failureOf([&] { mine.entries(); }), (Failed{"DepotEnumNew", test::failed(EISDIR, 3)}));
}

TEST_F(CppDepotSpace, IsCountedWhereThereIsALimit) {
  sprig::Depot limited("depot", 100);
  EXPECT_EQ(limited.limit(), 100U);
  EXPECT_TRUE(limited.reserve(60));
  EXPECT_EQ(limited.available(), 40U);
  EXPECT_FALSE(limited.reserve(41));
  EXPECT_EQ(limited.available(), 40U);
  limited.unreserve(20);
  EXPECT_EQ(limited.available(), 60U);
}

TEST_F(CppDepotSpace, IsNotCountedWithoutALimit) {
  EXPECT_EQ(mine.limit(), 0U);
  EXPECT_TRUE(mine.reserve(UINT32_MAX));
  EXPECT_EQ(mine.available(), 0U);
}

TEST_F(CppDepotSpace, IsGivenBackWhereDataTakeLess) {
  sprig::Depot limited("depot", 100);
  ASSERT_TRUE(limited.add("segment", "1"));
  EXPECT_FALSE(limited.reserve_for("segment", "1", 100 * kilobyte + 1));
  EXPECT_TRUE(limited.reserve_for("segment", "1", 10 * kilobyte));
  EXPECT_EQ(limited.available(), 90U);
  limited.open_for_write("segment", "1").write(std::string(3 * kilobyte, 'x'));
  limited.adjust_reserved("segment", "1");
  EXPECT_EQ(limited.available(), 97U);
}

TEST_F(CppDepotSpace, AddsUpWhatDataTake) {
  EXPECT_EQ(mine.used(), 0U);
  fill("first", std::string(kilobyte, 'x'));
  fill("second", "x");
  EXPECT_EQ(mine.used(), 2U);
}

TEST_F(CppDepotSpace, ConvertsBytesAndRefusesTooMany) {
  EXPECT_EQ(sprig::Depot::kilobytes(0), 0U);
  EXPECT_EQ(sprig::Depot::kilobytes(1025), 2U);
  EXPECT_EQ(sprig::Depot::kilobytes(uint64_t{UINT32_MAX} * kilobyte), UINT32_MAX);
  EXPECT_THROW(sprig::Depot::kilobytes(uint64_t{UINT32_MAX} * kilobyte + 1), std::length_error);
}

TEST_F(CppDepotError, SaysWhatHasFailed) {
  EXPECT_STREQ(DepotError("DepotNew", test::failed(EISDIR, 3)).what(),
               "DepotNew: error -4(21) at 3: Is a directory");
  EXPECT_STREQ(DepotError("DepotGetEntry", missing).what(),
               "DepotGetEntry: error 2(0) at 0: no such entry");
  EXPECT_STREQ(DepotError("DepotSaveEntry", {PAL_OUT_OF_MEMORY, 0, 1}).what(),
               "DepotSaveEntry: error 12(0) at 1: out of memory");
  EXPECT_STREQ(DepotError("DepotPurge", {PAL_END_OF_LIST, 0, 4}).what(),
               "DepotPurge: error -6(0) at 4");
}

TEST_F(CppDepotError, IsCopiedWithoutFailing) {
  EXPECT_TRUE(std::is_nothrow_copy_constructible_v<DepotError>);
  EXPECT_TRUE((std::is_base_of_v<std::runtime_error, DepotError>));
}
