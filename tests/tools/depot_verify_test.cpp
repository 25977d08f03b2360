// `sprig depot DIR verify`.
#include <filesystem>

#include "tools/depot.h"

namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

class DepotVerify : public test::DepotToolTest {
protected:
  static test::Outcome wrong(const std::string &lines) { return {5, lines, ""}; }
  static test::Outcome right(const std::string &lines) { return {0, lines, ""}; }

  const std::string oneFault = "verified 1 entry, 1 KB: 1 fault\n";
};

} // namespace

TEST_F(DepotVerify, FindsNothingWrongInAnEmptyDepot) {
  EXPECT_EQ(run({"verify"}), right("verified 0 entries, 0 KB: nothing is wrong\n"));
  EXPECT_EQ(run({"verify", "--repair"}), right("verified 0 entries, 0 KB: nothing is wrong\n"));
}

TEST_F(DepotVerify, FindsNothingWrongWithWhatTheProgramAdds) {
  add("a", "data");
  add("b", std::string(100000, 'x'));
  EXPECT_EQ(run({"verify"}), right("verified 2 entries, 99 KB: nothing is wrong\n"));
}

TEST_F(DepotVerify, FindsDataThatWereChanged) {
  add("a", "data");
  test::writeFile(path("a", ".dat"), "dada");
  EXPECT_EQ(run({"verify"}), wrong("a^1: its SHA-256 is another one\n" + oneFault));
}

TEST_F(DepotVerify, FindsDataOfTheWrongSize) {
  add("a", "data");
  fs::resize_file(path("a", ".dat"), 3);
  EXPECT_EQ(run({"verify"}), wrong("a^1: it has 3 bytes instead of 4\n" + oneFault));
}

TEST_F(DepotVerify, FindsDataThatAreMissing) {
  add("a", "data");
  fs::remove(path("a", ".dat"));
  EXPECT_EQ(run({"verify"}), wrong("a^1: its data are missing\n"
                                   "verified 1 entry, 0 KB: 1 fault\n"));
}

TEST_F(DepotVerify, FindsADirectoryInThePlaceOfData) {
  add("a", "data");
  fs::remove(path("a", ".dat"));
  fs::create_directory(path("a", ".dat"));
  EXPECT_EQ(run({"verify"}).output, "a^1: its data are missing\n"
                                    "verified 1 entry, 0 KB: 1 fault\n");
}

TEST_F(DepotVerify, FindsDataThatLieElsewhere) {
  add("a", "data");
  change("a", [](test::Toc &toc) { toc.location = "/etc/passwd"; });
  EXPECT_EQ(run({"verify"}).output.find("a^1: its data are said to be /etc/passwd\n"), 0U);
}

TEST_F(DepotVerify, FindsDescriptionsThatCannotBeRead) {
  add("a", "data");
  change("a", [](test::Toc &toc) { toc.properties = "AAAA"; });
  EXPECT_EQ(run({"verify"}), wrong("a^1: its description cannot be read\n" + oneFault));
}

TEST_F(DepotVerify, NotesWhatCannotBeVerified) {
  test::Toc toc;
  toc.id = "a";
  put(toc);
  EXPECT_EQ(run({"verify"}), right("a^1: it has no SHA-256 to compare its data with\n"
                                   "verified 1 entry, 1 KB: nothing is wrong\n"));
}

TEST_F(DepotVerify, TakesNothingForAFaultThatIsBeingFilled) {
  test::Toc toc;
  toc.id = "a";
  toc.state = "0";
  put(toc, "part");
  EXPECT_EQ(run({"verify", "--repair"}),
            right("a^1: being filled\nverified 1 entry, 1 KB: nothing is wrong\n"));
  fs::remove(path("a", ".dat"));
  EXPECT_EQ(run({"verify"}), wrong("a^1: its data are missing\n"
                                   "verified 1 entry, 0 KB: 1 fault\n"));
}

