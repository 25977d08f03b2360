#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/pal_error.h"

using test::invalid;

namespace {

using Element = std::pair<int32_t, PalListValue>; // descriptor and value

constexpr PalError created{PAL_OK, 0, 4};
constexpr PalError stepped{PAL_OK, 0, 5};
constexpr PalError ended{PAL_OK, 0, 1};
constexpr PalError atEnd{PAL_END_OF_LIST, 0, 4};

std::vector<Element> elementsOf(PalList1 *list) {
  std::vector<Element> elements;
  PalList1Iterator iterator{};
  EXPECT_EQ(PalList1IteratorCreate(list, &iterator), created);
  Element element;
  PalError result = iterator.next(&iterator.state, &element.first, &element.second);
  for (; result == stepped;
       result = iterator.next(&iterator.state, &element.first, &element.second)) {
    elements.push_back(element);
  }
  EXPECT_EQ(result, atEnd);
  EXPECT_EQ(iterator.end(&iterator.state), ended);
  EXPECT_EQ(iterator.state, nullptr);
  return elements;
}

// A list that is destroyed with the test.
class List : public testing::Test {
protected:
  ~List() override { PalList1Destroy(&list); }

  void create(int32_t count, int32_t increment) {
    ASSERT_EQ(PalList1Create(&list, count, increment), 0);
    ASSERT_NE(list, nullptr);
  }

  PalList1 list = nullptr;
};

} // namespace

TEST_F(List, IsCreatedEmptyWithItsSlots) {
  create(256, 256);
  EXPECT_EQ(PalList1GetSize(&list), 256);
  EXPECT_TRUE(elementsOf(&list).empty());
  PalList1Add(&list, 1);
  EXPECT_EQ(PalList1GetSize(&list), 256);
}

TEST_F(List, IsNotCreatedForANullHandle) { EXPECT_EQ(PalList1Create(nullptr, 1, 1), -1); }

TEST_F(List, LeavesTheHandleAloneWhenTheIncrementIsNegative) {
  create(1, 1);
  const PalList1 before = list;
  EXPECT_EQ(PalList1Create(&list, 1, -1), -1);
  EXPECT_EQ(PalList1Create(&list, -1, -1), -1);
  EXPECT_EQ(list, before);
}

TEST_F(List, ClearsTheHandleWhenTheCountIsNegative) {
  auto *handle = reinterpret_cast<PalList1>(&list);
  EXPECT_EQ(PalList1Create(&handle, -1, 1), -1);
  EXPECT_EQ(handle, nullptr);
}

TEST_F(List, GrowsByItsIncrementAndIteratesNewestFirst) {
  create(2, 2);
  EXPECT_EQ(PalList1Add(&list, 100), 0);
  EXPECT_EQ(PalList1Add(&list, 101), 1);
  EXPECT_EQ(PalList1GetSize(&list), 2);
  EXPECT_EQ(PalList1Add(&list, 102), 2);
  EXPECT_EQ(PalList1GetSize(&list), 4);
  EXPECT_EQ(elementsOf(&list), (std::vector<Element>{{2, 102}, {1, 101}, {0, 100}}));
}

TEST_F(List, WithoutSlotsGrowsAtTheFirstAdd) {
  create(0, 3);
  EXPECT_EQ(PalList1GetSize(&list), 0);
  EXPECT_TRUE(elementsOf(&list).empty());
  EXPECT_EQ(PalList1Add(&list, 7), 0);
  EXPECT_EQ(PalList1GetSize(&list), 3);
  EXPECT_EQ(PalList1Access(&list, 1), 0);
}

TEST_F(List, RefusesToGrowWithoutAnIncrement) {
  create(1, 0);
  EXPECT_EQ(PalList1Add(&list, 7), 0);
  EXPECT_EQ(PalList1Add(&list, 8), -1);
  EXPECT_EQ(PalList1GetSize(&list), 1);
  EXPECT_EQ(elementsOf(&list), (std::vector<Element>{{0, 7}}));
  EXPECT_EQ(PalList1Remove(&list, 0), 0);
  EXPECT_EQ(PalList1Add(&list, 9), 0);
}

