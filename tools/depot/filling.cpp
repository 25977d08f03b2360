#include "depot/filling.h"

#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace tool {
namespace {

// The lock counts as long as the file is still the one of that name.
bool isAt(const Descriptor &file, const std::string &path) {
  struct stat held {};
  struct stat named {};
  return fstat(file.get(), &held) == 0 && stat(path.c_str(), &named) == 0 &&
         held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

bool isBeingFilled(const std::optional<sprig::DepotEntry> &entry) {
  return entry && !entry->is_complete();
}

} // namespace

std::optional<Filling> Filling::claim(sprig::Depot &depot, const std::string &id,
                                      const std::string &version) {
  const auto found = depot.find(id, version);
  if (!isBeingFilled(found)) {
    return std::nullopt;
  }
  Descriptor file(open(found->data_path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file) {
    return Filling(std::move(file));
  }
  const bool isClaimed = flock(file.get(), LOCK_EX | LOCK_NB) == 0 &&
                         isAt(file, found->data_path) &&
                         isBeingFilled(depot.find(id, version)); // nobody completed it meanwhile
  return isClaimed ? std::optional(Filling(std::move(file))) : std::nullopt;
}

} // namespace tool
