// The other side of a channel.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include <sys/ioctl.h>
#include <sys/mman.h>

#include <gtest/gtest.h>

#include "support/channel.h"

using test::Child;
using test::dataOf;
using test::Ends;
using test::frameOf;
using test::session;

namespace {

constexpr int forEver = -1;

// What receiving gave; the data are released.
struct Result {
  int code = 0;
  int error = 0; // errno, where the code is -1
  int32_t type = 0;
  int32_t ofSession = 0;
  std::string data = {};

  bool operator==(const Result &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Result &result) {
  return out << "code " << result.code << ", errno " << result.error << ", type " << result.type
             << ", session " << result.ofSession << ", " << result.data.size() << " bytes";
}

Result failure(int error) { return {-1, error}; }
Result data(const std::string &bytes) { return {0, 0, RUNTIME_MESSAGE_DATA, session, bytes}; }
const Result closed{1};

Result receive(int fd, int timeout = forEver) {
  RuntimeMessage message{};
  Result result;
  result.code = runtime_channel_receive(fd, &message, timeout);
  result.error = result.code == -1 ? errno : 0;
  result.type = message.type;
  result.ofSession = message.session_id;
  EXPECT_EQ(message.data == nullptr, message.length == 0);
  if (message.data != nullptr) {
    result.data = std::string(reinterpret_cast<char *>(message.data), message.length);
  }
  mg_free(message.data);
  return result;
}

int send(int fd, int32_t type, std::string bytes, int32_t ofSession = session) {
  const RuntimeMessage message{type, ofSession, static_cast<uint32_t>(bytes.size()),
                               reinterpret_cast<uint8_t *>(bytes.data())};
  return runtime_channel_send(fd, &message);
}

const std::string frame = frameOf(RUNTIME_MESSAGE_DATA, "data");

// Each kind of stream, first the end to read from.
class Peer : public testing::TestWithParam<Ends (*)()> {
protected:
  void connect() { ends = GetParam()(); }
  void put(const std::string &bytes) const { test::writeBytes(ends.second.fd(), bytes); }
  int in() const { return ends.first.fd(); }
  int out() const { return ends.second.fd(); }

