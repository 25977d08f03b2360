#include "depot/loaded_entries.h"

#include <cstring>

#include "depot/index.h"
#include "posix/list.h"

namespace sprig {
namespace {

bool isPair(const DepotEntry &entry, const char *id, const char *version) {
  return entry.id != nullptr && entry.version != nullptr && strcmp(entry.id, id) == 0 &&
         strcmp(entry.version, version) == 0;
}

uint64_t hashOf(const char *id, const char *version) {
  return TextHash().add(id).add(version).value();
}

constexpr int32_t notFound = -1;
constexpr int32_t notWalked = -2;

// Steps through the list, newest first, until `visit` says true for an element: its descriptor.
template <typename Visit> int32_t walk(Depot &depot, Visit visit) {
  PalList1Iterator iterator{};
  if (PalList1IteratorCreate(&depot.entries, &iterator).palError != PAL_OK) {
    return notWalked;
  }
  int32_t result = notFound;
  int32_t descriptor = -1;
  PalListValue value = 0;
  while (result == notFound &&
         iterator.next(&iterator.state, &descriptor, &value).palError == PAL_OK) {
    const DepotEntry *entry = loadedEntry(depot, descriptor);
    if (entry != nullptr && visit(*entry, descriptor)) {
      result = descriptor;
    }
  }
  iterator.end(&iterator.state);
  return result;
}

// That very record, in whatever order: this needs no memory, for a record that is about to go.
int32_t findByLooking(Depot &depot, const DepotEntry &entry) {
  for (int32_t descriptor = 0; descriptor < PalList1GetSize(&depot.entries); ++descriptor) {
    if (loadedEntry(depot, descriptor) == &entry) {
      return descriptor;
    }
  }
  return notFound;
}

} // namespace

DepotEntry *loadedEntry(Depot &depot, int32_t descriptor) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the list carries pointers
  return reinterpret_cast<DepotEntry *>(PalList1Access(&depot.entries, descriptor));
}

int32_t LoadedEntries::find(Depot &depot, const char *id, const char *version) {
  const auto matches = [&](const DepotEntry &entry) { return isPair(entry, id, version); };
  if (!isUsable(depot)) {
    return walk(depot, [&](const DepotEntry &entry, int32_t) { return matches(entry); });
  }
  const Node *node = findNode(depot, id, version, matches);
  return node == nullptr ? -1 : node->descriptor;
}

LoadedEntries::Node *LoadedEntries::nodeOf(Depot &depot, const DepotEntry &entry) {
  if (entry.id == nullptr || entry.version == nullptr || !isUsable(depot)) {
    return nullptr;
  }
  return findNode(depot, entry.id, entry.version,
                  [&](const DepotEntry &other) { return &other == &entry; });
}

std::optional<FileIdentity> *LoadedEntries::tocFile(Depot &depot, const DepotEntry &entry) {
  Node *node = nodeOf(depot, entry);
  return node == nullptr ? nullptr : &node->tocFile;
}

template <typename Matches>
LoadedEntries::Node *LoadedEntries::findNode(Depot &depot, const char *id, const char *version,
                                             Matches matches) {
  Node *node = nodes_.find(hashOf(id, version));
  while (node != nullptr &&
         !(loadedEntry(depot, node->descriptor) == node->entry && matches(*node->entry))) {
    node = decltype(nodes_)::findNext(*node);
  }
  return node;
}

bool LoadedEntries::add(Depot &depot, DepotEntry &entry) {
  const bool wasCurrent = isCurrent(depot);
  const int32_t descriptor = PalList1Add(&depot.entries, reinterpret_cast<PalListValue>(&entry));
  if (wasCurrent && descriptor != -1 && insert(entry, descriptor)) {
    remember(depot);
  }
  return descriptor != -1;
}

void LoadedEntries::remove(Depot &depot, const DepotEntry &entry) {
  Node *node = nodeOf(depot, entry);
  // Not where its pair would have it: its user may have changed the pair.
  PalList1Remove(&depot.entries, node == nullptr ? findByLooking(depot, entry) : node->descriptor);
  if (node != nullptr) {
    nodes_.erase(*node);
    PalMemoryFree(node);
    remember(depot);
  }
}

bool LoadedEntries::isUsable(Depot &depot) { return isCurrent(depot) || build(depot); }

bool LoadedEntries::isCurrent(const Depot &depot) const {
  return depot.entries != nullptr && state_ == stateOf(depot.entries);
}

void LoadedEntries::remember(const Depot &depot) { state_ = stateOf(depot.entries); }

// Inserts the oldest record first, as they came into the list.
bool LoadedEntries::build(Depot &depot) {
  forget();
  const auto capacity = static_cast<size_t>(PalList1GetSize(&depot.entries));
  auto *newestFirst = static_cast<int32_t *>(PalMemoryCalloc(capacity, sizeof(int32_t)));
  if (newestFirst == nullptr) {
    return false;
  }
  size_t count = 0;
  const int32_t walked = walk(depot, [&](const DepotEntry &, int32_t descriptor) {
    newestFirst[count++] = descriptor;
    return false;
  });
  bool isBuilt = walked != notWalked;
  while (isBuilt && count > 0) {
    const int32_t descriptor = newestFirst[--count];
    isBuilt = insert(*loadedEntry(depot, descriptor), descriptor);
  }
  PalMemoryFree(newestFirst);
  if (isBuilt) {
    remember(depot);
  }
  return isBuilt;
}

bool LoadedEntries::insert(DepotEntry &entry, int32_t descriptor) {
  if (entry.id == nullptr || entry.version == nullptr) {
    return true; // nobody asks for it
  }
  auto *node = static_cast<Node *>(PalMemoryMalloc(sizeof(Node)));
  if (node == nullptr) {
    return false;
  }
  *node = {&entry, descriptor, {}, {}};
  if (!nodes_.insert(*node, hashOf(entry.id, entry.version))) {
    PalMemoryFree(node);
    return false;
  }
  return true;
}

void LoadedEntries::forget() {
  nodes_.clear([](Node *node) { PalMemoryFree(node); });
  state_ = 0;
}

int32_t findLoaded(Depot &depot, const char *id, const char *version) {
  if (depot.index != nullptr) {
    return depot.index->loaded.find(depot, id, version);
  }
  return walk(depot, [&](const DepotEntry &entry, int32_t) { return isPair(entry, id, version); });
}

bool addLoaded(Depot &depot, DepotEntry &entry) {
  if (depot.index != nullptr) {
    return depot.index->loaded.add(depot, entry);
  }
  return PalList1Add(&depot.entries, reinterpret_cast<PalListValue>(&entry)) != -1;
}

void removeLoaded(Depot &depot, const DepotEntry &entry) {
  if (depot.index != nullptr) {
    depot.index->loaded.remove(depot, entry);
  } else {
    PalList1Remove(&depot.entries, findByLooking(depot, entry));
  }
}

void noteTocFile(Depot &depot, const DepotEntry &entry, const std::optional<FileIdentity> &file) {
  std::optional<FileIdentity> *noted =
      depot.index == nullptr ? nullptr : depot.index->loaded.tocFile(depot, entry);
  if (noted != nullptr) {
    *noted = file;
  }
}

} // namespace sprig
