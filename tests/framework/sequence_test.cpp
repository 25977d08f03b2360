// Sequences: the library's own operations, and those of the runtime that go with them.
#include <cstdint>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/exceptions.h>
#include <sprig/framework.h>

#include "support/exceptions.h"

namespace {

constexpr size_t elementSizes[] = {1, 2, 4, 8, 12, 16, 20, 24, 100};
constexpr const char *outOfRange =
    "The item was not replaced in the sequence. The index %1$d is not within the sequence length "
    "%2$d.\n";

using Elements = std::vector<std::string>;

// The n-th of many different elements of a size.
std::string element(size_t size, uint32_t n) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<char>((n >> (8 * (i % 4))) + i / 4);
  }
  return bytes;
}

Elements elementsOf(const Sequence &sequence, size_t size) {
  EXPECT_GE(sequence.maximum, sequence.length);
  Elements elements;
  elements.reserve(sequence.length);
  for (size_t i = 0; i < sequence.length; ++i) {
    elements.emplace_back(static_cast<const char *>(sequence.buffer) + i * size, size);
  }
  return elements;
}

// A block as its content. Nothing for null.
std::optional<std::string> take(void *block, size_t size) {
  if (block == nullptr) {
    return std::nullopt;
  }
  std::string bytes(static_cast<const char *>(block), size);
  mg_free(block);
  return bytes;
}

void *copyOf(const void *bytes, size_t size) {
  void *block = mg_malloc(size);
  memcpy(block, bytes, size);
  return block;
}

void expectSame(const Sequence &a, const Sequence &b) {
  EXPECT_EQ(a.maximum, b.maximum);
  EXPECT_EQ(a.length, b.length);
  EXPECT_EQ(a.buffer, b.buffer);
}

class SequenceTest : public testing::Test {
protected:
  ~SequenceTest() override { seq_free_buffer(&sequence); }

  void add(size_t size, uint32_t count) {
    for (uint32_t n = 0; n < count; ++n) {
      seq_add(&sequence, element(size, n).data(), size);
    }
  }

  // The exception of a call that is to throw one.
  std::optional<test::Thrown> replacing(uint32_t index) {
    return test::thrown([&] { seq_replace(&sequence, "xxxx", index, 4); });
  }

  Sequence sequence{};
};

using SeqReplace = SequenceTest;
using SeqAdd = SequenceTest;
using SeqRemove = SequenceTest;
using SeqFreeBuffer = SequenceTest;
using SequenceModel = SequenceTest;

} // namespace

TEST(SeqInit, MakesASequenceEmptyWhateverItHeld) {
  int element = 0;
  Sequence sequence{7, 5, &element};
  seq_init(&sequence);
  expectSame(sequence, {0, 0, nullptr});
}

TEST(SeqFree, ReleasesTheBufferAndTheRecord) {
  for (const uint32_t length : {0U, 1U, 4U}) {
    const Sequence sequence{4, length, mg_malloc(400)};
    seq_free(copyOf(&sequence, sizeof sequence));
  }
}

TEST(SeqFree, ReleasesNoBufferWhereThereIsNoRoomInIt) {
  char kept[] = "kept";
  for (const uint32_t length : {0U, 1U}) {
    const Sequence sequence{0, length, kept};
    seq_free(copyOf(&sequence, sizeof sequence));
    EXPECT_STREQ(kept, "kept");
  }
}

TEST(SeqFree, LeavesWhatTheElementsOwn) {
  char *owned = mg_strdup("owned");
  auto *sequence = static_cast<Sequence *>(mg_calloc(1, sizeof(Sequence)));
  seq_add(sequence, &owned, sizeof owned);
  seq_free(sequence);
  EXPECT_STREQ(owned, "owned");
  mg_free(owned);
}

TEST(SeqFree, IgnoresNull) { seq_free(nullptr); }

TEST_F(SeqReplace, PutsAnElementInThePlaceOfAnotherAndHandsThatOut) {
  for (const size_t size : elementSizes) {
    seq_free_buffer(&sequence);
    add(size, 5);
    const Sequence before = sequence;
    Elements expected = elementsOf(sequence, size);
    for (const uint32_t index : {4U, 0U, 2U}) {
      const std::string old = expected[index];
      expected[index] = element(size, 100 + index);
      void *handedOut = seq_replace(&sequence, expected[index].data(), index, size);
      EXPECT_EQ(take(handedOut, size), old) << index;
      EXPECT_EQ(elementsOf(sequence, size), expected);
      expectSame(sequence, before);
    }
  }
}

TEST_F(SeqReplace, HandsOutABlockOfItsOwn) {
  add(4, 1);
  void *old = seq_replace(&sequence, "new.", 0, 4);
  memset(old, 'x', 4);
  EXPECT_EQ(elementsOf(sequence, 4), Elements{"new."});
  seq_free_buffer(&sequence);
  EXPECT_EQ(take(old, 4), "xxxx");
}

