// `sprig props`: lists in JSON, of every type and hostile.
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tools/program.h"

using namespace std::string_literals;
using test::Outcome;

namespace {

class PropsJson : public test::ToolTest {
protected:
  // What becomes of a JSON file that is shown in lines.
  static Outcome shown(const std::string &json) {
    test::writeFile("list.json", json);
    return test::sprig({"props", "list.json", "show", "--layout", "json"});
  }
};

std::string property(const std::string &type, const std::string &value) {
  return R"({"type": ")" + type + R"(", "value": )" + value + "}";
}

std::string listWith(const std::string &value) { return R"({"k": )" + value + "}"; }

Outcome refusal(const std::string &text) { return {1, "", "sprig: list.json: " + text + "\n"}; }

const char *const everyType = R"({
  "string": {
    "type": "string",
    "value": "Grüße \"x\"\n"
  },
  "short": {
    "type": "short",
    "value": -32768
  },
  "long": {
    "type": "long",
    "value": 2147483647
  },
  "ulong": {
    "type": "ulong",
    "value": 4294967295
  },
  "boolean": {
    "type": "boolean",
    "value": false
  },
  "octets": {
    "type": "octets",
    "value": "00ff10"
  },
  "properties": {
    "type": "properties",
    "value": {
      "inner": {
        "type": "properties",
        "value": {}
      }
    }
  },
  "lists": {
    "type": "properties_list",
    "value": [
      {},
      {
        "a": {
          "type": "short",
          "value": 1
        },
        "b": {
          "type": "properties_list",
          "value": []
        }
      }
    ]
  },
  "any": {
    "type": "any",
    "value": {
      "type": "any",
      "value": {
        "type": "none",
        "value": null
      }
    }
  },
  "object": {
    "type": "object",
    "value": "1.2.3"
  },
  "nil": {
    "type": "object",
    "value": null
  },
  "none": {
    "type": "none",
    "value": null
  },
  "other": {
    "type": "encoded",
    "value": "0000000a000000010000000161000000"
  }
}
)";

} // namespace

TEST_F(PropsJson, HasEveryTypeAndKeepsItThroughEveryLayout) {
  test::writeFile("list.json", everyType);
  std::string from = "list.json";
  for (const std::string layout : {"with-length", "improved", "bare", "json"}) {
    const std::string to = "list." + layout + ".copy";
    EXPECT_EQ(test::sprig({"props", from, "convert", "-o", to, "--to", layout}).status, 0);
    EXPECT_EQ(test::sprig({"props", to, "convert", "-o", "-", "--to", "json"}),
              (Outcome{0, everyType, ""}))
        << layout;
    from = to;
  }
  EXPECT_EQ(test::readFile("list.json.copy"), everyType);
}

TEST_F(PropsJson, IsShownInLinesToo) {
  EXPECT_EQ(shown(everyType), (Outcome{0,
                                       "string (string): Grüße \"x\"?\n"
                                       "short (short): -32768\n"
                                       "long (long): 2147483647\n"
                                       "ulong (ulong): 4294967295\n"
                                       "boolean (boolean): false\n"
                                       "octets (octets): 00ff10\n"
                                       "properties (properties):\n"
                                       "  inner (properties):\n"
                                       "lists (properties_list):\n"
                                       "  -\n"
                                       "  - a (short): 1\n"
                                       "    b (properties_list):\n"
                                       "any (any of any of none):\n"
                                       "object (object): 1.2.3\n"
                                       "nil (object):\n"
                                       "none (none):\n"
                                       "other (encoded): 0000000a000000010000000161000000\n",
                                       ""}));
}

