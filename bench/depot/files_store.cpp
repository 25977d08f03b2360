#include "depot/files_store.h"

#include <mutex>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

FilesStore::FilesStore(const Place &place)
    : workspace_(place.workspace), directory_(place.path), loaded_(fillDirectory(place)) {}

bool FilesStore::find(Entry &entry) {
  const std::lock_guard depot(depotLock_);
  return search(entry);
}

bool FilesStore::findLoaded(Entry &entry) {
  const std::lock_guard depot(depotLock_);
  const std::string identity = identityText(entry);
  const auto known = loaded_.find(identity);
  return known != loaded_.end() && isTocOf(identity, known->second);
}

bool FilesStore::add(Entry &entry) {
  const std::lock_guard depot(depotLock_);
  return !search(entry) && create(entry, freeIndex(entry));
}

bool FilesStore::put(Entry &entry) {
  const std::lock_guard depot(depotLock_);
  return create(entry, nextIndexOfPut_++);
}

bool FilesStore::create(Entry &entry, uint32_t index) {
  nameFiles(entry, directory_, index);
  {
    const std::lock_guard saving(entryLock_);
    if (!writeText(entry.tocPath, tocText(entry, false), O_EXCL)) {
      return false;
    }
  }
  const bool isMade = makeEmptyFile(entry.dataPath);
  noteAdded(entry);
  return isMade;
}

bool FilesStore::complete(Entry &entry) {
  bool isSaved = false;
  {
    const std::lock_guard saving(entryLock_);
    isSaved = writeText(entry.tocPath, tocText(entry, true));
  }
  const std::lock_guard depot(depotLock_);
  const std::lock_guard releasing(entryLock_);
  return isSaved;
}

// As the last user does it: the count lowered, the files removed, the record released.
bool FilesStore::remove(Entry &entry) {
  const std::lock_guard depot(depotLock_);
  { const std::lock_guard counting(entryLock_); }
  bool isRemoved = false;
  {
    const std::lock_guard removing(entryLock_);
    struct stat status {};
    isRemoved = unlink(entry.dataPath.c_str()) == 0 && stat(entry.dataPath.c_str(), &status) != 0 &&
                unlink(entry.tocPath.c_str()) == 0;
  }
  { const std::lock_guard releasing(entryLock_); }
  noteRemoved(entry);
  return isRemoved;
}

bool FilesStore::withdraw(Entry &entry) {
  const std::lock_guard depot(depotLock_);
  const bool isBuried = workspace_.bury(entry.dataPath) && workspace_.bury(entry.tocPath);
  noteRemoved(entry);
  return isBuried;
}

bool FilesStore::isTocOf(const std::string &identity, const std::string &path) {
  return readText(path, text_) && text_.starts_with(identity);
}

} // namespace bench