TEST_F(SeqReplace, LeavesWhatTheOldElementOwnsToTheCaller) {
  char *old = mg_strdup("old");
  char *replacement = mg_strdup("new");
  seq_add(&sequence, &old, sizeof old);
  auto *handedOut = static_cast<char **>(seq_replace(&sequence, &replacement, 0, sizeof old));
  EXPECT_STREQ(*handedOut, "old");
  mg_free(*handedOut);
  mg_free(handedOut);
  EXPECT_STREQ(*static_cast<char **>(sequence.buffer), "new");
  mg_free(replacement);
}

TEST_F(SeqReplace, TakesAnElementOfTheSameSequence) {
  add(4, 3);
  void *old = seq_replace(&sequence, static_cast<char *>(sequence.buffer) + 8, 0, 4);
  EXPECT_EQ(take(old, 4), element(4, 0));
  EXPECT_EQ(elementsOf(sequence, 4), (Elements{element(4, 2), element(4, 1), element(4, 2)}));
}

TEST_F(SeqReplace, ThrowsWhereThereIsNoElement) {
  seq_free_buffer(&sequence);
  add(4, 3);
  ASSERT_EQ(sequence.length, 3U);
  const auto thrown = replacing(3);
  ASSERT_TRUE(thrown);
  EXPECT_EQ(thrown->catalog, "Sprig2Catalog");
  EXPECT_EQ(thrown->id, 39);
  EXPECT_EQ(thrown->defaultText, outOfRange);
  EXPECT_EQ(thrown->arguments, (Elements{"3", "3"}));
  EXPECT_EQ(thrown->text, "The item was not replaced in the sequence. The index 3 is not within "
                          "the sequence length 3.\n");
}

TEST_F(SeqReplace, ThrowsTheIndexAndThenTheLength) {
  const auto inEmpty = replacing(0);
  ASSERT_TRUE(inEmpty);
  EXPECT_EQ(inEmpty->arguments, (Elements{"0", "0"}));
  add(4, 2);
  for (const auto &[index, text] : {std::pair(2U, "2"), {1000U, "1000"}, {UINT32_MAX, "-1"}}) {
    const auto thrown = replacing(index);
    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->arguments, (Elements{text, "2"}));
  }
}

TEST_F(SeqReplace, CountsElementsAndNotTheRoomForThem) {
  add(4, 3);
  sequence.length = 1;
  EXPECT_TRUE(replacing(1));
  EXPECT_FALSE(test::thrown([&] { mg_free(seq_replace(&sequence, "xxxx", 0, 4)); }));
}

TEST_F(SeqReplace, LeavesTheSequenceUntouchedWhereItThrows) {
  add(4, 5);
  const Sequence before = sequence;
  const Elements elements = elementsOf(sequence, 4);
  for (const uint32_t index : {5U, 6U, UINT32_MAX}) {
    EXPECT_TRUE(replacing(index));
    expectSame(sequence, before);
    EXPECT_EQ(elementsOf(sequence, 4), elements);
  }
}

TEST_F(SeqAdd, AppendsAsManyElementsAsOneLikes) {
  for (const size_t size : elementSizes) {
    seq_free_buffer(&sequence);
    Elements expected;
    expected.reserve(3000);
    for (uint32_t n = 0; n < 3000; ++n) {
      expected.push_back(element(size, n));
      seq_add(&sequence, expected.back().data(), size);
      ASSERT_EQ(sequence.length, n + 1);
      ASSERT_GE(sequence.maximum, sequence.length);
    }
    EXPECT_EQ(elementsOf(sequence, size), expected) << size;
  }
}

TEST_F(SeqAdd, HasRoomForAsManyElementsAsTheMaximumSays) {
  for (const size_t size : elementSizes) {
    seq_free_buffer(&sequence);
    for (uint32_t n = 0; n < 100; ++n) {
      seq_add(&sequence, element(size, n).data(), size);
      memset(static_cast<char *>(sequence.buffer) + sequence.length * size, 'x',
             (sequence.maximum - sequence.length) * size);
    }
    EXPECT_EQ(elementsOf(sequence, size)[99], element(size, 99));
  }
}

TEST_F(SeqAdd, UsesTheRoomThatThereIs) {
  sequence = {4, 1, mg_malloc(16)};
  memcpy(sequence.buffer, "0000", 4);
  const Sequence before = sequence;
  for (uint32_t n = 1; n < 4; ++n) {
    seq_add(&sequence, "next", 4);
    expectSame(sequence, {4, n + 1, before.buffer});
  }
  seq_add(&sequence, "last", 4);
  EXPECT_EQ(elementsOf(sequence, 4), (Elements{"0000", "next", "next", "next", "last"}));
}

TEST_F(SeqAdd, CopiesTheElementsBytes) {
  char added[] = "text";
  seq_add(&sequence, added, 4);
  memset(added, 'x', 4);
  EXPECT_EQ(elementsOf(sequence, 4), Elements{"text"});
}

