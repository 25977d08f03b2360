#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/files.h>
#include <sprig/framework.h>

#include "files/failure.h"
#include "support/frames.h"
#include "support/temporary_directory.h"

using test::cannotClone;
using test::Failure;
using test::failureOf;
using test::stretched;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

Failure cannotCreateDirectory(const std::string &path) {
  return {10, "Cannot create the directory %1$s.\n", {path}};
}

long openDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{});
}

// All names in a directory but "." and "..", in the system's order.
Names namesIn(const std::string &path) {
  Names names;
  DIR *stream = opendir(path.c_str());
  while (const dirent *entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") {
      names.push_back(name);
    }
  }
  closedir(stream);
  return names;
}

class MadeDirectory : public test::DirectoryTest {
protected:
  void expectNotMade(const std::string &path) {
    EXPECT_EQ(failureOf([&] { dir_create_directory(path.c_str()); }), cannotCreateDirectory(path));
  }
};

class IsDirectory : public test::DirectoryTest {
protected:
  int isDirectory(const std::string &name) const {
    return dir_is_directory((directory / name).c_str());
  }
};

class DirectoryEntries : public test::DirectoryTest {
protected:
  DirectoryEntries() : dir(dir_new(directory.path().c_str())) {}
  ~DirectoryEntries() override {
    dir_entry_enum_delete(entries);
    dir_delete(dir);
  }

  void create(const Names &names) const {
    for (const std::string &name : names) {
      writeFile(directory / name, "");
    }
  }

  void begin(const char *pattern) {
    dir_entry_enum_delete(entries);
    entries = dir_entry_enum_new(dir, pattern);
    ASSERT_NE(entries, nullptr);
  }

  Names matching(const char *pattern) {
    Names names;
    begin(pattern);
    while (dir_entry_enum_has_more_elements(entries) == 1) {
      names.emplace_back(dir_entry_enum_next_element(entries));
    }
    return names;
  }

  Dir *dir;
  DirEntryEnum *entries = nullptr;
};

} // namespace

TEST(DirectoryRecord, HasAPathNameOfItsOwn) {
  std::string path = "/no/such/directory";
  Dir *dir = dir_new(path.c_str());
  EXPECT_EQ(dir_get_pathname(dir), dir->path);
  path[0] = 'x';
  EXPECT_STREQ(dir->path, "/no/such/directory");
  pathname_append(dir_get_pathname(dir), std::string(1004, 'a').c_str());
  EXPECT_EQ(dir_get_pathname(dir), "/no/such/directory/" + std::string(1004, 'a'));
  dir_delete(dir);
}

TEST(DirectoryRecord, IsNotMadeWithoutAPath) {
  EXPECT_EQ(failureOf([] { dir_new(nullptr); }), cannotClone());
}

TEST(DirectoryRecord, IsMadeOfAPathOfUpTo1023Bytes) {
  const std::string longest(1023, 'a');
  Dir *dir = dir_new(longest.c_str());
  EXPECT_EQ(dir->path, longest);
  dir_delete(dir);
  const std::string tooLong(1024, 'a');
  EXPECT_EQ(failureOf([&] { dir_new(tooLong.c_str()); }), cannotClone());
}

TEST(DirectoryRecord, IsDeletedOrNothing) { dir_delete(nullptr); }

TEST_F(MadeDirectory, IsForItsOwnerOnly) {
  const std::string path = directory / "new";
  const mode_t mask = umask(0);
  EXPECT_EQ(dir_create_directory(path.c_str()), 0);
  umask(mask);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_TRUE(S_ISDIR(status.st_mode));
  EXPECT_EQ(status.st_mode & 0777, 0700U);
}

TEST_F(MadeDirectory, ThrowsWithoutAPath) {
  EXPECT_EQ(failureOf([] { dir_create_directory(nullptr); }),
            (Failure{9, "Cannot create the directory because the path name is NULL.\n"}));
}

TEST_F(MadeDirectory, ThrowsWhereItExists) {
  expectNotMade(directory.path());
  writeFile(directory / "f", "content");
  expectNotMade(directory / "f");
  EXPECT_EQ(test::readFile(directory / "f"), "content");
}

TEST_F(MadeDirectory, ThrowsWhereItsParentIsMissingOrNoDirectory) {
  expectNotMade(directory / "missing/new");
  EXPECT_FALSE(fs::exists(directory / "missing")) << "one level only";
  writeFile(directory / "f", "");
  expectNotMade(directory / "f/new");
  fs::create_symlink("loop", directory / "loop");
  expectNotMade(directory / "loop/new");
  expectNotMade(directory / std::string(256, 'a'));
  expectNotMade("");
}

