// What an endpoint receives.
#include <csignal>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/channel.h"

using test::cutOff;
using test::data;
using test::dataOf;
using test::frameOf;
using test::nothing;
using test::poll;
using test::receive;
using test::Received;
using test::session;

namespace {

class Receiving : public test::ChannelTest {
protected:
  // The channel was cut off: the other side has the end of the stream, and every call says so.
  void expectCutOff() const {
    EXPECT_EQ(take(1), "");
    const Received closed{std::nullopt, "The channel " + name() + " is closed.\n"};
    EXPECT_EQ(receive(), closed);
    EXPECT_EQ(poll(), closed);
    EXPECT_EQ(test::textThrown([] { ecp_get_ipc_handle(); }), closed.thrown);
  }
};

const std::string end = frameOf(RUNTIME_MESSAGE_END, "");

std::string frameWith(const std::string &payload) { return frameOf(RUNTIME_MESSAGE_DATA, payload); }

// What gives no message, and why.
struct Refused {
  std::string bytes;
  std::string reason;
};

std::vector<Refused> refused() {
  const std::string frame = frameWith("\1data");
  const auto changed = [&](size_t at, char byte) {
    std::string bytes = frame;
    bytes[at] = byte;
    return bytes;
  };
  const auto announced = [](uint32_t length) {
    return test::headerOf(RUNTIME_MESSAGE_DATA, session, length, 0);
  };
  const std::string noMessage = "what has arrived is no message";
  const std::string tooLong = "a message was announced that is longer than 256 MiB";
  const std::string damaged = "a message has arrived damaged";
  const std::string inThePlace = " has arrived in the place of data with a command";
  return {
      {changed(0, 'T'), noMessage},
      {changed(1, 'Q'), noMessage},
      {changed(2, 'S'), noMessage},
      {changed(3, 0), noMessage},
      {changed(3, 2), noMessage},
      {changed(4, 1), damaged},
      {changed(7, 12), damaged},
      {changed(11, 8), damaged},
      {changed(15, 4), damaged},
      {changed(16, static_cast<char>(frame[16] + 1)), damaged},
      {changed(19, static_cast<char>(frame[19] + 1)), damaged},
      {changed(20, 2), damaged},
      {changed(24, 'b'), damaged},
      {announced((256U << 20) + 1), tooLong},
      {announced(0x80000000), tooLong},
      {announced(0xffffffff), tooLong},
      {"GET / HTTP/1.1\r\n", noMessage},
      {"x", noMessage},
      {std::string(5000, '\0'), noMessage},
      {frameOf(RUNTIME_MESSAGE_DATA, "\1data", 8),
       "a message of the session 8 has arrived, not of 7"},
      {frameOf(RUNTIME_MESSAGE_END, "", -2147483648),
       "a message of the session -2147483648 has arrived, not of 7"},
      {frameWith(std::string("\0data", 5)), "a message of type 11 and 5 bytes" + inThePlace},
      {frameOf(RUNTIME_MESSAGE_TOC, "\1"), "a message of type 10 and 1 bytes" + inThePlace},
      {frameOf(RUNTIME_MESSAGE_STATUS, "\1"), "a message of type 20 and 1 bytes" + inThePlace},
      {frameOf(RUNTIME_MESSAGE_REPLY, "12345678"), "a message of type 21 and 8 bytes" + inThePlace},
      {frameOf(0, ""), "a message of type 0 and 0 bytes" + inThePlace},
      {frameOf(-1, "\1"), "a message of type -1 and 1 bytes" + inThePlace},
  };
}

} // namespace

TEST_F(Receiving, GivesMessagesInTheirOrder) {
  put(frameWith("\1first") + frameWith("\2") + frameWith("\1last") + end);
  EXPECT_EQ(receive(), data("\1first"));
  EXPECT_EQ(receive(), data("\2"));
  EXPECT_EQ(receive(), data("\1last"));
  EXPECT_EQ(receive(), nothing);
}

TEST_F(Receiving, GivesMessagesOfAllLengths) {
  const std::vector<size_t> lengths{1,     2,     4095,          4096,          4097,
                                    16384, 16385, (1 << 20) + 1, 5 << 20,       1,
                                    16385, 16385, 16384,         (1 << 20) + 1, 100};
  const auto peer = startPeer([&](int fd) {
    for (const size_t length : lengths) {
      std::string bytes = dataOf(length);
      const RuntimeMessage message{RUNTIME_MESSAGE_DATA, session, static_cast<uint32_t>(length),
                                   reinterpret_cast<uint8_t *>(bytes.data())};
      CHILD_EXPECT(runtime_channel_send(fd, &message) == 0);
    }
    test::writeBytes(fd, end);
    return 0;
  });
  for (const size_t length : lengths) {
    EXPECT_EQ(receive(), data(dataOf(length))) << length;
  }
  EXPECT_EQ(receive(), nothing);
  EXPECT_EQ(peer->wait(), 0);
}

