// A distribution that is in the endpoint's depot, from its table of contents to the stream's end.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/depot.h>
#include <sprig/runtime.h>
#include <sprig/streams.h>

#include "properties/layouts.h"
#include "streams/local_data.h"
#include "support/depot.h"
#include "support/heap.h"
#include "support/log.h"

using test::opened;
using test::OpenStream;
using test::SegmentInfo;
using test::SegmentList;

namespace {

namespace fs = std::filesystem;

using Pieces = std::vector<std::string>;

class TakenFromDepot : public test::DepotTest {
protected:
  TakenFromDepot() {
    sprig_init();
    test::writeFile(configuration, "depot_dir=" + (directory / "depot") + "\n");
    setenv("KRT_CONFIG", configuration.c_str(), 1);
    setenv("KRT_WORKDIR", directory.path().c_str(), 1);
  }
  ~TakenFromDepot() override {
    unsetenv("KRT_CONFIG");
    unsetenv("KRT_WORKDIR");
  }

  // A complete entry that so many have registered for, and where its data are.
  std::string addData(const std::string &id, const std::string &data, int users = 1) {
    DepotEntry *entry = add(id);
    std::string location = entry->location;
    test::writeFile(location, data);
    for (int i = 0; i < users; ++i) {
      EXPECT_EQ(DepotCompleteEntry(depot, i == 0 ? entry : DepotGetEntry(depot, id.c_str(), "1"), 0)
                    .palError,
                PAL_OK);
    }
    return location;
  }
  bool isThere(const std::string &id) { return DepotGetEntry(depot, id.c_str(), "1") != nullptr; }

  static OpenStream streamWith(const std::vector<SegmentInfo> &segments, bool isMobile = false) {
    OpenStream stream = opened(2, "d1", isMobile);
    net_stream_save_modified_toc(stream.get(), SegmentList(segments).get());
    return stream;
  }

  // What the reads give until nothing is left; "" for the end of a file.
  static Pieces piecesOf(const OpenStream &stream) {
    Pieces pieces;
    for (;;) {
      unsigned char *buffer = nullptr;
      const int32_t count = net_stream_read(stream.get(), &buffer);
      EXPECT_EQ(count == 0, buffer == nullptr);
      if (count <= 0 && (pieces.empty() || pieces.back().empty())) {
        EXPECT_EQ(count, 0);
        return pieces;
      }
      pieces.emplace_back(buffer, buffer + count);
      net_stream_free_buffer(stream.get(), buffer);
    }
  }

  const std::string configuration = directory / "endpoint.cfg";
};

// Renames a file when the depot logs a line for the first time. The log is its own meanwhile.
class RenameAtLine {
public:
  RenameAtLine(std::string line, std::string from, std::string to)
      : line_(std::move(line)), from_(std::move(from)), to_(std::move(to)) {
    runtime_set_log_sink([](void *self, int /*level*/,
                            const char *text) { static_cast<RenameAtLine *>(self)->look(text); },
                         this);
  }
  ~RenameAtLine() { runtime_set_log_sink(nullptr, nullptr); }
  RenameAtLine(const RenameAtLine &) = delete;
  RenameAtLine &operator=(const RenameAtLine &) = delete;

private:
  void look(const std::string &text) const {
    if (text == line_ && fs::exists(from_)) {
      fs::rename(from_, to_);
    }
  }

  const std::string line_;
  const std::string from_;
  const std::string to_;
};

} // namespace

TEST_F(TakenFromDepot, IsReadFromTheDepotsFiles) {
  addData("s1", "first");
  addData("s2", std::string(20000, 'x'));
  addData("s3", "third");
  const OpenStream stream = streamWith({{.id = "s1"}, {.id = "s2"}, {.id = "s3"}});
  ASSERT_EQ(stream->type, 10);
  EXPECT_EQ(piecesOf(stream), (Pieces{"first", "", std::string(16384, 'x'),
                                      std::string(20000 - 16384, 'x'), "", "third", ""}));
}

TEST_F(TakenFromDepot, IsReadFromWhereItHasArrived) {
  addData("s1", "first");
  addData("s2", "second");
  const OpenStream stream = streamWith({{.id = "s1", .offset = 5}, {.id = "s2", .offset = 2}});
  EXPECT_EQ(piecesOf(stream), (Pieces{"cond", ""}));
}

TEST_F(TakenFromDepot, GoesWithTheLastRegistration) {
  const std::string first = addData("s1", "first");
  const std::string second = addData("s2", "second");
  OpenStream stream = streamWith({{.id = "s1"}, {.id = "s2"}});
  piecesOf(stream);
  EXPECT_TRUE(fs::exists(first));
  stream.reset();
  EXPECT_EQ(names(), std::vector<std::string>{});
  EXPECT_FALSE(isThere("s1"));
  EXPECT_FALSE(isThere("s2"));
}

TEST_F(TakenFromDepot, GoesAlsoWhereItWasNotRead) {
  addData("s1", "first");
  streamWith({{.id = "s1"}});
  EXPECT_EQ(names(), std::vector<std::string>{});
}

