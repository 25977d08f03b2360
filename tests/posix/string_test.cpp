#include <cstring>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <sprig/pal.h>

TEST(PalString, ComparesNullFirstStringsAsGreaterAndNullSecondOnesAsLess) {
  using Compare = std::function<int(const char *, const char *)>;
  const Compare comparisons[] = {
      PalStringICmp,
      PalStringCmp,
      [](const char *a, const char *b) { return PalStringNICmp(a, b, 3); },
      [](const char *a, const char *b) { return PalStringNCmp(a, b, 3); },
  };
  for (const Compare &compare : comparisons) {
    EXPECT_EQ(compare(nullptr, nullptr), 1);
    EXPECT_EQ(compare(nullptr, "a"), 1);
    EXPECT_EQ(compare("a", nullptr), -1);
    EXPECT_EQ(compare("abc", "abc"), 0);
    EXPECT_LT(compare("abc", "abd"), 0);
    EXPECT_GT(compare("abd", "abc"), 0);
  }
}

TEST(PalString, ComparesWithAndWithoutCase) {
  EXPECT_EQ(PalStringICmp("ABC", "abc"), 0);
  EXPECT_NE(PalStringCmp("ABC", "abc"), 0);
}

TEST(PalString, ComparesNoMoreThanTheGivenCharacters) {
  EXPECT_EQ(PalStringNCmp("abcx", "abcy", 3), 0);
  EXPECT_NE(PalStringNCmp("abcx", "abcy", 4), 0);
  EXPECT_EQ(PalStringNICmp("ABCx", "abcy", 3), 0);
  EXPECT_NE(PalStringNICmp("ABCx", "abcy", 4), 0);
  EXPECT_EQ(PalStringNCmp("a", "b", 0), 0);
}

TEST(PalString, Appends) {
  char text[16] = "ab";
  EXPECT_EQ(PalStringCat(text, "cd"), text);
  EXPECT_STREQ(text, "abcd");
  EXPECT_EQ(PalStringNCat(text, "efgh", 2), text);
  EXPECT_STREQ(text, "abcdef");
  EXPECT_EQ(PalStringNCat(text, "g", 100), text);
  EXPECT_STREQ(text, "abcdefg");
}

TEST(PalString, AppendsNothingForNull) {
  char text[16] = "ab";
  EXPECT_EQ(PalStringCat(text, nullptr), text);
  EXPECT_EQ(PalStringNCat(text, nullptr, 3), text);
  EXPECT_STREQ(text, "ab");
  EXPECT_EQ(PalStringCat(nullptr, "x"), nullptr);
  EXPECT_EQ(PalStringNCat(nullptr, "x", 1), nullptr);
}

TEST(PalString, FindsCharacters) {
  const char *text = "a/b/c";
  EXPECT_EQ(PalStringChr(text, '/'), text + 1);
  EXPECT_EQ(PalStringRChr(text, '/'), text + 3);
  EXPECT_EQ(PalStringChr(text, '\0'), text + 5);
  EXPECT_EQ(PalStringChr(text, 'x'), nullptr);
  EXPECT_EQ(PalStringRChr(text, 'x'), nullptr);
  EXPECT_EQ(PalStringChr(nullptr, 'x'), nullptr);
  EXPECT_EQ(PalStringRChr(nullptr, 'x'), nullptr);
}

TEST(PalString, Copies) {
  char text[8] = "zzzzzzz";
  EXPECT_EQ(PalStringCpy(text, "abc"), text);
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(PalStringCpy(text, nullptr), text);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(PalStringCpy(nullptr, "abc"), nullptr);
}

TEST(PalString, CopiesAGivenNumberOfCharactersWithoutATerminatorWhereNoneFits) {
  char text[8] = "zzzzzzz";
  EXPECT_EQ(PalStringNCpy(text, "abcdef", 3), text);
  EXPECT_STREQ(text, "abczzzz");
  PalStringNCpy(text, "xyz", 3);
  EXPECT_STREQ(text, "xyzzzzz");
  PalStringNCpy(text, "q", 5);
  EXPECT_EQ(std::string(text, 7), std::string("q\0\0\0\0zz", 7));
}

TEST(PalString, CopiesTheEmptyStringForNullWhateverTheNumber) {
  char text[8] = "zzzzzzz";
  EXPECT_EQ(PalStringNCpy(text, nullptr, 0), text);
  EXPECT_EQ(std::string(text, 7), std::string("\0zzzzzz", 7));
  EXPECT_EQ(PalStringNCpy(nullptr, "abc", 3), nullptr);
  EXPECT_EQ(PalStringNCpy(nullptr, nullptr, 3), nullptr);
}

TEST(PalString, Duplicates) {
  const char *text = "text";
  char *copy = PalStringDup(text);
  EXPECT_STREQ(copy, "text");
  EXPECT_NE(copy, text);
  PalMemoryFree(copy);
  EXPECT_EQ(PalStringDup(nullptr), nullptr);
}

TEST(PalString, Measures) {
  EXPECT_EQ(PalStringLen("abc"), 3U);
  EXPECT_EQ(PalStringLen(""), 0U);
  EXPECT_EQ(PalStringLen(nullptr), 0U);
}

TEST(PalString, FindsStringsAndSets) {
  const char *text = "abcabc";
  EXPECT_EQ(PalStringStr(text, "ca"), text + 2);
  EXPECT_EQ(PalStringStr(text, "x"), nullptr);
  EXPECT_EQ(PalStringStr(nullptr, "x"), nullptr);
  EXPECT_EQ(PalStringStr(text, nullptr), nullptr);
  EXPECT_EQ(PalStringStrpbrk(text, "cb"), text + 1);
  EXPECT_EQ(PalStringStrpbrk(text, "x"), nullptr);
  EXPECT_EQ(PalStringStrpbrk(nullptr, "x"), nullptr);
  EXPECT_EQ(PalStringStrpbrk(text, nullptr), nullptr);
}

TEST(PalString, MeasuresRunsOutsideASet) {
  EXPECT_EQ(PalStringStrcspn("abc", "c"), 2);
  EXPECT_EQ(PalStringStrcspn("abc", nullptr), 3);
  EXPECT_EQ(PalStringStrcspn(nullptr, "c"), -1);
  EXPECT_EQ(PalStringStrcspn(nullptr, nullptr), -1);
}

TEST(PalString, MeasuresRunsInsideASet) {
  EXPECT_EQ(PalStringStrspn("aabc", "a"), 2);
  EXPECT_EQ(PalStringStrspn("abc", nullptr), 0);
  EXPECT_EQ(PalStringStrspn(nullptr, "x"), -1);
}

TEST(PalString, FormatsWithoutALimit) {
  std::string target(6000, '.');
  const std::string word(5000, 'w');
  EXPECT_EQ(PalStringSprintf(target.data(), "%s%d", word.c_str(), 42), 5002);
  EXPECT_STREQ(target.c_str(), (word + "42").c_str());
}
