// Path names as text. Whether what they name exists does not matter here.
#include <algorithm>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <sprig/files.h>
#include <sprig/framework.h>

#include "files/failure.h"

using test::cannotAppend;
using test::cannotClone;
using test::failureOf;

namespace {

constexpr size_t capacity = 1024; // with the NUL

// A path name's buffer.
class PathName : public testing::Test {
protected:
  ~PathName() override { pathname_delete(path); }

  void set(const std::string &text) {
    pathname_delete(path);
    path = pathname_clone(text.c_str());
  }

  std::string appended(const std::string &to, const std::string &name) {
    set(to);
    EXPECT_EQ(pathname_append(path, name.c_str()), path);
    return path;
  }

  std::string withSeparator(const std::string &text) {
    set(text);
    pathname_append_separator(path);
    return path;
  }

  std::string withoutSeparator(const std::string &text) {
    set(text);
    pathname_remove_separator(path);
    return path;
  }

  std::string nameOf(const std::string &text) {
    set(text);
    const char *name = pathname_get_name(path);
    EXPECT_GE(name, path);
    EXPECT_LE(name, path + text.size()) << "no copy";
    return name;
  }

  char *path = nullptr;
};

std::string text(size_t length, char letter = 'a') { return std::string(length, letter); }

} // namespace

TEST_F(PathName, HasRoomForAFixedNumberOfBytes) {
  EXPECT_EQ(pathname_max_length(), 1024);
  EXPECT_EQ(pathname_max_component_length(), 1024);
  path = pathname_new();
  EXPECT_TRUE(std::all_of(path, path + capacity, [](char c) { return c == '\0'; }));
  std::memset(path, 'a', capacity - 1);
  EXPECT_EQ(path, text(1023));
}

TEST_F(PathName, IsClonedIntoABufferOfTheFullSize) {
  const std::string original = "a/b";
  set(original);
  EXPECT_EQ(path, original);
  EXPECT_NE(path, original.c_str());
  EXPECT_EQ(appended(original, text(1019)), original + '/' + text(1019));
}

TEST_F(PathName, IsClonedWithUpTo1023Bytes) {
  for (const size_t length : {0, 1, 1022, 1023}) {
    set(text(length));
    EXPECT_EQ(path, text(length));
  }
}

TEST_F(PathName, IsNotClonedWhenItIsTooLong) {
  for (const size_t length : {1024, 1025, 4096, 1000000}) {
    const std::string tooLong = text(length);
    EXPECT_EQ(failureOf([&] { path = pathname_clone(tooLong.c_str()); }), cannotClone());
    EXPECT_EQ(failureOf([&] { path = pathname_clone_and_append(tooLong.c_str(), "x"); }),
              cannotClone());
    EXPECT_EQ(path, nullptr);
  }
}

TEST_F(PathName, IsNotClonedFromNothing) {
  EXPECT_EQ(failureOf([&] { path = pathname_clone(nullptr); }), cannotClone());
  EXPECT_EQ(failureOf([&] { path = pathname_clone_and_append(nullptr, "x"); }), cannotClone());
  EXPECT_EQ(failureOf([&] { path = pathname_clone_and_append(nullptr, nullptr); }), cannotClone());
  EXPECT_EQ(path, nullptr);
}

TEST_F(PathName, IsDeletedOrNothing) { pathname_delete(nullptr); }

TEST_F(PathName, GetsANameBehindASlash) {
  EXPECT_EQ(appended("a", "b"), "a/b");
  EXPECT_EQ(appended("a/", "b"), "a/b");
  EXPECT_EQ(appended("/", "b"), "/b");
  EXPECT_EQ(appended("", "x"), "/x");
  EXPECT_EQ(appended("", ""), "/");
  EXPECT_EQ(appended("a", ""), "a/");
  EXPECT_EQ(appended("a//", "b"), "a//b") << "slashes that were there stay";
  EXPECT_EQ(appended("a", "/b"), "a//b") << "a name is appended as it is";
  EXPECT_EQ(appended("a\\", "b"), "a\\/b") << "a backslash is no separator";
}

