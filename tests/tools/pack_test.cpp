// `sprig pack`: what it makes of a directory tree, and what it does not take.
#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sprig/sprig.hpp>

#include "support/channel.h"
#include "tools/program.h"
#include "tools/tree.h"

namespace {

namespace fs = std::filesystem;

using test::file;
using test::folder;
using test::link;
using test::Outcome;
using test::Tree;

const Tree threeFiles{{"docs", folder()},
                      {"docs/manual", file(test::dataOf(15360))},
                      {"image", file(test::dataOf(20480))},
                      {"notes", file(test::dataOf(10240))}};

using Names = std::vector<std::string>;

Names namesIn(const std::string &directory) {
  Names names;
  for (const auto &entry : fs::directory_iterator(directory)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

sprig::PropertyList distributionAt(const std::string &directory) {
  return sprig::PropertyList::load(directory + "/distribution", sprig::Layout::bare);
}

sprig::TableOfContents tableAt(const std::string &directory) {
  return sprig::TableOfContents(
      distributionAt(directory).get<sprig::ConstPropertyListsView>("toc"));
}

Names segmentsIn(const std::string &directory) {
  Names ids;
  for (const sprig::ConstSegmentView segment : tableAt(directory)) {
    ids.emplace_back(segment.id());
  }
  return ids;
}

class Pack : public test::ToolTest {
protected:
  Pack() { sprig_init(); }

  void expectWrongUsage(const test::Arguments &arguments, const std::string &errors) {
    EXPECT_EQ(test::sprig(arguments), (Outcome{2, "", errors}));
    EXPECT_FALSE(fs::exists("dist"));
  }
};

const std::string idHint = "hint: use up to 64 letters, digits, dots, hyphens and underscores\n";

} // namespace

TEST_F(Pack, TellsWhatItMade) {
  test::makeTree("tree", threeFiles);
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}),
            (Outcome{0, "packed tree as tree into dist: 3 files, 45.0 KiB in 3 segments\n", ""}));
  EXPECT_EQ(namesIn("dist"), (Names{"000001.dat", "000001.toc", "000002.dat", "000002.toc",
                                    "000003.dat", "000003.toc", "distribution"}));
}

TEST_F(Pack, TellsItAsJson) {
  test::makeTree("tree", threeFiles);
  const Outcome outcome = test::sprig({"pack", "tree", "-o", "dist", "--json"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(
      nlohmann::json::parse(outcome.output),
      (nlohmann::json{{"distribution", "tree"}, {"files", 3}, {"bytes", 46080}, {"segments", 3}}));
}

TEST_F(Pack, LeavesTheTreeAsItIs) {
  test::makeTree("tree", test::oddTree());
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}).status, 0);
  EXPECT_EQ(test::readTree("tree"), test::oddTree());
}

TEST_F(Pack, MakesTheSameAgain) {
  test::makeTree("tree", test::oddTree());
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}).status, 0);
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "again"}).status, 0);
  EXPECT_EQ(namesIn("dist"), namesIn("again"));
  for (const std::string &name : namesIn("dist")) {
    EXPECT_EQ(test::readFile("dist/" + name), test::readFile("again/" + name)) << name;
  }
}

TEST_F(Pack, NamesSegmentsForPathsAndContents) {
  test::makeTree("tree", {{"a b", file("abc")}, {"sub", folder()}, {"sub/%1\xff", file("abc")}});
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}).status, 0);
  const sprig::TableOfContents table = tableAt("dist");
  ASSERT_EQ(table.size(), 2U);
  EXPECT_EQ(table[0].id(), "a%20b");
  EXPECT_EQ(table[1].id(), "sub/%251%FF");
  EXPECT_EQ(table[1].version(), "ba7816bf8f01cfea"); // of the SHA-256 of "abc"
  EXPECT_EQ(table[1].location(), "000002.dat");
  EXPECT_EQ(table[1].size(), 3);
  EXPECT_EQ(table[1].checksum().size(), 32U);
}

