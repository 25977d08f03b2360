// Tables of contents: a segment for each description, and whose these are.
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <sprig/records.h>

#include "records/members.h"
#include "support/exceptions.h"
#include "support/heap.h"
#include "support/values.h"

using test::anyOf;
using test::expectNothingLost;
using test::failureOf;
using test::propertyOf;
using test::thrown;

namespace {

struct Release {
  void operator()(Toc *toc) const { toc_delete(toc); }
  void operator()(PropertiesList *list) const {
    properties_list_delete(list);
    mg_free(list);
  }
};
using TocPtr = std::unique_ptr<Toc, Release>;
using ListsPtr = std::unique_ptr<PropertiesList, Release>;

std::string idOf(uint32_t number) { return "segment " + std::to_string(number); }

void append(PropertiesList *lists, const Properties &list) { seq_add(lists, &list, sizeof list); }

ListsPtr listsOf(uint32_t count) {
  ListsPtr lists(properties_list_new());
  for (uint32_t i = 0; i < count; ++i) {
    append(lists.get(), test::listOf<Properties>(
                            {propertyOf("id", anyOf(TC_string, mg_strdup(idOf(i).c_str()))),
                             propertyOf("version", anyOf(TC_string, mg_strdup("1"))),
                             propertyOf("size", anyOf(TC_long, static_cast<int32_t>(1000 + i)))}));
  }
  return lists;
}

std::string encodingOf(const PropertiesList &lists) {
  return test::textOf(test::encoded(TC_NEX_Sprig2_PropertiesList, &lists));
}

// Every segment is read from the element in its place.
void expectSegments(const Toc &toc, uint32_t count) {
  ASSERT_EQ(toc.count, static_cast<int32_t>(count));
  ASSERT_EQ(toc.list->length, count);
  EXPECT_EQ(toc.found_count, 0);
  for (uint32_t i = 0; i < count; ++i) {
    const Segment &segment = *toc.segments[i];
    EXPECT_EQ(segment.properties, &toc.list->buffer[i]);
    EXPECT_EQ(segment.id, idOf(i));
    EXPECT_EQ(segment.id, properties_get_string(&toc.list->buffer[i], "id"));
    EXPECT_EQ(segment.size, static_cast<int32_t>(1000 + i));
    EXPECT_EQ(segment.data_block, nullptr);
    EXPECT_EQ(segment.found, 0);
  }
}

void expectEmpty(const Toc &toc) {
  EXPECT_EQ(toc.count, 0);
  EXPECT_EQ(toc.segments, nullptr);
  EXPECT_EQ(toc.found_count, 0);
  ASSERT_NE(toc.list, nullptr);
  EXPECT_EQ(toc.list->length, 0U);
}

void giveData(const Toc &toc) {
  for (int32_t i = 0; i < toc.count; i += 2) {
    toc.segments[i]->data_block = mg_malloc(100);
  }
}

class TocTest : public testing::Test {
protected:
  TocTest() { test::registerTypes(); }
};

constexpr uint32_t sizes[] = {1, 2, 3, 100};

} // namespace

TEST_F(TocTest, IsNullForNull) {
  EXPECT_EQ(toc_from_properties(nullptr), nullptr);
  EXPECT_EQ(toc_new_from_properties(nullptr), nullptr);
  EXPECT_EQ(toc_clone(nullptr), nullptr);
  toc_free_buffer(nullptr);
  toc_delete(nullptr);
}

TEST_F(TocTest, HasNoArrayForAnEmptyList) {
  ListsPtr lists = listsOf(0);
  PropertiesList *given = lists.get();
  const TocPtr toc(toc_from_properties(lists.release()));
  expectEmpty(*toc);
  EXPECT_EQ(toc->list, given);
  const TocPtr copy(toc_new_from_properties(given));
  expectEmpty(*copy);
  EXPECT_NE(copy->list, given);
  const TocPtr clone(toc_clone(toc.get()));
  expectEmpty(*clone);
}

TEST_F(TocTest, IsReadFromTheElementsOfTheListItself) {
  for (const uint32_t count : sizes) {
    ListsPtr lists = listsOf(count);
    PropertiesList *given = lists.get();
    const TocPtr toc(toc_from_properties(lists.release()));
    ASSERT_NE(toc, nullptr);
    EXPECT_EQ(toc->list, given);
    expectSegments(*toc, count);
  }
}

TEST_F(TocTest, IsReadFromTheElementsOfACopy) {
  for (const uint32_t count : sizes) {
    ListsPtr lists = listsOf(count);
    const TocPtr toc(toc_new_from_properties(lists.get()));
    ASSERT_NE(toc, nullptr);
    EXPECT_NE(toc->list, lists.get());
    EXPECT_NE(toc->list->buffer, lists->buffer);
    EXPECT_EQ(encodingOf(*toc->list), encodingOf(*lists));
    lists.reset();
    expectSegments(*toc, count);
  }
}

TEST_F(TocTest, IsClonedWithACopyOfItsList) {
  for (const uint32_t count : sizes) {
    TocPtr toc(toc_from_properties(listsOf(count).release()));
    const TocPtr clone(toc_clone(toc.get()));
    ASSERT_NE(clone, nullptr);
    EXPECT_NE(clone, toc);
    EXPECT_NE(clone->list, toc->list);
    EXPECT_NE(clone->list->buffer, toc->list->buffer);
    EXPECT_EQ(encodingOf(*clone->list), encodingOf(*toc->list));
    toc.reset();
    expectSegments(*clone, count);
  }
}

