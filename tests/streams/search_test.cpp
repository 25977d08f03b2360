// The search of a directory for segments: what is looked at, what is found, and what is passed
// over.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <sprig/streams.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "streams/local_data.h"
#include "support/heap.h"
#include "support/log.h"
#include "support/temporary_directory.h"

using test::dataAt;
using test::failureOf;
using test::Found;
using test::List;
using test::saveSegment;
using test::SegmentInfo;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

using Strings = std::vector<std::string>;

// Segments that are looked for.
class Wanted {
public:
  explicit Wanted(const std::vector<SegmentInfo> &segments)
      : list_(segments), toc_(toc_from_properties(list_.get())) {}
  ~Wanted() {
    toc_free_buffer(toc_);
    mg_free(toc_);
  }
  Wanted(const Wanted &) = delete;
  Wanted &operator=(const Wanted &) = delete;

  Toc *toc() const { return toc_; }
  Properties &properties(size_t index) const { return list_[index]; }
  Found found(size_t index) const {
    Found found = test::foundOf(list_[index]);
    EXPECT_EQ(toc_->segments[index]->found != 0, found != Found{}) << index;
    return found;
  }

private:
  test::SegmentList list_;
  Toc *toc_;
};

class Search : public test::DirectoryTest {
protected:
  Search() {
    sprig_init();
    fs::create_directory(depot);
  }

  std::string in(const std::string &name) const { return depot + "/" + name; }

  void search(const Wanted &wanted, const std::string &where) {
    EXPECT_EQ(net_stream_search_endpoint_depot(wanted.toc(), where.c_str(), &paths), 0);
  }
  void search(const Wanted &wanted) { search(wanted, depot); }
  // The search for s1^1.
  Found searchIn(const std::string &where) {
    const Wanted wanted({SegmentInfo{}});
    search(wanted, where);
    return wanted.found(0);
  }
  Found searched() { return searchIn(depot); }

  // Files like any other of which nothing can be learned, besides one that describes s1^1.
  void expectPassedOver(const std::string &name) {
    SCOPED_TRACE(name);
    const std::string data = test::putSegment(depot, "s1");
    log.clear();
    EXPECT_EQ(searched(), dataAt(data, 4));
    EXPECT_EQ(test::notices(log).size(), 1U);
    EXPECT_EQ(test::noticesAbout(log, in(name)), 1U);
    fs::remove_all(in(name));
  }
  void expectPassedOver(const std::string &name, const Properties &content) {
    const auto save =
        name.ends_with(".itc") ? properties_save_improved : properties_save_without_len;
    save(&content, in(name).c_str());
    expectPassedOver(name);
  }

  const std::string depot = directory / "segments";
  test::Texts paths;
  test::Log log;
};

} // namespace

TEST_F(Search, FindsTheDataOfADescribedSegment) {
  const std::string data = test::putSegment(depot, "s1", "twelve bytes");
  const Wanted wanted({{.location = "/elsewhere/x", .size = 7, .offset = 3}});
  search(wanted);
  EXPECT_EQ(wanted.found(0), dataAt(data, 12));
  EXPECT_EQ(wanted.toc()->found_count, 1);
  EXPECT_EQ(wanted.toc()->segments[0]->found, 1);
  EXPECT_EQ(paths.all(), Strings{data});
  EXPECT_STREQ(properties_get_string(&wanted.properties(0), "location"), "/elsewhere/x");
  EXPECT_EQ(properties_get_long(&wanted.properties(0), "offset"), 3);
  EXPECT_EQ(test::notices(log), Strings{});
}

TEST_F(Search, FindsEmptyData) {
  EXPECT_EQ((test::putSegment(depot, "s1", ""), searched()), dataAt(in("s1.dat"), 0));
}

