// `sprig send` and `sprig collect`: a file over a channel, and what comes in between.
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/runtime.h>

#include "support/channel.h"
#include "support/process.h"
#include "tools/made_distribution.h"
#include "tools/program.h"

namespace {

namespace fs = std::filesystem;

using test::Arguments;
using test::frameOf;
using test::Outcome;
using test::RunningProgram;

const std::string waiting = "waiting for out at unix:c";

class Send : public test::ToolTest {
protected:
  Send() { test::writeFile("log", content); }

  static Outcome send(Arguments arguments = {}) {
    arguments.insert(arguments.begin(), {"send", "log", "--to", "unix:c"});
    return test::sprig(arguments);
  }

  // The number of the sender's process is not known.
  static std::string withoutNumber(const std::string &text) {
    const std::string before = "process ";
    const size_t begin = text.find(before) + before.size();
    return text.substr(0, begin) + "N" + text.substr(text.find_first_not_of("0123456789", begin));
  }

  static std::string answerTo(int32_t type, int32_t status) {
    return frameOf(21,
                   test::bigEndian(static_cast<uint32_t>(type)) +
                       test::bigEndian(static_cast<uint32_t>(status)),
                   0);
  }

  static size_t filesHere() {
    size_t count = 0;
    for (const auto &entry : fs::directory_iterator(".")) {
      count += entry.is_regular_file() ? 1 : 0;
    }
    return count;
  }

  const std::string content = test::contentOf(100000);
};

const std::string start = frameOf(20, std::string(32, '\0'), 0);
const std::string end = frameOf(23, "", 0);

// `sprig collect` with everything that comes in given beforehand.
class Collect : public Send {
protected:
  static Outcome collect(const std::string &input, Arguments arguments = {}) {
    arguments.insert(arguments.begin(), {"collect", "-o", "out", "--listen", "stdio:"});
    return test::sprig(arguments, input);
  }

  void expectNothing() const {
    EXPECT_FALSE(fs::exists("out"));
    EXPECT_EQ(filesHere(), 1U) << "the one to send";
  }
};

} // namespace

TEST_F(Send, BringsAFileToACollector) {
  RunningProgram collector({"collect", "-o", "out", "--listen", "unix:c"});
  EXPECT_EQ(collector.readLine(), waiting);
  EXPECT_EQ(send(), (Outcome{0, "sent log to unix:c: 97.7 KiB\n", ""}));
  const Outcome collected = collector.wait();
  EXPECT_EQ(withoutNumber(collected.output), "collected out from process N: 97.7 KiB\n");
  EXPECT_EQ(collected.errors, "");
  EXPECT_EQ(collected.status, 0);
  EXPECT_EQ(test::readFile("out"), content);
  EXPECT_FALSE(fs::exists("c"));
}

TEST_F(Send, BringsTheRestOfAFileInBuffersOfAnySize) {
  test::writeFile("out", "what was there before");
  RunningProgram collector({"collect", "-o", "out", "--listen", "unix:c", "--buffer", "777",
                            "--session", "-5", "--limit", "50000"});
  EXPECT_EQ(collector.readLine(), waiting);
  EXPECT_EQ(send({"--offset", "50000", "--session", "-5"}),
            (Outcome{0, "sent log to unix:c: 48.8 KiB\n", ""}));
  EXPECT_EQ(collector.wait().status, 0);
  EXPECT_EQ(test::readFile("out"), content.substr(50000));
}

TEST_F(Send, GoesOverAPortAndIsToldAsJson) {
  RunningProgram collector({"collect", "-o", "out", "--listen", "tcp:127.0.0.1:0"});
  const std::string line = collector.readLine();
  const std::string address = line.substr(line.find("tcp:"));
  EXPECT_EQ(line, "waiting for out at " + address);
  EXPECT_EQ(
      test::sprig({"send", "log", "--to", address, "--json"}),
      (Outcome{0, "{\"file\":\"log\",\"address\":\"" + address + "\",\"bytes\":100000}\n", ""}));
  EXPECT_EQ(collector.wait().status, 0);
  EXPECT_EQ(test::readFile("out"), content);
}

TEST_F(Send, BringsAFileWithoutContent) {
  test::writeFile("log", "");
  RunningProgram collector({"collect", "-o", "out", "--listen", "unix:c"});
  EXPECT_EQ(collector.readLine(), waiting);
  EXPECT_EQ(send(), (Outcome{0, "sent log to unix:c: 0 B\n", ""}));
  EXPECT_EQ(collector.wait().status, 0);
  EXPECT_EQ(test::readFile("out"), "");
}

