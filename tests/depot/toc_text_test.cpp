// The text of a TOC file is written and read in one go where that is safe. Whatever stands in it,
// it comes to the same as filling in, and searching for, one element after the other.
#include <array>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/encoding.h>

#include "depot/toc_text.h"
#include "support/pal_error.h"

using sprig::ReadContents;
using sprig::TocContents;

namespace {

constexpr int cases = 20000;

const std::array<const char *, sprig::tocElementCount> tags{
    "id", "version", "reference_count", "state", "checksum", "deadline", "location", "properties"};

const std::string emptyText =
    "<<id></id><version></version><reference_count></reference_count><state></state><checksum>"
    "</checksum><deadline></deadline><location></location><properties></properties>>";

// Texts from an alphabet that looks like tags more often than not.
class HostileTexts {
public:
  explicit HostileTexts(unsigned seed) : random_(seed) {}

  int draw(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }

  std::string make(int longest) {
    static const std::vector<std::string> pieces{
        "<",      ">",     "/",         "id",         "version",    " ",         "i",
        "d",      "v",     "x",         "state",      "<id>",       "</id>",     "<version>",
        "</",     "/>",    "<id/>",     "</version>", "<location>", "</state>",  "<!",
        "</id >", "<id >", "<!DOCTYPE", "properties", "<</id>",     "</id></id>"};
    std::string text;
    for (int length = draw(longest + 1); length > 0; --length) {
      text += pieces[static_cast<size_t>(draw(static_cast<int>(pieces.size())))];
    }
    return text;
  }

private:
  std::mt19937 random_;
};

TextRange rangeOf(std::string &text) {
  return text.empty() ? TextRange{nullptr, nullptr}
                      : TextRange{text.data(), text.data() + text.size() - 1};
}

// The text with its NUL, as it comes from filling the empty one in step by step; empty when an
// element is not found.
std::string fillIn(std::array<std::string, sprig::tocElementCount> contents) {
  size_t size = emptyText.size() + 2;
  for (const std::string &content : contents) {
    size += content.size();
  }
  std::vector<char> buffer(size);
  memcpy(buffer.data(), emptyText.c_str(), emptyText.size() + 1);
  char *const start = buffer.data();
  char *end = start + emptyText.size() + 1;
  for (size_t i = 0; i < tags.size(); ++i) {
    const TextRange filled =
        addContentToTag({start, end}, {start, start + size - 1}, tags[i], rangeOf(contents[i]), 1);
    if (filled.first == nullptr) {
      return "";
    }
    end = filled.last;
  }
  return {start, end};
}

ReadContents searchEach(char *text) {
  ReadContents contents;
  for (size_t i = 0; i < tags.size(); ++i) {
    const TextRange range = getTagScope(tags[i], text, nullptr, 0);
    if (range.first != nullptr) {
      contents[i] =
          std::string_view(range.first, static_cast<size_t>(range.last + 1 - range.first));
    }
  }
  return contents;
}

void expectReadAlike(std::string text) {
  const ReadContents read = sprig::readContents(text.data());
  const ReadContents searched = searchEach(text.data());
  for (size_t i = 0; i < tags.size(); ++i) {
    ASSERT_EQ(read[i], searched[i]) << tags[i] << " in " << text;
    if (read[i].has_value() && !read[i]->empty()) {
      ASSERT_EQ(read[i]->data(), searched[i]->data()) << tags[i] << " in " << text;
    }
  }
}

std::array<std::string, sprig::tocElementCount> hostileContents(HostileTexts &texts) {
  std::array<std::string, sprig::tocElementCount> contents;
  const int hostile = texts.draw(3); // mostly the strings, sometimes every element
  for (size_t i = 0; i < contents.size(); ++i) {
    const bool isString = i == sprig::tocId || i == sprig::tocVersion || i == sprig::tocLocation;
    const bool isHostile = isString ? texts.draw(2) == 0 : hostile == 0;
    contents[i] = isHostile ? texts.make(6) : std::to_string(texts.draw(100000));
  }
  return contents;
}

} // namespace

TEST(TocText, IsWrittenAsItIsFilledInStepByStep) {
  HostileTexts texts(1);
  int refused = 0;
  for (int i = 0; i < cases && !testing::Test::HasFailure(); ++i) {
    const auto contents = hostileContents(texts);
    const std::string expected = fillIn(contents);
    refused += expected.empty() ? 1 : 0;
    sprig::TocText text;
    const PalError written =
        text.write(TocContents({contents[0], contents[1], contents[2], contents[3], contents[4],
                                contents[5], contents[6], contents[7]}));
    EXPECT_EQ(written, expected.empty() ? test::invalid(2) : test::ok) << i;
    if (written.palError == PAL_OK) {
      const size_t length = text.length();
      char *bytes = text.handOver();
      EXPECT_EQ(std::string(bytes, length), expected);
      expectReadAlike(bytes);
      PalMemoryFree(bytes);
    }
  }
  EXPECT_GT(refused, 0) << "some contents hide an element";
  EXPECT_LT(refused, cases / 2);
}

TEST(TocText, OfAnyLengthIsWrittenAsItIsFilledIn) {
  for (const size_t size : {1, 31, 32, 33, 199, 200, 201, 4095, 100000}) {
    std::array<std::string, sprig::tocElementCount> contents;
    contents[sprig::tocState] = std::string(size, 'x');
    contents[sprig::tocId] = "<version></version>"; // not in one go
    const std::string expected = fillIn(contents);
    sprig::TocText text;
    TocContents views;
    std::copy(contents.begin(), contents.end(), views.begin());
    ASSERT_EQ(text.write(views), test::ok);
    const size_t length = text.length();
    char *bytes = text.handOver();
    EXPECT_EQ(std::string(bytes, length), expected);
    PalMemoryFree(bytes);
  }
}

TEST(TocText, IsReadAsEachElementIsSearchedFor) {
  HostileTexts texts(2);
  for (int i = 0; i < cases && !HasFatalFailure(); ++i) {
    std::string text = fillIn(hostileContents(texts));
    text.resize(strlen(text.c_str()));
    for (int damage = texts.draw(4); damage > 0 && !text.empty(); --damage) {
      const auto at = static_cast<size_t>(texts.draw(static_cast<int>(text.size())));
      text.replace(at, static_cast<size_t>(texts.draw(4)), texts.make(1));
    }
    expectReadAlike(text);
  }
}

TEST(TocText, OfNothingButTagsIsReadAsEachElementIsSearchedFor) {
  HostileTexts texts(3);
  for (int i = 0; i < cases && !HasFatalFailure(); ++i) {
    expectReadAlike(texts.make(20));
  }
}

TEST(TocText, TellsContentsThatHideAnElementFromThoseThatDoNot) {
  struct Case {
    std::string id;
    bool isFound;
  };
  const std::vector<Case> all{
      {"", true},          {"a", true},           {"<", true},          {"a<b>c", true},
      {"</id>", false},    {"<version>", false},  {"</version>", true}, {"<properties>", false},
      {"<location", true}, {"<version >", false}, {"<id>", true},       {"x</id", true},
  };
  for (const Case &example : all) {
    TocContents contents;
    contents[sprig::tocId] = example.id;
    const bool isFound = sprig::areFoundInPlace(contents);
    EXPECT_EQ(isFound, example.isFound) << example.id;
  }
}
