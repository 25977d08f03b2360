// All entries of a depot, also those that a walk of the library ends at, with what is known of
// their files.
#ifndef SPRIG_TOOLS_DEPOT_ENTRIES_H
#define SPRIG_TOOLS_DEPOT_ENTRIES_H

#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <sprig/sprig.hpp>

namespace tool {

// A TOC file, with the entry that it tells of, or why it tells of none.
struct TocFile {
  std::string path;
  std::string text;
  std::optional<sprig::DepotEntry> entry;
  std::string fault;
};

// Sorted by id and version; those that tell of no entry come last. Throws Failure where the
// directory cannot be read.
std::vector<TocFile> readTocFiles(sprig::Depot &depot);

// Of the entry's data file; nothing where there is no such regular file.
std::optional<struct stat> dataStatus(const sprig::DepotEntry &entry);

// Whether the entry's data are the file beside its TOC file. A TOC file that was damaged, or comes
// from elsewhere, may name any file of the user's.
bool hasOwnData(const sprig::DepotEntry &entry);

// Removes an entry whatever its registrations. Data that are not its own stay where they are.
void discard(sprig::Depot &depot, const sprig::DepotEntry &entry);
// Removes a TOC file that is still what was read; false where it is not.
bool discard(const TocFile &file);

// Data files without a TOC file, by their paths, sorted.
std::vector<std::string> orphanedData(const std::string &directory);
// Removes one, unless an entry has taken it over; false then.
bool discardOrphan(const std::string &path);

} // namespace tool

#endif
