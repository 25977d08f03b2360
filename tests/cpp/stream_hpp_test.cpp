// Streams for C++.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/runtime.h>
#include <sprig/sprig.hpp>

#include "cpp/fixture.h"
#include "records/status.h"
#include "support/channel.h"
#include "support/depot.h"
#include "support/log.h"
#include "support/streams.h"
#include "support/temporary_directory.h"

using namespace std::string_literals;
using sprig::Command;
using sprig::Endpoint;
using sprig::Layout;
using sprig::Octets;
using sprig::Piece;
using sprig::PropertyList;
using sprig::Refused;
using sprig::Status;
using sprig::Stream;
using sprig::StreamType;
using sprig::TableOfContents;
using test::failure;
using test::Strings;

namespace {

namespace fs = std::filesystem;

constexpr size_t pieceSize = 16384;

std::string dataFrame(const std::string &bytes) {
  return test::frameOf(RUNTIME_MESSAGE_DATA, "\1" + bytes);
}
std::string commandFrame(char command) {
  return test::frameOf(RUNTIME_MESSAGE_DATA, std::string(1, command));
}
std::string endFrame() { return test::frameOf(RUNTIME_MESSAGE_END, ""); }
std::string answerFrame(RuntimeMessageType type, int32_t status) {
  return test::frameOf(RUNTIME_MESSAGE_REPLY,
                       test::bigEndian(type) + test::bigEndian(static_cast<uint32_t>(status)));
}
constexpr size_t startFrameSize = 52;

sprig::Segment segmentOf(const std::string &id, size_t size, const std::string &path = {}) {
  sprig::Segment segment(id, "1");
  segment.set_size(size);
  segment.set_offset(0);
  if (!path.empty()) {
    segment.description().put(SEGMENT_DATA_PATH_KEY, path);
  }
  return segment;
}

TableOfContents tableOf(std::initializer_list<sprig::Segment> segments) {
  TableOfContents table;
  for (const sprig::Segment &segment : segments) {
    table.push_back(segment);
  }
  return table;
}

const char *show(Piece::Kind kind) {
  switch (kind) {
  case Piece::Kind::data:
    return "data";
  case Piece::Kind::end_of_file:
    return "(file)";
  case Piece::Kind::end:
    return "(end)";
  default:
    return "(command)";
  }
}

// What reads give up to the end of the stream or a command.
Strings piecesOf(Stream &stream) {
  Strings pieces;
  for (;;) {
    const Piece piece = stream.read();
    pieces.emplace_back(piece.is_data() ? std::string(piece.bytes()) : show(piece.kind()));
    if (piece.kind() == Piece::Kind::end || piece.kind() == Piece::Kind::command) {
      return pieces;
    }
  }
}

using CppStreamKey = test::CppFace;

// With a channel, and a directory that is the work directory, too.
class CppStream : public test::ChannelTest {
protected:
  CppStream() { sprig_init(); }

  static Stream openNetwork(Endpoint endpoint = Endpoint::fixed) {
    return Stream({StreamType::network, "d1", {}, endpoint});
  }
  std::string made(const std::string &name, const std::string &content) const {
    test::writeFile(directory / name, content);
    return directory / name;
  }
  // NAME.toc describes the segment NAME, and NAME.dat has its data.
  void putSegment(const std::string &name, const std::string &content) const {
    sprig::Segment segment = segmentOf(name, content.size());
    segment.set_location("/source/" + name + ".dat");
    PropertyList file;
    file.put("segment", segment.description());
    file.save(directory / (name + ".toc"), Layout::bare);
    made(name + ".dat", content);
  }

  const test::Log log;
  const test::TemporaryDirectory directory;
  const test::Variable workDirectory{"KRT_WORKDIR", directory.path().c_str()};
};

using CppStreamRead = CppStream;
using CppStreamFiles = CppStream;
using CppStreamWrite = CppStream;
using CppStreamClose = CppStream;

// With the endpoint's depot.
class CppStreamDepot : public test::DepotTest {
protected:
  CppStreamDepot() {
    sprig_init();
    test::writeFile(configuration, "depot_dir=" + (directory / "depot") + "\n");
  }

  const std::string configuration = directory / "endpoint.cfg";
  const test::Variable config{"KRT_CONFIG", configuration.c_str()};
};

} // namespace

