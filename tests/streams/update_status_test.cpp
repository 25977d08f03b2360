// What a method puts into the status file of a mobile stream.
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/streams.h>

#include "properties/layouts.h"
#include "streams/local_data.h"
#include "support/heap.h"
#include "support/log.h"
#include "support/temporary_directory.h"

using test::List;
using test::opened;
using test::OpenStream;

namespace {

namespace fs = std::filesystem;

using Notices = std::vector<std::string>;

std::string updated(const std::string &key, const std::string &value) {
  return "sprig: update mstat key=" + key + ", value=" + value + "\n";
}

class StreamStatus : public test::DirectoryTest {
protected:
  StreamStatus() {
    sprig_init();
    setenv("KRT_WORKDIR", directory.path().c_str(), 1);
  }
  ~StreamStatus() override { unsetenv("KRT_WORKDIR"); }

  void open(int type = 2, const std::string &texts = "d1,rest") {
    stream = opened(type, texts, true);
    ASSERT_NE(stream->status, nullptr);
  }
  const Properties &status() const { return *mstat_get_properties(stream->status); }

  bool isWritten() const { return fs::exists(file); }
  std::string writtenText(const char *key) const {
    List written;
    properties_load_without_len(&written, file.c_str());
    return properties_get_string2(&written, key, "(none)");
  }
  bool isWrittenAsFailed() const {
    List written;
    properties_load_without_len(&written, file.c_str());
    return properties_get_boolean(&written, "err") == 1;
  }

  const std::string file = directory / "mstat/d1.mds";
  test::Log log;
  OpenStream stream;
};

using StreamFailure = StreamStatus;

} // namespace

TEST_F(StreamStatus, IsWrittenAndLogged) {
  for (const int type : {2, 4, 6, 7, 8, 9, 10}) {
    SCOPED_TRACE(type);
    open(type);
    log.clear();
    net_stream_update_mstat(stream.get(), "label", "Green leaves");
    EXPECT_EQ(writtenText("label"), "Green leaves");
    EXPECT_EQ(writtenText("msid"), "d1");
    EXPECT_FALSE(isWrittenAsFailed());
    EXPECT_EQ(test::notices(log), Notices{updated("label", "Green leaves")});
    stream.reset();
    fs::remove(file);
  }
}

TEST_F(StreamStatus, TakesACopy) {
  open();
  std::string value = "before";
  net_stream_update_mstat(stream.get(), "label", value.c_str());
  value = "behind";
  EXPECT_STREQ(properties_get_string(&status(), "label"), "before");
}

TEST_F(StreamStatus, ReplacesWhatWasThere) {
  open();
  net_stream_update_mstat(stream.get(), "label", "one");
  net_stream_update_mstat(stream.get(), "other", "more");
  net_stream_update_mstat(stream.get(), "label", "");
  EXPECT_EQ(writtenText("label"), "");
  EXPECT_EQ(writtenText("other"), "more");
  EXPECT_EQ(status().length, 6U);
  EXPECT_EQ(test::notices(log),
            (Notices{updated("label", "one"), updated("other", "more"), updated("label", "")}));
}

TEST_F(StreamStatus, MayBeGivenItsOwnKeyAndValue) {
  open();
  const std::string key(100, 'k');
  const std::string value(100, 'v');
  net_stream_update_mstat(stream.get(), key.c_str(), value.c_str());
  const Property &own = status().buffer[status().length - 1];
  ASSERT_EQ(own.key, key);
  log.clear();
  net_stream_update_mstat(stream.get(), own.key, properties_get_string(&status(), own.key));
  EXPECT_EQ(writtenText(key.c_str()), value);
  EXPECT_EQ(status().length, 5U);
  EXPECT_EQ(test::notices(log), Notices{updated(key, value)});

  log.clear();
  net_stream_update_mstat(stream.get(), properties_get_string(&status(), key.c_str()),
                          properties_get_string(&status(), "msid"));
  EXPECT_EQ(writtenText(value.c_str()), "d1");
  EXPECT_EQ(writtenText(key.c_str()), value);
  EXPECT_EQ(test::notices(log), Notices{updated(value, "d1")});
}

TEST_F(StreamStatus, MayHoldWhatTheLogsFormatWouldRead) {
  open();
  net_stream_update_mstat(stream.get(), "100%s", "%n %d%%");
  EXPECT_EQ(writtenText("100%s"), "%n %d%%");
  EXPECT_EQ(test::notices(log), Notices{updated("100%s", "%n %d%%")});
}

TEST_F(StreamStatus, IsLoggedThoughItCannotBeWritten) {
  for (const int type : {2, 4, 6, 7, 8, 9, 10}) {
    open(type);
    fs::create_directories(file);
    log.clear();
    net_stream_update_mstat(stream.get(), "label", "leaves");
    EXPECT_EQ(test::notices(log), (Notices{test::failedSave(18, "d1"), updated("label", "leaves")}))
        << type;
    EXPECT_STREQ(properties_get_string(&status(), "label"), "leaves");
    stream.reset();
  }
}

