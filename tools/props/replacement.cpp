#include "props/replacement.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "failure.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

std::string withoutLinks(const std::string &path) {
  std::error_code error;
  const fs::path target = fs::canonical(path, error);
  return error ? path : target.string();
}

} // namespace

Replacement::Replacement(const std::string &target) : name_(target), target_(withoutLinks(target)) {
  lockOld();
  makeNew();
}

Replacement::~Replacement() {
  if (!path_.empty()) {
    unlink(path_.c_str());
  }
}

void Replacement::lockOld() {
  do {
    old_ = Descriptor(open(target_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!old_ && errno == ENOENT) {
      return;
    }
    if (!old_ || access(target_.c_str(), W_OK) == -1) {
      throw systemFailure(name_);
    }
    static_cast<void>(InputFile(name_)); // refuses what is no file
    while (flock(old_.get(), LOCK_EX) == -1 && errno == EINTR) {
    }
  } while (!isOldStillThere()); // where another has replaced it meanwhile
}

bool Replacement::isOldStillThere() const {
  struct stat locked {};
  struct stat named {};
  return fstat(old_.get(), &locked) == 0 && stat(target_.c_str(), &named) == 0 &&
         locked.st_dev == named.st_dev && locked.st_ino == named.st_ino;
}

void Replacement::makeNew() {
  std::string path = target_ + ".XXXXXX";
  const Descriptor file(mkostemp(path.data(), O_CLOEXEC));
  if (!file) {
    throw systemFailure(name_);
  }
  path_ = path;
  struct stat old {};
  if (old_ && fstat(old_.get(), &old) == 0) {
    static_cast<void>(fchown(file.get(), old.st_uid, old.st_gid)); // not everybody may
    if (fchmod(file.get(), old.st_mode & 0777U) == -1) {
      throw systemFailure(name_);
    }
  }
}

// What is new takes nobody's place: another may have made the file meanwhile. Its first name goes
// with the destructor.
void Replacement::commit() {
  if (!isOldThere()) {
    if (link(path_.c_str(), target_.c_str()) == -1) {
      throw systemFailure(name_);
    }
  } else if (rename(path_.c_str(), target_.c_str()) == -1) {
    throw systemFailure(name_);
  } else {
    path_.clear();
  }
}

} // namespace tool
