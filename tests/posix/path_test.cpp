#include <cerrno>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <sprig/pal.h>

#include "support/temporary_directory.h"

TEST(PalPath, IsAbsoluteWithARootAServerOrADrive) {
  EXPECT_EQ(PalPathIsPathAbsolute("/usr"), 1);
  EXPECT_EQ(PalPathIsPathAbsolute(""), 1);
  EXPECT_EQ(PalPathIsPathAbsolute("\\\\server\\share"), 1);
  EXPECT_EQ(PalPathIsPathAbsolute("c:\\dir"), 1);
  EXPECT_EQ(PalPathIsPathAbsolute("dir/c:\\x"), 1);
}

TEST(PalPath, IsRelativeOtherwise) {
  EXPECT_EQ(PalPathIsPathAbsolute("a/b"), 0);
  EXPECT_EQ(PalPathIsPathAbsolute("\\one"), 0);
  EXPECT_EQ(PalPathIsPathAbsolute("c:dir"), 0);
  EXPECT_EQ(PalPathIsPathAbsolute("c:/dir"), 0);
  EXPECT_EQ(PalPathIsPathAbsolute(nullptr), 0);
}

TEST(PalPath, IsNativeUnlessItIsAbsoluteInAForeignWay) {
  EXPECT_EQ(PalPathIsPrefixNative("a/b"), 1);
  EXPECT_EQ(PalPathIsPrefixNative("/a"), 1);
  EXPECT_EQ(PalPathIsPrefixNative(""), 1);
  EXPECT_EQ(PalPathIsPrefixNative("/a/c:\\x"), 1);
  EXPECT_EQ(PalPathIsPrefixNative(nullptr), 1);
  EXPECT_EQ(PalPathIsPrefixNative("\\\\server"), 0);
  EXPECT_EQ(PalPathIsPrefixNative("c:\\x"), 0);
}

namespace {

std::string prefixOf(const char *path, size_t size) {
  char buffer[64] = "zzzzzzzzzzzzzzzz";
  EXPECT_EQ(PalPathGetPrefix(buffer, path, size), buffer);
  return buffer;
}

} // namespace

TEST(PalPathPrefix, IsARootWithItsFirstComponent) {
  EXPECT_EQ(prefixOf("/usr/lib", 64), "/usr");
  EXPECT_EQ(prefixOf("/usr", 64), "/usr");
  EXPECT_EQ(prefixOf("/", 64), "/");
  EXPECT_EQ(prefixOf("//x", 64), "/");
  EXPECT_EQ(prefixOf("/a\\b/c", 64), "/a\\b");
  EXPECT_EQ(prefixOf("", 64), "");
}

TEST(PalPathPrefix, IsAServerWithItsTwoBackslashes) {
  EXPECT_EQ(prefixOf("\\\\server\\share\\x", 64), "\\\\server");
  EXPECT_EQ(prefixOf("\\\\server", 64), "\\\\server");
  EXPECT_EQ(prefixOf("\\\\", 64), "\\\\");
}

TEST(PalPathPrefix, IsAllBeforeTheFirstBackslashOfAPathWithADrive) {
  EXPECT_EQ(prefixOf("c:\\dir\\x", 64), "c:");
  EXPECT_EQ(prefixOf("a\\c:\\x", 64), "a");
}

TEST(PalPathPrefix, IsCutToTheBufferAndTerminated) {
  EXPECT_EQ(prefixOf("/usr/lib", 3), "/u");
  EXPECT_EQ(prefixOf("/usr/lib", 5), "/usr");
  EXPECT_EQ(prefixOf("/usr/lib", 4), "/us");
  EXPECT_EQ(prefixOf("/usr/lib", 1), "");
}

TEST(PalPathPrefix, IsNotWrittenToABufferOfNoBytes) {
  char buffer = 'z';
  EXPECT_EQ(PalPathGetPrefix(&buffer, "/usr", 0), &buffer);
  EXPECT_EQ(buffer, 'z');
}

