// `sprig receive` and distributions, or senders, that nobody should trust: each is refused with a
// text that says why, and nothing is written outside of the directory.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tools/receive.h"

namespace {

namespace fs = std::filesystem;

using test::announced;
using test::Outcome;
using test::RunningProgram;
using test::Sender;
using test::timeless;

using Change = std::function<void(sprig::PropertyList &)>;

sprig::PropertyList directoryEntry(const std::string &path) {
  sprig::PropertyList entry;
  entry.put("path", path);
  entry.put("type", "directory");
  entry.put("mode", uint32_t{0755});
  return entry;
}

sprig::PropertyList linkEntry(const std::string &path, const std::string &target) {
  sprig::PropertyList entry;
  entry.put("path", path);
  entry.put("type", "link");
  entry.put("target", target);
  return entry;
}

// Changes the entry of the file "image".
Change ofImage(const std::function<void(sprig::PropertyView)> &change) {
  return [change](sprig::PropertyList &list) {
    sprig::PropertyLists tree(list.get<sprig::ConstPropertyListsView>("tree"));
    for (size_t i = 0; i < tree.size(); ++i) {
      if (tree[i].get<std::string>("path") == "image") {
        change(tree[i]);
      }
    }
    list.put("tree", tree);
  };
}

Change withPath(const std::string &path) {
  return ofImage([path](sprig::PropertyView entry) { entry.put("path", path); });
}

// Puts an entry in front of all others.
Change withFirst(const sprig::PropertyList &entry) {
  return [entry](sprig::PropertyList &list) {
    sprig::PropertyLists tree;
    tree.push_back(entry);
    for (const sprig::ConstPropertyView other : list.get<sprig::ConstPropertyListsView>("tree")) {
      tree.push_back(sprig::PropertyList(other));
    }
    list.put("tree", tree);
  };
}

// Changes the first segment of the table, that of "docs/manual".
Change ofSegment(const std::function<void(sprig::SegmentView)> &change) {
  return [change](sprig::PropertyList &list) {
    sprig::TableOfContents table = test::tableOf(list);
    change(table[0]);
    list.put("toc", sprig::PropertyLists(sprig::ConstPropertyListsView(table)));
  };
}

Change withSize(uint64_t size) {
  return ofSegment([size](sprig::SegmentView segment) { segment.set_size(size); });
}

class ReceiveHostile : public test::ReceiveTest {
protected:
  void change(const Change &change) { test::changeDistribution("dist", change); }

  // A distribution that is changed like this is refused, from a directory and from a sender.
  void expectRefusal(const Change &change, const std::string &reason) {
    packAgain();
    this->change(change);
    const test::Tree before = test::readTree(directory.path());
    const std::string refusal = ": not a distribution that can be used: " + reason + '\n';
    EXPECT_EQ(test::sprig(from("dir:dist")),
              (Outcome{1, "", "sprig: " + directory / "dist/distribution" + refusal}));
    {
      Sender sender("dist");
      RunningProgram program(fromSender({"--no-depot"}));
      sender.serve();
      EXPECT_EQ(program.wait(), (Outcome{1, "", "sprig: unix:" + directory / "sender" + refusal}));
    }
    fs::remove("sender");
    fs::remove_all("state");
    EXPECT_EQ(test::readTree(directory.path()), before);
  }

  // What is sent of each segment is not what the table tells: nothing of it is put in place.
  Outcome receiveAltered(const Sender::Alter &alter) {
    Sender sender("dist");
    RunningProgram program(fromSender({"--no-depot"}));
    sender.serve(alter);
    return timeless(program.wait());
  }

  void expectNothingInPlace() {
    fs::remove_all("out/.sprig");
    for (const auto &[path, node] : test::readTree("out")) {
      EXPECT_EQ(node.kind, test::Node::Kind::directory) << path;
    }
  }
};

} // namespace

TEST_F(ReceiveHostile, RefusesPathsThatLeadOut) {
  for (const char *path : {"../evil", "..", "docs/../../evil", "/tmp/evil", "/", "", ".", "./image",
                           "docs//image", "image/", "docs/.", "docs/.."}) {
    expectRefusal(withPath(path), std::string("the path \"") + path + '"');
  }
}

TEST_F(ReceiveHostile, RefusesPathsThatAReceiveKeepsForItself) {
  for (const char *path : {".sprig", ".sprig/lock"}) {
    expectRefusal(withFirst(directoryEntry(path)), std::string("the path \"") + path + '"');
  }
}

