// Streams of every type: which can be opened, what is in them then, and what closing does.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/streams.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "streams/local_data.h"
#include "support/heap.h"
#include "support/log.h"
#include "support/streams.h"
#include "support/temporary_directory.h"

using test::failureOf;
using test::keyOf;
using test::List;
using test::madeByHand;
using test::opened;
using test::OpenStream;

namespace {

namespace fs = std::filesystem;

// Types whose data come from a handle of the caller's, over files, and that are no types.
const std::vector<int> withHandle{2, 6, 7, 8, 9, 10};
const std::vector<int> overFiles{4, 6, 7, 8, 9, 10, 11};
const std::vector<int> thatCanBeMobile{2, 4, 6, 7, 8, 9, 10, 11};
const std::vector<int> invalid{0, 3, 5, 12, 13, 127, 255, -1};

bool canBeOpened(int type) { return (type >= 2 && type <= 4) || (type >= 6 && type <= 10); }

struct FreeBlock {
  void operator()(void *block) const { mg_free(block); }
};

void *newBlock(const std::string &bytes) {
  void *block = mg_malloc(bytes.size());
  std::memcpy(block, bytes.data(), bytes.size());
  return block;
}

// What every stream has when it was just opened.
void expectFresh(const NetStream &stream, int type) {
  EXPECT_EQ(stream.type, type);
  EXPECT_EQ(stream.timeout, 180);
  EXPECT_EQ(stream.counter, 0);
  EXPECT_EQ(stream.read_size, type == 3 ? 0 : 16384);
  EXPECT_EQ(stream.fill_level, 0);
  EXPECT_EQ(stream.unsaved, 0);
  EXPECT_EQ(stream.buffer, nullptr);
  EXPECT_EQ(stream.started, 0);
  EXPECT_EQ(stream.segments, nullptr);
  EXPECT_EQ(stream.total_length, nullptr);
  EXPECT_EQ(stream.received_length, nullptr);
  EXPECT_EQ(stream.output, nullptr);
  EXPECT_EQ(stream.depot, nullptr);
  EXPECT_EQ(stream.depot_entries.maximum, 0U);
  EXPECT_EQ(stream.depot_entries.length, 0U);
  EXPECT_EQ(stream.depot_entries.buffer, nullptr);
}

class Streams : public test::DirectoryTest {
protected:
  Streams() {
    sprig_init();
    setenv("KRT_WORKDIR", directory.path().c_str(), 1);
    test::writeFile(data, "content");
  }
  ~Streams() override { unsetenv("KRT_WORKDIR"); }

  // Files of which the first is open.
  FileList *filesInUse() const {
    FileList *files = test::newFileList("/next," + data);
    files->current = file_open(data.c_str(), O_RDONLY);
    return files;
  }

  // Puts into a stream what it may own.
  static void fill(NetStream &stream) {
    stream.buffer = static_cast<unsigned char *>(mg_malloc(100));
    stream.fill_level = 7;
    stream.segments = test::listOf(std::vector<test::Description>{{"/a", 7, 7}, {"/b", 8, 0}});
    stream.total_length = int64_length_new();
    stream.received_length = int64_length_new();
  }

  const std::string data = directory / "data";
  const std::string status = directory / "mstat/d1.mds";
  test::Log log;
};

using Opening = Streams;
using Closing = Streams;

} // namespace

TEST_F(Opening, GivesAStreamOfSomeTypes) {
  for (int type = 0; type < 256; ++type) {
    for (const bool isMobile : {false, true}) {
      NetStream *stream = net_stream_open(keyOf(type, "d1,/a", isMobile).get(), nullptr);
      ASSERT_EQ(stream != nullptr, canBeOpened(type)) << type;
      if (type == 3) {
        mg_free(stream);
      } else {
        net_stream_close(stream);
      }
    }
  }
}

TEST_F(Opening, GivesNothingWithoutAKey) {
  EXPECT_EQ(net_stream_open(nullptr, nullptr), nullptr);
  int handle = 0;
  EXPECT_EQ(net_stream_open(nullptr, &handle), nullptr);
  StreamKey empty{};
  EXPECT_EQ(net_stream_open(&empty, nullptr), nullptr);
}

TEST_F(Opening, GivesAStreamThatHasNotBegun) {
  for (const int type : {2, 4, 6, 7, 8, 9, 10}) {
    for (const bool isMobile : {false, true}) {
      SCOPED_TRACE(type);
      const OpenStream stream = opened(type, "d1,/a", isMobile);
      expectFresh(*stream, type);
      EXPECT_EQ(stream->mobile, isMobile ? 1 : 0);
      EXPECT_EQ(stream->status != nullptr, isMobile);
    }
  }
}

