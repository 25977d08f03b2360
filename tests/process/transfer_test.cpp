// Whole transfers: another process sends over a real socket, pauses, cancels, or is killed.
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/runtime.h>
#include <sprig/streams.h>

#include "records/status.h"
#include "support/channel.h"
#include "support/exceptions.h"
#include "support/log.h"
#include "support/process.h"
#include "support/temporary_directory.h"
#include "support/values.h"

namespace {

namespace fs = std::filesystem;

using test::Child;

constexpr size_t pieceSize = 16384;

// What is sent: bytes that repeat at a length that no number of pieces has.
class Content {
public:
  static std::string slice(size_t offset, size_t length) {
    std::string bytes;
    while (bytes.size() < length) {
      const size_t at = (offset + bytes.size()) % pattern().size();
      bytes += pattern().substr(at, length - bytes.size());
    }
    return bytes;
  }
  static bool isSliceAt(size_t offset, const unsigned char *bytes, size_t length) {
    return std::memcmp(slice(offset, length).data(), bytes, length) == 0;
  }

private:
  static const std::string &pattern() {
    constexpr size_t prime = 1000003;
    static const std::string bytes = test::dataOf(prime);
    return bytes;
  }
};

// The sender's side of a connection.
class Sender {
public:
  explicit Sender(int fd) : fd_(fd) {}

  // What the endpoint has already of the only segment, from its table of contents; -1 where what
  // arrives is none.
  int32_t takeOffset() const {
    RuntimeMessage message{};
    if (runtime_channel_receive(fd_, &message, -1) != 0 || message.type != RUNTIME_MESSAGE_TOC) {
      return -1;
    }
    const test::Bytes bytes(message.data, message.data + message.length);
    mg_free(message.data);
    const test::Value toc(TC_NEX_Sprig2_PropertiesList);
    const auto &list = toc.as<PropertiesList>();
    return test::decode(bytes, toc) == RUNTIME_ADR_OK && list.length == 1
               ? properties_get_long(list.buffer, SEGMENT_OFFSET_KEY)
               : -1;
  }

  bool sendPiece(size_t offset, size_t size) const {
    const size_t length = std::min(pieceSize, size - offset);
    return send(RUNTIME_MESSAGE_DATA, '\1' + Content::slice(offset, length));
  }
  bool sendFrom(size_t offset, size_t size) const {
    bool isSent = true;
    for (; isSent && offset < size; offset += pieceSize) {
      isSent = sendPiece(offset, size);
    }
    return isSent;
  }
  bool sendCommand(int command) const {
    return send(RUNTIME_MESSAGE_DATA, {static_cast<char>(command)});
  }
  bool sendEnd() const { return send(RUNTIME_MESSAGE_END, ""); }

  // The first bytes of the next piece's frame, and no more.
  [[noreturn]] void dieInPiece(size_t offset, size_t bytes) const {
    const std::string frame =
        test::frameOf(RUNTIME_MESSAGE_DATA, '\1' + Content::slice(offset, pieceSize));
    test::writeBytes(fd_, frame.substr(0, bytes));
    (void)raise(SIGKILL);
    abort();
  }

private:
  bool send(int32_t type, std::string bytes) const {
    const RuntimeMessage message{type, test::session, static_cast<uint32_t>(bytes.size()),
                                 reinterpret_cast<uint8_t *>(bytes.data())};
    return runtime_channel_send(fd_, &message) == 0;
  }

  int fd_;
};

struct CloseStream {
  void operator()(NetStream *stream) const { net_stream_close(stream); }
};
using OpenStream = std::unique_ptr<NetStream, CloseStream>;

// The status file as another process finds it.
struct Status {
  std::string total;
  std::string received;
  bool isClosed;
  bool isPaused;
  bool hasFailed;
  std::string failure;

