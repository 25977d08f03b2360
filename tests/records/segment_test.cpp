// Segments: what is read of their descriptions, and whose these are.
#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include <sprig/records.h>

#include "records/members.h"
#include "support/heap.h"

using test::boolean;
using test::ListPtr;
using test::memberOf;
using test::number;
using test::text;

namespace {

constexpr bool mustExist = true;

const test::Members<Segment> members{
    memberOf<&Segment::id>("id", TC_string, "", mustExist),
    memberOf<&Segment::version>("version", TC_string, "", mustExist),
    text<&Segment::location>("location"),
    number<&Segment::size>("size"),
    number<&Segment::offset>("offset"),
    number<&Segment::ctime>("ctime"),
    number<&Segment::mtime>("mtime"),
    memberOf<&Segment::checksum>("checksum", TC_NEX_Types_OctetList, "none"),
    boolean<&Segment::disposable>("disposable"),
    boolean<&Segment::is_result>("is_result"),
    boolean<&Segment::is_collection>("is_collection"),
    boolean<&Segment::delete_at_source>("del_at_src"),
    text<&Segment::xpk_manager>("xpk_manager"),
    text<&Segment::xpk_packageid>("xpk_packageid"),
    text<&Segment::xpk_destination>("xpk_destination"),
    text<&Segment::xpk_username>("xpk_username"),
    text<&Segment::xpk_password>("xpk_password"),
};

const test::Kind<Segment> kind{members, segment_from_properties, segment_new_from_properties,
                               segment_delete};

Segment *cloneOf(const Properties *properties) {
  Segment *segment = segment_new_from_properties(properties);
  Segment *clone = nullptr;
  const auto exception = test::thrown([&] { clone = segment_clone(segment); });
  EXPECT_FALSE(exception);
  segment_delete(segment);
  return clone;
}

class SegmentTest : public testing::Test {
protected:
  const test::RecordReading<Segment> reading{kind};
};

} // namespace

TEST(NewSegment, IsZero) {
  Segment *segment = segment_new();
  ASSERT_NE(segment, nullptr);
  const auto *bytes = reinterpret_cast<const unsigned char *>(segment);
  EXPECT_TRUE(std::all_of(bytes, bytes + sizeof *segment, [](auto byte) { return byte == 0; }));
  segment_delete(segment);
}

TEST(NewSegment, IsNullForNull) {
  EXPECT_EQ(segment_from_properties(nullptr), nullptr);
  EXPECT_EQ(segment_new_from_properties(nullptr), nullptr);
  EXPECT_EQ(segment_clone(nullptr), nullptr);
  segment_delete(nullptr);
}

TEST_F(SegmentTest, HasDefaultsForWhatIsNotThere) { reading.expectDefaults(); }

TEST_F(SegmentTest, HasEachMemberFromItsOwnKey) { reading.expectEachFromItsOwnKey(); }

TEST_F(SegmentTest, HasAllMembersAtOnce) { reading.expectAll(); }

TEST_F(SegmentTest, IsRefusedWithAValueOfAnotherType) { reading.expectTypes(); }

TEST_F(SegmentTest, IsReadInOrder) { reading.expectOrder(); }

TEST_F(SegmentTest, OwnsTheListThatItIsReadFrom) { reading.expectAdopted(); }

TEST_F(SegmentTest, OwnsTheCopyThatItIsReadFrom) { reading.expectCopied(); }

TEST_F(SegmentTest, IsNotReadWhereItsDescriptionCannotBeCopied) {
  reading.expectNoCopyOfTooMuchDepth();
}

TEST_F(SegmentTest, LosesNothing) { reading.expectNothingLostInAll(); }

TEST_F(SegmentTest, LosesNothingWhereReadingFails) { reading.expectNothingLostWithFailures(); }

// Also values at the ends of their ranges.
TEST_F(SegmentTest, HasNumbersAsTheyAre) {
  for (const int32_t size : {INT32_MIN, -1, 0, 1, INT32_MAX}) {
    ListPtr list = reading.listOfNeeded();
    properties_put_long_dup(list.get(), "size", size);
    Segment *segment = segment_from_properties(list.release());
    EXPECT_EQ(segment->size, size);
    segment_delete(segment);
  }
}

TEST_F(SegmentTest, IgnoresOtherProperties) {
  const ListPtr list = reading.fullList();
  for (const char *key : {"ID", "ids", "i", "", "data_path", "xpk_deferred", "has_size"}) {
    test::append(list.get(), key, test::anyOf(TC_ulong, uint32_t{7}));
  }
  Segment *segment = segment_new_from_properties(list.get());
  EXPECT_STREQ(segment->id, test::shownValue(members[0], 0).c_str());
  EXPECT_EQ(segment->properties->length, list->length);
  segment_delete(segment);
}

TEST_F(SegmentTest, BeginsWithoutDataAndNotFound) {
  Segment *segment = segment_from_properties(reading.fullList().release());
  EXPECT_EQ(segment->data_block, nullptr);
  EXPECT_EQ(segment->found, 0);
  segment_delete(segment);
}

TEST_F(SegmentTest, OwnsItsDataBlock) {
  const ListPtr list = reading.fullList();
  test::expectNothingLost([&] {
    Segment *segment = segment_new_from_properties(list.get());
    segment->data_block = mg_malloc(100);
    segment_delete(segment);
  });
}

TEST_F(SegmentTest, IsReleasedWithWhatItHasSoFar) {
  test::expectNothingLost([] {
    Segment *segment = segment_new();
    segment->data_block = mg_malloc(100);
    segment->properties = properties_new();
    properties_put_string_dup(segment->properties, "id", "a");
    segment_delete(segment);
  });
}

TEST_F(SegmentTest, IsClonedWithACopyOfItsDescription) {
  const ListPtr list = reading.fullList();
  Segment *segment = segment_new_from_properties(list.get());
  Segment *clone = segment_clone(segment);
  ASSERT_NE(clone, nullptr);
  EXPECT_NE(clone, segment);
  EXPECT_EQ(test::encodingOf(*clone->properties), test::encodingOf(*list));
  for (const auto &member : members) {
    EXPECT_EQ(member.shownIn(*clone), member.shownIn(*segment)) << member.key;
  }
  reading.expectCopyOf(*clone, *segment->properties);
  segment_delete(segment);
  EXPECT_STREQ(clone->id, test::shownValue(members[0], 0).c_str());
  segment_delete(clone);
}

TEST_F(SegmentTest, IsClonedWithoutItsData) {
  Segment *segment = segment_from_properties(reading.fullList().release());
  segment->data_block = mg_malloc(100);
  segment->found = 1;
  Segment *clone = segment_clone(segment);
  EXPECT_EQ(clone->data_block, nullptr);
  EXPECT_EQ(clone->found, 0);
  segment_delete(clone);
  segment_delete(segment);
}

// The description counts, not the members.
TEST_F(SegmentTest, IsClonedAsItsDescriptionIsNow) {
  Segment *segment = segment_from_properties(reading.listOfNeeded().release());
  segment->size = 1;
  properties_put_long_dup(segment->properties, "size", 2);
  Segment *clone = segment_clone(segment);
  EXPECT_EQ(clone->size, 2);
  segment_delete(clone);
  properties_remove_and_destroy(segment->properties, "version");
  EXPECT_EQ(test::failureOf([&] { segment_clone(segment); }), test::missing("version"));
  segment_delete(segment);
}

TEST_F(SegmentTest, LosesNothingWhereItIsCloned) {
  const ListPtr list = reading.fullList();
  test::expectNothingLost([&] { segment_delete(cloneOf(list.get())); });
}
