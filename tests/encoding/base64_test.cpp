#include "encoding/base64.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/encoding.h>

#include "support/encoding_reference.h"
#include "support/pal_error.h"

namespace base64 = sprig::base64;
using test::bufferCapacity;
using test::referenceDecode;
using test::referenceEncode;

namespace {

// Whether a buffer is zero from the end of the result to its documented capacity.
bool isClearBehind(const void *buffer, size_t length, size_t capacity) {
  const auto *bytes = static_cast<const char *>(buffer);
  return std::all_of(bytes + length, bytes + capacity, [](char byte) { return byte == 0; });
}

std::string encodeWith(const base64::BlockCoder &coder, const std::string &data) {
  // Copies of exactly the right size, so that a sanitizer sees a step too far.
  const std::vector<char> exact(data.begin(), data.end());
  char *text = nullptr;
  uint32_t length = 99;
  base64::encode(coder, exact.data(), static_cast<uint32_t>(exact.size()), &text, &length);
  if (text == nullptr) {
    EXPECT_EQ(length, 0U);
    EXPECT_TRUE(data.empty());
    return {};
  }
  EXPECT_TRUE(isClearBehind(text, length, bufferCapacity(2 * data.size())));
  std::string result(text, length);
  PalMemoryFree(text);
  return result;
}

std::string decodeWith(const base64::BlockCoder &coder, const std::string &text) {
  const std::vector<char> exact(text.begin(), text.end());
  unsigned char *data = nullptr;
  uint32_t length = 99;
  base64::decode(coder, exact.data(), static_cast<uint32_t>(exact.size()), &data, &length);
  if (data == nullptr) {
    EXPECT_EQ(length, 0U);
    EXPECT_TRUE(text.empty());
    return {};
  }
  EXPECT_TRUE(isClearBehind(data, length, bufferCapacity(text.size())));
  std::string result(reinterpret_cast<char *>(data), length);
  PalMemoryFree(data);
  return result;
}

std::string encode(const std::string &data) { return encodeWith(base64::widestBlockCoder(), data); }

std::string decode(const std::string &text) { return decodeWith(base64::widestBlockCoder(), text); }

std::string bytes(std::initializer_list<int> values) {
  std::string result;
  for (const int value : values) {
    result += static_cast<char>(value);
  }
  return result;
}

// Every coder that this processor can run, forced one by one.
class BlockCoder : public testing::TestWithParam<const base64::BlockCoder *> {
protected:
  const base64::BlockCoder &coder = *GetParam();
};

std::vector<const base64::BlockCoder *> supportedCoders() {
  std::vector<const base64::BlockCoder *> coders;
  for (const auto *coder = base64::blockCoders; coder->name != nullptr; ++coder) {
    if (coder->isSupported()) {
      coders.push_back(coder);
    }
  }
  return coders;
}

INSTANTIATE_TEST_SUITE_P(Supported, BlockCoder, testing::ValuesIn(supportedCoders()),
                         [](const auto &info) { return std::string(info.param->name); });

// Text with everything that the format has a rule for, in a share that `dirt` gives in percent.
std::string dirtyText(std::mt19937 &random, size_t length, unsigned dirt) {
  static const std::string unusual = "\a\b\t\n\v\f\r =\xBD*-_\x06\x0E\x1F!\x8A\xA0\x80\xFF";
  std::string text(length, '\0');
  for (char &character : text) {
    character = base64::Base64Digits[random() % 64];
    if (random() % 100 < dirt) {
      switch (random() % 3) {
      case 0:
        character = static_cast<char>(character | 0x80);
        break;
      case 1:
        character = static_cast<char>(random());
        break;
      default:
        character = unusual[random() % unusual.size()];
      }
    }
  }
  return text;
}

std::string randomData(std::mt19937 &random, size_t length) {
  std::string data(length, '\0');
  std::generate(data.begin(), data.end(), [&] { return static_cast<char>(random()); });
  return data;
}

} // namespace

TEST(Encode, PadsGroupsToFourCharacters) {
  EXPECT_EQ(encode("M"), "TQ==");
  EXPECT_EQ(encode("Ma"), "TWE=");
  EXPECT_EQ(encode("Man"), "TWFu");
}

TEST(Encode, EncodesThePublishedVectors) {
  EXPECT_EQ(encode("f"), "Zg==");
  EXPECT_EQ(encode("fo"), "Zm8=");
  EXPECT_EQ(encode("foo"), "Zm9v");
  EXPECT_EQ(encode("foob"), "Zm9vYg==");
  EXPECT_EQ(encode("fooba"), "Zm9vYmE=");
  EXPECT_EQ(encode("foobar"), "Zm9vYmFy");
}

