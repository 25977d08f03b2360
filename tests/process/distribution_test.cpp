// The road of a distribution on an endpoint, from the key to the end: opened, given its table of
// contents, read, closed, and done. Another process sends what is not there already.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/runtime.h>
#include <sprig/streams.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "records/status.h"
#include "support/channel.h"
#include "support/depot.h"
#include "support/process.h"

namespace {

namespace fs = std::filesystem;

using test::Child;
using test::List;

constexpr size_t pieceSize = 16384;
constexpr int32_t pauseCommand = 3;

struct Part {
  std::string id;
  std::string content;
};
using Parts = std::vector<Part>;

const Parts parts{{"image", test::dataOf(40000)}, {"empty", ""}, {"notes", test::dataOf(5000)}};

std::string contentOf(const Parts &distribution) {
  std::string content;
  for (const Part &part : distribution) {
    content += part.content;
  }
  return content;
}

Properties descriptionOf(const Part &part, size_t offset = 0) {
  Properties description{};
  const std::string location = "/at/the/source/" + part.id + ".dat";
  properties_put_string_dup(&description, SEGMENT_ID_KEY, part.id.c_str());
  properties_put_string_dup(&description, SEGMENT_VERSION_KEY, "1");
  properties_put_string_dup(&description, SEGMENT_LOCATION_KEY, location.c_str());
  properties_put_long_dup(&description, SEGMENT_SIZE_KEY,
                          static_cast<int32_t>(part.content.size()));
  properties_put_long_dup(&description, SEGMENT_OFFSET_KEY, static_cast<int32_t>(offset));
  return description;
}

// A table of contents, released with its owner.
struct Contents : PropertiesList {
  Contents() : PropertiesList{} {
    for (const Part &part : parts) {
      const Properties description = descriptionOf(part);
      seq_add(this, &description, sizeof description);
    }
  }
  ~Contents() { properties_list_delete(this); }
  Contents(const Contents &) = delete;
  Contents &operator=(const Contents &) = delete;
};

struct CloseStream {
  void operator()(NetStream *stream) const { net_stream_close(stream); }
};
using OpenStream = std::unique_ptr<NetStream, CloseStream>;

OpenStream open(uint8_t type, const std::string &text, bool isMobile = false) {
  std::string bytes{static_cast<char>(type), '\0', static_cast<char>(isMobile ? 1 : 2)};
  bytes += text + '\0';
  const auto length = static_cast<uint32_t>(bytes.size());
  StreamKey key{length, length, reinterpret_cast<uint8_t *>(bytes.data())};
  return OpenStream(net_stream_open(&key, nullptr));
}

bool readsFiles(const NetStream *stream) { return stream->type >= 4; }

// A stream over files has an end behind each.
bool isAtEnd(const NetStream *stream) {
  const auto *files = static_cast<FileList *>(stream->source);
  return !readsFiles(stream) || (files->cursor == nullptr && files->current == nullptr);
}

// Reads to the end or to a command, and returns the last result.
int32_t read(const OpenStream &stream, std::string &received) {
  for (;;) {
    unsigned char *buffer = nullptr;
    const int32_t count = net_stream_read(stream.get(), &buffer);
    if (count < 0) {
      mg_free(buffer);
      return count;
    }
    received.append(reinterpret_cast<char *>(buffer), static_cast<size_t>(count));
    net_stream_free_buffer(stream.get(), buffer);
    if (count == 0 && isAtEnd(stream.get())) {
      return 0;
    }
  }
}

std::string readAll(const OpenStream &stream) {
  std::string received;
  EXPECT_EQ(read(stream, received), 0);
  return received;
}

// The sender: what is not on the endpoint by its table of contents, from where each part is
// interrupted.
class Sender {
public:
  explicit Sender(int fd) : fd_(fd) {}

  // Pauses instead when so many bytes have gone out. False when something fails.
  bool serve(size_t pauseAt = SIZE_MAX) const {
    RuntimeMessage message{};
    if (runtime_channel_receive(fd_, &message, -1) != 0 || message.type != RUNTIME_MESSAGE_TOC) {
      return false;
    }
    const test::Bytes bytes(message.data, message.data + message.length);
    mg_free(message.data);
    const test::Value toc(TC_NEX_Sprig2_PropertiesList);
    if (test::decode(bytes, toc) != RUNTIME_ADR_OK) {
      return false;
    }
    std::string missing;
    const auto &list = toc.as<PropertiesList>();
    for (uint32_t i = 0; i < list.length; ++i) {
      missing += missingOf(list.buffer[i]);
    }
    const bool isPaused = pauseAt < missing.size();
    return sendData(missing.substr(0, pauseAt)) &&
           (isPaused ? send(RUNTIME_MESSAGE_DATA, {static_cast<char>(pauseCommand)})
                     : send(RUNTIME_MESSAGE_END, ""));
  }

private:
  static std::string missingOf(const Properties &description) {
    if (properties_find(&description, SEGMENT_DAT_FILE_KEY) != 0) {
      return "";
    }
    const std::string id = properties_get_string(&description, SEGMENT_ID_KEY);
    const auto part = std::find_if(parts.begin(), parts.end(),
                                   [&](const Part &candidate) { return candidate.id == id; });
    const int32_t offset = properties_get_long(&description, SEGMENT_OFFSET_KEY);
    return part->content.substr(static_cast<size_t>(offset));
  }

