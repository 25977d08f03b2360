// `sprig status`: what status files tell, once and as they change.
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <sprig/sprig.hpp>

#include "tools/program.h"

using sprig::Status;
using test::Outcome;

namespace {

namespace fs = std::filesystem;

// Status files in the directory in which the program keeps them, too.
class StatusFilesTest : public test::ToolTest {
protected:
  StatusFilesTest() {
    sprig_init();
    fs::create_directory("work");
    setenv("KRT_WORKDIR", (directory / "work").c_str(), 1);
  }
  ~StatusFilesTest() override { unsetenv("KRT_WORKDIR"); }

  std::string statusDirectory() const { return directory / "work/mstat"; }
};

using ShownStatus = StatusFilesTest;
using WatchedStatus = StatusFilesTest;

Status withLengths(const std::string &id, const char *received, const char *total) {
  Status status(id);
  status.properties().put("c_len", received);
  status.properties().put("t_len", total);
  return status;
}

void save(const std::string &id, const char *received = "0", const char *total = "1000",
          const char *flag = nullptr) {
  Status status = withLengths(id, received, total);
  if (flag != nullptr) {
    status.properties().put(flag, true);
  }
  status.save();
}

void saveFailed(const std::string &id, const char *text) {
  Status status = withLengths(id, "100", "1000");
  status.properties().put("err", true);
  status.properties().put("err_msg", text);
  status.save();
}

void saveDone(const std::string &id) {
  Status status = withLengths(id, "1000", "1000");
  status.save();
  status.finish();
}

} // namespace

TEST_F(ShownStatus, HasALineForEachStateSortedById) {
  save("receiving", "46080\n", "52690944\n");
  save("paused", "999", "1000", "paused");
  save("closed", "500", "1000", "close");
  save("complete", "1000\n", "1000\n", "close");
  saveFailed("failed", "the disk\x1b is full");
  saveDone("done");
  Status("begun").save();
  EXPECT_EQ(test::sprig({"status"}), (Outcome{0,
                                              "ID         STATE      RECEIVED     TOTAL  PERCENT\n"
                                              "begun      receiving       0 B         -        -\n"
                                              "closed     closed        500 B    1000 B     50 %\n"
                                              "complete   complete     1000 B    1000 B     99 %\n"
                                              "done       done         1000 B    1000 B    100 %\n"
                                              "failed     failed        100 B    1000 B     10 %\n"
                                              "  the disk? is full\n"
                                              "paused     paused        999 B    1000 B     99 %\n"
                                              "receiving  receiving  45.0 KiB  50.2 MiB      0 %\n",
                                              ""}));
}

TEST_F(ShownStatus, IsThatOfOneDistribution) {
  save("one");
  save("two", "500");
  EXPECT_EQ(test::sprig({"status", "two"}), (Outcome{0,
                                                     "ID   STATE      RECEIVED   TOTAL  PERCENT\n"
                                                     "two  receiving     500 B  1000 B     50 %\n",
                                                     ""}));
}

TEST_F(ShownStatus, IsJsonForScripts) {
  save("one", "500");
  saveFailed("two", "no r\xf6om");
  Status("zero").save();
  EXPECT_EQ(
      test::sprig({"status", "--json"}),
      (Outcome{0,
               R"([{"id":"one","state":"receiving","received":500,"total":1000,"error":null},)"
               R"({"id":"two","state":"failed","received":100,"total":1000,"error":"no r)"
               "\xef\xbf\xbd"
               R"(om"},{"id":"zero","state":"receiving","received":0,"total":null,"error":null}])"
               "\n",
               ""}));
}

TEST_F(ShownStatus, IsEmptyWithoutFiles) {
  EXPECT_EQ(test::sprig({"status"}), (Outcome{0, "ID  STATE  RECEIVED  TOTAL  PERCENT\n", ""}));
  EXPECT_EQ(test::sprig({"status", "--json"}), (Outcome{0, "[]\n", ""}));
  EXPECT_EQ(test::sprig({"status", "--watch", "--json"}), (Outcome{0, "", ""}));
}