TEST_F(StreamStatus, IsLoggedThoughThereIsNoFile) {
  // No path name leads to a file there.
  setenv("KRT_WORKDIR", std::string(3000, 'x').c_str(), 1);
  stream = opened(2, "d1", true);
  net_stream_update_mstat(stream.get(), "label", "leaves");
  net_stream_set_status(stream.get(), "Out of leaves");
  EXPECT_EQ(test::notices(log), (Notices{test::failedSave(18, "d1"), updated("label", "leaves"),
                                         test::failedSave(18, "d1")}));
}

TEST_F(StreamStatus, IsWrittenWithTheNextUpdate) {
  open();
  fs::create_directories(file);
  net_stream_update_mstat(stream.get(), "label", "leaves");
  fs::remove(file);
  net_stream_update_mstat(stream.get(), "other", "more");
  EXPECT_EQ(writtenText("label"), "leaves");
  EXPECT_EQ(writtenText("other"), "more");
}

TEST_F(StreamStatus, NeedsAMobileStreamAndAValue) {
  net_stream_update_mstat(nullptr, "label", "leaves");
  open();
  net_stream_update_mstat(stream.get(), "label", nullptr);
  EXPECT_EQ(status().length, 4U);
  for (const int type : {2, 4, 6, 7, 8, 9, 10}) {
    const OpenStream other = opened(type);
    net_stream_update_mstat(other.get(), "label", "leaves");
    EXPECT_EQ(other->status, nullptr);
  }
  EXPECT_FALSE(isWritten());
  EXPECT_EQ(test::notices(log), Notices{});
}

TEST_F(StreamFailure, IsWritten) {
  for (const int type : {2, 4, 6, 7, 8, 9, 10}) {
    SCOPED_TRACE(type);
    open(type);
    net_stream_set_status(stream.get(), "Out of leaves");
    EXPECT_TRUE(isWrittenAsFailed());
    EXPECT_EQ(writtenText("err_msg"), "Out of leaves");
    EXPECT_EQ(writtenText("msid"), "d1");
    stream.reset();
    fs::remove(file);
  }
  EXPECT_EQ(test::notices(log), Notices{}) << "that is not logged";
}

TEST_F(StreamFailure, KeepsTheLastText) {
  open();
  std::string text = "first";
  net_stream_set_status(stream.get(), text.c_str());
  text = "other";
  EXPECT_EQ(writtenText("err_msg"), "first");
  net_stream_set_status(stream.get(), "");
  EXPECT_EQ(writtenText("err_msg"), "");
  EXPECT_TRUE(isWrittenAsFailed());
  EXPECT_EQ(status().length, 5U);
}

TEST_F(StreamFailure, IsLoggedWhereItCannotBeWritten) {
  open();
  fs::create_directories(file);
  net_stream_set_status(stream.get(), "Out of leaves");
  EXPECT_EQ(test::notices(log), Notices{test::failedSave(18, "d1")});
  EXPECT_EQ(properties_get_boolean(&status(), "err"), 1);
  EXPECT_STREQ(properties_get_string(&status(), "err_msg"), "Out of leaves");
}

TEST_F(StreamFailure, NeedsAMobileStreamAndAText) {
  net_stream_set_status(nullptr, "Out of leaves");
  open();
  net_stream_set_status(stream.get(), nullptr);
  EXPECT_EQ(properties_get_boolean(&status(), "err"), 0);
  EXPECT_EQ(status().length, 4U);
  for (const int type : {2, 4, 6, 7, 8, 9, 10}) {
    const OpenStream other = opened(type);
    net_stream_set_status(other.get(), "Out of leaves");
    EXPECT_EQ(other->status, nullptr);
  }
  EXPECT_FALSE(isWritten());
  EXPECT_EQ(test::notices(log), Notices{});
}

TEST_F(StreamFailure, StaysWhenTheStreamIsClosed) {
  open();
  net_stream_set_status(stream.get(), "Out of leaves");
  net_stream_update_mstat(stream.get(), "label", "leaves");
  stream.reset();
  EXPECT_TRUE(isWrittenAsFailed());
  EXPECT_EQ(writtenText("err_msg"), "Out of leaves");
  EXPECT_EQ(writtenText("label"), "leaves");
}

TEST_F(StreamStatus, LeavesNothingBehind) {
  test::expectNothingLost([this] {
    open();
    net_stream_update_mstat(stream.get(), "label", "leaves");
    net_stream_update_mstat(stream.get(), "label", properties_get_string(&status(), "label"));
    net_stream_set_status(stream.get(), "Out of leaves");
    fs::remove(file);
    fs::create_directory(file);
    net_stream_update_mstat(stream.get(), "label", "more leaves");
    net_stream_set_status(stream.get(), "Out of memory");
    stream.reset();
    fs::remove(file);
    log.clear();
  });
}
