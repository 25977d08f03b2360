#include "records/replace_file.h"

#include <cerrno>
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
#include "properties/files.h"

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
  return S_ISREG(old.st_mode) && old.st_nlink <= 1 &&
         faccessat(AT_FDCWD, path, W_OK, AT_EACCESS) == 0;
}

// Gives the new file the owner and permissions of the old one. False where that cannot be done.
bool takeOver(int descriptor, const struct stat &old) {
  struct stat made {};
  const bool isSame =
      fstat(descriptor, &made) == 0 && made.st_uid == old.st_uid && made.st_gid == old.st_gid;
  return (isSame || fchown(descriptor, old.st_uid, old.st_gid) == 0) &&
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
bool makeBeside(Replacement &replacement, const char *path) {
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
  return replacement.isThere && (isNew || takeOver(descriptor, old));
}

bool putInPlace(Replacement &replacement) {
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
    if (makeBeside(replacement, path)) {
      writeEncoded(list, &replacement.file);
      isReplaced = putInPlace(replacement);
    }
  });
  if (!isReplaced) {
    properties_save_without_len(list, path);
  }
}
