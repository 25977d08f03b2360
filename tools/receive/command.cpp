// `sprig receive`: a whole receiving method.
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#include <sprig/sprig.hpp>

#include "failure.h"
#include "home.h"
#include "output.h"
#include "receive/depot_use.h"
#include "receive/interrupt.h"
#include "receive/progress.h"
#include "receive/report.h"
#include "receive/source.h"
#include "receive/target.h"
#include "receive/transfer.h"
#include "subcommand.h"

namespace tool {
namespace {

constexpr const char *hintToGoOn = "run the same line again to go on";

struct Options {
  std::string into;
  std::string from;
  std::string distributionFile;
  std::string depot;
  std::string keep = "30d";
  std::string stall = "10s";
  uint32_t depotLimit = 0;
  int32_t session = 0;
  bool isWithoutDepot = false;
  bool isJson = false;
  bool isQuiet = false;
};

class Receive {
public:
  explicit Receive(const Options &options)
      : options_(options), into_(absolutePath(options.into)), keep_(parseDuration(options.keep)),
        stall_(parseDuration(options.stall)), source_(options.from, options.distributionFile) {}

  int run() {
    try {
      useWorkDirectory();
      DepotUse::Options depot = depotOptions(); // before the directory changes
      DepotUse::hideFromStreams();
      source_.open(options_.session);
      distribution_ = asked();
      receive(distribution_, std::move(depot));
    } catch (const Failure &) {
      throwIfInterrupted();
      throw;
    } catch (const std::bad_alloc &) {
      throw;
    } catch (const std::exception &failure) {
      throwIfInterrupted();
      throw Failure(source_.name() + ": " + failure.what(), hintToGoOn);
    }
    return done;
  }

private:
  // A sender may be busy with others.
  Distribution asked() {
    const bool isTold = style() != Progress::Style::silent;
    const Progress waiting(source_.name(), 0, 0, stall_,
                           isTold ? Progress::Style::stalls : Progress::Style::silent);
    return source_.distribution();
  }

  DepotUse::Options depotOptions() const {
    DepotUse::Options depot;
    depot.limit = options_.depotLimit;
    depot.keep = keep_;
    depot.isWanted = source_.isChannel() && !options_.isWithoutDepot;
    if (!depot.isWanted) {
      depot.whyNot = options_.isWithoutDepot ? "not wanted" : "not asked for";
    } else {
      depot.directory = options_.depot.empty() ? defaultDepot() : absolutePath(options_.depot);
    }
    return depot;
  }

  void receive(const Distribution &distribution, DepotUse::Options depotOptions) {
    Target &target = target_.emplace(into_, options_.into, distribution);
    target.scan();
    print(distribution.id + ": " + distribution.amountInSegments() + '\n');
    DepotUse depot(std::move(depotOptions));
    depot.showStreams(target.partsDirectory() + "/configuration");
    transfer(distribution, target, depot);
  }

  void transfer(const Distribution &distribution, Target &target, DepotUse &depot) {
    Progress progress(distribution.id, distribution.size(), target.haveInAll(), stall_, style());
    Transfer transfer(distribution, target, source_, depot, progress);
    const sprig::Command command = transfer.run();
    progress.awaitNothing();
    endUnlessComplete(command, distribution, target);
    const DepotUse::Result kept = keep(distribution, target, depot);
    target.place();
    finishStatus(distribution);
    progress.complete();
    progress.end();
    tell(distribution, transfer, depot, kept);
  }

  // "12.0 MiB of 45.0 MiB are kept in out/.sprig".
  std::string kept() const {
    return shownSize(target_->haveInAll()) + " of " + shownSize(target_->sizeInAll()) +
           " are kept in " + printable(options_.into) + "/.sprig";
  }

  void throwIfInterrupted() const {
    if (InterruptHandler::isInterrupted()) {
      throw Failure(target_ ? "interrupted: " + kept() : "interrupted", target_ ? hintToGoOn : "",
                    interrupted);
    }
  }

  void endUnlessComplete(sprig::Command command, const Distribution &distribution,
                         const Target &target) const {
    if (command == sprig::Command::pause) {
      throw Failure(distribution.id + ": paused by the sender: " + kept(), hintToGoOn, paused);
    }
    if (command != sprig::Command::none) {
      throw Failure(distribution.id + ": cancelled by the sender: " + kept(), {}, cancelled);
    }
    std::vector<std::string> wrong;
    for (size_t segment = 0; segment < distribution.table.size(); ++segment) {
      if (!target.isVerified(segment)) {
        wrong.emplace_back(sprig::ConstSegmentView(distribution.table[segment]).id());
      }
    }
    if (!wrong.empty()) {
      const std::string text = distribution.id + ": " + counted(wrong.size(), "segment") +
                               (wrong.size() == 1 ? " does" : " do") +
                               " not match what was packed: " + listed(wrong);
      setStatusFailed(distribution, text);
      throw Failure(text, "the distribution itself may be damaged: pack it again", refused);
    }
  }

  // A stream that has come to its end does not know of it.
  static void setStatusFailed(const Distribution &distribution, const std::string &text) {
    try {
      sprig::Status status(distribution.id);
      status.load();
      status.properties().put("err", true);
      status.properties().put("err_msg", text);
      status.save();
    } catch (const std::exception &) { // the failure itself is told
    }
  }

  static std::string listed(const std::vector<std::string> &names) {
    constexpr size_t most = 5;
    std::string list;
    for (size_t i = 0; i < std::min(names.size(), most); ++i) {
      list += (i == 0 ? "" : ", ") + printable(names[i]);
    }
    return names.size() > most ? list + " and " + std::to_string(names.size() - most) + " more"
                               : list;
  }