TEST_F(Receiving, GivesMessagesThatArriveTogether) {
  for (const std::string &behind : {std::string(), frameWith("\2") + end}) {
    put(frameWith(dataOf(1000)) + frameWith(dataOf(3000)) + behind);
    EXPECT_EQ(receive(), data(dataOf(1000)));
    EXPECT_EQ(receive(), data(dataOf(3000)));
  }
  EXPECT_EQ(receive(), data("\2"));
  EXPECT_EQ(receive(), nothing);
}

TEST_F(Receiving, EndsWithAnEmptyMessage) {
  put(frameWith("") + end);
  EXPECT_EQ(receive(), nothing);
  EXPECT_EQ(receive(), nothing);
}

TEST_F(Receiving, EndsWhateverTheEndContains) {
  put(frameOf(RUNTIME_MESSAGE_END, "text"));
  EXPECT_EQ(receive(), nothing);
}

TEST_F(Receiving, SendsTheTableOfContentsBeforeItWaits) {
  put(frameWith("\1data") + end);
  std::string contents("table\0of contents", 17);
  const OctetList toc{17, 17, reinterpret_cast<uint8_t *>(contents.data())};
  EXPECT_EQ(receive(&toc), data("\1data"));
  EXPECT_EQ(receive(), nothing);
  const std::string sent = frameOf(RUNTIME_MESSAGE_TOC, contents);
  EXPECT_EQ(take(sent.size()), sent);
  runtime_set_channel(-1, -1, 0);
  ends.first = test::OpenFile();
  EXPECT_EQ(take(1), "") << "nothing else";
}

TEST_F(Receiving, SendsAnEmptyTableOfContents) {
  put(end);
  const OctetList toc{};
  EXPECT_EQ(receive(&toc), nothing);
  EXPECT_EQ(take(20), frameOf(RUNTIME_MESSAGE_TOC, ""));
}

TEST_F(Receiving, RefusesWhatIsNoMessageOfItsSession) {
  for (const Refused &wrong : refused()) {
    SCOPED_TRACE(wrong.reason);
    for (const auto call : {+[] { return receive(); }, +[] { return poll(); }}) {
      connect();
      put(frameWith("\1before") + wrong.bytes);
      EXPECT_EQ(receive(), data("\1before"));
      EXPECT_EQ(call(), cutOff(name(), wrong.reason));
      expectCutOff();
    }
  }
}

TEST_F(Receiving, ThrowsWhenTheSenderClosesTheChannel) {
  put(frameWith("\1data"));
  closePeer();
  EXPECT_EQ(receive(), data("\1data"));
  EXPECT_EQ(receive(), cutOff(name(), "the sender has closed it"));
}

TEST_F(Receiving, ThrowsWhenTheSenderIsKilledAtAnyPlaceOfAMessage) {
  const std::string frame = frameWith("\1data");
  for (size_t place = 0; place < frame.size(); ++place) {
    connect();
    const auto peer = startPeer([&](int fd) {
      test::writeBytes(fd, frameWith("\2before") + frame.substr(0, place));
      raise(SIGKILL);
      return 0;
    });
    EXPECT_EQ(receive(), data("\2before"));
    EXPECT_EQ(receive(), cutOff(name(), place == 0 ? "the sender has closed it"
                                                   : "the sender has broken it off"));
    EXPECT_EQ(peer->wait(), -SIGKILL);
  }
}

TEST_F(Receiving, TakesMessagesThatArriveByteByByte) {
  const std::string bytes = frameWith("\1first") + frameWith("\2second") + end;
  const auto peer = startPeer([&](int fd) {
    for (const char byte : bytes) {
      test::writeBytes(fd, {byte});
    }
    return 0;
  });
  EXPECT_EQ(receive(), data("\1first"));
  EXPECT_EQ(receive(), data("\2second"));
  EXPECT_EQ(receive(), nothing);
  EXPECT_EQ(peer->wait(), 0);
}

TEST_F(Receiving, TakesMessagesThatArriveInAnyPieces) {
  std::mt19937 random(811);
  std::vector<size_t> lengths(400);
  std::string bytes;
  for (size_t &length : lengths) {
    const size_t longest = size_t{1} << (random() % 17);
    length = 1 + random() % longest;
    bytes += frameWith(dataOf(length));
  }
  const auto peer = startPeer([&](int fd) {
    for (size_t done = 0; done < bytes.size();) {
      const size_t longest = size_t{1} << (random() % 18);
      const std::string piece = bytes.substr(done, 1 + random() % longest);
      test::writeBytes(fd, piece);
      done += piece.size();
    }
    return 0;
  });
  for (const size_t length : lengths) {
    Received received = random() % 2 == 0 ? poll() : nothing;
    while (received == nothing) {
      received = random() % 4 == 0 ? receive() : poll();
    }
    ASSERT_EQ(received, data(dataOf(length))) << length;
  }
  EXPECT_EQ(peer->wait(), 0);
}

