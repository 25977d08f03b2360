// `sprig receive` and its depot: what is kept there, comes from there, and what happens where it
// cannot be used.
#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include "support/depot.h"
#include "tools/receive.h"

namespace {

namespace fs = std::filesystem;

using test::announced;
using test::Outcome;
using test::receivedAll;
using test::RunningProgram;
using test::Sender;
using test::timeless;

const std::string othersNotAsked = "  passed over: directory: not asked for\n"
                                   "  passed over: CD: not asked for\n"
                                   "  passed over: named files: not asked for\n";

const std::string keptAll = "  kept in the depot: 3 segments until DAY\n";

class ReceiveWithDepot : public test::ReceiveTest {
protected:
  // A receive into "out", where nothing is, with a depot "depot".
  Outcome receive(const test::Arguments &others = {}) {
    fs::remove_all("out");
    Sender sender("dist");
    test::Arguments arguments = fromSender({"--depot", "depot"});
    arguments.insert(arguments.end(), others.begin(), others.end());
    RunningProgram program(arguments);
    sent = sender.serve();
    Outcome outcome = program.wait();
    expectTree();
    return outcome;
  }

  // A receive that tells about the depot with these words, and from where the data came.
  void expectReceived(const Outcome &outcome, const std::string &sources,
                      const std::string &errors = "") {
    EXPECT_EQ(timeless(outcome),
              (Outcome{0, std::string(announced) + receivedAll + sources, errors}));
  }

