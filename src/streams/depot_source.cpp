#include "streams/depot_source.h"

#include <algorithm>
#include <cstring>

#include <sys/stat.h>

#include <sprig/depot.h>
#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/records.h>

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

// Two segments may be the same entry, which is held once.
DepotEntry *heldEntry(const DepotEntryList &held, const Segment *segment) {
  DepotEntry **end = held.buffer + held.length;
  DepotEntry **found = std::find_if(held.buffer, end, [&](const DepotEntry *entry) {
    return strcmp(entry->id, segment->id) == 0 && strcmp(entry->version, segment->version) == 0;
  });
  return found == end ? nullptr : *found;
}

// Null where the depot does not have the segment completely.
DepotEntry *hold(NetStream *stream, const Segment *segment) {
  if (DepotEntry *held = heldEntry(stream->depot_entries, segment)) {
    return held;
  }
  DepotEntry *entry = DepotGetEntry(stream->depot, segment->id, segment->version);
  if (entry == nullptr || entry->state != DEPOT_ENTRY_COMPLETE) {
    return nullptr;
  }
  static_cast<void>(DepotEntryChangeState(stream->depot, entry, DEPOT_ENTRY_COMPLETE));
  seq_add(&stream->depot_entries, &entry, sizeof(DepotEntry *));
  return entry;
}

// False where the depot does not have the segment.
bool findSegment(NetStream *stream, Toc *toc, Segment *segment, StringList *foundPaths) {
  const DepotEntry *entry = hold(stream, segment);
  if (entry == nullptr) {
    LogQ("sprig: Unable to find entry for segment %s^%s.", segment->id, segment->version);
    return false;
  }
  struct stat status {};
  if (entry->location == nullptr || stat(entry->location, &status) != 0) {
    LogQ("sprig: Stat of %s failed.", entry->location == nullptr ? "" : entry->location);
  } else {
    sprig::setFoundWithSize(toc, segment, entry->location, foundPaths);
  }
  return true;
}

} // namespace

void sprig::searchDepot(NetStream *stream, Toc *toc, StringList *foundPaths) {
  const char *directory = depotDirectory();
  if (directory == nullptr || !openDepot(stream, directory)) {
    return;
  }
  for (int32_t i = 0; i < toc->count; ++i) {
    if (!findSegment(stream, toc, toc->segments[i], foundPaths)) {
      break;
    }
  }
  if (toc->count > 0 && !hasUnfound(toc)) {
    LogQ("sprig: All segments available locally, resetting stream type.");
    stream->type = fromDepot;
  }
}
