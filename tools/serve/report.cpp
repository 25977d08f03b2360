#include "serve/report.h"

#include <algorithm>
#include <array>
#include <iostream>

#include <nlohmann/json.hpp>

#include "address.h"
#include "json_line.h"
#include "output.h"

namespace tool {
namespace {

using Json = nlohmann::ordered_json;

struct Ending {
  const char *name; // for a program
  const char *text; // for a person
};

// In the order of End.
constexpr std::array<Ending, 7> endings{{{"complete", ""},
                                         {"vanished", "it has vanished"},
                                         {"paused", "paused"},
                                         {"cancelled", "cancelled"},
                                         {"refused", "refused"},
                                         {"failed", "failed"},
                                         {"stopped", "stopped"}}};

const Ending &endingOf(const Account &account) { return endings[static_cast<size_t>(account.end)]; }

void print(const Json &line) { std::cout << jsonLine(line) << std::flush; }

std::string wholeOf(const Account &account) {
  if (account.wanted == 0 && account.held == 0) {
    return "needed nothing";
  }
  return "sent " + counted(account.segments, "segment") + ", " + shownSize(account.bytes) +
         "; it had " + counted(account.held, "segment") + " already";
}

std::string partOf(const Account &account) {
  std::string text;
  if (account.wanted > 0) {
    text = "sent " + std::to_string(account.segments) + " of " +
           counted(account.wanted, "segment") + ", " + shownSize(account.bytes) + ": ";
  }
  text += endingOf(account).text;
  return account.reason[0] == '\0' ? text : text + ": " + printable(account.reason.data());
}

} // namespace

void Report::serving(const Distribution &distribution, const std::string &address) const {
  if (isJson_) {
    print({{"event", "serving"},
           {"distribution", distribution.id},
           {"address", address},
           {"files", distribution.fileCount()},
           {"bytes", distribution.size()},
           {"segments", distribution.table.size()}});
  } else {
    std::cout << "serving " << distribution.id << " at " << shownAddress(address) << ": "
              << distribution.amountInSegments() << std::endl;
  }
}

void Report::receiver(uint64_t number, const std::string &peer, const Account &account) const {
  if (isJson_) {
    Json line{{"event", "receiver"},          {"number", number},       {"peer", peer},
              {"segments", account.segments}, {"bytes", account.bytes}, {"held", account.held},
              {"end", endingOf(account).name}};
    if (account.reason[0] != '\0') {
      line["reason"] = printable(account.reason.data());
    }
    print(line);
  } else {
    std::cout << "receiver " << number << " (" << peer
              << "): " << (account.end == End::complete ? wholeOf(account) : partOf(account))
              << std::endl;
  }
}

void Report::served(uint64_t receivers, bool isCancelled) const {
  if (isJson_) {
    print({{"event", isCancelled ? "cancelled" : "served"}, {"receivers", receivers}});
  } else if (isCancelled) {
    std::cout << "cancelled" << std::endl;
  } else {
    std::cout << "served " << counted(receivers, "receiver") << std::endl;
  }
}

} // namespace tool
