// Stream keys, byte by byte.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/streams.h>

#include "support/exceptions.h"
#include "support/heap.h"
#include "support/streams.h"
#include "support/values.h"

using namespace std::string_literals;
using test::bytesOf;
using test::Key;

namespace {

// The three bytes in front, as they are for a stream over named files.
const std::string mobile = "\4\0\1"s;
const std::string stationary = "\4\0\2"s;

// A text that begins with its NUL.
const std::string nul(1, '\0');

std::string dataOf(const Key &key) { return stream_key_get_data(key.get()); }

// A key of so many bytes that count up from its type.
Key keyOfType(uint8_t type, uint32_t length = 12) {
  Key key(static_cast<StreamKey *>(mg_calloc(1, sizeof(StreamKey))));
  key->maximum = key->length = length;
  key->buffer = static_cast<uint8_t *>(mg_calloc(1, length));
  std::generate(key->buffer, key->buffer + length - 1, [next = type]() mutable { return next++; });
  return key;
}

} // namespace

TEST(StreamKeyOfFiles, HasItsTextsBehindThreeBytes) {
  const Key key(file_stream_key_new(1, 3, "d1", "/a", "/b"));
  EXPECT_EQ(bytesOf(key), mobile + "d1,/a,/b" + nul);
  EXPECT_EQ(key->length, 12U);
}

TEST(StreamKeyOfFiles, HasNoRoomToSpare) {
  const Key key(file_stream_key_new(1, 2, "d1", "/a"));
  EXPECT_EQ(key->maximum, key->length);
  const Key empty(file_stream_key_new(1, 0));
  EXPECT_EQ(empty->maximum, empty->length);
}

TEST(StreamKeyOfFiles, SaysWhetherItIsForAMobileEndpoint) {
  EXPECT_EQ(bytesOf(Key(file_stream_key_new(0, 1, "d1"))), stationary + "d1" + nul);
  const std::string expected = mobile + "d1" + nul;
  for (const int flag : {1, 2, 3, 256, INT_MAX, -1, INT_MIN}) {
    EXPECT_EQ(bytesOf(Key(file_stream_key_new(flag, 1, "d1"))), expected) << flag;
  }
}

TEST(StreamKeyOfFiles, CountsTheNulThatEndsIt) {
  EXPECT_EQ(Key(file_stream_key_new(0, 1, ""))->length, 4U);
  EXPECT_EQ(Key(file_stream_key_new(0, 1, "a"))->length, 5U);
  EXPECT_EQ(Key(file_stream_key_new(0, 2, "a", "b"))->length, 7U);
  EXPECT_EQ(Key(file_stream_key_new(0, 3, "abc", "", "de"))->length, 11U);
}

TEST(StreamKeyOfFiles, KeepsEmptyTexts) {
  EXPECT_EQ(bytesOf(Key(file_stream_key_new(1, 1, ""))), mobile + nul);
  EXPECT_EQ(bytesOf(Key(file_stream_key_new(1, 2, "", ""))), mobile + "," + nul);
  EXPECT_EQ(bytesOf(Key(file_stream_key_new(1, 3, "d1", "", "/b"))), mobile + "d1,,/b" + nul);
  EXPECT_EQ(bytesOf(Key(file_stream_key_new(1, 2, "d1", ""))), mobile + "d1," + nul);
}

TEST(StreamKeyOfFiles, IsNotMobileWithoutTexts) {
  EXPECT_EQ(bytesOf(Key(file_stream_key_new(1, 0))), "\4\0\0"s);
  EXPECT_EQ(bytesOf(Key(file_stream_key_new(0, 0))), "\4\0\0"s);
}

TEST(StreamKeyOfFiles, HasAnEmptyTextWithoutTexts) {
  EXPECT_EQ(dataOf(Key(file_stream_key_new(0, 0))), "");
}

TEST(StreamKeyOfFiles, TakesTextsAsTheyAre) {
  const std::string all = [] {
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) {
      bytes.push_back(static_cast<char>(byte));
    }
    return bytes;
  }();
  EXPECT_EQ(bytesOf(Key(file_stream_key_new(1, 2, "%s%n", all.c_str()))),
            mobile + "%s%n," + all + nul);
}

TEST(StreamKeyOfFiles, TakesTextsOfAnyLengthAndNumber) {
  const std::string large(1 << 20, 'x');
  const Key key(file_stream_key_new(0, 2, large.c_str(), large.c_str()));
  EXPECT_EQ(bytesOf(key), stationary + large + "," + large + nul);
  const Key many(file_stream_key_new(0, 12, "id", "/1", "/2", "/3", "/4", "/5", "/6", "/7", "/8",
                                     "/9", "/10", "/11"));
  EXPECT_EQ(dataOf(many), "id,/1,/2,/3,/4,/5,/6,/7,/8,/9,/10,/11");
}

// The same text so often that its length is counted beyond what 32 bits hold.
TEST(StreamKeyOfFiles, IsRefusedWithMoreThanItsLengthCanSay) {
  const std::string text(size_t{16} << 20, 'x');
  const auto makeKey = [&]<size_t... index>(std::index_sequence<index...>) {
    file_stream_key_new(0, sizeof...(index), (static_cast<void>(index), text.c_str())...);
  };
  const auto exception = test::thrown([&] { makeKey(std::make_index_sequence<257>()); });
  ASSERT_TRUE(exception);
  EXPECT_EQ(exception->text, "A stream key cannot have more than 4294967295 bytes.\n");
}

TEST(StreamKeyOfFiles, LooksAtNoMoreTextsThanItIsTold) {
  EXPECT_EQ(bytesOf(Key(file_stream_key_new(1, 1, "d1", "/a"))), mobile + "d1" + nul);
}

TEST(StreamKeyOfFiles, HasCopies) {
  std::string id = "d1";
  const Key key(file_stream_key_new(0, 1, id.c_str()));
  id = "xx";
  EXPECT_EQ(dataOf(key), "d1");
}

TEST(StreamKeyOfFiles, LeavesNothingBehind) {
  test::expectNothingLost([] {
    stream_key_delete(file_stream_key_new(1, 3, "d1", "/a", "/b"));
    stream_key_delete(file_stream_key_new(1, 0));
    stream_key_delete(nullptr);
  });
}

TEST(StreamKey, IsAValueThatCanBeCopied) {
  sprig_init();
  const Key key(file_stream_key_new(1, 2, "d1", "/a"));
  test::Value copy(TC_NEX_Sprig2_StreamKey);
  _t_generic_copy(TC_NEX_Sprig2_StreamKey, nullptr, key.get(), copy.data());
  EXPECT_NE(copy.as<StreamKey>().buffer, key->buffer);
  EXPECT_NE(_t_generic_equal(TC_NEX_Sprig2_StreamKey, nullptr, key.get(), copy.data()), 0);
}

TEST(StreamKey, HasItsTextBehindThreeBytesForNamedFilesElseBehindTwo) {
  for (int type = 0; type < 256; ++type) {
    const Key key = keyOfType(static_cast<uint8_t>(type));
    const char *const data = stream_key_get_data(key.get());
    const int offset = type == 4 ? 3 : 2;
    EXPECT_EQ(data, reinterpret_cast<char *>(key->buffer) + offset) << type;
  }
}

TEST(StreamKey, GivesItsTextInPlace) {
  const Key key(file_stream_key_new(1, 2, "d1", "/a"));
  stream_key_get_data(key.get())[2] = ';';
  EXPECT_EQ(bytesOf(key), mobile + "d1;/a" + nul);
}
