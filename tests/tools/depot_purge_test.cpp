// `sprig depot DIR purge` and `expire`.
#include <filesystem>

#include "tools/depot.h"

namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

class DepotPurge : public test::DepotToolTest {
protected:
  void putEntry(const std::string &id, const std::string &state, const std::string &registrations,
                const std::string &deadline = "0") {
    test::Toc toc;
    toc.id = id;
    toc.state = state;
    toc.referenceCount = registrations;
    toc.deadline = deadline;
    put(toc, std::string(1025, 'x'));
  }
  bool has(const std::string &id) const { return fs::exists(path(id, ".xml")); }
};

using DepotExpire = DepotPurge;

} // namespace

TEST_F(DepotPurge, RemovesWhatNobodyHasRegistered) {
  putEntry("unused", "1", "0");
  putEntry("left", "0", "0");
  putEntry("used", "1", "1");
  EXPECT_EQ(run({"purge"}), (test::Outcome{0, "purged 2 entries, 4 KB\n", ""}));
  EXPECT_TRUE(has("used"));
  EXPECT_EQ(names().size(), 2U);
}

TEST_F(DepotPurge, SparesWhatIsBeingFilled) {
  putEntry("filling", "0", "0");
  const test::Claim claim(path("filling", ".dat"));
  EXPECT_EQ(run({"purge"}), (test::Outcome{0, "purged 0 entries, 0 KB\n", ""}));
  EXPECT_TRUE(has("filling"));
}

TEST_F(DepotPurge, RemovesEverythingWhenForced) {
  putEntry("unused", "1", "0");
  putEntry("used", "1", "2", "2147483647");
  putEntry("filling", "0", "0");
  const test::Claim claim(path("filling", ".dat"));
  EXPECT_EQ(run({"purge", "--force"}), (test::Outcome{0, "purged 3 entries, 6 KB\n", ""}));
  EXPECT_EQ(names(), Names());
}

TEST_F(DepotPurge, GoesOnBehindFilesThatTellOfNoEntry) {
  fs::create_directory("depot/00000000.0.xml");
  test::writeFile("depot/00000001.0.xml", "no entry");
  putEntry("a", "1", "0");
  putEntry("b", "1", "0");
  EXPECT_EQ(run({"purge"}),
            (test::Outcome{1, "purged 2 entries, 4 KB\n",
                           "warning: " + depot() + "/00000000.0.xml: Is a directory\n" +
                               "warning: " + depot() + "/00000001.0.xml: it tells of no entry\n"}));
  EXPECT_EQ(names(), (Names{"00000000.0.xml", "00000001.0.xml"}));
}

TEST_F(DepotPurge, GoesOnBehindWhatCannotBeRemoved) {
  putEntry("a", "1", "0");
  putEntry("b", "1", "0");
  fs::remove(path("a", ".dat"));
  fs::create_directories(path("a", ".dat") + "/full");
  EXPECT_EQ(run({"purge"}),
            (test::Outcome{1, "purged 1 entry, 2 KB\n", "warning: a^1: Directory not empty\n"}));
  EXPECT_FALSE(has("b"));
}

TEST_F(DepotPurge, TouchesNoFileThatADamagedEntryNames) {
  test::writeFile("precious", "mine");
  test::Toc toc;
  toc.id = "a";
  toc.location = directory / "precious";
  test::writeFile(path("a", ".xml"), toc.bytes());
  EXPECT_EQ(run({"purge", "--force"}).status, 0);
  EXPECT_EQ(names(), Names());
  EXPECT_EQ(test::readFile("precious"), "mine");
}

TEST_F(DepotPurge, IsJsonWhereThatIsAskedFor) {
  putEntry("a", "1", "0");
  EXPECT_EQ(run({"purge", "--json"}),
            (test::Outcome{0, "{\"purged\":{\"entries\":1,\"kilobytes\":2}}\n", ""}));
  EXPECT_EQ(run({"expire", "--json"}),
            (test::Outcome{0, "{\"expired\":{\"entries\":0,\"kilobytes\":0}}\n", ""}));
}

TEST_F(DepotExpire, RemovesWhatIsOverWhateverItsRegistrations) {
  putEntry("over", "1", "2", "1000000000");
  putEntry("kept", "1", "0", "2147483647");
  putEntry("filling", "0", "0", "1");
  EXPECT_EQ(run({"expire"}), (test::Outcome{0, "expired 1 entry, 2 KB\n", ""}));
  EXPECT_FALSE(has("over"));
  EXPECT_TRUE(has("kept"));
  EXPECT_TRUE(has("filling"));
}

TEST_F(DepotExpire, LetsGoOfWhatTheProgramHasAddedForNoTime) {
  add("kept", "data", "1d");
  add("over", "data", "0");
  change("over", [](test::Toc &toc) { toc.deadline = "1"; });
  EXPECT_EQ(run({"expire"}), (test::Outcome{0, "expired 1 entry, 1 KB\n", ""}));
  EXPECT_TRUE(has("kept"));
}
