// `sprig serve`: what a receiver gets, and what is told of it.
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sprig/runtime.h>
#include <sprig/sprig.hpp>

#include "tools/serving.h"

namespace {

using test::Answer;
using test::Outcome;
using test::Receiver;

class ServeTransfer : public test::ServingTest {};

} // namespace

TEST_F(ServeTransfer, SendsAllOfADistribution) {
  EXPECT_EQ(start("dist"), "serving tree at unix:s: 3 files, 45.0 KiB in 3 segments");
  EXPECT_EQ(Receiver("unix:s").get(table), (Answer{content, "end"}));
  EXPECT_EQ(line(), told(1, "sent 3 segments, 45.0 KiB; it had 0 segments already"));
  EXPECT_EQ(stop(), (Outcome{0, "served 1 receiver\n", ""}));
}

TEST_F(ServeTransfer, TellsWhatTheDistributionIs) {
  start("dist");
  EXPECT_EQ(Receiver("unix:s").get({}), (Answer{test::readFile("dist/distribution"), "end"}));
  EXPECT_EQ(line(), told(1, "needed nothing"));
}

TEST_F(ServeTransfer, AnswersOneTableAfterAnother) {
  start("dist");
  {
    const Receiver receiver("unix:s");
    EXPECT_EQ(receiver.get({}).end, "end");
    EXPECT_EQ(receiver.get(table), (Answer{content, "end"}));
    sprig::TableOfContents again;
    again.push_back(sprig::Segment(table[1]));
    EXPECT_EQ(receiver.get(again), (Answer{files[1].content, "end"}));
  }
  EXPECT_EQ(line(), told(1, "sent 4 segments, 65.0 KiB; it had 0 segments already"));
}

TEST_F(ServeTransfer, SendsOnlyWhatIsLackingInTheOrderOfTheReceiver) {
  start("dist");
  sprig::TableOfContents lacking;
  for (const size_t index : {2, 1, 0}) {
    lacking.push_back(sprig::Segment(table[index]));
  }
  lacking[0].set_offset(10240);
  lacking[1].set_offset(20479);
  lacking[2].set_offset(5);
  EXPECT_EQ(Receiver("unix:s").get(lacking),
            (Answer{files[1].content.substr(20479) + files[0].content.substr(5), "end"}));
  EXPECT_EQ(line(), told(1, "sent 2 segments, 15.0 KiB; it had 1 segment already"));
}

TEST_F(ServeTransfer, SendsNothingOfWhatWasFoundLocally) {
  start("dist");
  sprig::TableOfContents lacking(table);
  lacking[0].description().put("dat_file", "/where/it/was/found");
  lacking[1].description().put("dat_file", "");
  lacking[2].description().put("dat_file", "/where/it/was/found");
  lacking[2].set_offset(17);
  EXPECT_EQ(Receiver("unix:s").get(lacking), (Answer{"", "end"}));
  EXPECT_EQ(line(), told(1, "sent 0 segments, 0 B; it had 3 segments already"));
}

TEST_F(ServeTransfer, GoesByItsOwnTableForAllElse) {
  start("dist");
  sprig::TableOfContents claimed;
  sprig::Segment segment("image", std::string(table[1].version()));
  segment.set_size(5);
  segment.set_location("../../etc/passwd");
  claimed.push_back(std::move(segment));
  EXPECT_EQ(Receiver("unix:s").get(claimed), (Answer{files[1].content, "end"}));
}

TEST_F(ServeTransfer, SendsTheSlicesOfAFile) {
  const auto sliced = test::makeDistribution("sliced", "sliced", files, 16384);
  EXPECT_EQ(start("sliced"), "serving sliced at unix:s: 3 files, 45.0 KiB in 4 segments");
  EXPECT_EQ(Receiver("unix:s").get(sliced.table), (Answer{content, "end"}));
}

TEST_F(ServeTransfer, SendsMoreThanASocketHolds) {
  EXPECT_EQ(start("large"), "serving large at unix:s: 1 file, 2.0 MiB in 1 segment");
  EXPECT_EQ(Receiver("unix:s").get(large.table), (Answer{largeContent, "end"}));
  EXPECT_EQ(line(), told(1, "sent 1 segment, 2.0 MiB; it had 0 segments already"));
}

TEST_F(ServeTransfer, HasADistributionWithoutAnyData) {
  const auto empty = test::makeDistribution("empty", "empty", {{"file", ""}});
  EXPECT_EQ(start("empty"), "serving empty at unix:s: 1 file, 0 B in 0 segments");
  EXPECT_EQ(Receiver("unix:s").get({}), (Answer{test::readFile("empty/distribution"), "end"}));
}

TEST_F(ServeTransfer, GoesOnWithTheDistributionThatItHasBegunWith) {
  start("dist");
  const std::string before = test::readFile("dist/distribution");
  std::filesystem::remove("dist/distribution");
  EXPECT_EQ(Receiver("unix:s").get({}), (Answer{before, "end"}));
}

TEST_F(ServeTransfer, IsTheOtherSideOfAStream) {
  start("dist", {"--session", "7"});
  const test::OpenFile channel(runtime_channel_connect("unix:s"));
  runtime_set_channel(channel.fd(), channel.fd(), 7);
  std::string received;
  {
    sprig::Stream stream({sprig::StreamType::network, "tree"});
    stream.give_table(table);
    stream.read_all([&](const sprig::Piece &piece) { received += piece.bytes(); });
  }
  runtime_set_channel(-1, -1, 0);
  EXPECT_EQ(received, content);
}

TEST_F(ServeTransfer, TellsEverythingAsJson) {
  const auto event = [this] { return nlohmann::json::parse(line()); };
  EXPECT_EQ(start("dist", {"--json"}),
            R"({"event":"serving","distribution":"tree","address":"unix:s","files":3,)"
            R"("bytes":46080,"segments":3})");
  const std::string peer = "process " + std::to_string(getpid());
  EXPECT_EQ(Receiver("unix:s").get(table).end, "end");
  EXPECT_EQ(event(), (nlohmann::json{{"event", "receiver"},
                                     {"number", 1},
                                     {"peer", peer},
                                     {"segments", 3},
                                     {"bytes", 46080},
                                     {"held", 0},
                                     {"end", "complete"}}));
  {
    const Receiver receiver("unix:s");
    receiver.say(23, "");
    EXPECT_EQ(receiver.take().end, "closed");
  }
  EXPECT_EQ(
      event(),
      (nlohmann::json{
          {"event", "receiver"},
          {"number", 2},
          {"peer", peer},
          {"segments", 0},
          {"bytes", 0},
          {"held", 0},
          {"end", "refused"},
          {"reason",
           "a message of type 23 and 0 bytes has arrived in the place of a table of contents"}}));
  EXPECT_EQ(stop(), (Outcome{0, "{\"event\":\"served\",\"receivers\":2}\n", ""}));
}
