// Reading a stream of any type: what goes over the channel, and what the caller gets. In this
// program the framework's receive and poll answer what a test tells them to.
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/streams.h>

#include "files/failure.h"
#include "records/status.h"
#include "support/channel.h"
#include "support/exceptions.h"
#include "support/heap.h"
#include "support/log.h"
#include "support/streams.h"

using namespace std::string_literals;

namespace {

using Receive = int32_t (*)(unsigned char **, const OctetList *);
using Poll = int32_t (*)(unsigned char **);

// What a test has the framework answer; empty for what the runtime does.
std::function<int32_t(unsigned char **, const OctetList *)> receiveAnswer;
std::function<int32_t(unsigned char **)> pollAnswer;

} // namespace

// In a program, these take the place of the runtime's.
extern "C" int32_t ep_sprig_recv(unsigned char **message, const OctetList *toc) {
  static const auto ofRuntime = reinterpret_cast<Receive>(dlsym(RTLD_NEXT, "ep_sprig_recv"));
  return receiveAnswer ? receiveAnswer(message, toc) : ofRuntime(message, toc);
}
extern "C" int32_t ep_sprig_poll(unsigned char **message) {
  static const auto ofRuntime = reinterpret_cast<Poll>(dlsym(RTLD_NEXT, "ep_sprig_poll"));
  return pollAnswer ? pollAnswer(message) : ofRuntime(message);
}

namespace {

namespace fs = std::filesystem;

using test::Description;
using test::frameOf;
using test::Lines;

constexpr int32_t pieceSize = 16384;

// A data message as the sender makes it, and one with a command and text behind it.
std::string dataFrame(const std::string &bytes) {
  return frameOf(RUNTIME_MESSAGE_DATA, "\1" + bytes);
}
std::string commandFrame(int command, const std::string &text) {
  return frameOf(RUNTIME_MESSAGE_DATA, static_cast<char>(command) + text + '\0');
}

// What a read gave; the block is released.
struct Piece {
  int32_t count = 0;
  std::optional<std::string> bytes = std::nullopt; // none: null

  bool operator==(const Piece &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Piece &piece) {
  return out << piece.count << ' ' << (piece.bytes ? piece.bytes->substr(0, 40) : "null"s);
}

const Piece end{};
Piece pieceOf(const std::string &bytes) { return {static_cast<int32_t>(bytes.size()), bytes}; }
// A command's message, whose text tells where it ends.
Piece commandOf(int command, const std::string &text) {
  return {-command, static_cast<char>(command) + text};
}

struct CloseStream {
  void operator()(NetStream *stream) const { net_stream_close(stream); }
};
using OpenStream = std::unique_ptr<NetStream, CloseStream>;

FileList *newFileList(const std::string &names) {
  auto *files = static_cast<FileList *>(mg_calloc(1, sizeof(FileList)));
  files->list = files->cursor = mg_strdup(names.c_str());
  return files;
}

class Reading : public test::ChannelTest {
protected:
  Reading() { test::registerTypes(); }
  ~Reading() override {
    receiveAnswer = nullptr;
    pollAnswer = nullptr;
  }

  static OpenStream open(int type, const std::string &text, bool isMobile, FileList *files) {
    std::string bytes{static_cast<char>(type), '\0', static_cast<char>(isMobile ? 1 : 2)};
    bytes += text + '\0';
    const auto length = static_cast<uint32_t>(bytes.size());
    StreamKey key{length, length, reinterpret_cast<uint8_t *>(bytes.data())};
    return OpenStream(net_stream_open(&key, files));
  }
  static OpenStream openNetwork(bool isMobile = false) { return open(2, "d1", isMobile, nullptr); }

  // A stream of any type over one file, which is all of its distribution.
  OpenStream openFile(int type, const std::string &content, bool isMobile = false) const {
    const std::string path = directory / "data";
    test::writeFile(path, content);
    OpenStream stream = type == 4 ? open(4, "d1," + path, isMobile, nullptr)
                                  : open(type == 11 ? 9 : type, "d1", isMobile, newFileList(path));
    stream->type = type;
    stream->segments = test::listOf({Description{path, static_cast<int32_t>(content.size()), 0}});
    return stream;
  }

