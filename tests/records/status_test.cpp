// Status files: where they are, what is in them, and what they are called when a distribution is
// done.
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/records.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "records/status.h"
#include "support/exceptions.h"
#include "support/heap.h"
#include "support/log.h"

using test::encodingOf;
using test::expectNothingLost;
using test::failureOf;
using test::List;
using test::Names;
using test::namesIn;
using test::newStatus;
using test::readFile;
using test::StatusPtr;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

class Mask {
public:
  explicit Mask(mode_t mask) : before_(umask(mask)) {}
  ~Mask() { umask(before_); }
  Mask(const Mask &) = delete;
  Mask &operator=(const Mask &) = delete;

private:
  mode_t before_;
};

mode_t modeOf(const std::string &path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

// What a list is in a file of its own.
std::string savedAlone(const Properties &list) {
  const test::TemporaryDirectory directory;
  const std::string path = directory / "list";
  EXPECT_FALSE(test::thrown([&] { properties_save_without_len(&list, path.c_str()); }));
  return readFile(path);
}

Properties listWithId(const char *id) {
  return test::listOf<Properties>(
      {test::propertyOf("msid", test::anyOf(TC_string, mg_strdup(id)))});
}

class StatusDirectory : public test::StatusTest {};
class StatusRecord : public test::StatusTest {};

class StatusFile : public test::StatusTest {
protected:
  // Saves without an exception.
  static void save(Mstat *status) {
    const auto failure = failureOf([&] { EXPECT_EQ(mstat_save(status), 0); });
    EXPECT_FALSE(failure) << *failure;
  }
  static void load(Mstat *status) {
    const auto failure = failureOf([&] { EXPECT_EQ(mstat_load(status), 0); });
    EXPECT_FALSE(failure) << *failure;
  }

  const StatusPtr status = newStatus("d1");
  Properties *const list = mstat_get_properties(status.get());
  const std::string path = pathOf("d1.mds");
};

class DoneStatus : public StatusFile {};
class DistributionFileName : public testing::Test {};

} // namespace

TEST_F(StatusDirectory, IsMadeInTheWorkDirectory) {
  const Mask mask(0);
  const StatusPtr status = newStatus("d1");
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status->directory, statusDirectory);
  EXPECT_TRUE(fs::is_directory(statusDirectory));
  EXPECT_EQ(modeOf(statusDirectory), 0775U);
  EXPECT_EQ(namesIn(statusDirectory), Names{}) << "a file comes with the first save";
}

TEST_F(StatusDirectory, IsMadeAsTheMaskOfTheProcessHasIt) {
  const Mask mask(027);
  const StatusPtr status = newStatus("d1");
  EXPECT_EQ(modeOf(statusDirectory), 0750U);
}

TEST_F(StatusDirectory, StaysAsItIs) {
  ASSERT_EQ(mkdir(statusDirectory.c_str(), 0700), 0);
  writeFile(pathOf("other"), "text");
  for (int i = 0; i < 2; ++i) {
    const StatusPtr status = newStatus("d1");
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(modeOf(statusDirectory), 0700U);
    EXPECT_EQ(namesIn(statusDirectory), Names{"other"});
  }
}

TEST_F(StatusDirectory, MayBeALink) {
  ASSERT_EQ(mkdir((directory / "elsewhere").c_str(), 0700), 0);
  fs::create_symlink("elsewhere", statusDirectory);
  const StatusPtr status = newStatus("d1");
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status->directory, statusDirectory);
  EXPECT_EQ(mstat_save(status.get()), 0);
  EXPECT_EQ(namesIn(directory / "elsewhere"), Names{"d1.mds"});
}

TEST_F(StatusDirectory, HasANormalPath) {
  workDirectory.set(("/." + directory.path() + "//./").c_str());
  const StatusPtr status = newStatus("d1");
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status->directory, statusDirectory);
}

TEST_F(StatusDirectory, IsInTheTemporaryDirectoryWhereThereIsNoWorkDirectory) {
  workDirectory.set(nullptr);
  const test::Variable temporary("TMPDIR", directory.path().c_str());
  const Mask mask(0);
  const StatusPtr status = newStatus("d1");
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status->directory, statusDirectory);
  EXPECT_EQ(modeOf(statusDirectory), 0775U);
}

