// `sprig depot DIR add`.
#include <csignal>
#include <ctime>
#include <filesystem>
#include <memory>

#include <sys/resource.h>
#include <sys/stat.h>

#include "tools/depot.h"

namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

constexpr int64_t twoDays = 172800; // in seconds

// No file of this process and its children grows beyond that; what would is told of.
class FileSizeLimit {
public:
  explicit FileSizeLimit(rlim_t bytes) : action_(signal(SIGXFSZ, SIG_IGN)) {
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before_), 0);
    const rlimit limit{bytes, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    (void)signal(SIGXFSZ, action_);
  }
  FileSizeLimit(const FileSizeLimit &) = delete;
  FileSizeLimit &operator=(const FileSizeLimit &) = delete;

private:
  rlimit before_{};
  sighandler_t action_;
};

} // namespace

using DepotAdd = test::DepotToolTest;

TEST_F(DepotAdd, PutsAFileInAndRegistersTwice) {
  test::writeFile("content", "data");
  EXPECT_EQ(run({"add", "a^1", "content"}), (test::Outcome{0, "added a^1: 4 B\n", ""}));
  EXPECT_EQ(test::readFile(path("a", ".dat")), "data");
  EXPECT_EQ(read("a").state, "1");
  EXPECT_EQ(read("a").referenceCount, "2");
  EXPECT_EQ(run({"verify"}).output, "verified 1 entry, 1 KB: nothing is wrong\n");
}

TEST_F(DepotAdd, TakesEmptyAndLargeFiles) {
  add("empty", "");
  add("large", std::string(1000000, 'x'));
  EXPECT_EQ(test::readFile(path("empty", ".dat")), "");
  EXPECT_EQ(test::readFile(path("large", ".dat")), std::string(1000000, 'x'));
  EXPECT_EQ(run({"verify"}).output, "verified 2 entries, 977 KB: nothing is wrong\n");
}

TEST_F(DepotAdd, KeepsUntilTheEndOfTheTimeGiven) {
  const time_t before = time(nullptr);
  add("a", "data", "2d");
  const int64_t deadline = std::stoll(read("a").deadline);
  EXPECT_GE(deadline, before + twoDays);
  EXPECT_LE(deadline, time(nullptr) + twoDays);
}

TEST_F(DepotAdd, KeepsForEverWhatWouldEndBeyondAllDeadlines) {
  add("a", "data", "3000w");
  EXPECT_EQ(read("a").deadline, "2147483647");
}

TEST_F(DepotAdd, RefusesWhatIsNoDuration) {
  test::writeFile("content", "data");
  EXPECT_EQ(run({"add", "a^1", "content", "--keep", "soon"}),
            (test::Outcome{
                2, "", "sprig: \"soon\" is no duration\nhint: write 90s, 15m, 12h, 30d or 4w\n"}));
  EXPECT_EQ(names(), Names());
}

TEST_F(DepotAdd, IsJsonWhereThatIsAskedFor) {
  test::writeFile("content", "data");
  EXPECT_EQ(run({"add", "a^1", "content", "--json"}),
            (test::Outcome{0, "{\"added\":{\"id\":\"a\",\"version\":\"1\"}}\n", ""}));
}

TEST_F(DepotAdd, KeepsLongerWhatIsThereAlready) {
  add("a", "data", "1d");
  const test::Toc before = read("a");
  add("a", "data", "2d");
  EXPECT_EQ(read("a").referenceCount, "3");
  EXPECT_GE(std::stoll(read("a").deadline), std::stoll(before.deadline) + 86400);
}

TEST_F(DepotAdd, LeavesAsItIsWhatIsKeptLongEnough) {
  add("a", "data", "2d");
  const std::string before = test::readFile(path("a", ".xml"));
  add("a", "data", "1d");
  EXPECT_EQ(test::readFile(path("a", ".xml")), before);
}

TEST_F(DepotAdd, RegistersASecondTimeWhereOneRegistrationIsLeft) {
  add("a", "data", "2d");
  change("a", [](test::Toc &toc) { toc.referenceCount = "1"; });
  add("a", "data", "1d");
  EXPECT_EQ(read("a").referenceCount, "2");
}

TEST_F(DepotAdd, RefusesOtherDataOfTheSameName) {
  add("a", "data");
  test::writeFile("content", "others");
  EXPECT_EQ(
      run({"add", "a^1", "content"}),
      (test::Outcome{1, "", "sprig: a^1: the depot has other data of that id and version\n"}));
  EXPECT_EQ(test::readFile(path("a", ".dat")), "data");
}

TEST_F(DepotAdd, ReplacesWhatHasLostItsData) {
  add("a", "data");
  fs::remove(path("a", ".dat"));
  add("a", "data");
  EXPECT_EQ(test::readFile(path("a", ".dat")), "data");
  fs::resize_file(path("a", ".dat"), 1);
  add("a", "data");
  EXPECT_EQ(test::readFile(path("a", ".dat")), "data");
}

