// `sprig collect`: takes one file that is sent over a channel.
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>
#include <unistd.h>

#include "address.h"
#include "connection.h"
#include "failure.h"
#include "file.h"
#include "json_line.h"
#include "output.h"
#include "subcommand.h"

namespace tool {
namespace {

struct CollectOptions {
  std::string file;
  std::string address;
  int32_t buffer = 0;
  uint64_t limit = UINT64_MAX;
  int32_t session = 0;
  bool isJson = false;
};

// Files that go when a signal ends the process.
const char *volatile partToRemove = nullptr;
const char *volatile socketToRemove = nullptr;

void giveUp(int) {
  static constexpr std::string_view text = "sprig: interrupted: nothing was collected\n";
  for (const char *const file : {partToRemove, socketToRemove}) {
    if (file != nullptr) {
      unlink(file);
    }
  }
  (void)!write(STDERR_FILENO, text.data(), text.size());
  _exit(interrupted);
}

// A file that has another name until all of it is there. One that is given up leaves nothing, also
// when a signal ends the process.
class PartFile {
public:
  explicit PartFile(const std::string &path)
      : path_(fileName(path)), partPath_(path + ".part-" + std::to_string(getpid())),
        file_(partPath_) {
    partToRemove = partPath_.c_str();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
      (void)std::signal(signal, giveUp);
    }
  }
  ~PartFile() {
    if (partToRemove != nullptr) {
      unlink(partToRemove);
      partToRemove = nullptr;
    }
  }
  PartFile(const PartFile &) = delete;
  PartFile &operator=(const PartFile &) = delete;

  void write(std::string_view bytes) { file_.write(bytes); }
  void complete() {
    file_.close();
    if (rename(partPath_.c_str(), path_.c_str()) == -1) {
      throw systemFailure(printable(path_));
    }
    partToRemove = nullptr;
  }

private:
  static const std::string &fileName(const std::string &path) {
    if (std::filesystem::is_directory(path)) {
      throw systemFailure(printable(path), EISDIR);
    }
    return path;
  }

  std::string path_;
  std::string partPath_;
  OutputFile file_;
};

// Lets a signal remove the socket file of a listener, which is there as long.
class SocketFile {
public:
  explicit SocketFile(const Listener &listener) {
    static constexpr std::string_view scheme = "unix:";
    if (listener.address().starts_with(scheme)) {
      socketToRemove = listener.address().c_str() + scheme.size();
    }
  }
  ~SocketFile() { socketToRemove = nullptr; }
  SocketFile(const SocketFile &) = delete;
  SocketFile &operator=(const SocketFile &) = delete;
};

// One transfer, into a file.
class Collection {
public:
  Collection(const Connection &connection, const CollectOptions &options, PartFile &file)
      : connection_(connection), options_(options), file_(file) {}

  // Gives the number of bytes.
  uint64_t take() {
    const Message start = next();
    if (start.type() != RUNTIME_MESSAGE_STATUS) {
      throw start.insteadOf("the start of a transfer");
    }
    answer(start, options_.buffer);
    for (;;) {
      const Message message = next();
      if (message.type() == RUNTIME_MESSAGE_END) {
        return size_;
      }
      if (message.type() != RUNTIME_MESSAGE_DATA) {
        throw message.insteadOf("data");
      }
      keep(message);
    }
  }

private:
  Message next() const {
    std::optional<Message> message = connection_.receive();
    if (!message) {
      throw Vanished();
    }
    return std::move(*message);
  }

  void answer(const Message &message, int32_t status) const {
    connection_.send(RUNTIME_MESSAGE_REPLY, encodeNumber(message.type()) + encodeNumber(status));
  }

  void keep(const Message &message) {
    try {
      if (message.bytes().size() > options_.limit - size_) {
        throw Failure("more than " + shownSize(options_.limit), "raise --limit to take it",
                      refused);
      }
      file_.write(message.bytes());
    } catch (const Failure &) {
      refuse(message);
      throw;
    }
    size_ += message.bytes().size();
    answer(message, 0);
  }

  // The end comes all the same. A sender that does not listen finds out for itself.
  void refuse(const Message &message) const {
    try {
      answer(message, -1);
      (void)connection_.receive();
    } catch (const Failure &) {
    }
  }

  const Connection &connection_;
  const CollectOptions &options_;
  PartFile &file_;
  uint64_t size_ = 0;
};

// Tells where it listens, where a person has to know.
Connection awaitSender(const CollectOptions &options) {
  if (options.address == standardAddress) {
    return Connection::standard(options.session);
  }
  const Listener listener(options.address);
  const SocketFile file(listener);
  if (!options.isJson) {
    std::cout << "waiting for " << printable(options.file) << " at "
              << printable(listener.address()) << std::endl;
  }
  return {listener.accept(), options.session};
}

int collect(const CollectOptions &options) {
  const std::string file = printable(options.file);
  PartFile part(options.file);
  const Connection connection = awaitSender(options);
  uint64_t size = 0;
  try {
    size = Collection(connection, options, part).take();
  } catch (const Vanished &) {
    throw Failure(file + ": not collected: " + connection.peer() + " has broken it off");
  } catch (const Failure &failure) {
    throw Failure(file + ": not collected: " + failure.what(), failure.hint(), failure.status());
  }
  part.complete();
  if (options.isJson) {
    const nlohmann::ordered_json result{
        {"file", options.file}, {"peer", connection.peer()}, {"bytes", size}};
    std::cout << jsonLine(result);
  } else {
    std::cout << "collected " << file << " from " << connection.peer() << ": " << shownSize(size)
              << '\n';
  }
  return done;
}

} // namespace

void addCollect(CLI::App &program, Action &action) {
  CLI::App &subcommand =
      addSubcommand(program, "collect", "Takes one file that is sent over a channel",
                    "  sprig collect -o install.log --listen unix:/tmp/logs\n"
                    "  sprig collect -o install.log --listen tcp:127.0.0.1:5012 --limit 100M");
  const auto options = std::make_shared<CollectOptions>();
  constexpr int32_t longestBuffer = 256 << 20; // what a message of the channel has room for
  subcommand.add_option("-o,--output", options->file, "the file; one that is there is replaced")
      ->required();
  subcommand
      .add_option("--listen", options->address,
                  "where: unix:PATH, tcp:127.0.0.1:PORT (0: any that is free) or stdio:")
      ->required();
  subcommand
      .add_option("--buffer", options->buffer,
                  "how many bytes are to come at a time (as the sender likes)")
      ->check(CLI::Range(1, longestBuffer));
  subcommand
      .add_option("--limit", options->limit,
                  "how many bytes are taken at most, also with K, M or G behind it (no limit)")
      ->transform(CLI::AsSizeValue(false));
  subcommand.add_option("--session", options->session, "the number of the session (0)");
  subcommand.add_flag("--json", options->isJson, "print the result as JSON");
  subcommand.callback([&action, options] { action = [options] { return collect(*options); }; });
}

} // namespace tool