TEST_F(CppStreamKey, HasTheBytesThatCMakes) {
  for (const auto endpoint : {Endpoint::fixed, Endpoint::mobile}) {
    const test::Key made(
        file_stream_key_new(endpoint == Endpoint::mobile ? 1 : 0, 3, "d1", "/a", "/b"));
    const sprig::StreamKey key(StreamType::named_files, "d1", {"/a", "/b"}, endpoint);
    const std::string bytes = test::bytesOf(made);
    EXPECT_EQ(key.octets(), Octets(bytes.begin(), bytes.end()));
    EXPECT_EQ(key.is_mobile(), endpoint == Endpoint::mobile);
    EXPECT_EQ(key.type(), StreamType::named_files);
    EXPECT_EQ(key.text(), "d1,/a,/b");
  }
}

TEST_F(CppStreamKey, MayHaveNoNames) {
  const sprig::StreamKey key(StreamType::network, "d1");
  EXPECT_EQ(key.octets(), (Octets{2, 0, 2, 'd', '1', 0}));
  EXPECT_EQ(key.text(), "d1");
}

TEST_F(CppStreamKey, IsTakenFromElsewhere) {
  const Octets octets{9, 0, 1, 'd', '1', ',', '/', 'x', 0};
  const sprig::StreamKey key(octets);
  EXPECT_EQ(key.octets(), octets);
  EXPECT_EQ(key.type(), StreamType::directory);
  EXPECT_TRUE(key.is_mobile());
  EXPECT_EQ(key.text(), "d1,/x");
}

TEST_F(CppStreamKey, RefusesOctetsThatAreNone) {
  const Octets refused[] = {{}, {2}, {2, 0, 0}, {2, 0, 1, 'd'}};
  for (const Octets &octets : refused) {
    EXPECT_THROW(sprig::StreamKey{octets}, std::invalid_argument) << octets.size();
  }
}

TEST_F(CppStreamKey, RefusesTextThatItCannotHold) {
  const auto make = [](const std::string &id, const std::string &name) {
    return sprig::StreamKey(StreamType::named_files, id, {name});
  };
  EXPECT_THROW(make("d,1", "/a"), std::invalid_argument);
  EXPECT_THROW(make("d1", "/a,/b"), std::invalid_argument);
  EXPECT_THROW(make("d1", "/a\0b"s), std::invalid_argument);
}

TEST_F(CppStreamKey, SharesNothingWithACopy) {
  sprig::StreamKey key(StreamType::network, "d1");
  const sprig::StreamKey copy = key;
  key = sprig::StreamKey(StreamType::network, "d2");
  EXPECT_EQ(copy.text(), "d1");
  EXPECT_EQ(key.text(), "d2");
}

TEST_F(CppStream, IsOpenedByItsKey) {
  for (const auto type :
       {StreamType::network, StreamType::named_files, StreamType::cd_drive, StreamType::remote_dir,
        StreamType::remote_dir_cd, StreamType::directory, StreamType::depot}) {
    const Stream stream({type, "d1", {"/a"}});
    EXPECT_TRUE(stream.is_open());
    EXPECT_EQ(stream.type(), type);
    EXPECT_EQ(stream.distribution_id(), "d1");
    EXPECT_FALSE(stream.is_mobile());
    EXPECT_TRUE(stream.table().empty());
    EXPECT_EQ(stream.file(), "");
  }
}

TEST_F(CppStream, IsRefusedForTypesThatCannotBeOpened) {
  for (const uint8_t type : {0, 1, 3, 5, 11, 12, 255}) {
    const sprig::StreamKey key(Octets{type, 0, 2, 'd', '1', 0});
    EXPECT_THROW(Stream{key}, std::invalid_argument) << int{type};
  }
}

TEST_F(CppStream, LeavesItsKeyWhole) {
  const sprig::StreamKey key(StreamType::directory, "d1", {"/x"}, Endpoint::mobile);
  const Stream stream(key);
  EXPECT_TRUE(stream.is_mobile());
  EXPECT_EQ(key.text(), "d1,/x");
}

