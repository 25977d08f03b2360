#include "records/replace_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/properties.h>

#include "framework/try_frame.h"

namespace {

constexpr const char *temporarySuffix = ".XXXXXX";

// A file that is written under another name than its own. Failures name its own.
struct Replacement {
  File file; // the path is the caller's
  char *temporary;
  bool isThere; // under its temporary name
};

// A plain file that nobody knows by another name; one that has no name any more was replaced by
// somebody else just now. Links, devices and the like are written to.
bool canBeReplaced(const struct stat &old, const char *path) {
  return S_ISREG(old.st_mode) && old.st_nlink <= 1 && access(path, W_OK) == 0;
}

// Whether the new file can have what the old one has.
bool takesOver(int descriptor, const struct stat &old) {
  struct stat made {};
  return fstat(descriptor, &made) == 0 && made.st_uid == old.st_uid && made.st_gid == old.st_gid &&
         fchmod(descriptor, old.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO)) == 0;
}

// Closes and removes what has not taken its place.
void discard(void *block) {
  const auto *replacement = static_cast<const Replacement *>(block);
  if (replacement->file.descriptor != -1) {
    close(replacement->file.descriptor);
  }
  if (replacement->isThere) {
    unlink(replacement->temporary);
  }
}

// Makes the file beside the old one, if there is one. False where that cannot be done.
bool begin(Replacement &replacement, const char *path) {
  struct stat old {};
  const bool isNew = lstat(path, &old) != 0 && errno == ENOENT;
  const size_t size = strlen(path) + strlen(temporarySuffix) + 1;
  if (size > static_cast<size_t>(pathname_max_length()) || (!isNew && !canBeReplaced(old, path))) {
    return false;
  }
  replacement.temporary = pathname_build_filename(path, temporarySuffix, "");
  ex_delegate(replacement.temporary, mg_free);
  ex_delegate(&replacement, discard);
  const int descriptor = mkostemp(replacement.temporary, O_CLOEXEC);
  replacement.file = {const_cast<char *>(path), descriptor};
  replacement.isThere = descriptor != -1;
  return replacement.isThere && (isNew || takesOver(descriptor, old));
}

bool finish(Replacement &replacement) {
  const bool isWhole = close(replacement.file.descriptor) == 0;
  replacement.file.descriptor = -1;
  const bool isReplaced = isWhole && rename(replacement.temporary, replacement.file.path) == 0;
  replacement.isThere = !isReplaced;
  return isReplaced;
}

} // namespace

void sprig::replaceFile(const Properties *list, const char *path) {
  bool isReplaced = false;
  Replacement replacement{{nullptr, -1}, nullptr, false};
  inTryFrame([&] {
    uint8_t *data = nullptr;
    uint32_t length = 0;
    if (begin(replacement, path)) {
      properties_encode(TC_NEX_Sprig2_Properties, list, &data, &length);
      ex_delegate(data, mg_free);
      file_write(&replacement.file, data,
                 static_cast<int32_t>(std::min<uint32_t>(length, INT32_MAX)));
      isReplaced = finish(replacement);
    }
  });
  if (!isReplaced) {
    properties_save_without_len(list, path);
  }
}
