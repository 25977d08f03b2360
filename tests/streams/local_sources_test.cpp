// Where streams over local files find them: in what segments name, in the directories of the file
// "remote.dir", and in the directory of the key.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>

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

// A data directory, with two directories of segments in it.
class LocalSources : public test::DataDirectoryTest {
protected:
  LocalSources() {
    fs::create_directory(first);
    fs::create_directory(second);
  }

  void listDirectories(const std::string &lines) const { writeFile(remoteList, lines); }

  // A stream whose key names the first directory. It has a source already.
  OpenStream newStream(int type) const {
    if (type == 5 || type == 11) {
      OpenStream stream = madeByHand(type == 5 ? 10 : type);
      stream->type = type;
      stream->source = test::newFileList("before");
      return stream;
    }
    return opened(type, "d1," + first, false, test::newFileList("before"));
  }

  // What a stream finds: the files that it will read, or why not.
  std::string taken(int type, const Segments &segments) {
    OpenStream stream = newStream(type);
    save(stream, SegmentList(segments));
    std::string files = test::filesLeft(stream);
    EXPECT_EQ(stream->type, type);
    if (type == 5) {
      stream->type = 10; // which can be closed
    }
    return files;
  }
  std::optional<Failure> failure(int type, const Segments &segments) const {
    const SegmentList list(segments);
    OpenStream stream = newStream(type);
    std::optional<Failure> result =
        failureOf([&] { net_stream_save_modified_toc(stream.get(), list.get()); });
    EXPECT_EQ(test::filesLeft(stream), "before");
    EXPECT_EQ(stream->segments->length, segments.size());
    if (type == 5) {
      stream->type = 10;
    }
    return result;
  }
  // Lets the test fail, and not the process.
  static void save(const OpenStream &stream, const SegmentList &segments) {
    EXPECT_EQ(failureOf([&] { net_stream_save_modified_toc(stream.get(), segments.get()); }),
              std::nullopt);
  }

  // The next piece; empty for an end.
  static std::string pieceOf(const OpenStream &stream) {
    unsigned char *buffer = nullptr;
    const int32_t count = net_stream_read(stream.get(), &buffer);
    std::string piece(buffer, buffer + count);
    net_stream_free_buffer(stream.get(), buffer);
    return piece;
  }

  const std::string first = directory / "first";
  const std::string second = directory / "second";
  const std::string remoteList = directory / "remote.dir";
  test::Log log;
};

using NamedFiles = LocalSources;
using RemoteDirectories = LocalSources;
using KeyDirectory = LocalSources;

} // namespace

TEST_F(NamedFiles, AreTheSourceOfEveryTypeOverFiles) {
  for (const int type : {5, 6, 7, 8, 9, 10}) {
    EXPECT_EQ(taken(type, {{.id = "s1", .dataFile = "/a"}}), "/a") << type;
    EXPECT_EQ(taken(type, {{.id = "s1", .dataFile = "/b"},
                           {.id = "s2", .dataFile = "/a"},
                           {.id = "s1", .dataFile = "/b"}}),
              "/b,/a,/b")
        << type;
  }
}

TEST_F(NamedFiles, AreWhereTheDataAre) {
  const OpenStream stream = newStream(10);
  save(stream, SegmentList{{.id = "s1", .size = 7, .dataFile = "/a"}});
  EXPECT_EQ(test::foundOf(stream->segments->buffer[0]), dataAt("/a", 7));
  const FileList &files = *static_cast<FileList *>(stream->source);
  EXPECT_EQ(files.cursor, files.list);
  EXPECT_EQ(files.current, nullptr);
}

TEST_F(NamedFiles, AreNeededWhereThereIsNoOtherSource) {
  for (const int type : {5, 10}) {
    EXPECT_EQ(failure(type, {{.id = "s1", .dataFile = "/a"}, {.id = "s2", .version = "7"}, {}}),
              notFound("s2", "7"))
        << type;
    EXPECT_EQ(failure(type, {{.id = "s1"}}), notFound("s1", "1")) << type;
  }
}