TEST_F(List, RefusesToGrowBeyondWhatDescriptorsCanCount) {
  create(1, INT32_MAX);
  EXPECT_EQ(PalList1Add(&list, 7), 0);
  EXPECT_EQ(PalList1Add(&list, 8), -1);
  EXPECT_EQ(PalList1GetSize(&list), 1);
  EXPECT_EQ(elementsOf(&list), (std::vector<Element>{{0, 7}}));
}

TEST_F(List, ReusesARemovedDescriptorFirst) {
  create(8, 8);
  for (PalListValue value = 0; value < 3; ++value) {
    PalList1Add(&list, value);
  }
  EXPECT_EQ(PalList1Remove(&list, 1), 0);
  EXPECT_EQ(PalList1Add(&list, 9), 1);
  EXPECT_EQ(PalList1Add(&list, 10), 3);
}

TEST_F(List, ReusesRemovedDescriptorsLastRemovedFirst) {
  create(4, 4);
  for (PalListValue value = 0; value < 4; ++value) {
    PalList1Add(&list, value);
  }
  PalList1Remove(&list, 0);
  PalList1Remove(&list, 3);
  EXPECT_EQ(PalList1Add(&list, 10), 3);
  EXPECT_EQ(PalList1Add(&list, 11), 0);
  EXPECT_EQ(PalList1Add(&list, 12), 4);
  EXPECT_EQ(PalList1GetSize(&list), 8);
}

TEST_F(List, KeepsItsOrderWhenElementsAreRemovedAtEitherEndAndBetween) {
  create(8, 8);
  for (PalListValue value = 0; value < 5; ++value) {
    PalList1Add(&list, value);
  }
  PalList1Remove(&list, 4);
  PalList1Remove(&list, 0);
  PalList1Remove(&list, 2);
  EXPECT_EQ(elementsOf(&list), (std::vector<Element>{{3, 3}, {1, 1}}));
  PalList1Remove(&list, 1);
  PalList1Remove(&list, 3);
  EXPECT_TRUE(elementsOf(&list).empty());
}

TEST_F(List, AccessesLiveElementsOnly) {
  create(2, 2);
  PalList1Add(&list, 7);
  EXPECT_EQ(PalList1Access(&list, 0), 7);
  EXPECT_EQ(PalList1Access(&list, 1), 0);
  EXPECT_EQ(PalList1Remove(&list, 0), 0);
  EXPECT_EQ(PalList1Access(&list, 0), 0);
  EXPECT_EQ(PalList1Remove(&list, 0), -1);
}

TEST_F(List, TreatsTheDescriptorAtTheCapacityAsAFreeSlot) {
  create(2, 2);
  PalList1Add(&list, 7);
  PalList1Add(&list, 8);
  EXPECT_EQ(PalList1Access(&list, 2), 0);
  EXPECT_EQ(PalList1Remove(&list, 2), -1);
}

