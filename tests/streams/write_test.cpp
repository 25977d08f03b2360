// Sending back over the channel: which messages go out, in which lengths, and what the receiver's
// answers do. The test is the receiver. A stream over named files writes to a file instead.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/streams.h>

#include "properties/layouts.h"
#include "records/status.h"
#include "support/channel.h"
#include "support/exceptions.h"
#include "support/heap.h"
#include "support/process.h"
#include "support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;

using test::dataOf;
using test::frameOf;

constexpr int32_t usualSize = 16384;

// A message that the stream has sent.
struct Sent {
  int32_t type;
  std::string data = {};

  bool operator==(const Sent &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Sent &sent) {
  return out << "type " << sent.type << ", " << sent.data.size() << " bytes";
}

using Messages = std::vector<Sent>;

const Sent start{RUNTIME_MESSAGE_STATUS, std::string(32, '\0')};
const Sent end{RUNTIME_MESSAGE_END};
Sent buffer(const std::string &bytes) { return {RUNTIME_MESSAGE_DATA, bytes}; }

// The next message, which is waited for that long, in milliseconds; one of type 0 when none comes.
Sent takeMessage(int fd, int timeout) {
  RuntimeMessage message{};
  if (runtime_channel_receive(fd, &message, timeout) != 0) {
    return {0};
  }
  EXPECT_EQ(message.session_id, test::session);
  Sent sent{message.type, {reinterpret_cast<char *>(message.data), message.length}};
  mg_free(message.data);
  return sent;
}

std::string answerTo(int32_t type, int32_t status, const std::string &more = "") {
  return frameOf(RUNTIME_MESSAGE_REPLY, test::bigEndian(static_cast<uint32_t>(type)) +
                                            test::bigEndian(static_cast<uint32_t>(status)) + more);
}
std::string answerToStart(int32_t status) { return answerTo(RUNTIME_MESSAGE_STATUS, status); }
std::string answerToBuffer(int32_t status) { return answerTo(RUNTIME_MESSAGE_DATA, status); }

struct CloseStream {
  void operator()(NetStream *stream) const { net_stream_close(stream); }
};
using OpenStream = std::unique_ptr<NetStream, CloseStream>;

OpenStream open(uint8_t type) {
  uint8_t bytes[] = {type, 0, 2, 'd', '1', 0};
  StreamKey key{sizeof bytes, sizeof bytes, bytes};
  return OpenStream(net_stream_open(&key, nullptr));
}

class Writing : public test::ChannelTest {
protected:
  Writing() { test::registerTypes(); }

  // What was sent since the last time.
  Messages sent() const {
    Messages messages;
    for (;;) {
      Sent message = takeMessage(ends.second.fd(), 0);
      if (message.type == 0) {
        return messages;
      }
      messages.push_back(std::move(message));
    }
  }

  void acceptStart(int32_t size = usualSize) const { put(answerToStart(size)); }
  void acceptBuffers(int count) const {
    for (int i = 0; i < count; ++i) {
      put(answerToBuffer(0));
    }
  }

  // A transfer that has begun.
  OpenStream begun(int32_t size = usualSize) const {
    OpenStream stream = open(2);
    acceptStart(size);
    EXPECT_EQ(net_stream_write_begin(stream.get()), 0);
    EXPECT_EQ(sent(), Messages{start});
    return stream;
  }

  static int32_t write(const OpenStream &stream, const std::string &bytes) {
    return net_stream_write(stream.get(), bytes.data(), static_cast<int32_t>(bytes.size()));
  }
  static int32_t finish(const OpenStream &stream) { return net_stream_write_end(stream.get()); }

  static std::string writeFailure(NetStream *stream, const std::string &bytes) {
    return test::textThrown(
        [&] { net_stream_write(stream, bytes.data(), static_cast<int32_t>(bytes.size())); });
  }
};

using WriteBegin = Writing;
using Write = Writing;
using WriteEnd = Writing;
using WriteTransfer = Writing;

class SendFile : public Writing {
protected:
  std::string made(const std::string &content) const {
    test::writeFile(directory / "file", content);
    return directory / "file";
  }
  int32_t send(const OpenStream &stream, const std::string &content, int32_t offset = 0) const {
    return net_stream_send_file(stream.get(), made(content).c_str(), offset);
  }
  std::string sendFailure(const OpenStream &stream, const std::string &path) const {
    return test::textThrown([&] { net_stream_send_file(stream.get(), path.c_str(), 0); });
  }

