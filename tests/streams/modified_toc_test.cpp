// The table of contents that a stream is given: what it keeps, and what a network stream takes from
// the endpoint's depot.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/depot.h>
#include <sprig/streams.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "records/members.h"
#include "streams/local_data.h"
#include "support/depot.h"
#include "support/heap.h"
#include "support/log.h"
#include "support/values.h"

using test::dataAt;
using test::failureOf;
using test::Found;
using test::opened;
using test::OpenStream;
using test::SegmentInfo;
using test::SegmentList;

namespace {

namespace fs = std::filesystem;

using Notices = std::vector<std::string>;

const std::string noConfiguration = "sprig: Unable to locate KRT config file.";
const std::string noDepot = "sprig: Local depot directory is not configured.";
const std::string allFound = "sprig: All segments available locally, resetting stream type.";

std::string noEntry(const std::string &id, const std::string &version = "1") {
  return "sprig: Unable to find entry for segment " + id + "^" + version + ".";
}

test::Bytes bytesOf(const PropertiesList *list) {
  return test::encoded(TC_NEX_Sprig2_PropertiesList, list);
}

// A depot in the data directory, and the configuration file, which says nothing.
class EndpointDepot : public test::DepotTest {
protected:
  EndpointDepot() {
    sprig_init();
    setenv("KRT_DATDIR", directory.path().c_str(), 1);
    setenv("KRT_CONFIG", configuration.c_str(), 1);
    setenv("KRT_WORKDIR", directory.path().c_str(), 1);
    configure("");
  }
  ~EndpointDepot() override {
    for (const char *name : {"KRT_DATDIR", "KRT_CONFIG", "KRT_WORKDIR"}) {
      unsetenv(name);
    }
  }

  void configure(const std::string &content) const { test::writeFile(configuration, content); }

  // A complete entry, and where its data are.
  std::string addData(const std::string &id, const std::string &data = "data",
                      const std::string &version = "1") {
    DepotEntry *entry = add(id, version);
    std::string location = entry->location;
    test::writeFile(location, data);
    EXPECT_EQ(DepotCompleteEntry(depot, entry, 0).palError, PAL_OK);
    return location;
  }

  // A network stream with a table of contents.
  OpenStream streamWith(const std::vector<SegmentInfo> &segments) {
    return streamFor(SegmentList(segments));
  }
  OpenStream streamFor(const SegmentList &segments) {
    OpenStream stream = opened(2);
    log.clear();
    net_stream_save_modified_toc(stream.get(), segments.get());
    return stream;
  }
  // One that finds nothing in a depot, and what it tells.
  void expectNetwork(const Notices &expected) {
    const OpenStream stream = streamWith({{.id = "s1"}});
    EXPECT_EQ(stream->type, 2);
    EXPECT_EQ(stream->depot, nullptr);
    EXPECT_EQ(stream->depot_entries.length, 0U);
    EXPECT_EQ(stream->segments->length, 1U);
    EXPECT_EQ(test::notices(log), expected);
  }
  void expectLocal() {
    const OpenStream stream = streamWith({{.id = "s1"}});
    EXPECT_EQ(stream->type, 10);
    EXPECT_EQ(test::noticesAbout(log, allFound), 1U);
    stream->depot_entries.length = 0; // so that they stay
  }

  const std::string configuration = directory / "endpoint.cfg";
};

using TakenToc = EndpointDepot;

Found foundIn(const OpenStream &stream, size_t index) {
  return test::foundOf(stream->segments->buffer[index]);
}

} // namespace

TEST_F(TakenToc, IsNeeded) {
  for (const int type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 255}) {
    OpenStream stream = test::madeByHand(type);
    EXPECT_EQ(
        failureOf([&] { net_stream_save_modified_toc(stream.get(), nullptr); }),
        (test::Failure{31, "Cannot save the modified TOC because the TOC pointer is NULL.\n", {}}))
        << type;
    EXPECT_EQ(stream->segments, nullptr);
    stream->type = 2;
  }
}

