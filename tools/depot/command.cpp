// `sprig depot`: its command line.
#include <iostream>
#include <memory>

#include "depot/commands.h"
#include "depot/depot.h"
#include "failure.h"
#include "output.h"
#include "subcommand.h"

namespace tool {
namespace {

std::string usage() {
  constexpr const char *name = "sprig depot";
  return catalogText(134, name, name, name, name, name, name, name, name);
}

using Command = int (*)(const DepotRequest &);

// Failures of the library are told with the depot's name.
int run(Command command, const DepotRequest &request) {
  try {
    return command(request);
  } catch (const sprig::DepotError &error) {
    throw Failure(printable(request.directory) + ": " + reasonOf(error));
  }
}

// Adds the depot's commands to its command line.
class CommandLine {
public:
  CommandLine(CLI::App &depot, Action &action, std::shared_ptr<DepotRequest> request)
      : depot_(depot), action_(action), request_(std::move(request)) {}

  CLI::App &add(const std::string &name, const std::string &description, Command command,
                const std::string &arguments = {}) {
    CLI::App &subcommand =
        addSubcommand(depot_, name, description, "  sprig depot /srv/depot " + name + arguments);
    subcommand.add_flag("--json", request_->isJson, "print the result as JSON");
    subcommand.callback([&action = action_, request = request_, command] {
      action = [request, command] { return run(command, *request); };
    });
    return subcommand;
  }

  void addSegment(CLI::App &subcommand, bool isRequired) {
    subcommand.add_option("SEGMENT", request_->segment, "ID^VERSION of an entry")
        ->required(isRequired);
  }

  void addLooks() {
    add("describe", "Tells where the depot is, and how much it holds", describeDepot);
    CLI::App &list = add("list", "Lists the entries", listEntries, " -l");
    addSegment(list, false);
    list.add_flag("-l,--long", request_->isLong, "all that is known of each");
    CLI::App &show = add("show", "Tells all that is known of an entry", showEntry, " tools^2.1");
    addSegment(show, true);
    add("df", "Tells how much space there is, and how much the depot uses", showDepotSpace);
    CLI::App &verify = add("verify", "Checks every entry against its size and SHA-256", verifyDepot,
                           " --repair\n"
                           "Exit status: 5 where something is wrong, and was not removed.");
    verify.add_flag("--repair", request_->isRepairing, "remove what cannot be used");
  }

  void addChanges() {
    CLI::App &put =
        add("add", "Puts a file into the depot", addEntry, " tools^2.1 tools.tar --keep 90d");
    addSegment(put, true);
    put.add_option("FILE", request_->file, "the segment's data")->required();
    put.add_option("--keep", request_->keep,
                   "how long: 90s, 15m, 12h, 30d or 4w; beyond January 2038, for ever")
        ->capture_default_str();
    CLI::App &remove =
        add("delete", "Deletes an entry that nobody uses", deleteEntry, " tools^2.1 --force");
    addSegment(remove, true);
    remove.add_flag("--force", request_->isForced,
                    "also one that is registered, kept for ever, or left behind half filled");
    CLI::App &purge = add("purge", "Deletes all entries that nobody uses", purgeEntries);
    purge.add_flag("--force", request_->isForced, "and the others as well");
    add("expire", "Deletes all entries whose time is over, used or not", expireEntries);
  }

private:
  CLI::App &depot_;
  Action &action_;
  std::shared_ptr<DepotRequest> request_;
};

} // namespace

int showDepotHelp(const DepotRequest &) {
  std::cout << usage();
  return done;
}

void addDepot(CLI::App &program, Action &action) {
  CLI::App &depot = addSubcommand(program, "depot", "Looks into a depot, and cleans it up",
                                  "  sprig depot ~/.local/state/sprig/depot list -l\n"
                                  "  sprig depot /srv/depot add tools^2.1 tools.tar --keep 90d\n"
                                  "  sprig depot /srv/depot verify --repair");
  const auto request = std::make_shared<DepotRequest>();
  depot.add_option("DIR", request->directory, "the depot's directory");
  CommandLine line(depot, action, request);
  line.addLooks();
  line.addChanges();
  CLI::App &help = line.add("help", "Tells how the command is used", showDepotHelp);
  depot.callback([&depot, &help, &action, request] {
    const bool isComplete = !request->directory.empty() && !depot.get_subcommands().empty();
    if (!isComplete && !help.parsed()) {
      action = [] {
        std::cerr << usage();
        return int{wrongUsage};
      };
    }
  });
}

} // namespace tool
