// What docs/formats/channel.md shows is what the code does.
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/channel.h"
#include "support/document.h"

using test::cellsOf;
using test::Row;

namespace {

constexpr int32_t sessionOfExamples = 42;

std::string bytesOf(const std::string &hex) {
  std::string bytes;
  std::istringstream rest(hex);
  for (std::string byte; rest >> byte;) {
    bytes += static_cast<char>(std::stoul(byte, nullptr, 16));
  }
  return bytes;
}

struct Section {
  std::vector<Row> rows;       // of its tables
  std::string frame;           // the bytes of its example
  std::vector<size_t> offsets; // as written before each line, and as they are
  std::vector<size_t> counted;
};

std::map<std::string, Section> readDocument() {
  std::ifstream file(SPRIG_SOURCE_DIR "/docs/formats/channel.md");
  std::map<std::string, Section> sections;
  Section *section = nullptr;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("#")) {
      section = &sections[line.substr(line.find(' ') + 1)];
    } else if (line.starts_with("|") && !line.starts_with("|-")) {
      section->rows.push_back(cellsOf(line));
    } else if (line.starts_with("    0")) {
      const size_t start = strlen("    00000000  ");
      section->offsets.push_back(std::stoul(line, nullptr, 16));
      section->counted.push_back(section->frame.size());
      section->frame += bytesOf(line.substr(start, line.find("   ", start) - start));
    }
  }
  return sections;
}

// The rows of an exchange, behind the first line of the table.
std::vector<Row> exchangeIn(const Section &section) {
  return {section.rows.begin() + 1, section.rows.end()};
}

class ChannelDocument : public test::ChannelTest {
protected:
  ChannelDocument() { runtime_set_channel(ends.first.fd(), ends.first.fd(), sessionOfExamples); }

  // The sender's part of an exchange is sent before the endpoint acts.
  void playSender(const std::vector<Row> &exchange) const {
    for (const Row &row : exchange) {
      if (row[0] == "sender") {
        put(bytesOf(row[3]));
      }
    }
  }

  void expectEndpoint(const std::vector<Row> &exchange) const {
    for (const Row &row : exchange) {
      if (row[0] == "endpoint") {
        const std::string bytes = bytesOf(row[3]);
        EXPECT_EQ(take(bytes.size()), bytes);
      }
    }
  }

  std::map<std::string, Section> sections = readDocument();
};

} // namespace

TEST_F(ChannelDocument, HasTheFramesOfItsMessages) {
  size_t count = 0;
  for (const auto *name : {"Receiving", "Sending back"}) {
    for (const Row &row : exchangeIn(sections[name])) {
      const std::string bytes = bytesOf(row[3]);
      put(bytes);
      RuntimeMessage message{};
      ASSERT_EQ(runtime_channel_receive(ends.first.fd(), &message, 0), 0) << row[3];
      EXPECT_EQ(std::to_string(message.type), row[1]);
      EXPECT_EQ(message.session_id, sessionOfExamples);
      EXPECT_EQ(std::string(reinterpret_cast<char *>(message.data), message.length),
                bytesOf(row[2]));
      EXPECT_EQ(runtime_channel_send(ends.first.fd(), &message), 0);
      EXPECT_EQ(take(bytes.size()), bytes);
      mg_free(message.data);
      ++count;
    }
  }
  EXPECT_EQ(count, 8U);
}

TEST_F(ChannelDocument, HasTheFrameThatItTakesApart) {
  const Section &section = sections["The frame"];
  EXPECT_EQ(section.frame, test::frameOf(RUNTIME_MESSAGE_DATA, "\1rosebud", sessionOfExamples));
  EXPECT_EQ(section.offsets, section.counted);
}

TEST_F(ChannelDocument, HasTheExchangeOfReceiving) {
  const std::vector<Row> exchange = exchangeIn(sections["Receiving"]);
  playSender(exchange);
  std::string contents = "toc";
  const OctetList toc{3, 3, reinterpret_cast<uint8_t *>(contents.data())};
  EXPECT_EQ(test::receive(&toc), test::data("\1rosebud"));
  EXPECT_EQ(test::receive(), test::nothing);
  expectEndpoint(exchange);
}

TEST_F(ChannelDocument, HasTheExchangeOfSendingBack) {
  const std::vector<Row> exchange = exchangeIn(sections["Sending back"]);
  playSender(exchange);
  void *channel = ecp_get_ipc_handle();
  const MethodStatus status{};
  ChannelReply reply{};
  send_methstat(channel, &status, ep_session_id());
  recv_struct(channel, RUNTIME_MESSAGE_REPLY, &reply);
  EXPECT_EQ(reply.message_type, RUNTIME_MESSAGE_STATUS);
  EXPECT_EQ(reply.status, 16384);
  net_send_protected(channel, "rosebud", 7, RUNTIME_MESSAGE_DATA, ep_session_id());
  recv_struct(channel, RUNTIME_MESSAGE_REPLY, &reply);
  EXPECT_EQ(reply.message_type, RUNTIME_MESSAGE_DATA);
  EXPECT_EQ(reply.status, -3);
  net_send_protected(channel, nullptr, 0, RUNTIME_MESSAGE_END, ep_session_id());
  expectEndpoint(exchange);
}

TEST_F(ChannelDocument, HasTheTypesOfMessages) {
  std::map<std::string, std::string> names;
  for (const Row &row : exchangeIn(sections["Messages"])) {
    names[row[0]] = row[1];
  }
  EXPECT_EQ(names, (std::map<std::string, std::string>{
                       {std::to_string(RUNTIME_MESSAGE_TOC), "table of contents"},
                       {std::to_string(RUNTIME_MESSAGE_DATA), "data"},
                       {std::to_string(RUNTIME_MESSAGE_STATUS), "status"},
                       {std::to_string(RUNTIME_MESSAGE_REPLY), "answer"},
                       {std::to_string(RUNTIME_MESSAGE_END), "end"}}));
}
