// Exception records, and throwing them.
#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "framework/records.h"
#include "support/exceptions.h"
#include "support/frames.h"

using test::argumentsOf;
using test::makeRecord;
using test::Message;
using test::messageOf;
using test::RecordPtr;
using test::Strings;

namespace {

constexpr const char *typeName = "NEX_Sprig2::ExSegmentLocked";
constexpr const char *deferred = "NEX_Sprig2::ExDistributionDeferred";

template <typename... Arguments> RecordPtr make(const char *text, Arguments... arguments) {
  return makeRecord(typeName, sizeof(ExErrorMsg), "catalog", 7, text, arguments...);
}

template <typename... Arguments> Strings argumentsFor(const char *text, Arguments... arguments) {
  return argumentsOf(*make(text, arguments...));
}

template <typename... Arguments>
Strings argumentsWithErrno(int error, const char *text, Arguments... arguments) {
  errno = error;
  return argumentsFor(text, arguments...);
}

// A text with as many conversions as there are numbers, and the numbers as its arguments.
template <uint32_t... numbers>
Strings countedArguments(std::integer_sequence<uint32_t, numbers...>) {
  std::string text;
  for (size_t i = 1; i <= sizeof...(numbers); ++i) {
    text.append("%").append(std::to_string(i)).append("$u ");
  }
  return argumentsFor(text.c_str(), numbers...);
}

template <uint32_t count> void expectCountedArguments() {
  Strings expected;
  expected.reserve(count);
  for (uint32_t n = 0; n < count; ++n) {
    expected.push_back(std::to_string(n));
  }
  EXPECT_EQ(countedArguments(std::make_integer_sequence<uint32_t, count>()), expected);
}

// So that the next blocks of these sizes are not zero by chance.
void soilTheHeap() {
  std::array<void *, 40> blocks{};
  for (size_t i = 0; i < blocks.size(); ++i) {
    blocks[i] = mg_malloc(8 * i + 8);
    memset(blocks[i], 0xff, 8 * i + 8);
  }
  std::for_each(blocks.begin(), blocks.end(), mg_free);
}

void expectIllegal(const std::string &text) {
  const RecordPtr record = make(text.c_str(), "argument", "argument");
  const Message expected{{}, "Format has illegal types (%1$s)", 0, {text}};
  EXPECT_EQ(messageOf(*record), expected);
  EXPECT_STREQ(record->type_name, typeName);
  EXPECT_EQ(test::shown(*record), "Format has illegal types (" + text + ")");
}

// A record of a type of one's own, with much behind its base.
struct LargeRecord {
  ExErrorMsg base;
  std::array<unsigned char, 200> tail;
};

// A copy of the record that a call is to throw. What it points to is gone.
template <typename Thrown, typename Body> std::optional<Thrown> recordThrownBy(const Body &body) {
  std::optional<Thrown> record;
  test::inFrame(body, [&](EhFrame *frame) {
    EXPECT_TRUE(eh_catch_all(frame));
    record = *static_cast<const Thrown *>(eh_current_exception(frame));
    eh_pop_try(frame);
  });
  return record;
}

int releaseCount = 0;
void countRelease(void *block) {
  ++releaseCount;
  mg_free(block);
}

} // namespace

TEST(ExceptionRecord, HasTheMembersOfItsTypeAndOneMessage) {
  soilTheHeap();
  const RecordPtr record = makeRecord(typeName, sizeof(ExErrorMsg), Sprig2Catalog[0], 12,
                                      Sprig2Catalog[12], "/some/file", 13);
  EXPECT_STREQ(record->type_name, typeName);
  EXPECT_EQ(record->catalog, nullptr);
  EXPECT_EQ(record->key, 0);
  EXPECT_STREQ(record->default_msg, "%7$M");
  EXPECT_EQ(record->msg_context.maximum, 0U);
  EXPECT_EQ(record->msg_context.length, 0U);
  EXPECT_EQ(record->msg_context.buffer, nullptr);
  const Message expected{"Sprig2Catalog", Sprig2Catalog[12], 12, {"/some/file", "13"}};
  EXPECT_EQ(messageOf(*record), expected);
}

TEST(ExceptionRecord, IsShownAsItsMessage) {
  const RecordPtr record = make("Cannot create %1$s: %2$d.\n", "it", 5);
  EXPECT_EQ(test::shown(*record), "Cannot create it: 5.\n");
}

