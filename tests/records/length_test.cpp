// Lengths of more than 32 bits, times as text, and the names of commands.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <sprig/records.h>

#include "support/heap.h"

bool operator==(const Int64Length &a, const Int64Length &b) {
  return a.high == b.high && a.low == b.low;
}
std::ostream &operator<<(std::ostream &out, const Int64Length &length) {
  return out << '{' << length.high << ", " << static_cast<int32_t>(length.low) << '}';
}

namespace {

struct Release {
  void operator()(Int64Length *length) const { int64_length_delete(length); }
};
using LengthPtr = std::unique_ptr<Int64Length, Release>;

// A rest below 0, as it is kept.
constexpr uint32_t below0(int32_t rest) { return static_cast<uint32_t>(rest); }

Int64Length sum(Int64Length length, int32_t n) {
  int64_length_add(&length, n);
  return length;
}

std::string textOf(const Int64Length &length) {
  char *text = int64_length_to_string(&length);
  std::string result = text;
  mg_free(text);
  return result;
}

// Another time zone for as long as it lives.
class Zone {
public:
  explicit Zone(const char *name) {
    if (const char *value = getenv("TZ")) {
      before_ = std::make_unique<std::string>(value);
    }
    set(name);
  }
  ~Zone() { set(before_ ? before_->c_str() : nullptr); }
  Zone(const Zone &) = delete;
  Zone &operator=(const Zone &) = delete;

private:
  static void set(const char *name) {
    if (name == nullptr) {
      unsetenv("TZ");
    } else {
      setenv("TZ", name, 1);
    }
    tzset();
  }

  std::unique_ptr<std::string> before_;
};

std::string shown(int32_t time) {
  char buffer[21];
  EXPECT_EQ(time_to_string(buffer, sizeof buffer, time), 20U);
  return buffer;
}

} // namespace

TEST(Length, IsCreatedWithoutBytes) {
  const LengthPtr length(int64_length_new());
  ASSERT_NE(length, nullptr);
  EXPECT_EQ(*length, (Int64Length{0, 0}));
}

TEST(Length, IsCreatedFromDecimalNumbers) {
  const LengthPtr length(int64_length_new2("12", "345"));
  EXPECT_EQ(*length, (Int64Length{12, 345}));
  const LengthPtr zero(int64_length_new2("0", "0"));
  EXPECT_EQ(*zero, (Int64Length{0, 0}));
  const LengthPtr decimal(int64_length_new2("010", "007"));
  EXPECT_EQ(*decimal, (Int64Length{10, 7}));
  const LengthPtr largest(int64_length_new2("4294967295", "999"));
  EXPECT_EQ(*largest, (Int64Length{4294967295, 999}));
}

TEST(Length, IsCreatedFromWhatItsTextIsMadeOf) {
  const LengthPtr length(int64_length_new2("2", "005\n"));
  EXPECT_EQ(*length, (Int64Length{2, 5}));
}

TEST(Length, IsClonedWithBothParts) {
  const LengthPtr length(int64_length_new2("12", "345"));
  const LengthPtr clone(int64_length_clone(length.get()));
  ASSERT_NE(clone, nullptr);
  EXPECT_NE(clone, length);
  EXPECT_EQ(*clone, *length);
  int64_length_add(clone.get(), 1);
  EXPECT_EQ(*length, (Int64Length{12, 345}));
}

TEST(Length, IsEqualWhereBothPartsAre) {
  const Int64Length length{12, 345};
  const auto isEqual = [&](const Int64Length &other) {
    return int64_length_equal(&length, &other);
  };
  EXPECT_EQ(isEqual(length), 1);
  EXPECT_EQ(isEqual({12, 345}), 1);
  EXPECT_EQ(isEqual({12, 346}), 0);
  EXPECT_EQ(isEqual({13, 345}), 0);
  EXPECT_EQ(isEqual({345, 12}), 0);
  EXPECT_EQ(isEqual({11, 1345}), 0) << "the parts count, not the sum";
}

TEST(Length, CarriesFromTheRestToTheThousands) {
  EXPECT_EQ(sum({0, 600}, 1500), (Int64Length{2, 100}));
  EXPECT_EQ(sum({0, 0}, 0), (Int64Length{0, 0}));
  EXPECT_EQ(sum({0, 0}, 999), (Int64Length{0, 999}));
  EXPECT_EQ(sum({0, 0}, 1000), (Int64Length{1, 0}));
  EXPECT_EQ(sum({0, 999}, 1), (Int64Length{1, 0}));
  EXPECT_EQ(sum({5, 998}, 1), (Int64Length{5, 999}));
  EXPECT_EQ(sum({5, 999}, 1999), (Int64Length{7, 998}));
  EXPECT_EQ(sum({1, 999}, INT32_MAX), (Int64Length{2147485, 646}));
  EXPECT_EQ(sum({4294967295, 999}, 1), (Int64Length{0, 0}));
}

