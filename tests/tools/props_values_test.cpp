// `sprig props`: putting values in, matching them, and wrong usage.
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/sprig.hpp>

#include "tools/program.h"

using test::Outcome;

namespace {

namespace fs = std::filesystem;

class PropsSet : public test::ToolTest {
protected:
  PropsSet() { sprig_init(); }
};
using PropsMatch = PropsSet;
using Props = PropsSet;

Outcome refusal(const std::string &text, int status = 2) {
  return {status, "", "sprig: " + text + "\n"};
}

} // namespace

TEST_F(PropsSet, PutsInValuesOfEveryType) {
  const std::vector<std::vector<std::string>> values{
      {"string", "some text", " some text"},
      {"short", "-5", " -5"},
      {"long", "70000", " 70000"},
      {"ulong", "4294967295", " 4294967295"},
      {"boolean", "true", " true"},
      {"octets", "00FF", " 00ff"},
      {"properties", R"({"a": {"type": "short", "value": 1}})", "\n  a (short): 1"},
      {"properties_list", "[{}]", "\n  -"},
      {"object", "1.2.3", " 1.2.3"},
      {"none", "null", ""},
      {"encoded", "0000000a00000000", " 0000000a00000000"},
  };
  std::string all;
  for (const auto &value : values) {
    const std::string &type = value[0];
    std::string line = type;
    line.append(" (").append(type).append("):").append(value[2]).append("\n");
    EXPECT_EQ(test::sprig({"props", "list", "set", type, value[1], "--type", type}),
              (Outcome{0, line, ""}));
    all += line;
  }
  EXPECT_EQ(test::sprig({"props", "list", "set", "any", R"({"type": "short", "value": 1})",
                         "--type", "any", "--json"}),
            (Outcome{0,
                     "{\n  \"any\": {\n    \"type\": \"any\",\n    \"value\": {\n"
                     "      \"type\": \"short\",\n      \"value\": 1\n    }\n  }\n}\n",
                     ""}));
  EXPECT_EQ(test::sprig({"props", "list", "show"}),
            (Outcome{0, all + "any (any of short): 1\n", ""}));
}

TEST_F(PropsSet, MakesAMissingFileInTheNamedLayout) {
  sprig::PropertyList expected;
  expected.put("key", "value");
  test::sprig({"props", "usual", "set", "key", "value"});
  EXPECT_EQ(sprig::PropertyList::load("usual", sprig::Layout::with_length), expected);
  test::sprig({"props", "bare", "set", "key", "value", "--layout", "bare"});
  EXPECT_EQ(sprig::PropertyList::load("bare", sprig::Layout::bare), expected);
}

TEST_F(PropsSet, KeepsTheLayoutAndThePlace) {
  sprig::PropertyList list;
  list.put("first", 1);
  list.put("second", 2);
  list.save("list", sprig::Layout::improved);
  EXPECT_EQ(test::sprig({"props", "list", "set", "first", "now text"}),
            (Outcome{0, "first (string): now text\n", ""}));
  list.put("first", "now text");
  EXPECT_EQ(sprig::PropertyList::load("list", sprig::Layout::improved), list);
}

TEST_F(PropsSet, TakesTextThatLooksLikeAnOptionBehindTwoHyphens) {
  EXPECT_EQ(test::sprig({"props", "list", "set", "key", "--", "-x"}),
            (Outcome{0, "key (string): -x\n", ""}));
}

TEST_F(PropsSet, RefusesValuesThatTheTypeDoesNotHaveAndLeavesTheFileAlone) {
  test::sprig({"props", "list", "set", "key", "value"});
  const std::string before = test::readFile("list");
  const auto set = [](const char *type, const char *value) {
    return test::sprig({"props", "list", "set", "key", "--type", type, "--", value});
  };
  EXPECT_EQ(set("short", "99999"), refusal("key: a short is a whole number from -32768 to 32767"));
  EXPECT_EQ(set("short", "many"), refusal("key: a short is a whole number from -32768 to 32767"));
  EXPECT_EQ(set("ulong", "-1"), refusal("key: a ulong is a whole number from 0 to 4294967295"));
  EXPECT_EQ(set("boolean", "yes"), refusal("key: a boolean is true or false"));
  EXPECT_EQ(set("octets", "abc"),
            refusal("key: octets are text of hexadecimal digits, two for each"));
  EXPECT_EQ(set("properties", R"({"a": {"type": "boolean", "value": 1}})"),
            refusal("key: a: a boolean is true or false"));
  EXPECT_EQ(set("properties", "{"),
            refusal("key: no JSON: line 1, column 2: syntax error while parsing object key - "
                    "unexpected end of input; expected string literal"));
  EXPECT_EQ(set("any", "1"), refusal(R"(key: an any is {"type": TYPE, "value": VALUE})"));
  EXPECT_EQ(test::readFile("list"), before);
  EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 1);
}

