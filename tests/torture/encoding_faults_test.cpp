#include <cerrno>

#include <gtest/gtest.h>

#include <sprig/encoding.h>

#include "support/pal_error.h"
#include "torture/faults.h"

TEST(EncodingOutOfMemory, GivesNothing) {
  char *text = nullptr;
  unsigned char *data = nullptr;
  uint32_t length = 99;
  const test::Fault encoding("malloc", ENOMEM);
  Encode("data", 4, &text, &length);
  EXPECT_TRUE(encoding.hasStruck());
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(length, 0U);

  length = 99;
  const test::Fault decoding("malloc", ENOMEM);
  EXPECT_EQ(Decode("text", 4, &data, &length), test::ok);
  EXPECT_TRUE(decoding.hasStruck());
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(length, 0U);
}