TEST_F(DepotAdd, ReplacesWhatIsDamaged) {
  add("a", "data");
  test::writeFile(path("a", ".dat"), "DATA");
  add("a", "data");
  EXPECT_EQ(test::readFile(path("a", ".dat")), "data");
  EXPECT_EQ(run({"verify"}).output, "verified 1 entry, 1 KB: nothing is wrong\n");
}

TEST_F(DepotAdd, TakesOverWhatSomebodyHasLeftBehind) {
  test::Toc toc;
  toc.id = "a";
  toc.state = "0";
  put(toc, "what has arrived of something else");
  add("a", "data");
  EXPECT_EQ(read("a").state, "1");
  EXPECT_EQ(test::readFile(path("a", ".dat")), "data");
  EXPECT_EQ(run({"verify"}).output, "verified 1 entry, 1 KB: nothing is wrong\n");
}

TEST_F(DepotAdd, TakesOverWhatWasLeftBehindWithoutData) {
  test::Toc toc;
  toc.id = "a";
  toc.state = "0";
  putWithoutData(toc);
  add("a", "data");
  EXPECT_EQ(test::readFile(path("a", ".dat")), "data");
}

TEST_F(DepotAdd, LeavesWhatAnotherProcessIsFilling) {
  test::Toc toc;
  toc.id = "a";
  toc.state = "0";
  put(toc, "part");
  const test::Claim claim(path("a", ".dat"));
  test::writeFile("content", "data");
  EXPECT_EQ(run({"add", "a^1", "content"}),
            (test::Outcome{1, "", "sprig: a^1: another process is filling it\n"}));
  EXPECT_EQ(test::readFile(path("a", ".dat")), "part");
}

TEST_F(DepotAdd, TouchesNoFileThatADamagedEntryNames) {
  test::writeFile("precious", "mine");
  test::Toc toc;
  toc.id = "a";
  toc.state = "0";
  toc.location = directory / "precious";
  test::writeFile(path("a", ".xml"), toc.bytes());
  add("a", "data");
  EXPECT_EQ(test::readFile("precious"), "mine");
  EXPECT_EQ(test::readFile(path("a", ".dat")), "data");
}

TEST_F(DepotAdd, NeedsAFileThatCanBeRead) {
  const auto failure = [&](const std::string &name, const std::string &reason) {
    return test::Outcome{1, "", "sprig: " + (directory / name) + ": " + reason + "\n"};
  };
  EXPECT_EQ(run({"add", "a^1", "none"}), failure("none", "No such file or directory"));
  EXPECT_EQ(run({"add", "a^1", "depot"}), failure("depot", "Is a directory"));
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  EXPECT_EQ(run({"add", "a^1", "pipe"}), failure("pipe", "Not a regular file"));
  EXPECT_EQ(run({"add", "a^1"}).status, 2);
  EXPECT_EQ(names(), Names());
}

TEST_F(DepotAdd, RefusesFilesThatAreTooLarge) {
  test::writeFile("content", "");
  fs::resize_file("content", uint64_t{1} << 31);
  EXPECT_EQ(
      run({"add", "a^1", "content"}),
      (test::Outcome{
          1, "",
          "sprig: Cannot reserve 2097152 KB in the depot. The segment file is too large.\n"}));
  EXPECT_EQ(names(), Names());
}

TEST_F(DepotAdd, LeavesNothingBehindWhereTheFileCannotGrow) {
  test::writeFile("content", std::string(100000, 'x'));
  const FileSizeLimit limit(50000);
  EXPECT_EQ(
      run({"add", "a^1", "content"}),
      (test::Outcome{
          1, "", "sprig: Cannot reserve 98 KB in the depot. The segment file is too large.\n"}));
  EXPECT_EQ(names(), Names());
}

TEST_F(DepotAdd, LeavesNothingBehindWhereNoEntryCanBeMade) {
  test::writeFile("content", "data");
  const FileSizeLimit limit(10); // less than a TOC file has
  EXPECT_EQ(run({"add", "a^1", "content"}).status, 1);
  EXPECT_EQ(names(), Names());
}

TEST_F(DepotAdd, IsDoneBySeveralProcessesAtOnce) {
  test::writeFile("content", std::string(300000, 'x'));
  std::vector<std::unique_ptr<test::RunningProgram>> programs;
  for (const char *name : {"a^1", "b^1", "c^1", "a^1"}) {
    programs.push_back(std::make_unique<test::RunningProgram>(
        test::Arguments{"depot", "depot", "add", name, "content"}));
  }
  for (const auto &program : programs) {
    const test::Outcome outcome = program->wait();
    EXPECT_TRUE(outcome.status == 0 ||
                outcome.errors == "sprig: a^1: another process is filling it\n")
        << outcome;
  }
  EXPECT_EQ(run({"verify"}).output, "verified 3 entries, 879 KB: nothing is wrong\n");
}