TEST_F(Search, LeavesWhatItDoesNotFind) {
  test::putSegment(depot, "s1");
  const Wanted wanted({{.id = "s0"}, {.id = "s1"}, {.id = "s2", .size = 7}});
  search(wanted);
  EXPECT_EQ(wanted.found(0), Found{});
  EXPECT_EQ(wanted.found(1), dataAt(in("s1.dat"), 4));
  EXPECT_EQ(wanted.toc()->segments[2]->found, 0);
  EXPECT_EQ(test::foundOf(wanted.properties(2)), (Found{.size = 7}));
  EXPECT_EQ(wanted.toc()->found_count, 1);
}

TEST_F(Search, GoesByIdAndVersion) {
  writeFile(in("data"), "data");
  saveSegment(in("a.toc"), {.id = "s1", .version = "2", .location = "data"});
  saveSegment(in("b.toc"), {.id = "s2", .version = "1", .location = "data"});
  saveSegment(in("c.toc"), {.id = "S1", .version = "1", .location = "data"});
  saveSegment(in("d.toc"), {.id = "s1 ", .version = "1", .location = "data"});
  EXPECT_EQ(searched(), Found{});
  saveSegment(in("e.toc"), {.id = "s1", .version = "1", .location = "data"});
  EXPECT_EQ(searched(), dataAt(in("data"), 4));
}

TEST_F(Search, NeedsNoListOfPaths) {
  const std::string data = test::putSegment(depot, "s1");
  const Wanted wanted({SegmentInfo{}});
  EXPECT_EQ(net_stream_search_endpoint_depot(wanted.toc(), depot.c_str(), nullptr), 0);
  EXPECT_EQ(wanted.found(0), dataAt(data, 4));
}

TEST_F(Search, AddsToTheListOfPaths) {
  char *before = mg_strdup("/before");
  seq_add(&paths, &before, sizeof before);
  test::putSegment(depot, "s1");
  searched();
  EXPECT_EQ(paths.all(), (Strings{"/before", in("s1.dat")}));
}

TEST_F(Search, FindsEachOfSeveralEqualSegments) {
  test::putSegment(depot, "s1");
  const Wanted wanted({{.id = "s1"}, {.id = "s2"}, {.id = "s1"}, {.id = "s1", .version = "2"}});
  search(wanted);
  EXPECT_EQ(wanted.found(0), dataAt(in("s1.dat"), 4));
  EXPECT_EQ(wanted.found(2), dataAt(in("s1.dat"), 4));
  EXPECT_EQ(wanted.found(3), Found{});
  EXPECT_EQ(wanted.toc()->found_count, 2);
  EXPECT_EQ(paths.all(), (Strings{in("s1.dat"), in("s1.dat")}));
}

TEST_F(Search, LeavesWhatWasFoundBefore) {
  test::putSegment(depot, "s1");
  test::putSegment(depot, "s2");
  const Wanted wanted({{.id = "s1"}, {.id = "s2"}});
  wanted.toc()->segments[0]->found = 1;
  wanted.toc()->found_count = 1;
  search(wanted);
  EXPECT_EQ(test::foundOf(wanted.properties(0)), Found{});
  EXPECT_EQ(wanted.found(1), dataAt(in("s2.dat"), 4));
  EXPECT_EQ(wanted.toc()->found_count, 2);
  EXPECT_EQ(paths.all(), Strings{in("s2.dat")});
}

TEST_F(Search, FindsEachSegmentOnce) {
  writeFile(in("data"), "data");
  for (const char *name : {"a.toc", "b.toc", "c.toc", "a.itc", "b.itc"}) {
    saveSegment(in(name), {.location = "data"});
  }
  const Wanted wanted({SegmentInfo{}});
  search(wanted);
  search(wanted);
  EXPECT_EQ(wanted.toc()->found_count, 1);
  EXPECT_EQ(paths.all(), Strings{in("data")});
}

TEST_F(Search, OfNoSegmentsFindsNone) {
  test::putSegment(depot, "s1");
  const Wanted wanted({});
  search(wanted);
  EXPECT_EQ(wanted.toc()->found_count, 0);
  EXPECT_EQ(paths.length, 0U);
}

