// `sprig pause` and `sprig cancel`: commands to the sender of a distribution.
#include <iostream>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "distribution.h"
#include "json_line.h"
#include "output.h"
#include "serve/commands.h"
#include "subcommand.h"

namespace tool {
namespace {

struct CommandOptions {
  std::string id;
  bool isJson = false;
};

struct CommandKind {
  const char *name;
  const char *past;
  const char *description;
  sprig::Command command;
};

constexpr CommandKind pauseKind{"pause", "paused",
                                "Pauses a distribution: its receivers end, and can go on later",
                                sprig::Command::pause};
constexpr CommandKind cancelKind{"cancel", "cancelled",
                                 "Cancels a distribution: its receivers end, and its sender too",
                                 sprig::Command::cancel};

int give(const CommandKind &kind, const CommandOptions &options) {
  refuseUnlessDistributionId(options.id);
  const int32_t receivers = giveCommand(options.id, kind.command);
  if (options.isJson) {
    const nlohmann::ordered_json result{
        {"distribution", options.id}, {"command", kind.name}, {"receivers", receivers}};
    std::cout << jsonLine(result);
  } else {
    std::cout << kind.past << ' ' << options.id << ": "
              << counted(static_cast<uint64_t>(receivers), "receiver") << " told\n";
  }
  return done;
}

void add(CLI::App &program, Action &action, const CommandKind &kind) {
  CLI::App &subcommand = addSubcommand(program, kind.name, kind.description,
                                       std::string("  sprig ") + kind.name + " site");
  const auto options = std::make_shared<CommandOptions>();
  subcommand.add_option("ID", options->id, "the distribution's id, as \"serve\" shows it")
      ->required();
  subcommand.add_flag("--json", options->isJson, "print the result as JSON");
  subcommand.callback(
      [&action, &kind, options] { action = [&kind, options] { return give(kind, *options); }; });
}

} // namespace

void addPause(CLI::App &program, Action &action) { add(program, action, pauseKind); }

void addCancel(CLI::App &program, Action &action) { add(program, action, cancelKind); }

} // namespace tool
