// Segments and tables of contents for C++.
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include <sprig/sprig.hpp>

#include "cpp/fixture.h"

using namespace std::string_literals;
using sprig::ConstPropertyListsView;
using sprig::ConstSegmentView;
using sprig::ConstTableView;
using sprig::Layout;
using sprig::Octets;
using sprig::PropertyList;
using sprig::PropertyLists;
using sprig::SegmentView;
using sprig::TableOfContents;
using test::errorOf;
using test::failure;
using test::Strings;

namespace {

sprig::Segment segmentOf(const char *id, uint64_t size = 0, uint64_t offset = 0) {
  sprig::Segment segment(id, "1.0");
  segment.set_size(size);
  segment.set_offset(offset);
  return segment;
}

// 100 bytes, of which 30 have arrived.
TableOfContents twoSegments() {
  TableOfContents table;
  table.push_back(segmentOf("image", 60, 10));
  table.push_back(segmentOf("notes", 40, 20));
  return table;
}

Strings idsOf(ConstTableView table) {
  Strings ids;
  for (const ConstSegmentView segment : table) {
    ids.emplace_back(segment.id());
  }
  return ids;
}

using CppSegment = test::CppFace;
using CppTableOfContents = test::CppFace;

} // namespace

TEST_F(CppSegment, HasAnIdAndAVersionAndNothingElseAtFirst) {
  const sprig::Segment segment("image", "1.0");
  EXPECT_EQ(segment.id(), "image");
  EXPECT_EQ(segment.version(), "1.0");
  EXPECT_EQ(segment.description().size(), 2U);
  EXPECT_EQ(segment.location(), "");
  EXPECT_EQ(segment.data_path(), "");
  EXPECT_EQ(segment.size(), 0);
  EXPECT_EQ(segment.offset(), 0);
  EXPECT_EQ(segment.checksum(), Octets());
}

TEST_F(CppSegment, KeepsWhatItIsGiven) {
  sprig::Segment segment("image", "1.0");
  segment.set_location("/source/image.dat");
  segment.set_size(INT32_MAX);
  segment.set_offset(5);
  segment.set_checksum({0, 255});
  segment.description().put(SEGMENT_DATA_PATH_KEY, "/here/image.dat");
  EXPECT_EQ(segment.location(), "/source/image.dat");
  EXPECT_EQ(segment.size(), INT32_MAX);
  EXPECT_EQ(segment.offset(), 5);
  EXPECT_EQ(segment.checksum(), (Octets{0, 255}));
  EXPECT_EQ(segment.data_path(), "/here/image.dat");
}

TEST_F(CppSegment, IsTheOneThatCFunctionsSee) {
  const sprig::Segment made = segmentOf("image", 7, 3);
  ::Segment *seen = segment_new_from_properties(made.native());
  EXPECT_STREQ(seen->id, "image");
  EXPECT_STREQ(seen->version, "1.0");
  EXPECT_EQ(seen->size, 7);
  EXPECT_EQ(seen->offset, 3);
  segment_delete(seen);
}

TEST_F(CppSegment, RefusesSizesThatItsDescriptionCannotHave) {
  sprig::Segment segment("image", "1.0");
  EXPECT_THROW(segment.set_size(uint64_t{INT32_MAX} + 1), std::length_error);
  EXPECT_THROW(segment.set_offset(UINT64_MAX), std::length_error);
  EXPECT_EQ(segment.description().size(), 2U);
}

TEST_F(CppSegment, RefusesTextThatCWouldCut) {
  EXPECT_THROW(sprig::Segment("a\0b"s, "1.0"), std::invalid_argument);
  EXPECT_THROW(sprig::Segment("image", "1\0"s), std::invalid_argument);
}

TEST_F(CppSegment, IsCompleteWhenAllOfItHasArrived) {
  EXPECT_FALSE(segmentOf("image", 2, 1).is_complete());
  EXPECT_TRUE(segmentOf("image", 2, 2).is_complete());
  EXPECT_TRUE(segmentOf("image", 2, 3).is_complete());
  EXPECT_TRUE(sprig::Segment("image", "1.0").is_complete());
}

TEST_F(CppSegment, IsMadeFromADescription) {
  PropertyList description;
  description.put(SEGMENT_ID_KEY, "image");
  EXPECT_EQ(failure([&] { sprig::Segment{description}; }), "36(version)");
  description.put(SEGMENT_VERSION_KEY, 1);
  EXPECT_EQ(failure([&] { sprig::Segment{description}; }), "37(version)");
  description.put(SEGMENT_VERSION_KEY, "1.0");
  description.put("vendor", "a printing house");
  const sprig::Segment segment(description);
  EXPECT_EQ(segment.version(), "1.0");
  EXPECT_EQ(segment.description().get<std::string>("vendor"), "a printing house");
}

TEST_F(CppSegment, ThrowsForAPropertyOfAnotherType) {
  sprig::Segment segment("image", "1.0");
  segment.description().put(SEGMENT_SIZE_KEY, "large");
  segment.description().put(SEGMENT_LOCATION_KEY, 1);
  segment.description().put(SEGMENT_CHECKSUM_KEY, 1);
  EXPECT_EQ(failure([&] { segment.size(); }), "37(size)");
  EXPECT_EQ(failure([&] { segment.location(); }), "37(location)");
  EXPECT_EQ(failure([&] { segment.checksum(); }), "37(checksum)");
}