TEST_F(MadeDirectory, HasAPathOfUpTo1023Bytes) {
  expectNotMade(stretched(directory.path(), "new", 1024));
  EXPECT_TRUE(fs::is_empty(directory.path()));
  EXPECT_EQ(dir_create_directory(stretched(directory.path(), "new", 1023).c_str()), 0);
  EXPECT_TRUE(fs::is_directory(directory / "new"));
}

TEST_F(MadeDirectory, LeavesTheSystemsErrorNumber) {
  int nativeError = 0;
  const char *path = directory.path().c_str();
  test::inFrame([path] { dir_create_directory(path); },
                [&nativeError](EhFrame *frame) {
                  nativeError = errno;
                  eh_catch_all(frame);
                  eh_pop_try(frame);
                });
  EXPECT_EQ(nativeError, EEXIST);
}

TEST_F(IsDirectory, IsTrueWithSlashesAtTheEnd) {
  EXPECT_EQ(isDirectory(""), 1);
  EXPECT_EQ(isDirectory("//"), 1);
  EXPECT_EQ(dir_is_directory(directory.path().c_str()), 1);
  EXPECT_EQ(dir_is_directory("/"), 1);
  EXPECT_EQ(dir_is_directory("///"), 1);
}

TEST_F(IsDirectory, IsTrueThroughLinks) {
  fs::create_directory_symlink(directory.path(), directory / "link");
  EXPECT_EQ(isDirectory("link"), 1);
  EXPECT_EQ(isDirectory("link/"), 1);
}

TEST_F(IsDirectory, IsFalseForFiles) {
  writeFile(directory / "f", "");
  EXPECT_EQ(isDirectory("f"), 0);
  EXPECT_EQ(isDirectory("f/"), 0);
  EXPECT_EQ(dir_is_directory("/dev/null"), 0);
  fs::create_symlink("f", directory / "link");
  EXPECT_EQ(isDirectory("link"), 0);
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(isDirectory("fifo"), 0);
}

TEST_F(IsDirectory, IsFalseForWhatIsMissing) {
  writeFile(directory / "f", "");
  fs::create_symlink("loop", directory / "loop");
  fs::create_symlink("missing", directory / "dangling");
  EXPECT_EQ(isDirectory("missing"), 0);
  EXPECT_EQ(isDirectory("f/x"), 0);
  EXPECT_EQ(isDirectory("loop"), 0);
  EXPECT_EQ(isDirectory("dangling"), 0);
  EXPECT_EQ(dir_is_directory(""), 0);
}

TEST_F(IsDirectory, LooksAtPathsOfUpTo1023Bytes) {
  fs::create_directory(directory / "d");
  EXPECT_EQ(dir_is_directory(stretched(directory.path(), "d", 1023).c_str()), 1);
  EXPECT_EQ(dir_is_directory(stretched(directory.path(), "d", 1024).c_str()), 0);
  EXPECT_EQ(dir_is_directory(stretched(directory.path(), "", 1023).c_str()), 1);
  EXPECT_EQ(dir_is_directory(stretched(directory.path(), "", 1024).c_str()), 0);
}

TEST_F(IsDirectory, ThrowsWithoutAPath) {
  EXPECT_EQ(failureOf([] { dir_is_directory(nullptr); }), cannotClone());
}

TEST_F(DirectoryEntries, AreThoseThatMatch) {
  create({".hidden", "a.toc"});
  EXPECT_EQ(matching("*"), namesIn(directory.path()));
  EXPECT_EQ(matching("*.toc"), Names{"a.toc"});
  EXPECT_EQ(matching(".*"), Names{".hidden"});
  EXPECT_EQ(matching("a.toc"), Names{"a.toc"});
  EXPECT_EQ(matching("?.to[a-c]"), Names{"a.toc"});
}

TEST_F(DirectoryEntries, AreNoneWhereNothingMatches) {
  create({"a", "b"});
  EXPECT_EQ(matching("c*"), Names{});
  EXPECT_EQ(matching(""), Names{});
  EXPECT_EQ(matching("["), Names{}) << "a malformed pattern matches nothing";
  EXPECT_EQ(matching(nullptr), Names{});
}

TEST_F(DirectoryEntries, AreNoneInAnEmptyDirectory) { EXPECT_EQ(matching("*"), Names{}); }

TEST_F(DirectoryEntries, ComeInTheOrderOfTheSystem) {
  Names all;
  for (int i = 0; i < 500; ++i) {
    all.push_back("entry " + std::to_string(i));
  }
  create(all);
  EXPECT_EQ(matching("*"), namesIn(directory.path()));
}