TEST_F(Search, TakesADirectoryWithASeparatorAtItsEnd) {
  test::putSegment(depot, "s1");
  for (const char *end : {"", "/", "\\", "//"}) {
    EXPECT_EQ(searchIn(depot + end), dataAt(in("s1.dat"), 4)) << '"' << end << '"';
  }
  EXPECT_EQ(searchIn(depot + "/\\"), dataAt(in("s1.dat"), 4)) << "one is cut";
}

TEST_F(Search, TakesTheRootDirectory) {
  EXPECT_EQ(searchIn("/"), Found{});
  EXPECT_EQ(searchIn("\\"), Found{});
}

TEST_F(Search, TakesARelativeDirectory) {
  const fs::path before = fs::current_path();
  fs::current_path(directory.path());
  test::putSegment(depot, "s1");
  EXPECT_EQ(searchIn("segments"), dataAt("segments/s1.dat", 4));
  EXPECT_EQ(searchIn("./segments/"), dataAt("./segments/s1.dat", 4));
  fs::current_path(before);
}

TEST_F(Search, TakesALinkToADirectory) {
  test::putSegment(depot, "s1");
  fs::create_symlink(depot, directory / "link");
  EXPECT_EQ(searchIn(directory / "link"), dataAt(directory / "link/s1.dat", 4));
}

TEST_F(Search, OfWhatIsNoDirectoryFindsNothing) {
  test::putSegment(depot, "s1");
  writeFile(directory / "file", "");
  fs::create_symlink("nowhere", directory / "dangling");
  fs::create_symlink("loop", directory / "loop");
  for (const char *name : {"missing", "missing/", "file", "file/", "dangling", "loop"}) {
    EXPECT_EQ(searchIn(directory / name), Found{}) << name;
  }
  EXPECT_EQ(searchIn(""), Found{});
  EXPECT_EQ(searchIn(std::string(300, 'x')), Found{});
  EXPECT_EQ(searchIn("/" + std::string(10000, 'x')), Found{});
  const Wanted wanted({SegmentInfo{}});
  EXPECT_EQ(net_stream_search_endpoint_depot(wanted.toc(), nullptr, &paths), 0);
  EXPECT_EQ(paths.length, 0U);
  EXPECT_EQ(test::notices(log), Strings{});
}

TEST_F(Search, LooksAtNamesThatEndInTocAndItc) {
  writeFile(in("data"), "data");
  for (const char *name : {"x.toc", ".toc", ".x.toc", "x.toc.toc", "x y,*.toc", "x.itc"}) {
    saveSegment(in(name), {.location = "data"});
    EXPECT_EQ(searched(), dataAt(in("data"), 4)) << name;
    fs::remove(in(name));
  }
  for (const char *name : {"x.TOC", "xtoc", "toc", "x.toc.bak", "x.tocx", "x.tic", "x.xml"}) {
    saveSegment(in(name), {.location = "data"});
    EXPECT_EQ(searched(), Found{}) << name;
  }
  fs::create_directory(in("inner"));
  saveSegment(in("inner/x.toc"), {.location = "data"});
  EXPECT_EQ(searched(), Found{}) << "directories in it are not looked into";
  EXPECT_EQ(test::notices(log), Strings{});
}

TEST_F(Search, LooksAtTocFilesFirst) {
  writeFile(in("toc.dat"), "of the toc");
  writeFile(in("itc.dat"), "of the itc");
  for (const char *name : {"a.itc", "m.toc", "z.itc"}) {
    saveSegment(in(name), {.location = std::string(name).substr(2) + ".dat"});
  }
  EXPECT_EQ(searched(), dataAt(in("toc.dat"), 10));
}

TEST_F(Search, TakesTheLastComponentOfTheLocation) {
  writeFile(in("data"), "data");
  writeFile(in("C:\\dir\\data"), "other");
  const auto foundAt = [this](const std::string &location) {
    saveSegment(in("x.toc"), {.location = location});
    return searched();
  };
  for (const char *location : {"data", "/data", "/a/b/data", "a//data", "../data", "C:\\a/data"}) {
    EXPECT_EQ(foundAt(location), dataAt(in("data"), 4)) << location;
  }
  EXPECT_EQ(foundAt("C:\\dir\\data"), dataAt(in("C:\\dir\\data"), 5));
}

