// The records in a handle's list, found by identifier and version without walking the list.
#ifndef SPRIG_DEPOT_LOADED_ENTRIES_H
#define SPRIG_DEPOT_LOADED_ENTRIES_H

#include <optional>

#include <sprig/depot.h>

#include "depot/hash_table.h"
#include "posix/file.h"

namespace sprig {

// An index over `entries`. It only ever helps: it is believed as long as nobody else changed the
// list, built anew from the list when somebody did, and done without where memory runs out.
class LoadedEntries {
public:
  LoadedEntries() = default;
  ~LoadedEntries() { forget(); }
  LoadedEntries(const LoadedEntries &) = delete;
  LoadedEntries &operator=(const LoadedEntries &) = delete;

  // The place in the list of the newest record with that identifier and version, or -1.
  int32_t find(Depot &depot, const char *id, const char *version);

  // Which file a record that is in the list, as the pair that it is, was read from or written to;
  // null for any other record.
  std::optional<FileIdentity> *tocFile(Depot &depot, const DepotEntry &entry);

  // Puts a record into the list; false when there is no memory.
  bool add(Depot &depot, DepotEntry &entry);
  void remove(Depot &depot, const DepotEntry &entry);

private:
  struct Node {
    DepotEntry *entry;
    int32_t descriptor;
    std::optional<FileIdentity> tocFile;
    HashLink<Node> link;
  };

  template <typename Matches>
  Node *findNode(Depot &depot, const char *id, const char *version, Matches matches);
  Node *nodeOf(Depot &depot, const DepotEntry &entry);
  bool isUsable(Depot &depot);
  bool isCurrent(const Depot &depot) const;
  void remember(const Depot &depot);
  bool build(Depot &depot);
  bool insert(DepotEntry &entry, int32_t descriptor);
  void forget();

  HashTable<Node, &Node::link> nodes_;
  uint64_t state_ = 0; // of the list, for which the nodes are true
};

// What the operations do, on handles with and without an index.
int32_t findLoaded(Depot &depot, const char *id, const char *version);
bool addLoaded(Depot &depot, DepotEntry &entry);
// Takes a record out of the list, if it is there.
void removeLoaded(Depot &depot, const DepotEntry &entry);
// Notes which file a record in the list was read from or written to.
void noteTocFile(Depot &depot, const DepotEntry &entry, const std::optional<FileIdentity> &file);

DepotEntry *loadedEntry(Depot &depot, int32_t descriptor);

} // namespace sprig

#endif
