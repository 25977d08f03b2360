// The files without any memory: every search goes through the directory's names, and through the
// texts of the entry's bucket.
#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "depot/files_store.h"

namespace bench {
namespace {

class ScanStore : public FilesStore {
public:
  using FilesStore::FilesStore;

protected:
  bool search(const Entry &entry) override {
    const std::string identity = identityText(entry);
    const std::string bucket = bucketName(entry);
    usedIndexes_.clear();
    return visitNames(directory(), [&](const char *file) {
      const std::string_view name = file;
      if (!name.starts_with(bucket) || !name.ends_with("xml")) {
        return false;
      }
      markUsed(strtoul(file + bucket.size() + 1, nullptr, 10));
      return isTocOf(identity, directory() + '/' + file);
    });
  }

  uint32_t freeIndex(const Entry & /*entry*/) override {
    const auto free = std::find(usedIndexes_.begin(), usedIndexes_.end(), false);
    return static_cast<uint32_t>(free - usedIndexes_.begin());
  }

private:
  void markUsed(size_t index) {
    if (index >= usedIndexes_.size()) {
      usedIndexes_.resize(index + 1);
    }
    usedIndexes_[index] = true;
  }

  std::vector<bool> usedIndexes_;
};

} // namespace

std::unique_ptr<Store> makeScanStore(const Place &place) {
  return std::make_unique<ScanStore>(place);
}

} // namespace bench
