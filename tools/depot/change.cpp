#include <algorithm>
#include <cerrno>
#include <climits>
#include <iostream>

#include "depot/commands.h"
#include "depot/depot.h"
#include "depot/entries.h"
#include "depot/filling.h"
#include "digest.h"
#include "failure.h"
#include "file.h"
#include "home.h"
#include "output.h"

namespace tool {
namespace {

sprig::Segment describe(const SegmentName &name, const std::string &path) {
  const uint64_t size = InputFile(path).size();
  if (size > INT32_MAX) {
    throw Failure(catalogLine(6, static_cast<int>(std::min<uint64_t>(kilobytes(size), INT_MAX))));
  }
  sprig::Segment segment(name.id, name.version);
  segment.set_size(size);
  segment.set_checksum(digestOf(path));
  return segment;
}

Failure notAdded(const Kept &kept, const SegmentName &name, const sprig::Segment &segment) {
  const int size = static_cast<int>(kilobytes(static_cast<uint64_t>(segment.size())));
  switch (kept.error) {
  case EFBIG:
    return Failure(catalogLine(6, size));
  case ENOSPC:
  case EDQUOT:
    return Failure(catalogLine(7, size), "\"sprig depot DIR expire\" and \"purge\" make room");
  default:
    return Failure(name.shown() + ": " + kept.why);
  }
}

// Why an entry is not deleted without force, or, while somebody fills it, with it; empty where
// nothing is in the way.
std::string whatKeeps(sprig::Depot &depot, const sprig::DepotEntry &entry, bool isForced) {
  const SegmentName name = nameOf(entry);
  if (!entry.is_complete()) {
    const bool isFree = isForced && Filling::claim(depot, entry.id, entry.version).has_value();
    return isFree ? "" : catalogLine(156, name.shown().c_str());
  }
  if (isForced) {
    return {};
  }
  if (entry.deadline == noDeadline) {
    return catalogLine(5, printable(entry.id).c_str(), printable(entry.version).c_str());
  }
  return entry.registrations > 0 ? catalogLine(157, name.shown().c_str()) : "";
}

// Failures are the entry's here.
void discardNamed(sprig::Depot &depot, const sprig::DepotEntry &entry) {
  try {
    discard(depot, entry);
  } catch (const sprig::DepotError &error) {
    throw Failure(nameOf(entry).shown() + ": " + reasonOf(error));
  }
}

void report(const char *what, const SegmentName &name, const std::string &details,
            const DepotRequest &request) {
  if (request.isJson) {
    printJson({{what, {{"id", name.id}, {"version", name.version}}}});
  } else {
    std::cout << what << ' ' << name.shown() << details << '\n';
  }
}

} // namespace

int addEntry(const DepotRequest &request) {
  const SegmentName name = parseSegmentName(request.segment);
  const int32_t deadline = deadlineAfter(parseDuration(request.keep).count());
  const std::string file = absolutePath(request.file);
  sprig::Depot depot = openedDepot(request);
  const sprig::Segment segment = describe(name, file);
  const Kept kept = keepInDepot(depot, segment, file, deadline);
  if (!kept.isKept) {
    throw notAdded(kept, name, segment);
  }
  report("added", name, ": " + shownSize(static_cast<uint64_t>(segment.size())), request);
  return done;
}

int deleteEntry(const DepotRequest &request) {
  const SegmentName name = parseSegmentName(request.segment);
  sprig::Depot depot = openedDepot(request);
  const auto entry = depot.find(name.id, name.version);
  if (!entry) {
    throw Failure(catalogLine(158, name.shown().c_str()));
  }
  const std::string obstacle = whatKeeps(depot, *entry, request.isForced);
  if (!obstacle.empty()) {
    throw Failure(obstacle, request.isForced ? "" : "--force deletes it nevertheless");
  }
  discardNamed(depot, *entry);
  report("deleted", name, "", request);
  return done;
}

} // namespace tool