TEST_F(TakenToc, IsCopied) {
  addData("s1");
  const SegmentList segments{{.id = "s1", .location = "/a", .size = 7, .offset = 3}};
  const test::Bytes before = bytesOf(segments.get());
  const OpenStream stream = streamFor(segments);
  EXPECT_EQ(stream->type, 10);
  EXPECT_NE(stream->segments, segments.get());
  EXPECT_EQ(bytesOf(segments.get()), before) << "what is found is put into the copy";
}

TEST_F(TakenToc, IsAllThatTypesWithoutASearchTake) {
  addData("s1");
  const SegmentList segments{{.id = "s1", .dataFile = "/a"}, {.id = "s2", .dataFile = "/b"}};
  test::List noSegment;
  properties_put_string_dup(&noSegment, "label", "neither id nor version");
  for (const int type : {0, 1, 3, 4, 12, 255}) {
    SCOPED_TRACE(type);
    OpenStream stream = test::madeByHand(type);
    int source = 0;
    stream->source = &source;
    log.clear();
    net_stream_save_modified_toc(stream.get(), segments.get());
    EXPECT_EQ(stream->type, type);
    EXPECT_EQ(stream->source, &source);
    EXPECT_EQ(bytesOf(stream->segments), bytesOf(segments.get()));
    EXPECT_EQ(test::notices(log), Notices{});
    stream->type = 2;
  }
}

TEST_F(TakenToc, NeedsIdAndVersionWhereSegmentsAreSearched) {
  for (const int type : {2, 5, 6, 7, 8, 9, 10, 11}) {
    for (const char *key : {SEGMENT_ID_KEY, SEGMENT_VERSION_KEY}) {
      const SegmentList segments{{.id = "s1", .dataFile = "/a"}};
      properties_remove_and_destroy(&segments[0], key);
      OpenStream stream = test::madeByHand(type);
      EXPECT_EQ(failureOf([&] { net_stream_save_modified_toc(stream.get(), segments.get()); }),
                test::missing(key))
          << type;
      stream->type = 2;
    }
  }
}

TEST_F(EndpointDepot, SuppliesEverySegment) {
  const std::string first = addData("s1", "first");
  const std::string second = addData("s2", "of the second");
  const std::string third = addData("s3", "");
  const OpenStream stream = streamWith({{.id = "s3"}, {.id = "s1", .size = 7}, {.id = "s2"}});
  EXPECT_EQ(stream->type, 10);
  EXPECT_EQ(test::filesLeft(stream), third + "," + first + "," + second);
  EXPECT_EQ(foundIn(stream, 0), dataAt(third, 0));
  EXPECT_EQ(foundIn(stream, 1), dataAt(first, 5));
  EXPECT_EQ(foundIn(stream, 2), dataAt(second, 13));
  EXPECT_EQ(test::notices(log), Notices{allFound});
}

TEST_F(EndpointDepot, BecomesTheStreamsSource) {
  addData("s1");
  const OpenStream stream = streamWith({{.id = "s1"}});
  const FileList &files = *static_cast<FileList *>(stream->source);
  EXPECT_EQ(files.cursor, files.list);
  EXPECT_EQ(files.current, nullptr);
  EXPECT_EQ(stream->started, 0);
}

TEST_F(EndpointDepot, IsOpenedWithRoomForTwoThousandKilobytes) {
  addData("s1");
  const OpenStream stream = streamWith({{.id = "s1"}});
  ASSERT_NE(stream->depot, nullptr);
  EXPECT_EQ(stream->depot->directory, directory / "depot");
  EXPECT_EQ(stream->depot->maxSpace, 2000U);
}

