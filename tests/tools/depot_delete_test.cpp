// `sprig depot DIR delete`.
#include <filesystem>

#include "tools/depot.h"

namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

class DepotDelete : public test::DepotToolTest {
protected:
  // An entry that nobody has registered, changed as a test needs it.
  template <typename Change> void putChanged(Change change) {
    test::Toc toc;
    toc.id = "a";
    change(toc);
    put(toc);
  }
  static test::Outcome refusal(const std::string &text) {
    return {1, "", "sprig: " + text + "\nhint: --force deletes it nevertheless\n"};
  }

  const test::Outcome deleted{0, "deleted a^1\n", ""};
};

} // namespace

TEST_F(DepotDelete, RemovesBothFiles) {
  putChanged([](test::Toc &) {});
  EXPECT_EQ(run({"delete", "a^1"}), deleted);
  EXPECT_EQ(names(), Names());
}

TEST_F(DepotDelete, FailsWhereThereIsNoEntry) {
  EXPECT_EQ(run({"delete", "a^1"}),
            (test::Outcome{
                1, "", "sprig: Cannot delete the entry a^1 because the entry does not exist.\n"}));
}

TEST_F(DepotDelete, KeepsWhatIsRegisteredUnlessForced) {
  putChanged([](test::Toc &toc) { toc.referenceCount = "1"; });
  EXPECT_EQ(run({"delete", "a^1"}),
            refusal("Cannot delete the entry a^1 because the entry is in use."));
  EXPECT_EQ(names().size(), 2U);
  EXPECT_EQ(run({"delete", "a^1", "--force"}), deleted);
  EXPECT_EQ(names(), Names());
}

TEST_F(DepotDelete, KeepsWhatIsPermanentUnlessForced) {
  putChanged([](test::Toc &toc) { toc.deadline = "2147483647"; });
  EXPECT_EQ(run({"delete", "a^1"}), refusal("The specified segment ID (a) with version (1) is "
                                            "permanent and cannot be removed."));
  EXPECT_EQ(run({"delete", "a^1", "--force"}), deleted);
}

TEST_F(DepotDelete, KeepsWhatIsBeingFilledUnlessItWasLeftBehind) {
  putChanged([](test::Toc &toc) { toc.state = "0"; });
  const std::string locked = "Cannot delete the entry a^1 because the segment is locked.";
  EXPECT_EQ(run({"delete", "a^1"}), refusal(locked));
  {
    const test::Claim claim(path("a", ".dat"));
    EXPECT_EQ(run({"delete", "a^1", "--force"}), (test::Outcome{1, "", "sprig: " + locked + "\n"}));
  }
  EXPECT_EQ(run({"delete", "a^1", "--force"}), deleted);
  EXPECT_EQ(names(), Names());
}

TEST_F(DepotDelete, RemovesEntriesWithoutData) {
  putChanged([](test::Toc &) {});
  fs::remove(path("a", ".dat"));
  EXPECT_EQ(run({"delete", "a^1"}), deleted);
  EXPECT_EQ(names(), Names());
}

TEST_F(DepotDelete, TouchesNoFileThatADamagedEntryNames) {
  test::writeFile("precious.dat", "mine");
  test::Toc toc;
  toc.id = "a";
  toc.location = directory / "precious.dat";
  test::writeFile(path("a", ".xml"), toc.bytes());
  EXPECT_EQ(run({"delete", "a^1"}), deleted);
  EXPECT_EQ(names(), Names());
  EXPECT_EQ(test::readFile("precious.dat"), "mine");
}

TEST_F(DepotDelete, TellsWhatCannotBeRemoved) {
  putChanged([](test::Toc &) {});
  fs::remove(path("a", ".dat"));
  fs::create_directories(path("a", ".dat") + "/full");
  EXPECT_EQ(run({"delete", "a^1"}), (test::Outcome{1, "", "sprig: a^1: Directory not empty\n"}));
}

TEST_F(DepotDelete, IsJsonWhereThatIsAskedFor) {
  putChanged([](test::Toc &) {});
  EXPECT_EQ(run({"delete", "a^1", "--json"}),
            (test::Outcome{0, "{\"deleted\":{\"id\":\"a\",\"version\":\"1\"}}\n", ""}));
}