TEST_F(ReceiveHostile, RefusesPathsThroughWhatIsNoDirectory) {
  expectRefusal(withFirst(linkEntry("docs", "/tmp")), "the path \"docs\"");
  expectRefusal(withPath("notes/image"), "the path \"notes/image\"");
  expectRefusal(withPath("nowhere/image"), "the path \"nowhere/image\"");
}

TEST_F(ReceiveHostile, RefusesPathsThatStandThereTwice) {
  expectRefusal(withPath("notes"), "the path \"notes\"");
  expectRefusal(withFirst(directoryEntry("image")), "the path \"image\"");
}

TEST_F(ReceiveHostile, ShowsNoTextThatSteersATerminal) {
  expectRefusal(withPath("../\x1b[2J\n\x7f"), "the path \"../?[2J??\"");
}

TEST_F(ReceiveHostile, RefusesIdsThatNameOtherFiles) {
  for (const char *id :
       {"../evil", "/evil", "a/b", "", ".", "..", ".sprig", "a,b", "a b", "a\nb"}) {
    std::string shown = id;
    std::replace(shown.begin(), shown.end(), '\n', '?');
    expectRefusal([id](sprig::PropertyList &list) { list.put("id", id); },
                  "the id \"" + shown + '"');
  }
}

TEST_F(ReceiveHostile, RefusesATableThatDoesNotFitTheFiles) {
  expectRefusal(ofImage([](sprig::PropertyView entry) { entry.put("segments", uint32_t{2}); }),
                "a table of 3 segments for files of 4");
  expectRefusal(
      ofImage([](sprig::PropertyView entry) { entry.put("segments", uint32_t{0xFFFFFFFF}); }),
      "a table of 3 segments for files of 4294967297");
  expectRefusal([](sprig::PropertyList &list) { list.put("toc", sprig::PropertyLists()); },
                "a table of 0 segments for files of 3");
}

TEST_F(ReceiveHostile, RefusesSegmentsThatCannotBe) {
  const std::string reason = "the segment \"docs/manual\"";
  expectRefusal(withSize(0), reason);
  expectRefusal(ofSegment([](sprig::SegmentView segment) {
                  segment.description().put(SEGMENT_SIZE_KEY, int32_t{-1});
                }),
                reason);
  expectRefusal(ofSegment([](sprig::SegmentView segment) {
                  segment.set_checksum({1, 2, 3});
                }),
                reason);
  expectRefusal(ofSegment([](sprig::SegmentView segment) {
                  segment.description().erase(SEGMENT_CHECKSUM_KEY);
                }),
                reason);
}

TEST_F(ReceiveHostile, RefusesSegmentsThatStandThereTwice) {
  expectRefusal(
      [](sprig::PropertyList &list) {
        sprig::TableOfContents table = test::tableOf(list);
        table[1].description().put(SEGMENT_ID_KEY, table[0].id());
        table[1].description().put(SEGMENT_VERSION_KEY, table[0].version());
        list.put("toc", sprig::PropertyLists(sprig::ConstPropertyListsView(table)));
      },
      "the segment \"docs/manual\"");
}