TEST_F(CppStream, KeepsACopyOfItsTable) {
  Stream stream({StreamType::named_files, "d1"});
  TableOfContents table = tableOf({segmentOf("s1", 7)});
  stream.give_table(table);
  table[0].set_size(8);
  ASSERT_EQ(stream.table().size(), 1U);
  EXPECT_EQ(stream.table()[0].size(), 7);
}

TEST_F(CppStream, CannotBeUsedWhenItIsClosedOrMoved) {
  Stream stream = openNetwork();
  Stream moved = std::move(stream);
  EXPECT_FALSE(stream.is_open()); // NOLINT(bugprone-use-after-move)
  EXPECT_THROW(stream.read(), std::logic_error);
  EXPECT_TRUE(moved.is_open());
  moved.close();
  moved.close();
  EXPECT_FALSE(moved.is_open());
  EXPECT_THROW(moved.type(), std::logic_error);
  EXPECT_THROW(moved.give_table(TableOfContents()), std::logic_error);
  EXPECT_THROW(moved.write("data"), std::logic_error);
  EXPECT_FALSE(std::is_copy_constructible_v<Stream>);
}

TEST_F(CppStreamRead, GivesWhatTheSenderSends) {
  Stream stream = openNetwork();
  put(dataFrame("first") + dataFrame("second") + endFrame());
  EXPECT_EQ(piecesOf(stream), (Strings{"first", "second", "(end)"}));
}

TEST_F(CppStreamRead, SendsTheTableOnce) {
  Stream stream = openNetwork();
  const TableOfContents table = tableOf({segmentOf("s1", 3), segmentOf("s2", 3)});
  stream.give_table(table);
  put(dataFrame("abc") + dataFrame("def") + endFrame());
  piecesOf(stream);
  const Octets encoding = table.encode();
  const std::string frame =
      test::frameOf(RUNTIME_MESSAGE_TOC, std::string(encoding.begin(), encoding.end()));
  EXPECT_EQ(take(frame.size()), frame);
  EXPECT_TRUE(test::setNonBlocking(ends.second.fd()));
  char more = 0;
  EXPECT_EQ(::read(ends.second.fd(), &more, 1), -1);
}

TEST_F(CppStreamRead, GivesPiecesThatOutliveTheStream) {
  Stream stream = openNetwork();
  put(dataFrame("data"));
  Piece piece = stream.read();
  stream.close();
  EXPECT_EQ(piece.bytes(), "data");
  const Piece moved = std::move(piece);
  EXPECT_EQ(moved.size(), 4U);
  EXPECT_EQ(moved.data()[0], 'd');
  EXPECT_FALSE(std::is_copy_constructible_v<Piece>);
}

TEST_F(CppStreamRead, TellsWhatTheSenderCommands) {
  for (const auto command : {Command::cancel, Command::pause, Command::expire, Command::roam,
                             static_cast<Command>(200)}) {
    Stream stream = openNetwork();
    put(commandFrame(static_cast<char>(command)));
    const Piece piece = stream.read();
    EXPECT_EQ(piece.kind(), Piece::Kind::command);
    EXPECT_EQ(piece.command(), command);
    EXPECT_EQ(piece.size(), 0U);
    EXPECT_EQ(piece.data(), nullptr);
  }
}

TEST_F(CppStreamRead, GoesOnBehindACommand) {
  Stream stream = openNetwork();
  put(dataFrame("first") + commandFrame(3) + dataFrame("second") + endFrame());
  EXPECT_EQ(piecesOf(stream), (Strings{"first", "(command)"}));
  EXPECT_EQ(piecesOf(stream), (Strings{"second", "(end)"}));
}

TEST_F(CppStreamRead, ThrowsWhenTheSenderBreaksOff) {
  Stream stream = openNetwork(Endpoint::mobile);
  put(dataFrame("data"));
  closePeer();
  EXPECT_EQ(stream.read().bytes(), "data");
  try {
    stream.read();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const sprig::Error &error) {
    EXPECT_NE(error.what(), ""s);
    stream.set_status(error.what());
    EXPECT_EQ(Status::read("d1").failure(), error.what());
  }
}

TEST_F(CppStreamRead, HandsAllDataOverAndTellsHowItEnded) {
  Stream stream = openNetwork();
  put(dataFrame("first") + dataFrame("second") + commandFrame(2));
  std::string all;
  const Piece last = stream.read_all([&](const Piece &piece) { all += piece.bytes(); });
  EXPECT_EQ(all, "firstsecond");
  EXPECT_EQ(last.command(), Command::cancel);
}

