// What `sprig depot` can be asked for.
#ifndef SPRIG_TOOLS_DEPOT_COMMANDS_H
#define SPRIG_TOOLS_DEPOT_COMMANDS_H

#include <string>

#include <nlohmann/json.hpp>

#include <sprig/sprig.hpp>

#include "catalog.h"

namespace tool {

// What the command line says, each member where the command has it.
struct DepotRequest {
  std::string directory;
  std::string segment;
  std::string file;
  std::string keep = "30d";
  bool isLong = false;
  bool isForced = false;
  bool isRepairing = false;
  bool isJson = false;
};

// Each does its work and gives the exit status.
int describeDepot(const DepotRequest &request);
int showDepotSpace(const DepotRequest &request);
int listEntries(const DepotRequest &request);
int showEntry(const DepotRequest &request);
int addEntry(const DepotRequest &request);
int deleteEntry(const DepotRequest &request);
int purgeEntries(const DepotRequest &request);
int expireEntries(const DepotRequest &request);
int verifyDepot(const DepotRequest &request);
int showDepotHelp(const DepotRequest &request);

// The depot that a command is about, entered and opened.
sprig::Depot openedDepot(const DepotRequest &request);

// What an entry is called by: "ID^VERSION".
struct SegmentName {
  std::string id;
  std::string version;

  std::string shown() const;
};
// Throws Failure for text without an id or a version.
SegmentName parseSegmentName(const std::string &text);
SegmentName nameOf(const sprig::DepotEntry &entry);

// "1 entry, 12 KB".
std::string shownEntries(size_t count, uint64_t kilobytes);

// A message that is a line, without its newline.
template <typename... Arguments> std::string catalogLine(int id, Arguments... arguments) {
  std::string text = catalogText(id, arguments...);
  text.erase(text.find_last_not_of('\n') + 1);
  return text;
}

// On one line; bytes that are no text are replaced.
void printJson(const nlohmann::ordered_json &value);

} // namespace tool

#endif
