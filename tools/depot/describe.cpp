#include <iostream>

#include <sys/statvfs.h>

#include "depot/commands.h"
#include "depot/depot.h"
#include "depot/entries.h"
#include "failure.h"
#include "output.h"
#include "table.h"

namespace tool {
namespace {

// All in kilobytes.
struct Space {
  uint64_t fileSystem = 0;
  uint64_t available = 0;
  uint64_t filling = 0;
  uint64_t complete = 0;
  size_t entries = 0;
};

Space spaceOf(sprig::Depot &depot) {
  const std::string directory(depot.directory());
  struct statvfs system {};
  if (statvfs(directory.c_str(), &system) == -1) {
    throw systemFailure(printable(directory));
  }
  Space space;
  space.fileSystem = uint64_t{system.f_blocks} * system.f_frsize / 1024;
  space.available = uint64_t{system.f_bavail} * system.f_frsize / 1024;
  for (const TocFile &file : readTocFiles(depot)) {
    if (file.entry) {
      const auto data = dataStatus(*file.entry);
      const uint64_t size = data ? kilobytes(static_cast<uint64_t>(data->st_size)) : 0;
      (file.entry->is_complete() ? space.complete : space.filling) += size;
      ++space.entries;
    }
  }
  return space;
}

} // namespace

int describeDepot(const DepotRequest &request) {
  sprig::Depot depot = openedDepot(request);
  const std::string directory(depot.directory());
  const Space space = spaceOf(depot);
  if (request.isJson) {
    printJson({{"location", directory},
               {"size", space.fileSystem},
               {"temporary", space.filling},
               {"permanent", space.complete},
               {"total", space.filling + space.complete},
               {"free", space.available}});
    return done;
  }
  std::cout << catalogText(159, printable(directory).c_str());
  int label = 160;
  for (const uint64_t amount : {space.fileSystem, space.filling, space.complete,
                                space.filling + space.complete, space.available}) {
    std::cout << catalogText(label++, std::to_string(amount).c_str());
  }
  return done;
}

int showDepotSpace(const DepotRequest &request) {
  sprig::Depot depot = openedDepot(request);
  const std::string directory(depot.directory());
  const Space space = spaceOf(depot);
  const uint64_t used = usedKilobytes(directory); // also by what belongs to no entry
  if (request.isJson) {
    printJson({{"depot", directory},
               {"size", space.fileSystem},
               {"used", used},
               {"free", space.available},
               {"entries", space.entries}});
    return done;
  }
  Table table({{"Depot"},
               {"Size (KB)", Align::right},
               {"Used (KB)", Align::right},
               {"Free (KB)", Align::right},
               {"Entries", Align::right}});
  table.add({printable(directory), std::to_string(space.fileSystem), std::to_string(used),
             std::to_string(space.available), std::to_string(space.entries)});
  std::cout << table.text();
  return done;
}

} // namespace tool
