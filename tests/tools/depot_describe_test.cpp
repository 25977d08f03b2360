// `sprig depot DIR describe`, `df` and `help`, and directories that cannot be used.
#include <filesystem>
#include <regex>

#include <sys/statvfs.h>

#include <nlohmann/json.hpp>

#include "tools/depot.h"

namespace {

namespace fs = std::filesystem;

constexpr const char *usage = "Usage: \n"
                              " sprig depot\n"
                              " sprig depot help\n"
                              " sprig depot repeater_name describe\n"
                              " sprig depot repeater_name add id^version [source_host:]file\n"
                              " sprig depot repeater_name image id^version [source_host:]file "
                              "image_dir\n"
                              " sprig depot repeater_name list [id^version] [-l]\n"
                              " sprig depot repeater_name delete id^version\n"
                              " sprig depot repeater_name purge\n";

// Kilobytes of the file system, as a number's text.
std::string sizeOfFileSystem() {
  struct statvfs system {};
  EXPECT_EQ(statvfs(".", &system), 0);
  return std::to_string(uint64_t{system.f_blocks} * system.f_frsize / 1024);
}

class DepotDescribe : public test::DepotToolTest {
protected:
  // 3 KB that are complete, and 1 KB that is not.
  void fill() {
    add("a", std::string(2049, 'x'));
    add("b", "data");
    change("b", [](test::Toc &toc) { toc.state = "0"; });
  }
};

using DepotDf = DepotDescribe;
using DepotHelp = test::DepotToolTest;
using DepotDirectory = test::DepotToolTest;

// What is free, others change meanwhile.
std::string withoutFree(const std::string &text, const char *pattern, const char *replacement) {
  return std::regex_replace(text, std::regex(pattern), replacement);
}

} // namespace

TEST_F(DepotDescribe, TellsWhatTheDepotHolds) {
  fill();
  const test::Outcome told = run({"describe"});
  EXPECT_EQ(withoutFree(told.output, "Free Space = \t\t[0-9]+", "Free Space = \t\tN"),
            "Depot Location = \t" + depot() + "\n" + "Depot Size = \t\t" + sizeOfFileSystem() +
                " (KB)\n"
                "Temporary Storage = \t1 (KB)\n"
                "Permanent Storage = \t3 (KB)\n"
                "Total Storage = \t4 (KB)\n"
                "Free Space = \t\tN (KB)\n");
  EXPECT_EQ(told.status, 0);
  EXPECT_EQ(told.errors, "");
}

TEST_F(DepotDescribe, IsJsonWhereThatIsAskedFor) {
  fill();
  auto told = nlohmann::ordered_json::parse(run({"describe", "--json"}).output);
  EXPECT_TRUE(told.at("free").is_number_unsigned());
  told.erase("free");
  EXPECT_EQ(told.dump(), R"({"location":")" + depot() + R"(","size":)" + sizeOfFileSystem() +
                             R"(,"temporary":1,"permanent":3,"total":4})");
}

TEST_F(DepotDf, CountsAllDataAndTheEntries) {
  fill();
  test::writeFile("depot/00000000.0.dat", "of no entry");
  const auto told = nlohmann::ordered_json::parse(run({"df", "--json"}).output);
  EXPECT_EQ(told.at("depot"), depot());
  EXPECT_EQ(told.at("used"), 5);
  EXPECT_EQ(told.at("entries"), 2);
}

TEST_F(DepotDf, HasOneLineBelowItsTitles) {
  fill();
  const test::Outcome told = run({"df"});
  const std::string blanks(depot().size() - 5, ' ');
  EXPECT_TRUE(std::regex_match(
      told.output, std::regex("Depot" + blanks +
                              "  Size \\(KB\\)  Used \\(KB\\) +Free \\(KB\\)  "
                              "Entries\n" +
                              depot() + " +" + sizeOfFileSystem() + " +4 +[0-9]+ +2\n")))
      << told;
  EXPECT_EQ(told.status, 0);
}

TEST_F(DepotHelp, IsTheUsage) {
  EXPECT_EQ(run({"help"}), (test::Outcome{0, usage, ""}));
  EXPECT_EQ(test::sprig({"depot", "help"}), (test::Outcome{0, usage, ""}));
}

TEST_F(DepotHelp, IsShownWhereTheDirectoryOrTheCommandIsLeftOut) {
  EXPECT_EQ(test::sprig({"depot"}), (test::Outcome{2, "", usage}));
  EXPECT_EQ(test::sprig({"depot", "list"}), (test::Outcome{2, "", usage}));
  EXPECT_EQ(test::sprig({"depot", "depot"}), (test::Outcome{2, "", usage}));
}

TEST_F(DepotHelp, HasAnExampleForEachCommand) {
  for (const char *command :
       {"describe", "list", "show", "add", "delete", "purge", "expire", "verify", "df"}) {
    const test::Outcome shown = run({command, "--help"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_NE(shown.output.find(std::string("Examples:\n  sprig depot /srv/depot ") + command),
              std::string::npos)
        << shown;
  }
}

TEST_F(DepotDirectory, HasToBeThere) {
  for (const char *command : {"describe", "list", "purge", "expire", "verify", "df"}) {
    EXPECT_EQ(test::sprig({"depot", "none", command}),
              (test::Outcome{1, "",
                             "sprig: There is no repeater associated with the name none.\n"
                             "hint: a depot is a directory: make one with mkdir, or with \"sprig "
                             "receive\"\n"}));
  }
  EXPECT_FALSE(fs::exists("none"));
}

TEST_F(DepotDirectory, IsNoFile) {
  test::writeFile("file", "");
  EXPECT_EQ(test::sprig({"depot", "file", "list"}),
            (test::Outcome{1, "", "sprig: file: Not a directory\n"}));
}

TEST_F(DepotDirectory, MustTakeTheLockFiles) {
  fs::create_directory("depot/depot.lk");
  EXPECT_EQ(run({"list"}),
            (test::Outcome{1, "", "sprig: " + depot() + ": its lock files: Is a directory\n"}));
}

TEST_F(DepotDirectory, TakesNoUnknownCommand) {
  const test::Outcome refused = run({"frobnicate"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.output, "");
}

TEST_F(DepotDirectory, IsTheSameByWhateverPath) {
  fs::create_directory_symlink("depot", "link");
  test::writeFile("content", "data");
  EXPECT_EQ(test::sprig({"depot", "link/../link/", "add", "a^1", "content"}),
            (test::Outcome{0, "added a^1: 4 B\n", ""}));
  EXPECT_EQ(read("a").location, path("a", ".dat"));
  EXPECT_EQ(run({"verify"}).status, 0);
}
