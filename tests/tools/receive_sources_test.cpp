// `sprig receive` without a sender: from directories, named files and what "remote.dir" lists.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tools/receive.h"

namespace {

namespace fs = std::filesystem;

using test::announced;
using test::goOn;
using test::Outcome;
using test::receivedAll;
using test::timeless;

class ReceiveFromSource : public test::ReceiveTest {
protected:
  void expectReceived(const test::Arguments &arguments, const std::string &sources) {
    EXPECT_EQ(timeless(test::sprig(arguments)),
              (Outcome{0, std::string(announced) + receivedAll + sources, ""}));
    expectTree();
  }

  // From the directories that these lines name.
  test::Arguments fromRemoteDirectories(const std::string &lines,
                                        const test::Arguments &more = {}) {
    fs::create_directory("data");
    test::writeFile("data/remote.dir", lines);
    setenv("KRT_DATDIR", (directory / "data").c_str(), 1);
    test::Arguments others{"--distribution", "dist/distribution"};
    others.insert(others.end(), more.begin(), more.end());
    return from("remote-dir", others);
  }

  // The file of "dist" with the data of a file of the tree.
  std::string dataOf(const std::string &path) const {
    const auto table = test::tableOf(test::loadDistribution("dist"));
    for (const sprig::ConstSegmentView segment : table) {
      if (segment.id() == path) {
        return "dist/" + std::string(segment.location());
      }
    }
    ADD_FAILURE() << path;
    return {};
  }
};

} // namespace

TEST_F(ReceiveFromSource, ComesFromADirectory) {
  expectReceived(from("dir:dist"), "  from the directory: 45.0 KiB in 3 segments\n"
                                   "  passed over: depot: not asked for\n"
                                   "  passed over: channel: not asked for\n"
                                   "  passed over: CD: not asked for\n"
                                   "  passed over: named files: not asked for\n");
  EXPECT_FALSE(fs::exists("state/sprig/depot"));
}

TEST_F(ReceiveFromSource, ComesFromNamedFiles) {
  expectReceived(from("files:dist"), "  from the named files: 45.0 KiB in 3 segments\n"
                                     "  passed over: depot: not asked for\n"
                                     "  passed over: channel: not asked for\n"
                                     "  passed over: directory: not asked for\n"
                                     "  passed over: CD: not asked for\n");
}

TEST_F(ReceiveFromSource, ComesFromDirectoriesThatAreListed) {
  fs::create_directory("second");
  const std::string data = dataOf("image");
  const std::string stem = fs::path(data).stem().string();
  fs::rename(data, "second/" + stem + ".dat");
  fs::rename("dist/" + stem + ".toc", "second/" + stem + ".toc");
  expectReceived(fromRemoteDirectories(directory / "dist" + '\n' + directory / "second" + '\n'),
                 "  from the directory: 45.0 KiB in 3 segments\n"
                 "  passed over: depot: not asked for\n"
                 "  passed over: channel: not asked for\n"
                 "  passed over: CD: not asked for\n"
                 "  passed over: named files: not asked for\n");
}

TEST_F(ReceiveFromSource, BringsEverythingThatCanBePacked) {
  fs::remove_all("tree");
  test::makeTree("tree", test::oddTree());
  packAgain();
  for (const char *source : {"dir:dist", "files:dist"}) {
    fs::remove_all("out");
    EXPECT_EQ(test::sprig(from(source, {"--quiet"})), (Outcome{0, "", ""})) << source;
    EXPECT_EQ(test::readTree("out"), test::oddTree()) << source;
  }
}

TEST_F(ReceiveFromSource, PutsSlicesTogether) {
  fs::remove_all("dist");
  ASSERT_EQ(test::sprig({"pack", "tree", "-o", "dist", "--segment-size", "3000"}).status, 0);
  for (const char *source : {"dir:dist", "files:dist"}) {
    fs::remove_all("out");
    EXPECT_EQ(test::sprig(from(source, {"--quiet"})), (Outcome{0, "", ""})) << source;
    expectTree();
  }
}

TEST_F(ReceiveFromSource, ReadsOnlyWhatIsMissing) {
  ASSERT_EQ(test::sprig(from("dir:dist")).status, 0);
  test::damage("out/notes");
  expectReceived(from("dir:dist"), "  there already: 35.0 KiB in 2 segments\n"
                                   "  from the directory: 10.0 KiB in 1 segment\n"
                                   "  passed over: depot: not asked for\n"
                                   "  passed over: channel: not asked for\n"
                                   "  passed over: CD: not asked for\n"
                                   "  passed over: named files: not asked for\n");
  test::damage("out/notes");
  EXPECT_EQ(test::sprig(from("files:dist", {"--quiet"})), (Outcome{0, "", ""}));
  expectTree();
}

TEST_F(ReceiveFromSource, FindsNothingMissingTheSecondTime) {
  for (const char *source : {"dir:dist", "files:dist"}) {
    ASSERT_EQ(test::sprig(from(source)).status, 0);
    const Outcome outcome = timeless(test::sprig(from(source)));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.output.find("  there already: 45.0 KiB in 3 segments\n"), std::string::npos)
        << outcome;
  }
}

