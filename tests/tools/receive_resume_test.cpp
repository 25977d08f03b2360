// `sprig receive` that ends early: what it leaves behind, and how it goes on.
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "support/process.h"
#include "tools/receive.h"

namespace {

namespace fs = std::filesystem;

using test::announced;
using test::goOn;
using test::Outcome;
using test::receivedAll;
using test::RunningProgram;
using test::Sender;
using test::timeless;

constexpr size_t part = 25000; // the first segment, and some of the second

class ReceiveResumed : public test::ReceiveTest {
protected:
  // The same line again: only what was missing is sent, and everything is there.
  void expectToGoOn(size_t missing) {
    RunningProgram program(fromSender({"--no-depot"}));
    EXPECT_EQ(sender.serve(), missing);
    EXPECT_EQ(program.wait().status, 0);
    expectTree();
  }

  Sender sender{"dist"};
};

const std::string kept = "24.4 KiB of 45.0 KiB are kept in out/.sprig\n";

} // namespace

TEST_F(ReceiveResumed, GoesOnAfterAnInterrupt) {
  for (const int signal : {SIGINT, SIGTERM}) {
    fs::remove_all("out");
    RunningProgram program(fromSender({"--no-depot"}));
    startWith(program, sender, part);
    program.send(signal);
    EXPECT_EQ(timeless(program.wait()),
              (Outcome{130, announced, "sprig: interrupted: " + kept + goOn}));
    expectToGoOn(content.size() - part);
  }
}

TEST_F(ReceiveResumed, TellsWhatWasThereAlready) {
  {
    RunningProgram program(fromSender({"--no-depot"}));
    startWith(program, sender, part);
    program.send(SIGINT);
    program.wait();
  }
  RunningProgram program(fromSender({"--no-depot"}));
  sender.serve();
  const std::string output = timeless(program.wait()).output;
  EXPECT_EQ(output.substr(0, output.find("  passed")),
            std::string(announced) + receivedAll +
                "  there already: 24.4 KiB in 1 segment\n"
                "  from the channel: 20.6 KiB in 2 segments\n");
}

TEST_F(ReceiveResumed, GoesOnAfterAnInterruptAtATerminal) {
  {
    const std::unique_ptr<test::Child> sending = std::make_unique<test::Child>([this] {
      const auto table = sender.begin();
      sender.sendData(sender.lacking(table).substr(0, part));
      return sender.isLeft() ? 0 : 1;
    });
    test::ProgramAtTerminal program(fromSender({"--no-depot"}));
    ASSERT_TRUE(test::await([] { return test::keptBytes("out") == part; }));
    program.type("\3");
    const Outcome outcome = program.wait();
    EXPECT_EQ(outcome.status, 130);
    EXPECT_TRUE(outcome.output.ends_with(
        "\r\nsprig: interrupted: 24.4 KiB of 45.0 KiB are kept in out/.sprig\r\n"
        "hint: run the same line again to go on\r\n"))
        << outcome.output;
    EXPECT_EQ(sending->wait(), 0);
  }
  expectToGoOn(content.size() - part);
}

TEST_F(ReceiveResumed, GoesOnAfterItWasKilled) {
  {
    RunningProgram program(fromSender({"--no-depot"}));
    startWith(program, sender, part);
    program.send(SIGKILL);
    EXPECT_EQ(program.wait().status, -SIGKILL);
  }
  expectToGoOn(content.size() - part);
}

TEST_F(ReceiveResumed, GoesOnAgainAndAgain) {
  for (size_t bytes = 5000; bytes < content.size(); bytes += 5000) {
    RunningProgram program(fromSender({"--no-depot"}));
    const auto table = sender.begin();
    sender.sendData(sender.lacking(table).substr(0, 5000));
    ASSERT_TRUE(test::await([=] { return test::keptBytes("out") == bytes; }));
    program.send(SIGKILL);
    program.wait();
  }
  expectToGoOn(content.size() % 5000);
}

TEST_F(ReceiveResumed, GoesOnAfterTheSenderHasGone) {
  RunningProgram program(fromSender({"--no-depot"}));
  startWith(program, sender, part);
  sender.hangUp();
  EXPECT_EQ(timeless(program.wait()),
            (Outcome{1, announced,
                     "sprig: unix:" + directory / "sender" +
                         ": The channel fd:N is cut off: the sender has closed it.\n" + goOn}));
  expectToGoOn(content.size() - part);
}

TEST_F(ReceiveResumed, GoesOnAfterTheSenderHasBrokenOff) {
  RunningProgram program(fromSender({"--no-depot"}));
  startWith(program, sender, part);
  sender.sendRaw("SPR\1");
  sender.hangUp();
  EXPECT_EQ(program.wait().status, 1);
  expectToGoOn(content.size() - part);
}

