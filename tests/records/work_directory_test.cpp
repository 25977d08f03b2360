// Status files where the framework has an unusual work directory, or none: this program says which.
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/records.h>

#include "files/failure.h"
#include "records/status.h"
#include "support/exceptions.h"
#include "support/heap.h"

using test::encodingOf;
using test::expectNothingLost;
using test::Names;
using test::namesIn;
using test::newStatus;
using test::readFile;
using test::StatusPtr;

namespace {

std::optional<std::string> workDirectory;
std::optional<std::string> temporaryDirectory;

const char *textOf(const std::optional<std::string> &text) {
  return text ? text->c_str() : nullptr;
}

} // namespace

// In a program, these take the place of the runtime's.
extern "C" char *mrt_get_work_dir(void) { return mg_strdup(textOf(workDirectory)); }
extern "C" const char *cpl_tmpdir(void) { return textOf(temporaryDirectory); }

namespace {

namespace fs = std::filesystem;

class WorkDirectory : public test::DirectoryTest {
protected:
  WorkDirectory() {
    test::registerTypes();
    workDirectory = directory / "work";
    temporaryDirectory = directory / "temporary";
    fs::create_directory(*workDirectory);
    fs::create_directory(*temporaryDirectory);
  }

  // A directory of the test's, and what its path begins with.
  std::string made(const std::string &name) const {
    fs::create_directories(directory / name);
    return directory / name;
  }

  static void expectNoRecord() {
    EXPECT_FALSE(test::thrown([] { EXPECT_EQ(mstat_new("d1", 0), nullptr); }));
    expectNothingLost([] { mstat_new("d1", 0); });
  }
};

// A path of so many bytes, in its normal form.
std::string pathOfLength(const std::string &start, size_t length) {
  std::string path = start;
  while (path.size() + 202 < length) {
    path += '/' + std::string(200, 'd');
  }
  return path + '/' + std::string(length - path.size() - 1, 'd');
}

} // namespace

TEST_F(WorkDirectory, ComesFirst) {
  const StatusPtr status = newStatus("d1");
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status->directory, *workDirectory + "/mstat");
  EXPECT_EQ(namesIn(*temporaryDirectory), Names{});
}

TEST_F(WorkDirectory, IsTheTemporaryDirectoryWhereThereIsNone) {
  workDirectory.reset();
  const mode_t mask = umask(0);
  const StatusPtr status = newStatus("d1");
  umask(mask);
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status->directory, *temporaryDirectory + "/mstat");
  EXPECT_EQ(fs::status(status->directory).permissions(), fs::perms{0775});
  mstat_save(status.get());
  EXPECT_EQ(namesIn(*temporaryDirectory + "/mstat"), Names{"d1.mds"});
}

TEST_F(WorkDirectory, IsNowhereWhereThereIsNoTemporaryDirectoryEither) {
  workDirectory.reset();
  temporaryDirectory.reset();
  expectNoRecord();
}

TEST_F(WorkDirectory, IsReleasedWithTheRecord) {
  expectNothingLost([] { mstat_free(mstat_new("d1", 0)); });
  workDirectory.reset();
  expectNothingLost([] { mstat_free(mstat_new("d1", 0)); });
}

TEST_F(WorkDirectory, IsTakenInItsNormalForm) {
  const std::string normal = *workDirectory;
  workDirectory = "/./" + normal + "//./";
  EXPECT_EQ(newStatus("d1")->directory, normal + "/mstat");
}

// The first place counts where the suffix turns up, and that is not the end.
TEST_F(WorkDirectory, WithTheSuffixInItsPathKeepsNamesAsTheyAre) {
  for (const char *name : {"var/mds/work", "amdsb", "mds"}) {
    workDirectory = made(name);
    const StatusPtr status = newStatus("d1");
    const std::string path = *workDirectory + "/mstat/d1.mds";
    ASSERT_EQ(mstat_save(status.get()), 0);
    for (int i = 0; i < 2; ++i) {
      mstat_done(status.get());
      EXPECT_EQ(status->file_name, path);
      EXPECT_EQ(namesIn(status->directory), Names{"d1.mds"});
      EXPECT_EQ(std::string(status->suffix), "mds") << "what begins there, as far as it fits";
    }
    properties_put_long_dup(mstat_get_properties(status.get()), "n", 1);
    ASSERT_EQ(mstat_save(status.get()), 0);
    EXPECT_EQ(readFile(path), encodingOf(*mstat_get_properties(status.get())));
  }
}

TEST_F(WorkDirectory, WithTheSuffixOfTheOtherKindInItsPathMakesNoDifference) {
  workDirectory = made("ads/mdf/adf");
  const StatusPtr status = newStatus("d1");
  mstat_save(status.get());
  mstat_done(status.get());
  EXPECT_EQ(namesIn(*workDirectory + "/mstat"), Names{"d1.mdf"});
  EXPECT_STREQ(status->suffix, "mdf");
}

TEST_F(WorkDirectory, MayBeAsLongAsAPathNameWithTheStatusDirectory) {
  workDirectory = pathOfLength(directory.path(), 1023 - strlen("/mstat"));
  const StatusPtr status = newStatus("d1");
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status->directory, *workDirectory + "/mstat");
  EXPECT_EQ(test::failureOf([&] { mstat_save(status.get()); }), test::cannotAppend());
}

TEST_F(WorkDirectory, IsOfNoUseWhereItIsTooLong) {
  for (const size_t length : {1024 - strlen("/mstat"), size_t{1022}, size_t{1023}, size_t{1024},
                              size_t{1025}, size_t{5000}}) {
    SCOPED_TRACE(length);
    workDirectory = pathOfLength(directory.path(), length);
    expectNoRecord();
  }
}
