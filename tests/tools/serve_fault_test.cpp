// `sprig serve` with receivers that do what they should not, and with data that are not there.
#include <filesystem>
#include <string>

#include <csignal>

#include <gtest/gtest.h>

#include <sprig/sprig.hpp>

#include "support/process.h"
#include "tools/serving.h"

namespace {

namespace fs = std::filesystem;

using test::Answer;
using test::Outcome;
using test::Receiver;

const Answer nothingMore{"", "closed"};

class ServeFault : public test::ServingTest {
protected:
  ServeFault() { start("dist"); }
  // Whatever one has sent, the next one is served.
  ~ServeFault() override {
    EXPECT_EQ(Receiver("unix:s").get(table), (Answer{content, "end"}));
    EXPECT_EQ(line(), told(2, "sent 3 segments, 45.0 KiB; it had 0 segments already"));
    EXPECT_EQ(stop(), (Outcome{0, "served 2 receivers\n", ""}));
  }
};

// A channel that ends with a refusal, and why.
class ServeRefusal : public ServeFault {
protected:
  ~ServeRefusal() override {
    EXPECT_EQ(receiver.take(), nothingMore);
    EXPECT_EQ(line(), told(1, "refused: " + reason));
  }

  void ask(const std::string &id, const std::string &version, int64_t offset = 0) const {
    sprig::TableOfContents asked;
    sprig::Segment segment(id, version);
    segment.description().put("offset", static_cast<int32_t>(offset));
    asked.push_back(std::move(segment));
    receiver.ask(asked);
  }

  const std::string version{table[1].version()};
  const Receiver receiver{"unix:s"};
  std::string reason;
};

class ServeFaultyData : public test::ServingTest {};

// A distribution that cannot be served.
class ServeDamaged : public test::ServingTest {
protected:
  static Outcome serve() { return test::sprig({"serve", "dist", "--listen", "unix:s"}); }
  static Outcome isUnusable(const std::string &why) { return {1, "", "sprig: " + why}; }
};

} // namespace

TEST_F(ServeRefusal, OfBytesThatAreNoMessage) {
  test::writeBytes(receiver.fd(), "GET / HTTP/1.1\r\n");
  reason = "what has arrived is no message";
}

TEST_F(ServeRefusal, OfADamagedMessage) {
  test::writeBytes(receiver.fd(), test::headerOf(10, 0, 0, 12345));
  reason = "a message has arrived damaged";
}

TEST_F(ServeRefusal, OfAMessageThatIsTooLong) {
  test::writeBytes(receiver.fd(), test::headerOf(10, 0, 0x10000001, 0));
  reason = "a message was announced that is longer than 256 MiB";
}

TEST_F(ServeRefusal, OfAnotherSession) {
  receiver.say(10, "", 8);
  reason = "a message of the session 8 has arrived, not of 0";
}

TEST_F(ServeRefusal, OfData) {
  receiver.say(11, "\3");
  reason = "a message of type 11 and 1 byte has arrived in the place of a table of contents";
}

TEST_F(ServeRefusal, OfBytesThatAreNoTable) {
  receiver.say(10, "123456789");
  reason = "what it has sent is no table of contents";
}

TEST_F(ServeRefusal, OfATableOfNoBytes) {
  receiver.say(10, "");
  reason = "what it has sent is no table of contents";
}

TEST_F(ServeRefusal, OfATableThatClaimsToBeLong) {
  receiver.say(10, "\xFF\xFF\xFF\xFF");
  reason = "what it has sent is no table of contents";
}

TEST_F(ServeRefusal, OfASegmentWithoutAName) {
  sprig::TableOfContents asked;
  asked.push_back(sprig::Segment("image", version));
  asked[0].description().erase("version");
  receiver.ask(asked);
  reason = "it asks for a segment that is none: Unable to find the property associated with the "
           "key version.";
}

TEST_F(ServeRefusal, OfAnUnknownSegment) {
  ask("other", version);
  reason = "it asks for the unknown segment other^" + version;
}

TEST_F(ServeRefusal, OfAnUnknownVersion) {
  ask("image", "1\n\033[2J");
  reason = "it asks for the unknown segment image^1??[2J";
}

TEST_F(ServeRefusal, OfAnOffsetBehindTheEnd) {
  ask("image", version, 20481);
  reason = "it asks for the segment image^" + version + " from byte 20481 on, of 20480";
}

TEST_F(ServeRefusal, OfAnOffsetBelowZero) {
  ask("image", version, -1);
  reason = "it asks for the segment image^" + version + " from byte -1 on, of 20480";
}

TEST_F(ServeRefusal, OfMoreSegmentsThanThereAre) {
  sprig::TableOfContents asked(table);
  asked.push_back(sprig::Segment(table[0]));
  receiver.ask(asked);
  reason = "it asks for 4 segments, of 3";
}

TEST_F(ServeFault, IsAReceiverThatVanishesBeforeItAsks) {
  { const Receiver receiver("unix:s"); }
  EXPECT_EQ(line(), told(1, "needed nothing"));
}