TEST_F(CppStreamRead, LetsExceptionsOfItsUserPass) {
  Stream stream = openNetwork();
  put(dataFrame("data") + endFrame());
  EXPECT_THROW(stream.read_all([](const Piece &) { throw std::out_of_range("no room"); }),
               std::out_of_range);
  EXPECT_EQ(piecesOf(stream), Strings{"(end)"});
}

TEST_F(CppStreamRead, KeepsTheStatusOfAMobileEndpoint) {
  Stream stream = openNetwork(Endpoint::mobile);
  stream.give_table(tableOf({segmentOf("s1", 20000)}));
  put(dataFrame(std::string(15000, 'x')) + dataFrame(std::string(5000, 'x')) + commandFrame(3));
  stream.read();
  EXPECT_EQ(Status::read("d1").received_length(), 15000U);
  EXPECT_EQ(Status::read("d1").total_length(), 20000U);
  stream.read();
  EXPECT_TRUE(Status::read("d1").is_complete());
  stream.read();
  EXPECT_TRUE(Status::read("d1").is_paused());
  stream.update_mstat("note", "kept");
  EXPECT_EQ(Status::read("d1").properties().get<std::string>("note"), "kept");
  EXPECT_FALSE(Status::read("d1").is_closed());
  stream.close();
  EXPECT_TRUE(Status::read("d1").is_closed());
}

TEST_F(CppStreamRead, HasNoStatusForAFixedEndpoint) {
  Stream stream = openNetwork();
  stream.set_status("failed");
  stream.update_mstat("note", "lost");
  EXPECT_FALSE(fs::exists(directory / "mstat"));
}

TEST_F(CppStreamFiles, AreReadOneAfterTheOther) {
  const std::string first = made("first", std::string(pieceSize + 3, 'x'));
  const std::string second = made("second", "second");
  Stream stream({StreamType::named_files, "d1", {first, second}});
  stream.give_table(tableOf({segmentOf("s1", pieceSize + 3, first), segmentOf("s2", 6, second)}));
  EXPECT_EQ(piecesOf(stream),
            (Strings{std::string(pieceSize, 'x'), "xxx", "(file)", "second", "(end)"}));
  EXPECT_EQ(piecesOf(stream), Strings{"(end)"});
}

TEST_F(CppStreamFiles, AreNamedWhileTheyAreRead) {
  const std::string first = made("first", "1");
  const std::string second = made("second", "2");
  Stream stream({StreamType::named_files, "d1", {first, second}});
  stream.give_table(tableOf({segmentOf("s1", 1, first), segmentOf("s2", 1, second)}));
  Strings names;
  const Piece last = stream.read_all([&](const Piece &) { names.emplace_back(stream.file()); });
  EXPECT_EQ(names, (Strings{first, second}));
  EXPECT_EQ(last.kind(), Piece::Kind::end);
  EXPECT_EQ(stream.file(), "");
}

TEST_F(CppStreamFiles, ThatAreMissingThrow) {
  const std::string missing = directory / "missing";
  Stream stream({StreamType::named_files, "d1", {missing}});
  stream.give_table(tableOf({segmentOf("s1", 1, missing)}));
  EXPECT_EQ(failure([&] { stream.read(); }), "11(" + missing + ")");
}

TEST_F(CppStreamFiles, AreFoundInTheDirectoryOfTheKey) {
  putSegment("s1", "first");
  Stream stream({StreamType::directory, "d1", {directory.path()}});
  EXPECT_EQ(piecesOf(stream), Strings{"(end)"});
  stream.give_table(tableOf({segmentOf("s1", 5)}));
  EXPECT_EQ(stream.table()[0].data_path(), directory / "s1.dat");
  EXPECT_EQ(piecesOf(stream), (Strings{"first", "(end)"}));
}

TEST_F(CppStreamFiles, AreLookedForNowhereWithoutADirectory) {
  Stream stream({StreamType::directory, "d1"});
  EXPECT_EQ(failure([&] { stream.give_table(tableOf({segmentOf("s1", 5)})); }), "182(s1, 1)");
}