TEST_F(TocTest, IsClonedWithoutItsData) {
  const TocPtr toc(toc_from_properties(listsOf(3).release()));
  giveData(*toc);
  toc->segments[1]->found = 1;
  toc->found_count = 1;
  const TocPtr clone(toc_clone(toc.get()));
  expectSegments(*clone, 3);
}

TEST_F(TocTest, IsReleasedWithAllThatIsInIt) {
  const ListsPtr lists = listsOf(10);
  expectNothingLost([&] {
    Toc *toc = toc_new_from_properties(lists.get());
    giveData(*toc);
    Toc *clone = toc_clone(toc);
    giveData(*clone);
    toc_delete(toc);
    toc_delete(clone);
    toc_delete(toc_from_properties(properties_list_clone(lists.get())));
  });
}

TEST_F(TocTest, CanBeReleasedWithoutItsList) {
  const ListsPtr lists = listsOf(10);
  const std::string encoding = encodingOf(*lists);
  expectNothingLost([&] {
    Toc *toc = toc_from_properties(lists.get());
    giveData(*toc);
    toc_free_buffer(toc);
    EXPECT_EQ(toc->list, lists.get());
    mg_free(toc);
  });
  EXPECT_EQ(encodingOf(*lists), encoding);
}

TEST_F(TocTest, HasNoSegmentsWhenTheyWereReleased) {
  const ListsPtr lists = listsOf(10);
  expectNothingLost([&] {
    const TocPtr toc(toc_new_from_properties(lists.get()));
    giveData(*toc);
    toc_free_buffer(toc.get());
    EXPECT_EQ(toc->count, 0);
    EXPECT_EQ(toc->segments, nullptr);
    toc_free_buffer(toc.get());
  });
}

TEST_F(TocTest, IsNotClonedWithoutAList) {
  const Toc toc{};
  EXPECT_EQ(toc_clone(&toc), nullptr);
}

TEST_F(TocTest, CanBeReleasedWithoutItsListWhereItIsEmpty) {
  const ListsPtr lists = listsOf(0);
  expectNothingLost([&] {
    Toc *toc = toc_from_properties(lists.get());
    toc_free_buffer(toc);
    mg_free(toc);
  });
}

// Whatever was read before the bad one is released, and the list stays the caller's.
TEST_F(TocTest, IsRefusedWithADescriptionThatCannotBeRead) {
  for (const uint32_t before : {0U, 1U, 7U}) {
    const ListsPtr lists = listsOf(before);
    append(lists.get(), test::listOf<Properties>(
                            {propertyOf("id", anyOf(TC_string, mg_strdup("without version")))}));
    append(lists.get(), Properties{});
    EXPECT_EQ(failureOf([&] { toc_from_properties(lists.get()); }), test::missing("version"));
    EXPECT_EQ(failureOf([&] { toc_new_from_properties(lists.get()); }), test::missing("version"));
    expectNothingLost([&] {
      EXPECT_TRUE(thrown([&] { toc_from_properties(lists.get()); }));
      EXPECT_TRUE(thrown([&] { toc_new_from_properties(lists.get()); }));
    });
  }
}

TEST_F(TocTest, IsRefusedWithAValueOfAnotherType) {
  const ListsPtr lists = listsOf(3);
  properties_put_string_dup(&lists->buffer[2], "size", "1000");
  EXPECT_EQ(failureOf([&] { toc_from_properties(lists.get()); }), test::wrongType("size"));
  EXPECT_EQ(failureOf([&] { toc_new_from_properties(lists.get()); }), test::wrongType("size"));
}

TEST_F(TocTest, IsNotClonedWhereADescriptionCannotBeReadAnyMore) {
  const TocPtr toc(toc_from_properties(listsOf(3).release()));
  properties_remove_and_destroy(&toc->list->buffer[1], "id");
  EXPECT_EQ(failureOf([&] { toc_clone(toc.get()); }), test::missing("id"));
  expectNothingLost([&] { EXPECT_TRUE(thrown([&] { toc_clone(toc.get()); })); });
}

TEST_F(TocTest, IsEmptyWhereItsListCannotBeCopied) {
  const ListsPtr lists = listsOf(3);
  test::append(&lists->buffer[1], "extra", anyOf(TC_any, test::nestedAnys(1000)));
  expectNothingLost([&] {
    Toc *toc = toc_new_from_properties(lists.get());
    ASSERT_NE(toc, nullptr);
    expectEmpty(*toc);
    toc_delete(toc);
  });
}

TEST_F(TocTest, IsNotClonedWhereItsListCannotBeCopied) {
  const TocPtr toc(toc_from_properties(listsOf(3).release()));
  test::append(&toc->list->buffer[1], "extra", anyOf(TC_any, test::nestedAnys(1000)));
  EXPECT_TRUE(thrown([&] { toc_clone(toc.get()); }));
  expectNothingLost([&] { EXPECT_TRUE(thrown([&] { toc_clone(toc.get()); })); });
}
