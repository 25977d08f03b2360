// `sprig depot DIR list` and `show`.
#include <filesystem>
#include <regex>

#include "tools/depot.h"

namespace {

namespace fs = std::filesystem;

// Times that cannot be set become "TIME".
std::string withoutTimes(const std::string &text) {
  return std::regex_replace(
      text, std::regex("(File  change|Depot create|Depot access|Depot modify) time:\t.*"),
      "$1 time:\tTIME");
}

test::Toc toc(const std::string &id, const std::string &state = "1") {
  test::Toc toc;
  toc.id = id;
  toc.state = state;
  return toc;
}

} // namespace

using DepotList = test::DepotToolTest;
using DepotShow = test::DepotToolTest;

TEST_F(DepotList, HasTitlesOnlyForAnEmptyDepot) {
  EXPECT_EQ(run({"list"}), (test::Outcome{0, "Name  Version  Type  Size (KB)  Update time\n", ""}));
}

TEST_F(DepotList, IsSortedWithColumnsBelowEachOther) {
  put(toc("tools"), std::string(2049, 'x'));
  put(toc("a", "0"), "");
  test::Toc later = toc("a");
  later.version = "2.10";
  put(later, "x");
  setTime(path("tools", ".dat"));
  setTime(path("a", ".dat"));
  setTime(path("a", ".dat", "2.10"));
  EXPECT_EQ(run({"list"}),
            (test::Outcome{0,
                           "Name   Version  Type      Size (KB)  Update time\n"
                           "a      1        filling           0  2023/11/14 22:13:20\n"
                           "a      2.10     complete          1  2023/11/14 22:13:20\n"
                           "tools  1        complete          3  2023/11/14 22:13:20\n",
                           ""}));
}

TEST_F(DepotList, HasOneEntryWhereOneIsNamed) {
  put(toc("a"));
  put(toc("b"));
  setTime(path("b", ".dat"));
  EXPECT_EQ(run({"list", "b^1"}),
            (test::Outcome{0,
                           "Name  Version  Type      Size (KB)  Update time\n"
                           "b     1        complete          1  2023/11/14 22:13:20\n",
                           ""}));
}

TEST_F(DepotList, FailsForAnEntryThatIsNotThere) {
  put(toc("a"));
  EXPECT_EQ(run({"list", "a^2"}),
            (test::Outcome{1, "", "sprig: a^2 was not found in the depot.\n"}));
}

TEST_F(DepotList, TakesTheLastCircumflexForTheSeparator) {
  put(toc("a^b"));
  setTime(path("a^b", ".dat"));
  EXPECT_EQ(run({"list", "a^b^1"}).output,
            "Name  Version  Type      Size (KB)  Update time\n"
            "a^b   1        complete          1  2023/11/14 22:13:20\n");
}

TEST_F(DepotList, RefusesNamesWithoutIdOrVersion) {
  const test::Outcome refused{2, "",
                              "sprig: The specified segment spec is invalid. The spec must contain "
                              "both an ID and a version.\nhint: write it as ID^VERSION\n"};
  for (const char *name : {"a", "a^", "^1", "^"}) {
    EXPECT_EQ(run({"list", name}), refused);
    EXPECT_EQ(run({"show", name}), refused);
    EXPECT_EQ(run({"delete", name}), refused);
    EXPECT_EQ(run({"add", name, "file"}), refused);
  }
}

TEST_F(DepotList, HasEntriesWhoseDataAreMissing) {
  putWithoutData(toc("a"));
  EXPECT_EQ(run({"list"}), (test::Outcome{0,
                                          "Name  Version  Type      Size (KB)  Update time\n"
                                          "a     1        complete          -  -\n",
                                          ""}));
}

TEST_F(DepotList, NamesFilesThatTellOfNoEntryAndShowsTheOthers) {
  put(toc("a"));
  setTime(path("a", ".dat"));
  fs::create_directory("depot/00000000.0.xml");
  test::writeFile("depot/00000001.0.xml", "no entry");
  test::writeFile("depot/00000002.0.xml", "");
  fs::create_symlink("nowhere", "depot/00000003.0.xml");
  EXPECT_EQ(
      run({"list"}),
      (test::Outcome{0,
                     "Name  Version  Type      Size (KB)  Update time\n"
                     "a     1        complete          1  2023/11/14 22:13:20\n",
                     "warning: " + depot() + "/00000000.0.xml: Is a directory\n" +
                         "warning: " + depot() + "/00000001.0.xml: it tells of no entry\n" +
                         "warning: " + depot() + "/00000002.0.xml: it tells of no entry\n" +
                         "warning: " + depot() + "/00000003.0.xml: No such file or directory\n"}));
}

