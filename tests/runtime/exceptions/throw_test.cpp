// What is thrown: the records that carry a text, records of other types, and environments.
#include <ctime>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/framework.h>

#include "support/exceptions.h"
#include "support/frames.h"
#include "support/last_words.h"
#include "support/values.h"

using test::inFrame;
using test::thrown;

namespace {

using Texts = std::vector<std::string>;

// A number with all bits set, as a caller's expression has it.
constexpr int32_t minusOne = -1;

// The record that a body throws, looked at before it is released.
template <typename Body, typename Look> void lookAtRecord(Body body, Look look) {
  bool isThrown = false;
  inFrame(body, [&](EhFrame *frame) {
    isThrown = true;
    EXPECT_NE(eh_catch_all(frame), 0);
    look(eh_current_exception(frame));
    eh_pop_try(frame);
  });
  EXPECT_TRUE(isThrown);
}

void expectMessage(const ExErrorMsg *record, const char *catalog, int32_t id, const char *text) {
  EXPECT_STREQ(record->type_name, "ExErrorMsg");
  EXPECT_STREQ(record->catalog, nullptr);
  EXPECT_EQ(record->key, 0);
  EXPECT_STREQ(record->default_msg, "%7$M");
  EXPECT_EQ(record->msg_context.length, 0U);
  ASSERT_EQ(record->emsg.length, 1U);
  const MessageEntry &entry = record->emsg.buffer[0];
  EXPECT_STREQ(entry.catalog, catalog);
  EXPECT_EQ(entry.message_id, id);
  EXPECT_STREQ(entry.default_text, text);
  EXPECT_NE(TypeCode_equal(entry.arguments.type, TC_NEX_Types_StringList), 0);
  ASSERT_NE(entry.arguments.value, nullptr);
}

Texts argumentsOf(const ExErrorMsg *record) {
  const auto *list = static_cast<const StringList *>(record->emsg.buffer[0].arguments.value);
  return {list->buffer, list->buffer + list->length};
}

// Puts a text with arguments into an environment that holds another exception already.
std::optional<test::Thrown> raised() {
  Environment environment{};
  vaRaiseException(&environment, 0, -1, "first");
  vaRaiseException(&environment, 0, -1, "%2$s has %1$d", minusOne, "rose");
  return test::takenFrom(environment);
}

test::ExWilted *newWilted() {
  auto *record = static_cast<test::ExWilted *>(mg_calloc(1, sizeof(test::ExWilted)));
  record->base.type_name = mg_strdup("Test::ExWilted");
  record->base.default_msg = mg_strdup("Wilted.");
  record->plant = mg_strdup("rose");
  record->days = -3;
  record->remedies = test::stringsOf({"water", "shade"});
  return record;
}

// An exception without the members that carry a message.
struct ExSmall {
  char *type_name;
  int32_t code;
};

void expectSmall(void *exception, const char *typeName) {
  const auto *record = static_cast<ExSmall *>(exception);
  EXPECT_STREQ(record->type_name, typeName);
  EXPECT_EQ(record->code, 7);
  char *text = def_ex_bind(exception);
  EXPECT_NE(text, nullptr);
  mg_free(text);
}

} // namespace

TEST(VaThrow, MakesARecordWithOneText) {
  const time_t before = time(nullptr);
  lookAtRecord([] { vaThrow("Garden", 36, "no %1$s in %2$s", "rose", "bed"); },
               [&](void *exception) {
                 const auto *record = static_cast<ExErrorMsg *>(exception);
                 expectMessage(record, "Garden", 36, "no %1$s in %2$s");
                 EXPECT_EQ(argumentsOf(record), (Texts{"rose", "bed"}));
                 EXPECT_GE(record->time_stamp, before);
                 EXPECT_LE(record->time_stamp, time(nullptr));
               });
}

TEST(VaThrow, NeedsNoCatalog) {
  lookAtRecord([] { vaThrow(nullptr, -7, "wilted"); },
               [](void *exception) {
                 const auto *record = static_cast<ExErrorMsg *>(exception);
                 expectMessage(record, nullptr, -7, "wilted");
                 EXPECT_EQ(argumentsOf(record), Texts{});
               });
}

