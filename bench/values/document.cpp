#include "values/document.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

namespace bench {
namespace {

class Random {
public:
  explicit Random(uint32_t seed) : state_(seed) {}

  uint32_t operator()(uint32_t bound) {
    state_ = state_ * 1664525 + 1013904223;
    return (state_ >> 8) % bound;
  }

private:
  uint32_t state_;
};

std::string name(const char *stem, size_t number) {
  std::array<char, sizeof "property-00000"> text{};
  (void)snprintf(text.data(), text.size(), "%s-%02u", stem, static_cast<unsigned>(number % 1000));
  return text.data();
}

// Three strings, two numbers and a boolean take turns.
Value plainValue(size_t number, Random &random) {
  switch (number % 6) {
  case 0:
  case 2:
  case 4: {
    std::string text(16 + random(9), ' ');
    std::generate(text.begin(), text.end(), [&] { return static_cast<char>('a' + random(26)); });
    return text;
  }
  case 5:
    return random(2) == 1;
  default:
    return static_cast<int32_t>(random(1 << 24));
  }
}

Record plainRecord(size_t fields, const char *stem, Random &random) {
  Record record;
  record.reserve(fields + 2);
  for (size_t k = 0; k < fields; ++k) {
    record.push_back({name(stem, k), plainValue(k, random)});
  }
  return record;
}

Record randomRecord(size_t fields, Random &random) {
  Octets octets(32);
  std::generate(octets.begin(), octets.end(), [&] { return static_cast<uint8_t>(random(256)); });
  Record record = plainRecord(fields - 2, "property", random);
  const auto middle = static_cast<ptrdiff_t>(record.size() / 2);
  record.insert(record.begin() + middle, {"properties", plainRecord(4, "member", random)});
  record.insert(record.begin() + middle, {"signature", octets});
  return record;
}

} // namespace

Record makeRecord(size_t fields) {
  Random random(static_cast<uint32_t>(fields));
  return randomRecord(fields, random);
}

List makeList() {
  Random random(1);
  List list(1000);
  std::generate(list.begin(), list.end(), [&] { return randomRecord(12, random); });
  return list;
}

Record changed(Record record) {
  record.back().name.back() = '!';
  return record;
}

List changed(List list) {
  list.back() = changed(list.back());
  return list;
}

} // namespace bench
