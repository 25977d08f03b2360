#include "posix/file_mode.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <sprig/pal.h>

namespace sprig {
namespace {

struct OpenFlag {
  uint32_t pal;
  int native;
};

// Each flag stands for itself: whether a combination makes sense is for the system to say.
constexpr OpenFlag openFlags[] = {
    {PAL_FILE_READ, O_RDONLY},    {PAL_FILE_WRITE, O_WRONLY}, {PAL_FILE_READWRITE, O_RDWR},
    {PAL_FILE_APPEND, O_APPEND},  {PAL_FILE_CREATE, O_CREAT}, {PAL_FILE_TRUNCATE, O_TRUNC},
    {PAL_FILE_EXCLUSIVE, O_EXCL},
};

struct Permission {
  uint32_t pal;
  mode_t native;
};

constexpr Permission permissions[] = {
    {PAL_PERM_USER_READ, S_IRUSR},   {PAL_PERM_GROUP_READ, S_IRGRP},
    {PAL_PERM_OTHER_READ, S_IROTH},  {PAL_PERM_USER_WRITE, S_IWUSR},
    {PAL_PERM_GROUP_WRITE, S_IWGRP}, {PAL_PERM_OTHER_WRITE, S_IWOTH},
    {PAL_PERM_USER_EXEC, S_IXUSR},   {PAL_PERM_GROUP_EXEC, S_IXGRP},
    {PAL_PERM_OTHER_EXEC, S_IXOTH},
};

} // namespace

int GetNativeOFlag(uint32_t oflag) {
  int native = 0;
  for (const OpenFlag &flag : openFlags) {
    native |= (oflag & flag.pal) != 0 ? flag.native : 0;
  }
  return native;
}

mode_t GetNativePMode(uint32_t permission) {
  mode_t native = 0;
  for (const Permission &bit : permissions) {
    native |= (permission & bit.pal) != 0 ? bit.native : 0;
  }
  return native;
}

uint32_t GetPalPMode(mode_t mode) {
  uint32_t permission = 0;
  for (const Permission &bit : permissions) {
    permission |= (mode & bit.native) != 0 ? bit.pal : 0;
  }
  return permission;
}

} // namespace sprig
