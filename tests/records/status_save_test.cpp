// Saving a status file over what is there: readers find the old one or the new one, a failure
// leaves the old one, and nothing is left beside it.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/records.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "records/status.h"
#include "support/exceptions.h"
#include "support/heap.h"
#include "support/process.h"

using test::encodingOf;
using test::Failure;
using test::failureOf;
using test::Names;
using test::namesIn;
using test::newStatus;
using test::openDescriptors;
using test::readFile;
using test::StatusPtr;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

// Files cannot grow beyond a size. What goes on writing gets an error, not a signal.
class FileSizeLimit {
public:
  explicit FileSizeLimit(rlim_t limit) : signal_(::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit lower{limit, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &lower);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    ::signal(SIGXFSZ, signal_);
  }
  FileSizeLimit(const FileSizeLimit &) = delete;
  FileSizeLimit &operator=(const FileSizeLimit &) = delete;

private:
  rlimit before_{};
  sighandler_t signal_;
};

// No further file can be opened.
class NoDescriptors {
public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit none{0, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  NoDescriptors(const NoDescriptors &) = delete;
  NoDescriptors &operator=(const NoDescriptors &) = delete;

private:
  rlimit before_{};
};

class StatusSave : public test::StatusTest {
protected:
  StatusSave() { properties_put_string_dup(list, "msid", "d1"); }

  std::optional<Failure> save() const {
    const long before = openDescriptors();
    auto failure = failureOf([&] { EXPECT_EQ(mstat_save(status.get()), 0); });
    EXPECT_EQ(openDescriptors(), before);
    return failure;
  }

  // A file that is there, and other properties to save.
  void saveOld() {
    EXPECT_EQ(save(), std::nullopt);
    old = readFile(path);
    properties_put_string_dup(list, "text", std::string(1000, 'x').c_str());
  }
  void expectOld() const {
    EXPECT_EQ(readFile(path), old);
    EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
  }
  void expectSaved() const {
    EXPECT_EQ(save(), std::nullopt);
    EXPECT_EQ(readFile(path), encodingOf(*list));
  }

  int32_t size() const { return static_cast<int32_t>(encodingOf(*list).size()); }

  const StatusPtr status = newStatus("d1");
  Properties *const list = mstat_get_properties(status.get());
  const std::string path = pathOf("d1.mds");
  std::string old;
};

class StatusSaveInPlace : public StatusSave {};

// A file that is there, and whose it is. Root gives it away; others save their own.
class StatusSaveForAnother : public StatusSave {
protected:
  void give(const std::string &file, gid_t group) const {
    ASSERT_EQ(chown(file.c_str(), owner, group), 0);
  }

  // Readers that have the old file keep it.
  void expectReplacedWhole() const {
    const struct stat before = statusOf(path);
    std::ifstream reader(path);
    expectSaved();
    std::stringstream seen;
    seen << reader.rdbuf();
    EXPECT_EQ(seen.str(), old);
    const struct stat now = statusOf(path);
    EXPECT_NE(now.st_ino, before.st_ino);
    EXPECT_EQ(now.st_uid, before.st_uid);
    EXPECT_EQ(now.st_gid, before.st_gid);
    EXPECT_EQ(now.st_mode, before.st_mode);
    EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
  }

  const bool isRoot = geteuid() == 0;
  const uid_t owner = isRoot ? 65534 : geteuid();
  const gid_t group = isRoot ? 65533 : getegid();
  const gid_t otherGroup = isRoot ? 65532 : getegid();

private:
  static struct stat statusOf(const std::string &file) {
    struct stat status {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    return status;
  }
};

// A status file that others write all the time, each of them one text and another of another size.
class BusyStatus : public test::StatusTest {
protected:
  static constexpr int often = 2000;

  int write(const std::string &name) const {
    const StatusPtr status = newStatus("d1");
    Properties *list = mstat_get_properties(status.get());
    for (int i = 0; i < often; ++i) {
      CHILD_EXPECT(!test::thrown([&] {
        properties_put_string_dup(list, "text", texts[i % 2].c_str());
        mstat_save(status.get());
      }));
    }
    writeFile(directory / name, "done");
    return 0;
  }

