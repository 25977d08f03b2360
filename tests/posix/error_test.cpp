#include <gtest/gtest.h>

#include "support/pal_error.h"

TEST(PalError, IsFilledInTheOrderOfItsMembers) {
  PalError record{};
  PalErrorCreate(&record, 1, 2, 3);
  EXPECT_EQ(record.palError, 1);
  EXPECT_EQ(record.nativeError, 2);
  EXPECT_EQ(record.traceLocation, 3);
}

TEST(PalError, ToleratesANullRecord) { PalErrorCreate(nullptr, 1, 2, 3); }

TEST(PalError, HasTheCodesThatCallersRelyOn) {
  EXPECT_EQ(PAL_OK, 0);
  EXPECT_EQ(PAL_INVALID_PARAMETER, 21);
  EXPECT_EQ(PAL_OUT_OF_MEMORY, 12);
  EXPECT_EQ(PAL_WAIT_TIMEOUT, -2);
  EXPECT_EQ(PAL_SYSTEM_CALL_FAILED, -4);
  EXPECT_EQ(PAL_END_OF_LIST, -6);
  EXPECT_EQ(PAL_NOT_FOUND, 2);
  EXPECT_EQ(PAL_TEXT_TOO_LONG, 7);
  EXPECT_EQ(PAL_NOT_SUPPORTED, -1);
  EXPECT_EQ(PAL_NO_DEPOT_SPACE, 26);
}