TEST_F(PathName, GetsANameThatIsPartOfIt) {
  const auto doubled = [&](const std::string &to, size_t from) {
    set(to);
    EXPECT_EQ(pathname_append(path, path + from), path);
    return std::string(path);
  };
  EXPECT_EQ(doubled("a/b", 0), "a/b/a/b");
  EXPECT_EQ(doubled("a/b", 2), "a/b/b");
  EXPECT_EQ(doubled("a/b", 3), "a/b/");
  EXPECT_EQ(doubled("a/b/", 2), "a/b/b/");
  EXPECT_EQ(doubled("", 0), "/");
  EXPECT_EQ(doubled(text(511), 0), text(511) + '/' + text(511));
  EXPECT_EQ(doubled(text(1021), 1020), text(1021) + "/a");
}

TEST_F(PathName, GetsNoPartOfItThatDoesNotFit) {
  set(text(512));
  EXPECT_EQ(failureOf([&] { pathname_append(path, path); }), cannotAppend());
  EXPECT_EQ(path, text(512) + '/');
  set(text(1023));
  EXPECT_EQ(failureOf([&] { pathname_append(path, path + 1023); }), cannotAppend());
  EXPECT_EQ(path, text(1023));
}

TEST_F(PathName, GetsNoNameThatIsNull) {
  for (const std::string before : {"a", "a/", ""}) {
    set(before);
    EXPECT_EQ(failureOf([&] { pathname_append(path, nullptr); }), cannotAppend());
    EXPECT_EQ(path, before == "a/" ? before : before + '/') << "the slash is there by then";
  }
}

TEST_F(PathName, GetsWhatFits) {
  EXPECT_EQ(appended(text(1021), "b"), text(1021) + "/b");
  EXPECT_EQ(appended(text(1021) + '/', "b"), text(1021) + "/b");
  EXPECT_EQ(appended("a", text(1021)), "a/" + text(1021));
  EXPECT_EQ(appended("", text(1022)), '/' + text(1022));
  EXPECT_EQ(appended(text(1022), ""), text(1022) + '/');
  EXPECT_EQ(appended(text(1022) + '/', ""), text(1022) + '/');
}

TEST_F(PathName, GetsNothingThatDoesNotFit) {
  const struct {
    std::string before;
    std::string name;
    std::string after;
  } cases[] = {{text(1022), "b", text(1022) + '/'},
               {text(1022) + '/', "b", text(1022) + '/'},
               {text(1023), "b", text(1023)},
               {text(1023), "", text(1023)},
               {"a", text(1022), "a/"},
               {"", text(1023), "/"},
               {"a/", text(1000000), "a/"}};
  for (const auto &[before, name, after] : cases) {
    set(before);
    EXPECT_EQ(failureOf([&, &name = name] { pathname_append(path, name.c_str()); }),
              cannotAppend());
    EXPECT_EQ(path, after);
  }
}

TEST_F(PathName, GetsNoNameThatIsNullWhenItIsFull) {
  set(text(1023));
  EXPECT_EQ(failureOf([&] { pathname_append(path, nullptr); }), cannotAppend());
  EXPECT_EQ(path, text(1023));
}

TEST_F(PathName, IsClonedAndAppendedTo) {
  const std::string original = "a";
  path = pathname_clone_and_append(original.c_str(), "b");
  EXPECT_STREQ(path, "a/b");
  EXPECT_EQ(original, "a");
  pathname_append(path, text(1019).c_str());
  EXPECT_EQ(path, "a/b/" + text(1019)) << "in a buffer of the full size";
}

TEST_F(PathName, IsNotClonedAndAppendedToWhereThatFails) {
  EXPECT_EQ(failureOf([&] { path = pathname_clone_and_append("a", nullptr); }), cannotAppend());
  const std::string full = text(1023);
  EXPECT_EQ(failureOf([&] { path = pathname_clone_and_append(full.c_str(), "b"); }),
            cannotAppend());
  EXPECT_EQ(failureOf([&] { path = pathname_clone_and_append("b", full.c_str()); }),
            cannotAppend());
  EXPECT_EQ(path, nullptr);
}