TEST_F(EndpointDepot, LendsItsEntries) {
  addData("s1");
  addData("s2");
  const OpenStream stream = streamWith({{.id = "s2"}, {.id = "s1"}});
  ASSERT_EQ(stream->depot_entries.length, 2U);
  EXPECT_STREQ(stream->depot_entries.buffer[0]->id, "s2");
  EXPECT_STREQ(stream->depot_entries.buffer[1]->id, "s1");
  for (uint32_t i = 0; i < 2; ++i) {
    const DepotEntry *entry = stream->depot_entries.buffer[i];
    EXPECT_EQ(entry->state, DEPOT_ENTRY_COMPLETE);
    EXPECT_EQ(DepotGetEntry(stream->depot, entry->id, entry->version), entry);
  }
}

TEST_F(EndpointDepot, IsNotWrittenTo) {
  addData("s1");
  const std::string toc = path(stems(".xml").at(0) + ".xml");
  const std::string before = test::readFile(toc);
  const fs::file_time_type written = fs::last_write_time(toc);
  const OpenStream stream = streamWith({{.id = "s1"}});
  EXPECT_EQ(test::readFile(toc), before);
  EXPECT_EQ(fs::last_write_time(toc), written);
}

TEST_F(EndpointDepot, GoesByIdAndVersion) {
  addData("s1", "one", "1");
  const std::string second = addData("s1", "second", "2");
  const OpenStream stream = streamWith({{.id = "s1", .version = "2"}});
  EXPECT_EQ(test::filesLeft(stream), second);
  const OpenStream other = streamWith({{.id = "s1", .version = "3"}});
  EXPECT_EQ(other->type, 2);
  EXPECT_EQ(test::notices(log), Notices{noEntry("s1", "3")});
}

TEST_F(EndpointDepot, IsLeftAtTheFirstSegmentThatItLacks) {
  const std::string first = addData("s1");
  addData("s3");
  int source = 0;
  const OpenStream stream = opened(2, "d1", false, &source);
  log.clear();
  const SegmentList segments{{.id = "s1"}, {.id = "s2", .version = "4"}, {.id = "s3"}};
  net_stream_save_modified_toc(stream.get(), segments.get());
  EXPECT_EQ(stream->type, 2);
  EXPECT_EQ(stream->source, &source);
  EXPECT_NE(stream->depot, nullptr);
  ASSERT_EQ(stream->depot_entries.length, 1U);
  EXPECT_STREQ(stream->depot_entries.buffer[0]->id, "s1");
  EXPECT_EQ(foundIn(stream, 0), dataAt(first, 4));
  EXPECT_EQ(foundIn(stream, 1), Found{});
  EXPECT_EQ(foundIn(stream, 2), Found{});
  EXPECT_EQ(test::notices(log), Notices{noEntry("s2", "4")});
}

TEST_F(EndpointDepot, SuppliesNoEntryThatIsNotComplete) {
  add("filling");
  DepotEntry *entry = add("other");
  EXPECT_EQ(DepotEntryChangeState(depot, entry, 2).palError, PAL_OK);
  for (const char *id : {"filling", "other"}) {
    const OpenStream stream = streamWith({{.id = id}});
    EXPECT_EQ(stream->type, 2);
    EXPECT_EQ(stream->depot_entries.length, 0U);
    EXPECT_EQ(test::notices(log), Notices{noEntry(id)});
  }
}

TEST_F(EndpointDepot, GoesOnBehindDataThatAreGone) {
  const std::string first = addData("s1");
  const std::string second = addData("s2");
  const std::string third = addData("s3");
  fs::remove(second);
  const OpenStream stream = streamWith({{.id = "s1"}, {.id = "s2"}, {.id = "s3"}});
  EXPECT_EQ(stream->type, 2);
  EXPECT_EQ(stream->source, nullptr);
  EXPECT_EQ(stream->depot_entries.length, 3U);
  EXPECT_EQ(foundIn(stream, 0), dataAt(first, 4));
  EXPECT_EQ(foundIn(stream, 1), Found{});
  EXPECT_EQ(foundIn(stream, 2), dataAt(third, 4));
  EXPECT_EQ(test::notices(log), Notices{"sprig: Stat of " + second + " failed."});
}