TEST_F(Opening, GivesABareRecordOfTypeThree) {
  int handle = 0;
  for (const bool isMobile : {false, true}) {
    const test::Key key = keyOf(3, "d1,rest", isMobile);
    const std::string before = test::bytesOf(key);
    const std::unique_ptr<NetStream, FreeBlock> stream(net_stream_open(key.get(), &handle));
    expectFresh(*stream, 3);
    EXPECT_EQ(stream->mobile, 0);
    EXPECT_EQ(stream->source, nullptr);
    EXPECT_EQ(stream->status, nullptr);
    EXPECT_EQ(stream->distribution_id, nullptr);
    EXPECT_EQ(stream->key_rest, nullptr);
    EXPECT_EQ(test::bytesOf(key), before);
  }
}

TEST_F(Opening, KeepsTheHandle) {
  int handle = 0;
  EXPECT_EQ(opened(2, "d1", false, &handle)->source, &handle);
  for (const int type : {6, 7, 8, 9, 10}) {
    FileList *files = test::newFileList("/a");
    EXPECT_EQ(opened(type, "d1", false, files)->source, files) << type;
    EXPECT_EQ(opened(type)->source, nullptr) << type;
  }
}

TEST_F(Opening, OfNamedFilesTakesTheirNames) {
  int handle = 0;
  const OpenStream stream = opened(4, "d1,/a,/b", false, &handle);
  EXPECT_NE(stream->source, &handle);
  EXPECT_EQ(test::filesLeft(stream), "/a,/b");
  EXPECT_STREQ(stream->distribution_id, "d1");
  EXPECT_EQ(stream->distribution_id, static_cast<FileList *>(stream->source)->list);
  EXPECT_EQ(stream->key_rest, nullptr);
}

TEST_F(Opening, KeepsTheTextsOfTheKey) {
  for (const int type : withHandle) {
    for (const bool isMobile : {false, true}) {
      SCOPED_TRACE(type);
      const auto textsOf = [&](const std::string &texts) {
        const OpenStream stream = opened(type, texts, isMobile);
        const char *rest = stream->key_rest == nullptr ? "(none)" : stream->key_rest;
        return std::string(stream->distribution_id) + "|" + rest;
      };
      EXPECT_EQ(textsOf("d1"), "d1|(none)");
      EXPECT_EQ(textsOf("d1,rest"), "d1|rest");
      EXPECT_EQ(textsOf("d1,/dir,more"), "d1|/dir,more");
      EXPECT_EQ(textsOf("d1,"), "d1|");
    }
  }
}

TEST_F(Opening, KeepsCopiesOfTheTexts) {
  test::Key key = keyOf(9, "d1,rest");
  const OpenStream stream(net_stream_open(key.get(), nullptr));
  key.reset();
  EXPECT_STREQ(stream->distribution_id, "d1");
  EXPECT_STREQ(stream->key_rest, "rest");
}

TEST_F(Opening, CutsTheKeyOfAMobileStream) {
  for (const int type : withHandle) {
    const test::Key key = keyOf(type, "d1,rest,more", true);
    std::string expected = test::bytesOf(key);
    expected[5] = '\0';
    const OpenStream stream(net_stream_open(key.get(), nullptr));
    EXPECT_EQ(test::bytesOf(key), expected) << type;
  }
}

TEST_F(Opening, LeavesOtherKeysWhole) {
  const auto expectWhole = [](const test::Key &key) {
    const std::string before = test::bytesOf(key);
    const OpenStream stream(net_stream_open(key.get(), nullptr));
    EXPECT_EQ(test::bytesOf(key), before);
  };
  for (const int type : withHandle) {
    expectWhole(keyOf(type, "d1,rest,more"));
    expectWhole(keyOf(type, "d1", true));
  }
  expectWhole(keyOf(4, "d1,/a,/b"));
  expectWhole(keyOf(4, "d1,/a,/b", true));
  expectWhole(keyOf(4, "d1", true));
}

TEST_F(Opening, BeginsTheStatusOfAMobileStream) {
  for (const int type : {2, 4, 6, 7, 8, 9, 10}) {
    SCOPED_TRACE(type);
    const OpenStream stream = opened(type, "d1,rest", true);
    ASSERT_NE(stream->status, nullptr);
    EXPECT_STREQ(stream->status->distribution_id, "d1");
    EXPECT_STREQ(stream->status->suffix, "mds");
    const Properties &properties = *mstat_get_properties(stream->status);
    EXPECT_STREQ(properties_get_string(&properties, "msid"), "d1");
    for (const char *key : {"err", "close", "paused"}) {
      EXPECT_EQ(properties_get_boolean(&properties, key), 0) << key;
    }
    EXPECT_EQ(properties.length, 4U);
    EXPECT_FALSE(fs::exists(status)) << "that is in memory only";
    stream->mobile = 0; // closing would write it
    mstat_free(stream->status);
    stream->status = nullptr;
  }
}

