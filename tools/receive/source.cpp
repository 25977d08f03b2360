#include "receive/source.h"

#include <array>
#include <cerrno>
#include <cstdlib>

#include <sys/socket.h>
#include <unistd.h>

#include <sprig/runtime.h>

#include "address.h"
#include "failure.h"
#include "home.h"
#include "output.h"
#include "receive/interrupt.h"

namespace tool {
namespace {

using sprig::StreamType;

struct Kind {
  std::string_view prefix; // one that ends with a colon has a path or an address behind it
  StreamType type;
};

constexpr const char *standardStreams = "stdio:";

constexpr std::array<Kind, 9> kinds{{{"unix:", StreamType::network},
                                     {"tcp:", StreamType::network},
                                     {"fd:", StreamType::network},
                                     {"stdio:", StreamType::network},
                                     {"dir:", StreamType::directory},
                                     {"files:", StreamType::named_files},
                                     {"remote-dir", StreamType::remote_dir},
                                     {"cd", StreamType::cd_drive},
                                     {"remote-dir+cd", StreamType::remote_dir_cd}}};

const Kind &kindOf(const std::string &text) {
  for (const Kind &kind : kinds) {
    if (kind.prefix.back() == ':' ? text.starts_with(kind.prefix) : text == kind.prefix) {
      return kind;
    }
  }
  throw Failure("--from \"" + text + "\": no source of this kind",
                "unix:PATH, tcp:HOST:PORT, fd:N, stdio:, dir:DIST, files:DIST, remote-dir, cd or "
                "remote-dir+cd",
                wrongUsage);
}

} // namespace

Source::Source(const std::string &text, const std::string &distributionFile)
    : name_(absoluteAddress(text)),
      distributionFile_(distributionFile.empty() ? "" : absolutePath(distributionFile)) {
  const Kind &kind = kindOf(text);
  type_ = kind.type;
  if (type_ == StreamType::directory || type_ == StreamType::named_files) {
    directory_ = absolutePath(text.substr(kind.prefix.size()));
    if (distributionFile_.empty()) {
      distributionFile_ = directory_ + '/' + Distribution::fileName;
    }
  }
  if (distributionFile_.empty() && !isChannel()) {
    throw Failure("--from " + text + ": what is to be received is not told",
                  "name the distribution's file with --distribution FILE", wrongUsage);
  }
}

std::string Source::name() const { return shownAddress(name_); }

void Source::open(int32_t session) {
  if (!isChannel()) {
    openSilence(session);
    return;
  }
  if (name_ == standardStreams) {
    openStandardStreams(session);
  } else {
    input_ = Descriptor(runtime_channel_connect(name_.c_str()));
    if (!input_) {
      throw systemFailure(name_, errno, "is \"sprig serve\" running there?");
    }
    runtime_set_channel(input_.get(), input_.get(), session);
  }
  InterruptHandler::endWhenInterrupted(input_.get());
}

// Some streams over files ask the sender for commands, where there is one.
void Source::openSilence(int32_t session) {
  std::array<int, 2> ends{};
  if (getenv("KRT_CHANNEL") != nullptr) {
    return;
  }
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == -1) {
    throw systemFailure(name_);
  }
  input_ = Descriptor(ends[0]);
  output_ = Descriptor(ends[1]);
  runtime_set_channel(input_.get(), input_.get(), session);
}

// What is printed must not get into the channel.
void Source::openStandardStreams(int32_t session) {
  if (isTerminal(STDIN_FILENO) || isTerminal(STDOUT_FILENO)) {
    throw Failure(name() + ": a terminal cannot be a channel",
                  "let a program such as ssh connect them to \"sprig serve\"", wrongUsage);
  }
  input_ = Descriptor(dup(STDIN_FILENO));
  output_ = Descriptor(dup(STDOUT_FILENO));
  if (!input_ || !output_ || dup2(STDERR_FILENO, STDOUT_FILENO) == -1) {
    throw systemFailure(name());
  }
  runtime_set_channel(input_.get(), output_.get(), session);
}

Distribution Source::distribution() {
  return distributionFile_.empty() ? askSender() : Distribution::load(distributionFile_);
}

// A table without segments asks for the distribution itself. The depot has no part in that.
Distribution Source::askSender() const {
  constexpr size_t most = 268435456;
  sprig::Stream stream({StreamType::network, "distribution"});
  stream.give_table(sprig::TableOfContents());
  sprig::Octets octets;
  const sprig::Piece last = stream.read_all([&](const sprig::Piece &piece) {
    const std::string_view bytes = piece.bytes();
    if (bytes.size() > most - octets.size()) {
      throw Failure(name() + ": not a distribution that can be used: too large");
    }
    octets.insert(octets.end(), bytes.begin(), bytes.end());
  });
  if (last.kind() == sprig::Piece::Kind::command) {
    const bool isPause = last.command() == sprig::Command::pause;
    throw Failure(name() + (isPause ? ": paused by the sender" : ": cancelled by the sender"),
                  isPause ? "run the same line again to go on" : "", isPause ? paused : cancelled);
  }
  return Distribution::decode(octets, name());
}

sprig::StreamKey Source::key(const std::string &id, sprig::ConstTableView table) const {
  std::vector<std::string> names;
  if (type_ == StreamType::directory) {
    names.push_back(directory_);
  } else if (type_ == StreamType::named_files) {
    for (const sprig::ConstSegmentView segment : table) {
      names.emplace_back(segment.data_path());
    }
  }
  try {
    return {type_, id, names, sprig::Endpoint::mobile};
  } catch (const std::invalid_argument &) {
    throw Failure(name_ + ": a path with a comma in it cannot be named in a stream's key",
                  "receive from a directory without one");
  }
}

std::string Source::directoryOfNamedFiles() const {
  return type_ == StreamType::named_files ? directory_ : std::string();
}

} // namespace tool
