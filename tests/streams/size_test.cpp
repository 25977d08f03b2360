// Sizes in advance, and the totals of mobile streams that have everything.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/streams.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "records/members.h"
#include "streams/local_data.h"
#include "support/heap.h"
#include "support/log.h"
#include "support/temporary_directory.h"
#include "support/values.h"

using test::dataAt;
using test::Failure;
using test::failureOf;
using test::Found;
using test::List;
using test::madeByHand;
using test::notFound;
using test::notInDepot;
using test::opened;
using test::OpenStream;
using test::putSegment;
using test::SegmentInfo;
using test::SegmentList;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

using Segments = std::vector<SegmentInfo>;
using Notices = std::vector<std::string>;

class Sizes : public test::DataDirectoryTest {
protected:
  Sizes() { fs::create_directory(segments); }

  // A stream whose key names the directory.
  OpenStream newStream(int type, bool isMobile = false) const {
    return type == 11 ? madeByHand(type) : opened(type, "d1," + segments, isMobile);
  }
  std::optional<Failure> failure(int type, const SegmentList &list) const {
    const OpenStream stream = newStream(type);
    return failureOf([&] { net_stream_get_size(stream.get(), list.get()); });
  }

  const std::string segments = directory / "segments";
  const std::string remoteList = directory / "remote.dir";
  const std::string status = directory / "mstat/d1.mds";
  test::Log log;
};

class MobileTotalsInAdvance : public Sizes {
protected:
  // A mobile stream with a table of contents.
  void save(int type, const SegmentList &list) {
    stream = newStream(type, true);
    EXPECT_EQ(failureOf([&] { net_stream_save_modified_toc(stream.get(), list.get()); }),
              std::nullopt);
  }

  std::string written(const char *key) const {
    List file;
    properties_load_without_len(&file, status.c_str());
    return properties_get_string2(&file, key, "(none)");
  }
  void expectTotals(const std::string &text) const {
    EXPECT_EQ(written("t_len"), text);
    EXPECT_EQ(written("c_len"), text);
  }
  void expectNone() const {
    EXPECT_FALSE(fs::exists(status));
    EXPECT_EQ(stream->total_length, nullptr);
    EXPECT_EQ(stream->received_length, nullptr);
  }

  OpenStream stream;
};

test::Bytes bytesOf(const SegmentList &list) {
  return test::encoded(TC_NEX_Sprig2_PropertiesList, list.get());
}

} // namespace

TEST_F(Sizes, ArePutIntoTheGivenDescriptions) {
  const std::string first = putSegment(segments, "s1", "twelve bytes");
  const std::string second = putSegment(segments, "s2", "");
  writeFile(remoteList, "# comment\n\n" + segments + "\r\n");
  for (const int type : {7, 8, 9}) {
    SCOPED_TRACE(type);
    const SegmentList list{{.id = "s2", .size = 9}, {.id = "s1"}, {.id = "s2"}};
    EXPECT_EQ(failure(type, list), std::nullopt);
    EXPECT_EQ(test::foundOf(list[0]), dataAt(second, 0));
    EXPECT_EQ(test::foundOf(list[1]), dataAt(first, 12));
    EXPECT_EQ(test::foundOf(list[2]), dataAt(second, 0));
  }
}

TEST_F(Sizes, LeaveTheStreamAsItIs) {
  putSegment(segments, "s1");
  FileList *files = test::newFileList("before");
  const OpenStream stream = opened(9, "d1," + segments, false, files);
  const NetStream before = *stream;
  const SegmentList list{{.id = "s1"}};
  EXPECT_EQ(failureOf([&] { net_stream_get_size(stream.get(), list.get()); }), std::nullopt);
  EXPECT_EQ(stream->type, before.type);
  EXPECT_EQ(stream->source, files);
  EXPECT_STREQ(files->cursor, "before");
  EXPECT_EQ(stream->segments, nullptr);
  EXPECT_EQ(stream->started, 0);
  EXPECT_EQ(stream->total_length, nullptr);
}