// What comes of it shows with the first save.
TEST_F(StatusDirectory, MayBeImpossibleToMake) {
  workDirectory.set((directory / "missing").c_str());
  const StatusPtr status = newStatus("d1");
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(failureOf([&] { mstat_save(status.get()); }),
            test::cannotCreate(directory / "missing/mstat/d1.mds", ENOENT));
  EXPECT_EQ(failureOf([&] { mstat_load(status.get()); }),
            test::cannotOpen(directory / "missing/mstat/d1.mds"));
}

TEST_F(StatusDirectory, MayHaveAFileInItsPlace) {
  writeFile(statusDirectory, "text");
  const StatusPtr status = newStatus("d1");
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(failureOf([&] { mstat_save(status.get()); }),
            test::cannotCreate(pathOf("d1.mds"), ENOTDIR));
  EXPECT_EQ(readFile(statusDirectory), "text");
}

TEST_F(StatusDirectory, MayHaveALinkToNothingInItsPlace) {
  fs::create_symlink("nothing", statusDirectory);
  const StatusPtr status = newStatus("d1");
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(failureOf([&] { mstat_save(status.get()); }),
            test::cannotCreate(pathOf("d1.mds"), ENOENT));
  EXPECT_EQ(namesIn(directory.path()), Names{"mstat"});
}

TEST_F(StatusRecord, BeginsEmpty) {
  char id[] = "d1";
  const StatusPtr status(mstat_new(id, 0));
  ASSERT_NE(status, nullptr);
  id[0] = 'x';
  EXPECT_STREQ(status->distribution_id, "d1");
  EXPECT_STREQ(status->suffix, "mds");
  EXPECT_EQ(status->file_name, nullptr);
  ASSERT_NE(status->properties, nullptr);
  EXPECT_EQ(status->properties->length, 0U);
  EXPECT_EQ(mstat_get_properties(status.get()), status->properties);
}

TEST_F(StatusRecord, HasAnotherSuffixForTheOtherKind) {
  for (const int alternative : {1, 2, -1, 256, INT32_MIN}) {
    EXPECT_STREQ(newStatus("d1", alternative)->suffix, "ads") << alternative;
  }
}

TEST_F(StatusRecord, IsNotThereWithoutAnId) {
  EXPECT_FALSE(test::thrown([] { EXPECT_EQ(mstat_new(nullptr, 0), nullptr); }));
  expectNothingLost([] { mstat_new(nullptr, 0); });
}

TEST_F(StatusRecord, IsReleasedWithAllThatIsInIt) {
  mstat_free(nullptr);
  expectNothingLost([] { mstat_free(mstat_new("d1", 0)); });
  expectNothingLost([] {
    const StatusPtr status = newStatus("d1", 1);
    properties_put_string_dup(mstat_get_properties(status.get()), "text", "value");
    mstat_save(status.get());
    mstat_load(status.get());
    mstat_done(status.get());
    mstat_save(status.get());
  });
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.adf"}) << "the file stays";
}

TEST_F(StatusFile, HasTheIdOnlyWhereNothingElseWasPutIn) {
  save(status.get());
  EXPECT_EQ(status->file_name, path);
  ASSERT_EQ(list->length, 1U);
  EXPECT_STREQ(list->buffer[0].key, "msid");
  EXPECT_STREQ(properties_get_string(list, "msid"), "d1");
  EXPECT_EQ(readFile(path), encodingOf(List(listWithId("d1"))));
  EXPECT_EQ(readFile(path), savedAlone(*list));
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
}

TEST_F(StatusFile, HasTheOtherSuffixForTheOtherKind) {
  const StatusPtr other = newStatus("d1", 1);
  save(other.get());
  EXPECT_EQ(other->file_name, pathOf("d1.ads"));
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.ads"});
}

TEST_F(StatusFile, HoldsThePropertiesByteForByte) {
  const List deep(test::someProperties());
  properties_put_properties_dup(list, "deep", &deep);
  properties_put_string_dup(list, "err_msg", "a text");
  properties_put_boolean_dup(list, "err", 1);
  properties_put_long_dup(list, "n", -1);
  save(status.get());
  EXPECT_STREQ(list->buffer[list->length - 1].key, "msid") << "behind what was there";
  EXPECT_EQ(readFile(path), savedAlone(*list));

  properties_remove_and_destroy(list, "err_msg");
  save(status.get());
  EXPECT_EQ(readFile(path), savedAlone(*list)) << "a shorter one has no old end";
}

TEST_F(StatusFile, KeepsAnIdThatIsThere) {
  for (const char *id : {"another", ""}) {
    properties_put_string_dup(list, "msid", id);
    save(status.get());
    EXPECT_EQ(readFile(path), encodingOf(List(listWithId(id))));
  }
}