TEST_F(PropsJson, IsRefusedWithValuesThatTheirTypesDoNotHave) {
  const std::vector<std::pair<std::string, std::string>> values{
      {property("short", "32768"), "a short is a whole number from -32768 to 32767"},
      {property("short", "1.0"), "a short is a whole number from -32768 to 32767"},
      {property("long", "-2147483649"), "a long is a whole number from -2147483648 to 2147483647"},
      {property("long", "\"1\""), "a long is a whole number from -2147483648 to 2147483647"},
      {property("ulong", "-1"), "a ulong is a whole number from 0 to 4294967295"},
      {property("ulong", "18446744073709551616"), "a ulong is a whole number from 0 to 4294967295"},
      {property("boolean", "1"), "a boolean is true or false"},
      {property("string", "null"), "a string is text without a NUL"},
      {property("string", R"("a\u0000b")"), "a string is text without a NUL"},
      {property("object", R"("\u0000")"), "an object is text without a NUL, or null"},
      {property("octets", "\"abc\""), "octets are text of hexadecimal digits, two for each"},
      {property("octets", "\"0g\""), "octets are text of hexadecimal digits, two for each"},
      {property("octets", "[1]"), "octets are text of hexadecimal digits, two for each"},
      {property("none", "0"), "a none is null"},
      {property("encoded", "\"0\""),
       "what is encoded is text of hexadecimal digits, two for each octet"},
      {property("encoded", "\"0000000a\""), "Failed to decode data. The error code is 1."},
      {property("properties", "[]"),
       R"(properties are an object from keys to {"type": TYPE, "value": VALUE})"},
      {property("properties_list", "{}"), "a properties_list is an array of properties"},
      {property("properties_list", "[1]"),
       R"(properties are an object from keys to {"type": TYPE, "value": VALUE})"},
      {property("any", "1"), R"(an any is {"type": TYPE, "value": VALUE})"},
      {property("any", "{}"), R"(a property is {"type": TYPE, "value": VALUE})"},
      {property("properties", listWith(property("boolean", "2"))), "k: a boolean is true or false"},
      {property("float", "1"), R"(there is no type "float")"},
      {R"({"type": "short"})", R"(a property is {"type": TYPE, "value": VALUE})"},
      {R"({"type": 1, "value": 1})", R"(a property is {"type": TYPE, "value": VALUE})"},
      {R"({"type": "short", "value": 1, "x": 1})",
       R"(a property is {"type": TYPE, "value": VALUE})"},
      {"1", R"(a property is {"type": TYPE, "value": VALUE})"},
  };
  for (const auto &[value, text] : values) {
    EXPECT_EQ(shown(listWith(value)), refusal("k: " + text)) << value;
  }
}

TEST_F(PropsJson, IsRefusedWhereItIsNone) {
  const std::string noJson = "no JSON: line 1, column ";
  EXPECT_EQ(shown(""), refusal(noJson + "1: syntax error while parsing value - unexpected end of "
                                        "input; expected '[', '{', or a literal"));
  EXPECT_EQ(shown("{} {}"),
            refusal(noJson + "4: syntax error while parsing value - unexpected '{'; expected end "
                             "of input"));
  EXPECT_EQ(shown("{\"a\xff"), refusal(noJson + "4: syntax error while parsing object key - "
                                                "invalid string: ill-formed UTF-8 byte"));
  EXPECT_EQ(shown("{}\0more"s), refusal("no JSON: it has a NUL inside"));
  EXPECT_EQ(shown("[]"),
            refusal(R"(properties are an object from keys to {"type": TYPE, "value": VALUE})"));
}

TEST_F(PropsJson, IsRefusedWithKeysThatAreThereTwice) {
  const std::string one = property("short", "1");
  EXPECT_EQ(shown("{\"k\": " + one + ", \"k\": " + one + "}"),
            refusal("the key \"k\" is there twice"));
  EXPECT_EQ(shown(listWith(R"({"type": "short", "value": 1, "value": 2})")),
            refusal("the key \"value\" is there twice"));
}

TEST_F(PropsJson, IsRefusedWithANulInAKey) {
  EXPECT_EQ(shown(R"({"a\u0000\u001b": )" + property("short", "1") + "}"),
            refusal("the key \"a??\" has a NUL inside"));
}

TEST_F(PropsJson, IsRefusedWhereItIsNestedTooDeep) {
  EXPECT_EQ(shown(std::string(1000000, '[')), refusal("JSON that is nested more than 200 deep"));
  std::string nested = property("short", "1");
  for (int depth = 1; depth < 64; ++depth) {
    nested = property("properties", listWith(nested));
  }
  test::writeFile("list.json", listWith(nested));
  EXPECT_EQ(test::sprig({"props", "list.json", "convert", "-o", "deep", "--to", "bare"}),
            (Outcome{0, "converted list.json into deep: json to bare, 1 property\n", ""}));
  EXPECT_EQ(test::sprig({"props", "deep", "show", "--json"}).status, 0);
  test::writeFile("list.json", listWith(property("properties", listWith(nested))));
  EXPECT_EQ(test::sprig({"props", "list.json", "convert", "-o", "deeper", "--to", "bare"}),
            (Outcome{1, "", "sprig: deeper: lists are nested too deep\n"}));
}

TEST_F(PropsJson, OfManyPropertiesIsRead) {
  std::string json = "{";
  for (int key = 0; key < 100000; ++key) {
    json += (key == 0 ? "\"" : ",\"") + std::to_string(key) + R"(":{"type":"none","value":null})";
  }
  test::writeFile("list.json", json + "}");
  EXPECT_EQ(test::sprig({"props", "list.json", "convert", "-o", "list", "--to", "bare"}),
            (Outcome{0, "converted list.json into list: json to bare, 100000 properties\n", ""}));
}