TEST(ExceptionRecord, HasCopiesOfAllTexts) {
  char type[] = "NEX_Sprig2::ExSendError";
  char catalog[] = "catalog";
  char text[] = "text %1$s";
  char argument[] = "argument";
  const RecordPtr record = makeRecord(type, sizeof(ExErrorMsg), catalog, 1, text, argument);
  for (char *given : {type, catalog, text, argument}) {
    memset(given, 'x', strlen(given));
  }
  EXPECT_STREQ(record->type_name, "NEX_Sprig2::ExSendError");
  EXPECT_EQ(messageOf(*record), (Message{"catalog", "text %1$s", 1, {"argument"}}));
}

TEST(ExceptionRecord, MayHaveNoCatalog) {
  const RecordPtr record = makeRecord(typeName, sizeof(ExErrorMsg), nullptr, 5, "text");
  EXPECT_EQ(messageOf(*record), (Message{{}, "text", 5, {}}));
}

TEST(ExceptionRecord, TakesEmptyTextsAndAnyNumberAsTheyAre) {
  for (const int32_t id : {0, -1, INT32_MIN, INT32_MAX, 211}) {
    const RecordPtr record = makeRecord("", sizeof(ExErrorMsg), "", id, "");
    EXPECT_STREQ(record->type_name, "");
    EXPECT_EQ(messageOf(*record), (Message{"", "", id, {}}));
  }
}

TEST(ExceptionRecord, IsStampedWithTheTimeOfItsMaking) {
  const time_t before = time(nullptr);
  const RecordPtr record = make("text");
  EXPECT_GE(record->time_stamp, before);
  EXPECT_LE(record->time_stamp, time(nullptr));
}

TEST(ExceptionRecord, IsZeroBehindItsBase) {
  for (const size_t size :
       {sizeof(ExErrorMsg), sizeof(ExDistributionDeferred), sizeof(LargeRecord)}) {
    soilTheHeap();
    const RecordPtr record = makeRecord(deferred, size, "catalog", 1, "text");
    auto *bytes = reinterpret_cast<unsigned char *>(record.get());
    EXPECT_TRUE(std::all_of(bytes + sizeof(ExErrorMsg), bytes + size,
                            [](unsigned char byte) { return byte == 0; }));
    memset(bytes + sizeof(ExErrorMsg), 0xff, size - sizeof(ExErrorMsg));
    EXPECT_EQ(messageOf(*record), (Message{"catalog", "text", 1, {}}));
  }
}

TEST(ExceptionRecord, IsNeverSmallerThanItsBase) {
  for (const size_t size : {0, 1, 43, 44, 48}) {
    soilTheHeap();
    const RecordPtr record = makeRecord(typeName, size, "catalog", 1, "%1$s", "argument");
    EXPECT_STREQ(record->type_name, typeName);
    EXPECT_EQ(messageOf(*record), (Message{"catalog", "%1$s", 1, {"argument"}}));
  }
}

TEST(ExceptionRecord, CanBeThrown) {
  ExErrorMsg *record =
      makeRecord(typeName, sizeof(ExErrorMsg), "catalog", 3, "%1$s", "argument").release();
  const auto thrown = test::thrown([&] { eh_throw(typeName, record); });
  ASSERT_TRUE(thrown);
  EXPECT_EQ(thrown->typeName, typeName);
  EXPECT_EQ(thrown->id, 3);
  EXPECT_EQ(thrown->text, "argument");
}

TEST(ExceptionArguments, AreNoneWhereTheTextHasNoConversion) {
  for (const char *text : {"", "text\n", "%%", "100%% of %%1$s", "$1 1$s $"}) {
    EXPECT_EQ(argumentsFor(text, "unused"), Strings{}) << text;
  }
}

TEST(ExceptionArguments, AreUnsignedDecimalsWhateverTheConversionOfTheNumber) {
  const std::pair<int32_t, const char *> numbers[] = {
      {0, "0"},           {1, "1"},
      {-1, "4294967295"}, {INT32_MIN, "2147483648"},
      {8, "8"},           {INT32_MAX, "2147483647"},
      {255, "255"},       {static_cast<int32_t>(0xdeadbeef), "3735928559"},
  };
  for (const char letter : std::string("duoxX")) {
    const std::string text = std::string("%1$") + letter;
    for (const auto &[number, expected] : numbers) {
      EXPECT_EQ(argumentsFor(text.c_str(), number), Strings{expected}) << text;
    }
  }
}