  bool sendData(const std::string &bytes) const {
    for (size_t at = 0; at < bytes.size(); at += pieceSize) {
      if (!send(RUNTIME_MESSAGE_DATA, '\1' + bytes.substr(at, pieceSize))) {
        return false;
      }
    }
    return true;
  }

  bool send(int32_t type, std::string bytes) const {
    const RuntimeMessage message{type, test::session, static_cast<uint32_t>(bytes.size()),
                                 reinterpret_cast<uint8_t *>(bytes.data())};
    return runtime_channel_send(fd_, &message) == 0;
  }

  int fd_;
};

// An endpoint with a depot, a channel, and a data and work directory, which is the current one.
class Distribution : public test::DepotTest {
protected:
  Distribution() {
    test::registerTypes();
    test::writeFile("krt.cfg", "depot_dir=depot\n");
    runtime_set_channel(ends.first.fd(), ends.first.fd(), test::session);
  }
  ~Distribution() override { runtime_set_channel(-1, -1, 0); }

  std::unique_ptr<Child> startSender(const std::function<bool(const Sender &)> &body) const {
    return std::make_unique<Child>([&] {
      const Sender sender(ends.second.fd());
      return body(sender) ? 0 : 1;
    });
  }

  // Puts a part into the depot, as an earlier distribution has it, for so many users.
  void keep(const Part &part, int users = 1) {
    DepotEntry *entry = add(part.id);
    PalFileHandle file{};
    size_t count = 0;
    EXPECT_EQ(DepotFileOpenForWrite(depot, entry, &file, 1).palError, PAL_OK);
    EXPECT_EQ(PalFileWrite(file, part.content.data(), part.content.size(), &count).palError,
              PAL_OK);
    EXPECT_EQ(PalFileClose(file).palError, PAL_OK);
    for (int i = 0; i < users; ++i) {
      entry = DepotGetEntry(depot, part.id.c_str(), "1");
      EXPECT_EQ(DepotCompleteEntry(depot, entry == nullptr ? add(part.id) : entry, 0).palError,
                PAL_OK);
    }
  }

  // Puts a part into a directory, as a medium has it: a file that describes it and one with data.
  static void putOnMedium(const std::string &medium, const Part &part) {
    fs::create_directories(medium);
    List description;
    Properties segment = descriptionOf(part);
    properties_put_properties_dup(&description, "segment", &segment);
    properties_delete(&segment);
    properties_save_without_len(&description, (medium + '/' + part.id + ".toc").c_str());
    test::writeFile(medium + '/' + part.id + ".dat", part.content);
  }

  void expectUnusedChannel() const {
    char byte = 0;
    EXPECT_EQ(recv(ends.second.fd(), &byte, 1, MSG_DONTWAIT), -1);
  }

  static Properties *load(const test::StatusPtr &status) {
    mstat_load(status.get());
    return mstat_get_properties(status.get());
  }

  test::Ends ends = test::socketEnds();
  const test::Variable dataDirectory{"KRT_DATDIR", directory.path().c_str()};
  const test::Variable configuration{"KRT_CONFIG", nullptr};
  const test::Variable workDirectory{"KRT_WORKDIR", directory.path().c_str()};
};

std::optional<test::Failure> tocFailure(const OpenStream &stream, const Contents &contents) {
  return test::failureOf([&] { net_stream_save_modified_toc(stream.get(), &contents); });
}

test::Failure isMissing(const std::string &id) {
  return {
      182, "The segment %1$s^%2$s required for this distribution could not be found.\n", {id, "1"}};
}

} // namespace

TEST_F(Distribution, ComesOverTheNetwork) {
  const auto sender = startSender([](const Sender &channel) { return channel.serve(); });
  const OpenStream stream = open(2, "d1");
  net_stream_save_modified_toc(stream.get(), &static_cast<const PropertiesList &>(Contents()));
  EXPECT_EQ(stream->type, 2);
  EXPECT_EQ(readAll(stream), contentOf(parts));
  EXPECT_EQ(sender->wait(), 0);
  expectUnusedChannel();
}