TEST_F(Closing, OfNothingDoesNothing) { net_stream_close(nullptr); }

TEST_F(Closing, RefusesTypesThatThereAreNot) {
  for (const int type : invalid) {
    const std::unique_ptr<NetStream, FreeBlock> stream(madeByHand(type).release());
    EXPECT_EQ(failureOf([&] { net_stream_close(stream.get()); }), test::cannotClose(type));
  }
}

TEST_F(Closing, LeavesAStreamThatItRefuses) {
  for (const int type : invalid) {
    OpenStream stream = madeByHand(type);
    fill(*stream);
    int source = 0;
    stream->source = &source;
    const NetStream before = *stream;
    EXPECT_EQ(failureOf([&] { net_stream_close(stream.get()); }), test::cannotClose(type));
    EXPECT_EQ(stream->type, type);
    EXPECT_EQ(stream->source, &source);
    EXPECT_EQ(stream->fill_level, before.fill_level);
    EXPECT_EQ(stream->buffer, before.buffer);
    EXPECT_EQ(stream->segments, before.segments);
    EXPECT_EQ(stream->total_length, before.total_length);
    EXPECT_EQ(stream->received_length, before.received_length);
    EXPECT_EQ(stream->segments->length, 2U);
    stream->type = 2; // which can be closed
  }
}

TEST_F(Closing, RefusesTypeThreeThoughItCanBeOpened) {
  OpenStream stream = opened(3, "d1", true);
  EXPECT_EQ(failureOf([&] { net_stream_close(stream.get()); }), test::cannotClose(3));
  stream->type = 2;
}

TEST_F(Closing, LeavesTheHandleOfANetworkStream) {
  std::string handle = "the caller's";
  opened(2, "d1", false, &handle);
  opened(2, "d2", true, &handle);
  EXPECT_EQ(handle, "the caller's");
}

TEST_F(Closing, ClosesTheFileThatIsRead) {
  const long before = test::openDescriptors();
  for (const int type : overFiles) {
    OpenStream stream = type == 4 || type == 11 ? madeByHand(type) : opened(type);
    stream->source = filesInUse();
    EXPECT_EQ(test::openDescriptors(), before + 1);
    stream.reset();
    EXPECT_EQ(test::openDescriptors(), before) << type;
  }
  EXPECT_EQ(test::readFile(data), "content");
}

TEST_F(Closing, ClosesTheFileThatIsWritten) {
  const long before = test::openDescriptors();
  OpenStream stream = opened(4, "d1,/a");
  stream->output = file_create((directory / "out").c_str(), O_WRONLY, 0600);
  stream.reset();
  EXPECT_EQ(test::openDescriptors(), before);
  EXPECT_TRUE(fs::exists(directory / "out"));
}

TEST_F(Closing, TellsThatAFileCannotBeClosed) {
  const std::string output = directory / "output";
  const long before = test::openDescriptors();
  for (const int type : overFiles) {
    SCOPED_TRACE(type);
    test::expectNothingLost([&] {
      NetStream *stream = madeByHand(type).release();
      FileList *files = filesInUse();
      close(files->current->descriptor); // the system does not know it any more
      stream->source = files;
      EXPECT_EQ(failureOf([&] { net_stream_close(stream); }), test::cannotClose(data));

      stream = madeByHand(type).release();
      stream->source = filesInUse();
      stream->output = file_create(output.c_str(), O_WRONLY, 0600);
      close(stream->output->descriptor);
      EXPECT_EQ(failureOf([&] { net_stream_close(stream); }), test::cannotClose(output));
    });
  }
  EXPECT_EQ(test::openDescriptors(), before);
}