TEST_F(CppSegment, SharesNothingWithACopy) {
  sprig::Segment segment = segmentOf("image", 1);
  sprig::Segment copy = segment;
  copy.set_size(2);
  const sprig::Segment ofView{ConstSegmentView(segment)};
  segment.set_size(3);
  EXPECT_EQ(copy.size(), 2);
  EXPECT_EQ(ofView.size(), 1);
}

TEST_F(CppSegment, IsChangedOnlyByThoseWhoMay) {
  EXPECT_FALSE((std::is_convertible_v<const sprig::Segment &, SegmentView>));
  EXPECT_FALSE((std::is_convertible_v<ConstSegmentView, SegmentView>));
  EXPECT_TRUE((std::is_convertible_v<SegmentView, ConstSegmentView>));
  sprig::Segment segment = segmentOf("image", 1);
  SegmentView(segment).set_size(2);
  EXPECT_EQ(ConstSegmentView(segment).size(), 2);
}

TEST_F(CppTableOfContents, IsEmptyAtFirst) {
  const TableOfContents table;
  EXPECT_TRUE(table.empty());
  EXPECT_EQ(table.total_size(), 0);
  EXPECT_TRUE(table.is_complete());
  EXPECT_EQ(table.find("image", "1.0"), table.end());
}

TEST_F(CppTableOfContents, GivesItsSegmentsInOrder) {
  const TableOfContents table = twoSegments();
  EXPECT_EQ(idsOf(table), (Strings{"image", "notes"}));
  EXPECT_EQ(table[1].size(), 40);
}

TEST_F(CppTableOfContents, AddsItsSegmentsUp) {
  TableOfContents table = twoSegments();
  EXPECT_EQ(table.total_size(), 100);
  EXPECT_EQ(table.total_offset(), 30);
  EXPECT_FALSE(table.is_complete());
  table[0].set_offset(60);
  table[1].set_offset(40);
  EXPECT_TRUE(table.is_complete());
}

TEST_F(CppTableOfContents, AddsUpMoreThanASegmentHasRoomFor) {
  TableOfContents table;
  table.push_back(segmentOf("a", INT32_MAX));
  table.push_back(segmentOf("b", INT32_MAX));
  EXPECT_EQ(table.total_size(), 2 * int64_t{INT32_MAX});
}

TEST_F(CppTableOfContents, FindsASegmentByItsIdAndVersion) {
  TableOfContents table = twoSegments();
  sprig::Segment later("image", "1.1");
  later.set_size(7);
  table.push_back(later);
  EXPECT_EQ((*table.find("image", "1.1")).size(), 7);
  EXPECT_EQ((*table.find("image", "1.0")).size(), 60);
  EXPECT_EQ(table.find("notes", "1.1"), table.end());
}

TEST_F(CppTableOfContents, SharesNothingWithWhatIsAppended) {
  sprig::Segment segment = segmentOf("image", 1);
  TableOfContents table;
  table.push_back(segment);
  table.push_back(std::move(segment));
  table[0].set_size(2);
  EXPECT_EQ(table[1].size(), 1);
}

TEST_F(CppTableOfContents, IsCopiedFromViewsAndRecords) {
  const TableOfContents table = twoSegments();
  EXPECT_EQ(idsOf(TableOfContents(ConstTableView(table))), idsOf(table));
  EXPECT_EQ(idsOf(TableOfContents(ConstPropertyListsView(table))), idsOf(table));
  EXPECT_EQ(idsOf(TableOfContents(*table.native())), idsOf(table));
  EXPECT_EQ(idsOf(ConstTableView(ConstPropertyListsView(table))), idsOf(table));
}

TEST_F(CppTableOfContents, SharesNothingWithACopy) {
  TableOfContents table = twoSegments();
  TableOfContents copy = table;
  copy[0].set_offset(60);
  EXPECT_EQ(table[0].offset(), 10);
  table = TableOfContents();
  EXPECT_EQ(copy.size(), 2U);
}

TEST_F(CppTableOfContents, SurvivesItsEncoding) {
  const TableOfContents table = twoSegments();
  const Octets encoding = table.encode();
  EXPECT_EQ(TableOfContents::decode(encoding).encode(), encoding);
  EXPECT_EQ(TableOfContents::decode(TableOfContents().encode()).size(), 0U);
}

TEST_F(CppTableOfContents, IsNotDecodedFromOtherBytes) {
  Octets encoding = twoSegments().encode();
  encoding.resize(encoding.size() - 4);
  EXPECT_EQ(errorOf([&] { TableOfContents::decode(encoding); }).value().id(), 35);
  EXPECT_EQ(errorOf([] { TableOfContents::decode({}); }).value().id(), 35);
}

TEST_F(CppTableOfContents, MayBeKeptInAPropertyList) {
  PropertyList file;
  file.put("segments", PropertyLists(twoSegments()));
  file.save(directory / "distribution", Layout::bare);
  const PropertyList loaded = PropertyList::load(directory / "distribution", Layout::bare);
  const ConstTableView table(loaded.get<ConstPropertyListsView>("segments"));
  EXPECT_EQ(idsOf(table), (Strings{"image", "notes"}));
}

TEST_F(CppTableOfContents, ThrowsForASegmentWithoutAnId) {
  PropertyLists lists;
  lists.push_back(PropertyList());
  const TableOfContents table{ConstPropertyListsView(lists)};
  EXPECT_EQ(failure([&] { table.find("image", "1.0"); }), "36(id)");
}
