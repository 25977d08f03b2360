// `sprig serve`: the sending side of a distribution.
#include <memory>

#include "serve/server.h"
#include "subcommand.h"

namespace tool {

void addServe(CLI::App &program, Action &action) {
  CLI::App &subcommand =
      addSubcommand(program, "serve", "Sends a distribution to those who connect",
                    "  sprig serve site.dist --listen unix:/tmp/site\n"
                    "  sprig serve site.dist --listen tcp:127.0.0.1:0 --receivers 4 --count 10\n"
                    "  ssh HOST sprig serve site.dist --listen stdio:");
  const auto options = std::make_shared<ServerOptions>();
  subcommand.add_option("DIST", options->directory, "the distribution, as \"pack\" makes it")
      ->required();
  subcommand
      .add_option("--listen", options->address,
                  "where: unix:PATH, tcp:127.0.0.1:PORT (0: any that is free) or stdio:")
      ->required();
  subcommand.add_option("--receivers", options->receivers, "how many at a time (16)")
      ->check(CLI::Range(1, 1000));
  subcommand.add_option("--count", options->count, "ends when so many receivers are gone")
      ->check(CLI::PositiveNumber);
  subcommand.add_option("--session", options->session, "the number of the session (0)");
  subcommand.add_flag("--json", options->isJson, "print each event as a line of JSON");
  subcommand.callback(
      [&action, options] { action = [options] { return Server(*options).run(); }; });
}

} // namespace tool
