#include "streams/depot_source.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include <sys/stat.h>

#include <sprig/depot.h>
#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/records.h>

#include "framework/try_frame.h"
#include "streams/net_stream.h"
#include "streams/search.h"
#include "streams/stream_type.h"

namespace {

constexpr const char *directoryKey = "depot_dir";
constexpr const char *usualDirectory = "depot"; // in the endpoint's data directory
constexpr uint32_t kilobytes = 2000;            // nothing is reserved here

// For the innermost frame, or null.
char *delegated(char *text) {
  ex_delegate(text, mg_free);
  return text;
}

const char *configuredDirectory(const char *configFile) {
  ConfigKey key{directoryKey, nullptr};
  if (mrt_get_config_from_file(configFile, &key, 1) != 0) {
    LogQ("sprig: Error reading config file %s.", configFile);
  }
  return delegated(key.value);
}

const char *existingUsualDirectory() {
  const char *directory = delegated(sprig::inDataDirectory(usualDirectory));
  struct stat status {};
  const bool isThere =
      directory != nullptr && stat(directory, &status) == 0 && S_ISDIR(status.st_mode);
  return isThere ? directory : nullptr;
}

// Null where the endpoint has no depot.
const char *depotDirectory() {
  const char *configFile = delegated(mrt_get_config_filespec());
  if (configFile == nullptr) {
    LogQ("sprig: Unable to locate KRT config file.");
    return nullptr;
  }
  const char *directory = configuredDirectory(configFile);
  if (directory == nullptr) {
    directory = existingUsualDirectory();
  }
  if (directory == nullptr) {
    LogQ("sprig: Local depot directory is not configured.");
  }
  return directory;
}

bool openDepot(NetStream *stream, const char *directory) {
  sprig::releaseDepot(stream);
  const PalError result = DepotNew(&stream->depot, directory, kilobytes);
  if (result.palError != PAL_OK) {
    LogQ("sprig: Failure opening depot directory %s.", directory);
    sprig::releaseDepot(stream);
    return false;
  }
  return true;
}

int compare(const Segment *a, const Segment *b) {
  const int order = strcmp(a->id, b->id);
  return order == 0 ? strcmp(a->version, b->version) : order;
}

int32_t *newIndexes(const Toc *toc) {
  void *indexes = mg_calloc(static_cast<size_t>(toc->count), sizeof(int32_t));
  ex_delegate(indexes, mg_free);
  return static_cast<int32_t *>(indexes);
}

// For each segment, the first one that is the same entry. For the innermost frame.
const int32_t *firstSegments(const Toc *toc) {
  int32_t *firsts = newIndexes(toc);
  int32_t *sorted = newIndexes(toc);
  std::iota(sorted, sorted + toc->count, 0);
  std::sort(sorted, sorted + toc->count, [&](int32_t a, int32_t b) {
    const int order = compare(toc->segments[a], toc->segments[b]);
    return order == 0 ? a < b : order < 0;
  });
  for (int32_t i = 0; i < toc->count; ++i) {
    const bool isFirst =
        i == 0 || compare(toc->segments[sorted[i - 1]], toc->segments[sorted[i]]) != 0;
    firsts[sorted[i]] = isFirst ? sorted[i] : firsts[sorted[i - 1]];
  }
  return firsts;
}

// Null where the depot does not have the segment completely.
DepotEntry *hold(NetStream *stream, const Segment *segment) {
  DepotEntry *entry = DepotGetEntry(stream->depot, segment->id, segment->version);
  if (entry == nullptr || entry->state != DEPOT_ENTRY_COMPLETE) {
    return nullptr;
  }
  static_cast<void>(DepotEntryChangeState(stream->depot, entry, DEPOT_ENTRY_COMPLETE));
  seq_add(&stream->depot_entries, &entry, sizeof(DepotEntry *));
  return entry;
}

void find(Toc *toc, Segment *segment, const DepotEntry *entry, StringList *foundPaths) {
  struct stat status {};
  if (entry->location == nullptr || stat(entry->location, &status) != 0) {
    LogQ("sprig: Stat of %s failed.", entry->location == nullptr ? "" : entry->location);
  } else {
    sprig::setFoundWithSize(toc, segment, entry->location, foundPaths);
  }
}

// Up to the first one that the depot does not have. An entry that several share is held once.
void findSegments(NetStream *stream, Toc *toc, StringList *foundPaths) {
  const int32_t *firsts = firstSegments(toc);
  auto **entries =
      static_cast<DepotEntry **>(mg_calloc(static_cast<size_t>(toc->count), sizeof(DepotEntry *)));
  ex_delegate(entries, mg_free);
  for (int32_t i = 0; i < toc->count; ++i) {
    Segment *segment = toc->segments[i];
    entries[i] = firsts[i] == i ? hold(stream, segment) : entries[firsts[i]];
    if (entries[i] == nullptr) {
      LogQ("sprig: Unable to find entry for segment %s^%s.", segment->id, segment->version);
      return;
    }
    find(toc, segment, entries[i], foundPaths);
  }
}

} // namespace

void sprig::searchDepot(NetStream *stream, Toc *toc, StringList *foundPaths) {
  const char *directory = depotDirectory();
  if (directory == nullptr || !openDepot(stream, directory)) {
    return;
  }
  if (toc->count > 0) {
    inTryFrame([&] { findSegments(stream, toc, foundPaths); });
  }
  if (toc->count > 0 && !hasUnfound(toc)) {
    LogQ("sprig: All segments available locally, resetting stream type.");
    stream->type = fromDepot;
  }
}
