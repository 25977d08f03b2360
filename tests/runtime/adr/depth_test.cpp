// How deep values may lie within each other where they are encoded and decoded.
#include <string>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/runtime.h>

#include "support/values.h"

using test::Bytes;
using test::bytesOf;
using test::decode;
using test::encoded;
using test::Value;

namespace {

class DeepEncoding : public testing::TestWithParam<test::Nesting> {
protected:
  DeepEncoding() { test::registerTypes(); }

  static std::unique_ptr<Value> make(size_t depth) { return GetParam().make(depth); }

  // What an encoder would write that went on for ever: each level adds the same bytes in front.
  static Bytes bytesAt(size_t depth) {
    const Bytes inner = encoded(*make(1));
    const Bytes outer = encoded(*make(2));
    Bytes bytes;
    bytes.reserve(outer.size() * depth);
    for (size_t i = 1; i < depth; ++i) {
      bytes.insert(bytes.end(), outer.begin(), outer.end() - static_cast<ptrdiff_t>(inner.size()));
    }
    bytes.insert(bytes.end(), inner.begin(), inner.end());
    return bytes;
  }
};

} // namespace

TEST_P(DeepEncoding, IsMadeUpToTheDeepestValue) {
  const auto value = make(GetParam().deepest);
  const Bytes bytes = encoded(*value);
  EXPECT_EQ(bytes, bytesAt(GetParam().deepest));
  const Value target(value->type());
  EXPECT_EQ(decode(bytes, target), RUNTIME_ADR_OK);
  EXPECT_EQ(encoded(target), bytes);
}

TEST_P(DeepEncoding, IsNotMadeOfAnythingDeeper) {
  for (const size_t depth : {GetParam().tooDeep, size_t{1000}}) {
    const auto value = make(depth);
    EXPECT_EQ(test::encodingError(value->type(), value->data()), RUNTIME_ADR_DEPTH) << depth;
  }
}

TEST_P(DeepEncoding, IsNotDecodedToAnythingDeeper) {
  for (const size_t depth : {GetParam().tooDeep, size_t{1000}, size_t{200000}}) {
    const Value target(make(1)->type());
    EXPECT_EQ(decode(bytesAt(depth), target), RUNTIME_ADR_DEPTH) << depth;
  }
}

TEST(DeepEncoding, CountsListsWithinEachOtherAndNotBesideEachOther) {
  Sequence lists{};
  for (int i = 0; i < 3; ++i) {
    const Sequence inner = test::nestedLists(63);
    seq_add(&lists, &inner, sizeof inner);
  }
  const Value value(test::nestType, lists);
  const Value target(test::nestType);
  EXPECT_EQ(decode(encoded(value), target), RUNTIME_ADR_OK);
  EXPECT_NE(_t_generic_equal(test::nestType, nullptr, value.data(), target.data()), 0);
}

TEST(DeepEncoding, CountsForEachValueInABufferAnew) {
  const Value value(test::nestType, test::nestedLists(64));
  AdrBuffer *buffer = adr_init_encode_buffer(value.type(), value.data());
  for (int i = 0; i < 3; ++i) {
    marshal_item(buffer, value.type(), value.data());
  }
  EXPECT_EQ(buffer->error, RUNTIME_ADR_OK);
  const Bytes once = encoded(value);
  EXPECT_EQ(Bytes(buffer->data, buffer->data + buffer->length), bytesOf(once, once, once));
  adr_free_buf(buffer);
}

INSTANTIATE_TEST_SUITE_P(Depth, DeepEncoding, testing::ValuesIn(test::nestings()),
                         [](const auto &info) { return info.param.name; });