TEST_F(StatusFile, IsForItsOwnerOnlyAtFirst) {
  const Mask mask(0);
  save(status.get());
  EXPECT_EQ(modeOf(path), 0600U);
  save(status.get());
  EXPECT_EQ(modeOf(path), 0600U);
}

TEST_F(StatusFile, KeepsThePermissionsThatItWasGiven) {
  save(status.get());
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  properties_put_long_dup(list, "n", 1);
  save(status.get());
  EXPECT_EQ(readFile(path), encodingOf(*list));
  EXPECT_EQ(modeOf(path), 0644U);
}

TEST_F(StatusFile, KeepsTheOwnerThatItWasGiven) {
  save(status.get());
  const uid_t owner = geteuid() == 0 ? 65534 : geteuid();
  const gid_t group = geteuid() == 0 ? 65533 : getegid();
  ASSERT_EQ(chown(path.c_str(), owner, group), 0);
  properties_put_long_dup(list, "n", 1);
  save(status.get());
  EXPECT_EQ(readFile(path), encodingOf(*list));
  struct stat kept {};
  ASSERT_EQ(stat(path.c_str(), &kept), 0);
  EXPECT_EQ(kept.st_uid, owner);
  EXPECT_EQ(kept.st_gid, group);
}

TEST_F(StatusFile, CanHaveTheLongestName) {
  const StatusPtr longest = newStatus(std::string(255 - strlen(".mds"), 'x'));
  save(longest.get());
  save(longest.get());
  EXPECT_EQ(readFile(longest->file_name), encodingOf(*longest->properties));
  EXPECT_EQ(namesIn(statusDirectory).size(), 1U);
}

TEST_F(StatusFile, CanHaveTheLongestPath) {
  // Directories in one another, up to 1023 bytes with the file's name.
  std::string deep = directory.path();
  while (deep.size() < 700) {
    deep += '/' + std::string(200, 'd');
  }
  fs::create_directories(deep);
  workDirectory.set(deep.c_str());
  const size_t rest = 1023 - deep.size() - strlen("/mstat/.mds");
  const StatusPtr longest = newStatus(std::string(rest, 'x'));
  save(longest.get());
  EXPECT_EQ(strlen(longest->file_name), 1023U);
  EXPECT_EQ(readFile(longest->file_name), encodingOf(*longest->properties));
  load(longest.get());

  const StatusPtr tooLong = newStatus(std::string(rest + 1, 'x'));
  EXPECT_EQ(failureOf([&] { mstat_save(tooLong.get()); }), test::cannotAppend());
  EXPECT_EQ(failureOf([&] { mstat_load(tooLong.get()); }), test::cannotAppend());
  EXPECT_EQ(failureOf([&] { mstat_done(tooLong.get()); }), test::cannotAppend());
  EXPECT_EQ(tooLong->file_name, nullptr);
}

TEST_F(StatusFile, CannotHaveANameThatFitsNoPath) {
  const StatusPtr tooLong = newStatus(std::string(1024, 'x'));
  ASSERT_NE(tooLong, nullptr);
  EXPECT_EQ(failureOf([&] { mstat_save(tooLong.get()); }), test::cannotClone());
  EXPECT_EQ(failureOf([&] { mstat_load(tooLong.get()); }), test::cannotClone());
  EXPECT_EQ(failureOf([&] { mstat_done(tooLong.get()); }), test::cannotClone());
  expectNothingLost([&] { EXPECT_TRUE(test::thrown([&] { mstat_save(tooLong.get()); })); });
}

TEST_F(StatusFile, CanHaveAnEmptyId) {
  const StatusPtr empty = newStatus("");
  ASSERT_NE(empty, nullptr);
  save(empty.get());
  EXPECT_EQ(readFile(pathOf(".mds")), encodingOf(List(listWithId(""))));
}

TEST_F(StatusFile, IsLoadedByAnotherRecord) {
  properties_put_string_dup(list, "t_len", "1000\n");
  properties_put_boolean_dup(list, "err", 1);
  save(status.get());
  const StatusPtr other = newStatus("d1");
  load(other.get());
  EXPECT_EQ(other->file_name, path);
  EXPECT_EQ(encodingOf(*other->properties), encodingOf(*list));
}

TEST_F(StatusFile, TakesThePlaceOfWhatWasThereWhenLoaded) {
  save(status.get());
  properties_put_string_dup(list, "new", "value");
  properties_put_string_dup(list, "msid", "another");
  load(status.get());
  EXPECT_EQ(mstat_get_properties(status.get()), list) << "the record is the same";
  EXPECT_EQ(encodingOf(*list), encodingOf(List(listWithId("d1"))));
}

