#include "tools/receiver.h"

#include <gtest/gtest.h>

#include <sprig/runtime.h>

namespace test {
namespace {

struct Part {
  int32_t type = 0; // 0: none, because the channel is closed
  std::string payload;
};

Part next(int channel) {
  RuntimeMessage message{};
  if (runtime_channel_receive(channel, &message, -1) != 0) {
    return {};
  }
  Part part{message.type, {reinterpret_cast<char *>(message.data), message.length}};
  mg_free(message.data);
  EXPECT_EQ(message.session_id, 0);
  return part;
}

// Empty for data.
std::string endOf(const Part &part) {
  if (part.type == 0) {
    return "closed";
  }
  if (part.type == RUNTIME_MESSAGE_END) {
    return "end";
  }
  const char command = part.payload.empty() ? '\0' : part.payload[0];
  EXPECT_EQ(part.type, RUNTIME_MESSAGE_DATA);
  return command == 1 ? "" : command == 2 ? "cancel" : command == 3 ? "pause" : "nonsense";
}

} // namespace

std::ostream &operator<<(std::ostream &stream, const Answer &answer) {
  return stream << answer.data.size() << " bytes, " << answer.end;
}

Receiver::Receiver(const std::string &address) : socket_(runtime_channel_connect(address.c_str())) {
  EXPECT_GE(fd(), 0) << address;
}

void Receiver::ask(const sprig::TableOfContents &table) const {
  const sprig::Octets octets = table.encode();
  say(RUNTIME_MESSAGE_TOC, {octets.begin(), octets.end()});
}

void Receiver::say(int32_t type, const std::string &payload, int32_t session) const {
  writeBytes(fd(), frameOf(type, payload, session));
}

std::string Receiver::takePiece() const {
  const Part part = next(fd());
  EXPECT_EQ(endOf(part), "");
  EXPECT_LE(part.payload.size(), 1 + 16384U);
  return part.payload.empty() ? "" : part.payload.substr(1);
}

Answer Receiver::take() const {
  Answer answer;
  for (;;) {
    const Part part = next(fd());
    answer.end = endOf(part);
    if (!answer.end.empty()) {
      return answer;
    }
    EXPECT_LE(part.payload.size(), 1 + 16384U);
    answer.data += part.payload.substr(1);
  }
}

Answer Receiver::get(const sprig::TableOfContents &table) const {
  ask(table);
  return take();
}

} // namespace test
