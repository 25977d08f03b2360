#include <ctime>
#include <functional>
#include <iostream>

#include "depot/commands.h"
#include "depot/depot.h"
#include "depot/entries.h"
#include "depot/filling.h"
#include "failure.h"
#include "output.h"

namespace tool {
namespace {

using Condition = std::function<bool(sprig::Depot &, const sprig::DepotEntry &)>;

struct Purged {
  size_t entries = 0;
  uint64_t kilobytes = 0;
  size_t failures = 0;
};

// The entry is looked up again: whoever wants it may have come meanwhile.
bool removeIf(const Condition &isOver, sprig::Depot &depot, const sprig::DepotEntry &listed) {
  const auto entry = depot.find(listed.id, listed.version);
  if (!entry || !isOver(depot, *entry)) {
    return false;
  }
  discard(depot, *entry);
  return true;
}

// The library's own purges end at a TOC file that cannot be read. This one goes on behind it.
Purged removeAll(sprig::Depot &depot, const Condition &isOver) {
  Purged purged;
  const auto fail = [&](const std::string &name, const std::string &why) {
    warn(name + ": " + why);
    ++purged.failures;
  };
  for (const TocFile &file : readTocFiles(depot)) {
    if (!file.entry) {
      fail(file.path, file.fault);
      continue;
    }
    const auto data = dataStatus(*file.entry);
    try {
      if (removeIf(isOver, depot, *file.entry)) {
        ++purged.entries;
        purged.kilobytes += data ? kilobytes(static_cast<uint64_t>(data->st_size)) : 0;
      }
    } catch (const sprig::DepotError &error) {
      fail(nameOf(*file.entry).shown(), reasonOf(error));
    } catch (const Failure &failure) {
      fail(nameOf(*file.entry).shown(), failure.what());
    }
  }
  return purged;
}

int purge(const DepotRequest &request, const char *what, const Condition &isOver) {
  sprig::Depot depot = openedDepot(request);
  const Purged purged = removeAll(depot, isOver);
  if (request.isJson) {
    printJson({{what, {{"entries", purged.entries}, {"kilobytes", purged.kilobytes}}}});
  } else {
    std::cout << what << ' ' << shownEntries(purged.entries, purged.kilobytes) << '\n';
  }
  return purged.failures == 0 ? done : failed;
}

bool isUnused(sprig::Depot &depot, const sprig::DepotEntry &entry) {
  return entry.registrations <= 0 &&
         (entry.is_complete() || Filling::claim(depot, entry.id, entry.version).has_value());
}

bool isExpired(sprig::Depot &, const sprig::DepotEntry &entry) {
  return entry.is_complete() && static_cast<uint32_t>(entry.deadline) < time(nullptr);
}

} // namespace

int purgeEntries(const DepotRequest &request) {
  const auto isAny = [](sprig::Depot &, const sprig::DepotEntry &) { return true; };
  return purge(request, "purged", request.isForced ? Condition(isAny) : Condition(isUnused));
}

int expireEntries(const DepotRequest &request) { return purge(request, "expired", isExpired); }

} // namespace tool
