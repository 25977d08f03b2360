#include "receive/target.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"
#include "output.h"
#include "receive/interrupt.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

using Kind = TreeEntry::Kind;

constexpr mode_t privateMode = 0600; // until a file has its own
constexpr const char *keptName = "/.sprig";
constexpr const char *lockName = "/.sprig/.lock"; // no id begins with a dot

void check(int result, const std::string &name) {
  if (result == -1) {
    throw systemFailure(printable(name));
  }
}

// A directory itself, not a link to one: what is written below must stay below.
void makeDirectory(const std::string &path, mode_t mode = 0777) {
  struct stat status {};
  if (mkdir(path.c_str(), mode) == -1 && errno != EEXIST) {
    throw systemFailure(printable(path));
  }
  check(lstat(path.c_str(), &status), path);
  if (!S_ISDIR(status.st_mode)) {
    throw Failure(printable(path) + ": in the way of a directory", "move it away");
  }
}

void append(const std::string &source, OutputFile &destination) {
  InputFile file(source, false);
  std::array<char, 65536> buffer;
  while (const size_t count = file.read(buffer.data(), buffer.size())) {
    destination.write({buffer.data(), count});
  }
}

bool isRegularFileOf(const std::string &path, uint64_t size) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         static_cast<uint64_t>(status.st_size) == size;
}

// Whether whoever had it has taken it away.
bool isGone(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == -1 || status.st_nlink == 0;
}

uint64_t sizeOfRegularFile(const std::string &path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)
             ? static_cast<uint64_t>(status.st_size)
             : 0;
}

} // namespace

Target::Target(std::string directory, std::string name, const Distribution &distribution)
    : directory_(std::move(directory)), name_(std::move(name)), distribution_(distribution),
      parts_(directory_ + keptName + '/' + distribution.id), segments_(distribution.table.size()),
      isPlaced_(distribution.tree.size()) {
  lock();
  makeDirectories();
}

void Target::lock() {
  std::error_code error;
  fs::create_directories(directory_, error);
  if (error) {
    throw systemFailure(printable(name_), error.value());
  }
  for (int attempt = 0; attempt < 3 && !lock_; ++attempt) { // who ends takes the lock away
    makeDirectory(directory_ + keptName, 0700);
    tryToLock();
  }
  if (!lock_) {
    throw Failure(printable(name_) + ": another receive is at work there",
                  "wait for it, or receive into another directory");
  }
  makeDirectory(parts_, 0700);
}

void Target::tryToLock() {
  const std::string path = directory_ + lockName;
  Descriptor lock(open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!lock && errno != ENOENT) {
    throw systemFailure(path);
  }
  if (lock && flock(lock.get(), LOCK_EX | LOCK_NB) == 0 && !isGone(lock.get())) {
    lock_ = std::move(lock);
  }
}

// They get their own permissions when everything in them is in place.
void Target::makeDirectories() {
  for (const TreeEntry &entry : distribution_.tree) {
    if (entry.kind == Kind::directory) {
      makeDirectory(pathOf(entry));
      if (access(pathOf(entry).c_str(), W_OK | X_OK) == -1) {
        check(chmod(pathOf(entry).c_str(), S_IRWXU), pathOf(entry));
      }
    }
  }
}

template <typename Visit> void Target::forEachFile(Visit visit) const {
  size_t first = 0;
  for (const TreeEntry &entry : distribution_.tree) {
    if (entry.kind == Kind::file) {
      visit(entry, first);
      first += entry.segmentCount;
    }
  }
}

void Target::scan() {
  forEachFile([this](const TreeEntry &entry, size_t first) {
    InterruptHandler::endIfInterrupted();
    scanFile(entry, first);
  });
}

void Target::scanFile(const TreeEntry &entry, size_t first) {
  const bool isThere = isInPlace(entry, first);
  isPlaced_[indexOf(entry)] = isThere;
  for (size_t segment = first; segment < first + entry.segmentCount; ++segment) {
    if (isThere) {
      note(segment, {sizeOf(segment), true});
    } else {
      scanPart(segment);
    }
  }
}

// One that cannot be read is as good as none.
bool Target::isInPlace(const TreeEntry &entry, size_t first) const {
  try {
    return matches(entry, first);
  } catch (const Failure &) {
    return false;
  }
}

bool Target::matches(const TreeEntry &entry, size_t first) const {
  uint64_t size = 0;
  for (size_t segment = first; segment < first + entry.segmentCount; ++segment) {
    size += sizeOf(segment);
  }
  const std::string path = pathOf(entry);
  if (!isRegularFileOf(path, size)) {
    return false;
  }
  uint64_t offset = 0;
  for (size_t segment = first; segment < first + entry.segmentCount; ++segment) {
    if (digestOf(path, offset, sizeOf(segment)) !=
        sprig::ConstSegmentView(distribution_.table[segment]).checksum()) {
      return false;
    }
    offset += sizeOf(segment);
  }
  return true;
}

// One that is longer than its segment has what follows in the file behind it.
void Target::scanPart(size_t segment) {
  const std::string path = partPath(segment);
  const uint64_t size = sizeOfRegularFile(path);
  const uint64_t whole = sizeOf(segment);
  if (size < whole) {
    note(segment, {size, false});
    return;
  }
  const bool isGood =
      digestOf(path, 0, whole) == sprig::ConstSegmentView(distribution_.table[segment]).checksum();
  OutputFile(path, OutputFile::Start::atEnd).truncate(isGood ? whole : 0);
  note(segment, {isGood ? whole : 0, isGood});
}