TEST_F(Receiving, GoesOnWhenThereIsMemoryAgain) {
  const std::string bytes = dataOf(32 << 20);
  const auto peer = startPeer([&](int fd) {
    test::writeBytes(fd, frameWith(bytes));
    return 0;
  });
  Received received;
  {
    const test::LittleMemory limit;
    received = receive();
  }
  EXPECT_EQ(received, (Received{std::nullopt, "There is not enough memory.\n"}));
  EXPECT_EQ(receive(), data(bytes));
  EXPECT_EQ(peer->wait(), 0);
}

TEST_F(Receiving, PollsWithoutWaiting) {
  EXPECT_EQ(poll(), nothing);
  put(frameWith("\3"));
  EXPECT_EQ(poll(), data("\3"));
  EXPECT_EQ(poll(), nothing);
}

TEST_F(Receiving, PollsNothingWithoutAPlaceForIt) {
  put(frameWith("\1data"));
  EXPECT_EQ(test::textThrown([] { EXPECT_EQ(ep_sprig_poll(nullptr), 0); }), "");
  EXPECT_EQ(poll(), data("\1data"));
  closePeer();
  EXPECT_EQ(test::textThrown([] { EXPECT_EQ(ep_sprig_poll(nullptr), 0); }), "");
}

TEST_F(Receiving, PollsWhileAMessageArrivesByteByByte) {
  const std::string frame = frameWith("\2data");
  for (const char byte : frame) {
    EXPECT_EQ(poll(), nothing);
    put({byte});
  }
  EXPECT_EQ(poll(), data("\2data"));
}

TEST_F(Receiving, GoesOnWhereAPollLeftOff) {
  const std::string frame = frameWith("\1data");
  for (size_t place = 0; place < frame.size(); ++place) {
    for (const auto call : {+[] { return receive(); }, +[] { return poll(); }}) {
      put(frame.substr(0, place));
      EXPECT_EQ(poll(), nothing);
      put(frame.substr(place));
      EXPECT_EQ(call(), data("\1data"));
    }
  }
}

TEST_F(Receiving, KeepsTheEndThatAPollMeets) {
  for (const std::string &ending : {end, frameWith("")}) {
    connect();
    put(ending + frameWith("\1next"));
    EXPECT_EQ(poll(), nothing);
    EXPECT_EQ(poll(), nothing);
    EXPECT_EQ(receive(), nothing);
    EXPECT_EQ(poll(), data("\1next"));
  }
}

TEST_F(Receiving, KeepsTheEndWhenTheSenderHasClosedTheChannel) {
  put(end);
  closePeer();
  EXPECT_EQ(poll(), nothing);
  EXPECT_EQ(poll(), nothing);
  EXPECT_EQ(receive(), nothing);
  EXPECT_EQ(poll(), cutOff(name(), "the sender has closed it"));
}

TEST_F(Receiving, ForgetsTheEndOfAChannelThatWasReplaced) {
  put(frameOf(RUNTIME_MESSAGE_END, "text"));
  EXPECT_EQ(poll(), nothing);
  connect();
  put(frameWith("\1data").substr(0, 10));
  EXPECT_EQ(poll(), nothing);
  connect();
  put(frameWith("\1data"));
  EXPECT_EQ(receive(), data("\1data"));
}

TEST_F(Receiving, PollsAChannelThatTheSenderHasClosed) {
  closePeer();
  EXPECT_EQ(poll(), cutOff(name(), "the sender has closed it"));
}

TEST_F(Receiving, WorksOnDescriptorsThatDoNotBlock) {
  ASSERT_TRUE(test::setNonBlocking(ends.first.fd()));
  EXPECT_EQ(poll(), nothing);
  const std::string bytes = frameWith(dataOf(300000)) + end;
  const auto peer = startPeer([&](int fd) {
    test::writeBytes(fd, bytes);
    return 0;
  });
  EXPECT_EQ(receive(), data(dataOf(300000)));
  EXPECT_EQ(receive(), nothing);
  EXPECT_EQ(peer->wait(), 0);
}

TEST_F(Receiving, WorksOnPipes) {
  const test::Ends in = test::pipeEnds();
  const test::Ends out = test::pipeEnds();
  runtime_set_channel(in.first.fd(), out.second.fd(), session);
  EXPECT_EQ(poll(), nothing);
  const std::string frame = frameWith("\1data");
  test::writeBytes(in.second.fd(), frame.substr(0, 21));
  EXPECT_EQ(poll(), nothing);
  test::writeBytes(in.second.fd(), frame.substr(21) + frameWith("x").replace(0, 1, "T"));
  std::string contents = "toc";
  const OctetList toc{3, 3, reinterpret_cast<uint8_t *>(contents.data())};
  EXPECT_EQ(receive(&toc), data("\1data"));
  const std::string sent = frameOf(RUNTIME_MESSAGE_TOC, contents);
  EXPECT_EQ(test::readBytes(out.first.fd(), sent.size()), sent);
  const std::string pipes =
      "fd:" + std::to_string(in.first.fd()) + "," + std::to_string(out.second.fd());
  EXPECT_EQ(poll(), cutOff(pipes, "what has arrived is no message"));
}