TEST_F(Pack, DescribesEachSegmentBesideItsData) {
  test::makeTree("tree", threeFiles);
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}).status, 0);
  const sprig::TableOfContents table = tableAt("dist");
  for (const sprig::ConstSegmentView segment : table) {
    const std::string data = "dist/" + std::string(segment.location());
    const auto description = sprig::PropertyList::load(
        fs::path(data).replace_extension(".toc").string(), sprig::Layout::bare);
    EXPECT_EQ(description.get<sprig::ConstPropertyView>("segment"), segment.description());
    EXPECT_EQ(test::readFile(data), threeFiles.at(std::string(segment.id())).content);
  }
}

TEST_F(Pack, CutsLargeFiles) {
  const std::string content = test::dataOf(10001);
  test::makeTree("tree", {{"exact", file(test::dataOf(4096))},
                          {"large", file(content)},
                          {"large@2", file("not a slice")}});
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist", "--segment-size", "4K"}),
            (Outcome{0, "packed tree as tree into dist: 3 files, 13.8 KiB in 5 segments\n", ""}));
  EXPECT_EQ(segmentsIn("dist"), (Names{"exact", "large", "large@2", "large@3", "large%402"}));
  EXPECT_EQ(test::readFile("dist/000002.dat") + test::readFile("dist/000003.dat") +
                test::readFile("dist/000004.dat"),
            content);
}

TEST_F(Pack, CountsOneFileAndOneSegmentInTheSingular) {
  test::makeTree("tree", {{"only", file("x")}});
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}).output,
            "packed tree as tree into dist: 1 file, 1 B in 1 segment\n");
}

TEST_F(Pack, GivesEmptyFilesNoSegment) {
  test::makeTree("tree", {{"empty", file("")}, {"nothing", folder()}});
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}).output,
            "packed tree as tree into dist: 1 file, 0 B in 0 segments\n");
  EXPECT_EQ(namesIn("dist"), Names{"distribution"});
}

TEST_F(Pack, PacksAnEmptyDirectory) {
  fs::create_directory("tree");
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}),
            (Outcome{0, "packed tree as tree into dist: 0 files, 0 B in 0 segments\n", ""}));
}

TEST_F(Pack, TakesItsNameFromWhereItIs) {
  test::makeTree("some/tree-1.0", {{"a", file("a")}});
  fs::create_directory("sub");
  for (const char *source : {"some/tree-1.0", "some/tree-1.0/", "some/tree-1.0/."}) {
    EXPECT_EQ(test::sprig({"pack", source, "-o", "dist"}).status, 0) << source;
    EXPECT_EQ(distributionAt("dist").get<std::string>("id"), "tree-1.0") << source;
    fs::remove_all("dist");
  }
}

TEST_F(Pack, TakesTheIdThatItIsGiven) {
  test::makeTree("a tree", {{"a", file("a")}});
  EXPECT_EQ(test::sprig({"pack", "a tree", "-o", "dist", "--id", "release_1.0-2"}).output,
            "packed a tree as release_1.0-2 into dist: 1 file, 1 B in 1 segment\n");
}

TEST_F(Pack, PacksIntoAnEmptyDirectory) {
  test::makeTree("tree", {{"a", file("a")}});
  fs::create_directory("dist");
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}).status, 0);
}

TEST_F(Pack, LeavesOutWhatIsNeitherFileNorDirectoryNorLink) {
  test::makeTree("tree", {{"a", file("a")}});
  ASSERT_EQ(mkfifo("tree/pi\npe", 0600), 0);
  EXPECT_EQ(
      test::sprig({"pack", "tree", "-o", "dist"}),
      (Outcome{0, "packed tree as tree into dist: 1 file, 1 B in 1 segment\n",
               "warning: tree/pi?pe: left out: neither a file nor a directory nor a link\n"}));
}