  bool operator==(const Status &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Status &status) {
  return out << status.received << " of " << status.total << (status.isClosed ? ", closed" : "")
             << (status.isPaused ? ", paused" : "") << (status.hasFailed ? ", failed: " : "")
             << status.failure;
}

std::string lengthText(size_t length) {
  const std::string digits = std::to_string(length);
  return (length < 1000 ? "0" + std::string(3 - digits.size(), '0') + digits : digits) + '\n';
}

// An endpoint whose method keeps what arrives in a file; that file's size is where it resumes.
class Transfer : public testing::Test {
protected:
  Transfer() { test::registerTypes(); }
  ~Transfer() override { runtime_set_channel(-1, -1, 0); }

  // A process that waits for the endpoint and then sends. The endpoint has a new channel.
  std::unique_ptr<Child> startSender(const std::function<int(const Sender &)> &body) const {
    runtime_set_channel(-1, -1, 0);
    const test::OpenFile listener(runtime_channel_listen(address.c_str()));
    EXPECT_NE(listener.fd(), -1);
    return std::make_unique<Child>([&] {
      const int connection = runtime_channel_accept(listener.fd());
      CHILD_EXPECT(connection != -1);
      return body(Sender(connection));
    });
  }

  size_t arrived() const { return fs::exists(file) ? fs::file_size(file) : 0; }

  OpenStream open(size_t size) const {
    uint8_t bytes[] = {2, 0, static_cast<uint8_t>(isMobile ? 1 : 2), 'd', '1', 0};
    StreamKey key{sizeof bytes, sizeof bytes, bytes};
    OpenStream stream(net_stream_open(&key, nullptr));
    Properties segment{};
    properties_put_string_dup(&segment, SEGMENT_ID_KEY, "segment");
    properties_put_string_dup(&segment, SEGMENT_VERSION_KEY, "1");
    properties_put_long_dup(&segment, SEGMENT_SIZE_KEY, static_cast<int32_t>(size));
    properties_put_long_dup(&segment, SEGMENT_OFFSET_KEY, static_cast<int32_t>(arrived()));
    const PropertiesList list{1, 1, &segment};
    net_stream_save_modified_toc(stream.get(), &list);
    EXPECT_EQ(stream->type, 2);
    properties_delete(&segment);
    return stream;
  }

  // Reads until nothing more comes, and returns the last result.
  int32_t receive(const OpenStream &stream) const {
    std::ofstream out(file, std::ios::app | std::ios::binary);
    size_t position = arrived();
    for (;;) {
      unsigned char *buffer = nullptr;
      const int32_t count = net_stream_read(stream.get(), &buffer);
      if (count <= 0) {
        EXPECT_EQ(buffer == nullptr, count == 0);
        mg_free(buffer);
        return count;
      }
      EXPECT_TRUE(Content::isSliceAt(position, buffer, static_cast<size_t>(count))) << position;
      out.write(reinterpret_cast<char *>(buffer), count).flush();
      position += static_cast<size_t>(count);
      net_stream_free_buffer(stream.get(), buffer);
    }
  }

  // The same of a sender that dies: what is thrown, which the method tells those who follow.
  std::string receiveInVain(const OpenStream &stream) const {
    std::ofstream out(file, std::ios::app | std::ios::binary);
    unsigned char *buffer = nullptr;
    int32_t count = 0;
    std::string failure;
    while ((failure = test::textThrown([&] {
              count = net_stream_read(stream.get(), &buffer);
            })).empty() &&
           count > 0) {
      out.write(reinterpret_cast<char *>(buffer), count).flush();
      net_stream_free_buffer(stream.get(), buffer);
    }
    net_stream_set_status(stream.get(), failure.c_str());
    return failure;
  }

  static Status readStatus() {
    const test::StatusPtr record = test::newStatus("d1");
    mstat_load(record.get());
    const Properties *list = mstat_get_properties(record.get());
    return {properties_get_string2(list, "t_len", "none"),
            properties_get_string2(list, "c_len", "none"),
            properties_get_boolean(list, "close") != 0,
            properties_get_boolean(list, "paused") != 0,
            properties_get_boolean(list, "err") != 0,
            properties_get_string2(list, "err_msg", "")};
  }