bool Target::isAllVerified() const {
  return std::all_of(segments_.begin(), segments_.end(),
                     [](const Segment &segment) { return segment.isVerified; });
}

void Target::note(size_t segment, Segment now) {
  haveInAll_ += now.have - segments_[segment].have;
  segments_[segment] = now;
}

std::vector<size_t> Target::segmentsInParts() const {
  std::vector<size_t> segments;
  forEachFile([&](const TreeEntry &entry, size_t first) {
    for (size_t i = 0; i < entry.segmentCount && !isPlaced(entry); ++i) {
      segments.push_back(first + i);
    }
  });
  return segments;
}

void Target::place() {
  forEachFile([this](const TreeEntry &entry, size_t first) {
    if (!isPlaced(entry)) {
      placeFile(entry, first);
    }
    const std::string path = pathOf(entry);
    const std::array<timespec, 2> times{timespec{0, UTIME_OMIT}, timespec{entry.modified, 0}};
    check(chmod(path.c_str(), entry.mode), path);
    check(utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW), path);
  });
  // Those inside first: a directory may allow no changes any more.
  for (auto entry = distribution_.tree.rbegin(); entry != distribution_.tree.rend(); ++entry) {
    if (entry->kind == Kind::link) {
      placeLink(*entry);
    } else if (entry->kind == Kind::directory) {
      check(chmod(pathOf(*entry).c_str(), entry->mode), pathOf(*entry));
    }
  }
  removeParts();
}

void Target::removeParts() const {
  fs::remove_all(parts_);
  fs::remove(directory_ + lockName);
  rmdir((directory_ + keptName).c_str()); // unless there are parts of something else
}

void Target::placeFile(const TreeEntry &entry, size_t first) {
  const std::string path = pathOf(entry);
  const std::string whole = entry.segmentCount == 0 ? parts_ + "/empty" : partPath(first);
  if (entry.segmentCount == 0) {
    OutputFile(whole, OutputFile::Start::empty, privateMode).close();
  } else {
    appendParts(whole, first, entry.segmentCount);
  }
  check(rename(whole.c_str(), path.c_str()), path);
}

// The first part grows to the whole file. Each part stays until it is in it.
void Target::appendParts(const std::string &path, size_t first, uint32_t count) const {
  if (count == 1) {
    return;
  }
  OutputFile file(path, OutputFile::Start::atEnd);
  for (size_t segment = first + 1; segment < first + count; ++segment) {
    append(partPath(segment), file);
  }
  file.close();
  for (size_t segment = first + 1; segment < first + count; ++segment) {
    fs::remove(partPath(segment));
  }
}

void Target::placeLink(const TreeEntry &entry) const {
  const std::string made = parts_ + "/link";
  const std::string path = pathOf(entry);
  std::error_code isNone;
  if (fs::read_symlink(path, isNone) == entry.target && !isNone) {
    return;
  }
  fs::remove(made);
  check(symlink(entry.target.c_str(), made.c_str()), path);
  check(rename(made.c_str(), path.c_str()), path);
}

// The version keeps parts of one distribution apart from those of another with its id.
std::string Target::partPath(size_t segment) const {
  const sprig::ConstSegmentView described = distribution_.table[segment];
  return parts_ + '/' + std::to_string(segment + 1) + '-' +
         hexadecimal(described.checksum()).substr(0, 16);
}

uint64_t Target::sizeOf(size_t segment) const {
  return static_cast<uint64_t>(sprig::ConstSegmentView(distribution_.table[segment]).size());
}

namespace {

// What is there is not counted as received twice.
OutputFile partFile(const std::string &path, uint64_t have) {
  OutputFile file(path, OutputFile::Start::atEnd, privateMode);
  file.truncate(have);
  return file;
}

} // namespace

Part::Part(Target &target, size_t segment)
    : target_(target), segment_(segment),
      file_(partFile(target.partPath(segment), target.have(segment))) {
  const uint64_t have = target_.have(segment_);
  InputFile begun(file_.path(), false);
  std::array<char, 65536> buffer;
  uint64_t left = have;
  while (left > 0) {
    const size_t count = begun.read(buffer.data(), std::min<uint64_t>(left, buffer.size()));
    if (count == 0) {
      throw Failure(file_.path() + ": it has become shorter");
    }
    digest_.add(buffer.data(), count);
    left -= count;
  }
}

uint64_t Part::missing() const { return target_.sizeOf(segment_) - target_.have(segment_); }

void Part::write(std::string_view bytes) {
  file_.write(bytes);
  digest_.add(bytes);
  target_.note(segment_, {target_.have(segment_) + bytes.size(), false});
}

std::optional<std::string> Part::finish() {
  const uint64_t missing = this->missing();
  const sprig::Octets expected =
      sprig::ConstSegmentView(target_.distribution_.table[segment_]).checksum();
  const sprig::Octets found = digest_.finish();
  const bool isGood = missing == 0 && found == expected;
  if (!isGood) {
    file_.truncate(0);
  }
  file_.close();
  target_.note(segment_, {isGood ? target_.sizeOf(segment_) : 0, isGood});
  if (isGood) {
    return std::nullopt;
  }
  return missing > 0 ? counted(missing, "byte") + " of it are missing"
                     : "its SHA-256 is " + hexadecimal(found) + ", not " + hexadecimal(expected);
}

} // namespace tool
