#include "depot/entry.h"

#include <array>
#include <cstdio>

#include <sprig/encoding.h>
#include <sprig/pal.h>

namespace bench {
namespace {

constexpr size_t fillerSize = 68; // with the identifier behind it 108 bytes of properties

std::string encoded(const std::string &data) {
  char *text = nullptr;
  uint32_t length = 0;
  Encode(data.data(), static_cast<uint32_t>(data.size()), &text, &length);
  std::string copy(text, length);
  PalMemoryFree(text);
  return copy;
}

} // namespace

Entry makeEntry(Spread spread, uint32_t number) {
  constexpr uint32_t mixer = 2654435761; // odd, so that no two numbers become the same
  std::array<char, sizeof "01234567"> digits{};
  (void)snprintf(digits.data(), digits.size(), "%08x", static_cast<unsigned>(number * mixer));

  const std::string common = "-segment-of-some-product-family-";
  Entry entry;
  entry.id = spread == Spread::allBuckets ? digits.data() + common : common + digits.data();
  entry.version = "1.2.3";
  entry.properties = std::string(fillerSize, '=') + entry.id;
  return entry;
}

std::string identityText(const Entry &entry) {
  return "<<id>" + entry.id + "</id><version>" + entry.version + "</version>";
}

std::string tocText(const Entry &entry, bool isComplete) {
  const char *count = isComplete ? "1" : "0";
  return identityText(entry) + behindIdentity + count + "</reference_count><state>" + count +
         "</state><checksum>0</checksum><deadline>0</deadline><location>" + entry.dataPath +
         "</location><properties>" + encoded(entry.properties) + "</properties>>" + '\0';
}

uint32_t bucketOf(const Entry &entry) {
  const std::string key = entry.id + entry.version;
  uint32_t hash = 0;
  for (size_t k = 0; k < (key.size() + 1) / 2; ++k) {
    hash ^= static_cast<unsigned char>(key[k]);
    hash = hash << 5 | hash >> 27;
  }
  return hash % bucketCount;
}

} // namespace bench