TEST(Length, KeepsARestBelowZero) {
  EXPECT_EQ(sum({3, 600}, -1500), (Int64Length{2, 100}));
  EXPECT_EQ(sum({3, 100}, -1500), (Int64Length{2, below0(-400)}));
  EXPECT_EQ(sum({5, 100}, -100), (Int64Length{5, 0}));
  EXPECT_EQ(sum({5, 100}, -101), (Int64Length{5, below0(-1)}));
  EXPECT_EQ(sum({5, 0}, -999), (Int64Length{5, below0(-999)}));
  EXPECT_EQ(sum({2147483, 0}, INT32_MIN), (Int64Length{0, below0(-648)}));
  EXPECT_EQ(sum({2, below0(-400)}, 0), (Int64Length{2, below0(-400)}));
  EXPECT_EQ(sum({2, below0(-400)}, -700), (Int64Length{2, below0(-1100)}));
}

TEST(Length, ComesBackFromARestBelowZero) {
  EXPECT_EQ(sum({2, below0(-400)}, 400), (Int64Length{2, 0}));
  EXPECT_EQ(sum({2, below0(-400)}, 3999), (Int64Length{5, 599}));
}

TEST(Length, AddsUp) {
  const LengthPtr length(int64_length_new());
  uint64_t expected = 0;
  for (int32_t n = 1; n < INT32_MAX / 3; n *= 3) {
    int64_length_add(length.get(), n);
    expected += static_cast<uint64_t>(n);
    EXPECT_EQ(*length, (Int64Length{static_cast<uint32_t>(expected / 1000),
                                    static_cast<uint32_t>(expected % 1000)}));
  }
}

TEST(Length, IsShownWithThreeDigitsForTheRestAndANewline) {
  EXPECT_EQ(textOf({2, 5}), "2005\n");
  EXPECT_EQ(textOf({0, 0}), "0000\n");
  EXPECT_EQ(textOf({0, 7}), "0007\n");
  EXPECT_EQ(textOf({0, 70}), "0070\n");
  EXPECT_EQ(textOf({12, 345}), "12345\n");
  EXPECT_EQ(textOf({4294967295, 999}), "4294967295999\n");
}

TEST(Length, IsShownWithARestBelowZeroAsItIsKept) {
  EXPECT_EQ(textOf({2, below0(-400)}), "24294966896\n");
}

TEST(Length, IsReleasedWhole) {
  int64_length_delete(nullptr);
  test::expectNothingLost([] {
    const LengthPtr length(int64_length_new());
    const LengthPtr given(int64_length_new2("1", "2"));
    const LengthPtr clone(int64_length_clone(given.get()));
    mg_free(int64_length_to_string(clone.get()));
  });
}

TEST(TimeText, IsLocalTimeWithABlank) {
  const Zone zone("UTC0");
  EXPECT_EQ(shown(0), "1970/01/01 00:00:00 ");
  EXPECT_EQ(shown(-1), "1969/12/31 23:59:59 ");
  EXPECT_EQ(shown(951782400), "2000/02/29 00:00:00 ");
  EXPECT_EQ(shown(1700000000), "2023/11/14 22:13:20 ");
  EXPECT_EQ(shown(INT32_MAX), "2038/01/19 03:14:07 ");
  EXPECT_EQ(shown(INT32_MIN), "1901/12/13 20:45:52 ");
}

TEST(TimeText, GoesByTheZone) {
  const Zone zone("EST5EDT,M3.2.0,M11.1.0");
  EXPECT_EQ(shown(1700000000), "2023/11/14 17:13:20 ");
  EXPECT_EQ(shown(1690000000), "2023/07/22 00:26:40 ") << "in summer";
  const Zone east("EAST-5:30");
  EXPECT_EQ(shown(1700000000), "2023/11/15 03:43:20 ");
}

TEST(TimeText, IsNotThereWhereItDoesNotFit) {
  const Zone zone("UTC0");
  for (size_t size = 0; size <= 20; ++size) {
    // In a block of just that size.
    const std::unique_ptr<char[]> buffer(new char[size]);
    EXPECT_EQ(time_to_string(buffer.get(), size, 0), 0U) << size;
  }
  char buffer[40];
  EXPECT_EQ(time_to_string(buffer, sizeof buffer, 0), 20U);
  EXPECT_EQ(strlen(buffer), 20U);
}

TEST(Command, HasAName) {
  EXPECT_STREQ(decode_command(0), "NULL");
  EXPECT_STREQ(decode_command(1), "DATA");
  EXPECT_STREQ(decode_command(2), "CANCEL");
  EXPECT_STREQ(decode_command(3), "PAUSE");
  EXPECT_STREQ(decode_command(4), "EXPIRE");
  EXPECT_STREQ(decode_command(5), "ROAM");
}

TEST(Command, HasNoNameBehindTheLast) {
  for (const uint32_t command : {6U, 7U, 255U, 256U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
    EXPECT_EQ(decode_command(command), nullptr) << command;
  }
}
