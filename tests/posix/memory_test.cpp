#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "support/pal_error.h"

TEST(PalMemory, AllocatesNothingForNoBytes) {
  EXPECT_EQ(PalMemoryMalloc(0), nullptr);
  EXPECT_EQ(PalMemoryCalloc(0, 8), nullptr);
  EXPECT_EQ(PalMemoryCalloc(8, 0), nullptr);
}

TEST(PalMemory, AllocatesBlocksThatCanBeUsedAndReleased) {
  auto *block = static_cast<char *>(PalMemoryMalloc(100));
  ASSERT_NE(block, nullptr);
  memset(block, 1, 100);
  PalMemoryFree(block);
}

TEST(PalMemory, ClearsCountedBlocks) {
  auto *block = static_cast<unsigned char *>(PalMemoryCalloc(10, 10));
  ASSERT_NE(block, nullptr);
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(block[i], 0);
  }
  PalMemoryFree(block);
}

TEST(PalMemory, RefusesCountsThatOverflow) {
  volatile size_t huge = SIZE_MAX / 2;
  EXPECT_EQ(PalMemoryCalloc(huge, 4), nullptr);
}

TEST(PalMemory, KeepsTheContentOfABlockThatGrows) {
  auto *block = static_cast<char *>(PalMemoryMalloc(4));
  memcpy(block, "abc", 4);
  block = static_cast<char *>(PalMemoryRealloc(block, 100000));
  EXPECT_STREQ(block, "abc");
  PalMemoryFree(block);
}

TEST(PalMemory, MakesANewBlockOutOfNone) {
  void *block = PalMemoryRealloc(nullptr, 10);
  EXPECT_NE(block, nullptr);
  PalMemoryFree(block);
}

TEST(PalMemory, LeavesABlockAloneThatIsToHaveNoBytes) {
  auto *block = static_cast<char *>(PalMemoryMalloc(4));
  memcpy(block, "abc", 4);
  EXPECT_EQ(PalMemoryRealloc(block, 0), nullptr);
  EXPECT_STREQ(block, "abc");
  PalMemoryFree(block);
}

TEST(PalMemory, ReleasesNull) { PalMemoryFree(nullptr); }

TEST(PalMemory, ComparesEqualPointersAsEqualAndNullAsLess) {
  const char text[] = "text";
  EXPECT_EQ(PalMemoryCmp(nullptr, nullptr, 4), 0);
  EXPECT_EQ(PalMemoryCmp(text, text, 4), 0);
  EXPECT_EQ(PalMemoryCmp(nullptr, text, 4), -1);
  EXPECT_EQ(PalMemoryCmp(text, nullptr, 4), 1);
}

TEST(PalMemory, ComparesBytesAsUnsigned) {
  EXPECT_EQ(PalMemoryCmp("abcx", "abcy", 3), 0);
  EXPECT_LT(PalMemoryCmp("abcx", "abcy", 4), 0);
  EXPECT_GT(PalMemoryCmp("\xff", "a", 1), 0);
  EXPECT_EQ(PalMemoryCmp("a", "b", 0), 0);
}

TEST(PalMemory, CopiesBytes) {
  char target[5] = "....";
  PalMemoryCpy(target, "abc", 2);
  EXPECT_STREQ(target, "ab..");
  PalMemoryMove(target + 1, target, 3);
  EXPECT_STREQ(target, "aab.");
}

TEST(PalMemory, MovesBlocksThatOverlapEitherWay) {
  std::string text;
  for (int i = 0; i < 1000; ++i) {
    text += static_cast<char>('a' + i % 26);
  }
  std::string up = text;
  PalMemoryMove(up.data() + 100, up.data(), 900);
  EXPECT_EQ(up, text.substr(0, 100) + text.substr(0, 900));
  std::string down = text;
  PalMemoryMove(down.data(), down.data() + 100, 900);
  EXPECT_EQ(down, text.substr(100) + text.substr(900));
}

TEST(PalMemory, CopiesNothingWithoutTwoPointersOrASize) {
  char target[5] = "....";
  for (auto *copy : {PalMemoryCpy, PalMemoryMove}) {
    copy(target, nullptr, 2);
    copy(nullptr, target, 2);
    copy(nullptr, nullptr, 2);
    copy(target, "abc", 0);
    copy(target, "abc", -1);
    copy(target, target, 4);
    EXPECT_STREQ(target, "....");
  }
}

TEST(PalMemory, FillsWithTheLowByteOfTheValue) {
  char target[4] = "...";
  const PalError result = PalMemorySet(target, 2, 0x7841);
  EXPECT_EQ(result.palError, PAL_OK);
  EXPECT_EQ(result.nativeError, 0);
  EXPECT_STREQ(target, "AA.");
}

TEST(PalMemory, FillsNothingWithoutAPointerOrASize) {
  char target[4] = "...";
  for (const PalError &result : {PalMemorySet(nullptr, 2, 'A'), PalMemorySet(target, 0, 'A'),
                                 PalMemorySet(target, -1, 'A')}) {
    EXPECT_EQ(result.palError, PAL_INVALID_PARAMETER);
    EXPECT_EQ(result.nativeError, 0);
  }
  EXPECT_STREQ(target, "...");
}
