// Release of what values own. That everything is released is the leak checker's to say, and the
// heap's where there is none.
#include <cstdint>

#include <malloc.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>

#include "support/values.h"

using test::Value;

TEST(Release, LeavesAValueEmpty) {
  test::registerTypes();
  test::RandomValues random(6);
  for (const TypeCode type : test::allTypes()) {
    for (int i = 0; i < 20; ++i) {
      Value value(type);
      random.fill(value);
      nex_free_generic(value.data(), type);
      EXPECT_TRUE(value.isZero()) << type->name;
      nex_free_generic(value.data(), type);
      EXPECT_TRUE(value.isZero()) << type->name;
    }
  }
}

TEST(Release, OfNothingIsNothing) {
  for (const TypeCode type : test::allTypes()) {
    nex_free_generic(nullptr, type);
  }
}

TEST(Release, LeavesTheBlockOfTheValue) {
  auto *list = static_cast<StringList *>(mg_malloc(sizeof(StringList)));
  *list = test::stringsOf({"a", "b"});
  nex_free_generic(list, TC_NEX_Types_StringList);
  EXPECT_EQ(list->length, 0U);
  mg_free(list);
}

TEST(Release, ReachesRoomThatIsNotInUse) {
  Value list(TC_NEX_Types_StringList, test::stringsOf({"a", "b"}));
  mg_free(list.as<StringList>().buffer[1]);
  list.as<StringList>().buffer[1] = reinterpret_cast<char *>(8); // belongs to nobody
  list.as<StringList>().length = 1;
  nex_free_generic(list.data(), list.type());
  EXPECT_TRUE(list.isZero());
}

TEST(Release, TakesAnysWithoutValueOrType) {
  any withoutValue{TC_NEX_Sprig2_Properties, nullptr};
  nex_free_generic(&withoutValue, TC_any);
  EXPECT_EQ(withoutValue.type, nullptr);
  any empty{};
  nex_free_generic(&empty, TC_any);
  EXPECT_EQ(empty.value, nullptr);
}

TEST(Release, HasNoLimitOfDepth) {
  for (const test::Nesting &nesting : test::nestings()) {
    const auto value = nesting.make(200000);
    nex_free_generic(value->data(), value->type());
    EXPECT_TRUE(value->isZero()) << nesting.name;
  }
}

TEST(Release, HasNoLimitOfWidth) {
  Sequence list{};
  for (int i = 0; i < 100000; ++i) {
    const Sequence inner = test::nestedLists(3);
    seq_add(&list, &inner, sizeof inner);
  }
  nex_free_generic(&list, test::nestType);
  EXPECT_EQ(list.buffer, nullptr);
}

TEST(Release, GivesEverythingBack) {
  const auto releaseOnce = [] {
    for (const test::Nesting &nesting : test::nestings()) {
      nesting.make(1000);
    }
    const Value properties(TC_NEX_Sprig2_Properties, test::someProperties());
  };
  for (int i = 0; i < 10; ++i) {
    releaseOnce();
  }
  const size_t before = mallinfo2().uordblks;
  for (int i = 0; i < 100; ++i) {
    releaseOnce();
  }
  EXPECT_LT(mallinfo2().uordblks, before + 100000);
}