  static std::vector<std::string> files(const std::string &ending) {
    std::vector<std::string> paths;
    for (const auto &entry : fs::directory_iterator("depot")) {
      if (entry.path().extension() == ending) {
        paths.push_back(entry.path().string());
      }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
  }

  // The file in the depot with a file of the tree.
  std::string dataFile(const std::string &path) const {
    for (const std::string &file : files(".dat")) {
      if (test::readFile(file) == tree.at(path).content) {
        return file;
      }
    }
    ADD_FAILURE() << path << " is not in the depot";
    return {};
  }

  uint64_t sent = 0;
};

std::string dayAfter(int64_t days, const char *format = "%Y-%m-%d") {
  const std::time_t time = std::time(nullptr) + days * 86400;
  std::ostringstream text;
  text << std::put_time(std::gmtime(&time), format);
  return text.str();
}

} // namespace

TEST_F(ReceiveWithDepot, BringsTheSecondTimeEverythingFromThere) {
  receive();
  EXPECT_EQ(sent, content.size());
  expectReceived(receive(), "  from the depot: 45.0 KiB in 3 segments\n"
                            "  passed over: channel: nothing was missing\n" +
                                othersNotAsked + keptAll);
  EXPECT_EQ(sent, 0U);
}

TEST_F(ReceiveWithDepot, KeepsSegmentsForAnyNumberOfReceives) {
  receive();
  for (int i = 0; i < 4; ++i) {
    receive();
    EXPECT_EQ(sent, 0U) << i;
  }
  EXPECT_EQ(files(".dat").size(), 3U);
}

TEST_F(ReceiveWithDepot, BringsTheRestOverTheChannel) {
  receive();
  fs::remove_all("tree/notes");
  test::makeTree("tree", {{"notes", test::file(std::string(10240, 'n'), 0755)}});
  packAgain();
  expectReceived(receive(), "  from the depot: 35.0 KiB in 2 segments\n"
                            "  from the channel: 10.0 KiB in 1 segment\n" +
                                othersNotAsked + keptAll);
  EXPECT_EQ(sent, 10240U);
  receive();
  EXPECT_EQ(sent, 0U);
}

TEST_F(ReceiveWithDepot, IsTheUsersOwnUnlessOneIsNamed) {
  Sender sender("dist");
  RunningProgram program(fromSender());
  sender.serve();
  EXPECT_EQ(program.wait().status, 0);
  EXPECT_TRUE(fs::exists("state/sprig/depot"));
  EXPECT_FALSE(fs::exists("depot"));
}

TEST_F(ReceiveWithDepot, IsSharedByReceivesOfOtherNames) {
  receive();
  fs::remove_all("dist");
  ASSERT_EQ(test::sprig({"pack", "tree", "-o", "dist", "--id", "other"}).status, 0);
  EXPECT_EQ(receive().status, 0);
  EXPECT_EQ(sent, 0U);
}

TEST_F(ReceiveWithDepot, TellsUntilWhenSegmentsAreKept) {
  const std::string before = dayAfter(2);
  const std::string output = receive({"--keep", "2d"}).output;
  const std::string after = dayAfter(2);
  const std::string line = "  kept in the depot: 3 segments until ";
  EXPECT_TRUE(output.ends_with(line + before + '\n') || output.ends_with(line + after + '\n'))
      << output;
}

TEST_F(ReceiveWithDepot, KeepsNothingThatIsNotToBeKept) {
  expectReceived(receive({"--keep", "0"}), "  from the channel: 45.0 KiB in 3 segments\n"
                                           "  passed over: depot: it has 0 of 3 segments\n" +
                                               othersNotAsked);
  EXPECT_EQ(files(".dat"), std::vector<std::string>{});
}

TEST_F(ReceiveWithDepot, KeepsSegmentsThatWereToBeGoneEarlier) {
  constexpr const char *format = "%Y/%m/%d";
  receive({"--keep", "1d"});
  const std::string before = dayAfter(9, format);
  receive({"--keep", "9d"});
  const std::string after = dayAfter(9, format);
  const std::string shown = test::sprig({"depot", "depot", "list", "-l"}).output;
  const std::string until = "complete until ";
  EXPECT_TRUE(shown.find(until + before) != std::string::npos ||
              shown.find(until + after) != std::string::npos)
      << shown;
}

TEST_F(ReceiveWithDepot, LetsSegmentsGoThatAreExpired) {
  receive();
  for (const std::string &path : files(".xml")) {
    test::Toc toc;
    ASSERT_TRUE(test::parseToc(test::readFile(path), toc));
    toc.deadline = "1";
    test::writeFile(path, toc.bytes());
  }
  EXPECT_EQ(test::sprig({"depot", "depot", "expire"}).status, 0);
  EXPECT_EQ(files(".dat"), std::vector<std::string>{});
  receive();
  EXPECT_EQ(sent, content.size());
}

TEST_F(ReceiveWithDepot, IsNotTouchedWhereItIsNotWanted) {
  receive();
  fs::remove_all("out");
  const auto before = test::readTree("depot");
  Sender sender("dist");
  RunningProgram program(fromSender({"--no-depot"}));
  EXPECT_EQ(sender.serve(), content.size());
  expectReceived(program.wait(), "  from the channel: 45.0 KiB in 3 segments\n"
                                 "  passed over: depot: not wanted\n" +
                                     othersNotAsked);
  EXPECT_EQ(test::readTree("depot"), before);
  EXPECT_FALSE(fs::exists("state/sprig/depot"));
}

TEST_F(ReceiveWithDepot, NamesADamagedEntryAndFetchesItAnew) {
  receive();
  test::damage(dataFile("image"));
  const Outcome outcome = receive();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(
      outcome.errors.starts_with("warning: image: refused: from the depot: its SHA-256 is "))
      << outcome.errors;
  EXPECT_EQ(sent, 20480U);
  EXPECT_NE(outcome.output.find("  from the depot: 25.0 KiB in 2 segments\n"
                                "  from the channel: 20.0 KiB in 1 segment\n"),
            std::string::npos)
      << outcome.output;
  EXPECT_NE(dataFile("image"), "") << "the good one is kept";
  EXPECT_EQ(files(".dat").size(), 3U);
}

TEST_F(ReceiveWithDepot, FetchesAnewWhatIsTooShortThere) {
  receive();
  fs::resize_file(dataFile("image"), 20000);
  fs::resize_file(dataFile("notes"), 0);
  EXPECT_EQ(receive().status, 0);
  EXPECT_EQ(sent, 30720U);
  receive();
  EXPECT_EQ(sent, 0U);
}

TEST_F(ReceiveWithDepot, FetchesAnewWhatHasVanishedThere) {
  receive();
  fs::remove(dataFile("docs/manual"));
  EXPECT_EQ(receive().status, 0);
  EXPECT_EQ(sent, 15360U);
}

TEST_F(ReceiveWithDepot, FetchesEverythingWhereNothingIsGood) {
  receive();
  for (const std::string &file : files(".dat")) {
    test::damage(file);
  }
  EXPECT_EQ(receive().status, 0);
  EXPECT_EQ(sent, content.size());
  receive();
  EXPECT_EQ(sent, 0U);
}

TEST_F(ReceiveWithDepot, ReadsNoneOfItsDescriptionsThatAreDamaged) {
  receive();
  for (const std::string &path : files(".xml")) {
    test::writeFile(path, "<no toc");
  }
  EXPECT_EQ(receive().status, 0);
  EXPECT_EQ(sent, content.size());
}

TEST_F(ReceiveWithDepot, GoesOnWithoutRoomInIt) {
  expectReceived(receive({"--depot-limit", "16"}),
                 "  from the channel: 45.0 KiB in 3 segments\n"
                 "  passed over: depot: it has 0 of 3 segments\n" +
                     othersNotAsked +
                     "  kept in the depot: 1 segment until DAY\n"
                     "  not kept in the depot: 2 segments: the limit of 16 KB is reached\n",
                 "warning: depot " + directory / "depot" +
                     ": the limit of 16 KB is reached: the data go through uncached\n");
}

TEST_F(ReceiveWithDepot, GoesOnWhereItsPlaceIsTaken) {
  test::writeFile("depot", "a file\n");
  expectReceived(receive(),
                 "  from the channel: 45.0 KiB in 3 segments\n"
                 "  passed over: depot: Not a directory\n" +
                     othersNotAsked + "  not kept in the depot: 3 segments: Not a directory\n",
                 "warning: depot " + directory / "depot" +
                     ": Not a directory: the data go through uncached\n");
  EXPECT_EQ(test::readFile("depot"), "a file\n");
}

// Nobody may make a file there, root included.
TEST_F(ReceiveWithDepot, GoesOnWhereItCannotBeWritten) {
  fs::create_directory_symlink("/proc", "depot");
  const Outcome outcome = receive();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(sent, content.size());
  static const std::regex warning("warning: depot [^\n]*: the data go through uncached\n");
  EXPECT_TRUE(std::regex_match(outcome.errors, warning)) << outcome.errors;
  EXPECT_NE(outcome.output.find("\n  not kept in the depot: 3 segments: "), std::string::npos)
      << outcome.output;
}

TEST_F(ReceiveWithDepot, TouchesNoFileThatADamagedEntryNames) {
  receive();
  test::writeFile("precious", "mine");
  for (const std::string &path : files(".xml")) {
    test::Toc toc;
    ASSERT_TRUE(test::parseToc(test::readFile(path), toc));
    toc.location = directory / "precious";
    toc.referenceCount = "1";
    test::writeFile(path, toc.bytes());
  }
  EXPECT_EQ(receive().status, 0);
  EXPECT_EQ(sent, content.size());
  EXPECT_EQ(test::readFile("precious"), "mine");
}

TEST_F(ReceiveWithDepot, KeepsWhatItHasWhereTheDirectoryIsFull) {
  receive();
  fs::remove(dataFile("notes"));
  fs::remove_all("out");
  Sender sender("dist");
  Outcome outcome;
  {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit limit{16384, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    RunningProgram program(fromSender({"--depot", "depot"}));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    sender.serve();
    outcome = program.wait();
  }
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.errors.find("File too large"), std::string::npos) << outcome.errors;
  EXPECT_EQ(outcome.errors.find("refused"), std::string::npos) << outcome.errors;
  EXPECT_EQ(files(".dat").size(), 2U);
}

TEST_F(ReceiveWithDepot, GoesOnWhereItsDataAreNoFiles) {
  receive();
  const std::string image = dataFile("image");
  fs::remove(image);
  fs::create_directories(image + "/more");
  EXPECT_EQ(receive().status, 0);
  EXPECT_EQ(sent, 20480U);
}

TEST_F(ReceiveWithDepot, RefusesADepotThatNoConfigurationCanName) {
  Sender sender("dist");
  RunningProgram program(fromSender({"--depot", "blank "}));
  EXPECT_EQ(sender.serve(), content.size());
  const Outcome outcome = program.wait();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.errors.find("its path ends with a blank, or has a newline in it"),
            std::string::npos)
      << outcome.errors;
}