TEST_F(TakenFromDepot, StaysForOtherUsers) {
  const std::string first = addData("s1", "first", 2);
  addData("s2", "second");
  streamWith({{.id = "s1"}, {.id = "s2"}});
  EXPECT_TRUE(isThere("s1"));
  EXPECT_EQ(test::readFile(first), "first");
  EXPECT_FALSE(isThere("s2"));
}

TEST_F(TakenFromDepot, IsGivenUpOnceBySeveralSegments) {
  const std::string first = addData("s1", "first", 2);
  streamWith({{.id = "s1"}, {.id = "s1"}, {.id = "s1"}});
  EXPECT_EQ(test::readFile(first), "first") << "one of two registrations";
  EXPECT_TRUE(isThere("s1"));
}

TEST_F(TakenFromDepot, IsHeldOnceThoughItsFileChangesBetweenTwoSegments) {
  const std::string data = addData("s1", "first", 2);
  const std::string bucket = test::bucketOf("s1", "1");
  const std::string tocBehind = path(bucket + ".1.xml");
  OpenStream stream = opened(2, "d1");
  {
    const RenameAtLine rename("DepotEntryChangeState exit\n", path(bucket + ".0.xml"), tocBehind);
    net_stream_save_modified_toc(stream.get(), SegmentList{{.id = "s1"}, {.id = "s1"}}.get());
  }
  ASSERT_TRUE(fs::exists(tocBehind));
  EXPECT_EQ(stream->type, 10);
  EXPECT_EQ(stream->depot_entries.length, 1U);
  EXPECT_EQ(test::filesLeft(stream), data + "," + data);
  stream.reset();
  EXPECT_EQ(test::readFile(data), "first") << "one of two registrations";
  EXPECT_TRUE(isThere("s1"));
}

TEST_F(TakenFromDepot, LeavesOtherEntries) {
  addData("s1", "first");
  const std::string second = addData("s2", "second");
  streamWith({{.id = "s1"}});
  EXPECT_FALSE(isThere("s1"));
  EXPECT_TRUE(isThere("s2"));
  EXPECT_EQ(test::readFile(second), "second");
}

TEST_F(TakenFromDepot, StaysWhereAnythingWasMissing) {
  const std::string first = addData("s1", "first");
  const std::string second = addData("s2", "second");
  const std::vector<std::string> before = names();
  {
    const OpenStream stream = streamWith({{.id = "s1"}, {.id = "s2"}, {.id = "s3"}});
    ASSERT_EQ(stream->type, 2);
    EXPECT_EQ(stream->depot_entries.length, 2U);
  }
  EXPECT_EQ(names(), before);
  EXPECT_EQ(test::readFile(first), "first");
  EXPECT_EQ(readToc(path(stems(".xml").at(0) + ".xml")).referenceCount, "1");
}

TEST_F(TakenFromDepot, IsGivenUpByAMobileStream) {
  addData("s1", "first");
  OpenStream stream = streamWith({{.id = "s1", .size = 5, .offset = 0}}, true);
  ASSERT_EQ(stream->type, 10);
  EXPECT_EQ(piecesOf(stream), (Pieces{"first", ""}));
  stream.reset();
  EXPECT_EQ(names(), std::vector<std::string>{});
  test::List status;
  properties_load_without_len(&status, (directory / "mstat/d1.mds").c_str());
  EXPECT_EQ(properties_get_boolean(&status, "close"), 1);
  EXPECT_STREQ(properties_get_string(&status, "t_len"), "0005\n");
  EXPECT_STREQ(properties_get_string(&status, "c_len"), "0005\n");
}

TEST_F(TakenFromDepot, GivesItsLocksBack) {
  addData("s1", "first");
  addData("s2", "second");
  streamWith({{.id = "s1"}, {.id = "missing"}});
  streamWith({{.id = "s1"}});
  EXPECT_FALSE(isThere("s1"));
  EXPECT_TRUE(isThere("s2"));
  EXPECT_EQ(DepotRemoveEntry(depot, DepotGetEntry(depot, "s2", "1"), 1).palError, PAL_OK);
}

TEST_F(TakenFromDepot, LeavesNothingBehind) {
  const long before = test::openDescriptors();
  test::expectNothingLost([this] {
    Depot *own = nullptr;
    EXPECT_EQ(DepotNew(&own, "depot", 0).palError, PAL_OK);
    for (const char *id : {"s1", "s2"}) {
      DepotEntry *entry = DepotAddEntry(own, id, "1", nullptr, 0);
      test::writeFile(entry->location, "some data");
      EXPECT_EQ(DepotCompleteEntry(own, entry, 0).palError, PAL_OK);
    }
    DepotFree(own);
    const SegmentInfo first{.id = "s1", .size = 9, .offset = 0};
    streamWith({first, {.id = "missing", .size = 9}}, true);
    const OpenStream stream =
        streamWith({first, {.id = "s2", .size = 9, .offset = 9}, first}, true);
    unsigned char *buffer = nullptr;
    EXPECT_EQ(net_stream_read(stream.get(), &buffer), 9);
    net_stream_free_buffer(stream.get(), buffer);
    log.clear();
  });
  EXPECT_EQ(test::openDescriptors(), before);
}
