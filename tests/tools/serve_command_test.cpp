// `sprig pause`, `sprig cancel` and signals: how receivers of a sender at work are told to end.
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/runtime.h>
#include <sprig/sprig.hpp>

#include "tools/serving.h"

namespace {

using test::Answer;
using test::Lines;
using test::Outcome;
using test::Receiver;

class ServeCommand : public test::ServingTest {
protected:
  // In the middle of their data, so that they are certainly under way.
  void startReceivers(size_t count) {
    for (size_t i = 0; i < count; ++i) {
      receivers.push_back(std::make_unique<Receiver>("unix:s"));
      receivers.back()->ask(large.table);
      EXPECT_EQ(receivers.back()->takePiece(), largeContent.substr(0, 16384));
    }
  }

  // All get the beginning of the data, and then this.
  void expectEnd(const std::string &end) {
    for (auto &receiver : receivers) {
      const Answer answer = receiver->take();
      EXPECT_EQ(answer.end, end);
      EXPECT_EQ(answer.data, largeContent.substr(16384, answer.data.size()));
      EXPECT_LT(answer.data.size(), largeContent.size() - 16384);
      receiver.reset();
    }
    receivers.clear();
  }

  void expectLines(const std::string &end, int count) {
    Lines expected;
    Lines actual;
    for (int number = 1; number <= count; ++number) {
      expected.push_back(told(number, "sent 0 of 1 segment, SOME: " + end));
    }
    for (const std::string &line : lines(static_cast<size_t>(count))) {
      actual.push_back(withoutAmount(line));
    }
    EXPECT_EQ(actual, expected);
  }

  std::vector<std::unique_ptr<Receiver>> receivers;
};

const Outcome reachesNobody{
    1, "",
    "sprig: large: no sender of it runs here\n"
    "hint: only one that was started by the same user with the same state directory is found\n"};

} // namespace

TEST_F(ServeCommand, PausesAllReceivers) {
  start("large");
  startReceivers(3);
  EXPECT_EQ(test::sprig({"pause", "large"}), (Outcome{0, "paused large: 3 receivers told\n", ""}));
  expectEnd("pause");
  expectLines("paused", 3);
}

TEST_F(ServeCommand, ServesThoseThatComeAgainAfterAPause) {
  start("large");
  startReceivers(1);
  EXPECT_EQ(test::sprig({"pause", "large"}), (Outcome{0, "paused large: 1 receiver told\n", ""}));
  expectEnd("pause");
  expectLines("paused", 1);
  EXPECT_EQ(Receiver("unix:s").get(large.table), (Answer{largeContent, "end"}));
  EXPECT_EQ(line(), told(2, "sent 1 segment, 2.0 MiB; it had 0 segments already"));
  EXPECT_EQ(stop(), (Outcome{0, "served 2 receivers\n", ""}));
}

TEST_F(ServeCommand, PausesAReceiverThatHasNothingToDo) {
  start("dist");
  const Receiver receiver("unix:s");
  EXPECT_EQ(receiver.get({}).end, "end");
  EXPECT_EQ(test::sprig({"pause", "tree"}), (Outcome{0, "paused tree: 1 receiver told\n", ""}));
  EXPECT_EQ(receiver.take(), (Answer{"", "pause"}));
  EXPECT_EQ(receiver.take(), (Answer{"", "closed"}));
  EXPECT_EQ(line(), told(1, "paused"));
}

TEST_F(ServeCommand, TellsAReceiverOnlyOnce) {
  start("large");
  startReceivers(1);
  EXPECT_EQ(test::sprig({"pause", "large"}), (Outcome{0, "paused large: 1 receiver told\n", ""}));
  EXPECT_EQ(test::sprig({"pause", "large"}), (Outcome{0, "paused large: 0 receivers told\n", ""}));
  expectEnd("pause");
}

TEST_F(ServeCommand, CancelsAllReceiversAndEnds) {
  start("large");
  startReceivers(3);
  EXPECT_EQ(test::sprig({"cancel", "large"}),
            (Outcome{0, "cancelled large: 3 receivers told\n", ""}));
  expectEnd("cancel");
  expectLines("cancelled", 3);
  EXPECT_EQ(server().wait(), (Outcome{4, "cancelled\n", ""}));
  EXPECT_EQ(test::sprig({"pause", "large"}), reachesNobody);
}

TEST_F(ServeCommand, CancelsWithoutAnyReceiver) {
  start("dist");
  EXPECT_EQ(test::sprig({"cancel", "tree"}),
            (Outcome{0, "cancelled tree: 0 receivers told\n", ""}));
  EXPECT_EQ(server().wait(), (Outcome{4, "cancelled\n", ""}));
}

