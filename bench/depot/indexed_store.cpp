// The least that such files can cost when they are remembered: a map of all entries, believed as
// long as the directory's time stands still.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

#include <sys/stat.h>

#include "depot/files_store.h"

namespace bench {
namespace {

class IndexedStore : public FilesStore {
public:
  explicit IndexedStore(const Place &place) : FilesStore(place) { readAll(); }

protected:
  bool search(const Entry &entry) override {
    const timespec known = changed_;
    noteTime();
    if (known.tv_sec != changed_.tv_sec || known.tv_nsec != changed_.tv_nsec) {
      readAll();
    }
    const std::string identity = identityText(entry);
    const auto toc = tocs_.find(identity);
    return toc != tocs_.end() && isTocOf(identity, toc->second);
  }

  uint32_t freeIndex(const Entry &entry) override { return nextIndex_[bucketOf(entry)]++; }

  void noteAdded(const Entry &entry) override {
    tocs_.emplace(identityText(entry), entry.tocPath);
    noteTime();
  }

  void noteRemoved(const Entry &entry) override {
    tocs_.erase(identityText(entry));
    noteTime();
  }

private:
  // An own change moves the time as well. Nobody else's can come between, under the semaphore.
  void noteTime() {
    struct stat status {};
    (void)stat(directory().c_str(), &status);
    changed_ = status.st_mtim;
  }

  void readAll() {
    noteTime();
    tocs_.clear();
    nextIndex_.fill(0);
    visitNames(directory(), [&](const char *file) {
      if (std::string_view(file).ends_with("xml")) {
        readToc(file);
      }
      return false;
    });
  }

  void readToc(const char *file) {
    const std::string path = directory() + '/' + file;
    std::string text;
    if (readText(path, text)) {
      tocs_[text.substr(0, text.find(behindIdentity))] = path;
    }
    char *end = nullptr;
    const size_t bucket = strtoul(file, &end, 10);
    if (bucket < nextIndex_.size() && *end == '.') {
      const auto index = static_cast<uint32_t>(strtoul(end + 1, nullptr, 10));
      nextIndex_[bucket] = std::max(nextIndex_[bucket], index + 1);
    }
  }

  TocPaths tocs_;
  std::array<uint32_t, bucketCount> nextIndex_{};
  timespec changed_{};
};

} // namespace

std::unique_ptr<Store> makeIndexedStore(const Place &place) {
  return std::make_unique<IndexedStore>(place);
}

} // namespace bench
