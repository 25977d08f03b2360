// The system calls that completing and removing an entry cannot do without, and nothing else:
// locks, a look at where the directory's path leads, a look at whether the TOC file is still the
// entry's, and the change itself, in a directory that is watched, as it is by whoever looks entries
// up.
#include <mutex>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "depot/files_store.h"

namespace bench {
namespace {

// The kernel's lock on a directory. Who has it looks whether the path still leads there.
class DirectoryLock {
public:
  explicit DirectoryLock(const std::string &path)
      : path_(path), descriptor_(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    require(descriptor_ != -1, path);
  }
  ~DirectoryLock() { close(descriptor_); }
  DirectoryLock(const DirectoryLock &) = delete;
  DirectoryLock &operator=(const DirectoryLock &) = delete;

  void lock() const {
    flock(descriptor_, LOCK_EX);
    struct stat status {};
    (void)stat(path_.c_str(), &status);
  }
  void unlock() const { flock(descriptor_, LOCK_UN); }

private:
  std::string path_;
  int descriptor_;
};

// A watch whose events nobody wants. It makes changes cost what they cost in a watched directory.
class Watch {
public:
  explicit Watch(const std::string &path) : descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    constexpr uint32_t events =
        IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY | IN_ATTRIB;
    require(inotify_add_watch(descriptor_, path.c_str(), events) != -1, path);
  }
  ~Watch() { close(descriptor_); }
  Watch(const Watch &) = delete;
  Watch &operator=(const Watch &) = delete;

  void empty() const {
    char events[8192];
    while (read(descriptor_, events, sizeof events) > 0) {
    }
  }

private:
  int descriptor_;
};

class CallsStore : public FilesStore {
public:
  explicit CallsStore(const Place &place)
      : FilesStore(place), directoryLock_(place.path), watch_(place.path) {
    Entry entry = makeEntry(place.spread, 0);
    nameFiles(entry, place.path, 0);
    text_ = tocText(entry, true);
  }

  bool put(Entry &entry) override {
    watch_.empty();
    return FilesStore::put(entry);
  }

  bool complete(Entry &entry) override {
    bool isSaved = false;
    {
      const std::lock_guard directory(directoryLock_);
      const std::lock_guard saving(entryLock());
      isSaved = isThere(entry.tocPath) && writeText(entry.tocPath, text_);
    }
    const std::lock_guard depot(depotLock());
    const std::lock_guard directory(directoryLock_);
    const std::lock_guard releasing(entryLock());
    return isSaved;
  }

  bool remove(Entry &entry) override {
    const std::lock_guard depot(depotLock());
    const std::lock_guard directory(directoryLock_);
    bool isRemoved = false;
    {
      const std::lock_guard removing(entryLock());
      isRemoved = isThere(entry.tocPath) && unlink(entry.dataPath.c_str()) == 0 &&
                  !isThere(entry.dataPath) && unlink(entry.tocPath.c_str()) == 0;
    }
    const std::lock_guard releasing(entryLock());
    return isRemoved;
  }

protected:
  bool search(const Entry & /*entry*/) override { return false; }
  uint32_t freeIndex(const Entry & /*entry*/) override { return 0; }

private:
  static bool isThere(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
  }

  DirectoryLock directoryLock_;
  Watch watch_;
  std::string text_; // as long as any entry's
};

} // namespace

std::unique_ptr<Store> makeCallsStore(const Place &place) {
  return std::make_unique<CallsStore>(place);
}

} // namespace bench