TEST_F(DirectoryEntries, AreFilesOfAllKinds) {
  create({"file"});
  fs::create_directory(directory / "directory");
  fs::create_symlink("missing", directory / "link");
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(matching("*").size(), 4U);
}

TEST_F(DirectoryEntries, BeginWithDotsToo) {
  const std::set<std::string> names{"...", "..a", ".a", ". "};
  create({names.begin(), names.end()});
  const Names found = matching("*");
  EXPECT_EQ(std::set<std::string>(found.begin(), found.end()), names);
  EXPECT_EQ(matching("."), Names{});
  EXPECT_EQ(matching(".."), Names{});
}

TEST_F(DirectoryEntries, MayHaveTheLongestNames) {
  const std::string longest(255, 'a');
  create({longest});
  EXPECT_EQ(matching("a*"), Names{longest});
}

TEST_F(DirectoryEntries, AreFoundByACopyOfThePattern) {
  create({"a", "b"});
  char pattern[] = "a";
  begin(pattern);
  pattern[0] = 'b';
  EXPECT_NE(entries->pattern, pattern);
  EXPECT_STREQ(entries->pattern, "a");
  EXPECT_EQ(dir_entry_enum_has_more_elements(entries), 1);
  EXPECT_STREQ(dir_entry_enum_next_element(entries), "a");
}

TEST_F(DirectoryEntries, ShareOneBufferForTheirNames) {
  create({"a", "b"});
  begin("*");
  const char *name = dir_entry_enum_next_element(entries);
  EXPECT_STREQ(name, "") << "before the first one";
  EXPECT_EQ(name, entries->name);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(dir_entry_enum_has_more_elements(entries), 1);
    EXPECT_EQ(dir_entry_enum_next_element(entries), name);
    EXPECT_EQ(dir_entry_enum_next_element(entries), name) << "asking does not go on";
  }
  std::memset(entries->name, 'x', 1023); // it has room for so much
  EXPECT_EQ(dir_entry_enum_next_element(entries), std::string(1023, 'x'));
}

TEST_F(DirectoryEntries, AreOverAtTheEnd) {
  create({"a"});
  begin("*");
  EXPECT_EQ(entries->flag, 1);
  EXPECT_EQ(dir_entry_enum_has_more_elements(entries), 1);
  EXPECT_EQ(dir_entry_enum_has_more_elements(entries), 0);
  EXPECT_EQ(dir_entry_enum_has_more_elements(entries), 0);
}

TEST_F(DirectoryEntries, HaveASecondWayToBegin) {
  create({"a", "b"});
  entries = dir_entries(dir, "b");
  ASSERT_NE(entries, nullptr);
  EXPECT_EQ(dir_entry_enum_has_more_elements(entries), 1);
  EXPECT_STREQ(dir_entry_enum_next_element(entries), "b");
  EXPECT_EQ(dir_entry_enum_has_more_elements(entries), 0);
}

TEST_F(DirectoryEntries, AreNoneWithoutAWalk) {
  EXPECT_EQ(dir_entry_enum_has_more_elements(nullptr), 0);
  dir_entry_enum_delete(nullptr);
}

TEST_F(DirectoryEntries, DoNotBeginWhereTheDirectoryCannotBeOpened) {
  writeFile(directory / "f", "");
  fs::create_symlink("loop", directory / "loop");
  const long before = openDescriptors();
  for (const char *name : {"missing", "f", "f/x", "loop"}) {
    Dir *none = dir_new((directory / name).c_str());
    EXPECT_EQ(dir_entry_enum_new(none, "*"), nullptr) << name;
    EXPECT_EQ(dir_entries(none, nullptr), nullptr) << name;
    dir_delete(none);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(DirectoryEntries, LeaveNothingOpenAtTheirEnd) {
  create({"a", "b"});
  const long before = openDescriptors();
  begin("*");
  EXPECT_EQ(dir_entry_enum_has_more_elements(entries), 1);
  EXPECT_EQ(openDescriptors(), before + 1);
  dir_entry_enum_delete(entries);
  entries = nullptr;
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(DirectoryEntries, AreReleasedWithoutAStreamToo) {
  begin("*");
  closedir(entries->stream);
  entries->stream = nullptr;
}

TEST_F(DirectoryEntries, AreFoundByAPathOfUpTo1023Bytes) {
  fs::create_directory(directory / "d");
  writeFile(directory / "d/a", "");
  dir_delete(dir);
  dir = dir_new(stretched(directory.path(), "d", 1023).c_str());
  EXPECT_EQ(matching("*"), Names{"a"});
}
