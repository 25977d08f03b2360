// Streams over files: which files are read, from where, in which pieces, and what ends them.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/streams.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "support/heap.h"
#include "support/streams.h"
#include "support/temporary_directory.h"

using test::cannotOpen;
using test::cannotRead;
using test::Description;
using test::Failure;
using test::failureOf;
using test::openDescriptors;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;
using Pieces = std::vector<std::string>;

constexpr size_t pieceSize = 16384;

// Bytes that repeat late, others for each seed.
std::string contentOf(size_t size, size_t seed = 0) {
  std::string content(size, '\0');
  for (size_t i = 0; i < size; ++i) {
    content[i] = static_cast<char>(i * 7 + i / 251 + i / 65521 + seed * 31);
  }
  return content;
}

// A file's content as it is read: pieces, and what ends it.
Pieces piecesOf(const std::string &content, size_t size = pieceSize) {
  Pieces pieces;
  for (size_t i = 0; i < content.size(); i += size) {
    pieces.push_back(content.substr(i, size));
  }
  pieces.emplace_back();
  return pieces;
}

Failure wrongType(const std::string &key) {
  return {37, "The wrong property type was specified for the key %1$s.\n", {key}};
}

class FileStream : public test::DirectoryTest {
protected:
  FileStream() { sprig_init(); }

  std::string at(const std::string &name) const { return directory / name; }

  // A stream over files of the directory, in this order.
  void open(const Names &names) {
    std::string text = "d1";
    for (const std::string &name : names) {
      text += "," + at(name);
    }
    stream.reset(file_stream_open(text.c_str()));
  }

  void list(const std::vector<Description> &segments) const { replaceList(test::listOf(segments)); }
  void replaceList(PropertiesList *segments) const {
    properties_list_delete(stream->segments);
    mg_free(stream->segments);
    stream->segments = segments;
  }
  void add(const Description &segment) const { test::addTo(stream->segments, segment); }
  Properties &segment(size_t index) const { return stream->segments->buffer[index]; }

  // A file and its segment, in a stream over it.
  void openOver(const std::string &content, int32_t offset = 0) {
    writeFile(at("f"), content);
    open({"f"});
    list({{at("f"), static_cast<int32_t>(content.size()), offset}});
  }

  // The next piece; empty for an end.
  std::string read() const {
    soilHeap();
    unsigned char unchanged = 0;
    unsigned char *buffer = &unchanged;
    const int32_t count = file_stream_read(stream.get(), &buffer);
    return taken(count, buffer);
  }
  Pieces read(size_t times) const {
    Pieces pieces(times);
    std::generate(pieces.begin(), pieces.end(), [this] { return read(); });
    return pieces;
  }
  Failure failure() const {
    unsigned char *buffer = nullptr;
    return failureOf([&] { file_stream_read(stream.get(), &buffer); }).value_or(Failure{});
  }

  // Nothing more comes, ever.
  void expectEnded() const {
    EXPECT_EQ(read(3), Pieces(3));
    EXPECT_EQ(test::filesOf(stream).cursor, nullptr);
    EXPECT_EQ(test::filesOf(stream).current, nullptr);
  }

  test::Stream stream;

private:
  // So that what is not made zero shows.
  void soilHeap() const {
    const auto size = static_cast<size_t>(stream->read_size);
    void *block = mg_malloc(size);
    std::memset(block, 0xa5, size);
    mg_free(block);
  }

  std::string taken(int32_t count, unsigned char *buffer) const {
    if (count == 0) {
      EXPECT_EQ(buffer, nullptr);
      return {};
    }
    EXPECT_GT(count, 0);
    const std::string block(reinterpret_cast<char *>(buffer),
                            static_cast<size_t>(stream->read_size));
    mg_free(buffer);
    EXPECT_EQ(block.find_first_not_of('\0', static_cast<size_t>(count)), std::string::npos);
    return block.substr(0, static_cast<size_t>(count));
  }
};

using FileStreamLookup = FileStream;
using FileStreamFailure = FileStream;
using FileStreamSegments = FileStream;

} // namespace

TEST_F(FileStream, IsOpenedOverItsList) {
  stream.reset(file_stream_open("d1,/a,/b"));
  EXPECT_EQ(stream->type, 4);
  EXPECT_EQ(stream->read_size, 16384);
  EXPECT_STREQ(stream->distribution_id, "d1");
  const FileList &files = test::filesOf(stream);
  EXPECT_EQ(stream->distribution_id, files.list);
  EXPECT_STREQ(files.cursor, "/a,/b");
  EXPECT_EQ(files.current, nullptr);
}