TEST_F(DepotList, ShowsNothingThatSteersATerminal) {
  put(toc("a\x1b[2J\nb"));
  setTime(path("a\x1b[2J\nb", ".dat"));
  EXPECT_EQ(run({"list"}).output, "Name     Version  Type      Size (KB)  Update time\n"
                                  "a?[2J?b  1        complete          1  2023/11/14 22:13:20\n");
}

TEST_F(DepotList, IsJsonWhereThatIsAskedFor) {
  put(toc("a"));
  putWithoutData(toc("b\xff", "0"));
  setTime(path("a", ".dat"));
  EXPECT_EQ(run({"list", "--json"}),
            (test::Outcome{0,
                           R"({"entries":[{"id":"a","version":"1","type":"complete","bytes":4,)"
                           R"("percent":100,"location":")" +
                               path("a", ".dat") +
                               R"(","registrations":0,"deadline":0,"updated":1700000000},)"
                               R"({"id":"b)"
                               "\xef\xbf\xbd"
                               R"(","version":"1","type":"filling","bytes":0,"percent":0,)"
                               R"("location":")" +
                               path("b\xff", ".dat") +
                               R"(","registrations":0,"deadline":0,"updated":null}]})"
                               "\n",
                           ""}));
}

TEST_F(DepotList, LeavesEntriesAsTheyAre) {
  add("a", "data");
  const std::string before = test::readFile(path("a", ".xml"));
  run({"list", "-l"});
  EXPECT_EQ(test::readFile(path("a", ".xml")), before);
}

TEST_F(DepotShow, TellsAllThatIsKnown) {
  test::Toc entry = toc("tools");
  entry.referenceCount = "2";
  entry.deadline = "1700000000";
  put(entry);
  setTime(path("tools", ".dat"));
  const test::Outcome shown = run({"show", "tools^1"});
  EXPECT_EQ(withoutTimes(shown.output), "\nEntry #1: \n"
                                        "Id: \t\t\ttools\n"
                                        "Version: \t\t1\n"
                                        "Bytes received: \t4(100%)\n"
                                        "Location: \t\t" +
                                            path("tools", ".dat") +
                                            "\n"
                                            "File  change time:\tTIME\n"
                                            "File  modify time:\t2023/11/14 22:13:20\n"
                                            "Depot create time:\tTIME\n"
                                            "Depot access time:\tTIME\n"
                                            "Depot modify time:\tTIME\n"
                                            "Reference count: \t2\n"
                                            "Storage status: \tcomplete until 2023/11/14 "
                                            "22:13:20\n");
  EXPECT_EQ(shown.status, 0);
  EXPECT_EQ(shown.errors, "");
}

TEST_F(DepotShow, IsWhatALongListHasOfOneEntry) {
  put(toc("a"));
  EXPECT_EQ(run({"show", "a^1"}), run({"list", "a^1", "-l"}));
}

TEST_F(DepotShow, TellsHowMuchOfTheDataIsThere) {
  add("a", "0123456789");
  change("a", [](test::Toc &entry) { entry.state = "0"; });
  fs::resize_file(path("a", ".dat"), 3);
  const std::string shown = run({"show", "a^1"}).output;
  EXPECT_NE(shown.find("Bytes received: \t3(30%)\n"), std::string::npos) << shown;
  EXPECT_NE(shown.find("Storage status: \tbeing filled\n"), std::string::npos) << shown;
}

TEST_F(DepotShow, TellsOfWhatIsKeptForEver) {
  test::Toc entry = toc("a");
  entry.deadline = "2147483647";
  put(entry);
  const std::string shown = run({"show", "a^1"}).output;
  EXPECT_NE(shown.find("Storage status: \tcomplete, kept for ever\n"), std::string::npos) << shown;
}

TEST_F(DepotShow, LeavesOutTheTimesOfDataThatAreMissing) {
  putWithoutData(toc("a"));
  const std::string shown = run({"show", "a^1"}).output;
  EXPECT_EQ(shown.find("File "), std::string::npos) << shown;
  EXPECT_NE(shown.find("Bytes received: \t0(100%)\n"), std::string::npos) << shown;
}

TEST_F(DepotShow, NumbersEntriesInALongList) {
  put(toc("a"));
  put(toc("b"));
  const std::string shown = run({"list", "-l"}).output;
  EXPECT_EQ(shown.find("\nEntry #1: \nId: \t\t\ta\n"), 0U) << shown;
  EXPECT_NE(shown.find("\nEntry #2: \nId: \t\t\tb\n"), std::string::npos) << shown;
}

TEST_F(DepotShow, NeedsAName) {
  const test::Outcome outcome = run({"show"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output, "");
}
