// A cache of segments in a depot's format and with a depot's semaphores. How entries are found is
// left open.
#ifndef SPRIG_BENCH_DEPOT_FILES_STORE_H
#define SPRIG_BENCH_DEPOT_FILES_STORE_H

#include <cstdint>
#include <string>

#include "depot/files.h"
#include "depot/semaphore.h"
#include "depot/store.h"

namespace bench {

class FilesStore : public Store {
public:
  explicit FilesStore(const Place &place);

  bool find(Entry &entry) override;
  bool findLoaded(Entry &entry) override;
  bool add(Entry &entry) override;
  bool complete(Entry &entry) override;
  bool remove(Entry &entry) override;
  bool put(Entry &entry) override;
  bool withdraw(Entry &entry) override;

protected:
  // All with the depot's semaphore held. A free index is asked for behind a search in vain.
  virtual bool search(const Entry &entry) = 0;
  virtual uint32_t freeIndex(const Entry &entry) = 0;
  virtual void noteAdded(const Entry & /*entry*/) {}
  virtual void noteRemoved(const Entry & /*entry*/) {}

  const std::string &directory() const { return directory_; }
  const Semaphore &depotLock() const { return depotLock_; }
  const Semaphore &entryLock() const { return entryLock_; }

  // Whether a TOC file is that of an entry, by its text.
  bool isTocOf(const std::string &identity, const std::string &path);

private:
  bool create(Entry &entry, uint32_t index);

  Workspace &workspace_;
  std::string directory_;
  Semaphore depotLock_;
  Semaphore entryLock_;
  TocPaths loaded_;
  uint32_t nextIndexOfPut_ = 1U << 20; // beyond all others
  std::string text_;
};

} // namespace bench

#endif
