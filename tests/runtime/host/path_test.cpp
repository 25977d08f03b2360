// The normal form of paths.
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/framework.h>

namespace {

std::string corrected(const std::string &path) {
  char *result = CorrectPath(path.c_str(), 1);
  EXPECT_NE(result, nullptr);
  std::string text = result == nullptr ? "" : result;
  mg_free(result);
  return text;
}

// The parts between slashes, without those that lead nowhere.
std::vector<std::string> partsOf(const std::string &path) {
  std::vector<std::string> parts(1);
  for (const char c : path + '/') {
    if (c != '/') {
      parts.back().push_back(c);
    } else if (parts.back().empty() || parts.back() == ".") {
      parts.back().clear();
    } else {
      parts.emplace_back();
    }
  }
  parts.pop_back();
  return parts;
}

// What is left of a path that leads somewhere.
std::string reference(const std::string &path) {
  std::string result;
  for (const std::string &part : partsOf(path)) {
    if (!result.empty() || path[0] == '/') {
      result.push_back('/');
    }
    result.append(part);
  }
  return result.empty() ? "/" : result;
}

} // namespace

TEST(CorrectPath, LeavesNormalPathsAlone) {
  for (const char *path : {"/", "a", "/a", "a/b", "/a/b.c/d e", "..", "../..", "/..", "a/../b",
                           ".a", "a.", "...", "/a/.b", "/a/b./..c/c.."}) {
    EXPECT_EQ(corrected(path), path);
  }
}

TEST(CorrectPath, MakesRunsOfSlashesOne) {
  EXPECT_EQ(corrected("//"), "/");
  EXPECT_EQ(corrected("///a//b////c"), "/a/b/c");
  EXPECT_EQ(corrected("a//b"), "a/b");
}

TEST(CorrectPath, LeavesOutDots) {
  EXPECT_EQ(corrected("./a"), "a");
  EXPECT_EQ(corrected("a/./b"), "a/b");
  EXPECT_EQ(corrected("a/."), "a");
  EXPECT_EQ(corrected("/."), "/");
  EXPECT_EQ(corrected("/./a/././b/."), "/a/b");
  EXPECT_EQ(corrected(".//a"), "a");
  EXPECT_EQ(corrected("./.."), "..");
}

TEST(CorrectPath, LeavesOutSlashesAtTheEnd) {
  EXPECT_EQ(corrected("a/"), "a");
  EXPECT_EQ(corrected("/a/b//"), "/a/b");
  EXPECT_EQ(corrected("a/./"), "a");
}

TEST(CorrectPath, DoesNotTakeWhatLeadsNowhereForTheRoot) {
  for (const char *path : {"", ".", "./", "././/."}) {
    const std::string result = corrected(path);
    EXPECT_TRUE(result == "." || result.empty()) << path << ": " << result;
  }
}

TEST(CorrectPath, GivesNullForNull) { EXPECT_EQ(CorrectPath(nullptr, 1), nullptr); }

TEST(CorrectPath, TakesPathsOfAnyLength) {
  const std::string name(100000, 'x');
  EXPECT_EQ(corrected("//" + name + "//./" + name + "/"), "/" + name + "/" + name);
}

TEST(CorrectPath, GivesWhatIsLeftOfAnyPath) {
  std::mt19937 random(8);
  for (int i = 0; i < 100000; ++i) {
    std::string path(random() % 12, ' ');
    for (char &c : path) {
      c = "/./.a"[random() % 5];
    }
    if (path.empty() || (path[0] != '/' && partsOf(path).empty())) {
      continue; // leads nowhere
    }
    ASSERT_EQ(corrected(path), reference(path)) << path;
    ASSERT_EQ(corrected(reference(path)), reference(path));
  }
}
