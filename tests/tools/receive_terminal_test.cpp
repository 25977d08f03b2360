// `sprig receive` at a terminal: the bar, which never goes back, and is full only at the end.
#include <algorithm>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/process.h"
#include "tools/receive.h"

namespace {

using test::Child;
using test::ProgramAtTerminal;
using test::Sender;

// The states of the one line that is rewritten, in the order in which they appeared.
std::vector<std::string> barsIn(const std::string &shown) {
  static const std::regex bar("\r(tree \\[[^\r\n]*)\x1b\\[K");
  std::vector<std::string> bars;
  for (std::sregex_iterator at(shown.begin(), shown.end(), bar), end; at != end; ++at) {
    bars.push_back((*at)[1]);
  }
  return bars;
}

int percentOf(const std::string &bar) {
  static const std::regex percent("\\] (\\d+) % of ");
  std::smatch match;
  return std::regex_search(bar, match, percent) ? std::stoi(match[1]) : -1;
}

std::vector<int> percentsIn(const std::string &shown) {
  std::vector<int> percents;
  for (const std::string &bar : barsIn(shown)) {
    percents.push_back(percentOf(bar));
  }
  return percents;
}

// They never go back, and the last one tells that everything is there.
void expectHonest(const std::vector<int> &percents) {
  EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
  ASSERT_FALSE(percents.empty());
  EXPECT_EQ(percents.back(), 100);
}

// What was left on the screen: of each line its last state.
std::string screen(const std::string &shown) {
  static const std::regex rewritten("[^\n]*\r(?!\n)");
  static const std::regex ends("\x1b\\[K|\r");
  return std::regex_replace(std::regex_replace(shown, rewritten, ""), ends, "");
}

class ReceiveAtTerminal : public test::ReceiveTest {
protected:
  // A sender of its own, since the terminal must be read meanwhile. It sends the rest when it is
  // told that the first bytes were seen.
  std::unique_ptr<Child> startSending(size_t first) {
    return std::make_unique<Child>([this, first] {
      const auto table = sender.begin();
      const std::string bytes = sender.lacking(table);
      sender.sendData(bytes.substr(0, first));
      CHILD_EXPECT(hasSeen.await());
      sender.sendData(bytes.substr(first));
      sender.sendEnd();
      CHILD_EXPECT(sender.isLeft());
      return 0;
    });
  }

  Sender sender{"dist"};
  const test::Event hasSeen;
};

} // namespace

TEST_F(ReceiveAtTerminal, ShowsHowFarItHasCome) {
  const auto sending = startSending(23040); // the half
  ProgramAtTerminal program(fromSender({"--no-depot"}));
  EXPECT_TRUE(program.awaitText("tree [############............] 50 % of 45.0 KiB, "));
  hasSeen.raise();
  const test::Outcome outcome = program.wait();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(sending->wait(), 0);
  const std::vector<int> percents = percentsIn(outcome.output);
  expectHonest(percents);
  expectTree();
}

TEST_F(ReceiveAtTerminal, TellsRateAndTimeLeft) {
  const auto sending = startSending(23040);
  ProgramAtTerminal program(fromSender({"--no-depot"}));
  EXPECT_TRUE(program.awaitText("50 % of"));
  hasSeen.raise();
  const std::vector<std::string> bars = barsIn(program.wait().output);
  EXPECT_EQ(sending->wait(), 0);
  static const std::regex whole("tree \\[[#.]{24}\\] \\d+ % of 45\\.0 KiB, "
                                "\\d+(\\.\\d)? [KM]?i?B/s(, \\d+ s left)?");
  for (const std::string &bar : bars) {
    EXPECT_TRUE(std::regex_match(bar, whole)) << bar;
  }
  EXPECT_TRUE(std::any_of(bars.begin(), bars.end(), [](const std::string &bar) {
    return percentOf(bar) == 50 && bar.ends_with(" s left");
  }));
}

TEST_F(ReceiveAtTerminal, LeavesOneLineOfIt) {
  const auto sending = startSending(23040);
  ProgramAtTerminal program(fromSender({"--no-depot"}));
  EXPECT_TRUE(program.awaitText("50 % of"));
  hasSeen.raise();
  const std::string left = screen(program.wait().output);
  EXPECT_EQ(sending->wait(), 0);
  static const std::regex expected(
      "tree: 3 files, 45\\.0 KiB in 3 segments\n"
      "tree \\[#{24}\\] 100 % of 45\\.0 KiB, [0-9.]+ [KM]?i?B/s\n"
      "received tree into out: 3 files, 45\\.0 KiB, every byte verified\n"
      "  from the channel: 45\\.0 KiB in 3 segments\n"
      "(  passed over: [^\n]*\n){4}");
  EXPECT_TRUE(std::regex_match(left, expected)) << left;
}

TEST_F(ReceiveAtTerminal, IsNotFullBeforeTheLastSegmentIsVerified) {
  const auto sending = std::make_unique<Child>([this] {
    const auto table = sender.begin();
    std::string bytes = sender.lacking(table);
    bytes.back() = static_cast<char>(~bytes.back());
    sender.sendData(bytes); // all, but wrong at the end
    CHILD_EXPECT(hasSeen.await());
    sender.sendEnd();
    const auto rest = sender.awaitTable();
    CHILD_EXPECT(rest.has_value());
    sender.serveFrom(*rest);
    return 0;
  });
  ProgramAtTerminal program(fromSender({"--no-depot"}));
  EXPECT_TRUE(program.awaitText("refused: "));
  hasSeen.raise();
  const std::string shown = program.wait().output;
  EXPECT_EQ(sending->wait(), 0);
  const std::vector<int> percents = percentsIn(shown);
  expectHonest(percents);
  const std::vector<int> before = percentsIn(shown.substr(0, shown.find("refused: ")));
  EXPECT_EQ(std::count(before.begin(), before.end(), 100), 0);
  expectTree();
}

TEST_F(ReceiveAtTerminal, BeginsWhereItWasInterrupted) {
  {
    test::RunningProgram program(fromSender({"--no-depot"}));
    startWith(program, sender, 23040);
  }
  const auto sending = startSending(0);
  ProgramAtTerminal program(fromSender({"--no-depot"}));
  EXPECT_TRUE(program.awaitText("] 50 % of 45.0 KiB, 0 B/s"));
  hasSeen.raise();
  const std::vector<int> percents = percentsIn(program.wait().output);
  EXPECT_EQ(sending->wait(), 0);
  expectHonest(percents);
  EXPECT_EQ(percents.front(), 50);
}

TEST_F(ReceiveAtTerminal, NamesAStallInItsLine) {
  const auto sending = startSending(23040);
  ProgramAtTerminal program(fromSender({"--no-depot", "--stall", "1s"}));
  EXPECT_TRUE(program.awaitText(", stalled: nothing has arrived for 1 s\x1b[K"));
  hasSeen.raise();
  const test::Outcome outcome = program.wait();
  EXPECT_EQ(sending->wait(), 0);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(barsIn(outcome.output).back().find("stalled"), std::string::npos);
}

TEST_F(ReceiveAtTerminal, ShowsNothingWhenItIsToBeQuiet) {
  hasSeen.raise();
  const auto sending = startSending(0);
  ProgramAtTerminal program(fromSender({"--no-depot", "--quiet"}));
  EXPECT_EQ(program.wait(), (test::Outcome{0, "", ""}));
  EXPECT_EQ(sending->wait(), 0);
}
