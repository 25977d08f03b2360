// Messages as text: arguments, the texts that a record holds, and translations.
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/framework.h>

#include "support/process.h"
#include "support/temporary_directory.h"
#include "support/values.h"

namespace {

using Texts = std::vector<const char *>;

MessageEntry entryOf(const char *text, const Texts &arguments = {}, const char *catalog = nullptr,
                     int32_t id = 0) {
  StringList list{};
  for (const char *argument : arguments) {
    char *copy = mg_strdup(argument);
    seq_add(&list, &copy, sizeof copy);
  }
  return {mg_strdup(catalog), mg_strdup(text), id, test::anyOf(TC_NEX_Types_StringList, list)};
}

// The message of a record with these texts.
std::string shown(const char *defaultMessage, std::initializer_list<MessageEntry> entries,
                  const char *catalog = nullptr, int32_t key = 0) {
  const test::Value value(TC_NEX_Sprig2_ExInvalidCall);
  auto &record = value.as<ExErrorMsg>();
  record.type_name = mg_strdup("NEX_Sprig2::ExInvalidCall");
  record.catalog = mg_strdup(catalog);
  record.key = key;
  record.default_msg = mg_strdup(defaultMessage);
  record.emsg = test::listOf<XOpenMessage>(entries);
  char *text = def_ex_bind(&record);
  EXPECT_NE(text, nullptr);
  std::string result = text == nullptr ? "" : text;
  mg_free(text);
  return result;
}

std::string shown(const char *text, const Texts &arguments) {
  return shown("%7$M", {entryOf(text, arguments)});
}

// Shows times in a zone.
void setZone(const char *zone) {
  setenv("TZ", zone, 1);
  tzset();
}

// Catalogs in a directory of their own, which children look into.
class Translation : public test::DirectoryTest {
protected:
  // Compiles texts ("1 text", one on a line) into the catalog of a language.
  void translate(const char *language, const char *catalog, const std::string &texts) const {
    const std::string folder = directory / language;
    const std::string source = folder + ".msg";
    test::writeFile(source, "$set 1\n" + texts);
    ASSERT_EQ(system(("mkdir -p " + folder).c_str()), 0);
    ASSERT_EQ(system(("gencat " + folder + '/' + catalog + ".cat " + source).c_str()), 0);
  }

  // Runs a child that prefers a language; null leaves the choice open.
  int in(const char *language, const std::function<int()> &body) const {
    test::Child child([&] {
      setenv("NLSPATH", (directory / "%L/%N.cat").c_str(), 1);
      unsetenv("LC_ALL");
      for (const char *variable : {"LC_MESSAGES", "LANG"}) {
        language == nullptr ? unsetenv(variable) : setenv(variable, language, 1);
      }
      return body();
    });
    return child.wait();
  }
};

const char *const german = "1 %2$s hat %1$s\n"
                           "2 %2$s (%3$d%%), %1$s\n"
                           "3 Fehler: %7$M!\n"
                           "4 kaputt: %9$s %$ %1$\n";

std::string hasText() { return shown("%7$M", {entryOf("%1$s: %2$s", {"7", "rose"}, "Garden", 1)}); }

} // namespace

TEST(Message, IsTheTextOfItsRecord) {
  EXPECT_EQ(shown("no water\n", {}), "no water\n");
  EXPECT_EQ(shown("", Texts{}), "");
}

