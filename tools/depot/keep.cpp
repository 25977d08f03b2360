#include <array>
#include <cerrno>
#include <optional>

#include <sys/statvfs.h>
#include <unistd.h>

#include "depot/depot.h"
#include "depot/description.h"
#include "depot/entries.h"
#include "depot/filling.h"
#include "digest.h"
#include "failure.h"
#include "file.h"

namespace tool {
namespace {

// Why an entry cannot be made, for which the library has no number; 0 where that cannot be found
// out.
int whyNothingCanBeAdded(const std::string &directory) {
  struct statvfs system {};
  if (statvfs(directory.c_str(), &system) == -1 ||
      access(directory.c_str(), R_OK | W_OK | X_OK) == -1) {
    return errno;
  }
  const bool isFull = system.f_bavail == 0 || (system.f_files != 0 && system.f_ffree == 0);
  return isFull ? ENOSPC : 0;
}

Kept notKept(int error) { return {false, std::generic_category().message(error), error}; }

Kept notKept(const sprig::DepotError &error, const std::string &directory) {
  if (error.native_error() != 0) {
    return notKept(error.native_error());
  }
  if (error.operation() != std::string_view("DepotAddEntry")) {
    return {false, reasonOf(error)};
  }
  const int reason = whyNothingCanBeAdded(directory);
  return reason == 0 ? Kept{false, "no entry can be made in it"} : notKept(reason);
}

// Puts one segment into a depot.
class Keeper {
public:
  Keeper(sprig::Depot &depot, sprig::ConstSegmentView segment, const std::string &path,
         int32_t deadline)
      : depot_(depot), segment_(segment), id_(segment.id()), version_(segment.version()),
        size_(static_cast<uint64_t>(segment.size())), path_(path), deadline_(deadline) {}

  void keep() {
    if (isThere()) {
      return;
    }
    if (!begin()) {
      if (isThere()) { // completed meanwhile
        return;
      }
      throw Failure("another process is filling it");
    }
    try {
      fill();
    } catch (...) {
      giveUp();
      throw;
    }
  }

private:
  // Whether it is complete, and registered for. An entry whose data are lost or
  // damaged makes way.
  bool isThere() {
    const auto known = depot_.find(id_, version_);
    if (!known || !known->is_complete()) {
      return false;
    }
    if (!isDescribedBy(*known)) {
      throw Failure("the depot has other data of that id and version");
    }
    if (!hasRightData(*known)) {
      discard(depot_, *known);
      return false;
    }
    registerAgain(*known);
    return true;
  }

  bool hasRightData(const sprig::DepotEntry &entry) const {
    const auto data = dataStatus(entry);
    return data && static_cast<uint64_t>(data->st_size) == size_ && hasOwnData(entry) &&
           digestOf(entry.data_path) == segment_.checksum();
  }

  bool isDescribedBy(const sprig::DepotEntry &entry) const {
    const auto known = describedData(entry);
    return known && known->size == size_ && known->checksum == segment_.checksum();
  }

  void registerAgain(const sprig::DepotEntry &known) {
    int32_t registrations = known.registrations;
    for (bool isLater = known.deadline < deadline_; isLater || registrations < 2; isLater = false) {
      if (!depot_.register_user(id_, version_, deadline_)) {
        throw Failure("another process has removed it");
      }
      ++registrations;
    }
  }

  // Makes the entry, in the place of one that somebody has left behind, and claims it; false where
  // another process does.
  bool begin() {
    if (!depot_.add(segment_)) {
      const auto abandoned = Filling::claim(depot_, id_, version_);
      const auto known = abandoned ? depot_.find(id_, version_) : std::nullopt;
      if (!known) {
        return false;
      }
      discard(depot_, *known);
      static_cast<void>(depot_.add(segment_));
    }
    filling_ = Filling::claim(depot_, id_, version_);
    return filling_.has_value();
  }

  void fill() {
    const auto size = static_cast<uint32_t>(kilobytes(size_));
    if (!depot_.reserve(size)) {
      throw Failure("the limit of " + std::to_string(depot_.limit()) + " KB is reached");
    }
    reserved_ = size;
    copy();
    depot_.complete(id_, version_, deadline_);
    depot_.complete(id_, version_, deadline_);
  }

  // What is read is what is hashed and written, so that nothing else can be completed.
  void copy() {
    InputFile source(path_);
    sprig::DepotFile file = depot_.open_for_write(id_, version_, true);
    Digest digest;
    uint64_t size = 0;
    std::array<char, 65536> buffer;
    while (const size_t count = source.read(buffer.data(), buffer.size())) {
      digest.add(buffer.data(), count);
      size += count;
      refuseUnless(size <= size_);
      file.write(buffer.data(), count);
    }
    refuseUnless(size == size_ && digest.finish() == segment_.checksum());
    file.close();
  }

  static void refuseUnless(bool isRight) {
    if (!isRight) {
      throw Failure("the data do not match their SHA-256");
    }
  }

  void giveUp() noexcept {
    try {
      depot_.unreserve(reserved_);
      depot_.remove(id_, version_, true);
    } catch (const std::exception &) { // why it was given up is what counts
      return;
    }
  }

  sprig::Depot &depot_;
  sprig::ConstSegmentView segment_;
  std::string id_;
  std::string version_;
  uint64_t size_;
  const std::string &path_;
  int32_t deadline_;
  uint32_t reserved_ = 0;
  std::optional<Filling> filling_;
};

} // namespace

Kept keepInDepot(sprig::Depot &depot, sprig::ConstSegmentView segment, const std::string &path,
                 int32_t deadline) {
  try {
    Keeper(depot, segment, path, deadline).keep();
    return {true, {}};
  } catch (const sprig::DepotError &error) {
    return notKept(error, std::string(depot.directory()));
  } catch (const std::exception &error) {
    return {false, error.what()};
  }
}

} // namespace tool
