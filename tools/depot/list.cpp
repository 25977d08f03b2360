#include <algorithm>
#include <climits>
#include <ctime>
#include <iostream>

#include <fcntl.h>

#include "depot/commands.h"
#include "depot/depot.h"
#include "depot/description.h"
#include "depot/entries.h"
#include "failure.h"
#include "output.h"
#include "table.h"

namespace tool {
namespace {

const char *typeOf(const sprig::DepotEntry &entry) {
  return entry.is_complete() ? "complete" : "filling";
}

std::string shownTime(time_t time) { return catalogLine(141, time); }

// A deadline has passed as an unsigned number.
time_t deadlineOf(const sprig::DepotEntry &entry) { return static_cast<uint32_t>(entry.deadline); }

uint64_t bytesOf(const std::optional<struct stat> &data) {
  return data ? static_cast<uint64_t>(data->st_size) : 0;
}

void printTable(const std::vector<sprig::DepotEntry> &entries) {
  Table table({{catalogLine(135)},
               {catalogLine(136)},
               {catalogLine(137)},
               {catalogLine(138), Align::right},
               {catalogLine(139)}});
  for (const sprig::DepotEntry &entry : entries) {
    const auto data = dataStatus(entry);
    std::vector<std::string> row;
    for (const std::string &value :
         {printable(entry.id), printable(entry.version), std::string(typeOf(entry)),
          data ? std::to_string(kilobytes(bytesOf(data))) : "-"}) {
      row.push_back(catalogText(140, value.c_str()));
    }
    row.push_back(data ? shownTime(data->st_mtim.tv_sec) : "-");
    table.add(std::move(row));
  }
  std::cout << table.text();
}

int percentOf(const sprig::DepotEntry &entry, uint64_t received) {
  const uint64_t size = describedSize(entry);
  if (size == 0) {
    return entry.is_complete() ? 100 : 0;
  }
  return static_cast<int>(std::min(received, size) * 100 / size);
}

std::string storageStatus(const sprig::DepotEntry &entry) {
  if (!entry.is_complete()) {
    return "being filled";
  }
  return entry.deadline == noDeadline ? "complete, kept for ever"
                                      : "complete until " + shownTime(deadlineOf(entry));
}

void printTime(int label, time_t time) {
  std::cout << catalogText(label) << catalogText(141, time);
}

void printTocTimes(const sprig::DepotEntry &entry) {
  struct statx toc {};
  if (statx(AT_FDCWD, entry.toc_path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &toc) == 0) {
    const bool hasBirth = (toc.stx_mask & STATX_BTIME) != 0;
    printTime(149, (hasBirth ? toc.stx_btime : toc.stx_ctime).tv_sec);
    printTime(150, toc.stx_atime.tv_sec);
    printTime(151, toc.stx_mtime.tv_sec);
  }
}

void printDetails(const sprig::DepotEntry &entry, int number) {
  const auto data = dataStatus(entry);
  const uint64_t received = bytesOf(data);
  std::cout << catalogText(142, number) << catalogText(143, printable(entry.id).c_str())
            << catalogText(144, printable(entry.version).c_str())
            << catalogText(145, static_cast<int>(std::min<uint64_t>(received, INT_MAX)),
                           percentOf(entry, received))
            << catalogText(146, printable(entry.data_path).c_str());
  if (data) {
    printTime(147, data->st_ctim.tv_sec);
    printTime(148, data->st_mtim.tv_sec);
  }
  printTocTimes(entry);
  std::cout << catalogText(154, entry.registrations)
            << catalogText(155, storageStatus(entry).c_str());
}

nlohmann::ordered_json jsonOf(const sprig::DepotEntry &entry) {
  const auto data = dataStatus(entry);
  nlohmann::ordered_json json{{"id", entry.id},
                              {"version", entry.version},
                              {"type", typeOf(entry)},
                              {"bytes", bytesOf(data)},
                              {"percent", percentOf(entry, bytesOf(data))},
                              {"location", entry.data_path},
                              {"registrations", entry.registrations},
                              {"deadline", deadlineOf(entry)}};
  json["updated"] = data ? nlohmann::ordered_json(data->st_mtim.tv_sec) : nullptr;
  return json;
}

void print(const std::vector<sprig::DepotEntry> &entries, const DepotRequest &request) {
  if (request.isJson) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const sprig::DepotEntry &entry : entries) {
      list.push_back(jsonOf(entry));
    }
    printJson({{"entries", list}});
  } else if (request.isLong) {
    int number = 0;
    for (const sprig::DepotEntry &entry : entries) {
      printDetails(entry, ++number);
    }
  } else {
    printTable(entries);
  }
}

// Those of all TOC files that tell of one; the others are named.
std::vector<sprig::DepotEntry> readEntries(sprig::Depot &depot) {
  std::vector<sprig::DepotEntry> entries;
  for (TocFile &file : readTocFiles(depot)) {
    if (file.entry) {
      entries.push_back(std::move(*file.entry));
    } else {
      warn(file.path + ": " + file.fault);
    }
  }
  return entries;
}

void keepOnly(const SegmentName &name, std::vector<sprig::DepotEntry> &entries) {
  std::erase_if(entries, [&](const sprig::DepotEntry &entry) {
    return entry.id != name.id || entry.version != name.version;
  });
  if (entries.empty()) {
    throw Failure(catalogLine(170, name.shown().c_str()));
  }
}

} // namespace

int listEntries(const DepotRequest &request) {
  const auto name =
      request.segment.empty() ? std::nullopt : std::optional(parseSegmentName(request.segment));
  sprig::Depot depot = openedDepot(request);
  std::vector<sprig::DepotEntry> entries = readEntries(depot);
  if (name) {
    keepOnly(*name, entries);
  }
  print(entries, request);
  return done;
}

int showEntry(const DepotRequest &request) {
  DepotRequest details = request;
  details.isLong = true;
  return listEntries(details);
}

} // namespace tool