TEST_F(CppStreamFiles, ThatAreNotFoundThrow) {
  putSegment("s1", "first");
  const TableOfContents table = tableOf({segmentOf("s1", 5), segmentOf("s2", 5)});
  Stream inDirectory({StreamType::directory, "d1", {directory.path()}});
  EXPECT_EQ(failure([&] { inDirectory.give_table(table); }), "182(s2, 1)");
  const test::Variable data("KRT_DATDIR", directory.path().c_str());
  Stream listed({StreamType::remote_dir, "d1"});
  EXPECT_EQ(failure([&] { listed.give_table(table); }), "170(" + directory / "remote.dir" + ")");
}

TEST_F(CppStreamFiles, AreMeasuredInAdvance) {
  putSegment("s1", "first");
  Stream stream({StreamType::directory, "d1", {directory.path()}});
  TableOfContents table = tableOf({segmentOf("s1", 0)});
  stream.find_sizes(table);
  EXPECT_EQ(table[0].size(), 5);
  EXPECT_EQ(table[0].data_path(), directory / "s1.dat");
  EXPECT_TRUE(stream.table().empty());
  TableOfContents missing = tableOf({segmentOf("s2", 0)});
  EXPECT_EQ(failure([&] { stream.find_sizes(missing); }), "182(s2, 1)");
}

TEST_F(CppStreamFiles, AreFoundInAnyDirectory) {
  putSegment("s1", "first");
  putSegment("s3", "third");
  TableOfContents table = tableOf({segmentOf("s1", 0), segmentOf("s2", 0), segmentOf("s3", 0)});
  auto found = sprig::find_segments(table, directory.path());
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, (Strings{directory / "s1.dat", directory / "s3.dat"}));
  EXPECT_EQ(table[0].size(), 5);
  EXPECT_EQ(table[1].data_path(), "");
  EXPECT_EQ(table[2].data_path(), directory / "s3.dat");
  EXPECT_EQ(sprig::find_segments(table, directory / "missing"), Strings());
}

TEST_F(CppStreamFiles, AreInterruptedByWhoeverAsks) {
  EXPECT_EQ(sprig::poll_command(), Command::none);
  put(commandFrame(2) + commandFrame(3) + commandFrame(4));
  EXPECT_EQ(sprig::poll_command(), Command::cancel);
  EXPECT_EQ(sprig::poll_command(), Command::pause);
  EXPECT_EQ(sprig::poll_command(), Command::none);
  putSegment("s1", "first");
  const test::Variable data("KRT_DATDIR", directory.path().c_str());
  made("remote.dir", directory.path() + "\n");
  Stream stream({StreamType::remote_dir, "d1"});
  stream.give_table(tableOf({segmentOf("s1", 5)}));
  put(commandFrame(3));
  EXPECT_EQ(piecesOf(stream), Strings{"(command)"});
  EXPECT_EQ(piecesOf(stream), (Strings{"first", "(end)"}));
}

TEST_F(CppStreamWrite, SendsInBuffersOfTheReceiversSize) {
  Stream stream = openNetwork();
  put(answerFrame(RUNTIME_MESSAGE_STATUS, 4) + answerFrame(RUNTIME_MESSAGE_DATA, 0) +
      answerFrame(RUNTIME_MESSAGE_DATA, 0));
  stream.write_begin();
  stream.write("12");
  stream.write("345");
  stream.write("");
  stream.write_end();
  take(startFrameSize);
  const std::string sent = test::frameOf(RUNTIME_MESSAGE_DATA, "1234") +
                           test::frameOf(RUNTIME_MESSAGE_DATA, "5") + endFrame();
  EXPECT_EQ(take(sent.size()), sent);
}