TEST_F(FileStream, IsOpenedWithNothingElse) {
  open({"f"});
  NetStream rest = *stream;
  rest.type = rest.read_size = rest.timeout = 0;
  rest.source = nullptr;
  rest.distribution_id = nullptr;
  const auto *const bytes = reinterpret_cast<const char *>(&rest);
  EXPECT_EQ(std::string(bytes, sizeof rest), std::string(sizeof rest, '\0'));
}

TEST_F(FileStream, HasACopyOfItsText) {
  std::string text = "d1,/a";
  stream.reset(file_stream_open(text.c_str()));
  text = "xxxxx";
  EXPECT_STREQ(stream->distribution_id, "d1");
  EXPECT_STREQ(test::filesOf(stream).cursor, "/a");
}

TEST_F(FileStream, MayHaveNoFiles) {
  open({});
  EXPECT_STREQ(stream->distribution_id, "d1");
  expectEnded();
  stream.reset(file_stream_open(""));
  EXPECT_STREQ(stream->distribution_id, "");
  expectEnded();
}

TEST_F(FileStream, ReadsPieces) {
  for (const size_t size :
       {size_t{1}, pieceSize - 1, pieceSize, pieceSize + 1, 2 * pieceSize - 1, 2 * pieceSize,
        2 * pieceSize + 1, size_t{5} << 20, (size_t{3} << 20) + 12345}) {
    SCOPED_TRACE(size);
    const std::string content = contentOf(size);
    openOver(content);
    const Pieces expected = piecesOf(content);
    EXPECT_TRUE(read(expected.size()) == expected);
    expectEnded();
  }
}

TEST_F(FileStream, ReadsPiecesOfItsReadSize) {
  const std::string content = contentOf(1000);
  for (const int32_t size : {1, 7, 999, 1000, 1001}) {
    openOver(content);
    stream->read_size = size;
    const Pieces expected = piecesOf(content, static_cast<size_t>(size));
    EXPECT_TRUE(read(expected.size()) == expected) << size;
  }
}

TEST_F(FileStream, ReadsFilesInTheOrderOfTheirNames) {
  writeFile(at("a"), "first");
  writeFile(at("b"), "second");
  writeFile(at("c"), "third");
  open({"c", "a", "b"});
  list({{at("a"), 5}, {at("b"), 6}, {at("c"), 5}});
  EXPECT_EQ(read(6), (Pieces{"third", "", "first", "", "second", ""}));
  expectEnded();
}

TEST_F(FileStream, ResumesAtTheOffset) {
  const std::string content = contentOf(40000);
  for (const size_t offset : {1UL, 1000UL, 16383UL, 16384UL, 16385UL, 39999UL}) {
    openOver(content, static_cast<int32_t>(offset));
    const Pieces expected = piecesOf(content.substr(offset));
    EXPECT_TRUE(read(expected.size()) == expected) << offset;
    expectEnded();
  }
}

TEST_F(FileStream, PassesOverWhatIsComplete) {
  writeFile(at("a"), "first");
  writeFile(at("c"), "third");
  open({"a", "b", "c", "d"});
  list({{at("a"), 5, 5}, {at("b"), 6, 7}, {at("c"), 5}, {at("d"), 1, 1}});
  EXPECT_EQ(read(2), (Pieces{"third", ""})) << "b and d are not even there";
  expectEnded();
}

TEST_F(FileStream, PassesOverWhatHasNoSize) {
  writeFile(at("a"), "first");
  writeFile(at("b"), "second");
  writeFile(at("c"), "third");
  open({"a", "b", "c", "missing"});
  list({{at("a")}, {at("b"), 0}, {at("c"), 5}, {at("missing"), -1, 0}});
  EXPECT_EQ(read(2), (Pieces{"third", ""}));
  expectEnded();
}

TEST_F(FileStream, OpensWhatIsEmptyAndShouldNotBe) {
  writeFile(at("f"), "");
  writeFile(at("g"), "content");
  open({"f", "g"});
  list({{at("f"), 1}, {at("g"), 7}});
  EXPECT_EQ(read(3), (Pieces{"", "content", ""}));
  expectEnded();
}

TEST_F(FileStream, EndsEarlyWhereAFileIsShorterThanItsSegment) {
  const std::string content = contentOf(40000);
  openOver(content);
  EXPECT_TRUE(read() == content.substr(0, pieceSize));
  fs::resize_file(at("f"), 20000);
  EXPECT_TRUE(read() == content.substr(pieceSize, 20000 - pieceSize));
  EXPECT_EQ(read(), "");
  expectEnded();
  open({"f"});
  list({{at("f"), 40000, 30000}});
  EXPECT_EQ(read(), "");
  expectEnded();
}

