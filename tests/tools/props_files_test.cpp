// `sprig props`: files of every layout, found out or named, and files that are none.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <sprig/sprig.hpp>

#include "tools/program.h"

using namespace std::string_literals;
using test::Outcome;

namespace {

namespace fs = std::filesystem;

class PropsFiles : public test::ToolTest {
protected:
  PropsFiles() { sprig_init(); }
};

const std::vector<std::pair<std::string, sprig::Layout>> layouts{
    {"with-length", sprig::Layout::with_length},
    {"improved", sprig::Layout::improved},
    {"bare", sprig::Layout::bare}};

sprig::PropertyList listOfOne() {
  sprig::PropertyList list;
  list.put("size", 5);
  return list;
}

Outcome refusal(const std::string &text, const std::string &hint = "") {
  return {1, "", "sprig: " + text + (hint.empty() ? "\n" : "\nhint: " + hint + "\n")};
}

const char *const findHint = "without --layout it is found out";
const char *const sayHint = "with --layout LAYOUT it is told what is wrong";

// A bare list of short properties with these keys.
std::string bareList(const std::vector<std::string> &keys) {
  std::string bytes{'\0', '\0', '\0', static_cast<char>(keys.size())};
  for (std::string key : keys) {
    bytes += "\0\0\0"s + static_cast<char>(key.size());
    key.resize((key.size() + 3) / 4 * 4);
    bytes += key + "\0\0\0\4\0\0\0\7"s;
  }
  return bytes;
}

} // namespace

TEST_F(PropsFiles, AreShownInEveryLayout) {
  for (const auto &[name, layout] : layouts) {
    listOfOne().save("list", layout);
    EXPECT_EQ(test::sprig({"props", "list", "show"}), (Outcome{0, "size (long): 5\n", ""})) << name;
    EXPECT_EQ(test::sprig({"props", "list", "show", "--layout", name}),
              (Outcome{0, "size (long): 5\n", ""}))
        << name;
  }
}

TEST_F(PropsFiles, AreShownWhereTheyAreEmptyLists) {
  for (const auto &[name, layout] : layouts) {
    sprig::PropertyList().save("list", layout);
    EXPECT_EQ(test::sprig({"props", "list", "show"}), (Outcome{0, "", ""})) << name;
    EXPECT_EQ(test::sprig({"props", "list", "show", "--json"}), (Outcome{0, "{}\n", ""})) << name;
  }
}

TEST_F(PropsFiles, OfAnotherLayoutThanTheNamedOneAreRefused) {
  listOfOne().save("list", sprig::Layout::with_length);
  EXPECT_EQ(test::sprig({"props", "list", "show", "--layout", "bare"}),
            refusal("list: no property list bare: a list has more elements than the data can hold",
                    findHint));
  EXPECT_EQ(test::sprig({"props", "list", "show", "--layout", "improved"}),
            refusal("list: no property list improved: the file's size is not what its length says",
                    findHint));
  EXPECT_EQ(test::sprig({"props", "list", "show", "--layout", "json"}),
            refusal("list: no JSON: it has a NUL inside"));
}

TEST_F(PropsFiles, ThatAreCutOffAreRefused) {
  for (const auto &[name, layout] : layouts) {
    listOfOne().save("list", layout);
    const std::string whole = test::readFile("list");
    for (size_t length = 0; length < whole.size(); ++length) {
      test::writeFile("list", whole.substr(0, length));
      EXPECT_EQ(test::sprig({"props", "list", "show"}),
                refusal("list: no property list in any layout", sayHint))
          << name << ' ' << length;
    }
  }
}

TEST_F(PropsFiles, WithMoreThanAListAreTakenForOneOnlyWhereTheLayoutIsNamed) {
  test::writeFile("zeros", std::string(100, '\0'));
  EXPECT_EQ(test::sprig({"props", "zeros", "show"}),
            refusal("zeros: no property list in any layout", sayHint));
  EXPECT_EQ(test::sprig({"props", "zeros", "show", "--layout", "bare"}), (Outcome{0, "", ""}));
}

TEST_F(PropsFiles, ThatCannotBeReadAreNamed) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  fs::create_directory("directory");
  for (const std::string layout : {"", "with-length", "improved", "bare", "json"}) {
    const auto show = [&](const std::string &file) {
      test::Arguments arguments{"props", file, "show"};
      if (!layout.empty()) {
        arguments.insert(arguments.end(), {"--layout", layout});
      }
      return test::sprig(arguments);
    };
    EXPECT_EQ(show("none"), refusal("none: No such file or directory"));
    EXPECT_EQ(show("directory"), refusal("directory: Is a directory"));
    EXPECT_EQ(show("pipe"), refusal("pipe: Not a regular file"));
  }
}