TEST_F(ReceiveHostile, RefusesADistributionWithoutItsParts) {
  for (const char *key : {"id", "tree", "toc"}) {
    packAgain();
    change([key](sprig::PropertyList &list) { list.erase(key); });
    const Outcome outcome = test::sprig(from("dir:dist"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.errors.starts_with(
        "sprig: " + directory / "dist/distribution: not a distribution that can be used: "))
        << outcome.errors;
    EXPECT_FALSE(fs::exists("out"));
  }
}

TEST_F(ReceiveHostile, RefusesBytesThatAreNoDistribution) {
  const std::string whole = test::readFile("dist/distribution");
  for (const std::string &bytes :
       {std::string(), std::string("hello"), std::string(1000, '\xff'),
        whole.substr(0, whole.size() / 2), whole.substr(0, whole.size() - 1)}) {
    test::writeFile("dist/distribution", bytes);
    const Outcome outcome = test::sprig(from("dir:dist"));
    EXPECT_EQ(outcome.status, 1) << bytes.size();
    EXPECT_TRUE(outcome.errors.starts_with(
        "sprig: " + directory / "dist/distribution: not a distribution that can be used: "))
        << outcome.errors;
    EXPECT_FALSE(fs::exists("out"));
  }
}

TEST_F(ReceiveHostile, FollowsNoLinkThatItMade) {
  test::makeTree("elsewhere", {});
  change(withFirst(linkEntry("a", "../elsewhere")));
  EXPECT_EQ(test::sprig(from("dir:dist", {"--quiet"})), (Outcome{0, "", ""}));
  packAgain();
  change(withFirst(directoryEntry("a")));
  EXPECT_EQ(test::sprig(from("dir:dist", {"--quiet"})),
            (Outcome{1, "",
                     "sprig: " + directory / "out/a" +
                         ": in the way of a directory\nhint: move it away\n"}));
  EXPECT_EQ(test::readTree("elsewhere"), test::Tree{});
}

TEST_F(ReceiveHostile, KeepsItsOwnDirectoryFromLinks) {
  test::makeTree("elsewhere", {{"mine", test::file("mine")}});
  test::makeTree("out", {{".sprig", test::link("../elsewhere")}});
  EXPECT_EQ(test::sprig(from("dir:dist", {"--quiet"})),
            (Outcome{1, "",
                     "sprig: " + directory / "out/.sprig" +
                         ": in the way of a directory\nhint: move it away\n"}));
  EXPECT_EQ(test::readTree("elsewhere"),
            (test::Tree{{"mine", test::file("mine", 0644,
                                            test::readTree("elsewhere").at("mine").modified)}}));
}

TEST_F(ReceiveHostile, LeavesOtherThingsWhereAFileIsToBe) {
  test::makeTree("out", {{"image", test::folder()}, {"image/mine", test::file("mine")}});
  const Outcome outcome = test::sprig(from("dir:dist", {"--quiet"}));
  EXPECT_EQ(outcome, (Outcome{1, "", "sprig: " + directory / "out/image: Is a directory\n"}));
  EXPECT_EQ(test::readFile("out/image/mine"), "mine");
}

TEST_F(ReceiveHostile, RefusesMoreBytesThanPromised) {
  Sender sender("dist");
  RunningProgram program(fromSender({"--no-depot"}));
  const auto table = sender.begin();
  sender.sendData(sender.lacking(table) + "more");
  sender.sendEnd();
  EXPECT_EQ(timeless(program.wait()),
            (Outcome{1, announced,
                     "sprig: unix:" + directory / "sender" +
                         ": the sender sends more than its table tells\n"}));
  expectNothingInPlace();
}

TEST_F(ReceiveHostile, RefusesAnEndThatComesTooEarly) {
  const Outcome outcome = receiveAltered(
      [](std::string_view id, std::string bytes) { return id == "notes" ? "" : std::move(bytes); });
  EXPECT_EQ(outcome, (Outcome{5, announced,
                              "sprig: tree: 1 segment does not match what was packed: notes\n"
                              "hint: the distribution itself may be damaged: pack it again\n"}));
  expectNothingInPlace();
}

TEST_F(ReceiveHostile, RefusesSizesThatLie) {
  for (const uint64_t size : {uint64_t{10000}, uint64_t{20000}, uint64_t{INT32_MAX}}) {
    packAgain();
    change(withSize(size));
    for (const bool isSent : {false, true}) {
      fs::remove_all("out");
      Outcome outcome;
      if (isSent) {
        outcome = receiveAltered(nullptr);
        fs::remove("sender");
      } else {
        outcome = test::sprig(from("dir:dist"));
      }
      EXPECT_EQ(outcome.status, isSent && size < 15360 ? 1 : 5) << outcome;
      expectNothingInPlace();
    }
  }
}

TEST_F(ReceiveHostile, RefusesDataWithoutEnd) {
  Sender sender("dist");
  RunningProgram program(fromSender({"--no-depot"}));
  sender.accept();
  ASSERT_TRUE(sender.awaitTable().has_value());
  sender.sendRaw(test::headerOf(RUNTIME_MESSAGE_DATA, 0, 0xFFFFFFFF, 0));
  EXPECT_EQ(timeless(program.wait()),
            (Outcome{1, "",
                     "sprig: unix:" + directory / "sender" +
                         ": The channel fd:N is cut off: a message was announced that is longer "
                         "than 256 MiB.\n" +
                         test::goOn}));
}

TEST_F(ReceiveHostile, RefusesWhatIsNoMessage) {
  Sender sender("dist");
  RunningProgram program(fromSender({"--no-depot"}));
  sender.accept();
  ASSERT_TRUE(sender.awaitTable().has_value());
  sender.sendRaw("HTTP/1.1 400 Bad Request\r\n\r\n");
  EXPECT_EQ(timeless(program.wait()),
            (Outcome{1, "",
                     "sprig: unix:" + directory / "sender" +
                         ": The channel fd:N is cut off: what has arrived is no message.\n" +
                         test::goOn}));
}