TEST_F(FileStream, ReadsALongerFileToItsEnd) {
  const std::string content = contentOf(40000);
  openOver(content);
  list({{at("f"), 1}});
  const Pieces expected = piecesOf(content);
  EXPECT_TRUE(read(expected.size()) == expected);
  expectEnded();
}

TEST_F(FileStream, KeepsAFileOpenUntilItsEndIsMet) {
  const long before = openDescriptors();
  openOver("content");
  EXPECT_EQ(read(), "content");
  EXPECT_EQ(openDescriptors(), before + 1);
  EXPECT_EQ(test::filesOf(stream).current->path, at("f"));
  EXPECT_EQ(read(), "");
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_EQ(test::filesOf(stream).current, nullptr);
}

TEST_F(FileStream, RecordsNoProgress) {
  openOver("content", 2);
  const test::Bytes before = test::encoded(TC_NEX_Sprig2_PropertiesList, stream->segments);
  EXPECT_EQ(read(2), (Pieces{"ntent", ""}));
  EXPECT_EQ(test::encoded(TC_NEX_Sprig2_PropertiesList, stream->segments), before);
  EXPECT_EQ(stream->unsaved, 0);
  EXPECT_EQ(stream->started, 0);
}

TEST_F(FileStream, LeavesNothingBehind) {
  test::expectNothingLost([&] {
    openOver(contentOf(20000));
    EXPECT_EQ(read(3).back(), "");
    openOver(contentOf(20000));
    read();
    stream.reset();
  });
}

TEST_F(FileStreamLookup, EndsAtANameThatIsNotListed) {
  writeFile(at("a"), "first");
  writeFile(at("x"), "content");
  writeFile(at("b"), "second");
  open({"a", "x", "b"});
  list({{at("a"), 5}, {at("b"), 6}});
  EXPECT_EQ(read(3), (Pieces{"first", "", ""}));
  expectEnded();
}

TEST_F(FileStreamLookup, EndsThereAlsoBehindACompleteFile) {
  writeFile(at("x"), "content");
  writeFile(at("b"), "second");
  open({"a", "x", "b"});
  list({{at("a"), 5, 5}, {at("b"), 6}});
  expectEnded();
}

TEST_F(FileStreamLookup, FindsNothingWithoutSegments) {
  openOver("content");
  open({"f"});
  expectEnded();
  open({"f"});
  list({});
  expectEnded();
}

TEST_F(FileStreamLookup, StaysEndedWhenTheNameIsListedLater) {
  openOver("content");
  open({"f", "f"});
  list({});
  EXPECT_EQ(read(), "");
  add({at("f"), 7});
  expectEnded();
}

TEST_F(FileStreamLookup, ComparesNamesByteByByte) {
  writeFile(at("f"), "content");
  for (const char *other : {"F", "f ", " f", "./f", "/f", "f/", "", "ff"}) {
    open({"f"});
    list({{at(other), 7}, {"f", 7}});
    EXPECT_EQ(read(), "") << other;
  }
}

TEST_F(FileStreamLookup, EndsAtAnEmptyName) {
  writeFile(at("f"), "content");
  stream.reset(file_stream_open(("d1,," + at("f")).c_str()));
  list({{at("f"), 7}});
  expectEnded();
}

TEST_F(FileStreamLookup, PassesOverSegmentsWithoutAPath) {
  writeFile(at("f"), "content");
  open({"f"});
  list({{std::nullopt, 7}, {}, {at("f"), 7, 2}, {std::nullopt, 7, 7}});
  EXPECT_EQ(read(2), (Pieces{"ntent", ""}));
}

TEST_F(FileStreamLookup, TakesTheFirstOfSeveralSegments) {
  writeFile(at("f"), "content");
  writeFile(at("g"), "another");
  open({"f", "g"});
  list({{at("f"), 7, 4}, {at("g"), 7, 7}, {at("f"), 7, 1}, {at("g"), 7, 0}});
  EXPECT_EQ(read(2), (Pieces{"ent", ""}));
  expectEnded();
}

TEST_F(FileStreamFailure, ThrowsForAFileThatIsMissing) {
  writeFile(at("b"), "second");
  open({"a", "b"});
  list({{at("a"), 5}, {at("b"), 6}});
  EXPECT_EQ(failure(), cannotOpen(at("a")));
  EXPECT_EQ(test::filesOf(stream).current, nullptr);
  EXPECT_EQ(read(2), (Pieces{"second", ""})) << "the next file is still read";
  expectEnded();
  stream.reset(file_stream_open("d1,"));
  list({{"", 5}});
  EXPECT_EQ(failure(), cannotOpen(""));
}