TEST_F(PropsSet, RefusesAFileThatIsNoList) {
  test::writeFile("file", "something else");
  EXPECT_EQ(test::sprig({"props", "file", "set", "key", "value"}),
            (Outcome{1, "",
                     "sprig: file: no property list in any layout\n"
                     "hint: with --layout LAYOUT it is told what is wrong\n"}));
  EXPECT_EQ(test::readFile("file"), "something else");
}

TEST_F(PropsSet, LosesNothingWhenSeveralPutInAtOnce) {
  test::sprig({"props", "list", "set", "first", "1"});
  std::vector<std::unique_ptr<test::RunningProgram>> programs;
  programs.reserve(8);
  for (int key = 0; key < 8; ++key) {
    programs.push_back(std::make_unique<test::RunningProgram>(
        test::Arguments{"props", "list", "set", std::to_string(key), "value"}));
  }
  for (const auto &program : programs) {
    EXPECT_EQ(program->wait().status, 0);
  }
  EXPECT_EQ(sprig::PropertyList::load("list").size(), 9U);
}

TEST_F(PropsMatch, ShowsThePropertyThatMatches) {
  test::sprig({"props", "list", "set", "version", "2.17"});
  test::sprig({"props", "list", "set", "home", "1.2.3", "--type", "object"});
  EXPECT_EQ(test::sprig({"props", "list", "match", "version", "2.[0-4]?"}),
            (Outcome{0, "version (string): 2.17\n", ""}));
  EXPECT_EQ(test::sprig({"props", "list", "match", "home", "*.3"}),
            (Outcome{0, "home (object): 1.2.3\n", ""}));
  EXPECT_EQ(
      test::sprig({"props", "list", "match", "version", "*", "--json"}),
      (Outcome{0,
               "{\n  \"version\": {\n    \"type\": \"string\",\n    \"value\": \"2.17\"\n  }\n}\n",
               ""}));
}

TEST_F(PropsMatch, ShowsNothingWhereNothingMatches) {
  test::sprig({"props", "list", "set", "version", "2.17"});
  test::sprig({"props", "list", "set", "size", "5", "--type", "long"});
  test::sprig(
      {"props", "list", "set", "any", R"({"type": "string", "value": "x"})", "--type", "any"});
  test::sprig({"props", "list", "set", "none", "null", "--type", "none"});
  for (const std::string key : {"size", "any", "none", "missing"}) {
    EXPECT_EQ(test::sprig({"props", "list", "match", key, "*"}), (Outcome{1, "", ""})) << key;
  }
  EXPECT_EQ(test::sprig({"props", "list", "match", "version", "3*"}), (Outcome{1, "", ""}));
}

TEST_F(PropsMatch, RefusesAnOpenSet) {
  test::sprig({"props", "list", "set", "version", "2.17"});
  EXPECT_EQ(test::sprig({"props", "list", "match", "version", "[2"}),
            (Outcome{2, "",
                     "sprig: [2: a pattern with a set that is not closed\n"
                     "hint: a \"]\" ends a set; write \"\\[\" for the bracket itself\n"}));
}

TEST_F(Props, TellsWrongUsage) {
  const std::string help = "\nRun with --help for more information.\n";
  const std::vector<std::pair<test::Arguments, std::string>> lines{
      {{"props"}, "FILE is required"},
      {{"props", "file"}, "A subcommand is required"},
      {{"props", "file", "show", "more"}, "The following argument was not expected: more"},
      {{"props", "file", "set", "key"}, "VALUE is required"},
      {{"props", "file", "match", "key"}, "PATTERN is required"},
      {{"props", "file", "convert", "--to", "bare"}, "--output is required"},
      {{"props", "file", "convert", "-o", "x"}, "--to is required"},
      {{"props", "file", "show", "--layout", "x"},
       "--layout: x not in {with-length,improved,bare,json}"},
      {{"props", "file", "set", "k", "v", "--type", "x"},
       "--type: x not in {string,short,long,ulong,boolean,octets,properties,properties_list,any,"
       "object,none,encoded}"},
  };
  for (const auto &[arguments, text] : lines) {
    EXPECT_EQ(test::sprig(arguments), (Outcome{2, "", text + help}));
  }
}