TEST(ExceptionArguments, AreShownAsTheyAreKept) {
  EXPECT_EQ(test::shown(*make("%1$d %2$X %3$s\n", -1, 255, "%1$s")), "4294967295 255 %1$s\n");
}

TEST(ExceptionArguments, AreTextsAsTheyAre) {
  const std::string longText(100000, 'x');
  for (const char *argument : {"", "text", "\xff\x01\n", "100% %1$s %n", "$errno ", " $errno",
                               "$errn", "$ERRNO", "errno", "$$errno", longText.c_str()}) {
    EXPECT_EQ(argumentsWithErrno(ENOENT, "%1$s", argument), Strings{argument});
  }
}

TEST(ExceptionArguments, HaveANameForNoTextAtAll) {
  const char *none = nullptr;
  EXPECT_EQ(argumentsFor("%1$s %2$s %3$s", none, "text", none),
            (Strings{"(null)", "text", "(null)"}));
}

TEST(ExceptionArguments, AreTakenInTheOrderOfTheText) {
  EXPECT_EQ(argumentsFor("%3$s %1$d %2$s", "first", 2, "third"), (Strings{"first", "2", "third"}));
  EXPECT_EQ(argumentsFor("%1$s %1$s %9$d %0$d", "a", "b", 3, 4), (Strings{"a", "b", "3", "4"}));
  EXPECT_EQ(argumentsFor(Sprig2Catalog[60], 3, "target", "id"), (Strings{"3", "target", "id"}));
  EXPECT_EQ(argumentsFor(Sprig2Catalog[61], 3, "id", "target"), (Strings{"3", "id", "target"}));
}

TEST(ExceptionArguments, MayStandAtAnythingThatLooksLikeAPosition) {
  for (const char *text : {"%$s", "%.$s", "%1.2$s", "%..$s", "%0$s", "%12345678901234567890$s",
                           "%%%1$s", "%1$s%%", "%1$ss", "%1$s$", "a%1$sb"}) {
    EXPECT_EQ(argumentsFor(text, "argument"), Strings{"argument"}) << text;
  }
  EXPECT_EQ(argumentsFor("%$d%1.2$s%$u", -1, "text", 5), (Strings{"4294967295", "text", "5"}));
}

TEST(ExceptionArguments, AreNotConsumedByPercentSigns) {
  EXPECT_EQ(argumentsFor(Sprig2Catalog[145], 1000, 50), (Strings{"1000", "50"}));
  EXPECT_EQ(argumentsFor("%%%%%1$s%%%2$s%%", "a", "b"), (Strings{"a", "b"}));
}

TEST(ExceptionArguments, MayBeAsManyAsOneLikes) {
  [&]<uint32_t... counts>(std::integer_sequence<uint32_t, counts...>) {
    (expectCountedArguments<counts>(), ...);
  }
  (std::integer_sequence<uint32_t, 0, 1, 2, 9, 10, 11, 19, 20, 21, 29, 30, 31, 35, 100>());
}

TEST(ErrnoArgument, IsTheSystemsTextForTheError) {
  for (const int error : {0, ENOENT, EACCES, ENOSPC, EHWPOISON}) {
    EXPECT_EQ(argumentsWithErrno(error, "%1$s", "$errno"), Strings{strerror(error)});
  }
}

TEST(ErrnoArgument, IsTheNumberOfAnErrorThatTheSystemDoesNotKnow) {
  for (const int error : {41, 58, EHWPOISON + 1, 5000, -1, INT_MAX, INT_MIN}) {
    EXPECT_EQ(argumentsWithErrno(error, "%1$s", "$errno"),
              Strings{"errno=" + std::to_string(error)});
  }
}

TEST(ErrnoArgument, IsReadBeforeAnythingElseChangesErrno) {
  const std::string longText(1 << 20, 'x');
  const char *text = "%1$s %2$d %3$s %4$s %5$s %6$s %7$s %8$s %9$s %10$s %11$s %12$s";
  const char *error = "$errno";
  const Strings arguments =
      argumentsWithErrno(EACCES, text, error, 2, longText.c_str(), error, error, error, error,
                         error, error, error, error, error);
  EXPECT_EQ(arguments[0], strerror(EACCES));
  EXPECT_EQ(arguments[2], longText);
  EXPECT_EQ(std::count(arguments.begin(), arguments.end(), strerror(EACCES)), 10);
}