TEST_F(Sizes, AreNotLookedForInOtherTypes) {
  putSegment(segments, "s1");
  writeFile(remoteList, segments + "\n");
  const SegmentList list{{.id = "s1"}, {.id = "missing"}};
  properties_remove_and_destroy(&list[1], SEGMENT_ID_KEY);
  const test::Bytes before = bytesOf(list);
  for (const int type : {0, 1, 2, 3, 4, 5, 10, 12, 255}) {
    OpenStream stream = madeByHand(type);
    EXPECT_EQ(failureOf([&] { net_stream_get_size(stream.get(), list.get()); }), std::nullopt)
        << type;
    stream->type = 2;
  }
  EXPECT_EQ(bytesOf(list), before);
}

TEST_F(Sizes, AreNotThoseOfFilesThatSegmentsName) {
  const std::string named = directory / "named";
  writeFile(named, "data");
  writeFile(remoteList, "");
  for (const int type : {6, 7, 8, 9, 11}) {
    EXPECT_EQ(failure(type, SegmentList{{.id = "s1", .dataFile = named}}), notFound("s1", "1"))
        << type;
  }
}

TEST_F(Sizes, NeedTheListOfDirectoriesInAnyCase) {
  for (const int type : {7, 8}) {
    EXPECT_EQ(failure(type, SegmentList{{.id = "s1"}}), notInDepot(remoteList)) << type;
    EXPECT_EQ(failure(type, SegmentList(Segments{})), notInDepot(remoteList)) << type;
  }
  unsetenv("KRT_DATDIR");
  EXPECT_EQ(failure(7, SegmentList{{.id = "s1"}}), notInDepot("remote.dir"));
}

TEST_F(Sizes, MustAllBeFound) {
  putSegment(segments, "s1");
  writeFile(remoteList, segments + "\n");
  for (const int type : {7, 8, 9}) {
    const SegmentList list{{.id = "s1"}, {.id = "s2", .version = "3"}, {.id = "s4"}};
    EXPECT_EQ(failure(type, list), notFound("s2", "3")) << type;
    EXPECT_EQ(test::foundOf(list[0]), dataAt(segments + "/s1.dat", 4)) << "that was found before";
  }
}

TEST_F(Sizes, AreNeverFoundForATypeThatIsOnlyClosed) {
  putSegment(segments, "s1");
  EXPECT_EQ(failure(11, SegmentList{{.id = "s1"}}), notFound("s1", "1"));
  EXPECT_EQ(failure(11, SegmentList(Segments{})), std::nullopt);
}

TEST_F(Sizes, OfNoSegmentsAreNone) {
  writeFile(remoteList, "");
  for (const int type : {6, 7, 8, 9, 11}) {
    EXPECT_EQ(failure(type, SegmentList(Segments{})), std::nullopt) << type;
  }
}

TEST_F(Sizes, NeedIdAndVersion) {
  writeFile(remoteList, "");
  for (const int type : {6, 7, 8, 9, 11}) {
    for (const char *key : {SEGMENT_ID_KEY, SEGMENT_VERSION_KEY}) {
      const SegmentList list{{.id = "s1"}};
      properties_remove_and_destroy(&list[0], key);
      EXPECT_EQ(failure(type, list), test::missing(key)) << type;
    }
  }
}

TEST_F(Sizes, LeaveNothingBehind) {
  putSegment(segments, "s1");
  const long before = test::openDescriptors();
  const SegmentList good{{.id = "s1"}};
  const SegmentList bad{{.id = "s1"}, {.id = "s2"}};
  test::expectNothingLost([&] {
    for (const int type : {6, 7, 8, 9, 11}) {
      const OpenStream stream = newStream(type);
      fs::remove(remoteList);
      EXPECT_TRUE(failureOf([&] { net_stream_get_size(stream.get(), bad.get()); }));
      writeFile(remoteList, segments + "\n");
      EXPECT_TRUE(failureOf([&] { net_stream_get_size(stream.get(), bad.get()); }));
      failureOf([&] { net_stream_get_size(stream.get(), good.get()); });
    }
  });
  EXPECT_EQ(test::openDescriptors(), before);
}