  // Starts so many writers, and looks at their file until they have ended.
  template <typename Look> void whileWritten(const Names &writers, const Look &look) const {
    ASSERT_FALSE(test::thrown([&] { mstat_save(first.get()); }));
    std::vector<std::unique_ptr<test::Child>> children;
    for (const std::string &name : writers) {
      children.push_back(std::make_unique<test::Child>([&] { return write(name); }));
    }
    EXPECT_TRUE(test::await([&] {
      look();
      return HasFailure() || std::all_of(writers.begin(), writers.end(), [&](const auto &name) {
               return fs::exists(directory / name);
             });
    }));
    for (const auto &child : children) {
      EXPECT_EQ(child->wait(), 0);
    }
    EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
  }

  void expectWhole(const Properties &list) const {
    const char *text = properties_get_string2(&list, "text", "");
    EXPECT_STREQ(properties_get_string2(&list, "msid", ""), "d1");
    EXPECT_TRUE(*text == '\0' || text == texts[0] || text == texts[1]);
  }

  void expectWholeContent() const {
    const std::string content = readFile(path);
    test::List list;
    const auto failure = failureOf([&] {
      properties_decode(TC_NEX_Sprig2_Properties, reinterpret_cast<const uint8_t *>(content.data()),
                        static_cast<uint32_t>(content.size()), &list);
    });
    ASSERT_FALSE(failure) << *failure;
    expectWhole(list);
    EXPECT_EQ(content, encodingOf(list));
  }