TEST_F(PropsFiles, WithAKeyTwiceAreShownButNotAsJson) {
  test::writeFile("list", bareList({"key", "key"}));
  EXPECT_EQ(test::sprig({"props", "list", "show"}),
            (Outcome{0, "key (short): 7\nkey (short): 7\n", ""}));
  const char *const hint = "another layout, or to show it without --json, is possible";
  EXPECT_EQ(test::sprig({"props", "list", "show", "--json"}),
            refusal("list: the key \"key\" is there twice", hint));
  EXPECT_EQ(test::sprig({"props", "list", "convert", "-o", "copy", "--to", "json"}),
            refusal("copy: the key \"key\" is there twice"));
  EXPECT_FALSE(fs::exists("copy"));
}

TEST_F(PropsFiles, WithTextThatIsNoUtf8AreShownButNotAsJson) {
  test::writeFile("list", bareList({"k\xe9y"}));
  EXPECT_EQ(test::sprig({"props", "list", "show"}), (Outcome{0, "k\xe9y (short): 7\n", ""}));
  EXPECT_EQ(test::sprig({"props", "list", "show", "--json"}),
            refusal("list: text that is no UTF-8, which JSON cannot have",
                    "another layout, or to show it without --json, is possible"));
}

TEST_F(PropsFiles, DoNotSteerTheTerminal) {
  sprig::PropertyList list;
  list.put("k\x1b[2J", "v\x1b]0;title\a\n");
  list.save("list");
  EXPECT_EQ(test::sprig({"props", "list", "show"}),
            (Outcome{0, "k?[2J (string): v?]0;title??\n", ""}));
}

TEST_F(PropsFiles, AreConverted) {
  listOfOne().save("list", sprig::Layout::bare);
  EXPECT_EQ(test::sprig({"props", "list", "convert", "-o", "copy", "--to", "improved"}),
            (Outcome{0, "converted list into copy: bare to improved, 1 property\n", ""}));
  EXPECT_EQ(sprig::PropertyList::load("copy", sprig::Layout::improved), listOfOne());
  EXPECT_EQ(
      test::sprig({"props", "copy", "convert", "-o", "copy", "--to", "with-length", "--json"}),
      (Outcome{0,
               R"({"file":"copy","layout":"improved","output":"copy","to":"with-length",)"
               "\"properties\":1}\n",
               ""}));
  EXPECT_EQ(sprig::PropertyList::load("copy"), listOfOne());
}

TEST_F(PropsFiles, OnlyOfJsonGoToStandardOutput) {
  listOfOne().save("list");
  EXPECT_EQ(
      test::sprig({"props", "list", "convert", "-o", "-", "--to", "json"}),
      (Outcome{0, "{\n  \"size\": {\n    \"type\": \"long\",\n    \"value\": 5\n  }\n}\n", ""}));
  EXPECT_EQ(test::sprig({"props", "list", "convert", "-o", "-", "--to", "bare"}),
            (Outcome{2, "",
                     "sprig: -o -: only JSON goes to standard output\n"
                     "hint: write --to json, or name a file\n"}));
}

TEST_F(PropsFiles, TakeTheirPlaceWhole) {
  listOfOne().save("list");
  test::writeFile("target", "old");
  fs::permissions("target", fs::perms(0640));
  fs::create_symlink("target", "link");
  EXPECT_EQ(test::sprig({"props", "list", "convert", "-o", "link", "--to", "with-length"}).status,
            0);
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_EQ(fs::status("target").permissions(), fs::perms(0640));
  EXPECT_EQ(sprig::PropertyList::load("target"), listOfOne());
  EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 3); // nothing is left beside them
}

TEST_F(PropsFiles, AreForTheirOwnerOnlyWhereTheyAreNew) {
  listOfOne().save("list");
  for (const std::string layout : {"bare", "json"}) {
    EXPECT_EQ(test::sprig({"props", "list", "convert", "-o", layout, "--to", layout}).status, 0);
    EXPECT_EQ(fs::status(layout).permissions(), fs::perms(0600));
  }
}

TEST_F(PropsFiles, AreNotWrittenWhereTheyCannotBe) {
  listOfOne().save("list");
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  const auto convert = [](const std::string &output) {
    return test::sprig({"props", "list", "convert", "-o", output, "--to", "bare"});
  };
  EXPECT_EQ(convert("."), refusal(".: Is a directory"));
  EXPECT_EQ(convert("pipe"), refusal("pipe: Not a regular file"));
  EXPECT_EQ(convert("none/copy"), refusal("none/copy: No such file or directory"));
}
