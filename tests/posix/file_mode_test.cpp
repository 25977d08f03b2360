#include "posix/file_mode.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <sprig/pal.h>

using namespace sprig;

TEST(FileMode, TranslatesEachOpenFlagByItself) {
  EXPECT_EQ(GetNativeOFlag(PAL_FILE_READ), O_RDONLY);
  EXPECT_EQ(GetNativeOFlag(PAL_FILE_WRITE), O_WRONLY);
  EXPECT_EQ(GetNativeOFlag(PAL_FILE_READWRITE), O_RDWR);
  EXPECT_EQ(GetNativeOFlag(PAL_FILE_APPEND), O_APPEND);
  EXPECT_EQ(GetNativeOFlag(PAL_FILE_CREATE), O_CREAT);
  EXPECT_EQ(GetNativeOFlag(PAL_FILE_TRUNCATE), O_TRUNC);
  EXPECT_EQ(GetNativeOFlag(PAL_FILE_EXCLUSIVE), O_EXCL);
  EXPECT_EQ(GetNativeOFlag(0), 0);
}

TEST(FileMode, JoinsOpenFlagsEvenWhereTheyExcludeEachOther) {
  EXPECT_EQ(GetNativeOFlag(PAL_FILE_WRITE | PAL_FILE_READWRITE), O_WRONLY | O_RDWR);
}

TEST(FileMode, IgnoresOtherBits) {
  EXPECT_EQ(GetNativeOFlag(0x8001), O_RDONLY);
  EXPECT_EQ(GetNativeOFlag(0x8004), O_RDWR);
  EXPECT_EQ(GetNativeOFlag(0x8204), O_RDWR | O_TRUNC);
  EXPECT_EQ(GetNativeOFlag(0x0102), O_CREAT | O_WRONLY);
  EXPECT_EQ(GetNativeOFlag(0x0104), O_CREAT | O_RDWR);
  EXPECT_EQ(GetNativeOFlag(0xFFFFF8F0), 0);
}

TEST(FileMode, HasTheOpenFlagsThatCallersRelyOn) {
  EXPECT_EQ(PAL_FILE_READ, 0x0001);
  EXPECT_EQ(PAL_FILE_WRITE, 0x0002);
  EXPECT_EQ(PAL_FILE_READWRITE, 0x0004);
  EXPECT_EQ(PAL_FILE_APPEND, 0x0008);
  EXPECT_EQ(PAL_FILE_CREATE, 0x0100);
  EXPECT_EQ(PAL_FILE_TRUNCATE, 0x0200);
  EXPECT_EQ(PAL_FILE_EXCLUSIVE, 0x0400);
}

TEST(FileMode, TranslatesEachPermissionBothWays) {
  const struct {
    uint32_t pal;
    mode_t native;
  } bits[] = {
      {0x001, 0400}, {0x002, 0040}, {0x004, 0004}, {0x010, 0200}, {0x020, 0020},
      {0x040, 0002}, {0x100, 0100}, {0x200, 0010}, {0x400, 0001},
  };
  for (const auto &bit : bits) {
    EXPECT_EQ(GetNativePMode(bit.pal), bit.native);
    EXPECT_EQ(GetPalPMode(bit.native), bit.pal);
  }
}

TEST(FileMode, TranslatesAllNativePermissionsBackToThemselves) {
  for (mode_t mode = 0; mode <= 0777; ++mode) {
    EXPECT_EQ(GetNativePMode(GetPalPMode(mode)), mode);
  }
}

TEST(FileMode, DropsSpecialBitsAndFileTypes) {
  EXPECT_EQ(GetPalPMode(S_IFREG | 07000), 0U);
  EXPECT_EQ(GetNativePMode(0xFFFFF888), 0U);
}

TEST(FileMode, HasThePermissionsThatCallersRelyOn) {
  EXPECT_EQ(PAL_PERM_USER_READ, 0x001);
  EXPECT_EQ(PAL_PERM_GROUP_READ, 0x002);
  EXPECT_EQ(PAL_PERM_OTHER_READ, 0x004);
  EXPECT_EQ(PAL_PERM_USER_WRITE, 0x010);
  EXPECT_EQ(PAL_PERM_GROUP_WRITE, 0x020);
  EXPECT_EQ(PAL_PERM_OTHER_WRITE, 0x040);
  EXPECT_EQ(PAL_PERM_USER_EXEC, 0x100);
  EXPECT_EQ(PAL_PERM_GROUP_EXEC, 0x200);
  EXPECT_EQ(PAL_PERM_OTHER_EXEC, 0x400);
}
