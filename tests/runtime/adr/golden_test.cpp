// Encodings that programs out there read and write: they may not change.
#include <fstream>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <sprig/runtime.h>

#include "golden_values.h"
#include "hex.h"

using test::Bytes;
using test::Value;

namespace {

// Lines that begin with spaces have the bytes, the line before them the name.
std::map<std::string, Bytes> readEncodings() {
  std::ifstream file(SPRIG_SOURCE_DIR "/tests/runtime/adr/golden.txt");
  std::map<std::string, Bytes> encodings;
  std::string name;
  for (std::string line; std::getline(file, line);) {
    if (line.front() == ' ') {
      const Bytes bytes = test::bytesOfHex(line);
      Bytes &encoding = encodings[name];
      encoding.insert(encoding.end(), bytes.begin(), bytes.end());
    } else if (line.front() != '#') {
      name = line;
    }
  }
  return encodings;
}

class GoldenEncodings : public testing::Test {
protected:
  // Calls check(value, encoding) for each of them.
  template <typename Check> void forEach(Check check) const {
    ASSERT_EQ(values.size(), encodings.size());
    for (const auto &[name, value] : values) {
      SCOPED_TRACE(name);
      check(value, encodings.at(name));
    }
  }

  const std::map<std::string, Value> values = test::goldenValues();
  const std::map<std::string, Bytes> encodings = readEncodings();
};

bool isEqual(const Value &a, const Value &b) {
  return _t_generic_equal(a.type(), nullptr, a.data(), b.data()) != 0;
}

template <typename Map> std::set<std::string> namesOf(const Map &map) {
  std::set<std::string> names;
  for (const auto &entry : map) {
    names.insert(entry.first);
  }
  return names;
}

} // namespace

TEST_F(GoldenEncodings, AreOfValuesThatThereAre) { EXPECT_EQ(namesOf(encodings), namesOf(values)); }

TEST_F(GoldenEncodings, AreOfValuesOfEachType) {
  std::set<std::string> names;
  for (const auto &[name, value] : values) {
    names.insert(value.type()->name);
  }
  for (const TypeRepository *repository : {stypes_type_repository, Sprig2_type_repository}) {
    for (uint32_t i = 0; i < repository->count; ++i) {
      EXPECT_EQ(names.count(repository->types[i]->name), 1U) << repository->types[i]->name;
    }
  }
}

TEST_F(GoldenEncodings, AreWhatTheValuesAreEncodedAs) {
  forEach([](const Value &value, const Bytes &encoding) { EXPECT_EQ(encoded(value), encoding); });
}

TEST_F(GoldenEncodings, AreDecodedToTheValues) {
  forEach([](const Value &value, const Bytes &encoding) {
    Value decoded(value.type());
    EXPECT_EQ(decode(encoding, decoded), RUNTIME_ADR_OK);
    EXPECT_TRUE(isEqual(decoded, value));
    EXPECT_EQ(encoded(decoded), encoding);
  });
}

TEST_F(GoldenEncodings, AreNotDecodedWithoutTheirLastByte) {
  forEach([](const Value &value, Bytes encoding) {
    encoding.pop_back();
    Value decoded(value.type());
    EXPECT_NE(decode(encoding, decoded), RUNTIME_ADR_OK);
  });
}

TEST_F(GoldenEncodings, FollowOneAnotherInABuffer) {
  Bytes all;
  forEach([&](const Value &, const Bytes &encoding) {
    all.insert(all.end(), encoding.begin(), encoding.end());
  });
  AdrBuffer *buffer = adr_init_decode_buffer(all.data(), static_cast<uint32_t>(all.size()));
  forEach([&](const Value &value, const Bytes &) {
    Value decoded(value.type());
    marshal_item(buffer, value.type(), decoded.data());
    EXPECT_EQ(buffer->error, RUNTIME_ADR_OK);
    EXPECT_TRUE(isEqual(decoded, value));
  });
  adr_free_buf(buffer);
}