TEST_F(MobileTotalsInAdvance, AreWrittenWhenEverythingHasArrived) {
  for (const int type : {2, 4}) {
    SCOPED_TRACE(type);
    save(type, SegmentList{{.id = "s1", .size = 1500, .offset = 1500},
                           {.id = "s2", .size = 2750, .offset = 2750},
                           {.id = "s3", .size = 0, .offset = 0}});
    expectTotals("4250\n");
    ASSERT_NE(stream->total_length, nullptr);
    EXPECT_EQ(stream->total_length->high, 4U);
    EXPECT_EQ(stream->total_length->low, 250U);
    EXPECT_NE(int64_length_equal(stream->total_length, stream->received_length), 0);
    EXPECT_NE(stream->total_length, stream->received_length);
    stream.reset();
    fs::remove(status);
  }
}

TEST_F(MobileTotalsInAdvance, AreWrittenForStreamsOverLocalFiles) {
  for (const int type : {6, 7, 8, 9, 10}) {
    save(type, SegmentList{{.id = "s1", .size = 12, .offset = 12, .dataFile = "/a"}});
    expectTotals("0012\n");
    stream.reset();
    fs::remove(status);
  }
}

TEST_F(MobileTotalsInAdvance, AreThoseOfTheFilesThatWereFound) {
  putSegment(segments, "s1", "twelve bytes");
  save(9, SegmentList{{.id = "s1", .size = 7, .offset = 7}});
  expectTotals("0012\n");
  EXPECT_EQ(stream->received_length->low, 7U);
}

TEST_F(MobileTotalsInAdvance, OfNoSegmentsAreZero) {
  save(4, SegmentList(Segments{}));
  expectTotals("0000\n");
}

TEST_F(MobileTotalsInAdvance, AreNotWrittenBefore) {
  const auto expectNoneWith = [this](int type, const SegmentList &list) {
    save(type, list);
    expectNone();
    stream.reset();
    fs::remove(status);
  };
  for (const int type : {2, 4}) {
    expectNoneWith(type, SegmentList{{.id = "s1", .size = 15, .offset = 15},
                                     {.id = "s2", .size = 27, .offset = 26}});
    expectNoneWith(type, SegmentList{{.id = "s1", .size = 15, .offset = 16}});
    expectNoneWith(type, SegmentList{{.id = "s1", .size = 15}});
  }
}

TEST_F(MobileTotalsInAdvance, AreNotWrittenForOtherStreams) {
  stream = opened(4, "d1,/a");
  net_stream_save_modified_toc(stream.get(), SegmentList{{.size = 15, .offset = 15}}.get());
  expectNone();
}

TEST_F(MobileTotalsInAdvance, NeedSizeAndOffset) {
  const auto failureWith = [this](const SegmentList &list) {
    stream = newStream(4, true);
    return failureOf([&] { net_stream_save_modified_toc(stream.get(), list.get()); });
  };
  EXPECT_EQ(failureWith(SegmentList{{.id = "s1"}}), test::missing("size"));
  EXPECT_EQ(failureWith(SegmentList{{.size = 0}}), test::missing("offset"));
  EXPECT_EQ(failureWith(SegmentList{{.size = 3, .offset = 3}, {.offset = 0}}),
            test::missing("size"));
  const SegmentList unnamed{{.size = 3, .offset = 3}};
  properties_remove_and_destroy(&unnamed[0], SEGMENT_ID_KEY);
  EXPECT_EQ(failureWith(unnamed), test::missing("id"));
}

TEST_F(MobileTotalsInAdvance, AreKeptThoughTheyCannotBeWritten) {
  fs::create_directories(status);
  save(4, SegmentList{{.size = 15, .offset = 15}});
  EXPECT_EQ(test::notices(log), Notices{test::failedSave(21, "d1")});
  const Properties &properties = *mstat_get_properties(stream->status);
  EXPECT_STREQ(properties_get_string(&properties, "t_len"), "0015\n");
  EXPECT_STREQ(properties_get_string(&properties, "c_len"), "0015\n");
}

TEST_F(MobileTotalsInAdvance, LeaveNothingBehind) {
  const SegmentList complete{{.size = 15, .offset = 15}};
  const SegmentList withoutSize{{.size = 15, .offset = 15}, {.id = "s2"}};
  test::expectNothingLost([&] {
    OpenStream own = newStream(4, true);
    own->total_length = int64_length_new();
    own->received_length = int64_length_new();
    net_stream_save_modified_toc(own.get(), complete.get());
    own = newStream(4, true);
    EXPECT_TRUE(failureOf([&] { net_stream_save_modified_toc(own.get(), withoutSize.get()); }));
  });
}