TEST_F(CppStreamWrite, ThrowsWhereTheReceiverRefuses) {
  const auto refusal = [](const std::function<void()> &body) {
    try {
      body();
    } catch (const Refused &refused) {
      return refused.status();
    }
    return 0;
  };
  Stream stream = openNetwork();
  put(answerFrame(RUNTIME_MESSAGE_STATUS, -5));
  EXPECT_EQ(refusal([&] { stream.write_begin(); }), -5);
  put(answerFrame(RUNTIME_MESSAGE_STATUS, 4) + answerFrame(RUNTIME_MESSAGE_DATA, -6));
  stream.write_begin();
  EXPECT_EQ(refusal([&] { stream.write("1234"); }), -6);
  EXPECT_THROW(stream.write("5"), std::logic_error) << "the transfer has ended";
  put(answerFrame(RUNTIME_MESSAGE_STATUS, 4) + answerFrame(RUNTIME_MESSAGE_DATA, -7));
  stream.write_begin();
  stream.write("1");
  EXPECT_EQ(refusal([&] { stream.write_end(); }), -7);
  put(answerFrame(RUNTIME_MESSAGE_STATUS, -8));
  EXPECT_EQ(refusal([&] { stream.send_file(made("file", "data")); }), -8);
}

TEST_F(CppStreamWrite, SaysWhatWasRefused) {
  EXPECT_STREQ(Refused(-5, "the receiver has refused").what(),
               "the receiver has refused: status -5");
  EXPECT_TRUE((std::is_base_of_v<std::runtime_error, Refused>));
}

TEST_F(CppStreamWrite, NeedsATransfer) {
  Stream stream = openNetwork();
  EXPECT_THROW(stream.write("data"), std::logic_error);
  stream.write_end();
}

TEST_F(CppStreamWrite, SendsAFileFromAnOffset) {
  Stream stream = openNetwork();
  put(answerFrame(RUNTIME_MESSAGE_STATUS, 100) + answerFrame(RUNTIME_MESSAGE_DATA, 0));
  stream.send_file(made("file", "0123456789"), 4);
  take(startFrameSize);
  const std::string sent = test::frameOf(RUNTIME_MESSAGE_DATA, "456789") + endFrame();
  EXPECT_EQ(take(sent.size()), sent);
}

TEST_F(CppStreamWrite, ThrowsForFilesThatCannotBeSent) {
  Stream stream = openNetwork();
  EXPECT_EQ(failure([&] { stream.send_file(directory / "missing"); }),
            "11(" + directory / "missing" + ")");
  EXPECT_THROW(stream.send_file(directory / "missing", size_t{INT32_MAX} + 1), std::length_error);
}

TEST_F(CppStreamWrite, GoesIntoAFileWhereTheStreamIsOverNamedFiles) {
  Stream stream({StreamType::named_files, "d1"});
  stream.write_begin();
  stream.write("data");
  stream.write_end();
  EXPECT_EQ(test::readFile(directory / "sprig/d1"), "data");
  fs::remove(directory / "sprig/d1");
  fs::create_directory(directory / "sprig/d1");
  EXPECT_THROW(stream.write_begin(), Refused);
}

TEST_F(CppStreamClose, TellsOfAFailure) {
  const std::string path = made("file", "data");
  Stream stream({StreamType::named_files, "d1", {path}});
  stream.give_table(tableOf({segmentOf("s1", 4, path)}));
  stream.read();
  ::close(static_cast<FileList *>(stream.native()->source)->current->descriptor);
  EXPECT_EQ(failure([&] { stream.close(); }), "14(" + path + ")");
  EXPECT_FALSE(stream.is_open());
}

TEST_F(CppStreamClose, IsSilentInTheDestructor) {
  const std::string path = made("file", "data");
  EXPECT_THROW(
      {
        Stream stream({StreamType::named_files, "d1", {path}}); // closed while this goes on
        stream.give_table(tableOf({segmentOf("s1", 4, path)}));
        stream.read();
        ::close(static_cast<FileList *>(stream.native()->source)->current->descriptor);
        throw std::out_of_range("no room");
      },
      std::out_of_range);
}

TEST_F(CppStreamDepot, ReadsADistributionThatIsThere) {
  sprig::Depot mine("depot");
  ASSERT_TRUE(mine.add(segmentOf("s1", 5)));
  mine.open_for_write("s1", "1").write("first");
  mine.complete("s1", "1", 0);
  Stream stream({StreamType::network, "d1"});
  stream.give_table(tableOf({segmentOf("s1", 5)}));
  EXPECT_EQ(stream.type(), StreamType::depot);
  EXPECT_EQ(piecesOf(stream), (Strings{"first", "(end)"}));
  stream.close();
  EXPECT_FALSE(mine.find("s1", "1")) << "the last registration went with the stream";
}
