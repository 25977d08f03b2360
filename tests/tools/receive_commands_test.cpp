// `sprig receive` while something happens: the sender pauses, cancels or stalls, or another receive
// comes.
#include <csignal>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/process.h"
#include "tools/receive.h"

namespace {

namespace fs = std::filesystem;

using test::announced;
using test::goOn;
using test::Outcome;
using test::RunningProgram;
using test::Sender;
using test::timeless;

constexpr size_t part = 25000; // the first segment, and some of the second

class ReceiveAtWork : public test::ReceiveTest {
protected:
  // Waits for so many lines about a stall.
  static bool awaitStalls(const RunningProgram &program, size_t count) {
    return test::await([&] { return countStalls(test::errorsOf(program)) == count; });
  }
  static size_t countStalls(const std::string &text) {
    static const std::string line = "tree: stalled: nothing has arrived for 1 s\n";
    size_t count = 0;
    for (size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) {
      ++count;
    }
    return count;
  }

  Sender sender{"dist"};
};

const std::string kept = "24.4 KiB of 45.0 KiB are kept in out/.sprig\n";

} // namespace

TEST_F(ReceiveAtWork, IsPaused) {
  RunningProgram program(fromSender({"--no-depot"}));
  startWith(program, sender, part);
  sender.sendCommand(sprig::Command::pause);
  EXPECT_EQ(timeless(program.wait()),
            (Outcome{3, announced, "sprig: tree: paused by the sender: " + kept + goOn}));
  RunningProgram again(fromSender({"--no-depot"}));
  EXPECT_EQ(sender.serve(), content.size() - part);
  EXPECT_EQ(again.wait().status, 0);
  expectTree();
}

TEST_F(ReceiveAtWork, IsCancelled) {
  RunningProgram program(fromSender({"--no-depot"}));
  startWith(program, sender, part);
  sender.sendCommand(sprig::Command::cancel);
  EXPECT_EQ(timeless(program.wait()),
            (Outcome{4, announced, "sprig: tree: cancelled by the sender: " + kept}));
  EXPECT_FALSE(fs::exists("out/image"));
}

TEST_F(ReceiveAtWork, IsPausedBeforeAnythingHasCome) {
  RunningProgram program(fromSender({"--no-depot"}));
  sender.accept();
  ASSERT_TRUE(sender.awaitTable().has_value());
  sender.sendCommand(sprig::Command::pause);
  const Outcome outcome = program.wait();
  EXPECT_EQ(
      outcome,
      (Outcome{3, "", "sprig: unix:" + directory / "sender" + ": paused by the sender\n" + goOn}));
  EXPECT_FALSE(fs::exists("out"));
}

TEST_F(ReceiveAtWork, FollowsInItsStatus) {
  RunningProgram program(fromSender({"--no-depot"}));
  startWith(program, sender, part);
  sender.sendCommand(sprig::Command::pause);
  program.wait();
  EXPECT_NE(test::sprig({"status", "tree"}).output.find("\ntree  paused  "), std::string::npos);
  RunningProgram again(fromSender({"--no-depot"}));
  sender.serve();
  again.wait();
  EXPECT_EQ(test::sprig({"status", "tree"}), (Outcome{0,
                                                      "ID    STATE  RECEIVED     TOTAL  PERCENT\n"
                                                      "tree  done   45.0 KiB  45.0 KiB    100 %\n",
                                                      ""}));
}

TEST_F(ReceiveAtWork, NamesEachStallOnce) {
  RunningProgram program(fromSender({"--no-depot", "--stall", "1s"}));
  const auto table = sender.begin();
  const std::string bytes = sender.lacking(table);
  sender.sendData(bytes.substr(0, 1000));
  EXPECT_TRUE(awaitStalls(program, 1));
  sender.sendData(bytes.substr(1000, 1000));
  EXPECT_TRUE(awaitStalls(program, 2));
  sender.sendData(bytes.substr(2000));
  sender.sendEnd();
  EXPECT_TRUE(sender.isLeft());
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(countStalls(outcome.errors), 2U);
  expectTree();
}

TEST_F(ReceiveAtWork, LetsNoOtherReceiveIntoItsDirectory) {
  RunningProgram program(fromSender({"--no-depot"}));
  startWith(program, sender, part);
  EXPECT_EQ(test::sprig(from("dir:dist")),
            (Outcome{1, "",
                     "sprig: out: another receive is at work there\n"
                     "hint: wait for it, or receive into another directory\n"}));
  EXPECT_EQ(test::sprig({"receive", "--into", "other", "--from", "dir:dist", "-q"}).status, 0);
  sender.sendData(content.substr(part));
  sender.sendEnd();
  EXPECT_TRUE(sender.isLeft());
  EXPECT_EQ(program.wait().status, 0);
  expectTree();
  expectTree("other");
}

TEST_F(ReceiveAtWork, LeavesTheDirectoryToOthersWhenItIsKilled) {
  {
    RunningProgram program(fromSender({"--no-depot"}));
    startWith(program, sender, part);
  }
  EXPECT_EQ(test::sprig(from("dir:dist", {"--quiet"})), (Outcome{0, "", ""}));
  expectTree();
}

TEST_F(ReceiveAtWork, NamesAStallBeforeItKnowsWhatItReceives) {
  RunningProgram program(fromSender({"--no-depot", "--stall", "1s"}));
  sender.accept();
  const std::string line =
      "unix:" + directory / "sender" + ": stalled: nothing has arrived for 1 s\n";
  EXPECT_TRUE(test::await([&] { return test::errorsOf(program) == line; }));
}

TEST_F(ReceiveAtWork, IsToldAsFailedWhenItsDataStayWrong) {
  RunningProgram program(fromSender({"--no-depot"}));
  sender.serve([](std::string_view id, const std::string &bytes) {
    return id == "image" ? std::string(bytes.size(), 'x') : bytes;
  });
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.status, 5);
  const std::string refusal = "warning: image: refused: from the channel: ";
  EXPECT_EQ(outcome.errors.find(refusal), outcome.errors.rfind(refusal)) << "told once";
  const Outcome status = test::sprig({"status", "tree"});
  EXPECT_NE(status.output.find("failed"), std::string::npos) << status.output;
  EXPECT_EQ(status.output.find("100 %"), std::string::npos) << status.output;
  EXPECT_NE(status.output.find("does not match what was packed: image"), std::string::npos)
      << status.output;
}