  static Piece read(const OpenStream &stream) {
    unsigned char untouched = 0;
    unsigned char *buffer = &untouched;
    Piece piece;
    piece.count = net_stream_read(stream.get(), &buffer);
    EXPECT_NE(buffer, &untouched);
    if (buffer == nullptr) {
      return piece;
    }
    const char *bytes = reinterpret_cast<char *>(buffer);
    if (piece.count < 0) {
      piece.bytes = bytes;
      mg_free(buffer);
    } else {
      piece.bytes = std::string(bytes, static_cast<size_t>(piece.count));
      net_stream_free_buffer(stream.get(), buffer);
    }
    return piece;
  }

  // What reading throws.
  static std::string readFailure(NetStream *stream) {
    return test::textThrown([=] {
      unsigned char *buffer = nullptr;
      net_stream_read(stream, &buffer);
    });
  }

  // What the stream has sent and the test has not yet taken.
  std::string sent() const {
    std::string bytes(1 << 16, '\0');
    const ssize_t count = recv(ends.second.fd(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return bytes;
  }

  static std::string tocFrameOf(const PropertiesList &list) {
    const test::Bytes bytes = test::encoded(TC_NEX_Sprig2_PropertiesList, &list);
    return frameOf(RUNTIME_MESSAGE_TOC, {bytes.begin(), bytes.end()});
  }

  bool isStatusWritten() const { return fs::exists(statusFile); }
  std::string writtenText(const char *key) const {
    const test::StatusPtr status = test::newStatus("d1");
    mstat_load(status.get());
    return properties_get_string2(mstat_get_properties(status.get()), key, "(none)");
  }
  bool isWritten(const char *key) const {
    const test::StatusPtr status = test::newStatus("d1");
    mstat_load(status.get());
    return properties_get_boolean2(mstat_get_properties(status.get()), key, 0) != 0;
  }

  test::TemporaryDirectory directory;
  const test::Variable workDirectory{"KRT_WORKDIR", directory.path().c_str()};
  const std::string statusFile = directory / "mstat/d1.mds";
  test::Log log;
};

using ReadingNetwork = Reading;
using ReadingMobile = Reading;

class ReadingType : public Reading, public testing::WithParamInterface<int> {};
using ReadingPolledType = ReadingType;
using ReadingUnpolledType = ReadingType;
using ReadingTypeWithoutData = ReadingType;

const std::string hundred = test::dataOf(100);

} // namespace

TEST_F(ReadingNetwork, GivesTheDataBehindTheCommand) {
  const OpenStream stream = openNetwork();
  put(dataFrame(hundred));
  unsigned char *buffer = nullptr;
  ASSERT_EQ(net_stream_read(stream.get(), &buffer), 100);
  EXPECT_EQ(std::memcmp(buffer, hundred.data(), hundred.size()), 0);
  EXPECT_EQ(buffer[-1], 1) << "the block begins with the command";
  net_stream_free_buffer(stream.get(), buffer);
}

TEST_F(ReadingNetwork, GivesOnePieceForEachMessage) {
  const OpenStream stream = openNetwork();
  const std::vector<std::string> pieces{"a", test::dataOf(pieceSize - 1), test::dataOf(pieceSize),
                                        test::dataOf(pieceSize + 1), "z"};
  for (const std::string &piece : pieces) {
    put(dataFrame(piece));
  }
  for (const std::string &piece : pieces) {
    EXPECT_EQ(read(stream), pieceOf(piece));
  }
}

TEST_F(ReadingNetwork, TakesAPieceWithoutDataForAnEnd) {
  const OpenStream stream = openNetwork();
  put(dataFrame("") + dataFrame("data"));
  EXPECT_EQ(read(stream), end);
  EXPECT_EQ(read(stream), pieceOf("data"));
}

TEST_F(ReadingNetwork, EndsWithEitherMessageForIt) {
  const OpenStream stream = openNetwork();
  put(frameOf(RUNTIME_MESSAGE_END, "") + frameOf(RUNTIME_MESSAGE_DATA, ""));
  EXPECT_EQ(read(stream), end);
  EXPECT_EQ(read(stream), end);
}

TEST_F(ReadingNetwork, AnswersACommandWithItsNumber) {
  const OpenStream stream = openNetwork();
  for (int command = 2; command < 256; ++command) {
    put(commandFrame(command, "text"));
    EXPECT_EQ(read(stream), commandOf(command, "text"));
  }
  EXPECT_FALSE(isStatusWritten());
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(ReadingNetwork, GoesOnBehindACommand) {
  const OpenStream stream = openNetwork();
  put(dataFrame("one") + commandFrame(3, "") + dataFrame("two"));
  EXPECT_EQ(read(stream), pieceOf("one"));
  EXPECT_EQ(read(stream), commandOf(3, ""));
  EXPECT_EQ(read(stream), pieceOf("two"));
}

TEST_F(ReadingNetwork, SendsTheTableOfContentsOnce) {
  const OpenStream stream = openNetwork();
  stream->segments = test::listOf({{"/a", 100, 7}, {"/b", 200, 0}});
  const std::string toc = tocFrameOf(*stream->segments);
  put(dataFrame("one") + dataFrame("two") + frameOf(RUNTIME_MESSAGE_END, ""));
  EXPECT_EQ(read(stream), pieceOf("one"));
  EXPECT_EQ(sent(), toc);
  EXPECT_EQ(read(stream), pieceOf("two"));
  EXPECT_EQ(read(stream), end);
  EXPECT_EQ(sent(), "");
}

TEST_F(ReadingNetwork, SendsTheTableOfContentsBeforeItWaits) {
  const OpenStream stream = openNetwork();
  stream->segments = test::listOf({{"/a", 100, 7}});
  const std::string toc = tocFrameOf(*stream->segments);
  const auto sender = startPeer([&](int fd) {
    CHILD_EXPECT(test::readBytes(fd, toc.size()) == toc);
    test::writeBytes(fd, dataFrame("data"));
    return 0;
  });
  EXPECT_EQ(read(stream), pieceOf("data"));
  EXPECT_EQ(sender->wait(), 0);
}

TEST_F(ReadingNetwork, SendsAnEmptyTableOfContentsToo) {
  const OpenStream stream = openNetwork();
  stream->segments = properties_list_new();
  put(dataFrame("data"));
  EXPECT_EQ(read(stream), pieceOf("data"));
  EXPECT_EQ(sent(), tocFrameOf(*stream->segments));
}

TEST_F(ReadingNetwork, SendsNoTableOfContentsWithoutSegments) {
  const OpenStream stream = openNetwork();
  put(dataFrame("one") + dataFrame("two"));
  EXPECT_EQ(read(stream), pieceOf("one"));
  EXPECT_EQ(sent(), "");
  stream->segments = test::listOf({{"/a", 100, 0}});
  EXPECT_EQ(read(stream), pieceOf("two"));
  EXPECT_EQ(sent(), "") << "only the first read does";
}

TEST_F(ReadingNetwork, IsStartedByTheFirstMessageOfAnyKind) {
  const std::string messages[] = {dataFrame("data"), commandFrame(2, ""),
                                  frameOf(RUNTIME_MESSAGE_END, "")};
  for (const std::string &message : messages) {
    const OpenStream stream = openNetwork();
    EXPECT_EQ(stream->started, 0);
    put(message);
    read(stream);
    EXPECT_EQ(stream->started, 1);
  }
}

TEST_F(ReadingNetwork, LetsAFailureOfTheChannelPass) {
  const OpenStream stream = openNetwork();
  stream->segments = test::listOf({{"/a", 100, 0}});
  put(dataFrame("data"));
  EXPECT_EQ(read(stream), pieceOf("data"));
  sent();
  closePeer();
  EXPECT_EQ(readFailure(stream.get()), test::cutOff(name(), "the sender has closed it").thrown);
  EXPECT_EQ(readFailure(stream.get()), "The channel " + name() + " is closed.\n");
}

TEST_F(ReadingNetwork, ReturnsANegativeReceiveAsItIs) {
  const OpenStream stream = openNetwork();
  for (const int32_t answer : {-1, -2, -3, INT32_MIN}) {
    receiveAnswer = [=](unsigned char **message, const OctetList *) {
      *message = nullptr;
      return answer;
    };
    EXPECT_EQ(read(stream), (Piece{answer}));
  }
}

TEST_F(ReadingNetwork, GivesTheReceiveTheEncodedSegments) {
  const OpenStream stream = openNetwork();
  stream->segments = test::listOf({{"/a", 100, 0}});
  const test::Bytes toc = test::encoded(TC_NEX_Sprig2_PropertiesList, stream->segments);
  std::vector<test::Bytes> given;
  receiveAnswer = [&](unsigned char **message, const OctetList *octets) {
    *message = nullptr;
    given.emplace_back();
    if (octets != nullptr) {
      EXPECT_EQ(octets->maximum, octets->length);
      given.back().assign(octets->buffer, octets->buffer + octets->length);
    }
    return 0;
  };
  EXPECT_EQ(read(stream), end);
  EXPECT_EQ(read(stream), end);
  EXPECT_EQ(given, (std::vector<test::Bytes>{toc, {}}));
}

TEST_F(ReadingNetwork, LosesNothingWhenTheReceiveThrows) {
  receiveAnswer = [](unsigned char **, const OctetList *) -> int32_t {
    vaThrow("Sprig2Catalog", 11, "Cannot open the file %1$s.\n", "channel");
  };
  for (const bool isMobile : {false, true}) {
    test::expectNothingLost([&] {
      const OpenStream stream = openNetwork(isMobile);
      stream->segments = test::listOf({{"/a", 100, 0}});
      EXPECT_EQ(readFailure(stream.get()), "Cannot open the file channel.\n");
    });
  }
}

TEST_F(ReadingNetwork, LosesNothingWhenItReads) {
  test::expectNothingLost([&] {
    const OpenStream stream = openNetwork();
    stream->segments = test::listOf({{"/a", 100, 0}});
    put(dataFrame("data") + commandFrame(3, "text") + frameOf(RUNTIME_MESSAGE_END, ""));
    EXPECT_EQ(read(stream), pieceOf("data"));
    EXPECT_EQ(read(stream), commandOf(3, "text"));
    EXPECT_EQ(read(stream), end);
    sent();
  });
}

TEST_F(ReadingMobile, BeginsProgressWithTheFirstRead) {
  const OpenStream stream = openNetwork(true);
  stream->segments = test::listOf({{"/a", 30000, 5000}, {"/b", 10000, 0}});
  put(dataFrame("12345") + dataFrame("6"));
  for (int reads = 0; reads < 2; ++reads) {
    read(stream);
    EXPECT_EQ(properties_get_string2(mstat_get_properties(stream->status), "t_len", "(none)"),
              "40000\n"s);
  }
  EXPECT_EQ(stream->unsaved, 6);
  EXPECT_FALSE(isStatusWritten());
}

TEST_F(ReadingMobile, WritesProgressAsDataArrive) {
  const OpenStream stream = openNetwork(true);
  stream->segments = test::listOf({{"/a", 40000, 5000}});
  put(dataFrame(test::dataOf(10240)) + dataFrame("1"));
  read(stream);
  EXPECT_FALSE(isStatusWritten());
  read(stream);
  EXPECT_EQ(writtenText("c_len"), "15241\n");
  EXPECT_EQ(writtenText("t_len"), "40000\n");
}

TEST_F(ReadingMobile, WritesProgressWhenEverythingHasArrived) {
  const OpenStream stream = openNetwork(true);
  stream->segments = test::listOf({{"/a", 5100, 5000}});
  put(dataFrame(hundred));
  EXPECT_EQ(read(stream), pieceOf(hundred));
  EXPECT_EQ(writtenText("c_len"), "5100\n");
  EXPECT_EQ(writtenText("t_len"), "5100\n");
}

TEST_F(ReadingMobile, HasNoProgressWithoutSegments) {
  const OpenStream stream = openNetwork(true);
  put(dataFrame(test::dataOf(20000)) + frameOf(RUNTIME_MESSAGE_END, ""));
  EXPECT_EQ(read(stream).count, 20000);
  EXPECT_EQ(read(stream), end);
  EXPECT_FALSE(isStatusWritten());
  EXPECT_EQ(properties_find(mstat_get_properties(stream->status), "t_len"), 0);
}

TEST_F(ReadingMobile, WritesThatItIsPaused) {
  const OpenStream stream = openNetwork(true);
  put(commandFrame(3, "wait"));
  EXPECT_EQ(read(stream), commandOf(3, "wait"));
  EXPECT_TRUE(isWritten("paused"));
  EXPECT_FALSE(isWritten("err"));
  EXPECT_FALSE(isWritten("close"));
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(ReadingMobile, DoesNotTakeACancelForAPause) {
  const OpenStream stream = openNetwork(true);
  put(commandFrame(2, ""));
  EXPECT_EQ(read(stream), commandOf(2, ""));
  EXPECT_FALSE(isStatusWritten());
}

TEST_F(ReadingMobile, LogsThatAPauseCannotBeWritten) {
  const OpenStream stream = openNetwork(true);
  fs::create_directory(statusFile);
  put(commandFrame(3, "wait"));
  EXPECT_EQ(read(stream), commandOf(3, "wait"));
  EXPECT_EQ(log.lines(), (Lines{{-1, "sprig: Couldn't write progress file for distribution" +
                                         std::string(14, ' ') + "d1\n"}}));
}

TEST_F(ReadingMobile, WritesAFailedReceive) {
  const OpenStream stream = openNetwork(true);
  stream->segments = test::listOf({{"/a", 100, 0}});
  receiveAnswer = [](unsigned char **message, const OctetList *) {
    *message = nullptr;
    return -5;
  };
  EXPECT_EQ(read(stream), (Piece{-5}));
  EXPECT_TRUE(isWritten("err"));
  EXPECT_FALSE(isWritten("paused"));
}

TEST_F(ReadingMobile, NeedsSizeAndOffsetOfEverySegment) {
  const OpenStream stream = openNetwork(true);
  stream->segments = test::listOf({{"/a", 100, std::nullopt}});
  const auto failure = test::failureOf([&] {
    unsigned char *buffer = nullptr;
    net_stream_read(stream.get(), &buffer);
  });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->id, 36);
  EXPECT_EQ(failure->arguments, std::vector<std::string>{"offset"});
  EXPECT_EQ(sent(), "");
}

INSTANTIATE_TEST_SUITE_P(Of, ReadingPolledType, testing::Values(6, 7, 8, 11));
INSTANTIATE_TEST_SUITE_P(Of, ReadingUnpolledType, testing::Values(4, 9, 10));
INSTANTIATE_TEST_SUITE_P(Of, ReadingTypeWithoutData, testing::Values(0, 1, 3, 5, 12, 255));

TEST_P(ReadingPolledType, GivesItsFileAndSendsNothing) {
  const OpenStream stream = openFile(GetParam(), "content");
  EXPECT_EQ(read(stream), pieceOf("content"));
  EXPECT_EQ(stream->started, 1);
  EXPECT_EQ(read(stream), end);
  EXPECT_EQ(read(stream), end);
  EXPECT_EQ(sent(), "");
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_P(ReadingPolledType, IsStoppedBeforeItOpensAFile) {
  for (const int command : {2, 3}) {
    log.clear();
    const OpenStream stream = openFile(GetParam(), "content");
    put(commandFrame(command, "text"));
    EXPECT_EQ(read(stream), commandOf(command, "text"));
    const auto &files = *static_cast<FileList *>(stream->source);
    EXPECT_EQ(files.current, nullptr);
    EXPECT_EQ(files.cursor, files.list);
    EXPECT_EQ(stream->started, 0);
    EXPECT_EQ(log.lines(), (Lines{{-1, "from_file distribution has been "s +
                                           (command == 2 ? "canceled" : "paused")}}));
    EXPECT_EQ(read(stream), pieceOf("content")) << "the next read goes on";
  }
}

TEST_P(ReadingPolledType, IsStoppedBetweenPieces) {
  const std::string content = test::dataOf(pieceSize + 100);
  const OpenStream stream = openFile(GetParam(), content);
  EXPECT_EQ(read(stream), pieceOf(content.substr(0, pieceSize)));
  put(commandFrame(3, "text"));
  EXPECT_EQ(read(stream), commandOf(3, "text"));
  EXPECT_EQ(read(stream), pieceOf(content.substr(pieceSize)));
}

TEST_P(ReadingPolledType, IgnoresWhateverElseIsWaiting) {
  const std::string waiting[] = {dataFrame("data"), commandFrame(4, "text"),
                                 frameOf(RUNTIME_MESSAGE_END, "")};
  for (const std::string &message : waiting) {
    connect();
    const OpenStream stream = openFile(GetParam(), "content");
    put(message);
    EXPECT_EQ(read(stream), pieceOf("content"));
    EXPECT_EQ(read(stream), end);
  }
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_P(ReadingPolledType, ReleasesWhatItIgnores) {
  test::expectNothingLost([&] {
    const OpenStream stream = openFile(GetParam(), "content");
    put(dataFrame(test::dataOf(5000)));
    EXPECT_EQ(read(stream), pieceOf("content"));
    put(commandFrame(4, "text"));
    EXPECT_EQ(read(stream), end);
  });
}

TEST_P(ReadingPolledType, DoesNotTakeTheCallersPointerForAMessage) {
  const OpenStream stream = openFile(GetParam(), "content");
  pollAnswer = [](unsigned char **) { return 5; }; // and leaves the pointer alone
  unsigned char cancel = 2;
  unsigned char *buffer = &cancel;
  ASSERT_EQ(net_stream_read(stream.get(), &buffer), 7);
  ASSERT_NE(buffer, &cancel);
  net_stream_free_buffer(stream.get(), buffer);
}

TEST_P(ReadingPolledType, LetsAFailureOfTheChannelPass) {
  closePeer();
  const OpenStream stream = openFile(GetParam(), "content");
  EXPECT_EQ(readFailure(stream.get()), test::cutOff(name(), "the sender has closed it").thrown);
  EXPECT_EQ(stream->started, 0);
  test::expectNothingLost([&] { readFailure(openFile(GetParam(), "content").get()); });
}

TEST_P(ReadingPolledType, WritesNoPauseOfAMobileStream) {
  const OpenStream stream = openFile(GetParam(), "content", true);
  put(commandFrame(3, "text"));
  EXPECT_EQ(read(stream), commandOf(3, "text"));
  EXPECT_FALSE(isStatusWritten());
}

TEST_P(ReadingUnpolledType, LeavesTheChannelAlone) {
  put(commandFrame(2, "text"));
  const OpenStream stream = openFile(GetParam(), "content");
  EXPECT_EQ(read(stream), pieceOf("content"));
  EXPECT_EQ(stream->started, 1);
  EXPECT_EQ(read(stream), end);
  EXPECT_EQ(read(stream), end);
  EXPECT_EQ(sent(), "");
  EXPECT_EQ(test::poll(), test::data("\2text\0"s)) << "it is still there";
}

TEST_P(ReadingUnpolledType, NeedsNoChannel) {
  runtime_set_channel(-1, -1, 0);
  const OpenStream stream = openFile(GetParam(), "content");
  EXPECT_EQ(read(stream), pieceOf("content"));
  EXPECT_EQ(read(stream), end);
}

TEST_P(ReadingUnpolledType, CountsTheProgressOfAMobileStream) {
  const std::string content = test::dataOf(pieceSize + 100);
  const OpenStream stream = openFile(GetParam(), content, true);
  EXPECT_EQ(read(stream).count, pieceSize);
  EXPECT_EQ(writtenText("c_len"), "16384\n");
  EXPECT_EQ(read(stream).count, 100);
  EXPECT_EQ(writtenText("c_len"), "16484\n");
  EXPECT_EQ(writtenText("t_len"), "16484\n");
  EXPECT_EQ(read(stream), end);
}

TEST_P(ReadingUnpolledType, LetsAMissingFilePassAndLosesNothing) {
  test::expectNothingLost([&] {
    const OpenStream stream = openFile(GetParam(), "content");
    fs::remove(directory / "data");
    EXPECT_EQ(readFailure(stream.get()), "Cannot open the file " + directory / "data" + ".\n");
  });
}

TEST_P(ReadingTypeWithoutData, EndsAtOnce) {
  const OpenStream stream = openNetwork();
  stream->type = GetParam();
  stream->segments = test::listOf({{"/a", 100, 0}});
  EXPECT_EQ(read(stream), end);
  EXPECT_EQ(read(stream), end);
  EXPECT_EQ(sent(), "");
  stream->type = 2;
}
