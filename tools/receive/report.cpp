#include "receive/report.h"

#include <algorithm>
#include <array>
#include <ctime>

#include <nlohmann/json.hpp>

#include "json_line.h"
#include "output.h"

namespace tool {
namespace {

using Json = nlohmann::ordered_json;

std::string date(int32_t time) {
  std::array<char, 32> text{};
  const time_t seconds = time;
  tm parts{};
  localtime_r(&seconds, &parts);
  text[strftime(text.data(), text.size() - 1, "%Y-%m-%d", &parts)] = '\0';
  return text.data();
}

std::string amountOf(const Share &share) {
  return shownSize(share.bytes) + " in " + counted(share.segments, "segment");
}

bool isUsed(const Share &share) { return share.bytes > 0 || share.segments > 0; }

std::string keptLines(const DepotUse::Result &depot) {
  std::string lines;
  if (depot.kept > 0) {
    lines += "  kept in the depot: " + counted(depot.kept, "segment") + " until " +
             date(depot.deadline) + '\n';
  }
  if (depot.notKept > 0) {
    lines += "  not kept in the depot: " + counted(depot.notKept, "segment") + ": " +
             printable(depot.whyNot) + '\n';
  }
  return lines;
}

Json asJson(const Share &share) {
  Json object{{"bytes", share.bytes}, {"segments", share.segments}};
  if (!isUsed(share) && !share.passedOver.empty()) {
    object["passed_over"] = share.passedOver;
  }
  return object;
}

Json asJson(const DepotUse::Result &depot) {
  Json object{{"kept", depot.kept}, {"not_kept", depot.notKept}};
  if (depot.kept > 0) {
    object["until"] = depot.deadline;
  }
  if (depot.notKept > 0) {
    object["why_not"] = depot.whyNot;
  }
  return object;
}

} // namespace

std::string asText(const Report &report) {
  std::string text = "received " + report.distribution.id + " into " + printable(report.directory) +
                     ": " + report.distribution.amount() + ", every byte verified\n";
  const Share &here = report.shares[0];
  if (isUsed(here)) {
    text += "  there already: " + amountOf(here) + '\n';
  }
  for (size_t i = 1; i < originCount; ++i) {
    if (isUsed(report.shares[i])) {
      text +=
          std::string("  from the ") + originNames[i] + ": " + amountOf(report.shares[i]) + '\n';
    }
  }
  for (size_t i = 1; i < originCount; ++i) {
    if (!isUsed(report.shares[i])) {
      text += std::string("  passed over: ") + originNames[i] + ": " +
              printable(report.shares[i].passedOver) + '\n';
    }
  }
  return text + keptLines(report.depot);
}

std::string asJson(const Report &report) {
  Json sources;
  for (size_t i = 0; i < originCount; ++i) {
    sources[originKeys[i]] = asJson(report.shares[i]);
  }
  Json refused = Json::array();
  for (const Refusal &refusal : report.refusals) {
    const sprig::ConstSegmentView segment = report.distribution.table[refusal.segment];
    refused.push_back({{"segment", segment.id()},
                       {"source", originKeys[static_cast<size_t>(refusal.origin)]},
                       {"reason", refusal.reason}});
  }
  const Json result{{"distribution", report.distribution.id},
                    {"into", report.directory},
                    {"files", report.distribution.fileCount()},
                    {"bytes", report.distribution.size()},
                    {"sources", sources},
                    {"refused", refused},
                    {"depot", asJson(report.depot)}};
  return jsonLine(result);
}

} // namespace tool
