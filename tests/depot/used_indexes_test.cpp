#include <climits>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include "depot/used_indexes.h"

using sprig::UsedIndexes;

TEST(UsedIndexes, AreUnusedFromZeroOnAtFirst) {
  UsedIndexes used;
  EXPECT_EQ(used.smallestUnused(), 0);
}

TEST(UsedIndexes, LeaveTheSmallestGap) {
  UsedIndexes used;
  for (const long index : {0, 2, 1, 5, 3}) {
    EXPECT_TRUE(used.add(index));
  }
  EXPECT_EQ(used.smallestUnused(), 4);
  used.remove(1);
  EXPECT_EQ(used.smallestUnused(), 1);
}

TEST(UsedIndexes, AreUsedAsLongAsOneNameHasThem) {
  UsedIndexes used;
  used.add(0);
  used.add(0);
  used.remove(0);
  EXPECT_EQ(used.smallestUnused(), 1);
  used.remove(0);
  EXPECT_EQ(used.smallestUnused(), 0);
  used.remove(0);
  used.add(0);
  EXPECT_EQ(used.smallestUnused(), 1) << "removing what is not there changes nothing";
}

TEST(UsedIndexes, DoNotCountWhatNoBucketReaches) {
  UsedIndexes used;
  for (const long index : {-1L, LONG_MIN, LONG_MAX, 1L << 17, (1L << 17) + 1}) {
    EXPECT_TRUE(used.add(index)) << index;
    EXPECT_EQ(used.smallestUnused(), 0);
    used.remove(index);
  }
}

TEST(UsedIndexes, CountUpToTheLast) {
  UsedIndexes used;
  constexpr int32_t last = (1 << 17) - 1;
  for (long index = 0; index <= last; ++index) {
    ASSERT_TRUE(used.add(index));
  }
  EXPECT_EQ(used.smallestUnused(), last + 1);
  used.remove(last);
  EXPECT_EQ(used.smallestUnused(), last);
}

TEST(UsedIndexes, AreAllUnusedWhenTheyAreCleared) {
  UsedIndexes used;
  used.add(0);
  used.add(1000);
  used.clear();
  EXPECT_EQ(used.smallestUnused(), 0);
  used.remove(1000);
  used.add(0);
  EXPECT_EQ(used.smallestUnused(), 1);
}

TEST(UsedIndexes, AgreeWithAPlainCount) {
  std::mt19937 random(17);
  UsedIndexes used;
  std::map<long, int> model;
  for (int i = 0; i < 20000; ++i) {
    const long index = static_cast<long>(random() % 60);
    if (random() % 2 == 0) {
      ASSERT_TRUE(used.add(index));
      ++model[index];
    } else {
      used.remove(index);
      model[index] -= model[index] > 0 ? 1 : 0;
    }
    int32_t expected = 0;
    while (model[expected] > 0) {
      ++expected;
    }
    ASSERT_EQ(used.smallestUnused(), expected) << i;
  }
}