TEST(VaThrow, KeepsNothingOfTheCallers) {
  std::string catalog = "Garden";
  std::string text = "no %1$s";
  std::string argument = "rose";
  auto throwIt = [&] {
    inFrame([&] { vaThrow(catalog.c_str(), 1, text.c_str(), argument.c_str()); },
            [&](EhFrame *frame) {
              catalog.assign(catalog.size(), 'x');
              text.assign(text.size(), 'x');
              argument.assign(argument.size(), 'x');
              eh_rethrow(frame);
            });
  };
  const auto result = thrown(throwIt);
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->catalog, "Garden");
  EXPECT_EQ(result->text, "no rose");
}

TEST(VaThrow, ShowsNumbersAsTheirConversionSays) {
  constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
  constexpr uint32_t highest = std::numeric_limits<uint32_t>::max();
  const auto result =
      thrown([] { vaThrow(nullptr, 1, "%1$d %2$u %3$d %4$u", minusOne, highest, lowest, 0); });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->text, "-1 4294967295 -2147483648 0");
  EXPECT_EQ(result->arguments, (Texts{"-1", "4294967295", "-2147483648", "0"}));
}

TEST(VaThrow, TakesArgumentsInTheOrderOfTheirPositions) {
  const auto result =
      thrown([] { vaThrow(nullptr, 1, "%3$s, %1$d and %2$s", minusOne, "tulip", "rose"); });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->text, "rose, -1 and tulip");
  EXPECT_EQ(result->arguments, (Texts{"-1", "tulip", "rose"}));
}

TEST(VaThrow, TakesAnArgumentThatIsShownTwiceOnce) {
  const auto result =
      thrown([] { vaThrow(nullptr, 1, "%2$s %1$d %2$s %1$d", minusOne, "rose", "unused"); });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->text, "rose -1 rose -1");
  EXPECT_EQ(result->arguments, (Texts{"-1", "rose"}));
}

TEST(VaThrow, CountsPositionsThatAreNotShown) {
  const auto result = thrown([] { vaThrow(nullptr, 1, "%1$s and %3$s", "rose", "unused", "bed"); });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->text, "rose and bed");
  ASSERT_EQ(result->arguments.size(), 3U);
  EXPECT_EQ(result->arguments[0], "rose");
  EXPECT_EQ(result->arguments[2], "bed");
}

TEST(VaThrow, ShowsNullTextAsSuch) {
  const char *text = nullptr;
  const auto result = thrown([&] { vaThrow(nullptr, 1, "no %1$s in %2$s", text, "bed"); });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->text, "no (null) in bed");
}

TEST(VaThrow, LeavesPercentSignsOut) {
  const auto result = thrown([] { vaThrow(nullptr, 145, "%1$d(%2$d%%)", 12, 50); });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->text, "12(50%)");
  EXPECT_EQ(result->arguments, (Texts{"12", "50"}));
}

TEST(VaThrow, DoesNotTakeArgumentsForFormats) {
  const auto result = thrown([] { vaThrow(nullptr, 1, "%1$s %2$s", "%2$s%n", "%1$s%%"); });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->text, "%2$s%n %1$s%%");
}

TEST(VaThrow, ShowsTimes) {
  setenv("TZ", "UTC0", 1);
  tzset();
  const auto result =
      thrown([] { vaThrow(nullptr, 141, "%1$t{%Y/%m/%d %H:%M:%S} %2$s\n", 1234567890, "behind"); });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->text, "2009/02/13 23:31:30 behind\n");
}

TEST(VaThrow, TakesFiftyArguments) {
  Texts texts(50);
  std::string format;
  std::string expected;
  for (size_t i = 0; i < texts.size(); ++i) {
    texts[i] = "argument " + std::to_string(i);
    format.append("%").append(std::to_string(texts.size() - i)).append("$s,");
    expected.insert(0, texts[i] + ',');
  }
  const auto throwAll = [&]<size_t... i>(std::index_sequence<i...>) {
    vaThrow(nullptr, 1, format.c_str(), texts[i].c_str()...);
  };
  const auto result = thrown([&] { throwAll(std::make_index_sequence<50>()); });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->text, expected);
  EXPECT_EQ(result->arguments, texts);
}

TEST(VaThrow, TakesTextsOfAnyLength) {
  const std::string text(1000000, 'x');
  const auto result = thrown([&] { vaThrow(nullptr, 1, "%1$s", text.c_str()); });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->text, text);
}

TEST(EhThrow, HandsARecordOver) {
  const auto result = thrown([] {
    auto *record = static_cast<ExErrorMsg *>(mg_calloc(1, sizeof(ExErrorMsg)));
    record->type_name = mg_strdup("Test::ExUnknown");
    record->default_msg = mg_strdup("Nobody knows.");
    record->time_stamp = 12;
    eh_throw(record->type_name, record);
  });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->typeName, "Test::ExUnknown");
  EXPECT_EQ(result->text, "Nobody knows.");
  EXPECT_EQ(result->timeStamp, 12);
}