  test::TemporaryDirectory directory;
};

// A stream of type 4 writes into the work directory.
class WriteFile : public SendFile {
protected:
  static int32_t begin(const OpenStream &stream) { return net_stream_write_begin(stream.get()); }
  static fs::perms modeOf(const std::string &path) { return fs::status(path).permissions(); }
  // There is none, and nothing is lost.
  static void expectNoFile() {
    const long descriptors = test::openDescriptors();
    test::expectNothingLost([] {
      const OpenStream stream = open(4);
      EXPECT_EQ(test::textThrown([&] { EXPECT_EQ(begin(stream), -1); }), "");
      EXPECT_EQ(stream->buffer, nullptr);
      EXPECT_EQ(stream->output, nullptr);
    });
    EXPECT_EQ(test::openDescriptors(), descriptors);
  }

  const test::Variable workDirectory{"KRT_WORKDIR", directory.path().c_str()};
  const std::string file = directory / "sprig/d1";
};

// The types whose data go over the channel.
class WritingType : public Writing, public testing::WithParamInterface<uint8_t> {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Of, WritingType, testing::Values(2, 3, 6, 7, 8, 9, 10));

TEST_P(WritingType, SendsOverTheChannel) {
  const OpenStream stream = open(GetParam());
  acceptStart();
  acceptBuffers(1);
  EXPECT_EQ(net_stream_write_begin(stream.get()), 0);
  EXPECT_EQ(write(stream, "data"), 4);
  EXPECT_EQ(finish(stream), 0);
  EXPECT_EQ(sent(), (Messages{start, buffer("data"), end}));
  stream->type = 2; // one of type 3 cannot be closed
}

TEST_F(WriteBegin, TakesTheSizeThatTheReceiverWants) {
  for (const int32_t size : {1, 100, usualSize, 100000}) {
    const OpenStream stream = begun(size);
    EXPECT_EQ(stream->read_size, size);
    EXPECT_NE(stream->buffer, nullptr);
    EXPECT_EQ(stream->fill_level, 0);
  }
}

TEST_F(WriteBegin, KeepsItsSizeWhenTheReceiverWantsNone) {
  const OpenStream stream = begun(0);
  EXPECT_EQ(stream->read_size, usualSize);
  const OpenStream small = open(2);
  small->read_size = 5;
  acceptStart(0);
  EXPECT_EQ(net_stream_write_begin(small.get()), 0);
  EXPECT_EQ(small->read_size, 5);
}

TEST_F(WriteBegin, HasTheUsualSizeWhenNobodyWantsOne) {
  const OpenStream stream = open(2);
  stream->read_size = 0;
  acceptStart(0);
  EXPECT_EQ(net_stream_write_begin(stream.get()), 0);
  EXPECT_EQ(stream->read_size, usualSize);
}

TEST_F(WriteBegin, EndsWhenTheStartIsRefused) {
  for (const int32_t status : {-1, -3, INT32_MIN}) {
    const OpenStream stream = open(2);
    put(answerToStart(status));
    EXPECT_EQ(net_stream_write_begin(stream.get()), status);
    EXPECT_EQ(sent(), (Messages{start, end}));
    EXPECT_EQ(stream->buffer, nullptr);
    EXPECT_EQ(stream->read_size, usualSize);
    EXPECT_EQ(finish(stream), 0);
    EXPECT_EQ(sent(), Messages{}) << "the end is sent once";
  }
}

TEST_F(WriteBegin, CanFollowARefusedOne) {
  const OpenStream stream = open(2);
  put(answerToStart(-3) + answerToStart(8) + answerToBuffer(0));
  EXPECT_EQ(net_stream_write_begin(stream.get()), -3);
  EXPECT_EQ(net_stream_write_begin(stream.get()), 0);
  EXPECT_EQ(write(stream, "12345678"), 8);
  EXPECT_EQ(sent(), (Messages{start, end, start, buffer("12345678")}));
}

TEST_F(WriteBegin, HasABufferOfTheNewSizeEachTime) {
  const OpenStream stream = begun(10);
  acceptStart(1000);
  acceptBuffers(1);
  EXPECT_EQ(net_stream_write_begin(stream.get()), 0);
  EXPECT_EQ(write(stream, dataOf(1000)), 1000);
  EXPECT_EQ(sent(), (Messages{start, buffer(dataOf(1000))}));
}

TEST_F(WriteBegin, TakesNoOtherMessageForAnAnswer) {
  const OpenStream stream = open(2);
  put(frameOf(RUNTIME_MESSAGE_DATA, "\2"));
  EXPECT_EQ(test::textThrown([&] { net_stream_write_begin(stream.get()); }),
            test::cutOff(name(), "a message of type 11 and 1 bytes has arrived in the place of an "
                                 "answer")
                .thrown);
  EXPECT_EQ(stream->buffer, nullptr);
}

TEST_F(Write, GathersUntilTheBufferIsFull) {
  const OpenStream stream = begun(10);
  acceptBuffers(1);
  EXPECT_EQ(write(stream, "1234"), 4);
  EXPECT_EQ(write(stream, "56789"), 5);
  EXPECT_EQ(sent(), Messages{});
  EXPECT_EQ(stream->fill_level, 9);
  EXPECT_EQ(write(stream, "0ab"), 3);
  EXPECT_EQ(sent(), Messages{buffer("1234567890")});
  EXPECT_EQ(stream->fill_level, 2);
}

TEST_F(Write, SendsFullBuffersAndLeavesTheRest) {
  const std::string bytes = dataOf(40000);
  const OpenStream stream = begun();
  acceptBuffers(2);
  EXPECT_EQ(write(stream, bytes), 40000);
  EXPECT_EQ(sent(), (Messages{buffer(bytes.substr(0, usualSize)),
                              buffer(bytes.substr(usualSize, usualSize))}));
  EXPECT_EQ(stream->fill_level, 7232);
  acceptBuffers(1);
  EXPECT_EQ(finish(stream), 0);
  EXPECT_EQ(sent(), (Messages{buffer(bytes.substr(size_t{2} * usualSize)), end}));
  EXPECT_EQ(stream->buffer, nullptr);
  EXPECT_EQ(stream->fill_level, 0);
}

TEST_F(Write, OfNothingDoesNothing) {
  const OpenStream stream = begun(1);
  EXPECT_EQ(net_stream_write(stream.get(), "data", 0), 0);
  EXPECT_EQ(net_stream_write(stream.get(), nullptr, 0), 0);
  EXPECT_EQ(sent(), Messages{});
}

TEST_F(Write, KeepsTheOrderOfPiecesOfAllLengths) {
  const OpenStream stream = begun(64);
  const std::string bytes = dataOf(3000);
  acceptBuffers(3000 / 64 + 1);
  size_t length = 0;
  for (size_t done = 0; done < bytes.size(); done += length) {
    length = std::min(done / 16 + 1, bytes.size() - done);
    EXPECT_EQ(write(stream, bytes.substr(done, length)), static_cast<int32_t>(length));
  }
  EXPECT_EQ(finish(stream), 0);
  std::string arrived;
  const Messages messages = sent();
  for (const Sent &message : messages) {
    arrived += message.data;
  }
  EXPECT_EQ(arrived, bytes);
  EXPECT_EQ(messages.size(), 3000U / 64 + 2) << "the last buffer and the end";
}

TEST_F(Write, EndsWhenABufferIsRefused) {
  const std::string bytes = dataOf(60000);
  const OpenStream stream = begun();
  put(answerToBuffer(0) + answerToBuffer(-5));
  EXPECT_EQ(write(stream, bytes), -5);
  EXPECT_EQ(sent(), (Messages{buffer(bytes.substr(0, usualSize)),
                              buffer(bytes.substr(usualSize, usualSize)), end}));
  EXPECT_EQ(stream->buffer, nullptr);
  EXPECT_LT(write(stream, "more"), 0);
  EXPECT_EQ(finish(stream), 0);
  EXPECT_EQ(sent(), Messages{}) << "the end is sent once";
}

TEST_F(Write, GoesOnWhateverElseTheAnswerSays) {
  const OpenStream stream = begun(4);
  put(answerTo(0, 1) + answerTo(RUNTIME_MESSAGE_STATUS, INT32_MAX, "further bytes"));
  EXPECT_EQ(write(stream, "12345678"), 8);
  EXPECT_EQ(sent(), (Messages{buffer("1234"), buffer("5678")}));
  EXPECT_EQ(stream->read_size, 4) << "only the start chooses the size";
}

TEST_F(Write, FailsWhenTheReceiverHasGone) {
  const OpenStream stream = begun(4);
  closePeer();
  EXPECT_EQ(writeFailure(stream.get(), "12345678"),
            test::cutOff(name(), "the sender has closed it").thrown);
  EXPECT_EQ(writeFailure(stream.get(), "12345678"), "The channel " + name() + " is closed.\n");
}

TEST_F(WriteEnd, DoesNothingWithoutABeginning) {
  const OpenStream stream = open(2);
  EXPECT_EQ(finish(stream), 0);
  EXPECT_EQ(sent(), Messages{});
}

TEST_F(WriteEnd, DoesNothingTheSecondTime) {
  const OpenStream stream = begun(4);
  acceptBuffers(1);
  EXPECT_EQ(write(stream, "full"), 4);
  EXPECT_EQ(sent(), Messages{buffer("full")}) << "a buffer goes out as soon as it is full";
  EXPECT_EQ(finish(stream), 0);
  EXPECT_EQ(finish(stream), 0);
  EXPECT_EQ(sent(), Messages{end});
}

TEST_F(WriteEnd, TellsThatTheLastBufferWasRefused) {
  const OpenStream stream = begun();
  EXPECT_EQ(write(stream, "data"), 4);
  put(answerToBuffer(-7));
  EXPECT_EQ(finish(stream), -7);
  EXPECT_EQ(sent(), (Messages{buffer("data"), end}));
  EXPECT_EQ(stream->buffer, nullptr);
}

TEST_F(WriteTransfer, WaitsForAReceiverThatStalls) {
  std::unique_ptr<test::Child> writer;
  {
    const OpenStream stream = open(2);
    writer = std::make_unique<test::Child>([&] {
      CHILD_EXPECT(net_stream_write_begin(stream.get()) == 0);
      CHILD_EXPECT(write(stream, "12345") == 5);
      CHILD_EXPECT(finish(stream) == 0);
      return 0;
    });
  }
  const auto expectNoMoreThan = [&](const Sent &message) {
    EXPECT_EQ(takeMessage(ends.second.fd(), -1), message);
    EXPECT_TRUE(test::awaitSleep(writer->pid()));
    EXPECT_EQ(sent(), Messages{}) << "it waits for the answer";
  };
  expectNoMoreThan(start);
  put(answerToStart(4));
  expectNoMoreThan(buffer("1234"));
  put(answerToBuffer(0));
  expectNoMoreThan(buffer("5"));
  put(answerToBuffer(0));
  EXPECT_EQ(takeMessage(ends.second.fd(), -1), end);
  EXPECT_EQ(writer->wait(), 0) << "the end is not answered";
}

TEST_F(WriteTransfer, FailsWhenTheReceiverDiesWhileItIsWaitedFor) {
  const auto receiver = startPeer([&](int fd) {
    CHILD_EXPECT(takeMessage(fd, -1) == start);
    test::writeBytes(fd, answerToStart(4));
    CHILD_EXPECT(takeMessage(fd, -1) == buffer("1234"));
    return 0;
  });
  const OpenStream stream = open(2);
  EXPECT_EQ(net_stream_write_begin(stream.get()), 0);
  EXPECT_EQ(writeFailure(stream.get(), "12345678"),
            test::cutOff(name(), "the sender has closed it").thrown);
  EXPECT_EQ(receiver->wait(), 0);
}

TEST_F(WriteTransfer, LosesNothing) {
  test::expectNothingLost([&] {
    const OpenStream stream = begun(4);
    put(answerTo(RUNTIME_MESSAGE_DATA, 0, "further bytes") + answerToBuffer(0));
    EXPECT_EQ(write(stream, "12345"), 5);
    EXPECT_EQ(finish(stream), 0);
    acceptStart();
    EXPECT_EQ(net_stream_write_begin(stream.get()), 0);
    EXPECT_EQ(write(stream, "not ended"), 9);
    sent();
  });
  closePeer();
  test::expectNothingLost([&] {
    const OpenStream stream = open(2);
    EXPECT_NE(test::textThrown([&] { net_stream_write_begin(stream.get()); }), "");
  });
}

TEST_F(SendFile, IsAWholeTransfer) {
  const std::string content = dataOf(40000);
  acceptStart();
  acceptBuffers(3);
  EXPECT_EQ(send(open(2), content), 0);
  EXPECT_EQ(sent(), (Messages{start, buffer(content.substr(0, usualSize)),
                              buffer(content.substr(usualSize, usualSize)),
                              buffer(content.substr(size_t{2} * usualSize)), end}));
}

TEST_F(SendFile, BeginsAtAnOffset) {
  const std::pair<int32_t, Messages> offsets[] = {{0, {buffer("0123456789")}},
                                                  {4, {buffer("456789")}},
                                                  {9, {buffer("9")}},
                                                  {10, {}},
                                                  {11, {}},
                                                  {INT32_MAX, {}},
                                                  {-1, {buffer("0123456789")}}};
  for (const auto &[offset, buffers] : offsets) {
    connect();
    acceptStart();
    acceptBuffers(1);
    EXPECT_EQ(send(open(2), "0123456789", offset), 0);
    Messages expected{start};
    expected.insert(expected.end(), buffers.begin(), buffers.end());
    expected.push_back(end);
    EXPECT_EQ(sent(), expected) << offset;
  }
}

TEST_F(SendFile, SendsTheEndOfAnEmptyFile) {
  acceptStart();
  EXPECT_EQ(send(open(2), ""), 0);
  EXPECT_EQ(sent(), (Messages{start, end}));
}

TEST_F(SendFile, GoesOutInBuffersOfAnySizeThatTheReceiverWants) {
  const std::string content = dataOf(40000);
  for (const int32_t size : {1000, usualSize + 1, 100000}) {
    connect();
    acceptStart(size);
    acceptBuffers(40000 / size + 1);
    EXPECT_EQ(send(open(2), content), 0);
    std::string arrived;
    for (const Sent &message : sent()) {
      arrived += message.type == RUNTIME_MESSAGE_DATA ? message.data : "";
    }
    EXPECT_EQ(arrived, content);
  }
}

TEST_F(SendFile, StopsWhereItIsRefused) {
  const std::string content = dataOf(40000);
  put(answerToStart(-4));
  EXPECT_EQ(send(open(2), content), -4);
  EXPECT_EQ(sent(), (Messages{start, end}));
  acceptStart();
  put(answerToBuffer(-5));
  EXPECT_EQ(send(open(2), content), -5);
  EXPECT_EQ(sent(), (Messages{start, buffer(content.substr(0, usualSize)), end}));
  acceptStart();
  acceptBuffers(2);
  put(answerToBuffer(-6));
  EXPECT_EQ(send(open(2), content), -6);
  EXPECT_EQ(sent().size(), 5U) << "the start, three buffers, the end";
}

TEST_F(SendFile, SendsNothingWithoutAFile) {
  const OpenStream stream = open(2);
  EXPECT_EQ(sendFailure(stream, directory / "missing"),
            "Cannot open the file " + directory / "missing" + ".\n");
  EXPECT_EQ(sent(), Messages{});
}

TEST_F(SendFile, LetsAFailedReadPass) {
  const OpenStream stream = open(2);
  acceptStart();
  const auto thrown =
      test::thrown([&] { net_stream_send_file(stream.get(), directory.path().c_str(), 0); });
  ASSERT_TRUE(thrown);
  EXPECT_TRUE(thrown->id == 11 || thrown->id == 19) << thrown->id;
}

TEST_F(SendFile, LosesNothing) {
  const std::string path = made(dataOf(40000));
  const long descriptors = test::openDescriptors();
  test::expectNothingLost([&] {
    const OpenStream stream = open(2);
    EXPECT_NE(sendFailure(stream, directory / "missing"), "");
    put(answerToStart(-4));
    EXPECT_EQ(net_stream_send_file(stream.get(), path.c_str(), 0), -4);
    acceptStart();
    put(answerToBuffer(-5));
    EXPECT_EQ(net_stream_send_file(stream.get(), path.c_str(), 0), -5);
    acceptStart();
    acceptBuffers(3);
    EXPECT_EQ(net_stream_send_file(stream.get(), path.c_str(), 100), 0);
    sent();
  });
  closePeer();
  test::expectNothingLost([&] { EXPECT_NE(sendFailure(open(2), path), ""); });
  EXPECT_EQ(test::openDescriptors(), descriptors - 1) << "without that of the peer";
}

TEST_F(WriteFile, IsMadeForItsOwnerToRead) {
  const mode_t mask = umask(0);
  const OpenStream stream = open(4);
  EXPECT_EQ(begin(stream), 0);
  umask(mask);
  EXPECT_EQ(modeOf(file), fs::perms{0400});
  EXPECT_EQ(modeOf(directory / "sprig"), fs::perms{0775});
  EXPECT_EQ(stream->read_size, usualSize);
}

TEST_F(WriteFile, TakesWhatIsWrittenAndNeedsNoChannel) {
  runtime_set_channel(-1, -1, 0);
  const std::string bytes = dataOf(40000);
  const OpenStream stream = open(4);
  EXPECT_EQ(begin(stream), 0);
  EXPECT_EQ(write(stream, bytes), 40000);
  EXPECT_EQ(test::readFile(file), bytes.substr(0, size_t{2} * usualSize));
  EXPECT_EQ(finish(stream), 0);
  EXPECT_EQ(test::readFile(file), bytes);
  EXPECT_EQ(stream->output, nullptr);
  EXPECT_EQ(finish(stream), 0);
}

TEST_F(WriteFile, TakesTheContentOfAnother) {
  EXPECT_EQ(send(open(4), "0123456789", 4), 0);
  EXPECT_EQ(test::readFile(file), "456789");
  EXPECT_EQ(sent(), Messages{});
}

TEST_F(WriteFile, IsTruncatedAndKeepsItsMode) {
  fs::create_directory(directory / "sprig");
  test::writeFile(file, "old content");
  fs::permissions(file, fs::perms{0640});
  const OpenStream stream = open(4);
  EXPECT_EQ(begin(stream), 0);
  EXPECT_EQ(fs::file_size(file), 0U);
  EXPECT_EQ(modeOf(file), fs::perms{0640});
}

TEST_F(WriteFile, IsInTheTemporaryDirectoryWithoutAWorkDirectory) {
  const test::Variable none("KRT_WORKDIR", nullptr);
  const test::Variable temporary("TMPDIR", directory.path().c_str());
  EXPECT_EQ(send(open(4), "data"), 0);
  EXPECT_EQ(test::readFile(file), "data");
}

TEST_F(WriteFile, CannotBeMadeEverywhere) {
  fs::create_directories(file);
  expectNoFile();
  fs::remove_all(directory / "sprig");
  test::writeFile(directory / "sprig", "no directory");
  expectNoFile();
  const test::Variable missing("KRT_WORKDIR", (directory / "missing").c_str());
  expectNoFile();
  const test::Variable tooLong("KRT_WORKDIR", std::string(1100, 'd').c_str());
  expectNoFile();
}

TEST_F(WriteFile, LetsAFailedWritePass) {
  fs::create_directory(directory / "sprig");
  fs::create_symlink("/dev/full", file);
  const OpenStream stream = open(4);
  EXPECT_EQ(begin(stream), 0);
  EXPECT_EQ(writeFailure(stream.get(), dataOf(usualSize)),
            "Cannot write to the file " + file + ". The number of bytes to write = 16384.\n");
}

TEST_F(WriteFile, IsClosedWithItsStream) {
  const long descriptors = test::openDescriptors();
  test::expectNothingLost([&] {
    fs::remove(file); // only root may write to it again
    const OpenStream stream = open(4);
    EXPECT_EQ(begin(stream), 0);
    EXPECT_EQ(write(stream, "data"), 4);
  });
  EXPECT_EQ(test::openDescriptors(), descriptors);
}
