// What the benchmarks do to a cache of segments, whatever keeps it.
#ifndef SPRIG_BENCH_DEPOT_STORE_H
#define SPRIG_BENCH_DEPOT_STORE_H

#include <cstdint>
#include <memory>
#include <string>

#include "depot/entry.h"
#include "depot/workspace.h"

namespace bench {

// Operations return whether they did what their name says. A store begins with complete entries of
// the numbers from 0 on, and with all of their names known where it knows names.
class Store {
public:
  Store() = default;
  virtual ~Store() = default;
  Store(const Store &) = delete;
  Store &operator=(const Store &) = delete;

  // What is measured. Added entries are not complete; only those can be completed and removed.
  virtual bool find(Entry &entry) = 0;
  virtual bool findLoaded(Entry &entry) { return find(entry); }
  virtual bool add(Entry &entry) = 0;
  virtual bool complete(Entry &entry) = 0;
  virtual bool remove(Entry &entry) = 0;
  bool miss(Entry &entry) { return !find(entry); }

  // What goes before: all entries loaded, or none; an entry added by the shortest way.
  virtual void setLoaded(bool /*isLoaded*/) {}
  virtual bool put(Entry &entry) { return add(entry); }

  // What comes after: a found entry unloaded again; an entry taken out, and its files buried.
  virtual bool forget(Entry & /*entry*/) { return true; }
  virtual bool withdraw(Entry &entry) = 0;

  bool leave(Entry & /*entry*/) { return true; }
};

// Where a store is made, and what it begins with.
struct Place {
  Workspace &workspace;
  std::string path;
  Spread spread;
  uint32_t size;
};

std::unique_ptr<Store> makeSprigStore(const Place &place);
std::unique_ptr<Store> makeScanStore(const Place &place);
std::unique_ptr<Store> makeIndexedStore(const Place &place);
std::unique_ptr<Store> makeSqliteStore(const Place &place);
std::unique_ptr<Store> makeCallsStore(const Place &place);

} // namespace bench

#endif