TEST_F(Search, TakesTheWantedLocationWhereTheFileHasNone) {
  writeFile(in("data"), "data");
  writeFile(in("other"), "other data");
  const auto foundWith = [this](const std::optional<std::string> &there,
                                const std::optional<std::string> &wantedLocation) {
    saveSegment(in("x.toc"), {.location = there});
    const Wanted wanted({{.location = wantedLocation}});
    search(wanted);
    return wanted.found(0);
  };
  EXPECT_EQ(foundWith(std::nullopt, "/a/data"), dataAt(in("data"), 4));
  EXPECT_EQ(foundWith("/b/other", "/a/data"), dataAt(in("other"), 10));
  EXPECT_EQ(foundWith("/b/missing", "/a/data"), Found{});
  EXPECT_EQ(foundWith(std::nullopt, std::nullopt), Found{});
}

TEST_F(Search, TakesLaterDataWhereTheFirstAreMissing) {
  saveSegment(in("x.toc"), {.location = "missing"});
  EXPECT_EQ(searched(), Found{});
  EXPECT_EQ(test::notices(log), Strings{}) << "that may be";

  writeFile(in("there"), "there");
  saveSegment(in("x.itc"), {.location = "there"});
  EXPECT_EQ(searched(), dataAt(in("there"), 5));
  saveSegment(in("a.toc"), {.location = "missing, too"});
  saveSegment(in("y.toc"), {.location = "there"});
  saveSegment(in("z.toc"), {.location = "missing, too"});
  EXPECT_EQ(searched(), dataAt(in("there"), 5));
}

TEST_F(Search, FollowsLinks) {
  test::putSegment(directory.path(), "s1");
  fs::create_symlink("../s1.toc", in("link.toc"));
  EXPECT_EQ(searched(), Found{}) << "the data are not there";
  fs::create_symlink("../s1.dat", in("s1.dat"));
  EXPECT_EQ(searched(), dataAt(in("s1.dat"), 4));
  fs::remove(directory / "s1.dat");
  EXPECT_EQ(searched(), Found{});
  EXPECT_EQ(test::notices(log), Strings{});
}

TEST_F(Search, FindsNoDataWithACommaInTheirPath) {
  writeFile(in("da,ta"), "data");
  saveSegment(in("x.toc"), {.location = "/source/da,ta"});
  EXPECT_EQ(searched(), Found{});
  EXPECT_EQ(paths.length, 0U);
  EXPECT_EQ(test::notices(log), Strings{test::unreadable(in("da,ta"))});

  writeFile(in("data"), "other data");
  saveSegment(in("y.itc"), {.location = "data"});
  EXPECT_EQ(searched(), dataAt(in("data"), 10));
  EXPECT_EQ(paths.all(), Strings{in("data")});

  const std::string withComma = directory / "a,b";
  fs::create_directory(withComma);
  test::putSegment(withComma, "s1");
  EXPECT_EQ(searchIn(withComma), Found{});
}

TEST_F(Search, FindsOnlyDataThatAreAFile) {
  fs::create_directory(in("directory"));
  ASSERT_EQ(mkfifo(in("pipe").c_str(), 0600), 0);
  for (const char *location : {"directory", "directory/", "pipe", "", "/", ".", "a/.."}) {
    saveSegment(in("x.toc"), {.location = location});
    EXPECT_EQ(searched(), Found{}) << '"' << location << '"';
  }
  EXPECT_EQ(test::notices(log), Strings{});
}