TEST_F(NamedFiles, NeedNoDirectories) {
  EXPECT_EQ(taken(7, {{.dataFile = "/a"}}), "/a") << "there is no list of them";
  unsetenv("KRT_DATDIR");
  EXPECT_EQ(taken(8, {{.dataFile = "/a"}}), "/a");
}

TEST_F(NamedFiles, ComeBeforeThoseThatAreSearched) {
  const std::string data = putSegment(first, "s1");
  putSegment(first, "s2");
  const Segments segments{{.id = "s1"}, {.id = "s2", .dataFile = "/named"}};
  EXPECT_EQ(taken(9, segments), "/named," + data);
  listDirectories(first + "\n");
  EXPECT_EQ(taken(7, segments), "/named," + data);
  EXPECT_EQ(taken(8, segments), "/named," + data);
}

TEST_F(NamedFiles, AreNothingToATypeThatIsOnlyClosed) {
  EXPECT_EQ(taken(11, {{.id = "s1", .dataFile = "/a"}, {.id = "s2"}}), "before");
  const OpenStream stream = newStream(11);
  save(stream, SegmentList{{.id = "s1", .dataFile = "/a"}});
  EXPECT_EQ(stream->segments->length, 1U);
  EXPECT_EQ(test::foundOf(stream->segments->buffer[0]), (Found{.dataFile = "/a"}));
}

TEST_F(NamedFiles, AreNotFoundWithACommaInTheirPath) {
  const std::string path = directory / "a,b";
  writeFile(path, "data");
  for (const int type : {5, 6, 9, 10}) {
    log.clear();
    EXPECT_EQ(failure(type, {{.id = "s0", .dataFile = "/a"}, {.id = "s1", .dataFile = path}}),
              notFound("s1", "1"))
        << type;
    EXPECT_EQ(test::notices(log), Notices{test::unreadable(path)});
  }
}

TEST_F(NamedFiles, AreSearchedInTheirDirectoryWhereThePathHasAComma) {
  const std::string data = putSegment(first, "s1");
  EXPECT_EQ(taken(9, {{.id = "s1", .dataFile = "/a,b"}}), data);
  EXPECT_EQ(test::notices(log), Notices{test::unreadable("/a,b")});
}

// Several streams over the same files, each with a long list that tells it where to go on.
TEST_F(NamedFiles, AreReadFromManyStreamsInTurn) {
  constexpr int count = 3000;
  constexpr int period = 100; // each of so many files has not arrived completely
  const std::string content = "0123456789";
  const auto openFrom = [&](int32_t offset) {
    Segments segments;
    segments.reserve(count);
    for (int i = 0; i < count; ++i) {
      segments.push_back({.id = std::to_string(i),
                          .size = 10,
                          .offset = i % period == 0 ? offset : 10,
                          .dataFile = directory / std::to_string(i)});
    }
    OpenStream stream = opened(10, "d1");
    save(stream, SegmentList(segments));
    return stream;
  };
  for (int i = 0; i < count; i += period) {
    writeFile(directory / std::to_string(i), content);
  }

  std::vector<int32_t> offsets{1, 2, 3, 4, 5, 6};
  std::vector<OpenStream> streams;
  streams.reserve(offsets.size());
  for (const int32_t offset : offsets) {
    streams.push_back(openFrom(offset));
  }
  for (int i = 0; i < count / period; ++i) {
    if (i == 10) { // one goes, and another comes in its place
      streams[2].reset();
      offsets[2] = 8;
      streams[2] = openFrom(offsets[2]);
    }
    for (size_t j = 0; j < streams.size(); ++j) {
      ASSERT_EQ(pieceOf(streams[j]), content.substr(static_cast<size_t>(offsets[j])));
      ASSERT_EQ(pieceOf(streams[j]), "");
    }
  }
}

TEST_F(NamedFiles, MustBeTexts) {
  for (const int type : {6, 7, 8, 9, 10}) {
    const SegmentList segments{{.id = "s1"}};
    properties_put_long_dup(&segments[0], SEGMENT_DAT_FILE_KEY, 7);
    const OpenStream stream = newStream(type);
    EXPECT_EQ(failureOf([&] { net_stream_save_modified_toc(stream.get(), segments.get()); }),
              test::wrongType("dat_file"))
        << type;
    EXPECT_EQ(test::filesLeft(stream), "before");
  }
}