TEST_F(ServeFault, IsAReceiverThatVanishesInTheMiddleOfItsTable) {
  {
    const Receiver receiver("unix:s");
    test::writeBytes(receiver.fd(), test::headerOf(10, 0, 100, 0) + "table");
  }
  EXPECT_EQ(line(), told(1, "it has vanished"));
}

TEST_F(ServeFault, IsAReceiverThatVanishesWithDataUnread) {
  {
    const Receiver receiver("unix:s");
    receiver.ask(table);
    receiver.takePiece();
  }
  EXPECT_EQ(withoutAmount(line()).substr(0, told(1, "sent").size()), told(1, "sent"));
}

TEST_F(ServeFaultyData, IsWrittenToAReceiverThatVanishes) {
  start("large");
  {
    const Receiver receiver("unix:s");
    receiver.ask(large.table);
    EXPECT_EQ(receiver.takePiece(), largeContent.substr(0, 16384));
  }
  EXPECT_EQ(withoutAmount(line()), told(1, "sent 0 of 1 segment, SOME: it has vanished"));
  EXPECT_EQ(Receiver("unix:s").get(large.table), (Answer{largeContent, "end"}));
}

TEST_F(ServeFaultyData, GoesToAReceiverThatIsKilled) {
  start("large");
  const test::Event isUnderWay;
  test::Child receiver([&] {
    const Receiver victim("unix:s");
    victim.ask(large.table);
    victim.takePiece();
    isUnderWay.raise();
    return pause();
  });
  ASSERT_TRUE(isUnderWay.await());
  const pid_t pid = receiver.pid();
  EXPECT_EQ(receiver.kill(), -SIGKILL);
  EXPECT_EQ(withoutAmount(line()), "receiver 1 (process " + std::to_string(pid) +
                                       "): sent 0 of 1 segment, SOME: it has vanished");
}

TEST_F(ServeFaultyData, IsMissing) {
  start("dist");
  fs::remove("dist/000002.dat");
  EXPECT_EQ(Receiver("unix:s").get(table), (Answer{files[0].content, "closed"}));
  EXPECT_EQ(line(), told(1, "sent 1 of 3 segments, 15.0 KiB: failed: dist/000002.dat: No such file "
                            "or directory"));
}

TEST_F(ServeFaultyData, IsShorterThanItShouldBe) {
  start("dist");
  fs::resize_file("dist/000003.dat", 1000);
  EXPECT_EQ(Receiver("unix:s").get(table), (Answer{content.substr(0, 35840 + 1000), "closed"}));
  EXPECT_EQ(line(), told(1, "sent 2 of 3 segments, 36.0 KiB: failed: dist/000003.dat: shorter than "
                            "it should be"));
}

TEST_F(ServeFaultyData, IsLongerThanItShouldBe) {
  start("dist");
  fs::resize_file("dist/000002.dat", 30000);
  EXPECT_EQ(Receiver("unix:s").get(table), (Answer{content, "end"}));
}

TEST_F(ServeFaultyData, IsALinkToSomethingElse) {
  start("dist");
  fs::remove("dist/000001.dat");
  fs::create_symlink("/etc/passwd", "dist/000001.dat");
  EXPECT_EQ(Receiver("unix:s").get(table), nothingMore);
  EXPECT_EQ(line(), told(1, "sent 0 of 3 segments, 0 B: failed: dist/000001.dat: Too many levels "
                            "of symbolic links"));
}

TEST_F(ServeFaultyData, IsServedAgainWhenItIsBack) {
  start("dist");
  fs::rename("dist/000001.dat", "elsewhere");
  EXPECT_EQ(Receiver("unix:s").get(table), nothingMore);
  fs::rename("elsewhere", "dist/000001.dat");
  EXPECT_EQ(Receiver("unix:s").get(table), (Answer{content, "end"}));
}

TEST_F(ServeDamaged, IsNoDirectory) {
  EXPECT_EQ(test::sprig({"serve", "nowhere", "--listen", "unix:s"}),
            isUnusable("nowhere: no distribution is there\n"
                       "hint: \"sprig pack DIR -o DIST\" makes one\n"));
}

TEST_F(ServeDamaged, IsNoDistribution) {
  test::writeFile("dist/distribution", "something else");
  EXPECT_EQ(serve(),
            isUnusable("dist/distribution: not a distribution that can be used: a list has "
                       "more elements than the data can hold\n"));
}

TEST_F(ServeDamaged, IsCutOff) {
  fs::resize_file("dist/distribution", fs::file_size("dist/distribution") - 4);
  EXPECT_EQ(serve(), isUnusable("dist/distribution: not a distribution that can be used: the data "
                                "end in the middle of a value\n"));
}

TEST_F(ServeDamaged, HasItsDataElsewhere) {
  tool::Distribution changed = tool::Distribution::load("dist/distribution");
  for (const char *location : {"", "..", "../other/000001.dat", "/etc/passwd"}) {
    changed.table[1].set_location(location);
    changed.save("dist/distribution");
    EXPECT_EQ(serve(), isUnusable("dist: not a distribution that can be used: the segment "
                                  "\"image\" lies elsewhere: \"" +
                                  std::string(location) + "\"\n"));
  }
  EXPECT_FALSE(fs::exists("s"));
}