TEST(ErrnoArgument, IsOnlyReplacedWhereTextIsWanted) {
  errno = ENOENT;
  const RecordPtr record = makeRecord("$errno", sizeof(ExErrorMsg), "$errno", 1, "$errno");
  EXPECT_STREQ(record->type_name, "$errno");
  EXPECT_EQ(messageOf(*record), (Message{"$errno", "$errno", 1, {}}));
}

TEST(IllegalText, IsOneWithAConversionThatHasNoPosition) {
  expectIllegal(Sprig2Catalog[116]);
  expectIllegal(Sprig2Catalog[117]);
  for (int character = 1; character <= UCHAR_MAX; ++character) {
    if (strchr("%0123456789.", character) == nullptr) {
      expectIllegal(std::string("%") + static_cast<char>(character));
    }
  }
}

TEST(IllegalText, IsOneWithAConversionOfAnotherKind) {
  expectIllegal(Sprig2Catalog[141]);
  for (int character = 1; character <= UCHAR_MAX; ++character) {
    if (strchr("duoxXs", character) == nullptr) {
      expectIllegal(std::string("%1$") + static_cast<char>(character) + "s");
    }
  }
}

TEST(IllegalText, IsOneWithFlagsWidthsAndSizes) {
  for (const char *text : {"%-1$d", "%+1$d", "% 1$d", "%#1$x", "%1$5d", "%1$-5d", "%1$.3s", "%1$ld",
                           "%1$hd", "%*1$d", "%1$*2$d", "% $s", "%1 $s", "%1$ s", "%1$$s"}) {
    expectIllegal(text);
  }
}

TEST(IllegalText, IsOneThatEndsInAConversion) {
  for (const char *text : {"%", "100 %", "%1", "%1.", "%$", "%1$", "%%%", "%1%", "%1$%"}) {
    expectIllegal(text);
  }
}

TEST(IllegalText, IsRefusedWholeWhateverStandsBeforeIt) {
  for (const char *text : {"%1$s%d", "%1$s %2$s %", "%1$s %2$s %3$f %4$s"}) {
    expectIllegal(text);
  }
}

TEST(VaMThrow, ThrowsARecordOfTheTypeWithTheMessage) {
  const time_t before = time(nullptr);
  const auto thrown = test::thrown(
      [] { vaMThrow(typeName, Sprig2Catalog[0], 3, Sprig2Catalog[3], "segment", "1.0"); });
  ASSERT_TRUE(thrown);
  EXPECT_EQ(thrown->typeName, typeName);
  EXPECT_EQ(thrown->catalog, "Sprig2Catalog");
  EXPECT_EQ(thrown->id, 3);
  EXPECT_EQ(thrown->defaultText, Sprig2Catalog[3]);
  EXPECT_EQ(thrown->arguments, (Strings{"segment", "1.0"}));
  EXPECT_EQ(thrown->text,
            "The specified segment ID (segment) with version (1.0) is locked and cannot be "
            "removed.\n");
  EXPECT_GE(thrown->timeStamp, before);
  EXPECT_LE(thrown->timeStamp, time(nullptr));
}

TEST(VaMThrow, ThrowsEveryTypeAndThoseOfOthers) {
  sprig_init();
  Strings names{"Other::Exception", "ExErrorMsg", "x", ""};
  names.reserve(names.size() + test::exceptionTypes().size());
  for (const test::ExceptionType &type : test::exceptionTypes()) {
    names.push_back(type.name);
  }
  for (const std::string &name : names) {
    const auto thrown =
        test::thrown([&] { vaMThrow(name.c_str(), nullptr, 0, "%1$s: %2$d", "text", -1); });
    ASSERT_TRUE(thrown) << name;
    EXPECT_EQ(thrown->typeName, name);
    EXPECT_EQ(thrown->catalog, std::nullopt);
    EXPECT_EQ(thrown->text, "text: 4294967295");
  }
}

TEST(VaMThrow, ThrowsARecordThatHasRoomForEveryType) {
  soilTheHeap();
  const auto record =
      recordThrownBy<ExDistributionDeferred>([] { vaMThrow(deferred, nullptr, 0, "text"); });
  ASSERT_TRUE(record);
  EXPECT_EQ(record->defer_time, 0);
}

TEST(VaMThrow, SeesTheErrnoOfItsCaller) {
  const auto thrown = test::thrown([] {
    errno = ENOENT;
    vaMThrow(typeName, Sprig2Catalog[0], 11, Sprig2Catalog[11], "$errno");
  });
  ASSERT_TRUE(thrown);
  EXPECT_EQ(thrown->arguments, Strings{strerror(ENOENT)});
}