TEST_F(LocalSources, OfNoSegmentsAreNoFiles) {
  for (const int type : {6, 7, 8, 9, 10}) {
    const OpenStream stream = opened(type, "d1");
    save(stream, SegmentList(Segments{}));
    unsigned char *buffer = nullptr;
    EXPECT_EQ(file_stream_read(stream.get(), &buffer), 0) << type;
    EXPECT_EQ(buffer, nullptr);
  }
}

TEST_F(RemoteDirectories, AreSearched) {
  const std::string data = putSegment(first, "s1");
  const std::string other = putSegment(second, "s2", "other data");
  const std::string inOrder = data + "," + other;
  listDirectories(first + "\n" + second + "\n");
  for (const int type : {7, 8}) {
    EXPECT_EQ(taken(type, {{.id = "s2"}, {.id = "s1"}}), inOrder)
        << type << ": in the order in which they are found";
    const OpenStream stream = newStream(type);
    save(stream, SegmentList{{.id = "s2"}, {.id = "s1"}});
    EXPECT_EQ(test::foundOf(stream->segments->buffer[0]), dataAt(other, 10));
    EXPECT_EQ(test::foundOf(stream->segments->buffer[1]), dataAt(data, 4));
  }
  EXPECT_EQ(test::notices(log), Notices{});
}

TEST_F(RemoteDirectories, AreListedInTheDataDirectory) {
  for (const int type : {7, 8}) {
    EXPECT_EQ(failure(type, {{.id = "s1"}}), notInDepot(remoteList)) << type;
    setenv("KRT_DATDIR", (directory / "missing").c_str(), 1);
    EXPECT_EQ(failure(type, {{.id = "s1"}}), notInDepot(directory / "missing/remote.dir")) << type;
    unsetenv("KRT_DATDIR");
    EXPECT_EQ(failure(type, {{.id = "s1"}}), notInDepot("remote.dir")) << type;
    setenv("KRT_DATDIR", directory.path().c_str(), 1);
  }
}

TEST_F(RemoteDirectories, AreListedInAFile) {
  fs::create_directory(remoteList);
  EXPECT_EQ(failure(7, {{.id = "s1"}}), notInDepot(remoteList));
  fs::remove(remoteList);
  ASSERT_EQ(mkfifo(remoteList.c_str(), 0600), 0);
  EXPECT_EQ(failure(8, {{.id = "s1"}}), notInDepot(remoteList));
  fs::remove(remoteList);
  fs::create_symlink("nowhere", remoteList);
  EXPECT_EQ(failure(7, {{.id = "s1"}}), notInDepot(remoteList));
  fs::remove(remoteList);

  const std::string data = putSegment(first, "s1");
  writeFile(directory / "list", first + "\n");
  fs::create_symlink("list", remoteList);
  EXPECT_EQ(taken(7, {{.id = "s1"}}), data);
}

TEST_F(RemoteDirectories, MustHaveWhatIsWanted) {
  putSegment(first, "s1");
  listDirectories(first + "\n");
  for (const int type : {7, 8}) {
    EXPECT_EQ(failure(type, {{.id = "s1"}, {.id = "s2"}, {.id = "s3"}}), notFound("s2", "1"))
        << type;
  }
  listDirectories("");
  EXPECT_EQ(failure(7, {{.id = "s1", .version = "x"}}), notFound("s1", "x"));
}

TEST_F(RemoteDirectories, AreNotForOtherTypes) {
  putSegment(second, "s1");
  listDirectories(second + "\n");
  for (const int type : {5, 6, 9, 10}) {
    EXPECT_EQ(failure(type, {{.id = "s1"}}), notFound("s1", "1")) << type;
  }
  EXPECT_EQ(taken(11, {{.id = "s1"}}), "before");
}

