// The heap that values come from.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <malloc.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>

#include "support/exceptions.h"
#include "support/last_words.h"
#include "support/rerun.h"

namespace {

constexpr size_t largest = 5000;
constexpr size_t alignment = 2 * sizeof(void *);

void fill(void *block, size_t size, uint8_t byte) { std::memset(block, byte, size); }

bool isFilled(const void *block, size_t size, uint8_t byte) {
  const auto *bytes = static_cast<const uint8_t *>(block);
  return std::all_of(bytes, bytes + size, [&](uint8_t each) { return each == byte; });
}

bool isAligned(const void *block) { return reinterpret_cast<uintptr_t>(block) % alignment == 0; }

// Blocks of all sizes at once, each with another content.
std::vector<void *> blocksOfAllSizes() {
  std::vector<void *> blocks(largest + 1);
  for (size_t size = 0; size <= largest; ++size) {
    blocks[size] = mg_malloc(size);
    fill(blocks[size], size, static_cast<uint8_t>(size));
  }
  return blocks;
}

void release(const std::vector<void *> &blocks) {
  for (void *block : blocks) {
    mg_free(block);
  }
}

// A block and what it holds.
struct Block {
  uint8_t *data = nullptr;
  size_t size = 0;
  uint8_t content = 0;
};

// Does at random what programs do with a heap, and looks at every byte.
class Model {
public:
  void step() {
    Block &block = blocks_[random_() % std::size(blocks_)];
    ASSERT_TRUE(isFilled(block.data, block.size, block.content));
    const size_t size = random_() % 4 == 0 ? random_() % 5000 : random_() % 300;
    switch (random_() % 4) {
    case 0:
      mg_free(block.data);
      block = {};
      return;
    case 1: {
      auto *moved = static_cast<uint8_t *>(mg_realloc(block.data, size + 1));
      ASSERT_TRUE(isFilled(moved, std::min(block.size, size + 1), block.content));
      block.data = moved;
      break;
    }
    case 2:
      mg_free(block.data);
      block.data = static_cast<uint8_t *>(mg_calloc(size + 1, 1));
      ASSERT_TRUE(isFilled(block.data, size + 1, 0));
      break;
    default:
      mg_free(block.data);
      block.data = static_cast<uint8_t *>(mg_malloc(size + 1));
    }
    ASSERT_TRUE(isAligned(block.data));
    block.size = size + 1;
    block.content = static_cast<uint8_t>(random_());
    fill(block.data, block.size, block.content);
  }

  void end() {
    for (const Block &block : blocks_) {
      EXPECT_TRUE(isFilled(block.data, block.size, block.content));
      mg_free(block.data);
    }
  }

private:
  Block blocks_[500];
  std::mt19937 random_{7};
};

} // namespace

TEST(Heap, GivesBlocksOfEverySize) {
  const auto blocks = blocksOfAllSizes();
  for (size_t size = 0; size <= largest; ++size) {
    EXPECT_TRUE(size == 0 || blocks[size] != nullptr) << size;
    EXPECT_TRUE(isAligned(blocks[size])) << size;
    EXPECT_TRUE(isFilled(blocks[size], size, static_cast<uint8_t>(size))) << size;
  }
  release(blocks);
}

TEST(Heap, GivesZeroedBlocksAlsoWhereTheyWereUsedBefore) {
  for (int round = 0; round < 2; ++round) {
    release(blocksOfAllSizes());
    std::vector<void *> blocks(largest + 1);
    for (size_t size = 0; size <= largest; ++size) {
      blocks[size] = size % 2 == 0 ? mg_calloc(1, size) : mg_calloc(size, 1);
      EXPECT_TRUE(isFilled(blocks[size], size, 0)) << size;
      EXPECT_TRUE(isAligned(blocks[size])) << size;
      fill(blocks[size], size, 0xff);
    }
    release(blocks);
  }
}

TEST(Heap, GivesZeroedBlocksOfManyElements) {
  auto *numbers = static_cast<uint32_t *>(mg_calloc(100000, sizeof(uint32_t)));
  EXPECT_TRUE(isFilled(numbers, 100000 * sizeof(uint32_t), 0));
  mg_free(numbers);
  mg_free(mg_calloc(0, 8));
  mg_free(mg_calloc(8, 0));
}

TEST(Heap, KeepsTheContentOfBlocksThatGrow) {
  for (size_t from = 0; from <= 600; from += 7) {
    for (size_t to = from; to <= 2 * largest; to = to * 2 + 1) {
      void *block = mg_malloc(from);
      fill(block, from, 0x5a);
      block = mg_realloc(block, to);
      EXPECT_TRUE(isAligned(block));
      EXPECT_TRUE(isFilled(block, from, 0x5a)) << from << ' ' << to;
      fill(block, to, 0xa5);
      mg_free(block);
    }
  }
}

TEST(Heap, KeepsTheContentOfBlocksThatShrink) {
  for (size_t from = 1; from <= largest; from = from * 2 + 1) {
    for (size_t to = from; to > 0; to /= 2) {
      void *block = mg_malloc(from);
      fill(block, from, 0x5a);
      block = mg_realloc(block, to);
      EXPECT_TRUE(isFilled(block, to, 0x5a)) << from << ' ' << to;
      mg_free(block);
    }
  }
}

