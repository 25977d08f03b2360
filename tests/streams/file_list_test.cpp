// The names of a file list, taken one by one.
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/streams.h>

namespace {

using Names = std::vector<std::string>;

// A list in a block of its own, exactly as long as its text.
class NameList {
public:
  explicit NameList(const std::string &text)
      : block_(text.c_str(), text.c_str() + text.size() + 1), files_{block_.data(), block_.data(),
                                                                     nullptr} {}

  FileList &operator*() { return files_; }
  char *begin() { return block_.data(); }

  // All names that are left, and then none any more.
  Names rest() {
    Names names;
    while (const char *name = get_next_file(&files_)) {
      names.emplace_back(name);
    }
    EXPECT_EQ(get_next_file(&files_), nullptr);
    EXPECT_EQ(files_.cursor, nullptr);
    return names;
  }

private:
  std::vector<char> block_;
  FileList files_;
};

Names namesIn(const std::string &text) { return NameList(text).rest(); }

} // namespace

TEST(FileNames, StandBetweenCommas) {
  EXPECT_EQ(namesIn("d1"), Names{"d1"});
  EXPECT_EQ(namesIn("d1,/a"), (Names{"d1", "/a"}));
  EXPECT_EQ(namesIn("d1,/a,/b/c,/d"), (Names{"d1", "/a", "/b/c", "/d"}));
}

TEST(FileNames, MayBeEmpty) {
  EXPECT_EQ(namesIn(""), Names{""});
  EXPECT_EQ(namesIn(","), (Names{"", ""}));
  EXPECT_EQ(namesIn("a,,b"), (Names{"a", "", "b"}));
  EXPECT_EQ(namesIn(",a"), (Names{"", "a"}));
  EXPECT_EQ(namesIn("a,"), (Names{"a", ""}));
  EXPECT_EQ(namesIn(",,,"), (Names{"", "", "", ""}));
}

TEST(FileNames, MayHoldAnyOtherBytes) {
  std::string name;
  for (int byte = 1; byte < 256; ++byte) {
    if (byte != ',') {
      name.push_back(static_cast<char>(byte));
    }
  }
  EXPECT_EQ(namesIn(name + "," + name), (Names{name, name}));
}

TEST(FileNames, AreNoneInAListThatHasEnded) {
  FileList files{};
  EXPECT_EQ(get_next_file(&files), nullptr);
  EXPECT_EQ(get_next_file(&files), nullptr);
}

TEST(FileNames, AreCutOutOfTheListInPlace) {
  NameList list("d1,/a,/b");
  EXPECT_EQ(get_next_file(&*list), list.begin());
  EXPECT_EQ((*list).cursor, list.begin() + 3);
  EXPECT_EQ(get_next_file(&*list), list.begin() + 3);
  EXPECT_EQ(get_next_file(&*list), list.begin() + 6);
  EXPECT_EQ((*list).cursor, nullptr);
  EXPECT_EQ(std::string(list.begin(), 9), std::string("d1\0/a\0/b\0", 9));
  EXPECT_EQ((*list).list, list.begin());
}

TEST(FileNames, StayWhenLaterOnesAreTaken) {
  NameList list("d1,/a,/b");
  const char *const first = get_next_file(&*list);
  const char *const second = get_next_file(&*list);
  list.rest();
  EXPECT_STREQ(first, "d1");
  EXPECT_STREQ(second, "/a");
}

TEST(FileNames, AreTakenWithoutRegardToTheFileThatIsRead) {
  char path[] = "/x";
  File current{path, -1};
  NameList list("d1,/a");
  (*list).current = &current;
  EXPECT_EQ(list.rest(), (Names{"d1", "/a"}));
  EXPECT_EQ((*list).current, &current);
}

TEST(FileNames, MayBeMany) {
  std::mt19937 random(7);
  Names names(20000);
  std::string text;
  for (std::string &name : names) {
    name.assign(random() % 9, static_cast<char>('a' + random() % 26));
    text.append(text.empty() && &name == names.data() ? "" : ",").append(name);
  }
  EXPECT_EQ(namesIn(text), names);
}
