// The program `sprig`: reads its command line, runs the subcommand, and tells what fails.
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include <sprig/runtime.h>
#include <sprig/sprig.hpp>

#include "failure.h"
#include "output.h"
#include "subcommand.h"

using namespace tool;

namespace {

void addAll(CLI::App &program, Action &action) {
  for (const auto add : {addPack, addServe, addReceive, addSend, addCollect, addPause, addCancel,
                         addStatus, addDepot, addProps}) {
    add(program, action);
  }
}

// The library's log is for those who ask for it: what a person has to know, the tool says itself.
void quietLog() {
  if (getenv("KRT_LOG") == nullptr && getenv("KRT_LOG_LEVEL") == nullptr) {
    runtime_set_log_sink([](void *, int, const char *) {}, nullptr);
  }
}

// Texts of the library may end with newlines.
std::string lineOf(const std::string &text) {
  return printable(text.substr(0, text.find_last_not_of('\n') + 1));
}

// "sprig: TEXT" and, where there is one, "hint: HINT": a line each, whatever names are in them.
int tell(const std::string &text, const std::string &hint = {}, int status = failed) {
  std::cerr << "sprig: " << lineOf(text) << '\n';
  if (!hint.empty()) {
    std::cerr << "hint: " << lineOf(hint) << '\n';
  }
  return status;
}

int run(const Action &action) {
  try {
    quietLog();
    signal(SIGXFSZ, SIG_IGN); // a file that may not grow is told like a full disk
    sprig_init();
    const int status = action();
    std::cout.flush();
    return std::cout ? status : tell("standard output: it cannot be written to");
  } catch (const Failure &failure) {
    return tell(failure.what(), failure.hint(), failure.status());
  } catch (const sprig::Refused &refusal) {
    return tell(refusal.what(), "ask whoever runs the other side", refused);
  } catch (const std::bad_alloc &) {
    return tell("out of memory");
  } catch (const std::exception &failure) {
    return tell(failure.what());
  }
}

int run(int count, char **arguments) {
  CLI::App program("Distributes files: packs, serves and receives them, and keeps them in a depot.",
                   "sprig");
  program.set_version_flag("--version", "sprig " SPRIG_VERSION);
  program.require_subcommand(1);
  program.footer("Examples:\n"
                 "  sprig pack site -o site.dist\n"
                 "  sprig serve site.dist --listen unix:/tmp/site.socket\n"
                 "  sprig receive --from unix:/tmp/site.socket --into copy\n"
                 "\"sprig SUBCOMMAND --help\" has examples. Exit status: 0 done, 1 failed, 2 wrong "
                 "usage,\n3 paused and 4 cancelled by the sender, 5 refused, 130 interrupted.");
  Action action;
  addAll(program, action);
  try {
    program.parse(count, arguments);
  } catch (const CLI::ParseError &error) {
    return program.exit(error) == 0 ? done : wrongUsage;
  }
  return run(action);
}

} // namespace

int main(int count, char **arguments) {
  try {
    return run(count, arguments);
  } catch (...) { // not even telling it worked
    return failed;
  }
}