TEST_F(Send, IsRefusedWhereTheLimitIsLower) {
  RunningProgram collector(
      {"collect", "-o", "out", "--listen", "unix:c", "--limit", "10K", "--buffer", "4096"});
  EXPECT_EQ(collector.readLine(), waiting);
  EXPECT_EQ(send(), (Outcome{5, "",
                             "sprig: log to unix:c: refused with status -1\n"
                             "hint: ask whoever runs the other side\n"}));
  EXPECT_EQ(collector.wait(), (Outcome{5, "",
                                       "sprig: out: not collected: more than 10.0 KiB\n"
                                       "hint: raise --limit to take it\n"}));
  EXPECT_EQ(filesHere(), 1U);
}

TEST_F(Send, IsRefusedFromTheStart) {
  const test::OpenFile listener(runtime_channel_listen("unix:c"));
  test::Child other([&] {
    const test::OpenFile channel(runtime_channel_accept(listener.fd()));
    CHILD_EXPECT(test::readBytes(channel.fd(), start.size()) == start);
    test::writeBytes(channel.fd(), answerTo(20, -7));
    CHILD_EXPECT(test::readBytes(channel.fd(), end.size()) == end);
    return 0;
  });
  EXPECT_EQ(send(), (Outcome{5, "",
                             "sprig: log to unix:c: refused with status -7\n"
                             "hint: ask whoever runs the other side\n"}));
  EXPECT_EQ(other.wait(), 0);
}

TEST_F(Send, FindsTheOtherSideGone) {
  const test::OpenFile listener(runtime_channel_listen("unix:c"));
  test::Child other([&] {
    const test::OpenFile channel(runtime_channel_accept(listener.fd()));
    CHILD_EXPECT(test::readBytes(channel.fd(), start.size()) == start);
    test::writeBytes(channel.fd(), answerTo(20, 1000));
    return 0;
  });
  const Outcome outcome = send();
  EXPECT_EQ(other.wait(), 0);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, "");
  const std::string before = "sprig: log to unix:c: The channel fd:";
  EXPECT_EQ(outcome.errors.substr(0, before.size()), before);
}

TEST_F(Send, FindsNobody) {
  EXPECT_EQ(send(), (Outcome{1, "",
                             "sprig: unix:c: No such file or directory\n"
                             "hint: \"sprig collect\" must be listening there before\n"}));
  EXPECT_EQ(test::sprig({"send", "log", "--to", "c"}),
            (Outcome{2, "",
                     "sprig: c: not an address to send to\n"
                     "hint: use unix:PATH, tcp:HOST:PORT, fd:N or stdio:\n"}));
}