TEST_F(Search, PassesOverFilesThatAreNoSuchList) {
  const List good(test::propertiesOf(SegmentInfo{.location = "data"}));
  List file;
  properties_put_properties_dup(&file, "segment", &good);
  const std::string encoding = test::encodingOf(file);
  const std::string improved = test::fileOf(test::improved, encoding);
  for (const std::string &content :
       {std::string(), std::string("x"), std::string(1000, '\xff'), std::string("s1,1,data\n"),
        encoding.substr(0, encoding.size() - 1), encoding.substr(1),
        test::fileOf(test::withLength, encoding), improved}) {
    writeFile(in("damaged.toc"), content);
    expectPassedOver("damaged.toc");
  }
  for (const std::string &content : {std::string(), std::string("x"), std::string(1000, '\xff'),
                                     improved.substr(0, improved.size() - 1), improved + "x",
                                     test::fileOf(test::withLength, encoding), encoding}) {
    writeFile(in("damaged.itc"), content);
    fs::remove(in("s1.toc"));
    SCOPED_TRACE(content.size());
    // The pass that looks at these comes only where the first has left something.
    const Wanted wanted({SegmentInfo{}});
    log.clear();
    search(wanted);
    EXPECT_EQ(wanted.found(0), Found{});
    EXPECT_EQ(test::noticesAbout(log, in("damaged.itc")), 1U);
  }
}

TEST_F(Search, PassesOverFilesThatDescribeNoSegment) {
  expectPassedOver("x.toc", List());
  expectPassedOver("x.toc", List(test::propertiesOf(SegmentInfo{.location = "data"})));
  const auto expectWith = [this](const Properties &segment) {
    List file;
    properties_put_properties_dup(&file, "segment", &segment);
    expectPassedOver("x.toc", file);
  };
  expectWith(List());
  for (const char *key : {SEGMENT_ID_KEY, SEGMENT_VERSION_KEY}) {
    List segment(test::propertiesOf(SegmentInfo{.location = "data"}));
    properties_remove_and_destroy(&segment, key);
    expectWith(segment);
    properties_put_long_dup(&segment, key, 1);
    expectWith(segment);
  }
  List segment(test::propertiesOf(SegmentInfo{}));
  properties_put_long_dup(&segment, SEGMENT_LOCATION_KEY, 7);
  expectWith(segment);
  List file;
  properties_put_string_dup(&file, "segment", "s1^1");
  expectPassedOver("x.toc", file);
}

TEST_F(Search, PassesOverWhatIsNoFile) {
  fs::create_directory(in("x.toc"));
  expectPassedOver("x.toc");
  ASSERT_EQ(mkfifo(in("x.toc").c_str(), 0600), 0);
  expectPassedOver("x.toc");
  fs::create_symlink("nowhere", in("x.toc"));
  expectPassedOver("x.toc");
  fs::create_symlink("x.toc", in("x.toc"));
  expectPassedOver("x.toc");
  fs::create_symlink("/dev/null", in("x.toc"));
  expectPassedOver("x.toc");
}

TEST_F(Search, GoesOnBehindManyFilesThatItPassesOver) {
  std::vector<SegmentInfo> segments;
  for (int i = 0; i < 40; ++i) {
    const std::string name = std::to_string(i);
    test::putSegment(depot, name);
    segments.push_back({.id = name});
    writeFile(in(name + ".damaged.toc"), "no list");
    writeFile(in(name + ".damaged.itc"), "no list");
  }
  segments.push_back({.id = "that is not there"});
  const Wanted wanted(segments);
  search(wanted);
  EXPECT_EQ(wanted.toc()->found_count, 40);
  EXPECT_EQ(test::noticesAbout(log, ".damaged.toc"), 40U);
  EXPECT_EQ(test::noticesAbout(log, ".damaged.itc"), 40U);
}