TEST_F(Closing, OfAnOpenChannelClosesIt) {
  int *channel = static_cast<int *>(mg_malloc(sizeof(int)));
  *channel = open("/dev/null", O_RDONLY);
  const int descriptor = *channel;
  OpenStream stream = madeByHand(1);
  fill(*stream);
  stream->source = channel;
  stream.reset();
  EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST_F(Closing, WritesThatAMobileStreamIsClosed) {
  for (const int type : thatCanBeMobile) {
    SCOPED_TRACE(type);
    OpenStream stream = type == 11 ? madeByHand(type) : opened(type, "d1,rest", true);
    if (type == 11) {
      mobile_ep_create_progress(stream.get(), "d1");
      stream->mobile = 1;
    }
    stream.reset();
    List written;
    properties_load_without_len(&written, status.c_str());
    EXPECT_EQ(properties_get_boolean(&written, "close"), 1);
    EXPECT_EQ(properties_get_boolean(&written, "err"), 0);
    EXPECT_STREQ(properties_get_string(&written, "msid"), "d1");
    fs::remove(status);
    EXPECT_TRUE(fs::is_empty(directory / "mstat")) << "the name stays that of one in progress";
  }
  EXPECT_EQ(test::notices(log), std::vector<std::string>{});
}

TEST_F(Closing, WritesNothingForOtherStreams) {
  for (const int type : withHandle) {
    opened(type);
  }
  opened(4, "d1,/a");
  EXPECT_FALSE(fs::exists(directory / "mstat"));
}

TEST_F(Closing, LogsThatTheStatusCannotBeWritten) {
  const long before = test::openDescriptors();
  fs::create_directories(status);
  for (const int type : thatCanBeMobile) {
    OpenStream stream = type == 11 ? madeByHand(type) : opened(type, "d1,rest", true);
    if (type == 11) {
      mobile_ep_create_progress(stream.get(), "d1");
      stream->mobile = 1;
      stream->distribution_id = mg_strdup("d1");
    }
    if (type != 2 && type != 4) {
      stream->source = filesInUse();
    }
    log.clear();
    stream.reset();
    EXPECT_EQ(test::notices(log), std::vector<std::string>{test::failedSave(14, "d1")}) << type;
  }
  EXPECT_EQ(test::openDescriptors(), before);
}

TEST_F(Closing, LogsThatThereIsNoStatus) {
  // No path name leads to a file there.
  setenv("KRT_WORKDIR", std::string(3000, 'x').c_str(), 1);
  for (const int type : {2, 4, 6, 7, 8, 9, 10}) {
    log.clear();
    opened(type, "d1,rest", true);
    EXPECT_EQ(test::notices(log), std::vector<std::string>{test::failedSave(14, "d1")}) << type;
  }
}

TEST_F(Closing, LeavesNothingBehind) {
  test::expectNothingLost([this] {
    for (const int type : {2, 4, 6, 7, 8, 9, 10}) {
      for (const bool isMobile : {false, true}) {
        const OpenStream stream = opened(type, "d1,rest,more", isMobile);
        fill(*stream);
        if (type > 4) {
          stream->source = filesInUse();
        }
        if (type == 2) {
          DepotEntry *const notOwned = nullptr;
          seq_add(&stream->depot_entries, &notOwned, sizeof(void *));
        }
      }
    }
  });
}

TEST_F(Closing, LeavesNothingOfAStreamThatCannotBeOpened) {
  test::expectNothingLost([this] {
    const OpenStream stream = madeByHand(11);
    fill(*stream);
    stream->source = filesInUse();
    stream->distribution_id = mg_strdup("d1");
    stream->key_rest = mg_strdup("rest");
    mobile_ep_create_progress(stream.get(), "d1");
    stream->mobile = 1;
  });
}

TEST_F(Closing, LeavesNothingWhereTheStatusCannotBeWritten) {
  fs::create_directories(status);
  test::expectNothingLost([this] {
    opened(2, "d1,rest", true);
    opened(4, "d1,/a", true);
    opened(7, "d1", true, filesInUse());
    log.clear();
  });
}

TEST(ReadBuffer, OfANetworkStreamLiesOneByteIntoItsBlock) {
  test::expectNothingLost([] {
    for (const int type : {1, 2, 3, 12}) {
      const std::unique_ptr<NetStream, FreeBlock> stream(madeByHand(type).release());
      net_stream_free_buffer(stream.get(), static_cast<unsigned char *>(newBlock("\1data")) + 1);
      net_stream_free_buffer(stream.get(), nullptr);
    }
  });
}

TEST(ReadBuffer, OfAStreamOverFilesIsTheBlock) {
  test::expectNothingLost([] {
    for (int type = 4; type <= 11; ++type) {
      const std::unique_ptr<NetStream, FreeBlock> stream(madeByHand(type).release());
      net_stream_free_buffer(stream.get(), static_cast<unsigned char *>(newBlock("data")));
      net_stream_free_buffer(stream.get(), nullptr);
    }
  });
}

TEST(TocOctets, AreReleasedWithTheirRecord) {
  free_toc_octets(nullptr);
  test::expectNothingLost([] {
    OctetList *octets = static_cast<OctetList *>(mg_calloc(1, sizeof(OctetList)));
    for (const char octet : std::string(1000, 'x')) {
      seq_add(octets, &octet, sizeof octet);
    }
    free_toc_octets(octets);
    free_toc_octets(static_cast<OctetList *>(mg_calloc(1, sizeof(OctetList))));
  });
}