TEST_F(EndpointDepot, SuppliesNoDataWithACommaInTheirPath) {
  const std::string first = addData("s1");
  const std::string second = directory / "da,ta";
  test::writeFile(second, "data");
  test::Toc toc;
  toc.id = "s2";
  toc.location = second;
  putToc(test::bucketOf("s2", "1") + ".0.xml", toc);
  const OpenStream stream = streamWith({{.id = "s2"}, {.id = "s1"}});
  EXPECT_EQ(stream->type, 2);
  EXPECT_EQ(stream->source, nullptr);
  EXPECT_EQ(stream->depot_entries.length, 2U);
  EXPECT_EQ(foundIn(stream, 0), Found{});
  EXPECT_EQ(foundIn(stream, 1), dataAt(first, 4));
  EXPECT_EQ(test::notices(log), Notices{test::unreadable(second)});
}

TEST_F(EndpointDepot, LendsAnEntryOnceToSeveralSegments) {
  const std::string first = addData("s1");
  const std::string second = addData("s2");
  const OpenStream stream = streamWith({{.id = "s1"}, {.id = "s2"}, {.id = "s1"}});
  EXPECT_EQ(stream->type, 10);
  EXPECT_EQ(stream->depot_entries.length, 2U);
  EXPECT_EQ(test::filesLeft(stream), first + "," + second + "," + first);
  EXPECT_EQ(foundIn(stream, 2), dataAt(first, 4));
}

TEST_F(EndpointDepot, IsNothingToAStreamWithoutSegments) {
  const OpenStream stream = streamWith(std::vector<SegmentInfo>{});
  EXPECT_EQ(stream->type, 2);
  EXPECT_EQ(stream->source, nullptr);
  EXPECT_EQ(stream->depot_entries.length, 0U);
  EXPECT_EQ(stream->segments->length, 0U);
  EXPECT_EQ(test::notices(log), Notices{});
}

TEST_F(EndpointDepot, IgnoresFilesThatSegmentsName) {
  const OpenStream stream = streamWith({{.id = "s1", .dataFile = configuration}});
  EXPECT_EQ(stream->type, 2);
  EXPECT_EQ(test::notices(log), Notices{noEntry("s1")});
}

TEST_F(EndpointDepot, NeedsAConfigurationFile) {
  addData("s1");
  unsetenv("KRT_CONFIG");
  expectNetwork({noConfiguration});
  test::writeFile(directory / "krt.cfg", "");
  expectLocal();
  unsetenv("KRT_DATDIR");
  expectNetwork({noConfiguration});
}

TEST_F(EndpointDepot, NeedsNoConfigurationThatCanBeRead) {
  addData("s1");
  const std::string unreadable = "sprig: Error reading config file " + configuration + ".";
  fs::remove(configuration);
  expectLocal();
  EXPECT_EQ(test::notices(log), (Notices{unreadable, allFound}));
  fs::create_directory(configuration);
  expectLocal();
  unsetenv("KRT_DATDIR");
  expectNetwork({unreadable, noDepot});
}

TEST_F(EndpointDepot, IsWhereTheConfigurationSays) {
  addData("s1");
  configure("depot_dir = " + (directory / "depot") + "\n");
  setenv("KRT_DATDIR", (directory / "elsewhere").c_str(), 1);
  expectLocal();
  unsetenv("KRT_DATDIR");
  expectLocal();

  fs::create_directory(directory / "other");
  configure("depot_dir=" + (directory / "other") + "\n");
  setenv("KRT_DATDIR", directory.path().c_str(), 1);
  const OpenStream stream = streamWith({{.id = "s1"}});
  EXPECT_EQ(stream->depot->directory, directory / "other");
  EXPECT_EQ(test::notices(log), Notices{noEntry("s1")}) << "the data directory's is not looked at";
}