TEST_F(List, HasNoElementsOutsideItsSlots) {
  create(2, 2);
  PalList1Add(&list, 7);
  for (const int32_t descriptor : {-1, 3, 1000, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(PalList1Access(&list, descriptor), 0);
    EXPECT_EQ(PalList1Remove(&list, descriptor), -1);
  }
}

TEST_F(List, HasFreeSlotsWhereItGrew) {
  create(1, 3);
  PalList1Add(&list, 7);
  PalList1Add(&list, 8);
  for (const int32_t descriptor : {2, 3, 4}) {
    EXPECT_EQ(PalList1Access(&list, descriptor), 0);
    EXPECT_EQ(PalList1Remove(&list, descriptor), -1);
  }
}

TEST_F(List, HoldsPointers) {
  create(1, 1);
  const int32_t descriptor = PalList1Add(&list, reinterpret_cast<PalListValue>(&list));
  EXPECT_EQ(PalList1Access(&list, descriptor), reinterpret_cast<PalListValue>(&list));
}

TEST_F(List, DoesNothingWithoutAList) {
  for (PalList1 *handle : {&list, static_cast<PalList1 *>(nullptr)}) {
    PalList1Destroy(handle);
    EXPECT_EQ(PalList1Add(handle, 1), -1);
    EXPECT_EQ(PalList1Remove(handle, 0), -1);
    EXPECT_EQ(PalList1Access(handle, 0), 0);
    EXPECT_EQ(PalList1GetSize(handle), 0);
  }
}

TEST_F(List, IsGoneWhenDestroyed) {
  create(1, 1);
  PalList1Destroy(&list);
  EXPECT_EQ(list, nullptr);
}

TEST_F(List, IgnoresASizeThatIsSet) {
  create(2, 2);
  PalList1SetSize(&list, 100);
  EXPECT_EQ(PalList1GetSize(&list), 2);
}

TEST_F(List, CannotBeIteratedWithoutAnIteratorOrAList) {
  PalList1Iterator iterator{};
  EXPECT_EQ(PalList1IteratorCreate(&list, nullptr), invalid(0));
  EXPECT_EQ(PalList1IteratorCreate(&list, &iterator), invalid(1));
  EXPECT_EQ(iterator.state, nullptr);
}

TEST_F(List, HandsOutAnIteratorThroughItsMembers) {
  create(1, 1);
  PalList1Iterator iterator{};
  EXPECT_EQ(PalList1IteratorCreate(&list, &iterator), created);
  EXPECT_NE(iterator.state, nullptr);
  EXPECT_EQ(iterator.next, PalList1IteratorNext);
  EXPECT_EQ(iterator.end, PalList1IteratorEnd);
  EXPECT_EQ(PalList1IteratorEnd(&iterator.state), ended);
}

TEST_F(List, StepsOnlyWithAllArguments) {
  create(1, 1);
  PalList1Add(&list, 7);
  PalList1Iterator iterator{};
  PalList1IteratorCreate(&list, &iterator);
  PalList1IteratorState *none = nullptr;
  int32_t descriptor = 0;
  PalListValue value = 0;
  EXPECT_EQ(iterator.next(nullptr, nullptr, nullptr), invalid(0));
  EXPECT_EQ(iterator.next(&iterator.state, nullptr, nullptr), invalid(1));
  EXPECT_EQ(iterator.next(&iterator.state, &descriptor, nullptr), invalid(2));
  EXPECT_EQ(iterator.next(&none, &descriptor, &value), invalid(3));
  EXPECT_EQ(iterator.next(&iterator.state, &descriptor, &value), stepped);
  EXPECT_EQ(value, 7);
  iterator.end(&iterator.state);
}

TEST_F(List, StaysAtTheEndOfAnIteration) {
  create(4, 4);
  PalList1Add(&list, 7);
  PalList1Iterator iterator{};
  PalList1IteratorCreate(&list, &iterator);
  Element element{-5, -5};
  EXPECT_EQ(iterator.next(&iterator.state, &element.first, &element.second), stepped);
  EXPECT_EQ(iterator.next(&iterator.state, &element.first, &element.second), atEnd);
  EXPECT_EQ(iterator.next(&iterator.state, &element.first, &element.second), atEnd);
  EXPECT_EQ(element, Element(0, 7));
  iterator.end(&iterator.state);
}

TEST_F(List, EndsAnIterationOnlyWithAnAddress) {
  EXPECT_EQ(PalList1IteratorEnd(nullptr), invalid(0));
  PalList1IteratorState *none = nullptr;
  EXPECT_EQ(PalList1IteratorEnd(&none), ended);
}

TEST_F(List, StaysInsideItsStorageWhenTheCurrentElementIsRemoved) {
  create(2, 2);
  PalList1Add(&list, 7);
  PalList1Add(&list, 8);
  PalList1Iterator iterator{};
  PalList1IteratorCreate(&list, &iterator);
  Element element;
  EXPECT_EQ(iterator.next(&iterator.state, &element.first, &element.second), stepped);
  EXPECT_EQ(PalList1Remove(&list, element.first), 0); // the list was full: this leads behind it
  EXPECT_EQ(iterator.next(&iterator.state, &element.first, &element.second), atEnd);
  EXPECT_EQ(PalList1Remove(&list, 0), 0); // and this to another free slot
  EXPECT_EQ(iterator.next(&iterator.state, &element.first, &element.second), atEnd);
  iterator.end(&iterator.state);
}

TEST_F(List, SeesElementsThatAreAddedBehindTheIteration) {
  create(4, 4);
  PalList1Add(&list, 7);
  PalList1Iterator iterator{};
  PalList1IteratorCreate(&list, &iterator);
  PalList1Add(&list, 8);
  Element element;
  EXPECT_EQ(iterator.next(&iterator.state, &element.first, &element.second), stepped);
  EXPECT_EQ(element, Element(1, 8));
  iterator.end(&iterator.state);
}