TEST(Message, HasItsArgumentsByPosition) {
  EXPECT_EQ(shown("%2$s in %1$s", {"bed", "rose"}), "rose in bed");
  EXPECT_EQ(shown("%1$s%1$s-%2$s-%1$s", {"a", "b"}), "aa-b-a");
  EXPECT_EQ(shown("%10$s %1$s", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10"}), "10 1");
}

TEST(Message, ShowsNumbersAsTheyWereKept) {
  EXPECT_EQ(shown("%1$d %2$u %3$d", {"-1", "4294967295", "4294967295"}),
            "-1 4294967295 4294967295");
}

TEST(Message, HasPercentSigns) {
  EXPECT_EQ(shown("%%", Texts{}), "%");
  EXPECT_EQ(shown("%1$d%% of %%%2$s%%%%", {"50", "all"}), "50% of %all%%");
}

TEST(Message, DoesNotTakeArgumentsForFormats) {
  EXPECT_EQ(shown("%1$s %2$s", {"%2$s %% %7$M %n", "%1$t{%Y}"}), "%2$s %% %7$M %n %1$t{%Y}");
}

TEST(Message, KeepsEverythingAroundAnArgumentThatIsMissing) {
  for (const Texts &arguments : {Texts{}, Texts{"one"}, Texts{"one", nullptr, nullptr}}) {
    const std::string text = shown("before %2$s %3$d after", arguments);
    EXPECT_EQ(text.find("before "), 0U) << text;
    EXPECT_EQ(text.find(" after"), text.size() - 6) << text;
  }
}

TEST(Message, NeedsNoListOfArguments) {
  MessageEntry entry = entryOf("no %1$s arguments");
  mg_free(entry.arguments.value);
  entry.arguments = {};
  const std::string text = shown("%7$M", {entry});
  EXPECT_EQ(text.find("no "), 0U) << text;
}

TEST(Message, IgnoresArgumentsThatAreNoTexts) {
  MessageEntry entry = entryOf("no %1$s arguments");
  mg_free(entry.arguments.value);
  entry.arguments = test::anyOf(TC_long, int32_t{1});
  const std::string text = shown("%7$M", {entry});
  EXPECT_EQ(text.find("no "), 0U) << text;
}

TEST(Message, HasTheTextsOfARecordOneBehindTheOther) {
  EXPECT_EQ(shown("%7$M", {entryOf("first %1$s\n", {"rose"}), entryOf("second %1$s\n", {"bed"}),
                           entryOf("third\n")}),
            "first rose\nsecond bed\nthird\n");
}

TEST(Message, IsEmptyWithoutTexts) { EXPECT_EQ(shown("%7$M", {}), ""); }

TEST(Message, MaySurroundTheTexts) {
  EXPECT_EQ(shown("Error: %7$M (%7$M) 100%%", {entryOf("no %1$s", {"water"})}),
            "Error: no water (no water) 100%");
}

TEST(Message, MayDoWithoutTheTexts) {
  EXPECT_EQ(shown("no water", {entryOf("not shown")}), "no water");
}

TEST(Message, IsThereEvenWhereItsRecordHasNone) {
  shown(nullptr, {entryOf("text")});
  shown(nullptr, {});
  shown("%7$M", {entryOf(nullptr)});
}

TEST(Message, HasTimesInLocalTime) {
  setZone("UTC0");
  EXPECT_EQ(shown("%1$t{%Y/%m/%d %H:%M:%S}\n", {"1234567890"}), "2009/02/13 23:31:30\n");
  setZone("EST5EDT");
  EXPECT_EQ(shown("%1$t{%Y/%m/%d %H:%M:%S}\n", {"1234567890"}), "2009/02/13 18:31:30\n");
}

TEST(Message, HasTimesInAnyFormatAndPlace) {
  setZone("UTC0");
  EXPECT_EQ(shown("%2$s: %1$t{%H}h%1$t{%M}, %3$t{%j%%}", {"1234567890", "rose", "0"}),
            "rose: 23h31, 001%");
}

TEST(Message, HasTimesBeforeTheEpoch) {
  setZone("UTC0");
  EXPECT_EQ(shown("%1$t{%Y/%m/%d}", {"-86400"}), "1969/12/31");
}

TEST(Message, SurvivesWhateverItsTextsSay) {
  const std::string longFormat = "%1$t{" + std::string(5000, 'x') + "%Y}";
  std::string manyTimes = "%1$t{";
  for (int i = 0; i < 50; ++i) {
    manyTimes.append("%c");
  }
  manyTimes.append("}");
  for (const char *text : {"%",
                           "%%%",
                           "%1",
                           "%1$",
                           "%$s",
                           "%0$s",
                           "%1$n",
                           "%n",
                           "%s",
                           "%d",
                           "%s%s%s%s",
                           "%1$*2$d",
                           "%-5$s",
                           "%99999999999999999999$s",
                           "%4294967297$s",
                           "%2147483648$s",
                           "%1$5.3s",
                           "%1$ls",
                           "%1$t",
                           "%1$t{",
                           "%1$t{%",
                           "%1$t{%}",
                           "%1$t}",
                           "%2$t{%Y}",
                           "%9$t{%Y}",
                           "%7$M",
                           "%8$M",
                           "%1$M",
                           "%1$s%",
                           "\xff%1$s\xfe",
                           longFormat.c_str(),
                           manyTimes.c_str()}) {
    SCOPED_TRACE(text);
    shown(text, {"text", nullptr, "12", "99999999999999999999", "%n"});
    shown(text, Texts{});
    shown(text, {entryOf("%7$M"), entryOf(text, {"one"})}, "Garden", 1);
  }
}

TEST(Message, HasTextsAndArgumentsOfAnyLength) {
  const std::string word(100000, 'x');
  std::string text;
  std::string expected;
  for (int i = 0; i < 10; ++i) {
    text.append("%1$s,").append(word);
    expected.append(word).append(",").append(word);
  }
  EXPECT_EQ(shown(text.c_str(), {word.c_str()}), expected);
}

TEST_F(Translation, TakesThePlaceOfTheDefaultTextWithItsArgumentsReordered) {
  translate("de_XX", "Garden", german);
  EXPECT_EQ(in("de_XX",
               [] {
                 CHILD_EXPECT(hasText() == "rose hat 7");
                 CHILD_EXPECT(shown("%7$M", {entryOf("%1$s %2$s %3$d", {"a", "b", "-5"}, "Garden",
                                                     2)}) == "b (-5%), a");
                 return 0;
               }),
            0);
}

TEST_F(Translation, IsOneOfSeveral) {
  translate("de_XX", "Garden", german);
  translate("fr_XX", "Garden", "1 %2$s a %1$s\n");
  EXPECT_EQ(in("fr_XX",
               [] {
                 CHILD_EXPECT(hasText() == "rose a 7");
                 return 0;
               }),
            0);
}

TEST_F(Translation, IsNotUsedWhereItsLanguageIsNotAskedFor) {
  translate("de_XX", "Garden", german);
  for (const char *language : {static_cast<const char *>(nullptr), "fr_XX"}) {
    EXPECT_EQ(in(language,
                 [] {
                   CHILD_EXPECT(hasText() == "7: rose");
                   return 0;
                 }),
              0);
  }
}

TEST_F(Translation, MayLackTexts) {
  translate("de_XX", "Garden", german);
  EXPECT_EQ(in("de_XX",
               [] {
                 for (const int32_t id : {0, 5, -1, 1000000}) {
                   CHILD_EXPECT(shown("%7$M", {entryOf("default %1$s", {"text"}, "Garden", id)}) ==
                                "default text");
                 }
                 CHILD_EXPECT(hasText() == "rose hat 7");
                 return 0;
               }),
            0);
}

TEST_F(Translation, IsThatOfTheCatalogThatIsNamed) {
  translate("de_XX", "Garden", german);
  translate("de_XX", "Kitchen", "1 aus der Küche: %1$s\n");
  EXPECT_EQ(in("de_XX",
               [] {
                 const auto shownFrom = [](const char *catalog) {
                   return shown("%7$M", {entryOf("%2$s %1$s", {"a", "b"}, catalog, 1)});
                 };
                 CHILD_EXPECT(shownFrom("Garden") == "b hat a");
                 CHILD_EXPECT(shownFrom("Kitchen") == "aus der Küche: a");
                 CHILD_EXPECT(shownFrom("Cellar") == "b a");
                 CHILD_EXPECT(shownFrom("") == "b a");
                 CHILD_EXPECT(shownFrom(nullptr) == "b a");
                 CHILD_EXPECT(shownFrom("Garden") == "b hat a");
                 return 0;
               }),
            0);
}

TEST_F(Translation, IsThereForTheTextAroundTheTextsToo) {
  translate("de_XX", "Garden", german);
  EXPECT_EQ(
      in("de_XX",
         [] {
           CHILD_EXPECT(shown("Error: %7$M!", {entryOf("%1$s: %2$s", {"7", "rose"}, "Garden", 1)},
                              "Garden", 3) == "Fehler: rose hat 7!");
           CHILD_EXPECT(shown("Error: %7$M!", {entryOf("text")}, "Garden", 77) == "Error: text!");
           return 0;
         }),
      0);
}

TEST_F(Translation, MayBeBroken) {
  translate("de_XX", "Garden", german);
  test::writeFile(directory / "de_XX/Kitchen.cat", std::string(1000, 'x'));
  test::writeFile(directory / "de_XX/Cellar.cat", "");
  EXPECT_EQ(in("de_XX",
               [] {
                 const std::string text = shown("%7$M", {entryOf("broken", {"rose"}, "Garden", 4)});
                 CHILD_EXPECT(text.find("kaputt: ") == 0);
                 for (const char *catalog : {"Kitchen", "Cellar"}) {
                   CHILD_EXPECT(shown("%7$M", {entryOf("%1$s", {"rose"}, catalog, 1)}) == "rose");
                 }
                 return 0;
               }),
            0);
}
