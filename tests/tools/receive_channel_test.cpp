// `sprig receive` over a channel: what arrives, and what is said of it.
#include <csignal>
#include <filesystem>
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tools/receive.h"

namespace {

namespace fs = std::filesystem;

using Json = nlohmann::json;
using test::announced;
using test::Outcome;
using test::receivedAll;
using test::RunningProgram;
using test::Sender;
using test::timeless;

const std::string othersNotAsked = "  passed over: directory: not asked for\n"
                                   "  passed over: CD: not asked for\n"
                                   "  passed over: named files: not asked for\n";

Json passedOver(const std::string &why) {
  return {{"bytes", 0}, {"segments", 0}, {"passed_over", why}};
}

class ReceiveOverChannel : public test::ReceiveTest {
protected:
  // Everything is sent, to a receive with these arguments besides.
  Outcome receive(const test::Arguments &others = {}) {
    Sender sender("dist");
    RunningProgram program(fromSender(others));
    sent = sender.serve();
    return timeless(program.wait());
  }

  uint64_t sent = 0;
};

} // namespace

TEST_F(ReceiveOverChannel, TellsWhatCameFromWhere) {
  EXPECT_EQ(receive(), (Outcome{0,
                                std::string(announced) + receivedAll +
                                    "  from the channel: 45.0 KiB in 3 segments\n"
                                    "  passed over: depot: it has 0 of 3 segments\n" +
                                    othersNotAsked + "  kept in the depot: 3 segments until DAY\n",
                                ""}));
  expectTree();
  EXPECT_EQ(sent, content.size());
}

TEST_F(ReceiveOverChannel, BringsEverythingThatCanBePacked) {
  fs::remove_all("tree");
  test::makeTree("tree", test::oddTree());
  packAgain();
  EXPECT_EQ(receive().status, 0);
  EXPECT_EQ(test::readTree("out"), test::oddTree());
}

TEST_F(ReceiveOverChannel, SetsModesThatTheUmaskForbids) {
  const mode_t before = umask(0077);
  EXPECT_EQ(receive().status, 0);
  umask(before);
  expectTree();
}

TEST_F(ReceiveOverChannel, ReplacesAFileThatIsOnlyRead) {
  fs::permissions("tree/notes", fs::perms::owner_read);
  packAgain();
  test::makeTree("out", {{"notes", test::file("old", 0400)}, {"mine", test::file("mine", 0600)}});
  EXPECT_EQ(receive().status, 0);
  EXPECT_EQ(test::readFile("out/mine"), "mine");
  fs::remove("out/mine");
  expectTree();
}

TEST_F(ReceiveOverChannel, ReplacesAFileThatALinkHasTheNameOf) {
  test::makeTree("out", {{"notes", test::link("../elsewhere")}});
  test::writeFile("elsewhere", "mine");
  EXPECT_EQ(receive().status, 0);
  EXPECT_EQ(test::readFile("elsewhere"), "mine");
  expectTree();
}

TEST_F(ReceiveOverChannel, PutsSlicesTogether) {
  fs::remove_all("dist");
  ASSERT_EQ(test::sprig({"pack", "tree", "-o", "dist", "--segment-size", "1000"}).status, 0);
  EXPECT_EQ(receive({"--quiet"}).status, 0);
  expectTree();
}

TEST_F(ReceiveOverChannel, BringsATreeWithoutData) {
  fs::remove_all("tree");
  test::makeTree("tree", {{"empty", test::file("", 0600)}, {"nothing", test::folder(0700)}});
  packAgain();
  EXPECT_EQ(receive().status, 0);
  expectTree();
  EXPECT_EQ(sent, 0U);
}

TEST_F(ReceiveOverChannel, SaysNothingWhenItIsToBeQuiet) {
  EXPECT_EQ(receive({"--quiet"}), (Outcome{0, "", ""}));
  expectTree();
}

TEST_F(ReceiveOverChannel, FindsNothingMissingTheSecondTime) {
  EXPECT_EQ(receive({"--no-depot"}).status, 0);
  EXPECT_EQ(receive({"--no-depot"}), (Outcome{0,
                                              std::string(announced) + receivedAll +
                                                  "  there already: 45.0 KiB in 3 segments\n"
                                                  "  passed over: depot: not wanted\n"
                                                  "  passed over: channel: nothing was missing\n" +
                                                  othersNotAsked,
                                              ""}));
  EXPECT_EQ(sent, 0U);
  expectTree();
}

TEST_F(ReceiveOverChannel, BringsBackWhatWasChangedThere) {
  EXPECT_EQ(receive({"--no-depot"}).status, 0);
  test::damage("out/image");
  fs::remove("out/notes");
  fs::permissions("out/docs", fs::perms::owner_all);
  fs::permissions("out/docs/manual", fs::perms::owner_read);
  EXPECT_EQ(receive({"--no-depot"}).status, 0);
  EXPECT_EQ(sent, 30720U);
  expectTree();
}