  Ends ends = GetParam()();
};

} // namespace

INSTANTIATE_TEST_SUITE_P(On, Peer, testing::Values(test::socketEnds, test::pipeEnds),
                         [](const auto &kind) { return kind.index == 0 ? "Sockets" : "Pipes"; });

TEST_P(Peer, SendsFrames) {
  EXPECT_EQ(send(out(), RUNTIME_MESSAGE_DATA, "\1data"), 0);
  EXPECT_EQ(send(out(), RUNTIME_MESSAGE_END, "", INT32_MIN), 0);
  const std::string sent =
      frameOf(RUNTIME_MESSAGE_DATA, "\1data") + frameOf(RUNTIME_MESSAGE_END, "", INT32_MIN);
  EXPECT_EQ(test::readBytes(in(), sent.size()), sent);
}

TEST_P(Peer, ReceivesMessagesOfAnyTypeAndSession) {
  put(frame + frameOf(-1, "", 8) + frameOf(INT32_MAX, "x", INT32_MIN));
  EXPECT_EQ(receive(in()), data("data"));
  EXPECT_EQ(receive(in()), (Result{0, 0, -1, 8}));
  EXPECT_EQ(receive(in()), (Result{0, 0, INT32_MAX, INT32_MIN, "x"}));
}

TEST_P(Peer, LeavesWhatFollowsAMessage) {
  put(frame + "more");
  EXPECT_EQ(receive(in()), data("data"));
  int left = 0;
  ASSERT_EQ(ioctl(in(), FIONREAD, &left), 0);
  EXPECT_EQ(left, 4);
}

TEST_P(Peer, CarriesMessagesOfAllLengths) {
  const std::vector<size_t> lengths{0, 1, 16384, 16385, 1 << 20, (1 << 20) + 1, 5 << 20, 3};
  Child sender([&] {
    for (const size_t length : lengths) {
      CHILD_EXPECT(send(out(), RUNTIME_MESSAGE_DATA, dataOf(length)) == 0);
    }
    return 0;
  });
  for (const size_t length : lengths) {
    EXPECT_EQ(receive(in()), data(dataOf(length)));
  }
  EXPECT_EQ(sender.wait(), 0);
}

TEST_P(Peer, WaitsOnDescriptorsThatDoNotBlock) {
  ASSERT_TRUE(test::setNonBlocking(in()) && test::setNonBlocking(out()));
  Child sender([&] {
    CHILD_EXPECT(send(out(), RUNTIME_MESSAGE_DATA, dataOf(2 << 20)) == 0);
    CHILD_EXPECT(send(out(), RUNTIME_MESSAGE_END, "") == 0);
    return 0;
  });
  EXPECT_EQ(receive(in()), data(dataOf(2 << 20)));
  EXPECT_EQ(receive(in()), (Result{0, 0, RUNTIME_MESSAGE_END, session}));
  EXPECT_EQ(sender.wait(), 0);
}

TEST_P(Peer, TellsWhenTheChannelWasClosed) {
  put(frame);
  ends.second = test::OpenFile();
  for (const int timeout : {forEver, 0, 10}) {
    if (timeout == forEver) {
      EXPECT_EQ(receive(in(), timeout), data("data"));
    }
    EXPECT_EQ(receive(in(), timeout), closed);
  }
}

TEST_P(Peer, TellsWhenTheOtherSideIsKilledAtAnyPlaceOfAMessage) {
  for (size_t place = 0; place < frame.size(); ++place) {
    connect();
    Child sender([&] {
      put(frame.substr(0, place));
      raise(SIGKILL);
      return 0;
    });
    ends.second = test::OpenFile();
    EXPECT_EQ(receive(in()), place == 0 ? closed : failure(ECONNRESET)) << place;
    EXPECT_EQ(sender.wait(), -SIGKILL);
  }
}

TEST_P(Peer, TellsWhatIsNoMessage) {
  const auto announced = [](uint32_t length) {
    return test::headerOf(RUNTIME_MESSAGE_DATA, session, length, 0);
  };
  const std::pair<std::string, int> refused[] = {
      {"T" + frame.substr(1), EPROTO},
      {"SPR\2" + frame.substr(4), EPROTO},
      {"S\n", EPROTO},
      {announced((256U << 20) + 1), EMSGSIZE},
      {announced(0xffffffff), EMSGSIZE},
      {announced(0), EBADMSG},
      {frame.substr(0, frame.size() - 1) + "b", EBADMSG},
  };
  for (const auto &[bytes, error] : refused) {
    connect();
    put(bytes);
    EXPECT_EQ(receive(in()), failure(error));
  }
}

TEST_P(Peer, WaitsNoLongerThanItIsTold) {
  EXPECT_EQ(receive(in(), 0), failure(ETIMEDOUT));
  EXPECT_EQ(receive(in(), 10), failure(ETIMEDOUT));
  put(frame);
  EXPECT_EQ(receive(in(), 0), data("data")) << "no message had begun";
  for (const size_t place : {1, 19, 20, 23}) {
    connect();
    put(frame.substr(0, place));
    EXPECT_EQ(receive(in(), 0), failure(ETIMEDOUT));
    connect();
    put(frame.substr(0, place));
    EXPECT_EQ(receive(in(), 10), failure(ETIMEDOUT));
  }
}

TEST_P(Peer, WaitsNoLongerThanItIsToldWhileBytesArrive) {
  Child sender([&] {
    put(test::headerOf(RUNTIME_MESSAGE_DATA, session, 256 << 20, 0));
    for (;;) {
      put("x");
    }
    return 0;
  });
  EXPECT_EQ(receive(in(), 50), failure(ETIMEDOUT));
}

TEST_P(Peer, TakesAMessageThatArrivesByteByByteInTime) {
  Child sender([&] {
    for (const char byte : frame) {
      put({byte});
    }
    return 0;
  });
  constexpr int longEnough = 60000;
  EXPECT_EQ(receive(in(), longEnough), data("data"));
  EXPECT_EQ(sender.wait(), 0);
}

TEST_P(Peer, TellsWhenThereIsNoMemory) {
  Child sender([&] {
    put(test::headerOf(RUNTIME_MESSAGE_DATA, session, 256 << 20, 0));
    for (;;) {
      put(dataOf(1 << 20));
    }
    return 0;
  });
  const test::LittleMemory limit;
  EXPECT_EQ(receive(in()), failure(ENOMEM));
}

TEST_P(Peer, RefusesToSendWhatIsTooLong) {
  uint8_t byte = 0;
  const RuntimeMessage message{RUNTIME_MESSAGE_DATA, session, (256U << 20) + 1, &byte};
  EXPECT_EQ(runtime_channel_send(out(), &message), -1);
  EXPECT_EQ(errno, EMSGSIZE);
  EXPECT_EQ(receive(in(), 0), failure(ETIMEDOUT)) << "nothing was sent";
}

TEST_P(Peer, HasALimitThatAMessageMayReach) {
  constexpr uint32_t longest = 256U << 20;
  put(test::headerOf(RUNTIME_MESSAGE_DATA, session, longest, 0));
  EXPECT_EQ(receive(in(), 0), failure(ETIMEDOUT));
  ends.first = test::OpenFile();
  void *zeros = mmap(nullptr, longest, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(zeros, MAP_FAILED);
  const RuntimeMessage message{RUNTIME_MESSAGE_DATA, session, longest,
                               static_cast<uint8_t *>(zeros)};
  EXPECT_EQ(runtime_channel_send(out(), &message), -1);
  EXPECT_EQ(errno, EPIPE);
  EXPECT_EQ(munmap(zeros, longest), 0);
}

TEST_P(Peer, NeedsADescriptor) {
  for (const int timeout : {forEver, 0, 10}) {
    EXPECT_EQ(receive(-1, timeout), failure(EBADF));
  }
  EXPECT_EQ(send(-1, RUNTIME_MESSAGE_END, ""), -1);
  EXPECT_EQ(errno, EBADF);
}