TEST_F(FileStreamFailure, ThrowsForADirectoryInPlaceOfAFile) {
  fs::create_directory(at("f"));
  open({"f"});
  list({{at("f"), 5}});
  const long before = openDescriptors();
  EXPECT_EQ(failure(), cannotRead(at("f"), pieceSize, EISDIR));
  EXPECT_EQ(failure(), cannotRead(at("f"), pieceSize, EISDIR)) << "it is still the current one";
  stream.reset();
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(FileStreamFailure, ThrowsForAnOffsetThatNoFileHas) {
  const long before = openDescriptors();
  openOver("content", -1);
  EXPECT_EQ(failure(), (Failure{23,
                                "A seek operation failed on the file %1$s. The error code is "
                                "errno=%2$d.\n",
                                {at("f"), std::to_string(EINVAL)}}));
  stream.reset();
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(FileStreamFailure, ThrowsForANameOfAnotherType) {
  writeFile(at("f"), "content");
  open({"f", "f"});
  list({{}, {at("f"), 7}});
  properties_put_long_dup(&segment(0), SEGMENT_DATA_PATH_KEY, 7);
  EXPECT_EQ(failure(), wrongType("data_path"));
  properties_remove_and_destroy(&segment(0), SEGMENT_DATA_PATH_KEY);
  EXPECT_EQ(read(2), (Pieces{"content", ""})) << "the next name is still read";
}

TEST_F(FileStreamFailure, LooksAtNoSegmentsBehindTheOneThatItTakes) {
  writeFile(at("f"), "content");
  open({"f"});
  list({{at("f"), 7}, {}, {at("f")}});
  properties_put_long_dup(&segment(1), SEGMENT_DATA_PATH_KEY, 7);
  properties_put_string_dup(&segment(2), SEGMENT_SIZE_KEY, "7");
  EXPECT_EQ(read(2), (Pieces{"content", ""}));
}

TEST_F(FileStreamFailure, ThrowsForASizeOrAnOffsetOfAnotherType) {
  writeFile(at("f"), "content");
  for (const char *key : {SEGMENT_SIZE_KEY, SEGMENT_OFFSET_KEY}) {
    open({"f", "g"});
    list({{at("f"), 7, 2}, {at("g"), 7, 7}});
    properties_put_string_dup(&segment(0), key, "7");
    EXPECT_EQ(failure(), wrongType(key));
    expectEnded();
  }
}

TEST_F(FileStreamFailure, LooksAtSizeAndOffsetOfTheSegmentItTakesOnly) {
  writeFile(at("f"), "content");
  open({"f"});
  list({{at("other"), 7}, {std::nullopt, 7}, {at("f"), 7}});
  properties_put_string_dup(&segment(0), SEGMENT_SIZE_KEY, "7");
  properties_put_string_dup(&segment(1), SEGMENT_OFFSET_KEY, "7");
  EXPECT_EQ(read(2), (Pieces{"content", ""}));
}

TEST_F(FileStreamFailure, LeavesNothingBehind) {
  fs::create_directory(at("d"));
  writeFile(at("f"), "content");
  const long before = openDescriptors();
  test::expectNothingLost([&] {
    open({"missing", "f", "f", "d"});
    list({{at("missing"), 5}, {at("f"), 7}, {at("d"), 5}});
    EXPECT_EQ(failure().id, 11);
    properties_put_string_dup(&segment(1), SEGMENT_OFFSET_KEY, "7");
    EXPECT_EQ(failure().id, 37);
    properties_put_long_dup(&segment(1), SEGMENT_OFFSET_KEY, -1);
    EXPECT_EQ(failure().id, 23);
    stream.reset();
    open({"d"});
    list({{at("d"), 5}});
    EXPECT_EQ(failure().id, 19);
    stream.reset();
  });
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(FileStreamSegments, MayStandInAnyOrder) {
  constexpr size_t count = 1100;
  std::mt19937 random(11);
  Names names;
  std::vector<Description> segments;
  for (size_t i = 0; i < count; ++i) {
    names.push_back("file" + std::to_string(i));
    writeFile(at(names.back()), names.back());
    segments.push_back({at(names.back()), static_cast<int32_t>(names.back().size()), 4});
  }
  open(names);
  std::shuffle(segments.begin(), segments.end(), random);
  list(segments);
  for (const std::string &name : names) {
    ASSERT_EQ(read(2), (Pieces{name.substr(4), ""}));
  }
  expectEnded();
}

TEST_F(FileStreamSegments, MayBeCompleteButForAFew) {
  constexpr size_t count = 20000;
  Names names;
  std::vector<Description> segments;
  for (size_t i = 0; i < count; ++i) {
    names.push_back("file" + std::to_string(i));
    const bool isWanted = i % 6000 == 5000;
    if (isWanted) {
      writeFile(at(names.back()), names.back());
    }
    segments.push_back({at(names.back()), 9, isWanted ? 0 : 9});
  }
  open(names);
  std::reverse(segments.begin(), segments.end());
  list(segments);
  EXPECT_EQ(read(6), (Pieces{"file5000", "", "file11000", "", "file17000", ""}));
  expectEnded();
}

TEST_F(FileStreamSegments, MayGetOffsetsAndSizesBetweenCalls) {
  writeFile(at("a"), "first");
  writeFile(at("b"), "second");
  open({"a", "missing", "b", "a"});
  list({{at("b")}, {at("missing"), 7}, {at("a"), 5}});
  EXPECT_EQ(read(), "first");
  properties_put_long_dup(&segment(2), SEGMENT_OFFSET_KEY, 5);
  EXPECT_EQ(read(), "");
  properties_put_long_dup(&segment(1), SEGMENT_OFFSET_KEY, 7);
  properties_put_long_dup(&segment(0), SEGMENT_SIZE_KEY, 6);
  properties_put_long_dup(&segment(0), SEGMENT_OFFSET_KEY, 3);
  for (int i = 0; i < 20; ++i) {
    properties_put_long_dup(&segment(0), std::to_string(i).c_str(), i);
  }
  EXPECT_EQ(read(), "ond");
  properties_put_long_dup(&segment(2), SEGMENT_SIZE_KEY, 6);
  fs::resize_file(at("a"), 8);
  EXPECT_EQ(read(2), (Pieces{"", std::string(3, '\0')}));
}

TEST_F(FileStreamSegments, MayMoveBetweenCalls) {
  Names names;
  std::vector<Description> segments;
  for (size_t i = 0; i < 50; ++i) {
    names.push_back("file" + std::to_string(i));
    writeFile(at(names.back()), names.back());
    segments.push_back({at(names.back()), 7});
  }
  open(names);
  list(segments);
  for (const std::string &name : names) {
    replaceList(properties_list_clone(stream->segments));
    add({std::nullopt, 7}); // the list is moved, and its names with it
    ASSERT_EQ(read(2), (Pieces{name, ""}));
  }
  expectEnded();
}

TEST_F(FileStreamSegments, OfAStreamBeforeDoNotCount) {
  writeFile(at("f"), "content");
  for (const size_t first : {100, 50, 100, 20}) { // in memory that was just given back
    std::vector<Description> segments(101, {at("g"), 7});
    segments[100] = {at("f"), 7, 1};
    segments[first].path = at("f");
    stream.reset();
    open({"f"});
    list(segments);
    EXPECT_EQ(read(2), (Pieces{first == 100 ? "ontent" : "content", ""})) << first;
  }
}

TEST_F(FileStreamSegments, AreFoundAsInAPlainWalk) {
  for (int i = 0; i < 20; ++i) {
    writeFile(at("file" + std::to_string(i)), "0123456789");
  }
  for (uint32_t seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::vector<Description> segments;
    std::map<std::string, int32_t> offsets; // of the first segment with a name
    for (size_t i = random() % 60; i > 0; --i) {
      const std::string name = "file" + std::to_string(random() % 20);
      const auto offset = static_cast<int32_t>(random() % 11);
      const bool isNamed = random() % 4 != 0;
      segments.push_back({isNamed ? std::optional(at(name)) : std::nullopt, 10, offset});
      if (isNamed) {
        offsets.try_emplace(name, offset);
      }
    }
    Names names;
    Pieces expected;
    bool isEnded = false;
    for (size_t i = random() % 20; i > 0; --i) {
      names.push_back("file" + std::to_string(random() % 20));
      const auto found = offsets.find(names.back());
      isEnded = isEnded || found == offsets.end();
      if (!isEnded && found->second < 10) {
        expected.push_back(std::string("0123456789").substr(static_cast<size_t>(found->second)));
        expected.emplace_back();
      }
    }
    open(names);
    list(segments);
    EXPECT_EQ(read(expected.size()), expected);
    expectEnded();
  }
}