TEST_F(EndpointDepot, HasNothingWhereTheConfiguredDirectoryIsNone) {
  addData("s1");
  test::writeFile(directory / "file", "");
  for (const char *name : {"missing", "missing/deeper/depot", "file"}) {
    configure("depot_dir=" + (directory / name) + "\n");
    const OpenStream stream = streamWith({{.id = "s1"}});
    EXPECT_EQ(stream->type, 2);
    EXPECT_EQ(test::notices(log), Notices{noEntry("s1")}) << name;
  }
}

TEST_F(EndpointDepot, IsNotConfiguredWhereThereIsNoSuchDirectory) {
  addData("s1");
  configure("other_dir=" + (directory / "depot") + "\n");
  setenv("KRT_DATDIR", (directory / "elsewhere").c_str(), 1);
  expectNetwork({noDepot});
  fs::create_directory(directory / "elsewhere");
  expectNetwork({noDepot});
  test::writeFile(directory / "elsewhere/depot", "a file");
  expectNetwork({noDepot});
  unsetenv("KRT_DATDIR");
  expectNetwork({noDepot});
}

TEST_F(EndpointDepot, MayBeALinkToADirectory) {
  addData("s1");
  fs::create_directory(directory / "elsewhere");
  fs::create_symlink("../depot", directory / "elsewhere/depot");
  setenv("KRT_DATDIR", (directory / "elsewhere").c_str(), 1);
  expectLocal();
}

TEST_F(EndpointDepot, MayRefuseToOpen) {
  addData("s1");
  // Where no lock file can be made.
  fs::create_directory(directory / "gone");
  fs::current_path(directory / "gone");
  fs::remove(directory / "gone");
  expectNetwork({"sprig: Failure opening depot directory " + (directory / "depot") + "."});
  fs::current_path(directory.path());
}

TEST_F(EndpointDepot, LetsTheFailureOfDataThatAreTooLargePass) {
  const std::string data = addData("s1");
  fs::resize_file(data, uint64_t{1} << 31);
  const SegmentList segments{{.id = "s1"}};
  OpenStream stream = opened(2);
  EXPECT_EQ(failureOf([&] { net_stream_save_modified_toc(stream.get(), segments.get()); }),
            test::cannotGetStatus(data));
  EXPECT_EQ(stream->type, 2);
  EXPECT_EQ(stream->segments->length, 1U);
  stream.reset();
  EXPECT_TRUE(fs::exists(data));
}

TEST_F(EndpointDepot, LeavesNothingBehind) {
  addData("s1");
  const std::string second = addData("s2");
  fs::remove(second);
  const SegmentInfo first{.id = "s1", .size = 4, .offset = 0};
  const SegmentList complete{first, first};
  const SegmentList incomplete{first, {.id = "s2", .size = 4}, {.id = "s3", .size = 4}};
  const long before = test::openDescriptors();
  test::expectNothingLost([&] {
    for (const SegmentList *segments : {&complete, &incomplete}) {
      const OpenStream stream = opened(2, "d1,rest", true);
      net_stream_save_modified_toc(stream.get(), segments->get());
      stream->depot_entries.length = 0; // so that they stay
    }
    log.clear();
  });
  EXPECT_EQ(test::openDescriptors(), before);
}

TEST_F(EndpointDepot, LeavesNothingWhereItFails) {
  fs::resize_file(addData("s1"), uint64_t{1} << 31);
  const SegmentList segments{{.id = "s1"}};
  const SegmentList unnamed{{.id = "s1"}};
  properties_remove_and_destroy(&unnamed[0], SEGMENT_ID_KEY);
  const long before = test::openDescriptors();
  test::expectNothingLost([&] {
    for (const SegmentList *list : {&segments, &unnamed}) {
      const OpenStream stream = opened(2);
      NetStream *const record = stream.get();
      EXPECT_TRUE(failureOf([&] { net_stream_save_modified_toc(record, list->get()); }));
      EXPECT_TRUE(failureOf([&] { net_stream_save_modified_toc(record, nullptr); }));
    }
    log.clear();
  });
  EXPECT_EQ(test::openDescriptors(), before);
}