TEST_F(ShownStatus, IsKeptInTheStateDirectoryUnlessTheEnvironmentSaysWhere) {
  unsetenv("KRT_WORKDIR");
  EXPECT_EQ(test::sprig({"status", "tree"}),
            (Outcome{1, "",
                     "sprig: tree: no status of it is kept in " + directory.path() +
                         "/state/sprig/mstat\nhint: \"sprig status\" shows those that are\n"}));
}

TEST_F(ShownStatus, IsOnlyOfDistributionsInTheDirectory) {
  save("tree");
  for (const std::string id : {"../mstat/tree", "tree.mds", "Tree"}) {
    EXPECT_EQ(test::sprig({"status", id}),
              (Outcome{1, "",
                       "sprig: " + id + ": no status of it is kept in " + statusDirectory() +
                           "\nhint: \"sprig status\" shows those that are\n"}));
  }
}

TEST_F(ShownStatus, NamesFilesThatCannotBeReadAmongThoseThatCan) {
  save("good");
  test::writeFile(statusDirectory() + "/damaged.mds", "no list");
  fs::create_directory(statusDirectory() + "/directory.mds");
  ASSERT_EQ(mkfifo((statusDirectory() + "/pipe.mds").c_str(), 0600), 0);
  test::writeFile(statusDirectory() + "/short.mdf", "");
  test::writeFile(statusDirectory() + "/good.mds.Ab12Cd", "of a writer that was killed");
  Status wrong("wrong");
  wrong.properties().put("err", "yes");
  wrong.save();
  EXPECT_EQ(
      test::sprig({"status"}),
      (Outcome{
          1,
          "ID    STATE      RECEIVED   TOTAL  PERCENT\n"
          "good  receiving       0 B  1000 B      0 %\n",
          "warning: damaged: its status cannot be read: a list has more elements than the data "
          "can hold\n"
          "warning: directory: its status cannot be read: Is a directory\n"
          "warning: pipe: its status cannot be read: Cannot open the file " +
              statusDirectory() +
              "/pipe.mds.\n"
              "warning: short: its status cannot be read: the data end in the middle of a value\n"
              "warning: wrong: its status cannot be read: The wrong property type was specified "
              "for the key err.\n"}));
  EXPECT_EQ(test::sprig({"status", "damaged"}),
            (Outcome{1, "",
                     "sprig: damaged: its status cannot be read: a list has more elements than "
                     "the data can hold\n"}));
}

TEST_F(ShownStatus, NeverSaysThatAllIsThereBeforeItIs) {
  save("almost", "18446744073709551614", "18446744073709551615");
  save("empty", "", "0");
  save("more", "5000", "1000");
  const std::string output = test::sprig({"status"}).output;
  EXPECT_EQ(output.find("100 %"), std::string::npos) << output;
}

TEST_F(ShownStatus, NamesADirectoryThatCannotBeThere) {
  setenv("KRT_WORKDIR", "/proc/none", 1);
  EXPECT_EQ(test::sprig({"status"}), (Outcome{1, "",
                                              "sprig: /proc/none/mstat: No such file or directory\n"
                                              "hint: KRT_WORKDIR names the directory above it\n"}));
}

TEST_F(WatchedStatus, IsALineForEachChangeUntilItEnds) {
  save("done", "1000");
  save("tree", "0");
  test::RunningProgram watch({"status", "--watch"});
  EXPECT_EQ(watch.readLine(), "done: complete, 1000 B of 1000 B, 99 %");
  EXPECT_EQ(watch.readLine(), "tree: receiving, 0 B of 1000 B, 0 %");
  save("tree", "450");
  EXPECT_EQ(watch.readLine(), "tree: receiving, 450 B of 1000 B, 45 %");
  save("late");
  EXPECT_EQ(watch.readLine(), "late: receiving, 0 B of 1000 B, 0 %");
  saveFailed("late", "the disk is full");
  EXPECT_EQ(watch.readLine(), "late: failed, 100 B of 1000 B, 10 %: the disk is full");
  save("tree", "1000");
  EXPECT_EQ(watch.readLine(), "tree: complete, 1000 B of 1000 B, 99 %");
  EXPECT_EQ(watch.wait(), (Outcome{0, "", ""}));
}