TEST(EhThrow, KeepsWhatARecordHasOfItsOwn) {
  test::registerTypes();
  lookAtRecord(
      [] {
        inFrame([] { eh_throw("Test::ExWilted", newWilted()); },
                [](EhFrame *frame) { eh_rethrow(frame); });
      },
      [](void *exception) {
        const auto *record = static_cast<test::ExWilted *>(exception);
        EXPECT_STREQ(record->base.type_name, "Test::ExWilted");
        EXPECT_STREQ(record->plant, "rose");
        EXPECT_EQ(record->days, -3);
        ASSERT_EQ(record->remedies.length, 2U);
        EXPECT_STREQ(record->remedies.buffer[1], "shade");
      });
}

TEST(EhThrow, TakesRecordsThatAreTooSmallForAMessage) {
  lookAtRecord(
      [] {
        auto *record = static_cast<ExSmall *>(mg_malloc(sizeof(ExSmall)));
        *record = {const_cast<char *>("Test::ExNobodys"), 7};
        eh_throw(record->type_name, record);
      },
      [](void *exception) { expectSmall(exception, "Test::ExNobodys"); });
}

TEST(EhThrow, TakesRecordsOfTypesWithoutAMessage) {
  static const TypeCodeMember members[] = {{"type_name", TC_string}, {"code", TC_long}};
  static const TypeCodeRecord type[1] = {
      {"Test::ExSmall", TYPE_KIND_EXCEPTION, sizeof(ExSmall), nullptr, members, 2, nullptr}};
  static const TypeCode types[] = {type};
  static const TypeRepository repository = {nullptr, types, 1};
  adr_type_init(&repository);
  lookAtRecord([] { eh_throw("Test::ExSmall", generic_create(type, "Test::ExSmall", 7)); },
               [](void *exception) { expectSmall(exception, "Test::ExSmall"); });
}

TEST(EhThrow, EndsTheProcessWithARecordsMessageWithoutAFrame) {
  test::registerTypes();
  const std::string words = test::lastWords([] { eh_throw("Test::ExWilted", newWilted()); });
  EXPECT_NE(words.find("Wilted."), std::string::npos) << words;
}

TEST(Environments, ReceiveATextInPlaceOfWhatIsThere) {
  const auto result = raised();
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->typeName, "ExErrorMsg");
  EXPECT_EQ(result->catalog, std::nullopt);
  EXPECT_EQ(result->text, "rose has -1");
  EXPECT_EQ(result->arguments, (Texts{"-1", "rose"}));
}

TEST(Environments, ReceiveATextWithoutThrowingIt) {
  Environment environment{};
  inFrame([&] { vaRaiseException(&environment, 0, -1, "Marshalling error (%1$d)", 3); },
          [](EhFrame *frame) {
            ADD_FAILURE() << test::messageIn(frame);
            eh_catch_all(frame);
            eh_pop_try(frame);
          });
  ASSERT_NE(environment.exception, nullptr);
  const auto *record = static_cast<ExErrorMsg *>(environment.exception);
  expectMessage(record, nullptr, record->emsg.buffer[0].message_id, "Marshalling error (%1$d)");
  EXPECT_EQ(test::takenFrom(environment)->text, "Marshalling error (3)");
}

TEST(Environments, AreEmptyAfterTheirExceptionWasThrown) {
  Environment environment{};
  vaRaiseException(&environment, 0, -1, "wilted");
  const auto result = test::takenFrom(environment);
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->text, "wilted");
  EXPECT_EQ(environment.exception, nullptr);
  for (const uintptr_t word : environment.reserved) {
    EXPECT_EQ(word, 0U);
  }
}

TEST(Environments, CanBeMissingWhereTheExceptionShallBeThrown) {
  const auto result = thrown([] { vaRaiseException(nullptr, 0, -1, "%1$s wilted", "rose"); });
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->typeName, "ExErrorMsg");
  EXPECT_EQ(result->text, "rose wilted");
}

TEST(Environments, EndTheProcessWithTheirMessageWhenTheyAreThrownWithoutAFrame) {
  const std::string words = test::lastWords([] {
    Environment environment{};
    vaRaiseException(&environment, 0, -1, "no water");
    ev_to_exception(&environment);
  });
  EXPECT_NE(words.find("no water"), std::string::npos) << words;
}