TEST_F(Send, HasNothingToSend) {
  const auto failure = [](const std::string &file, const Arguments &arguments = {}) {
    Arguments all{"send", file, "--to", "unix:c"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return test::sprig(all);
  };
  EXPECT_EQ(failure("none"), (Outcome{1, "", "sprig: none: No such file or directory\n"}));
  EXPECT_EQ(failure("."), (Outcome{1, "", "sprig: .: Is a directory\n"}));
  EXPECT_EQ(failure("/dev/null"), (Outcome{1, "", "sprig: /dev/null: Not a regular file\n"}));
  EXPECT_EQ(
      failure("log", {"--offset", "100001"}),
      (Outcome{2, "", "sprig: log: it cannot be sent from byte 100001 on: it has 100000 bytes\n"}));
}

TEST_F(Send, ShowsNamesWithoutWhatSteersATerminal) {
  const std::string letters = "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8C\xB1 \xC3\x9F \xE9";
  const std::string controls = "\n\x1B\x7F\x9B\xC2\x9B";
  const std::string halves = "\xE2\x82 \xE0\x82\x9B \xED\xA0\x80 \xF4\x90\x80\x80 \xF0\x9F";
  EXPECT_EQ(test::sprig({"send", letters + controls + halves, "--to", "unix:c"}),
            (Outcome{1, "",
                     "sprig: " + letters +
                         "?????\xE2? \xE0?? \xED\xA0? \xF4??? \xF0?: No such file or "
                         "directory\n"}));
}

TEST_F(Collect, TakesWhatComesOverStandardInput) {
  EXPECT_EQ(collect(start + frameOf(11, "some ", 0) + frameOf(11, "bytes", 0) + end),
            (Outcome{0, answerTo(20, 0) + answerTo(11, 0) + answerTo(11, 0),
                     "collected out from standard input and output: 10 B\n"}));
  EXPECT_EQ(test::readFile("out"), "some bytes");
}

TEST_F(Collect, TellsItAsJson) {
  EXPECT_EQ(collect(start + end, {"--json", "--buffer", "9"}),
            (Outcome{0, answerTo(20, 9),
                     "{\"file\":\"out\",\"peer\":\"standard input and output\",\"bytes\":0}\n"}));
}

TEST_F(Collect, LeavesNothingOfATransferThatIsBrokenOff) {
  const Outcome brokenOff{1, answerTo(20, 0) + answerTo(11, 0),
                          "sprig: out: not collected: standard input and output has broken it "
                          "off\n"};
  const std::string begun = start + frameOf(11, "some ", 0);
  EXPECT_EQ(collect(begun), brokenOff);
  expectNothing();
  EXPECT_EQ(collect(begun + frameOf(11, "bytes", 0).substr(0, 22)), brokenOff);
  expectNothing();
  EXPECT_EQ(collect(""), (Outcome{1, "", brokenOff.errors}));
  expectNothing();
}

TEST_F(Collect, KeepsTheFileThatItDoesNotReplace) {
  test::writeFile("out", "what was there before");
  EXPECT_EQ(collect(start + frameOf(11, "some ", 0)).status, 1);
  EXPECT_EQ(test::readFile("out"), "what was there before");
}

TEST_F(Collect, RefusesNonsense) {
  const auto refusal = [](const std::string &output, const std::string &why) {
    return Outcome{5, output, "sprig: out: not collected: " + why + "\n"};
  };
  const std::string inThePlaceOf = " has arrived in the place of ";
  EXPECT_EQ(collect("nonsense"), refusal("", "what has arrived is no message"));
  EXPECT_EQ(
      collect(frameOf(10, "toc", 0)),
      refusal("", "a message of type 10 and 3 bytes" + inThePlaceOf + "the start of a transfer"));
  EXPECT_EQ(collect(start + start),
            refusal(answerTo(20, 0), "a message of type 20 and 32 bytes" + inThePlaceOf + "data"));
  EXPECT_EQ(collect(start, {"--session", "3"}),
            refusal("", "a message of the session 0 has arrived, not of 3"));
  expectNothing();
}

TEST_F(Collect, TakesNoMoreThanItsLimit) {
  const std::string input = start + frameOf(11, "12345", 0) + frameOf(11, "6", 0) + end;
  EXPECT_EQ(collect(input, {"--limit", "5"}),
            (Outcome{5, answerTo(20, 0) + answerTo(11, 0) + answerTo(11, -1),
                     "sprig: out: not collected: more than 5 B\n"
                     "hint: raise --limit to take it\n"}));
  expectNothing();
  EXPECT_EQ(collect(input, {"--limit", "6"}).status, 0);
}

TEST_F(Collect, HasNowhereToWriteTo) {
  const Outcome nowhere = test::sprig({"collect", "-o", "no/where", "--listen", "unix:c"});
  EXPECT_EQ(nowhere.status, 1);
  EXPECT_EQ(nowhere.errors.substr(0, 16), "sprig: no/where.");
  EXPECT_EQ(test::sprig({"collect", "-o", ".", "--listen", "unix:c"}),
            (Outcome{1, "", "sprig: .: Is a directory\n"}));
}

TEST_F(Collect, LeavesNoSocketWhenItIsInterruptedWhileItWaits) {
  RunningProgram collector({"collect", "-o", "out", "--listen", "unix:c"});
  EXPECT_EQ(collector.readLine(), waiting);
  collector.send(SIGINT);
  EXPECT_EQ(collector.wait(), (Outcome{130, "", "sprig: interrupted: nothing was collected\n"}));
  expectNothing();
  EXPECT_FALSE(fs::exists("c"));
}

TEST_F(Collect, LeavesNothingWhenItIsInterrupted) {
  RunningProgram collector({"collect", "-o", "out", "--listen", "unix:c"});
  EXPECT_EQ(collector.readLine(), waiting);
  const test::OpenFile channel(runtime_channel_connect("unix:c"));
  test::writeBytes(channel.fd(), start + frameOf(11, "some ", 0));
  const std::string answers = answerTo(20, 0) + answerTo(11, 0);
  EXPECT_EQ(test::readBytes(channel.fd(), answers.size()), answers);
  collector.send(SIGINT);
  EXPECT_EQ(collector.wait(), (Outcome{130, "", "sprig: interrupted: nothing was collected\n"}));
  expectNothing();
}
