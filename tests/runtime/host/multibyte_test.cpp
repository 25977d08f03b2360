// The bytes of multibyte text, held against a plain reading of what UTF-8 is.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/framework.h>

namespace {

using Classes = std::vector<int>;

struct Form {
  uint8_t firstLow;
  uint8_t firstHigh;
  uint8_t secondLow;
  uint8_t secondHigh;
  size_t length;
};

// Every form that a character can have; the third and fourth bytes are 80 to BF.
const Form forms[] = {
    {0x01, 0x7f, 0, 0, 1},       {0xc2, 0xdf, 0x80, 0xbf, 2}, {0xe0, 0xe0, 0xa0, 0xbf, 3},
    {0xe1, 0xec, 0x80, 0xbf, 3}, {0xed, 0xed, 0x80, 0x9f, 3}, {0xee, 0xef, 0x80, 0xbf, 3},
    {0xf0, 0xf0, 0x90, 0xbf, 4}, {0xf1, 0xf3, 0x80, 0xbf, 4}, {0xf4, 0xf4, 0x80, 0x8f, 4}};

bool isBetween(uint8_t byte, uint8_t low, uint8_t high) { return byte >= low && byte <= high; }

bool isOf(const Form &form, const std::string &text, size_t at) {
  const auto byteAt = [&](size_t i) {
    return i < text.size() ? static_cast<uint8_t>(text[i]) : uint8_t{0};
  };
  bool result = isBetween(byteAt(at), form.firstLow, form.firstHigh) &&
                (form.length < 2 || isBetween(byteAt(at + 1), form.secondLow, form.secondHigh));
  for (size_t i = 2; i < form.length; ++i) {
    result = result && isBetween(byteAt(at + i), 0x80, 0xbf);
  }
  return result;
}

// The length of the character that begins there, or 0.
size_t characterAt(const std::string &text, size_t at) {
  for (const Form &form : forms) {
    if (isOf(form, text, at)) {
      return form.length;
    }
  }
  return 0;
}

Classes reference(const std::string &text) {
  Classes classes(text.size(), -1);
  for (size_t at = 0; at < text.size(); ++at) {
    const size_t length = characterAt(text, at);
    if (length == 1) {
      classes[at] = 0;
    } else if (length > 1) {
      classes[at] = 2;
      std::fill_n(classes.begin() + static_cast<ptrdiff_t>(at) + 1, length - 1, 1);
      at += length - 1;
    }
  }
  return classes;
}

// In a block that ends with the text.
Classes classesOf(const std::string &text) {
  const std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1);
  Classes classes(text.size());
  for (size_t at = 0; at < text.size(); ++at) {
    classes[at] = ulk_mbsbtype(exact.data(), static_cast<int32_t>(at));
  }
  return classes;
}

void expectSame(const std::string &text) {
  ASSERT_EQ(classesOf(text), reference(text)) << testing::PrintToString(text);
}

// Bytes on either side of every border between forms.
const std::string borders = "\x01\x41\x7f\x80\x81\x8f\x90\x9f\xa0\xbf\xc0\xc1\xc2\xdf\xe0\xe1\xec"
                            "\xed\xee\xef\xf0\xf1\xf3\xf4\xf5\xf7\xf8\xff";

} // namespace

TEST(ByteType, OfPlainTextIsThatOfSingleBytes) {
  for (int byte = 1; byte < 0x80; ++byte) {
    EXPECT_EQ(classesOf(std::string(1, static_cast<char>(byte))), Classes{0}) << byte;
  }
  EXPECT_EQ(classesOf("rose"), (Classes{0, 0, 0, 0}));
}

TEST(ByteType, OfLongerCharactersIsThatOfALeadAndOthers) {
  EXPECT_EQ(classesOf("\u00fc"), (Classes{2, 1}));
  EXPECT_EQ(classesOf("\u20ac"), (Classes{2, 1, 1}));
  EXPECT_EQ(classesOf("\U0001f339"), (Classes{2, 1, 1, 1}));
  EXPECT_EQ(classesOf("a\u00fc\u20acb\U0001f339"), (Classes{0, 2, 1, 2, 1, 1, 0, 2, 1, 1, 1}));
}

