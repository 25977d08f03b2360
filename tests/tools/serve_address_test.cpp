// Where `sprig serve` listens: Unix sockets, ports of this host, standard input and output.
#include <filesystem>
#include <string>

#include <csignal>

#include <gtest/gtest.h>

#include <sprig/runtime.h>

#include "tools/serving.h"

namespace {

using test::Answer;
using test::Outcome;
using test::Receiver;

class ServeAddress : public test::ServingTest {
protected:
  static Outcome serve(const std::string &address) {
    return test::sprig({"serve", "dist", "--listen", address});
  }

  static std::string encoded(const sprig::TableOfContents &table) {
    const sprig::Octets octets = table.encode();
    return {octets.begin(), octets.end()};
  }

  void expectThatItServesAt(const std::string &place) {
    const std::string said = start("dist", {"--listen", place + ":0"});
    const std::string before = "serving tree at ";
    const std::string behind = ": 3 files, 45.0 KiB in 3 segments";
    ASSERT_EQ(said.substr(0, before.size()), before);
    const std::string address =
        said.substr(before.size(), said.size() - before.size() - behind.size());
    EXPECT_EQ(said, before + address + behind);
    std::string peer;
    {
      const Receiver receiver(address);
      EXPECT_EQ(receiver.get(table), (Answer{content, "end"}));
      peer =
          address.substr(4, address.rfind(':') - 3) + std::to_string(test::portOf(receiver.fd()));
    }
    EXPECT_EQ(line(),
              "receiver 1 (" + peer + "): sent 3 segments, 45.0 KiB; it had 0 segments already");
  }
};

const std::string serving =
    "serving tree at standard input and output: 3 files, 45.0 KiB in 3 segments\n";

} // namespace

TEST_F(ServeAddress, IsAPortOfThisHost) {
  expectThatItServesAt("tcp:127.0.0.1");
  expectThatItServesAt("tcp:localhost");
}

TEST_F(ServeAddress, IsNoPortOfAnotherHost) {
  for (const std::string host : {"0.0.0.0", "[::]", "10.0.0.1", "example.org", ""}) {
    EXPECT_EQ(serve("tcp:" + host + ":5012"),
              (Outcome{2, "",
                       "sprig: tcp:" + host +
                           ":5012: only this host can be listened at: 127.0.0.1, localhost or "
                           "[::1]\n"
                           "hint: for other hosts, let a remote shell carry the channel: ssh HOST "
                           "sprig ... stdio:\n"}));
  }
}

TEST_F(ServeAddress, IsNone) {
  for (const std::string address :
       {"", "unix:", "tcp:127.0.0.1:x", "tcp:127.0.0.1:65536", "fd:0"}) {
    EXPECT_EQ(serve(address), (Outcome{2, "",
                                       "sprig: " + address + ": not an address to listen at\n" +
                                           "hint: use unix:PATH, tcp:127.0.0.1:PORT or stdio:\n"}));
  }
}

TEST_F(ServeAddress, IsInUse) {
  const Outcome isInUse{1, "",
                        "sprig: unix:s: Address already in use\n"
                        "hint: another process listens there, or it is a file\n"};
  start("dist");
  EXPECT_EQ(serve("unix:s"), isInUse);
  EXPECT_EQ(Receiver("unix:s").get(table), (Answer{content, "end"}));
  stop();
  test::writeFile("s", "a file of somebody's");
  EXPECT_EQ(serve("unix:s"), isInUse);
  EXPECT_EQ(test::readFile("s"), "a file of somebody's");
}

TEST_F(ServeAddress, IsThatOfASenderThatWasKilled) {
  start("dist");
  server().send(SIGKILL);
  server().wait();
  EXPECT_EQ(start("dist"), "serving tree at unix:s: 3 files, 45.0 KiB in 3 segments");
}

TEST_F(ServeAddress, IsWhereNothingCanBeMade) {
  EXPECT_EQ(serve("unix:no/where"),
            (Outcome{1, "", "sprig: unix:no/where: No such file or directory\n"}));
  const std::string longPath(200, 'x');
  EXPECT_EQ(serve("unix:" + longPath),
            (Outcome{1, "", "sprig: unix:" + longPath + ": File name too long\n"}));
}

TEST_F(ServeAddress, IsStandardInputAndOutput) {
  sprig::TableOfContents one;
  one.push_back(sprig::Segment(table[2]));
  EXPECT_EQ(
      test::sprig({"serve", "dist", "--listen", "stdio:"}, test::frameOf(10, encoded(one), 0)),
      (Outcome{0, test::frameOf(11, "\1" + files[2].content, 0) + test::frameOf(23, "", 0),
               serving + "receiver 1 (standard input and output): sent 1 segment, 10.0 KiB; it had "
                         "0 segments already\nserved 1 receiver\n"}));
}

TEST_F(ServeAddress, IsStandardInputThatHasNothing) {
  EXPECT_EQ(test::sprig({"serve", "dist", "--listen", "stdio:"}),
            (Outcome{0, "",
                     serving + "receiver 1 (standard input and output): needed nothing\n"
                               "served 1 receiver\n"}));
}

TEST_F(ServeAddress, IsStandardInputWithNonsense) {
  EXPECT_EQ(test::sprig({"serve", "dist", "--listen", "stdio:"}, "nonsense"),
            (Outcome{0, "",
                     serving + "receiver 1 (standard input and output): refused: what has arrived "
                               "is no message\nserved 1 receiver\n"}));
}

TEST_F(ServeAddress, IsNoTerminal) {
  test::ProgramAtTerminal program({"serve", "dist", "--listen", "stdio:"});
  EXPECT_EQ(program.wait(),
            (Outcome{2,
                     "sprig: standard input and output: they are a terminal\r\n"
                     "hint: it is for programs that carry the channel, such as ssh\r\n",
                     ""}));
}

TEST_F(ServeAddress, IsMissing) {
  const Outcome outcome = test::sprig({"serve", "dist"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors, "--listen is required\nRun with --help for more information.\n");
}