TEST_F(Pack, LeavesOutWhatAReceiveKeeps) {
  test::makeTree("tree", {{"a", file("a")},
                          {".sprig", folder()},
                          {".sprig/lock", file("")},
                          {"sub", folder()},
                          {"sub/.sprig", file("of the user's")}});
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}),
            (Outcome{0, "packed tree as tree into dist: 2 files, 14 B in 2 segments\n",
                     "warning: tree/.sprig: left out: the name is reserved\n"}));
}

TEST_F(Pack, LeavesOutItself) {
  test::makeTree("tree", {{"a", file("a")}});
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "tree/dist"}),
            (Outcome{0, "packed tree as tree into tree/dist: 1 file, 1 B in 1 segment\n",
                     "warning: tree/dist: left out: the distribution itself\n"}));
}

TEST_F(Pack, FollowsNoLinks) {
  test::makeTree("outside", {{"secret", file("s")}});
  test::makeTree("tree", {{"file", link("../outside/secret")}, {"directory", link("../outside")}});
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}).output,
            "packed tree as tree into dist: 0 files, 0 B in 0 segments\n");
}

TEST_F(Pack, LeavesADirectoryAloneThatIsInUse) {
  test::makeTree("tree", {{"a", file("a")}});
  test::makeTree("dist", {{"mine", file("mine")}});
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist"}),
            (Outcome{1, "",
                     "sprig: dist: the directory is not empty\n"
                     "hint: name a directory that does not exist yet\n"}));
  EXPECT_EQ(namesIn("dist"), Names{"mine"});
}

TEST_F(Pack, NamesWhatIsMissing) {
  test::makeTree("tree", {{"a", file("a")}});
  EXPECT_EQ(test::sprig({"pack", "none", "-o", "dist"}),
            (Outcome{1, "", "sprig: none: No such file or directory\n"}));
  EXPECT_EQ(test::sprig({"pack", "tree/a", "-o", "dist"}),
            (Outcome{1, "", "sprig: tree/a: Not a directory\n"}));
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "no/where"}),
            (Outcome{1, "", "sprig: no/where: No such file or directory\n"}));
  EXPECT_FALSE(fs::exists("dist"));
}

TEST_F(Pack, RefusesIdsThatNameNoFile) {
  test::makeTree("tree", {{"a", file("a")}});
  expectWrongUsage({"pack", "tree", "-o", "dist", "--id", "../tree"},
                   "sprig: \"../tree\" cannot be the id of a distribution\n" + idHint);
  expectWrongUsage({"pack", "tree", "-o", "dist", "--id", "a,b"},
                   "sprig: \"a,b\" cannot be the id of a distribution\n" + idHint);
  expectWrongUsage({"pack", "tree", "-o", "dist", "--id", ".hidden"},
                   "sprig: \".hidden\" cannot be the id of a distribution\n" + idHint);
  const std::string longest(64, 'x');
  expectWrongUsage({"pack", "tree", "-o", "dist", "--id", longest + 'x'},
                   "sprig: \"" + longest + "x\" cannot be the id of a distribution\n" + idHint);
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist", "--id", longest}).status, 0);
}

TEST_F(Pack, RefusesSegmentSizesThatThereAreNot) {
  test::makeTree("tree", {{"a", file("a")}});
  for (const char *size : {"0", "2G", "2147483648", "-1"}) {
    expectWrongUsage({"pack", "tree", "-o", "dist", "--segment-size", size},
                     "sprig: --segment-size: a segment has between 1 byte and 2 GiB less one\n");
  }
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist", "--segment-size", "many"}).status, 2);
  EXPECT_EQ(test::sprig({"pack", "tree", "-o", "dist", "--segment-size", "2147483647"}).status, 0);
}

TEST_F(Pack, AsksForWhatItNeeds) {
  const std::string help = "Run with --help for more information.\n";
  expectWrongUsage({"pack"}, "DIR is required\n" + help);
  expectWrongUsage({"pack", "tree"}, "--output is required\n" + help);
  expectWrongUsage({"pack", "tree", "-o", "dist", "another"},
                   "The following argument was not expected: another\n" + help);
}