TEST_F(StatusFile, IsLoadedAsItIsNow) {
  save(status.get());
  const StatusPtr other = newStatus("d1");
  for (int32_t n = 0; n < 3; ++n) {
    properties_put_long_dup(mstat_get_properties(other.get()), "n", n);
    save(other.get());
    load(status.get());
    EXPECT_EQ(properties_get_long(list, "n"), n);
  }
}

TEST_F(StatusFile, LosesNothingWhereItIsLoadedAgain) {
  properties_put_string_dup(list, "text", "value");
  save(status.get());
  expectNothingLost([&] {
    mstat_load(status.get());
    mstat_load(status.get());
  });
}

TEST_F(StatusFile, LeavesThePropertiesWhereItCannotBeLoaded) {
  properties_put_string_dup(list, "text", "value");
  const std::string before = encodingOf(*list);
  const auto expectLeft = [&](const std::optional<test::Failure> &expected) {
    const auto failure = failureOf([&] { mstat_load(status.get()); });
    EXPECT_EQ(failure, expected);
    EXPECT_EQ(mstat_get_properties(status.get()), list);
    EXPECT_EQ(encodingOf(*list), before);
    expectNothingLost([&] { EXPECT_TRUE(test::thrown([&] { mstat_load(status.get()); })); });
  };
  const auto failureAlone = [&] {
    List alone;
    return failureOf([&] { properties_load_without_len(&alone, path.c_str()); });
  };

  expectLeft(test::cannotOpen(path));
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  expectLeft(test::cannotOpen(path));
  fs::remove(path);
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  expectLeft(failureAlone());
  fs::remove(path);
  writeFile(path, "");
  expectLeft(failureAlone());
  writeFile(path, before.substr(0, before.size() - 1));
  expectLeft(failureAlone());
}

TEST_F(DoneStatus, HasAnotherName) {
  save(status.get());
  const std::string content = readFile(path);
  mstat_done(status.get());
  EXPECT_EQ(status->file_name, pathOf("d1.mdf"));
  EXPECT_STREQ(status->suffix, "mdf");
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mdf"});
  EXPECT_EQ(readFile(pathOf("d1.mdf")), content);
}

TEST_F(DoneStatus, HasAnotherNameAlsoOfTheOtherKind) {
  const StatusPtr other = newStatus("d1", 1);
  save(other.get());
  mstat_done(other.get());
  EXPECT_EQ(other->file_name, pathOf("d1.adf"));
  EXPECT_STREQ(other->suffix, "adf");
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.adf"});
}

TEST_F(DoneStatus, KeepsItsNameFromThenOn) {
  save(status.get());
  mstat_done(status.get());
  mstat_done(status.get());
  EXPECT_STREQ(status->suffix, "mdf");
  properties_put_long_dup(list, "n", 1);
  save(status.get());
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mdf"});
  EXPECT_EQ(readFile(pathOf("d1.mdf")), encodingOf(*list));
  properties_put_long_dup(list, "n", 2);
  load(status.get());
  EXPECT_EQ(properties_get_long(list, "n"), 1);
}

TEST_F(DoneStatus, IsFoundByItsFileNameEvenIfNothingWasSavedBefore) {
  mstat_done(status.get());
  EXPECT_EQ(status->file_name, pathOf("d1.mdf"));
  EXPECT_EQ(namesIn(statusDirectory), Names{});
  save(status.get());
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mdf"});
}

TEST_F(DoneStatus, IsThatOfAFileSavedByAnotherRecord) {
  save(status.get());
  const StatusPtr other = newStatus("d1");
  mstat_done(other.get());
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mdf"});
}

TEST_F(DoneStatus, TakesThePlaceOfAnEarlierOne) {
  writeFile(pathOf("d1.mdf"), "earlier");
  save(status.get());
  mstat_done(status.get());
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mdf"});
  EXPECT_EQ(readFile(pathOf("d1.mdf")), encodingOf(*list));
}