TEST_F(DepotVerify, FindsFilesThatBelongToNoEntry) {
  add("a", "data");
  test::writeFile("depot/00000000.0.dat", "of no entry");
  test::writeFile("depot/00000001.0.xml", "");
  EXPECT_EQ(run({"verify"}), wrong(depot() + "/00000001.0.xml: it tells of no entry\n" + depot() +
                                   "/00000000.0.dat: it belongs to no entry\n" +
                                   "verified 1 entry, 1 KB: 2 faults\n"));
}

TEST_F(DepotVerify, FindsTwoFilesThatTellOfOneEntry) {
  add("a", "data");
  const std::string second = depot() + '/' + test::bucketOf("a", "1") + ".1.xml";
  fs::copy(path("a", ".xml"), second);
  EXPECT_EQ(run({"verify", "--repair"}), right("a^1: a second TOC file tells of it: " + second +
                                               "\nverified 2 entries, 2 KB: 1 fault, 1 removed\n"));
  EXPECT_EQ(run({"verify"}), right("verified 1 entry, 1 KB: nothing is wrong\n"));
}

TEST_F(DepotVerify, RemovesWhatCannotBeUsedWhenItRepairs) {
  add("whole", "data");
  add("changed", "data");
  add("lost", "data");
  test::writeFile(path("changed", ".dat"), "dada");
  fs::remove(path("lost", ".dat"));
  test::writeFile("depot/00000000.0.dat", "of no entry");
  test::writeFile("depot/00000001.0.xml", "no entry");
  EXPECT_EQ(run({"verify", "--repair"}),
            right("changed^1: its SHA-256 is another one\n"
                  "lost^1: its data are missing\n" +
                  depot() + "/00000001.0.xml: it tells of no entry\n" + depot() +
                  "/00000000.0.dat: it belongs to no entry\n"
                  "verified 3 entries, 2 KB: 4 faults, 4 removed\n"));
  EXPECT_EQ(names().size(), 2U);
  EXPECT_EQ(run({"verify"}), right("verified 1 entry, 1 KB: nothing is wrong\n"));
}

TEST_F(DepotVerify, LeavesFilesElsewhereAloneWhenItRepairs) {
  test::writeFile("precious", "mine");
  test::Toc toc;
  toc.id = "a";
  toc.location = directory / "precious";
  test::writeFile(path("a", ".xml"), toc.bytes());
  EXPECT_EQ(run({"verify", "--repair"}).status, 0);
  EXPECT_EQ(names(), Names());
  EXPECT_EQ(test::readFile("precious"), "mine");
}

TEST_F(DepotVerify, LeavesWhatIsLockedWhenItRepairs) {
  test::Toc toc;
  toc.id = "a";
  toc.state = "0";
  toc.properties = "AAAA";
  put(toc);
  const test::Claim claim(path("a", ".dat"));
  EXPECT_EQ(run({"verify", "--repair"}),
            wrong("a^1: its description cannot be read\n"
                  "  not removed: The specified segment ID (a) with version (1) is locked and "
                  "cannot be removed.\n"
                  "verified 1 entry, 1 KB: 1 fault, 0 removed\n"));
  EXPECT_EQ(names().size(), 2U);
}

TEST_F(DepotVerify, TellsWhatItCouldNotRemove) {
  fs::create_directory("depot/00000000.0.xml");
  EXPECT_EQ(run({"verify", "--repair"}),
            wrong(depot() + "/00000000.0.xml: Is a directory\n  not removed: " + depot() +
                  "/00000000.0.xml: Is a directory\n"
                  "verified 0 entries, 0 KB: 1 fault, 0 removed\n"));
}

TEST_F(DepotVerify, IsJsonWhereThatIsAskedFor) {
  add("a", "data");
  test::writeFile(path("a", ".dat"), "dada");
  EXPECT_EQ(run({"verify", "--json"}),
            wrong(R"({"entries":1,"kilobytes":1,"faults":1,"removed":0,"findings":[{"name":"a^1",)"
                  R"("what":"its SHA-256 is another one","fault":true}]})"
                  "\n"));
  EXPECT_EQ(run({"verify", "--repair", "--json"}),
            right(R"({"entries":1,"kilobytes":1,"faults":1,"removed":1,"findings":[{"name":"a^1",)"
                  R"("what":"its SHA-256 is another one","fault":true,"removed":true}]})"
                  "\n"));
}