TEST(ByteType, OfOverlongCharactersIsNone) {
  for (const char *text : {"\xc0\x80", "\xc0\xaf", "\xc1\xbf", "\xe0\x80\xaf", "\xe0\x9f\xbf",
                           "\xf0\x80\x80\xaf", "\xf0\x8f\xbf\xbf", "\xf8\x88\x80\x80\x80"}) {
    EXPECT_EQ(classesOf(text), Classes(std::string(text).size(), -1));
  }
}

TEST(ByteType, OfSurrogatesIsNone) {
  EXPECT_EQ(classesOf("\xed\xa0\x80"), (Classes{-1, -1, -1}));
  EXPECT_EQ(classesOf("\xed\xbf\xbf"), (Classes{-1, -1, -1}));
  EXPECT_EQ(classesOf("\xed\x9f\xbf\xee\x80\x80"), (Classes{2, 1, 1, 2, 1, 1}));
}

TEST(ByteType, OfCharactersThatThereAreNotIsNone) {
  EXPECT_EQ(classesOf("\xf4\x8f\xbf\xbf"), (Classes{2, 1, 1, 1}));
  EXPECT_EQ(classesOf("\xf4\x90\x80\x80"), (Classes{-1, -1, -1, -1}));
  EXPECT_EQ(classesOf("\xf5\x80\x80\x80"), (Classes{-1, -1, -1, -1}));
  EXPECT_EQ(classesOf("\xfe\xff"), (Classes{-1, -1}));
}

TEST(ByteType, OfCharactersThatAreCutOffIsNone) {
  EXPECT_EQ(classesOf("\xc3"), Classes{-1});
  EXPECT_EQ(classesOf("\xe2\x82"), (Classes{-1, -1}));
  EXPECT_EQ(classesOf("\xf0\x9f\x8c"), (Classes{-1, -1, -1}));
  EXPECT_EQ(classesOf("\xe2\x82"
                      "a\xc3\xbc"),
            (Classes{-1, -1, 0, 2, 1}));
  EXPECT_EQ(classesOf("\x80\xbf"), (Classes{-1, -1}));
}

TEST(ByteType, OfEveryByteAndPairIsWhatItsFormSays) {
  for (int first = 1; first < 256; ++first) {
    expectSame({static_cast<char>(first)});
    for (int second = 1; second < 256; ++second) {
      expectSame({static_cast<char>(first), static_cast<char>(second)});
    }
  }
}

TEST(ByteType, OfLongerSequencesIsWhatTheirFormsSay) {
  for (const char first : borders) {
    for (const char second : borders) {
      for (const char third : borders) {
        expectSame({first, second, third});
        for (const char fourth : borders) {
          expectSame({first, second, third, fourth});
        }
      }
    }
  }
}

TEST(ByteType, OfWhatFollowsBrokenTextIsItsOwn) {
  for (const char first : borders) {
    for (const char second : borders) {
      expectSame(std::string{first, second} + "\u20ac\u00fc" + std::string{first, second} + "a");
      expectSame(std::string{'\xf0', '\x9f', first} + "\U0001f339" + std::string{second});
    }
  }
}

TEST(ByteType, OutsideOfTheTextIsNone) {
  for (const std::string text : {"", "a", "\u20ac", "\xe2\x82", "rose"}) {
    const auto length = static_cast<int32_t>(text.size());
    for (const int32_t index : {-1, -2, std::numeric_limits<int32_t>::min(), length, length + 1,
                                length + 1000, std::numeric_limits<int32_t>::max()}) {
      EXPECT_EQ(ulk_mbsbtype(text.c_str(), index), -1) << text << ' ' << index;
    }
  }
}

TEST(ByteType, IsFoundInLongTexts) {
  std::string text;
  for (int i = 0; i < 10000; ++i) {
    text.append("a\u00fc");
  }
  EXPECT_EQ(ulk_mbsbtype(text.c_str(), 29997), 0);
  EXPECT_EQ(ulk_mbsbtype(text.c_str(), 29998), 2);
  EXPECT_EQ(ulk_mbsbtype(text.c_str(), 29999), 1);
  EXPECT_EQ(ulk_mbsbtype(text.c_str(), 30000), -1);
}