TEST(VaMThrow, ShowsAnIllegalText) {
  const auto thrown =
      test::thrown([] { vaMThrow(typeName, Sprig2Catalog[0], 116, Sprig2Catalog[116], 3); });
  ASSERT_TRUE(thrown);
  EXPECT_EQ(thrown->typeName, typeName);
  EXPECT_EQ(thrown->catalog, std::nullopt);
  EXPECT_EQ(thrown->id, 0);
  EXPECT_EQ(thrown->arguments, Strings{Sprig2Catalog[116]});
}

TEST(VaMThrow, HasWhatWasDelegatedOnTheWayReleased) {
  releaseCount = 0;
  EXPECT_TRUE(test::thrown([] {
    ex_delegate(mg_malloc(1), countRelease);
    test::inFrame(
        [] {
          ex_delegate(mg_malloc(1), countRelease);
          vaMThrow(typeName, nullptr, 0, "text");
        },
        [](EhFrame *frame) {
          EXPECT_EQ(releaseCount, 0);
          eh_again(frame);
          eh_pop_try(frame);
        });
  }));
  EXPECT_EQ(releaseCount, 2);
}

TEST(VaMThrowChild, CarriesTheTemplatesOwnMembers) {
  soilTheHeap();
  for (const int32_t deferTime : {0, 1, -1, INT32_MAX}) {
    ExDistributionDeferred pattern{};
    pattern.defer_time = deferTime;
    const auto record = recordThrownBy<ExDistributionDeferred>(
        [&] { vaMThrowChild(deferred, &pattern, sizeof pattern, nullptr, 0, "text"); });
    ASSERT_TRUE(record);
    EXPECT_EQ(record->defer_time, deferTime);
  }
}

TEST(VaMThrowChild, TakesNothingElseFromTheTemplate) {
  ExDistributionDeferred pattern;
  memset(&pattern, 0xee, sizeof pattern);
  const auto bytes = [&] {
    return std::string(reinterpret_cast<char *>(&pattern), sizeof pattern);
  };
  const std::string before = bytes();
  const auto thrown = test::thrown([&] {
    vaMThrowChild(deferred, &pattern, sizeof pattern, Sprig2Catalog[0], 39, Sprig2Catalog[39], 4,
                  3);
  });
  ASSERT_TRUE(thrown);
  EXPECT_EQ(thrown->typeName, deferred);
  EXPECT_EQ(thrown->catalog, "Sprig2Catalog");
  EXPECT_EQ(thrown->id, 39);
  EXPECT_EQ(thrown->arguments, (Strings{"4", "3"}));
  EXPECT_EQ(bytes(), before) << "the template is the caller's";
}

TEST(VaMThrowChild, CopiesNothingForARecordThatIsOnlyABase) {
  // Each template is as large as the record, so that nothing may be read behind its base.
  for (const size_t size : {size_t{0}, size_t{1}, size_t{43}, sizeof(ExErrorMsg)}) {
    void *pattern = mg_malloc(sizeof(ExErrorMsg));
    memset(pattern, 0xee, sizeof(ExErrorMsg));
    const auto thrown = test::thrown(
        [&] { vaMThrowChild(typeName, pattern, size, "catalog", 2, "%1$s", "argument"); });
    mg_free(pattern);
    ASSERT_TRUE(thrown) << size;
    EXPECT_EQ(thrown->typeName, typeName);
    EXPECT_EQ(thrown->arguments, Strings{"argument"});
  }
}

TEST(VaMThrowChild, CarriesAllMembersOfALargeRecord) {
  LargeRecord pattern{};
  for (size_t i = 0; i < pattern.tail.size(); ++i) {
    pattern.tail[i] = static_cast<unsigned char>(i + 1);
  }
  const auto record = recordThrownBy<LargeRecord>(
      [&] { vaMThrowChild("Other::Large", &pattern, sizeof pattern, nullptr, 0, "text"); });
  ASSERT_TRUE(record);
  EXPECT_EQ(record->tail, pattern.tail);
}

TEST(VaMThrowChild, SeesTheErrnoOfItsCaller) {
  const ExDistributionDeferred pattern{};
  const auto thrown = test::thrown([&] {
    errno = 5000;
    vaMThrowChild(deferred, &pattern, sizeof pattern, nullptr, 0, "%1$s", "$errno");
  });
  ASSERT_TRUE(thrown);
  EXPECT_EQ(thrown->arguments, Strings{"errno=5000"});
}