TEST_F(Search, PassesOverPathsThatAreTooLong) {
  saveSegment(in("x.toc"), {.location = "data.dat"});
  writeFile(in("data.dat"), "data");
  saveSegment(in("y.itc"), {.id = "s2", .location = "data.dat"});
  const auto where = [this](size_t length) {
    return test::stretched(directory.path(), "/segments", length);
  };
  const size_t longest = 1023 - strlen("/data.dat");
  EXPECT_EQ(searchIn(where(longest)), dataAt(where(longest) + "/data.dat", 4));
  EXPECT_EQ(test::notices(log), Strings{});
  EXPECT_EQ(searchIn(where(longest + 1)), Found{}) << "the data";
  EXPECT_EQ(test::notices(log).size(), 1U);
  log.clear();
  EXPECT_EQ(searchIn(where(1024 - strlen("/x.toc"))), Found{}) << "the files that describe them";
  EXPECT_EQ(test::notices(log).size(), 2U);
  EXPECT_EQ(searchIn(where(1023)), Found{});
  EXPECT_EQ(searchIn(where(1024)), Found{});
  EXPECT_EQ(searchIn(where(4000)), Found{});
}

TEST_F(Search, LetsTheFailureOfDataThatAreTooLargePass) {
  const std::string data = test::putSegment(depot, "s1");
  fs::resize_file(data, uint64_t{1} << 31);
  const Wanted wanted({SegmentInfo{}});
  Toc *const toc = wanted.toc();
  EXPECT_EQ(failureOf([&] { net_stream_search_endpoint_depot(toc, depot.c_str(), &paths); }),
            test::cannotGetStatus(data));
  test::expectNothingLost([&] {
    EXPECT_TRUE(failureOf([&] { net_stream_search_endpoint_depot(toc, depot.c_str(), &paths); }));
  });
}

TEST_F(Search, GoesThroughManyFiles) {
  constexpr size_t count = 500;
  std::vector<SegmentInfo> segments;
  Strings expected;
  for (size_t i = 0; i < count; ++i) {
    const std::string name = "segment" + std::to_string(i);
    segments.push_back({.id = name});
    expected.push_back(test::putSegment(depot, name, name));
    for (const char *ending : {".a", ".b", ".c", ".d", ".e", ".f", ".g", ".h", ".i", ".j"}) {
      fs::create_hard_link(expected.front(), in(name + ending));
    }
  }
  const Wanted wanted(segments);
  search(wanted);
  EXPECT_EQ(wanted.toc()->found_count, static_cast<int32_t>(count));
  for (size_t i = 0; i < count; ++i) {
    ASSERT_EQ(wanted.found(i), dataAt(expected[i], static_cast<int32_t>(segments[i].id.size())));
  }
  Strings found = paths.all();
  std::sort(found.begin(), found.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(found, expected);
  EXPECT_EQ(test::notices(log), Strings{});
}

TEST_F(Search, LeavesNothingBehind) {
  test::putSegment(depot, "s1");
  writeFile(in("damaged.toc"), "no list");
  writeFile(in("damaged.itc"), "no list");
  saveSegment(in("x.itc"), {.id = "s2"});
  const long before = test::openDescriptors();
  test::expectNothingLost([this] {
    const Wanted wanted({{.id = "s1"}, {.id = "s2"}, {.id = "s1"}});
    test::Texts found;
    net_stream_search_endpoint_depot(wanted.toc(), depot.c_str(), &found);
    net_stream_search_endpoint_depot(wanted.toc(), "/missing", &found);
    net_stream_search_cd_drives(wanted.toc(), &found);
    log.clear();
  });
  EXPECT_EQ(test::openDescriptors(), before);
}

TEST_F(Search, OfTheCdDriveLooksNowhereElse) {
  const fs::path before = fs::current_path();
  fs::current_path(depot);
  test::putSegment(depot, "a segment that is on no disk");
  const Wanted wanted({{.id = "a segment that is on no disk"}});
  EXPECT_EQ(net_stream_search_cd_drives(wanted.toc(), &paths), 0);
  EXPECT_EQ(net_stream_search_cd_drives(wanted.toc(), nullptr), 0);
  EXPECT_EQ(wanted.found(0), Found{});
  EXPECT_EQ(paths.length, 0U);
  fs::current_path(before);
}