TEST_F(ServeCommand, CancelsInSpiteOfAReceiverThatDoesNotRead) {
  start("large");
  startReceivers(1);
  EXPECT_EQ(test::sprig({"cancel", "large"}),
            (Outcome{0, "cancelled large: 1 receiver told\n", ""}));
  expectLines("stopped", 1);
  EXPECT_EQ(server().wait(), (Outcome{4, "cancelled\n", ""}));
  expectEnd("closed");
}

TEST_F(ServeCommand, IsToldAsJson) {
  start("dist", {"--json"});
  EXPECT_EQ(
      test::sprig({"pause", "tree", "--json"}),
      (Outcome{0, "{\"distribution\":\"tree\",\"command\":\"pause\",\"receivers\":0}\n", ""}));
  EXPECT_EQ(
      test::sprig({"cancel", "tree", "--json"}),
      (Outcome{0, "{\"distribution\":\"tree\",\"command\":\"cancel\",\"receivers\":0}\n", ""}));
  EXPECT_EQ(server().wait(), (Outcome{4, "{\"event\":\"cancelled\",\"receivers\":0}\n", ""}));
}

TEST_F(ServeCommand, FindsNoSender) {
  EXPECT_EQ(test::sprig({"pause", "large"}), reachesNobody);
  EXPECT_EQ(test::sprig({"cancel", "large"}), reachesNobody);
}

TEST_F(ServeCommand, FindsNoSenderThatWasKilled) {
  start("large");
  server().send(SIGKILL);
  EXPECT_EQ(server().wait().status, -SIGKILL);
  EXPECT_EQ(test::sprig({"pause", "large"}), reachesNobody);
  start("large");
  EXPECT_EQ(test::sprig({"pause", "large"}), (Outcome{0, "paused large: 0 receivers told\n", ""}));
}

TEST_F(ServeCommand, RefusesWhatIsNoId) {
  EXPECT_EQ(test::sprig({"pause", "../tree"}),
            (Outcome{2, "",
                     "sprig: \"../tree\" cannot be the id of a distribution\n"
                     "hint: use up to 64 letters, digits, dots, hyphens and underscores\n"}));
}

TEST_F(ServeCommand, GoesToTheFirstOfTwoSenders) {
  start("dist");
  test::RunningProgram second({"serve", "dist", "--listen", "unix:s2"});
  EXPECT_EQ(second.readLine(), "serving tree at unix:s2: 3 files, 45.0 KiB in 3 segments");
  EXPECT_EQ(Receiver("unix:s2").get(table), (Answer{content, "end"}));
  EXPECT_EQ(test::sprig({"cancel", "tree"}),
            (Outcome{0, "cancelled tree: 0 receivers told\n", ""}));
  EXPECT_EQ(server().wait(), (Outcome{4, "cancelled\n", ""}));
  EXPECT_EQ(second.readLine(), told(1, "sent 3 segments, 45.0 KiB; it had 0 segments already"));
  second.send(SIGTERM);
  const Outcome outcome = second.wait();
  EXPECT_EQ(outcome.output, "served 1 receiver\n");
  const std::string warning = "warning: tree: this sender cannot be paused or cancelled: unix:";
  EXPECT_EQ(outcome.errors.substr(0, warning.size()), warning);
}

TEST_F(ServeCommand, IsNotWaitedForWhereNoneComes) {
  start("dist");
  std::string socket;
  for (const auto &entry : std::filesystem::directory_iterator("state/sprig/serve")) {
    socket = "unix:" + entry.path().string();
  }
  const test::OpenFile silent(runtime_channel_connect(socket.c_str()));
  const test::OpenFile nonsense(runtime_channel_connect(socket.c_str()));
  test::writeBytes(nonsense.fd(), test::frameOf(11, "\7", 0));
  EXPECT_EQ(test::readBytes(nonsense.fd(), 1), "") << "there is no answer";
  EXPECT_EQ(test::sprig({"pause", "tree"}), (Outcome{0, "paused tree: 0 receivers told\n", ""}));
  EXPECT_EQ(Receiver("unix:s").get(table), (Answer{content, "end"}));
}

TEST_F(ServeCommand, ComesAsASignalThatLetsReceiversGo) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    start("large");
    startReceivers(2);
    server().send(signal);
    expectEnd("closed");
    expectLines("stopped", 2);
    EXPECT_EQ(server().wait(), (Outcome{0, "served 2 receivers\n", ""}));
    EXPECT_FALSE(std::filesystem::exists("s"));
    EXPECT_TRUE(std::filesystem::is_empty("state/sprig/serve"));
  }
}

TEST_F(ServeCommand, LeavesNoProcessBehindThatServes) {
  start("large");
  startReceivers(2);
  server().send(SIGKILL);
  EXPECT_EQ(server().wait().status, -SIGKILL);
  expectEnd("closed");
}