TEST_F(Distribution, IsInTheDepot) {
  for (const Part &part : parts) {
    keep(part);
  }
  {
    const Contents contents;
    const OpenStream stream = open(2, "d1");
    net_stream_save_modified_toc(stream.get(), &contents);
    EXPECT_EQ(stream->type, 10);
    EXPECT_EQ(stream->depot_entries.length, 3U);
    EXPECT_EQ(readAll(stream), contentOf(parts));
    EXPECT_EQ(stems(".dat").size(), 3U) << "they stay as long as the stream";
  }
  EXPECT_EQ(names(), std::vector<std::string>{}) << "nobody else uses them";
  expectUnusedChannel();
  EXPECT_TRUE(log.has(-1, "sprig: All segments available locally, resetting stream type."));
}

TEST_F(Distribution, IsInTheDepotForOthersToo) {
  for (const Part &part : parts) {
    keep(part, 2);
  }
  for (int i = 0; i < 2; ++i) {
    const Contents contents;
    const OpenStream stream = open(2, "d1");
    net_stream_save_modified_toc(stream.get(), &contents);
    EXPECT_EQ(readAll(stream), contentOf(parts));
  }
  EXPECT_EQ(stems(".xml").size(), 3U);
  expectUnusedChannel();
}

TEST_F(Distribution, IsPartlyInTheDepot) {
  keep(parts[0]);
  const auto sender = startSender([](const Sender &channel) { return channel.serve(); });
  {
    const Contents contents;
    const OpenStream stream = open(2, "d1");
    net_stream_save_modified_toc(stream.get(), &contents);
    EXPECT_EQ(stream->type, 2);
    const Properties &first = stream->segments->buffer[0];
    const std::string local = properties_get_string2(&first, SEGMENT_DAT_FILE_KEY, "(none)");
    EXPECT_EQ(test::readFile(local) + readAll(stream), contentOf(parts));
  }
  EXPECT_EQ(sender->wait(), 0);
  EXPECT_EQ(stems(".dat").size(), 1U) << "it was not used up";
  EXPECT_TRUE(log.has(-1, "sprig: Unable to find entry for segment empty^1."));
}

TEST_F(Distribution, IsInDirectoriesThatAreListed) {
  putOnMedium("first", parts[2]);
  putOnMedium("second", parts[0]);
  putOnMedium("second", parts[1]);
  test::writeFile("remote.dir", "# where media are\n/nowhere\n" + directory / "first" + "\n" +
                                    directory / "second" + "/\n");
  const Contents contents;
  const OpenStream stream = open(7, "d1");
  net_stream_save_modified_toc(stream.get(), &contents);
  EXPECT_EQ(stream->type, 7);
  const std::string received = readAll(stream);
  EXPECT_EQ(received.size(), contentOf(parts).size());
  EXPECT_EQ(received.substr(0, 5000), parts[2].content) << "in the order in which it was found";
  EXPECT_EQ(received.substr(5000), parts[0].content);
  expectUnusedChannel();
}

TEST_F(Distribution, IsInTheDirectoryOfItsKey) {
  for (const Part &part : parts) {
    putOnMedium("medium", part);
  }
  const Contents contents;
  const OpenStream stream = open(9, "d1," + directory / "medium");
  net_stream_save_modified_toc(stream.get(), &contents);
  EXPECT_EQ(readAll(stream).size(), contentOf(parts).size());
  fs::remove(directory / "medium/notes.toc");
  const OpenStream another = open(9, "d1," + directory / "medium");
  EXPECT_EQ(tocFailure(another, contents), isMissing("notes"));
}

TEST_F(Distribution, IsNotOnTheCdButNearby) {
  const Contents contents;
  EXPECT_EQ(tocFailure(open(6, "d1"), contents), isMissing("image"));
  for (const Part &part : parts) {
    putOnMedium("medium", part);
  }
  test::writeFile("remote.dir", directory / "medium" + "\n");
  const OpenStream stream = open(8, "d1");
  net_stream_save_modified_toc(stream.get(), &contents);
  EXPECT_EQ(readAll(stream).size(), contentOf(parts).size());
}

TEST_F(Distribution, HasSizesInAdvance) {
  for (const Part &part : parts) {
    putOnMedium("medium", part);
  }
  test::writeFile("remote.dir", directory / "medium" + "\n");
  Contents contents;
  const OpenStream stream = open(7, "d1");
  net_stream_get_size(stream.get(), &contents);
  fs::remove("remote.dir"); // by then every segment names its file
  net_stream_save_modified_toc(stream.get(), &contents);
  EXPECT_EQ(readAll(stream), contentOf(parts)) << "in the order of the table of contents";
}