TEST_F(WatchedStatus, EndsInEveryOtherState) {
  for (const char *flag : {"paused", "close", "err"}) {
    save("tree", "0");
    test::RunningProgram watch({"status", "tree", "--watch", "--json"});
    EXPECT_EQ(watch.readLine(),
              R"({"id":"tree","state":"receiving","received":0,"total":1000,"error":null})");
    save("tree", "5", "1000", flag);
    EXPECT_NE(watch.readLine(), "");
    EXPECT_EQ(watch.wait(), (Outcome{0, "", ""})) << flag;
  }
}

TEST_F(WatchedStatus, OfOneDistributionDoesNotWaitForOthers) {
  save("other", "0");
  save("tree", "1000");
  EXPECT_EQ(test::sprig({"status", "tree", "--watch"}),
            (Outcome{0, "tree: complete, 1000 B of 1000 B, 99 %\n", ""}));
}

TEST_F(WatchedStatus, EndsWhenItsFileGoes) {
  save("tree", "0");
  test::RunningProgram watch({"status", "tree", "--watch"});
  watch.readLine();
  fs::remove(statusDirectory() + "/tree.mds");
  EXPECT_EQ(watch.wait().status, 1);
}

TEST_F(WatchedStatus, TellsOnceOfAFileThatCannotBeRead) {
  save("tree", "0");
  test::writeFile(statusDirectory() + "/damaged.mds", "");
  test::RunningProgram watch({"status", "--watch"});
  watch.readLine();
  save("tree", "1", "1000");
  watch.readLine();
  saveDone("tree");
  fs::remove(statusDirectory() + "/tree.mds");
  EXPECT_EQ(watch.wait(),
            (Outcome{1, "tree: done, 1000 B of 1000 B, 100 %\n",
                     "warning: damaged: its status cannot be read: the data end in the middle of "
                     "a value\n"}));
}

TEST_F(WatchedStatus, IsInterrupted) {
  save("tree", "0");
  test::RunningProgram watch({"status", "--watch"});
  watch.readLine();
  watch.send(SIGINT);
  EXPECT_EQ(watch.wait(), (Outcome{130, "", ""}));
}

TEST_F(WatchedStatus, IsATableThatIsWrittenOverOnATerminal) {
  save("tree", "0");
  test::ProgramAtTerminal watch({"status", "--watch"});
  EXPECT_TRUE(watch.awaitText("0 %"));
  save("tree", "450");
  EXPECT_TRUE(watch.awaitText("45 %"));
  saveFailed("tree", "the disk is full");
  EXPECT_EQ(watch.wait(), (Outcome{0,
                                   "\x1b[?7lID    STATE      RECEIVED   TOTAL  PERCENT\r\n"
                                   "tree  receiving       0 B  1000 B      0 %\r\n\x1b[?7h"
                                   "\x1b[2A\x1b[J"
                                   "\x1b[?7lID    STATE      RECEIVED   TOTAL  PERCENT\r\n"
                                   "tree  receiving     450 B  1000 B     45 %\r\n\x1b[?7h"
                                   "\x1b[2A\x1b[J"
                                   "\x1b[?7lID    STATE   RECEIVED   TOTAL  PERCENT\r\n"
                                   "tree  failed     100 B  1000 B     10 %\r\n"
                                   "  the disk is full\r\n\x1b[?7h",
                                   ""}));
}

TEST_F(WatchedStatus, FitsATerminalAndIsInterruptedThere) {
  for (int number = 10; number < 50; ++number) {
    save("tree" + std::to_string(number));
  }
  test::ProgramAtTerminal watch({"status", "--watch"});
  EXPECT_TRUE(watch.awaitText("tree30  receiving       0 B  1000 B      0 %\r\n"
                              "and 19 more lines\r\n\x1b[?7h"));
  watch.type("\3");
  EXPECT_EQ(watch.wait().status, 130);
}