TEST_F(SeqAdd, TakesAnElementOfTheSameSequence) {
  seq_add(&sequence, "text", 4);
  for (int n = 1; n < 300; ++n) {
    seq_add(&sequence, sequence.buffer, 4);
  }
  EXPECT_EQ(elementsOf(sequence, 4), Elements(300, "text"));
}

TEST_F(SeqRemove, TakesAnElementOutAndClosesTheGap) {
  for (const size_t size : elementSizes) {
    seq_free_buffer(&sequence);
    add(size, 6);
    Elements expected = elementsOf(sequence, size);
    for (const uint32_t index : {0U, 4U, 2U, 0U, 1U, 0U}) {
      EXPECT_EQ(take(seq_remove(&sequence, index, size), size), expected[index]);
      expected.erase(expected.begin() + index);
      EXPECT_EQ(elementsOf(sequence, size), expected);
    }
    EXPECT_EQ(sequence.length, 0U);
  }
}

TEST_F(SeqRemove, HandsOutABlockOfItsOwn) {
  add(4, 2);
  void *removed = seq_remove(&sequence, 0, 4);
  memset(removed, 'x', 4);
  EXPECT_EQ(elementsOf(sequence, 4), Elements{element(4, 1)});
  seq_free_buffer(&sequence);
  EXPECT_EQ(take(removed, 4), "xxxx");
}

TEST_F(SeqRemove, LeavesWhatTheElementOwnsToTheCaller) {
  char *owned = mg_strdup("owned");
  seq_add(&sequence, &owned, sizeof owned);
  auto *removed = static_cast<char **>(seq_remove(&sequence, 0, sizeof owned));
  EXPECT_STREQ(*removed, "owned");
  mg_free(*removed);
  mg_free(removed);
}

TEST_F(SeqRemove, GivesNullWhereThereIsNoElement) {
  for (const uint32_t index : {0U, 1U, UINT32_MAX}) {
    EXPECT_EQ(seq_remove(&sequence, index, 4), nullptr);
    expectSame(sequence, {0, 0, nullptr});
  }
  add(4, 3);
  const Sequence before = sequence;
  for (const uint32_t index : {3U, 4U, UINT32_MAX}) {
    EXPECT_EQ(seq_remove(&sequence, index, 4), nullptr);
    expectSame(sequence, before);
  }
}

TEST_F(SeqRemove, GivesNullForAnElementThatIsNotInUse) {
  add(4, 3);
  sequence.length = 1;
  EXPECT_EQ(seq_remove(&sequence, 1, 4), nullptr);
  EXPECT_EQ(take(seq_remove(&sequence, 0, 4), 4), element(4, 0));
}

TEST_F(SeqRemove, LeavesASequenceThatCanGrowAgain) {
  add(4, 1);
  mg_free(seq_remove(&sequence, 0, 4));
  add(4, 100);
  EXPECT_EQ(elementsOf(sequence, 4)[99], element(4, 99));
}

TEST_F(SeqFreeBuffer, LeavesTheSequenceEmpty) {
  add(4, 10);
  seq_free_buffer(&sequence);
  expectSame(sequence, {0, 0, nullptr});
}

TEST_F(SeqFreeBuffer, LeavesAnEmptySequenceAsItIs) {
  seq_free_buffer(&sequence);
  seq_free_buffer(&sequence);
  expectSame(sequence, {0, 0, nullptr});
}

TEST_F(SeqFreeBuffer, LeavesWhatTheElementsOwn) {
  char *owned = mg_strdup("owned");
  seq_add(&sequence, &owned, sizeof owned);
  seq_free_buffer(&sequence);
  EXPECT_STREQ(owned, "owned");
  mg_free(owned);
}

TEST_F(SequenceModel, AgreesAfterManyRandomOperations) {
  std::mt19937 random(8);
  for (const size_t size : elementSizes) {
    seq_free_buffer(&sequence);
    Elements model;
    for (uint32_t n = 0; n < 2000; ++n) {
      const std::string bytes = element(size, n);
      const uint32_t choice = random() % 16;
      const auto index = static_cast<uint32_t>(random() % (model.size() + 1));
      const bool isThere = index < model.size();
      const std::optional<std::string> old = isThere ? std::optional(model[index]) : std::nullopt;
      // It grows for a while, and then shrinks.
      if (choice < (n % 500 < 300 ? 10 : 2)) {
        seq_add(&sequence, bytes.data(), size);
        model.push_back(bytes);
      } else if (choice < 14) {
        ASSERT_EQ(take(seq_remove(&sequence, index, size), size), old);
        model.erase(model.begin() + index, model.begin() + index + (isThere ? 1 : 0));
      } else if (isThere) {
        ASSERT_EQ(take(seq_replace(&sequence, bytes.data(), index, size), size), old);
        model[index] = bytes;
      }
      ASSERT_EQ(elementsOf(sequence, size), model);
    }
  }
}