TEST(Encode, UsesTheWholeAlphabet) {
  std::string data;
  for (unsigned group = 0; group < 64; group += 4) {
    const unsigned bits = group << 18 | (group + 1) << 12 | (group + 2) << 6 | (group + 3);
    data += bytes({static_cast<int>(bits >> 16), static_cast<int>(bits >> 8 & 255),
                   static_cast<int>(bits & 255)});
  }
  EXPECT_EQ(encode(data), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Encode, WritesOneLineHoweverLong) {
  const std::string text = encode(std::string(4096, 'x'));
  EXPECT_EQ(text.size(), 5464U);
  EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
}

TEST(Encode, GivesNothingForNoBytes) {
  for (const char *data : {"x", static_cast<const char *>(nullptr)}) {
    char *text = reinterpret_cast<char *>(&text);
    uint32_t length = 99;
    Encode(data, 0, &text, &length);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(length, 0U);
  }
  char *text = nullptr;
  uint32_t length = 99;
  Encode(nullptr, 5, &text, &length);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(length, 0U);
}

TEST(Encode, GivesNothingWhereTheLengthDoesNotFit) {
  char data = 0;
  char *text = &data;
  uint32_t length = 99;
  Encode(&data, UINT32_MAX, &text, &length); // refused before anything is read
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(length, 0U);
}

TEST(Decode, DecodesWholeGroups) { EXPECT_EQ(decode("TWFu"), "Man"); }

TEST(Decode, CountsTheZeroBytesThatPaddingStandsFor) {
  EXPECT_EQ(decode("TWE="), bytes({0x4D, 0x61, 0}));
  EXPECT_EQ(decode("TQ=="), bytes({0x4D, 0, 0}));
  EXPECT_EQ(decode("TQ==TWE="), bytes({0x4D, 0, 0, 0x4D, 0x61, 0}));
}

TEST(Decode, CountsTrailingCharactersAsBytes) {
  EXPECT_EQ(decode("TWE"), bytes({0x4D, 0x61, 0}));
  EXPECT_EQ(decode("TQ"), bytes({0x4D, 0}));
  EXPECT_EQ(decode("T"), bytes({0x4C}));
  EXPECT_EQ(decode("TWFuT"), "Man" + bytes({0x4C}));
}

TEST(Decode, TakesPaddingForZeroAnywhereInTheEnd) {
  EXPECT_EQ(decode("="), bytes({0}));
  EXPECT_EQ(decode("=T"), bytes({0x01, 0x30}));
  EXPECT_EQ(decode("T="), bytes({0x4C, 0}));
  EXPECT_EQ(decode("TW="), bytes({0x4D, 0x60, 0}));
}

TEST(Decode, TakesPaddingForBitsInTheFirstTwoPlacesOfAGroup) {
  EXPECT_EQ(decode("===="), bytes({0xFF, 0xF0, 0}));
  EXPECT_EQ(decode("=AAA"), bytes({0xFC, 0, 0}));
  EXPECT_EQ(decode("A=AA"), bytes({0x03, 0xF0, 0}));
  EXPECT_EQ(decode("AA=A"), bytes({0, 0, 0}));
  EXPECT_EQ(decode("AA=B"), bytes({0, 0, 1}));
}

TEST(Decode, SkipsEightCharactersAndNoOthers) {
  EXPECT_EQ(decode("TW\r\nFu"), "Man");
  EXPECT_EQ(decode("T W F u"), "Man");
  EXPECT_EQ(decode("\a\b\t\n\v\f\r TWFu"), "Man");
  EXPECT_NE(decode("\x06TWF"), decode("TWF"));
  EXPECT_NE(decode("\x0ETWF"), decode("TWF"));
  EXPECT_EQ(decode("\x8ATWFu").size(), 4U) << "the eighth bit counts before the skipping";
}

TEST(Decode, IgnoresTheEighthBit) {
  EXPECT_EQ(decode("\xD4\xD7\xC6\xF5"), "Man");
  EXPECT_EQ(decode("\xD4\xD1\xBD\xBD"), decode("TQ=="));
}

TEST(Decode, YieldsBytesForCharactersOutsideTheAlphabet) {
  EXPECT_EQ(decode("T*Fu"), bytes({0x4F, 0xE1, 0x6E}));
  EXPECT_EQ(decode("****"), bytes({0xFB, 0xEF, 0xBE}));
  EXPECT_EQ(decode("*"), bytes({0xF8}));
}

TEST(Decode, GivesAClearBufferForNothingButSpace) {
  unsigned char *data = nullptr;
  uint32_t length = 99;
  EXPECT_EQ(Decode(" \r\n\t", 4, &data, &length), test::ok);
  EXPECT_EQ(length, 0U);
  ASSERT_NE(data, nullptr);
  EXPECT_TRUE(isClearBehind(data, 0, 4096));
  PalMemoryFree(data);
}

TEST(Decode, GivesNothingForNoText) {
  unsigned char mark = 0;
  unsigned char *data = &mark;
  uint32_t length = 99;
  EXPECT_EQ(Decode("x", 0, &data, &length), test::ok);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(length, 0U);
  EXPECT_EQ(Decode(nullptr, 5, &data, &length), test::ok);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(length, 0U);
}

TEST(Decode, HasATableWithTheValueOfEachByte) {
  EXPECT_EQ(base64::init(), base64::m_DecodeTable);
  EXPECT_EQ(base64::m_DecodeTable['A'], 0);
  EXPECT_EQ(base64::m_DecodeTable['/'], 63);
  EXPECT_EQ(base64::m_DecodeTable['/' | 0x80], 63);
  EXPECT_EQ(base64::m_DecodeTable['='], 255);
  EXPECT_EQ(base64::m_DecodeTable[0xBD], 255);
  EXPECT_EQ(base64::m_DecodeTable['*'], 254);
  EXPECT_EQ(base64::m_DecodeTable['*' | 0x80], 254);
  EXPECT_EQ(std::count(base64::m_DecodeTable.begin(), base64::m_DecodeTable.end(), 254), 256 - 130);
}

TEST(BlockCoders, EndWithOneThatRunsEverywhere) {
  const auto *last = base64::blockCoders;
  while (last[1].name != nullptr) {
    ++last;
  }
  EXPECT_STREQ(last->name, "portable");
  EXPECT_TRUE(last->isSupported());
}

TEST_P(BlockCoder, AgreesAtAllLengthsUpTo1000) {
  std::mt19937 random(1);
  for (size_t length = 0; length <= 1000; ++length) {
    const std::string data = randomData(random, length);
    const std::string text = referenceEncode(data);
    ASSERT_EQ(encodeWith(coder, data), text) << length;
    ASSERT_EQ(decodeWith(coder, text), referenceDecode(text)) << length;
    const std::string cut = text.substr(0, std::min(length, text.size()));
    ASSERT_EQ(decodeWith(coder, cut), referenceDecode(cut)) << length;
  }
}

TEST_P(BlockCoder, AgreesOnAHundredThousandDirtyTexts) {
  std::mt19937 random(2);
  for (int round = 0; round < 100000; ++round) {
    const unsigned dirt = std::initializer_list<unsigned>{0, 1, 3, 10, 50}.begin()[round % 5];
    const std::string text = dirtyText(random, random() % 200, dirt);
    ASSERT_EQ(decodeWith(coder, text), referenceDecode(text)) << testing::PrintToString(text);
  }
}

TEST_P(BlockCoder, AgreesWhereBuffersTakeTheirNextStep) {
  std::mt19937 random(6);
  for (const size_t length : {2047, 2048, 2049, 4095, 4096, 4097, 8191, 8192, 8193, 100000}) {
    const std::string data = randomData(random, length);
    ASSERT_EQ(encodeWith(coder, data), referenceEncode(data)) << length;
    for (const unsigned dirt : {0U, 1U, 20U}) {
      const std::string text = dirtyText(random, length, dirt);
      ASSERT_EQ(decodeWith(coder, text), referenceDecode(text)) << length;
    }
  }
}

TEST_P(BlockCoder, AgreesAtEveryAddress) {
  std::mt19937 random(7);
  const std::string text = dirtyText(random, 400, 1);
  for (size_t start = 0; start < 64; ++start) {
    unsigned char *data = nullptr;
    uint32_t length = 0;
    base64::decode(coder, text.data() + start, 300, &data, &length);
    const std::string decoded(reinterpret_cast<char *>(data), length);
    PalMemoryFree(data);
    ASSERT_EQ(decoded, referenceDecode(text.substr(start, 300))) << start;
  }
}

TEST_P(BlockCoder, AgreesOnEveryByteAtEveryPlaceOfABlock) {
  const std::string clean = referenceEncode(std::string(72, 'x'));
  for (size_t place = 0; place < clean.size(); ++place) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string text = clean;
      text[place] = static_cast<char>(byte);
      ASSERT_EQ(decodeWith(coder, text), referenceDecode(text)) << byte << " at " << place;
    }
  }
}

TEST_P(BlockCoder, AgreesOnTextInLines) {
  std::mt19937 random(3);
  const std::string text = referenceEncode(randomData(random, 30000));
  std::string lines;
  for (size_t at = 0; at < text.size(); at += 76) {
    lines += text.substr(at, 76) + "\r\n";
  }
  EXPECT_EQ(decodeWith(coder, lines), referenceDecode(text));
}

TEST_P(BlockCoder, ReadsAndWritesNothingOutsideItsBuffers) {
  std::mt19937 random(4);
  for (size_t length = 0; length < 200; ++length) {
    // Blocks of exactly the right size, so that a sanitizer sees a step too far.
    const std::string source = randomData(random, length);
    std::vector<uint8_t> data(source.begin(), source.end());
    std::vector<char> text(length / 3 * 4);
    ASSERT_EQ(coder.encode(data.data(), length, text.data()), length / 3 * 3);
    std::vector<uint8_t> decoded(text.size());
    ASSERT_EQ(coder.decode(text.data(), text.size(), decoded.data()), text.size());
    decoded.resize(length / 3 * 3);
    ASSERT_TRUE(std::equal(decoded.begin(), decoded.end(), data.begin()));
  }
}