  void expectWhole(size_t size) const {
    ASSERT_EQ(arrived(), size);
    std::ifstream in(file, std::ios::binary);
    std::string bytes(size_t{1} << 20, '\0');
    for (size_t position = 0; position < size; position += bytes.size()) {
      in.read(bytes.data(), static_cast<std::streamsize>(std::min(bytes.size(), size - position)));
      bytes.resize(static_cast<size_t>(in.gcount()));
      ASSERT_TRUE(bytes == Content::slice(position, bytes.size())) << position;
    }
  }

  // A transfer that carries on and ends.
  void finish(size_t size) const {
    const size_t before = arrived();
    const auto sender = startSender([=](const Sender &channel) {
      CHILD_EXPECT(channel.takeOffset() == static_cast<int32_t>(before));
      CHILD_EXPECT(channel.sendFrom(before, size) && channel.sendEnd());
      return 0;
    });
    EXPECT_EQ(receive(open(size)), 0);
    EXPECT_EQ(sender->wait(), 0);
    expectWhole(size);
    if (!isMobile) {
      return;
    }
    EXPECT_EQ(readStatus(), (Status{lengthText(size), lengthText(size), true, false, false, ""}));
  }

  bool isMobile = true;
  test::TemporaryDirectory directory;
  const std::string address = "unix:" + directory / "channel";
  const std::string file = directory / "received";
  const test::Variable workDirectory{"KRT_WORKDIR", directory.path().c_str()};
  const test::Variable dataDirectory{"KRT_DATDIR", directory.path().c_str()};
  const test::Variable configuration{"KRT_CONFIG", nullptr};
  const test::Variable channel{"KRT_CHANNEL", address.c_str()};
  const test::Variable session{"KRT_SESSION", std::to_string(test::session).c_str()};
  test::Log log;
};

using ResumedTransfer = Transfer;

class WholeTransfer : public Transfer, public testing::WithParamInterface<size_t> {};

// With the command that stops it.
class StoppedTransfer : public Transfer, public testing::WithParamInterface<int> {};

// With the number of bytes that arrive of the piece in which the sender is killed.
class KilledTransfer : public Transfer, public testing::WithParamInterface<size_t> {};

constexpr size_t small = 4 * pieceSize + 100; // five pieces

} // namespace

INSTANTIATE_TEST_SUITE_P(Of, WholeTransfer,
                         testing::Values(0, 1, 999, 16383, 16384, 16385, 300000));

TEST_P(WholeTransfer, ArrivesByteForByte) { finish(GetParam()); }

TEST_P(WholeTransfer, ArrivesByteForByteWithoutAStatusFile) {
  isMobile = false;
  finish(GetParam());
  EXPECT_FALSE(fs::exists(directory / "mstat"));
}

TEST_F(ResumedTransfer, ArrivesByteForByteHoweverLargeItIs) {
  constexpr size_t large = size_t{100} << 20;
  isMobile = false;
  finish(large);
  fs::resize_file(file, large / 3);
  finish(large);
}

INSTANTIATE_TEST_SUITE_P(By, StoppedTransfer, testing::Values(2, 3));

TEST_P(StoppedTransfer, TellsSoAtEveryPositionAndCanBeResumed) {
  const int command = GetParam();
  for (size_t position = 0; position <= small; position += pieceSize) {
    SCOPED_TRACE("stopped at " + std::to_string(position));
    fs::remove(file);
    fs::remove_all(directory / "mstat");
    const auto sender = startSender([=](const Sender &channel) {
      CHILD_EXPECT(channel.takeOffset() == 0);
      CHILD_EXPECT(channel.sendFrom(0, position) && channel.sendCommand(command));
      return 0;
    });
    EXPECT_EQ(receive(open(small)), -command);
    EXPECT_EQ(sender->wait(), 0);
    EXPECT_EQ(arrived(), position);
    const Status status = readStatus();
    EXPECT_TRUE(status.isClosed);
    EXPECT_EQ(status.isPaused, command == 3);
    EXPECT_FALSE(status.hasFailed);
    EXPECT_EQ(status.received, position == 0 ? "none" : lengthText(position));
    finish(small);
  }
}

TEST_F(ResumedTransfer, GoesOnOverTheSameChannelAfterAPause) {
  const auto sender = startSender([](const Sender &channel) {
    CHILD_EXPECT(channel.takeOffset() == 0);
    CHILD_EXPECT(channel.sendFrom(0, pieceSize) && channel.sendCommand(3));
    CHILD_EXPECT(channel.takeOffset() == static_cast<int32_t>(pieceSize));
    CHILD_EXPECT(channel.sendFrom(pieceSize, small) && channel.sendEnd());
    return 0;
  });
  EXPECT_EQ(receive(open(small)), -3);
  EXPECT_EQ(receive(open(small)), 0);
  EXPECT_EQ(sender->wait(), 0);
  expectWhole(small);
}

INSTANTIATE_TEST_SUITE_P(With, KilledTransfer, testing::Values(0, 1, 19, 20, 21, 10000));

TEST_P(KilledTransfer, FailsClearlyAndResumesWhereItWas) {
  for (size_t position = 0; position < small; position += pieceSize) {
    SCOPED_TRACE("killed at " + std::to_string(position));
    fs::remove(file);
    fs::remove_all(directory / "mstat");
    const auto sender = startSender([=](const Sender &channel) {
      CHILD_EXPECT(channel.takeOffset() == 0);
      CHILD_EXPECT(channel.sendFrom(0, position));
      channel.dieInPiece(position, GetParam());
    });
    const std::string failure = receiveInVain(open(small));
    EXPECT_EQ(sender->wait(), -SIGKILL);
    EXPECT_EQ(failure, test::cutOff(address, GetParam() == 0 ? "the sender has closed it"
                                                             : "the sender has broken it off")
                           .thrown);
    EXPECT_EQ(arrived(), position);
    EXPECT_EQ(readStatus(),
              (Status{lengthText(small), position == 0 ? "none" : lengthText(position), true, false,
                      true, failure}));
    finish(small);
  }
}

TEST_F(ResumedTransfer, EndsInTheEndHoweverOftenTheSenderIsKilled) {
  for (size_t position = 0; position < small; position += pieceSize) {
    const auto sender = startSender([=](const Sender &channel) {
      CHILD_EXPECT(channel.takeOffset() == static_cast<int32_t>(position));
      CHILD_EXPECT(channel.sendPiece(position, small));
      channel.dieInPiece(position + pieceSize, 1000);
    });
    EXPECT_NE(receiveInVain(open(small)), "");
    EXPECT_EQ(sender->wait(), -SIGKILL);
  }
  EXPECT_EQ(arrived(), small);
  EXPECT_EQ(readStatus().received, lengthText(small)) << "nothing was missing any more";
  EXPECT_TRUE(readStatus().hasFailed) << "but its end";
  finish(small);
}

TEST_F(ResumedTransfer, IsToldFromOneThatHasNotBegun) {
  const auto sender = startSender([](const Sender &channel) {
    CHILD_EXPECT(channel.takeOffset() == 0);
    (void)raise(SIGKILL);
    return 0;
  });
  {
    const OpenStream stream = open(small);
    EXPECT_NE(receiveInVain(stream), "");
    EXPECT_EQ(sender->wait(), -SIGKILL);
    EXPECT_EQ(receiveInVain(stream), "The channel " + address + " is closed.\n");
  }
  EXPECT_EQ(readStatus().failure, "The channel " + address + " is closed.\n");
}
