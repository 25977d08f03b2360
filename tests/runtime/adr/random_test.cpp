// The encoding of values of every type, and of bytes that are nearly one. Seeded: every run has the
// same values.
#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/runtime.h>

#include "support/values.h"

using test::Bytes;
using test::bytesOf;
using test::encoded;
using test::RandomValues;
using test::Value;

namespace {

class RandomEncoding : public testing::Test {
protected:
  RandomEncoding() { test::registerTypes(); }
};

void expectEqual(const Value &a, const Value &b) {
  Environment environment{};
  EXPECT_NE(_t_generic_equal(a.type(), &environment, a.data(), b.data()), 0) << a.type()->name;
  EXPECT_EQ(environment.exception, nullptr);
}

// Keeps within the bytes of a copy, and is the same after the original is gone.
void expectCopy(std::unique_ptr<Value> original, const Bytes &bytes) {
  Environment environment{};
  Value copy(original->type());
  copy.scribble();
  _t_generic_copy(original->type(), &environment, original->data(), copy.data());
  EXPECT_EQ(environment.exception, nullptr);
  expectEqual(*original, copy);
  original.reset();
  EXPECT_EQ(encoded(copy), bytes) << copy.type()->name;
}

// Does to bytes what damages them in transit, or somebody on purpose.
class Mutation {
public:
  explicit Mutation(uint32_t seed) : random_(seed) {}

  void apply(Bytes &bytes) {
    for (uint32_t i = 0; i <= random_.below(3); ++i) {
      change(bytes);
    }
  }

private:
  void change(Bytes &bytes) {
    const size_t at = bytes.empty() ? 0 : random_.below(static_cast<uint32_t>(bytes.size()));
    const size_t word = at / 4 * 4;
    switch (random_.below(7)) {
    case 0: // a bit
      if (!bytes.empty()) {
        bytes[at] ^= static_cast<uint8_t>(1U << random_.below(8));
      }
      break;
    case 1: // a byte
      if (!bytes.empty()) {
        bytes[at] = static_cast<uint8_t>(random_.below(256));
      }
      break;
    case 2: // a length, count, number or tag
      if (bytes.size() >= 4) {
        const uint32_t numbers[] = {0,
                                    1,
                                    2,
                                    3,
                                    4,
                                    7,
                                    12,
                                    255,
                                    256,
                                    0x7fffffff,
                                    0x80000000,
                                    0xffffffff,
                                    static_cast<uint32_t>(bytes.size()) / 4};
        const Bytes number = bytesOf(numbers[random_.below(std::size(numbers))]);
        std::copy(number.begin(), number.end(), begin(bytes, std::min(word, bytes.size() - 4)));
      }
      break;
    case 3: // less
      bytes.erase(begin(bytes, word), begin(bytes, std::min(bytes.size(), word + 4)));
      break;
    case 4: // more
      bytes.insert(begin(bytes, word), {0, 0, 0, static_cast<uint8_t>(random_.below(6))});
      break;
    case 5: // the end
      bytes.resize(at);
      break;
    default: // one part in another's place
      if (bytes.size() >= 8) {
        const size_t length =
            std::min<size_t>(size_t{4} * (1 + random_.below(8)), bytes.size() - word);
        const size_t target = random_.below(static_cast<uint32_t>(bytes.size() - length + 1));
        std::memmove(&bytes[target / 4 * 4], &bytes[word], length);
      }
    }
  }

  static Bytes::iterator begin(Bytes &bytes, size_t at) {
    return bytes.begin() + static_cast<ptrdiff_t>(at);
  }

  RandomValues random_;
};

} // namespace

TEST_F(RandomEncoding, LeadsBackToTheSameValue) {
  RandomValues random(20240901);
  for (int i = 0; i < 10000; ++i) {
    auto value = std::make_unique<Value>(random.type());
    random.fill(*value);
    const Bytes bytes = encoded(*value);
    EXPECT_EQ(bytes.size() % 4, 0U);
    const Value decoded(value->type());
    ASSERT_EQ(decode(bytes, decoded), RUNTIME_ADR_OK) << value->type()->name;
    expectEqual(*value, decoded);
    EXPECT_EQ(encoded(decoded), bytes) << value->type()->name;
    expectCopy(std::move(value), bytes);
    ASSERT_FALSE(HasFailure()) << i;
  }
}

TEST_F(RandomEncoding, IsTheSameForEqualValuesOnly) {
  RandomValues random(20240902);
  for (const TypeCode type : test::allTypes()) {
    std::vector<std::unique_ptr<Value>> values(30);
    for (auto &value : values) {
      value = std::make_unique<Value>(type);
      random.fill(*value);
    }
    for (const auto &a : values) {
      for (const auto &b : values) {
        EXPECT_EQ(_t_generic_equal(type, nullptr, a->data(), b->data()) != 0,
                  encoded(*a) == encoded(*b))
            << type->name;
      }
    }
  }
}

TEST_F(RandomEncoding, OfDamagedBytesIsWhatWasTakenOfThem) {
  RandomValues random(20240903);
  Mutation mutation(20240904);
  int decodable = 0;
  for (int i = 0; i < 100000; ++i) {
    Value value(random.type());
    random.fill(value);
    Bytes bytes = encoded(value);
    mutation.apply(bytes);
    const Value decoded(value.type());
    const int32_t error = decode(Bytes(bytes), decoded);
    if (error == RUNTIME_ADR_OK) {
      const Bytes again = encoded(decoded);
      ASSERT_LE(again.size(), bytes.size()) << i;
      ASSERT_TRUE(std::equal(again.begin(), again.end(), bytes.begin()))
          << i << ' ' << value.type()->name;
      ++decodable;
    } else {
      ASSERT_STRNE(runtime_adr_error_text(error), runtime_adr_error_text(-1)) << error;
    }
  }
  EXPECT_GT(decodable, 10000);
  EXPECT_LT(decodable, 90000);
}

TEST_F(RandomEncoding, OfAnyBytesIsWhatWasTakenOfThem) {
  RandomValues random(20240905);
  for (int i = 0; i < 100000; ++i) {
    Bytes bytes(random.below(100));
    const uint32_t limit = 1 + random.below(256); // small numbers get further
    for (uint8_t &byte : bytes) {
      byte = random.below(3) == 0 ? static_cast<uint8_t>(random.below(limit)) : uint8_t{0};
    }
    const Value decoded(random.type());
    if (decode(bytes, decoded) == RUNTIME_ADR_OK) {
      const Bytes again = encoded(decoded);
      ASSERT_LE(again.size(), bytes.size()) << i;
      ASSERT_TRUE(std::equal(again.begin(), again.end(), bytes.begin())) << i;
    }
  }
}