TEST_F(ReceiveOverChannel, TellsItAsJson) {
  const Outcome outcome = receive({"--json"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.errors, "");
  Json result = Json::parse(outcome.output);
  EXPECT_TRUE(result.at("depot").at("until").is_number_integer());
  result.at("depot").erase("until");
  EXPECT_EQ(result, (Json{{"distribution", "tree"},
                          {"into", "out"},
                          {"files", 3},
                          {"bytes", 46080},
                          {"sources",
                           {{"here", {{"bytes", 0}, {"segments", 0}}},
                            {"depot", passedOver("it has 0 of 3 segments")},
                            {"channel", {{"bytes", 46080}, {"segments", 3}}},
                            {"directory", passedOver("not asked for")},
                            {"cd", passedOver("not asked for")},
                            {"files", passedOver("not asked for")}}},
                          {"refused", Json::array()},
                          {"depot", {{"kept", 3}, {"not_kept", 0}}}}));
}

TEST_F(ReceiveOverChannel, KeepsToTheSessionThatItIsGiven) {
  Sender sender("dist");
  RunningProgram program(fromSender({"--session", "5"}));
  sender.accept();
  sender.hangUp();
  EXPECT_EQ(program.wait().status, 1);
}

TEST_F(ReceiveOverChannel, NamesASegmentThatArrivedDamagedAndAsksForItAgain) {
  Sender sender("dist");
  RunningProgram program(fromSender({"--no-depot"}));
  const auto table = sender.begin();
  bool isDamaged = false;
  const uint64_t sent =
      sender.serveFrom(table, [&isDamaged](std::string_view id, std::string bytes) {
        if (id == "image" && !isDamaged) {
          bytes[5] = static_cast<char>(~bytes[5]);
          isDamaged = true;
        }
        return bytes;
      });
  const Outcome outcome = timeless(program.wait());
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output.substr(0, outcome.output.find("  passed")),
            std::string(announced) + receivedAll + "  from the channel: 45.0 KiB in 3 segments\n");
  EXPECT_TRUE(
      outcome.errors.starts_with("warning: image: refused: from the channel: its SHA-256 is "))
      << outcome.errors;
  EXPECT_EQ(sent, content.size() + 20480);
  expectTree();
}

TEST_F(ReceiveOverChannel, RefusesDataThatStayWrong) {
  Sender sender("dist");
  RunningProgram program(fromSender());
  sender.serve([](std::string_view id, std::string bytes) {
    bytes[0] = static_cast<char>(id == "image" ? ~bytes[0] : bytes[0]);
    return bytes;
  });
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.status, 5);
  EXPECT_EQ(outcome.output, announced);
  EXPECT_TRUE(
      outcome.errors.ends_with("\nsprig: tree: 1 segment does not match what was packed: image\n"
                               "hint: the distribution itself may be damaged: pack it again\n"))
      << outcome.errors;
  EXPECT_FALSE(fs::exists("out/image"));
}

TEST_F(ReceiveOverChannel, ComesFromTheProgramThatServes) {
  RunningProgram serve({"serve", "dist", "--listen", "unix:served", "--count", "1"});
  ASSERT_EQ(serve.readLine(), "serving tree at unix:served: 3 files, 45.0 KiB in 3 segments");
  EXPECT_EQ(test::sprig(from("unix:served", {"--quiet"})), (Outcome{0, "", ""}));
  expectTree();
  EXPECT_EQ(serve.wait().status, 0);
}

TEST_F(ReceiveOverChannel, ComesOverTcp) {
  RunningProgram serve({"serve", "dist", "--listen", "tcp:127.0.0.1:0", "--count", "1"});
  const std::string line = serve.readLine();
  const std::string prefix = "serving tree at ";
  ASSERT_TRUE(line.starts_with(prefix + "tcp:127.0.0.1:")) << line;
  const std::string address = line.substr(prefix.size(), line.find(": 3 files") - prefix.size());
  EXPECT_EQ(test::sprig(from(address, {"--quiet"})), (Outcome{0, "", ""}));
  expectTree();
  EXPECT_EQ(serve.wait().status, 0);
}

TEST_F(ReceiveOverChannel, SaysThatNobodyServesThere) {
  EXPECT_EQ(test::sprig(from("unix:nobody")),
            (Outcome{1, "",
                     "sprig: unix:" + directory / "nobody" +
                         ": No such file or directory\n"
                         "hint: is \"sprig serve\" running there?\n"}));
  EXPECT_FALSE(fs::exists("out"));
}

TEST_F(ReceiveOverChannel, AsksForWhatItNeeds) {
  const std::string help = "Run with --help for more information.\n";
  EXPECT_EQ(test::sprig({"receive", "--from", "unix:x"}),
            (Outcome{2, "", "--into is required\n" + help}));
  EXPECT_EQ(test::sprig({"receive", "--into", "out"}),
            (Outcome{2, "", "--from is required\n" + help}));
  EXPECT_EQ(test::sprig(from("unix:x", {"--depot", "d", "--no-depot"})).status, 2);
  EXPECT_EQ(test::sprig({"receive", "--from", "unix:x", "--into", ""}),
            (Outcome{2, "", "sprig: an empty path\nhint: name a file or a directory\n"}));
  EXPECT_EQ(test::sprig(from("elsewhere")),
            (Outcome{2, "",
                     "sprig: --from \"elsewhere\": no source of this kind\n"
                     "hint: unix:PATH, tcp:HOST:PORT, fd:N, stdio:, dir:DIST, files:DIST, "
                     "remote-dir, cd or remote-dir+cd\n"}));
  for (const char *option : {"--keep", "--stall"}) {
    EXPECT_EQ(
        test::sprig(from("unix:x", {option, "soon"})),
        (Outcome{2, "", "sprig: \"soon\" is no duration\nhint: write 90s, 15m, 12h, 30d or 4w\n"}))
        << option;
  }
  EXPECT_FALSE(fs::exists("out"));
}