TEST_F(ReceiveFromSource, GoesOnWhereAnotherSourceEnded) {
  test::Sender sender("dist");
  {
    test::RunningProgram program(fromSender({"--no-depot"}));
    startWith(program, sender, 25000);
    program.send(SIGINT);
    EXPECT_EQ(program.wait().status, 130);
  }
  expectReceived(from("dir:dist"), "  there already: 24.4 KiB in 1 segment\n"
                                   "  from the directory: 20.6 KiB in 2 segments\n"
                                   "  passed over: depot: not asked for\n"
                                   "  passed over: channel: not asked for\n"
                                   "  passed over: CD: not asked for\n"
                                   "  passed over: named files: not asked for\n");
}

TEST_F(ReceiveFromSource, NamesWhatIsDamaged) {
  test::damage(dataOf("image"));
  for (const char *source : {"dir:dist", "files:dist"}) {
    const Outcome outcome = test::sprig(from(source, {"--quiet"}));
    EXPECT_EQ(outcome.status, 5) << source;
    EXPECT_EQ(outcome.output, "") << source;
    EXPECT_NE(
        outcome.errors.find("\nsprig: tree: 1 segment does not match what was packed: image\n"),
        std::string::npos)
        << outcome.errors;
    EXPECT_FALSE(fs::exists("out/image"));
  }
}

TEST_F(ReceiveFromSource, NamesWhatIsTooShort) {
  fs::resize_file(dataOf("image"), 20000);
  fs::resize_file(dataOf("docs/manual"), 0);
  for (const char *source : {"dir:dist", "files:dist"}) {
    const Outcome outcome = test::sprig(from(source, {"--quiet"}));
    EXPECT_EQ(outcome.status, 5) << source;
    EXPECT_NE(outcome.errors.find(
                  "\nsprig: tree: 2 segments do not match what was packed: docs/manual, image\n"),
              std::string::npos)
        << outcome.errors;
    EXPECT_FALSE(fs::exists("out/image"));
  }
}

TEST_F(ReceiveFromSource, NamesASegmentThatIsNotThere) {
  const auto version = [&] {
    const auto table = test::tableOf(test::loadDistribution("dist"));
    return std::string((*std::find_if(table.begin(), table.end(), [](auto segment) {
                         return segment.id() == "image";
                       })).version());
  }();
  const fs::path data = dataOf("image");
  fs::remove(data);
  fs::remove(fs::path(data).replace_extension(".toc"));
  EXPECT_EQ(test::sprig(from("dir:dist", {"--quiet"})),
            (Outcome{1, "",
                     "sprig: dir:dist: The segment image^" + version +
                         " required for this distribution could not be found.\n" + goOn}));
}

TEST_F(ReceiveFromSource, NamesAFileThatIsNotThere) {
  fs::remove(dataOf("image"));
  const Outcome outcome = test::sprig(from("files:dist", {"--quiet"}));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.errors.find(directory / dataOf("image")), std::string::npos) << outcome;
}

TEST_F(ReceiveFromSource, NamesADistributionThatIsNotThere) {
  for (const char *source : {"dir:", "files:"}) {
    EXPECT_EQ(
        test::sprig(from(std::string(source) + "none")),
        (Outcome{1, "",
                 "sprig: " + directory / "none/distribution" + ": No such file or directory\n"}));
  }
  EXPECT_EQ(test::sprig(from("dir:tree")), (Outcome{1, "",
                                                    "sprig: " + directory / "tree/distribution" +
                                                        ": No such file or directory\n"}));
  EXPECT_FALSE(fs::exists("out"));
}

TEST_F(ReceiveFromSource, HasNoRemoteDirectories) {
  setenv("KRT_DATDIR", directory.path().c_str(), 1);
  EXPECT_EQ(test::sprig(from("remote-dir", {"--distribution", "dist/distribution", "--quiet"})),
            (Outcome{1, "",
                     "sprig: remote-dir: " + directory / "remote.dir" +
                         " was not found in the depot.\n" + goOn}));
}

TEST_F(ReceiveFromSource, HasNoCd) {
  const Outcome outcome = test::sprig(from("cd", {"--distribution", "dist/distribution"}));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.errors.find("could not be found"), std::string::npos) << outcome;
}

TEST_F(ReceiveFromSource, AsksForTheDistributionWhereNobodyTellsIt) {
  for (const char *source : {"remote-dir", "cd", "remote-dir+cd"}) {
    EXPECT_EQ(test::sprig(from(source)),
              (Outcome{2, "",
                       std::string("sprig: --from ") + source +
                           ": what is to be received is not told\n"
                           "hint: name the distribution's file with --distribution FILE\n"}));
  }
}

TEST_F(ReceiveFromSource, TakesNoDirectoryWithACommaInItsPath) {
  fs::rename("dist", "di,st");
  EXPECT_EQ(test::sprig(from("dir:di,st", {"--quiet"})),
            (Outcome{1, "",
                     "sprig: dir:di,st: a path with a comma in it cannot be named in a stream's "
                     "key\nhint: receive from a directory without one\n"}));
}

TEST_F(ReceiveFromSource, TakesTheFileThatTellsOfItFromElsewhere) {
  fs::rename("dist/distribution", "told");
  EXPECT_EQ(test::sprig(from("dir:dist", {"--distribution", "told", "--quiet"})),
            (Outcome{0, "", ""}));
  expectTree();
}
