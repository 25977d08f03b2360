#include "depot/ownership.h"

#include "depot/index.h"
#include "depot/toc.h"

namespace sprig {
namespace {

// A file that describes nobody, or cannot be read, is not another entry's.
bool describesAnother(const DepotEntry &entry) {
  TocFile file;
  if (!file.read(entry.toc_path, nullptr)) {
    return false;
  }
  const ReadContents contents = readContents(file.text());
  return contents[tocId].has_value() && contents[tocVersion].has_value() &&
         !describes(contents, entry.id, entry.version);
}

} // namespace

bool isTakenOver(Depot &depot, const DepotEntry &entry) {
  if (depot.index == nullptr || entry.toc_path == nullptr) {
    return false;
  }
  std::optional<FileIdentity> *noted = depot.index->loaded.tocFile(depot, entry);
  if (noted == nullptr) {
    return false;
  }
  // Another entry has another file, for every first save makes a new one. So there is nothing to
  // read as long as it is the file that is known.
  FileIdentity now;
  const bool isIdentified = identify(entry.toc_path, now);
  if (isIdentified && *noted == now) {
    return false;
  }
  if (describesAnother(entry)) {
    return true;
  }
  *noted = isIdentified ? std::optional(now) : std::nullopt;
  return false;
}

} // namespace sprig
