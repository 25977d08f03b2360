#include "channel/crc32c.h"

#include <numeric>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/channel.h"

using sprig::runtime::Crc32cCoder;

namespace {

std::vector<const Crc32cCoder *> supportedCoders() {
  std::vector<const Crc32cCoder *> coders;
  for (const Crc32cCoder *coder = sprig::runtime::crc32cCoders; coder->name != nullptr; ++coder) {
    if (coder->isSupported()) {
      coders.push_back(coder);
    }
  }
  return coders;
}

uint32_t checksumOf(const std::string &bytes) {
  return sprig::runtime::crc32c(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
}

uint32_t checksumBy(const Crc32cCoder &coder, const uint8_t *data, size_t length) {
  return ~coder.carryOn(~uint32_t{0}, data, length);
}

} // namespace

TEST(Crc32c, HasThePublishedValues) {
  std::string ascending(32, '\0');
  std::iota(ascending.begin(), ascending.end(), 0);
  const std::pair<std::string, uint32_t> published[] = {
      {"", 0},
      {"a", 0xc1d04330},
      {"123456789", 0xe3069283},
      {std::string(32, '\0'), 0x8a9136aa},
      {std::string(32, '\xff'), 0x62a8ab43},
      {ascending, 0x46dd794e},
      {{ascending.rbegin(), ascending.rend()}, 0x113fdb5c},
  };
  for (const auto &[bytes, checksum] : published) {
    EXPECT_EQ(checksumOf(bytes), checksum);
    EXPECT_EQ(test::referenceChecksum(bytes), checksum);
    for (const Crc32cCoder *coder : supportedCoders()) {
      EXPECT_EQ(checksumBy(*coder, reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()),
                checksum)
          << coder->name;
    }
  }
}

TEST(Crc32c, IsTheSameByAllCodersAtAllLengthsAndPlaces) {
  const std::string bytes = test::dataOf(20000);
  const auto *data = reinterpret_cast<const uint8_t *>(bytes.data());
  constexpr size_t aFewBlocks = 1200;
  for (size_t length = 0; length <= 17000; length += length < aFewBlocks ? 1 : 61) {
    const size_t place = length % 17;
    const uint32_t expected = sprig::runtime::crc32cPortable(1, data + place, length);
    for (const Crc32cCoder *coder : supportedCoders()) {
      ASSERT_EQ(coder->carryOn(1, data + place, length), expected) << coder->name << ' ' << length;
    }
  }
  EXPECT_EQ(checksumOf(bytes), test::referenceChecksum(bytes));
}

TEST(Crc32c, CanBeCarriedOn) {
  const std::string bytes = test::dataOf(6000);
  const auto *data = reinterpret_cast<const uint8_t *>(bytes.data());
  const uint32_t whole = sprig::runtime::crc32c(data, bytes.size());
  for (const size_t place : {0, 1, 16, 5999, 6000}) {
    const uint32_t before = sprig::runtime::crc32c(data, place);
    EXPECT_EQ(sprig::runtime::crc32c(data + place, bytes.size() - place, before), whole);
  }
}

TEST(Crc32c, NeedsNoBytes) { EXPECT_EQ(sprig::runtime::crc32c(nullptr, 0, 42), 42U); }