TEST_F(DoneStatus, CannotBeToldWhereTheSuffixTurnsUpEarlier) {
  struct Row {
    const char *id;
    int alternative;
    const char *name;
    const char *suffix;
  };
  for (const Row &row : {Row{"mds", 0, "mds.mds", "mds"}, Row{"a.mds.b", 0, "a.mds.b.mds", "mds"},
                         Row{"loads", 1, "loads.ads", "ads"}, Row{"mds1", 1, "mds1.adf", "adf"},
                         Row{"loads", 0, "loads.mdf", "mdf"}}) {
    const StatusPtr record = newStatus(row.id, row.alternative);
    save(record.get());
    mstat_done(record.get());
    EXPECT_EQ(record->file_name, pathOf(row.name)) << row.id;
    EXPECT_STREQ(record->suffix, row.suffix) << row.id;
    EXPECT_EQ(namesIn(statusDirectory), Names{row.name}) << row.id;
    fs::remove(pathOf(row.name));
  }
}

TEST_F(DoneStatus, CannotBeToldWhereTheSuffixIsNotInTheName) {
  save(status.get());
  memcpy(status->suffix, "xyz", sizeof status->suffix);
  const test::Log log;
  mstat_done(status.get());
  EXPECT_EQ(log.lines(), (test::Lines{{1, "Error: Invalid pathname " + path}}));
  EXPECT_EQ(status->file_name, path);
  EXPECT_STREQ(status->suffix, "xyz");
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
  expectNothingLost([&] {
    const test::Log quiet;
    mstat_done(status.get());
  });
}

TEST_F(DistributionFileName, IsTheId) {
  for (const char *id : {"d1", "", "a/b", "with a blank.and.dots"}) {
    char *name = distid_get_filename(id);
    EXPECT_STREQ(name, id);
    EXPECT_NE(name, id);
    pathname_delete(name);
  }
  const std::string longest(1023, 'x');
  char *name = distid_get_filename(longest.c_str());
  EXPECT_EQ(name, longest);
  pathname_delete(name);
  const std::string tooLong = longest + 'x';
  EXPECT_EQ(failureOf([&] { distid_get_filename(tooLong.c_str()); }), test::cannotClone());
  EXPECT_EQ(failureOf([] { distid_get_filename(nullptr); }), test::cannotClone());
}

TEST_F(DistributionFileName, HasRoomForAPathName) {
  char *name = distid_get_filename("/a");
  EXPECT_EQ(pathname_append(name, std::string(1020, 'x').c_str()), name);
  pathname_delete(name);
}

TEST_F(DistributionFileName, IsTheOnlyOne) { EXPECT_EQ(distid_get_next_filename(), nullptr); }

TEST_F(DistributionFileName, StandsInADirectoryWithASuffix) {
  struct Row {
    const char *directory, *id, *suffix, *path;
  };
  for (const Row &row :
       {Row{"/a/b", "d1", "mds", "/a/b/d1.mds"}, Row{"/a/b/", "d1", "mds", "/a/b/d1.mds"},
        Row{"a", "d", "", "a/d."}, Row{"", "d", "long suffix", "/d.long suffix"},
        Row{"a", "", "mds", "a/.mds"}, Row{"a", "b/c.d", "e", "a/b/c.d.e"}}) {
    char *path = find_dist_fname(row.directory, row.id, row.suffix);
    EXPECT_STREQ(path, row.path);
    pathname_delete(path);
  }
}

TEST_F(DistributionFileName, IsRefusedWhereItDoesNotFit) {
  const std::string rest(1023 - strlen("/a/.mds"), 'x');
  char *path = find_dist_fname("/a", rest.c_str(), "mds");
  EXPECT_EQ(path, "/a/" + rest + ".mds");
  pathname_delete(path);
  const std::string longer = rest + 'x';
  const std::string tooLong(1024, 'x');
  const auto failure = [](const std::string &directory, const char *id, const std::string &suffix) {
    return failureOf([&] { find_dist_fname(directory.c_str(), id, suffix.c_str()); });
  };
  EXPECT_EQ(failure("/a", longer.c_str(), "mds"), test::cannotAppend());
  EXPECT_EQ(failure("/a", rest.c_str(), "mdsx"), test::cannotAppend());
  EXPECT_EQ(failure("/a", "d", tooLong), test::cannotAppend());
  EXPECT_EQ(failure("/a", tooLong.c_str(), "mds"), test::cannotClone());
  EXPECT_EQ(failure("/a", nullptr, "mds"), test::cannotClone());
  EXPECT_TRUE(failure(tooLong, "d", "mds"));
  expectNothingLost([&] {
    EXPECT_TRUE(test::thrown([&] { find_dist_fname("/a", longer.c_str(), "mds"); }));
    EXPECT_TRUE(test::thrown([&] { find_dist_fname(tooLong.c_str(), "d", "mds"); }));
  });
}