TEST(Heap, ReusesBlocksThatChangedTheirSize) {
  for (size_t size = 1; size <= 1000; ++size) {
    mg_free(mg_realloc(mg_malloc(size), 1 + (size * 7) % 1000));
  }
  release(blocksOfAllSizes());
}

TEST(Heap, TakesNullForNone) {
  mg_free(nullptr);
  EXPECT_EQ(mg_strdup(nullptr), nullptr);
  void *block = mg_realloc(nullptr, 100);
  fill(block, 100, 1);
  mg_free(mg_realloc(block, 0));
  mg_free(mg_realloc(nullptr, 0));
}

TEST(Heap, CopiesText) {
  for (size_t length = 0; length < largest; length = length * 2 + 1) {
    const std::string text(length, 'x');
    char *copy = mg_strdup(text.c_str());
    EXPECT_EQ(copy, text);
    EXPECT_NE(copy, text.c_str());
    mg_free(copy);
  }
}

TEST(Heap, ThrowsWhereItHasNoMemory) {
  constexpr size_t half = SIZE_MAX / 2 + 1;
  for (const size_t size : {SIZE_MAX, SIZE_MAX - 1, SIZE_MAX - 15, SIZE_MAX - 4096, half}) {
    const auto thrown = test::thrown([&] { mg_malloc(size); });
    ASSERT_TRUE(thrown.has_value()) << size;
    EXPECT_NE(thrown->typeName, "");
    EXPECT_NE(thrown->text, "");
    EXPECT_TRUE(test::thrown([&] { mg_calloc(1, size); }).has_value()) << size;
    EXPECT_TRUE(test::thrown([&] { mg_calloc(size, 1); }).has_value()) << size;
    EXPECT_TRUE(test::thrown([&] { mg_realloc(nullptr, size); }).has_value()) << size;
  }
  mg_free(mg_malloc(100));
}

TEST(Heap, ThrowsWhereTheSizeOfAllElementsOverflows) {
  struct Product {
    size_t count;
    size_t size;
  };
  for (const Product &product : {Product{SIZE_MAX, 2}, Product{2, SIZE_MAX},
                                 Product{SIZE_MAX / 2 + 1, 2}, Product{SIZE_MAX, SIZE_MAX},
                                 Product{SIZE_MAX / 16 + 1, 16}, Product{SIZE_MAX / 16 + 2, 16}}) {
    EXPECT_TRUE(test::thrown([&] { mg_calloc(product.count, product.size); }).has_value())
        << product.count << ' ' << product.size;
  }
}

TEST(Heap, LeavesABlockThatCannotGrow) {
  void *block = mg_malloc(100);
  fill(block, 100, 0x5a);
  EXPECT_TRUE(test::thrown([&] { mg_realloc(block, SIZE_MAX); }).has_value());
  EXPECT_TRUE(isFilled(block, 100, 0x5a));
  mg_free(block);
}

TEST(Heap, EndsTheProcessWhereItHasNoMemoryAndThereIsNoFrame) {
  for (void (*call)() : {+[] { mg_malloc(SIZE_MAX); }, +[] { mg_calloc(SIZE_MAX, 2); },
                         +[] { mg_realloc(mg_malloc(1), SIZE_MAX); }}) {
    const std::string words = test::lastWords(call);
    EXPECT_NE(words.find("memory"), std::string::npos) << words;
  }
}

TEST(Heap, TakesBlocksOfOtherThreads) {
  auto blocks = blocksOfAllSizes();
  std::thread([&] {
    release(blocks);
    blocks = blocksOfAllSizes();
  }).join();
  for (size_t size = 0; size <= largest; ++size) {
    EXPECT_TRUE(isFilled(blocks[size], size, static_cast<uint8_t>(size))) << size;
  }
  release(blocks);
}

TEST(Heap, MayBeUsedByManyThreads) {
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      Model model;
      for (int step = 0; step < 20000; ++step) {
        model.step();
      }
      model.end();
    });
  }
  for (std::thread &thread : threads) {
    thread.join();
  }
}

TEST(Heap, KeepsWhatIsWrittenIntoItsBlocks) {
  Model model;
  for (int step = 0; step < 200000 && !HasFatalFailure(); ++step) {
    model.step();
  }
  model.end();
}

TEST(Heap, KeepsLittleOfWhatWasReleased) {
  constexpr size_t half = 500000;
  const size_t before = mallinfo2().uordblks;
  std::vector<void *> blocks(2 * half);
  for (size_t i = 0; i < blocks.size(); ++i) {
    blocks[i] = mg_malloc(i < half ? 24 : 100);
  }
  release(blocks);
  blocks = {};
  EXPECT_LT(mallinfo2().uordblks, before + (size_t{16} << 20));
}

TEST(HeapWithoutFreeLists, DoesTheSame) {
  EXPECT_EQ(test::rerun("Heap.*", "KRT_MALLOC", "system"), 0);
}

TEST(HeapWithoutFreeLists, KeepsNothingOfWhatWasReleased) {
  if (getenv("KRT_MALLOC") == nullptr) {
    EXPECT_EQ(test::rerun("HeapWithoutFreeLists.Keeps*", "KRT_MALLOC", "system"), 0);
    return;
  }
  std::vector<void *> blocks(10000);
  const size_t before = mallinfo2().uordblks;
  for (void *&block : blocks) {
    block = mg_malloc(100);
  }
  release(blocks);
  EXPECT_LT(mallinfo2().uordblks, before + 1000);
}