  const std::string texts[2] = {"small", std::string(100000, 'x')};
  const std::string path = pathOf("d1.mds");
  const StatusPtr first = newStatus("d1");
};

} // namespace

TEST_F(StatusSave, FailsWithADirectoryInTheWay) {
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  const Failure isDirectory = test::cannotCreate(path, EISDIR);
  EXPECT_EQ(save(), isDirectory);
  writeFile(path + "/file", "text");
  EXPECT_EQ(save(), isDirectory);
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
  EXPECT_EQ(namesIn(path), Names{"file"});
}

TEST_F(StatusSave, FailsWithoutItsDirectory) {
  fs::remove(statusDirectory);
  EXPECT_EQ(save(), test::cannotCreate(path, ENOENT));
}

TEST_F(StatusSave, FailsWithANameThatNoFileCanHave) {
  const std::string name(256 - strlen(".mds"), 'x');
  const StatusPtr tooLong = newStatus(name);
  EXPECT_EQ(failureOf([&] { mstat_save(tooLong.get()); }),
            test::cannotCreate(pathOf(name + ".mds"), ENAMETOOLONG));
}

TEST_F(StatusSave, LeavesTheOldFileWhereThereIsNoDescriptor) {
  saveOld();
  std::optional<Failure> failure;
  {
    const NoDescriptors none;
    failure = failureOf([&] { mstat_save(status.get()); });
  }
  EXPECT_EQ(failure, test::cannotCreate(path, EMFILE));
  expectOld();
  expectSaved();
}

TEST_F(StatusSave, LeavesTheOldFileWherePropertiesHaveNoEncoding) {
  saveOld();
  const Property none = test::propertyOf("none", any{TC_string, nullptr});
  seq_add(list, &none, sizeof none);
  const std::string elsewhere = directory / "elsewhere";
  const auto alone = failureOf([&] { properties_save_without_len(list, elsewhere.c_str()); });
  EXPECT_EQ(alone->id, 34);
  EXPECT_EQ(save(), alone);
  expectOld();
  properties_remove_and_destroy(list, "none");
  expectSaved();
}

TEST_F(StatusSave, LeavesTheOldFileWhereTheNewOneCannotBeWrittenToItsEnd) {
  saveOld();
  for (const rlim_t limit : {0, 1, 500}) {
    std::optional<Failure> failure;
    {
      const FileSizeLimit tooSmall(limit);
      failure = save();
    }
    EXPECT_EQ(failure, test::cannotWrite(path, size())) << limit;
    expectOld();
  }
  expectSaved();
}

TEST_F(StatusSave, LosesNothingWhereItFails) {
  saveOld();
  const auto expectNothingLostBySaving = [&] {
    test::expectNothingLost([&] { EXPECT_TRUE(test::thrown([&] { mstat_save(status.get()); })); });
  };
  {
    const FileSizeLimit tooSmall(10);
    expectNothingLostBySaving();
  }
  fs::remove(path);
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  expectNothingLostBySaving();
}

TEST_F(StatusSave, LosesNothingWhereItSucceeds) {
  test::expectNothingLost([&] { mstat_save(status.get()); });
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
}

TEST_F(StatusSaveInPlace, GoesThroughALink) {
  const std::string target = directory / "target";
  fs::create_symlink(target, path);
  expectSaved();
  EXPECT_EQ(readFile(target), encodingOf(*list)) << "one that is new";
  writeFile(target, std::string(5000, 'x'));
  expectSaved();
  EXPECT_EQ(readFile(target), encodingOf(*list)) << "one that was longer";
  EXPECT_EQ(fs::read_symlink(path), target);
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
}

TEST_F(StatusSaveInPlace, GoesToAFileOfSeveralNames) {
  saveOld();
  const std::string other = directory / "other";
  fs::create_hard_link(path, other);
  expectSaved();
  EXPECT_EQ(readFile(other), encodingOf(*list));
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
}

TEST_F(StatusSaveInPlace, FailsWithALinkToADirectory) {
  fs::create_symlink(directory.path(), path);
  EXPECT_EQ(save(), test::cannotCreate(path, EISDIR));
  EXPECT_TRUE(fs::is_symlink(path));
}

TEST_F(StatusSaveInPlace, FailsWithALinkToItself) {
  fs::create_symlink(path, path);
  EXPECT_EQ(save(), test::cannotCreate(path, ELOOP));
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
}

TEST_F(StatusSaveInPlace, GoesToADevice) {
  fs::create_symlink("/dev/null", path);
  EXPECT_EQ(save(), std::nullopt);
  EXPECT_EQ(fs::read_symlink(path), "/dev/null");
  EXPECT_TRUE(fs::is_character_file(path));
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
}

TEST_F(StatusSaveInPlace, FailsWithAFullDevice) {
  fs::create_symlink("/dev/full", path);
  EXPECT_EQ(save(), test::cannotWrite(path, size()));
  EXPECT_EQ(fs::read_symlink(path), "/dev/full");
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
}

TEST_F(StatusSaveInPlace, GoesToAPipe) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  EXPECT_EQ(save(), std::nullopt);
  std::string content(1000, '\0');
  const ssize_t count = read(reader, content.data(), content.size());
  close(reader);
  EXPECT_EQ(content.substr(0, count), encodingOf(*list));
  EXPECT_TRUE(fs::is_fifo(path));
}

TEST_F(StatusSaveForAnother, ReplacesTheFileWhole) {
  for (const mode_t mode : {0640, 0600, 0666}) {
    saveOld();
    give(path, group);
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    expectReplacedWhole();
  }
}

TEST_F(StatusSaveForAnother, ReplacesTheFileWholeInADirectoryThatGivesItsGroup) {
  for (const gid_t groupOfFile : {otherGroup, group, getegid()}) {
    saveOld();
    give(path, groupOfFile);
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    give(statusDirectory, group);
    ASSERT_EQ(chmod(statusDirectory.c_str(), S_ISGID | 0770), 0);
    expectReplacedWhole();
  }
}

TEST_F(BusyStatus, IsNeverSeenHalfWritten) {
  whileWritten({"writer"}, [&] { expectWholeContent(); });
}

TEST_F(BusyStatus, IsNeverSeenHalfWrittenBySeveralAtOnce) {
  whileWritten({"writer", "another"}, [&] { expectWholeContent(); });
}

TEST_F(BusyStatus, IsAlwaysLoadedWhole) {
  const StatusPtr reader = newStatus("d1");
  whileWritten({"writer"}, [&] {
    const auto failure = failureOf([&] { mstat_load(reader.get()); });
    ASSERT_FALSE(failure) << *failure;
    expectWhole(*mstat_get_properties(reader.get()));
  });
}