TEST(PalPathPrefix, IsNullForRelativePathsAndNullArguments) {
  char buffer[8];
  EXPECT_EQ(PalPathGetPrefix(buffer, "usr/lib", sizeof(buffer)), nullptr);
  EXPECT_EQ(PalPathGetPrefix(buffer, nullptr, sizeof(buffer)), nullptr);
  EXPECT_EQ(PalPathGetPrefix(nullptr, "/usr", 8), nullptr);
}

namespace {

// Tests that change into a directory of their own.
class MakeAbsolute : public test::DirectoryTest {
protected:
  MakeAbsolute() { std::filesystem::current_path(directory.path()); }
  ~MakeAbsolute() override { std::filesystem::current_path("/"); }

  char buffer[8192] = "before";
};

} // namespace

TEST_F(MakeAbsolute, PutsTheCurrentDirectoryInFront) {
  EXPECT_EQ(PalPathMakeAbsolute(buffer, "a\\b", 4096), buffer);
  EXPECT_EQ(buffer, directory / "a\\b");
}

TEST_F(MakeAbsolute, PutsASlashBehindTheRootToo) {
  std::filesystem::current_path("/");
  EXPECT_EQ(PalPathMakeAbsolute(buffer, "a", 4096), buffer);
  EXPECT_STREQ(buffer, "//a");
}

TEST_F(MakeAbsolute, CopiesAbsolutePaths) {
  EXPECT_EQ(PalPathMakeAbsolute(buffer, "/x/y", 4096), buffer);
  EXPECT_STREQ(buffer, "/x/y");
  PalPathMakeAbsolute(buffer, "c:\\x", 4096);
  EXPECT_STREQ(buffer, "c:\\x");
  PalPathMakeAbsolute(buffer, "", 4096);
  EXPECT_STREQ(buffer, "");
}

TEST_F(MakeAbsolute, CutsAbsolutePathsWithoutATerminator) {
  PalPathMakeAbsolute(buffer, "/abcdef", 3);
  EXPECT_STREQ(buffer, "/abore");
}

TEST_F(MakeAbsolute, TakesUpToTheLengthOfEachPart) {
  const size_t length = directory.path().size() + 1; // what the directory needs with its NUL
  const std::string longName(length + 10, 'n');
  EXPECT_EQ(PalPathMakeAbsolute(buffer, longName.c_str(), length), buffer);
  EXPECT_EQ(buffer, directory / longName.substr(0, length));
}

TEST_F(MakeAbsolute, IsEmptyWhereTheDirectoryDoesNotFit) {
  EXPECT_EQ(PalPathMakeAbsolute(buffer, "a", 3), nullptr);
  EXPECT_STREQ(buffer, "");
}

TEST_F(MakeAbsolute, IsEmptyWhereTheDirectoryIsGone) {
  std::filesystem::create_directory("gone");
  std::filesystem::current_path("gone");
  std::filesystem::remove(directory / "gone");
  EXPECT_EQ(PalPathMakeAbsolute(buffer, "a", 4096), nullptr);
  EXPECT_STREQ(buffer, "");
}

TEST_F(MakeAbsolute, WritesNothingToABufferOfNoBytes) {
  EXPECT_EQ(PalPathMakeAbsolute(buffer, "a", 0), nullptr);
  EXPECT_STREQ(buffer, "before");
}

TEST_F(MakeAbsolute, ToleratesNullArguments) {
  EXPECT_EQ(PalPathMakeAbsolute(nullptr, "a", 10), nullptr);
  EXPECT_EQ(PalPathMakeAbsolute(buffer, nullptr, 4096), buffer);
  EXPECT_EQ(buffer, directory / "");
}

