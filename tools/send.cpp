// `sprig send`: a file over a channel, to `sprig collect` or whatever else takes it.
#include <cerrno>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include <sprig/runtime.h>
#include <sprig/sprig.hpp>

#include "address.h"
#include "connection.h"
#include "failure.h"
#include "file.h"
#include "json_line.h"
#include "output.h"
#include "subcommand.h"

namespace tool {
namespace {

struct SendOptions {
  std::string file;
  std::string address;
  uint64_t offset = 0;
  int32_t session = 0;
  bool isJson = false;
};

// How many bytes there are to be sent.
uint64_t amountOf(const SendOptions &options) {
  const uint64_t size = InputFile(options.file).size();
  if (options.offset > size || options.offset > INT32_MAX) {
    throw Failure(printable(options.file) + ": it cannot be sent from byte " +
                      std::to_string(options.offset) + " on: " +
                      (options.offset > size ? "it has " + counted(size, "byte")
                                             : "offsets end at 2 GiB less one"),
                  {}, wrongUsage);
  }
  return size - options.offset;
}

Connection connectTo(const SendOptions &options) {
  if (options.address == standardAddress) {
    return Connection::standard(options.session);
  }
  Descriptor socket(runtime_channel_connect(options.address.c_str()));
  if (!socket && errno == EINVAL) {
    throw Failure(printable(options.address) + ": not an address to send to",
                  "use unix:PATH, tcp:HOST:PORT, fd:N or stdio:", wrongUsage);
  }
  if (!socket) {
    throw systemFailure(printable(options.address), errno,
                        "\"sprig collect\" must be listening there before");
  }
  return {std::move(socket), options.session};
}

void transfer(const SendOptions &options) {
  const std::string what = printable(options.file) + " to " + shownAddress(options.address) + ": ";
  try {
    sprig::Stream stream({sprig::StreamType::network, "send"});
    stream.send_file(options.file, options.offset);
    stream.close();
  } catch (const sprig::Refused &refusal) {
    throw Failure(what + "refused with status " + std::to_string(refusal.status()),
                  "ask whoever runs the other side", refused);
  } catch (const sprig::Error &error) {
    throw Failure(what + error.what(), "see what the other side says, and send it again");
  }
}

int send(const SendOptions &options) {
  const uint64_t amount = amountOf(options);
  const Connection connection = connectTo(options);
  runtime_set_channel(connection.input(), connection.output(), options.session);
  transfer(options);
  if (options.isJson) {
    const nlohmann::ordered_json result{
        {"file", options.file}, {"address", options.address}, {"bytes", amount}};
    std::cout << jsonLine(result);
  } else {
    std::cout << "sent " << printable(options.file) << " to " << shownAddress(options.address)
              << ": " << shownSize(amount) << '\n';
  }
  return done;
}

} // namespace

void addSend(CLI::App &program, Action &action) {
  CLI::App &subcommand =
      addSubcommand(program, "send", "Sends a file over a channel",
                    "  sprig send install.log --to unix:/tmp/logs\n"
                    "  sprig send install.log --to tcp:127.0.0.1:5012 --offset 4096");
  const auto options = std::make_shared<SendOptions>();
  subcommand.add_option("FILE", options->file, "the file")->required();
  subcommand
      .add_option("--to", options->address, "where: unix:PATH, tcp:HOST:PORT, fd:N or stdio:")
      ->required();
  subcommand.add_option("--offset", options->offset, "where in the file to begin, in bytes (0)");
  subcommand.add_option("--session", options->session, "the number of the session (0)");
  subcommand.add_flag("--json", options->isJson, "print the result as JSON");
  subcommand.callback([&action, options] { action = [options] { return send(*options); }; });
}

} // namespace tool
