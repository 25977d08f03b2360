// The message catalog, against a copy of its own.
#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "framework/records.h"
#include "support/exceptions.h"

using test::RecordPtr;
using test::Strings;

namespace {

constexpr size_t regionId = 174;

// Every element; null where only the meaning matters.
const char *const table[] = {
#include "framework/catalog_table.inc"
};

// Numbers of the messages whose conversions are of no kind that a record can carry.
const std::vector<int32_t> illegalIds{116, 117, 141};

std::vector<int32_t> legalIds() {
  std::vector<int32_t> ids;
  ids.reserve(std::size(table));
  for (int32_t id = 1; id < static_cast<int32_t>(std::size(table)); ++id) {
    if (std::count(illegalIds.begin(), illegalIds.end(), id) == 0) {
      ids.push_back(id);
    }
  }
  return ids;
}

struct Conversion {
  size_t begin;
  size_t end;
  size_t position; // from 1
  char letter;
};

// The conversions of a text that has none but "%1$s" and the like, and "%%".
std::vector<Conversion> conversionsOf(const std::string &text) {
  std::vector<Conversion> conversions;
  for (size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at)) {
    if (text[at + 1] == '%') {
      at += 2;
      continue;
    }
    const size_t end = text.find('$', at) + 2;
    conversions.push_back({at, end, std::stoul(text.substr(at + 1)), text[end - 1]});
    at = end;
  }
  return conversions;
}

// The text as a person sees it.
std::string filledIn(const std::string &text, const Strings &arguments) {
  std::string result;
  size_t done = 0;
  for (const Conversion &conversion : conversionsOf(text)) {
    result.append(text, done, conversion.begin - done).append(arguments[conversion.position - 1]);
    done = conversion.end;
  }
  result.append(text, done);
  for (size_t at = result.find("%%"); at != std::string::npos; at = result.find("%%", at + 1)) {
    result.erase(at, 1);
  }
  return result;
}

constexpr std::array texts{"zero", "one", "two", "three", "four", "five", "six", "seven"};

// The n-th argument, as the kind of its conversion has it, and as it is kept.
Strings argumentsFor(const std::string &letters) {
  Strings arguments;
  arguments.reserve(letters.size());
  for (size_t i = 0; i < letters.size(); ++i) {
    arguments.emplace_back(letters[i] == 's' ? texts[i] : std::to_string(1000 + i));
  }
  return arguments;
}

template <typename... Arguments>
RecordPtr recordOf(int32_t id, const std::string &letters, Arguments... arguments) {
  constexpr size_t count = sizeof...(arguments);
  if constexpr (count < texts.size()) {
    if (count < letters.size()) {
      return letters[count] == 's'
                 ? recordOf(id, letters, arguments..., texts[count])
                 : recordOf(id, letters, arguments..., static_cast<uint32_t>(1000 + count));
    }
  }
  return test::makeRecord("NEX_Sprig2::ExSendError", sizeof(ExErrorMsg), Sprig2Catalog[0], id,
                          Sprig2Catalog[id], arguments...);
}

std::string lettersOf(const std::string &text) {
  std::string letters;
  for (const Conversion &conversion : conversionsOf(text)) {
    letters += conversion.letter;
  }
  return letters;
}

// Puts another text into the catalog for a while.
class Replaced {
public:
  Replaced(size_t id, const char *text) : id_(id), old_(Sprig2Catalog[id]) {
    Sprig2Catalog[id] = text;
  }
  ~Replaced() { Sprig2Catalog[id_] = old_; }
  Replaced(const Replaced &) = delete;
  Replaced &operator=(const Replaced &) = delete;

private:
  size_t id_;
  const char *old_;
};

} // namespace

TEST(Catalog, BeginsWithItsName) { EXPECT_STREQ(Sprig2Catalog[0], "Sprig2Catalog"); }

TEST(Catalog, HasTheTextOfEveryMessage) {
  static_assert(std::size(table) == 211 && std::size(Sprig2Catalog) == 211);
  for (size_t id = 0; id < std::size(table); ++id) {
    ASSERT_NE(Sprig2Catalog[id], nullptr) << id;
    if (id != regionId) {
      EXPECT_STREQ(Sprig2Catalog[id], table[id]) << id;
    }
  }
}

TEST(Catalog, NamesTheManagementRegionOfADistribution) {
  const std::string text = Sprig2Catalog[regionId];
  EXPECT_NE(text.find("management region"), std::string::npos) << text;
  EXPECT_NE(text.find("%1$s"), std::string::npos) << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '%'), 1) << text;
}

TEST(Catalog, NamesItsArgumentsInTheirOrderExceptInTwoTexts) {
  const auto isUnordered = [](int32_t id) {
    const std::vector<Conversion> conversions = conversionsOf(Sprig2Catalog[id]);
    return !std::is_sorted(conversions.begin(), conversions.end(),
                           [](const auto &a, const auto &b) { return a.position < b.position; });
  };
  const std::vector<int32_t> ids = legalIds();
  std::vector<int32_t> unordered;
  std::copy_if(ids.begin(), ids.end(), std::back_inserter(unordered), isUnordered);
  EXPECT_EQ(unordered, (std::vector<int32_t>{60, 61}));
}

TEST(Catalog, HasTextsThatRecordsCanCarry) {
  for (const int32_t id : legalIds()) {
    const std::string letters = lettersOf(Sprig2Catalog[id]);
    const RecordPtr record = recordOf(id, letters);
    const test::Message expected{"Sprig2Catalog", Sprig2Catalog[id], id, argumentsFor(letters)};
    EXPECT_EQ(test::messageOf(*record), expected);
    EXPECT_EQ(test::shown(*record), filledIn(Sprig2Catalog[id], argumentsFor(letters)));
  }
}

TEST(Catalog, HasThreeTextsThatRecordsCannotCarry) {
  for (const int32_t id : illegalIds) {
    const RecordPtr record = recordOf(id, "d");
    const test::Message expected{{}, "Format has illegal types (%1$s)", 0, {Sprig2Catalog[id]}};
    EXPECT_EQ(test::messageOf(*record), expected);
  }
}

TEST(Catalog, CanBeWrittenTo) {
  for (size_t id = 0; id < std::size(table); ++id) {
    const Replaced replaced(id, "text");
    EXPECT_STREQ(Sprig2Catalog[id], "text");
  }
}

TEST(Catalog, IsWhereTheLibraryTakesItsTextsFrom) {
  const Replaced name(0, "OtherCatalog");
  const Replaced text(39, "There are %2$d and not %1$d.");
  Sequence sequence{};
  const auto thrown = test::thrown([&] { seq_replace(&sequence, "text", 5, 4); });
  ASSERT_TRUE(thrown);
  EXPECT_EQ(thrown->catalog, "OtherCatalog");
  EXPECT_EQ(thrown->text, "There are 0 and not 5.");
}