namespace {

std::string nameOf(const char *path) {
  char buffer[64];
  EXPECT_EQ(PalPathGetName(buffer, path, sizeof(buffer)), buffer);
  return buffer;
}

std::string parentOf(const char *path) {
  char buffer[64];
  EXPECT_EQ(PalPathGetParent(buffer, path, sizeof(buffer)), buffer);
  return buffer;
}

} // namespace

TEST(PalPathName, IsThePartBehindTheLaterSeparator) {
  EXPECT_EQ(nameOf("a/b/c"), "c");
  EXPECT_EQ(nameOf("a/b\\c"), "c");
  EXPECT_EQ(nameOf("a\\b/c"), "c");
  EXPECT_EQ(nameOf("/c"), "c");
  EXPECT_EQ(nameOf("a/"), "");
}

TEST(PalPathName, IsFailureWithoutASeparator) {
  EXPECT_EQ(nameOf("name"), "Failure");
  EXPECT_EQ(nameOf(""), "Failure");
  EXPECT_EQ(nameOf(nullptr), "Failure");
}

TEST(PalPathName, IsCutWithoutATerminator) {
  char buffer[] = "zzzzz";
  PalPathGetName(buffer, "a/bcdef", 3);
  EXPECT_STREQ(buffer, "bcdzz");
  PalPathGetName(buffer, "none", 4);
  EXPECT_STREQ(buffer, "Failz");
  PalPathGetName(buffer, "a/xyz", 0);
  EXPECT_STREQ(buffer, "Failz");
  EXPECT_EQ(PalPathGetName(nullptr, "a/b", 3), nullptr);
}

TEST(PalPathParent, IsThePathUpToTheLaterSeparator) {
  EXPECT_EQ(parentOf("a/b/c"), "a/b");
  EXPECT_EQ(parentOf("a/b\\c"), "a/b");
  EXPECT_EQ(parentOf("a\\b/c"), "a\\b");
  EXPECT_EQ(parentOf("a/b/"), "a/b");
  EXPECT_EQ(parentOf("/c"), "");
}

TEST(PalPathParent, IsTheWholePathWithoutASeparator) {
  EXPECT_EQ(parentOf("name"), "name");
  EXPECT_EQ(parentOf(""), "");
  EXPECT_EQ(parentOf(nullptr), "");
}

TEST(PalPathParent, IsCutInTheCopyAndNeverBehindIt) {
  char buffer[] = "zzzz/z";
  PalPathGetParent(buffer, "a/bcdef", 4);
  EXPECT_EQ(std::string(buffer, 6), std::string("a\0bc/z", 6));
  char full[] = "zzzz/z";
  PalPathGetParent(full, "abcdef/g", 4);
  EXPECT_STREQ(full, "abcd/z");
  PalPathGetParent(full, "q/r", 0);
  EXPECT_STREQ(full, "abcd/z");
  EXPECT_EQ(PalPathGetParent(nullptr, "a/b", 3), nullptr);
}

TEST(PalPathLocalize, ReplacesBackslashesInPlace) {
  char path[] = "a\\b\\c";
  EXPECT_EQ(PalPathLocalize(path), path);
  EXPECT_STREQ(path, "a/b/c");
  char rooted[] = "/a\\c:\\d";
  EXPECT_EQ(PalPathLocalize(rooted), rooted);
  EXPECT_STREQ(rooted, "/a/c:/d");
  char single[] = "\\a";
  EXPECT_EQ(PalPathLocalize(single), single);
  EXPECT_STREQ(single, "/a");
}

TEST(PalPathLocalize, LeavesForeignPathsAlone) {
  char drive[] = "c:\\x";
  EXPECT_EQ(PalPathLocalize(drive), nullptr);
  EXPECT_STREQ(drive, "c:\\x");
  char server[] = "\\\\server\\x";
  EXPECT_EQ(PalPathLocalize(server), nullptr);
  EXPECT_STREQ(server, "\\\\server\\x");
  EXPECT_EQ(PalPathLocalize(nullptr), nullptr);
}
