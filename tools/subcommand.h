// What every subcommand has in common: it adds itself to the program's command line, and what the
// line asks it for is run when all of the line is read.
#ifndef SPRIG_TOOLS_SUBCOMMAND_H
#define SPRIG_TOOLS_SUBCOMMAND_H

#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "exit_status.h"

namespace tool {

// Does what the line asks for and gives the exit status.
using Action = std::function<int()>;

// Adds a subcommand whose help ends with examples, one to a line.
inline CLI::App &addSubcommand(CLI::App &parent, const std::string &name,
                               const std::string &description, const std::string &examples) {
  CLI::App &subcommand = *parent.add_subcommand(name, description);
  subcommand.footer("Examples:\n" + examples);
  return subcommand;
}

// Each adds one subcommand, which sets `action` when the line asks for it.
void addPack(CLI::App &program, Action &action);
void addServe(CLI::App &program, Action &action);
void addReceive(CLI::App &program, Action &action);
void addSend(CLI::App &program, Action &action);
void addCollect(CLI::App &program, Action &action);
void addPause(CLI::App &program, Action &action);
void addCancel(CLI::App &program, Action &action);
void addStatus(CLI::App &program, Action &action);
void addDepot(CLI::App &program, Action &action);
void addProps(CLI::App &program, Action &action);

} // namespace tool

#endif
