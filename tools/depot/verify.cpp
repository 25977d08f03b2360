#include <functional>
#include <iostream>
#include <set>

#include "depot/commands.h"
#include "depot/depot.h"
#include "depot/description.h"
#include "depot/entries.h"
#include "depot/filling.h"
#include "digest.h"
#include "failure.h"
#include "output.h"

namespace tool {
namespace {

constexpr size_t checksumSize = 32;

// Something about an entry or a file, and whether it is wrong.
struct Finding {
  std::string name;
  std::string what;
  bool isFault = true;
  std::string left; // why it was not removed; empty where it was, or was not to be
};

// What is wrong with an entry; empty where nothing is.
std::string faultOf(const sprig::DepotEntry &entry) {
  if (!hasOwnData(entry)) {
    return "its data are said to be " + printable(entry.data_path);
  }
  const auto status = dataStatus(entry);
  if (!status) {
    return "its data are missing";
  }
  const auto described = describedData(entry);
  if (!described) {
    return "its description cannot be read";
  }
  const auto size = static_cast<uint64_t>(status->st_size);
  if (!entry.is_complete() || described->checksum.size() != checksumSize) {
    return {};
  }
  if (described->size != size) {
    return "it has " + std::to_string(size) + " bytes instead of " +
           std::to_string(described->size);
  }
  return digestOf(entry.data_path) == described->checksum ? "" : "its SHA-256 is another one";
}

// What is worth a line although it is not wrong.
std::string noteOf(const sprig::DepotEntry &entry) {
  if (!entry.is_complete()) {
    return "being filled";
  }
  const auto described = describedData(entry);
  return described && described->checksum.size() == checksumSize
             ? ""
             : "it has no SHA-256 to compare its data with";
}

class Verifier {
public:
  Verifier(const DepotRequest &request, sprig::Depot &depot)
      : isRepairing_(request.isRepairing), depot_(depot) {}

  void verify() {
    for (const TocFile &file : readTocFiles(depot_)) {
      if (file.entry) {
        verify(file);
      } else {
        fault(printable(file.path), file.fault, [&] { return discard(file) ? "" : changed; });
      }
    }
    for (const std::string &path : orphanedData(std::string(depot_.directory()))) {
      fault(printable(path), "it belongs to no entry",
            [&] { return discardOrphan(path) ? "" : changed; });
    }
  }

  const std::vector<Finding> &findings() const { return findings_; }
  size_t entries() const { return entries_; }
  uint64_t kilobytes() const { return kilobytes_; }

private:
  static constexpr const char *changed = "it has changed meanwhile";

  void verify(const TocFile &file) {
    const sprig::DepotEntry &entry = *file.entry;
    const std::string name = nameOf(entry).shown();
    const auto data = dataStatus(entry);
    ++entries_;
    kilobytes_ += data ? tool::kilobytes(static_cast<uint64_t>(data->st_size)) : 0;
    if (!known_.emplace(entry.id, entry.version).second) {
      fault(name, "a second TOC file tells of it: " + printable(file.path),
            [&] { return discard(file) ? "" : changed; });
      return;
    }
    const std::string what = readFault(entry);
    if (!what.empty() && !isGone(entry)) {
      fault(name, what, [&] { return remove(entry); });
    } else if (const std::string note = what.empty() ? noteOf(entry) : ""; !note.empty()) {
      findings_.push_back({name, note, false, {}});
    }
  }

  static std::string readFault(const sprig::DepotEntry &entry) {
    try {
      return faultOf(entry);
    } catch (const Failure &failure) {
      return failure.what();
    }
  }

  static bool isGone(const sprig::DepotEntry &entry) {
    struct stat status {};
    return lstat(entry.toc_path.c_str(), &status) == -1;
  }

  void fault(const std::string &name, const std::string &what,
             const std::function<std::string()> &repair) {
    Finding &finding = findings_.emplace_back(Finding{name, what, true, {}});
    try {
      finding.left = isRepairing_ ? repair() : "";
    } catch (const sprig::DepotError &error) {
      finding.left = reasonOf(error);
    } catch (const Failure &failure) {
      finding.left = failure.what();
    }
  }

  // Empty, or why the entry stays.
  std::string remove(const sprig::DepotEntry &entry) {
    const auto because = [&](int message) {
      return catalogLine(message, printable(entry.id).c_str(), printable(entry.version).c_str());
    };
    const auto now = depot_.find(entry.id, entry.version);
    if (!now) {
      return because(2);
    }
    if (!now->is_complete() && !Filling::claim(depot_, entry.id, entry.version)) {
      return because(3);
    }
    if (now->registrations != entry.registrations || now->state != entry.state) {
      return because(4);
    }
    discard(depot_, *now);
    return {};
  }

  bool isRepairing_;
  sprig::Depot &depot_;
  std::set<std::pair<std::string, std::string>> known_;
  std::vector<Finding> findings_;
  size_t entries_ = 0;
  uint64_t kilobytes_ = 0;
};

struct Counts {
  size_t faults = 0;
  size_t removed = 0;
};

Counts countsOf(const Verifier &verifier, bool isRepairing) {
  Counts counts;
  for (const Finding &finding : verifier.findings()) {
    counts.faults += finding.isFault ? 1 : 0;
    counts.removed += finding.isFault && isRepairing && finding.left.empty() ? 1 : 0;
  }
  return counts;
}

void printFindings(const Verifier &verifier, const Counts &counts, bool isRepairing) {
  for (const Finding &finding : verifier.findings()) {
    std::cout << finding.name << ": " << finding.what << '\n';
    if (!finding.left.empty()) {
      std::cout << "  not removed: " << finding.left << '\n';
    }
  }
  std::cout << "verified " << shownEntries(verifier.entries(), verifier.kilobytes()) << ": "
            << (counts.faults == 0 ? "nothing is wrong" : counted(counts.faults, "fault"));
  if (isRepairing && counts.faults > 0) {
    std::cout << ", " << counts.removed << " removed";
  }
  std::cout << '\n';
}

void printJsonFindings(const Verifier &verifier, const Counts &counts, bool isRepairing) {
  nlohmann::ordered_json findings = nlohmann::ordered_json::array();
  for (const Finding &finding : verifier.findings()) {
    nlohmann::ordered_json json{
        {"name", finding.name}, {"what", finding.what}, {"fault", finding.isFault}};
    if (isRepairing && finding.isFault) {
      json["removed"] = finding.left.empty();
    }
    findings.push_back(std::move(json));
  }
  printJson({{"entries", verifier.entries()},
             {"kilobytes", verifier.kilobytes()},
             {"faults", counts.faults},
             {"removed", counts.removed},
             {"findings", findings}});
}

} // namespace

int verifyDepot(const DepotRequest &request) {
  sprig::Depot depot = openedDepot(request);
  Verifier verifier(request, depot);
  verifier.verify();
  const Counts counts = countsOf(verifier, request.isRepairing);
  (request.isJson ? printJsonFindings : printFindings)(verifier, counts, request.isRepairing);
  return counts.faults == counts.removed ? done : refused;
}

} // namespace tool