TEST_F(Distribution, IsInNamedFiles) {
  Contents contents;
  for (uint32_t i = 0; i < contents.length; ++i) {
    test::writeFile(parts[i].id, parts[i].content);
    properties_put_string_dup(&contents.buffer[i], SEGMENT_DATA_PATH_KEY, parts[i].id.c_str());
  }
  StreamKey *key = file_stream_key_new(0, 4, "d1", "image", "empty", "notes");
  const OpenStream stream(net_stream_open(key, nullptr));
  stream_key_delete(key);
  net_stream_save_modified_toc(stream.get(), &contents);
  EXPECT_EQ(readAll(stream), contentOf(parts));
  expectUnusedChannel();
}

TEST_F(Distribution, ComesToAMobileEndpointInParts) {
  const auto sender =
      startSender([](const Sender &channel) { return channel.serve(20000) && channel.serve(); });
  const auto status = test::newStatus("d1");
  Contents contents;
  std::string received;
  {
    const OpenStream stream = open(2, "d1,rest", true);
    net_stream_save_modified_toc(stream.get(), &contents);
    EXPECT_EQ(read(stream, received), -pauseCommand);
    EXPECT_EQ(received, parts[0].content.substr(0, 20000));
    EXPECT_NE(properties_get_boolean(load(status), "paused"), 0);
  }
  EXPECT_NE(properties_get_boolean(load(status), "close"), 0);
  properties_put_long_dup(contents.buffer, SEGMENT_OFFSET_KEY, 20000);
  {
    const OpenStream stream = open(2, "d1,rest", true);
    net_stream_save_modified_toc(stream.get(), &contents);
    EXPECT_EQ(read(stream, received), 0);
    net_stream_update_mstat(stream.get(), "note", "done");
  }
  EXPECT_EQ(received, contentOf(parts));
  EXPECT_EQ(sender->wait(), 0);
  Properties *list = load(status);
  EXPECT_EQ(properties_get_boolean(list, "paused"), 0);
  EXPECT_STREQ(properties_get_string(list, "t_len"), "45000\n");
  EXPECT_STREQ(properties_get_string(list, "c_len"), "45000\n");
  EXPECT_STREQ(properties_get_string(list, "note"), "done");
  mstat_done(status.get());
  EXPECT_EQ(test::namesIn("mstat"), test::Names{"d1.mdf"});
}

TEST_F(Distribution, IsPausedWhileAMobileEndpointReadsFiles) {
  for (const Part &part : parts) {
    putOnMedium("medium", part);
  }
  test::writeFile("remote.dir", directory / "medium" + "\n");
  Contents contents;
  net_stream_get_size(open(7, "d1").get(), &contents);
  std::string received;
  {
    const OpenStream stream = open(7, "d1", true);
    net_stream_save_modified_toc(stream.get(), &contents);
    unsigned char *buffer = nullptr;
    ASSERT_EQ(net_stream_read(stream.get(), &buffer), static_cast<int32_t>(pieceSize));
    received.assign(reinterpret_cast<char *>(buffer), pieceSize);
    net_stream_free_buffer(stream.get(), buffer);
    test::writeBytes(ends.second.fd(), test::frameOf(RUNTIME_MESSAGE_DATA, "\3"));
    EXPECT_EQ(read(stream, received), -pauseCommand);
  }
  properties_put_long_dup(contents.buffer, SEGMENT_OFFSET_KEY, pieceSize);
  const OpenStream stream = open(7, "d1", true);
  net_stream_save_modified_toc(stream.get(), &contents);
  EXPECT_EQ(read(stream, received), 0);
  EXPECT_EQ(received, contentOf(parts));
  EXPECT_STREQ(properties_get_string(load(test::newStatus("d1")), "c_len"), "45000\n");
}

TEST_F(Distribution, IsInADepotForTwoMethodsAtOnce) {
  for (const Part &part : parts) {
    keep(part, 2);
  }
  const int depotLock = semaphore("depot.lk");
  const int entryLock = semaphore("entry.lk");
  const test::Event hasOpened[2];
  const auto startMethod = [&](int me) {
    return std::make_unique<Child>([&, me] {
      const Contents contents;
      const OpenStream stream = open(2, "d" + std::to_string(me));
      net_stream_save_modified_toc(stream.get(), &contents);
      CHILD_EXPECT(stream->type == 10);
      hasOpened[me].raise();
      CHILD_EXPECT(hasOpened[1 - me].await());
      CHILD_EXPECT(readAll(stream) == contentOf(parts));
      return 0;
    });
  };
  const auto first = startMethod(0);
  const auto second = startMethod(1);
  EXPECT_EQ(first->wait(), 0);
  EXPECT_EQ(second->wait(), 0);
  EXPECT_EQ(semaphore("depot.lk"), depotLock);
  EXPECT_EQ(semaphore("entry.lk"), entryLock);
  for (const std::string &stem : stems(".xml")) {
    EXPECT_EQ(readToc(path(stem + ".xml")).location, path(stem + ".dat"));
  }
  EXPECT_EQ(stems(".xml").size(), 3U);
}