TEST_F(ReceiveResumed, GoesOnWithADepot) {
  {
    RunningProgram program(fromSender());
    startWith(program, sender, part);
    program.send(SIGINT);
    EXPECT_EQ(program.wait().status, 130);
  }
  RunningProgram program(fromSender());
  EXPECT_EQ(sender.serve(), content.size() - part);
  EXPECT_EQ(program.wait().status, 0);
  expectTree();
  fs::remove_all("out");
  RunningProgram again(fromSender());
  sender.serve();
  EXPECT_EQ(again.wait().status, 0);
  expectTree();
}

TEST_F(ReceiveResumed, LeavesNothingBehindWhenItIsDone) {
  {
    RunningProgram program(fromSender({"--no-depot"}));
    startWith(program, sender, part);
    program.send(SIGINT);
    program.wait();
    EXPECT_TRUE(fs::exists("out/.sprig"));
  }
  expectToGoOn(content.size() - part);
  EXPECT_FALSE(fs::exists("out/.sprig"));
}

TEST_F(ReceiveResumed, PutsNoFileInPlaceBeforeEverythingIsThere) {
  RunningProgram program(fromSender({"--no-depot"}));
  startWith(program, sender, part);
  program.send(SIGINT);
  program.wait();
  EXPECT_FALSE(fs::exists("out/docs/manual"));
  EXPECT_FALSE(fs::exists("out/image"));
}

TEST_F(ReceiveResumed, FetchesAnewWhatWasDamagedMeanwhile) {
  {
    RunningProgram program(fromSender({"--no-depot"}));
    startWith(program, sender, part);
    program.send(SIGKILL);
    program.wait();
  }
  for (const auto &entry : fs::directory_iterator("out/.sprig/tree")) {
    test::damage(entry.path().string());
  }
  RunningProgram program(fromSender({"--no-depot"}));
  // The whole first segment is known to be wrong at once, the part of the second when it is there.
  EXPECT_EQ(sender.serve(), content.size() - (part - 15360) + 20480);
  const Outcome outcome = timeless(program.wait());
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(outcome.errors.starts_with("warning: image: refused: ")) << outcome.errors;
  expectTree();
}

TEST_F(ReceiveResumed, FetchesAnewWhatHasGrownMeanwhile) {
  {
    RunningProgram program(fromSender({"--no-depot"}));
    startWith(program, sender, part);
    program.send(SIGKILL);
    program.wait();
  }
  for (const auto &entry : fs::directory_iterator("out/.sprig/tree")) {
    fs::resize_file(entry.path(), 1000000);
  }
  expectToGoOn(content.size() - 15360);
}

TEST_F(ReceiveResumed, ShowsNobodyElseWhatItKeeps) {
  RunningProgram program(fromSender({"--no-depot"}));
  startWith(program, sender, part);
  for (const auto &entry : fs::directory_iterator("out/.sprig/tree")) {
    EXPECT_EQ(entry.status().permissions() & (fs::perms::group_all | fs::perms::others_all),
              fs::perms::none)
        << entry.path();
  }
}

TEST_F(ReceiveResumed, FollowsNoLinkFromWhatWasKept) {
  {
    RunningProgram program(fromSender({"--no-depot"}));
    startWith(program, sender, part);
    program.send(SIGKILL);
    program.wait();
  }
  test::writeFile("mine", "mine");
  for (const auto &entry : fs::directory_iterator("out/.sprig/tree")) {
    fs::remove(entry.path());
    fs::create_symlink(directory / "mine", entry.path());
  }
  RunningProgram program(fromSender({"--no-depot"}));
  sender.serve();
  program.wait();
  EXPECT_EQ(test::readFile("mine"), "mine");
}

TEST_F(ReceiveResumed, GoesOnWithAnotherVersionOfTheDistribution) {
  {
    RunningProgram program(fromSender({"--no-depot"}));
    startWith(program, sender, part);
    program.send(SIGKILL);
    program.wait();
  }
  fs::remove("tree/image");
  test::makeTree("tree", {{"image", test::file(std::string(20480, 'i'))}});
  packAgain();
  expectToGoOn(content.size() - 15360);
}

TEST_F(ReceiveResumed, IsInterruptedBeforeItKnowsWhatItReceives) {
  RunningProgram program(fromSender({"--no-depot"}));
  sender.accept();
  ASSERT_TRUE(sender.awaitTable().has_value());
  program.send(SIGINT);
  EXPECT_EQ(program.wait(), (Outcome{130, "", "sprig: interrupted\n"}));
  EXPECT_FALSE(fs::exists("out"));
}