  static DepotUse::Result keep(const Distribution &distribution, const Target &target,
                               DepotUse &depot) {
    sprig::TableOfContents table;
    std::vector<std::string> paths;
    for (const size_t segment : target.segmentsInParts()) {
      table.push_back(sprig::Segment(sprig::ConstSegmentView(distribution.table[segment])));
      paths.push_back(target.partPath(segment));
    }
    return depot.keep(table, paths);
  }

  // All of it is there, wherever it came from.
  static void finishStatus(const Distribution &distribution) {
    sprig::Status status(distribution.id);
    try {
      status.load();
    } catch (const sprig::Error &) { // there was nothing to be read
    }
    ::Int64Length *length = sprig::call([] { return int64_length_new(); });
    const std::unique_ptr<::Int64Length, sprig::detail::Release<int64_length_delete>> owner(length);
    for (const sprig::ConstSegmentView segment : distribution.table) {
      int64_length_add(length, segment.size());
    }
    char *text = sprig::call([=] { return int64_length_to_string(length); });
    const std::string shown = text;
    mg_free(text);
    status.properties().put("t_len", shown);
    status.properties().put("c_len", shown);
    status.properties().put("close", true);
    for (const char *key : {"err", "err_msg", "paused"}) {
      status.properties().erase(key);
    }
    status.save();
    status.finish();
  }

  void tell(const Distribution &distribution, const Transfer &transfer, const DepotUse &depot,
            const DepotUse::Result &kept) const {
    Shares shares = transfer.shares();
    explain(shares, transfer, depot);
    const Report report{distribution, options_.into, shares, transfer.refusals(), kept};
    if (options_.isJson) {
      std::cout << asJson(report);
    } else {
      print(asText(report));
    }
  }

  void explain(Shares &shares, const Transfer &transfer, const DepotUse &depot) const {
    for (size_t i = 1; i < originCount; ++i) {
      if (shares[i].passedOver.empty()) {
        shares[i].passedOver =
            isSource(static_cast<Origin>(i)) ? "nothing was missing" : "not asked for";
      }
    }
    std::string &why = shareOf(shares, Origin::depot).passedOver;
    const auto &refusals = transfer.refusals();
    if (!depot.isUsable()) {
      why = depot.why();
    } else if (std::any_of(refusals.begin(), refusals.end(), [](const Refusal &refusal) {
                 return refusal.origin == Origin::depot;
               })) {
      why = "what it had was refused";
    }
  }

  bool isSource(Origin origin) const {
    switch (source_.type()) {
    case sprig::StreamType::network:
      return origin == Origin::channel || origin == Origin::depot;
    case sprig::StreamType::named_files:
      return origin == Origin::files;
    case sprig::StreamType::cd_drive:
      return origin == Origin::cd;
    case sprig::StreamType::remote_dir_cd:
      return origin == Origin::cd || origin == Origin::directory;
    default:
      return origin == Origin::directory;
    }
  }

  void print(const std::string &text) const {
    if (!options_.isQuiet && !options_.isJson) {
      std::cout << text << std::flush;
    }
  }

  Progress::Style style() const {
    if (options_.isQuiet || options_.isJson) {
      return Progress::Style::silent;
    }
    return isTerminal(STDERR_FILENO) ? Progress::Style::bar : Progress::Style::plain;
  }

  const Options &options_;
  std::string into_;
  std::chrono::seconds keep_;
  std::chrono::seconds stall_;
  InterruptHandler interrupts_;
  Source source_;
  Distribution distribution_;
  std::optional<Target> target_;
};

} // namespace

void addReceive(CLI::App &program, Action &action) {
  CLI::App &subcommand = addSubcommand(
      program, "receive", "Receives a distribution into a directory",
      "  sprig receive --from unix:/tmp/site.socket --into site\n"
      "  sprig receive --from tcp:127.0.0.1:4000 --into site --depot /var/cache/sprig\n"
      "  sprig receive --from dir:/media/site.dist --into site\n"
      "An interrupted receive goes on where it was when the same line is run again.");
  const auto options = std::make_shared<Options>();
  subcommand.add_option("--into", options->into, "the directory; made where it is missing")
      ->required();
  subcommand
      .add_option("--from", options->from,
                  "where from: unix:PATH, tcp:HOST:PORT, fd:N, stdio:, dir:DIST, files:DIST, "
                  "remote-dir, cd or remote-dir+cd")
      ->required();
  subcommand.add_option("--distribution", options->distributionFile,
                        "the file that tells of the distribution, where nobody is asked for it");
  CLI::Option *depot = subcommand.add_option("--depot", options->depot,
                                             "the depot's directory (default: one's own)");
  subcommand.add_flag("--no-depot", options->isWithoutDepot, "use no depot")->excludes(depot);
  subcommand.add_option("--depot-limit", options->depotLimit,
                        "how many kilobytes the depot may have (default: as many as there are)");
  subcommand.add_option("--keep", options->keep,
                        "how long the depot keeps the segments: 90s, 15m, 12h, 30d, 4w (30d); 0: "
                        "it keeps nothing");
  subcommand.add_option("--stall", options->stall,
                        "after how long without data it is told as stalled (10s)");
  subcommand.add_option("--session", options->session, "the session's number (0)");
  subcommand.add_flag("--json", options->isJson, "print the result as JSON");
  subcommand.add_flag("-q,--quiet", options->isQuiet, "print failures and warnings only");
  subcommand.callback(
      [&action, options] { action = [options] { return Receive(*options).run(); }; });
}

} // namespace tool
