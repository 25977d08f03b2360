#include "serve/conversation.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <poll.h>

#include "output.h"

namespace tool {
namespace {

constexpr size_t longestPiece = 16384;

// Thrown when the receiver was told to pause, or that all is cancelled.
struct Obeyed {
  sprig::Command command;
};

std::string nameOf(sprig::ConstSegmentView segment) {
  return printable(segment.id()) + '^' + printable(segment.version());
}

sprig::TableOfContents decode(std::string_view bytes) {
  try {
    return sprig::TableOfContents::decode(sprig::Octets(bytes.begin(), bytes.end()));
  } catch (const sprig::Error &) {
    throw Misbehaved("what it has sent is no table of contents");
  }
}

} // namespace

Conversation::Conversation(const Connection &connection, const Offer &offer, const Orders &orders,
                           Account &account)
    : connection_(connection), offer_(offer), orders_(orders), account_(account),
      buffer_(1 + longestPiece, static_cast<char>(sprig::Command::data)) {}

void Conversation::run() noexcept {
  try {
    converse();
    account_.finish(End::complete);
  } catch (const Obeyed &obeyed) {
    account_.finish(obeyed.command == sprig::Command::pause ? End::paused : End::cancelled);
  } catch (const Vanished &) {
    account_.finish(End::vanished);
  } catch (const Misbehaved &misbehaviour) {
    account_.finish(End::refused, misbehaviour.what());
  } catch (const std::exception &failure) {
    account_.finish(End::failed, failure.what());
  }
}

void Conversation::converse() {
  for (;;) {
    awaitMessage();
    const std::optional<Message> message = connection_.receive();
    if (!message) {
      return;
    }
    answer(*message);
  }
}

// One that has come already is taken before a command is.
void Conversation::awaitMessage() const {
  std::array<pollfd, 2> ready{{{connection_.input(), POLLIN, 0}, {orders_.get(), POLLIN, 0}}};
  while (ready[0].revents == 0) {
    if (poll(ready.data(), ready.size(), -1) == -1 && errno != EINTR) {
      throw systemFailure("poll");
    }
    if (ready[0].revents == 0) {
      obey();
    }
  }
}

void Conversation::obey() const {
  const sprig::Command command = orders_.next();
  if (command != sprig::Command::none) {
    connection_.send(RUNTIME_MESSAGE_DATA, std::string(1, static_cast<char>(command)));
    throw Obeyed{command};
  }
}

void Conversation::answer(const Message &message) {
  if (message.type() != RUNTIME_MESSAGE_TOC) {
    throw message.insteadOf("a table of contents");
  }
  const sprig::TableOfContents table = decode(message.bytes());
  if (table.empty()) {
    sendEncoding();
  } else {
    for (const Rest &rest : restsOf(table)) {
      sendRest(rest);
    }
  }
  connection_.send(RUNTIME_MESSAGE_END, "");
}

// The receiver's table is believed in nothing but what it has already.
std::vector<Conversation::Rest> Conversation::restsOf(const sprig::TableOfContents &table) {
  if (table.size() > offer_.size()) {
    throw Misbehaved("it asks for " + counted(table.size(), "segment") + ", of " +
                     std::to_string(offer_.size()));
  }
  std::vector<Rest> rests;
  try {
    for (const sprig::ConstSegmentView asked : table) {
      const size_t segment = offer_.find(asked.id(), asked.version());
      if (segment == offer_.size()) {
        throw Misbehaved("it asks for the unknown segment " + nameOf(asked));
      }
      if (asked.offset() < 0 || static_cast<uint64_t>(asked.offset()) > offer_.sizeOf(segment)) {
        throw Misbehaved("it asks for the segment " + nameOf(asked) + " from byte " +
                         std::to_string(asked.offset()) + " on, of " +
                         std::to_string(offer_.sizeOf(segment)));
      }
      const auto offset = static_cast<uint64_t>(asked.offset());
      if (asked.description().contains(SEGMENT_DAT_FILE_KEY) || offset == offer_.sizeOf(segment)) {
        ++account_.held;
      } else {
        rests.push_back({segment, offset});
      }
    }
  } catch (const sprig::Error &error) {
    throw Misbehaved("it asks for a segment that is none: " + printable(error.what()));
  }
  account_.wanted += rests.size();
  return rests;
}

void Conversation::sendEncoding() {
  std::string_view left = offer_.encoding();
  while (!left.empty()) {
    const size_t count = left.copy(buffer_.data() + 1, longestPiece);
    sendPiece(count);
    left.remove_prefix(count);
  }
}

void Conversation::sendRest(const Rest &rest) {
  const std::string path = offer_.dataPath(rest.segment);
  InputFile file(path, false);
  file.seek(rest.offset);
  uint64_t left = offer_.sizeOf(rest.segment) - rest.offset;
  while (left > 0) {
    const size_t count = file.read(buffer_.data() + 1, std::min<uint64_t>(left, longestPiece));
    if (count == 0) {
      throw Failure(path + ": shorter than it should be");
    }
    sendPiece(count);
    account_.bytes += count;
    left -= count;
  }
  ++account_.segments;
}

void Conversation::sendPiece(size_t length) {
  obey();
  connection_.send(RUNTIME_MESSAGE_DATA, {buffer_.data(), 1 + length});
}

} // namespace tool
