#include "tools/sender.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <poll.h>

#include "support/temporary_directory.h"

namespace test {
namespace {

// A hang ends a test after this long; no test that holds comes near it.
constexpr int never = 60000; // milliseconds

// Where the bytes of a segment are that the sender has.
std::string dataPath(const sprig::PropertyList &distribution, sprig::ConstSegmentView segment,
                     const std::string &directory) {
  const sprig::TableOfContents table = tableOf(distribution);
  const auto found = table.find(segment.id(), segment.version());
  EXPECT_TRUE(found != table.end()) << segment.id();
  return directory + '/' + std::string((*found).location());
}

bool isFoundElsewhere(sprig::ConstSegmentView segment) {
  return segment.description().contains(SEGMENT_DAT_FILE_KEY);
}

} // namespace

sprig::PropertyList loadDistribution(const std::string &directory) {
  return sprig::PropertyList::load(directory + "/distribution", sprig::Layout::bare);
}

sprig::TableOfContents tableOf(const sprig::PropertyList &distribution) {
  return sprig::TableOfContents(distribution.get<sprig::ConstPropertyListsView>("toc"));
}

void changeDistribution(const std::string &directory,
                        const std::function<void(sprig::PropertyList &)> &change) {
  sprig::PropertyList list = loadDistribution(directory);
  change(list);
  list.save(directory + "/distribution", sprig::Layout::bare);
}

Sender::Sender(std::string distribution)
    : distribution_(std::move(distribution)), listener_(runtime_channel_listen(address().c_str())) {
  EXPECT_NE(listener_.fd(), -1) << strerror(errno);
}

sprig::TableOfContents Sender::begin() {
  accept();
  const auto asked = awaitTable();
  EXPECT_TRUE(asked && asked->empty()) << "the distribution is not asked for";
  tellDistribution();
  auto table = awaitTable();
  EXPECT_TRUE(table.has_value()) << "there is no table";
  return table.value_or(sprig::TableOfContents());
}

void Sender::accept() {
  pollfd ready{listener_.fd(), POLLIN, 0};
  ASSERT_EQ(poll(&ready, 1, never), 1) << "no receiver has come";
  connection_ = OpenFile(runtime_channel_accept(listener_.fd()));
  EXPECT_NE(connection_.fd(), -1) << strerror(errno);
}

// A receiver that was interrupted or killed may leave behind what it had not read yet.
std::optional<sprig::TableOfContents> Sender::awaitTable() const {
  RuntimeMessage message{};
  const int result = runtime_channel_receive(connection_.fd(), &message, never);
  if (result != 0) {
    EXPECT_TRUE(result == 1 || errno == ECONNRESET || errno == EPIPE) << strerror(errno);
    return std::nullopt;
  }
  const sprig::Octets octets(message.data, message.data + message.length);
  mg_free(message.data);
  EXPECT_EQ(message.type, RUNTIME_MESSAGE_TOC);
  return sprig::TableOfContents::decode(octets);
}

void Sender::tellDistribution() const {
  sendData(readFile(distribution_ + "/distribution"));
  sendEnd();
}

std::string Sender::lacking(const sprig::TableOfContents &table, const Alter &alter) const {
  const sprig::PropertyList distribution = loadDistribution(distribution_);
  std::string bytes;
  for (const sprig::ConstSegmentView segment : table) {
    if (isFoundElsewhere(segment) || segment.is_complete()) {
      continue;
    }
    const std::string data = readFile(dataPath(distribution, segment, distribution_));
    const std::string rest = data.substr(static_cast<size_t>(segment.offset()));
    bytes += alter ? alter(segment.id(), rest) : rest;
  }
  return bytes;
}

void Sender::sendData(std::string_view bytes) const {
  constexpr size_t pieceSize = 16384;
  for (size_t at = 0; at < bytes.size(); at += pieceSize) {
    send(RUNTIME_MESSAGE_DATA, '\1' + std::string(bytes.substr(at, pieceSize)));
  }
}

void Sender::sendCommand(sprig::Command command) const {
  send(RUNTIME_MESSAGE_DATA, std::string(1, static_cast<char>(command)));
}

uint64_t Sender::serve(const Alter &alter) {
  accept();
  uint64_t sent = 0;
  while (const auto table = awaitTable()) {
    if (table->empty()) {
      tellDistribution();
    } else {
      sent += serveFrom(*table, alter);
    }
  }
  return sent;
}

uint64_t Sender::serveFrom(const sprig::TableOfContents &first, const Alter &alter) const {
  uint64_t sent = 0;
  for (std::optional<sprig::TableOfContents> table = first; table; table = awaitTable()) {
    const std::string bytes = lacking(*table, alter);
    sendData(bytes);
    sendEnd();
    sent += bytes.size();
  }
  return sent;
}

void Sender::send(int32_t type, std::string bytes) const {
  const RuntimeMessage message{type, 0, static_cast<uint32_t>(bytes.size()),
                               reinterpret_cast<uint8_t *>(bytes.data())};
  EXPECT_EQ(runtime_channel_send(connection_.fd(), &message), 0) << strerror(errno);
}

} // namespace test