TEST_F(RemoteDirectories, AreTheLinesThatAreNoComments) {
  putSegment(first, "s1");
  const std::string expected = putSegment(second, "s1");
  for (const std::string &lines :
       {"#" + first + "\n" + second + "\n", "# comment\n" + second, second, second + "\r\n",
        second + "\r", "\n\n" + second + "\n", "\r\n" + second + "\n", "#\n#\n" + second + "/\n",
        (directory / "missing\n") + remoteList + "\n" + second + "\n",
        " #" + first + "\n" + second + "\n", " " + first + "\n" + second + "\n",
        first + " \n" + second + "\n", first + "\rx\n" + second + "\n",
        std::string("a\0b\n", 4) + second + "\n"}) {
    listDirectories(lines);
    EXPECT_EQ(taken(7, {{.id = "s1"}}), expected) << lines;
  }
  EXPECT_EQ(test::notices(log), Notices{});
}

TEST_F(RemoteDirectories, AreNotCutOutOfLongLines) {
  putSegment(first, "s1");
  const std::string expected = putSegment(second, "s1");
  for (const size_t length : {size_t{4096}, size_t{4097}, size_t{5000}, size_t{100000}}) {
    SCOPED_TRACE(length);
    listDirectories(test::stretched("", first, length) + "\n" + second + "\n");
    log.clear();
    EXPECT_EQ(taken(7, {{.id = "s1"}}), expected);
    EXPECT_EQ(test::notices(log).size(), 1U);
    listDirectories(second + "\n" + std::string(length, 'x'));
    EXPECT_EQ(taken(7, {{.id = "s1"}}), expected);
  }
  // So long that what is left of it is a directory, whatever pieces it is read in.
  listDirectories(std::string(4095, 'x') + first + "\n");
  EXPECT_EQ(failure(7, {{.id = "s1"}}), notFound("s1", "1"));
  listDirectories(std::string(4095, 'x') + "\n" + second + "\n");
  log.clear();
  EXPECT_EQ(taken(7, {{.id = "s1"}}), expected);
  EXPECT_EQ(test::notices(log), Notices{});
}

TEST_F(RemoteDirectories, AreSearchedInTheirOrderUntilAllIsFound) {
  const std::string data = putSegment(first, "s1");
  const std::string other = putSegment(second, "s2");
  putSegment(second, "s1");
  fs::create_directory(directory / "third");
  writeFile(directory / "third/damaged.toc", "no list");
  listDirectories(first + "\n" + second + "\n" + (directory / "third") + "\n");
  EXPECT_EQ(taken(7, {{.id = "s1"}, {.id = "s2"}}), data + "," + other);
  EXPECT_EQ(taken(8, {{.id = "s1"}}), data);
  EXPECT_EQ(test::notices(log), Notices{}) << "the third is not looked at";
  EXPECT_EQ(failure(7, {{.id = "s3"}}), notFound("s3", "1"));
  EXPECT_EQ(test::noticesAbout(log, "damaged.toc"), 1U);
}

TEST_F(RemoteDirectories, MaySupplyAnotherPlaceInALaterFile) {
  test::saveSegment(first + "/a.toc", {.id = "s1", .location = "missing"});
  test::saveSegment(second + "/a.itc", {.id = "s1", .location = "there"});
  writeFile(second + "/there", "data");
  listDirectories(first + "\n" + second + "\n");
  EXPECT_EQ(taken(7, {{.id = "s1"}}), second + "/there");
}

TEST_F(KeyDirectory, IsSearched) {
  const std::string data = putSegment(first, "s1");
  EXPECT_EQ(taken(9, {{.id = "s1"}, {.id = "s1"}}), data + "," + data);
  const OpenStream stream = opened(9, "d1," + first + "/", true);
  save(stream, SegmentList{{.id = "s1", .size = 9, .offset = 0}});
  EXPECT_EQ(test::filesLeft(stream), data);
  EXPECT_EQ(test::foundOf(stream->segments->buffer[0]), dataAt(data, 4));
}

TEST_F(KeyDirectory, MustHaveWhatIsWanted) {
  putSegment(first, "s1");
  EXPECT_EQ(failure(9, {{.id = "s1"}, {.id = "s2", .version = "2"}}), notFound("s2", "2"));
}