TEST_F(PathName, EndsWithItsLastComponent) {
  EXPECT_EQ(nameOf("C:\\dir\\file"), "file");
  EXPECT_EQ(nameOf("a/b\\c"), "b\\c") << "where there is a slash, backslashes are not looked at";
  EXPECT_EQ(nameOf("a\\b/c"), "c");
  EXPECT_EQ(nameOf("/a/b/c"), "c");
  EXPECT_EQ(nameOf("file"), "file");
  EXPECT_EQ(nameOf("/file"), "file");
  EXPECT_EQ(nameOf("\\file"), "file");
}

TEST_F(PathName, EndsWithNothingBehindASeparator) {
  EXPECT_EQ(nameOf("a/"), "");
  EXPECT_EQ(nameOf("a\\"), "");
  EXPECT_EQ(nameOf("/"), "");
  EXPECT_EQ(nameOf("a\\b/"), "");
  EXPECT_EQ(nameOf(""), "");
}

TEST_F(PathName, GetsASlashAtItsEndOnce) {
  EXPECT_EQ(withSeparator("a"), "a/");
  EXPECT_EQ(withSeparator("a/"), "a/");
  EXPECT_EQ(withSeparator("a//"), "a//");
  EXPECT_EQ(withSeparator("/"), "/");
  EXPECT_EQ(withSeparator(""), "/");
  EXPECT_EQ(withSeparator("a\\"), "a\\/");
  pathname_append_separator(nullptr);
}

TEST_F(PathName, GetsASlashAtItsEndWhereItFits) {
  EXPECT_EQ(withSeparator(text(1022)), text(1022) + '/');
  EXPECT_EQ(withSeparator(text(1023)), text(1023));
  EXPECT_EQ(withSeparator(text(1022) + '/'), text(1022) + '/');
}

TEST_F(PathName, LosesTheSlashesAtItsEnd) {
  EXPECT_EQ(withoutSeparator("a/"), "a");
  EXPECT_EQ(withoutSeparator("a//"), "a");
  EXPECT_EQ(withoutSeparator("a/b///"), "a/b");
  EXPECT_EQ(withoutSeparator("/a/"), "/a");
  EXPECT_EQ(withoutSeparator("a"), "a");
  EXPECT_EQ(withoutSeparator("a\\"), "a\\");
  EXPECT_EQ(withoutSeparator("a" + text(1022, '/')), "a");
  pathname_remove_separator(nullptr);
}

TEST_F(PathName, KeepsTheSlashThatIsAllOfIt) {
  EXPECT_EQ(withoutSeparator("/"), "/");
  EXPECT_EQ(withoutSeparator("//"), "/");
  EXPECT_EQ(withoutSeparator(text(1023, '/')), "/");
  EXPECT_EQ(withoutSeparator(""), "");
}

TEST_F(PathName, IsBuiltOfThreePieces) {
  path = pathname_build_filename("a", "/b", ".c");
  EXPECT_STREQ(path, "a/b.c");
  mg_free(path);
  path = pathname_build_filename("", "", "");
  EXPECT_STREQ(path, "");
  mg_free(path);
  path = pathname_build_filename("%s", "%n", "%");
  EXPECT_STREQ(path, "%s%n%");
}

TEST_F(PathName, IsBuiltWithAsMuchRoomAsItNeeds) {
  path =
      pathname_build_filename(text(1000).c_str(), text(1000, 'b').c_str(), text(1000, 'c').c_str());
  EXPECT_EQ(path, text(1000) + text(1000, 'b') + text(1000, 'c'));
}

TEST_F(PathName, IsNotBuiltOfNothing) {
  EXPECT_EQ(pathname_build_filename(nullptr, "b", "c"), nullptr);
  EXPECT_EQ(pathname_build_filename("a", nullptr, "c"), nullptr);
  EXPECT_EQ(pathname_build_filename("a", "b", nullptr), nullptr);
}