TEST_F(KeyDirectory, SuppliesNoFileWithACommaInItsPath) {
  const std::string withComma = directory / "a,b";
  fs::create_directory(withComma);
  const std::string data = putSegment(withComma, "s1");
  const SegmentList segments{{.id = "s1"}};
  const OpenStream stream = opened(9, "d1," + withComma);
  EXPECT_EQ(failureOf([&] { net_stream_save_modified_toc(stream.get(), segments.get()); }),
            notFound("s1", "1"));
  EXPECT_EQ(stream->source, nullptr);
  EXPECT_EQ(test::foundOf(stream->segments->buffer[0]), Found{});
  EXPECT_EQ(test::notices(log), Notices{test::unreadable(data)});
}

TEST_F(KeyDirectory, IsNeeded) {
  const SegmentList segments{{.id = "s1"}};
  for (const char *texts : {"d1", "d1,", "d1,/missing"}) {
    const OpenStream stream = opened(9, texts);
    EXPECT_EQ(failureOf([&] { net_stream_save_modified_toc(stream.get(), segments.get()); }),
              notFound("s1", "1"))
        << texts;
    EXPECT_EQ(failureOf([&] { net_stream_get_size(stream.get(), segments.get()); }),
              notFound("s1", "1"));
  }
}

TEST_F(KeyDirectory, IsNotForOtherTypes) {
  putSegment(first, "s1");
  listDirectories("");
  for (const int type : {5, 6, 7, 8, 10}) {
    EXPECT_EQ(failure(type, {{.id = "s1"}}), notFound("s1", "1")) << type;
  }
}

TEST_F(LocalSources, TakeThePlaceOfTheSourceBefore) {
  putSegment(first, "s1");
  const std::string open = directory / "open";
  writeFile(open, "data");
  const SegmentList segments{{.id = "s1"}};
  const long before = test::openDescriptors();
  test::expectNothingLost([&] {
    const OpenStream stream = newStream(9);
    static_cast<FileList *>(stream->source)->current = file_open(open.c_str(), 0);
    net_stream_save_modified_toc(stream.get(), segments.get());
  });
  EXPECT_EQ(test::openDescriptors(), before);
}

TEST_F(LocalSources, MayBeLookedForAgain) {
  const SegmentList segments{{.id = "s1"}};
  const OpenStream stream = newStream(9);
  EXPECT_EQ(failureOf([&] { net_stream_save_modified_toc(stream.get(), segments.get()); }),
            notFound("s1", "1"));
  const std::string data = putSegment(first, "s1");
  save(stream, segments);
  EXPECT_EQ(test::filesLeft(stream), data);
  test::expectNothingLost([&] { net_stream_save_modified_toc(stream.get(), segments.get()); });
  EXPECT_EQ(test::filesLeft(stream), data);
}

TEST_F(LocalSources, LeaveNothingWhereTheyFail) {
  putSegment(first, "s1");
  listDirectories(first + "\n" + second + "\n");
  const SegmentList segments{{.id = "s0", .dataFile = "/a"}, {.id = "s1"}, {.id = "s2"}};
  const SegmentList wrong{{.id = "s1", .dataFile = "/a"}, {.id = "s2"}};
  properties_put_long_dup(&wrong[1], SEGMENT_DAT_FILE_KEY, 7);
  const long before = test::openDescriptors();
  test::expectNothingLost([&] {
    for (const int type : {6, 7, 8, 9, 10}) {
      for (const SegmentList *list : {&segments, &wrong}) {
        const OpenStream stream = newStream(type);
        EXPECT_TRUE(failureOf([&] { net_stream_save_modified_toc(stream.get(), list->get()); }));
      }
    }
    unsetenv("KRT_DATDIR");
    const OpenStream stream = newStream(7);
    EXPECT_TRUE(failureOf([&] { net_stream_save_modified_toc(stream.get(), segments.get()); }));
    setenv("KRT_DATDIR", directory.path().c_str(), 1);
    log.clear();
  });
  EXPECT_EQ(test::openDescriptors(), before);
}
