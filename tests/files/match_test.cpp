// Wildcard patterns, each rule by itself, and all together against matching in its plainest form.
#include <cstdint>
#include <initializer_list>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <sprig/files.h>
#include <sprig/framework.h>

#include "support/recursive_match.h"

namespace {

using Classify = int (*)(const char *, int32_t);

// What a test takes for characters of several bytes; null for what the runtime does.
Classify classify = nullptr;

class Classification {
public:
  explicit Classification(Classify other) { classify = other; }
  ~Classification() { classify = nullptr; }
  Classification(const Classification &) = delete;
  Classification &operator=(const Classification &) = delete;
};

} // namespace

// In a program, this takes the place of the runtime's function. No byte of UTF-8 can be both a
// backslash and part of a longer character, as in the encodings that the other rules are for.
extern "C" int ulk_mbsbtype(const char *string, int32_t index) {
  static const auto ofRuntime = reinterpret_cast<Classify>(dlsym(RTLD_NEXT, "ulk_mbsbtype"));
  return classify != nullptr ? classify(string, index) : ofRuntime(string, index);
}

namespace {

template <int byteClass> int always(const char * /*string*/, int32_t /*index*/) {
  return byteClass;
}

// Two bytes to a character whose first one is 81 or more, as in some older encodings.
int pairwise(const char *string, int32_t index) {
  for (int32_t at = 0; at <= index; ++at) {
    if (static_cast<uint8_t>(string[at]) >= 0x81) {
      if (at == index || at + 1 == index) {
        return at == index ? 2 : 1;
      }
      ++at;
    }
  }
  return 0;
}

struct Row {
  const char *pattern;
  const char *text;
  int result;
  const char *reason;
};

void expectResults(std::initializer_list<Row> rows) {
  for (const Row &row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.pattern) + " against " +
                 testing::PrintToString(row.text) + ": " + row.reason);
    EXPECT_EQ(match(row.pattern, row.text), row.result);
    EXPECT_EQ(test::recursiveMatch(row.pattern, row.text), row.result) << "the plainest form";
  }
}

std::string repeated(const std::string &piece, size_t count) {
  std::string text;
  text.reserve(piece.size() * count);
  for (size_t i = 0; i < count; ++i) {
    text += piece;
  }
  return text;
}

int matched(const std::string &pattern, const std::string &text) {
  return match(pattern.c_str(), text.c_str());
}

// Random patterns and texts, held against the plainest form.
class RandomPairs {
public:
  explicit RandomPairs(uint32_t seed) : engine_(seed) {}

  void compare(int count) {
    for (int i = 0; i < count && differing_ < 5; ++i) {
      const std::string pattern = bytes("ab*?[]^-\\\xc3");
      const std::string text = bytes("aaabbb*?[]^-\\\xc3");
      const int expected = test::recursiveMatch(pattern.c_str(), text.c_str());
      const int result = matched(pattern, text);
      ++results[expected];
      differing_ += result == expected ? 0 : 1;
      EXPECT_EQ(result, expected) << testing::PrintToString(pattern) << " against "
                                  << testing::PrintToString(text);
    }
  }

  // How often each result came.
  std::map<int, int> results;

private:
  std::string bytes(const std::string &alphabet) {
    std::string result(engine_() % 9, '\0');
    for (char &byte : result) {
      byte = alphabet[engine_() % alphabet.size()];
    }
    return result;
  }

  std::mt19937 engine_;
  int differing_ = 0;
};

// All strings over an alphabet up to a length.
std::vector<std::string> stringsOver(const std::string &alphabet, size_t length) {
  std::vector<std::string> strings{""};
  for (size_t at = 0; at < strings.size() && strings[at].size() < length; ++at) {
    for (const char byte : alphabet) {
      strings.push_back(strings[at] + byte);
    }
  }
  return strings;
}

} // namespace

TEST(Match, OfNothingIsAnError) {
  for (const char *given : {"", "a", "*", "["}) {
    EXPECT_EQ(match(nullptr, given), -1);
    EXPECT_EQ(match(given, nullptr), -1);
  }
  EXPECT_EQ(match(nullptr, nullptr), -1);
}

TEST(Match, OfOrdinaryBytesIsEquality) {
  expectResults({
      {"", "", 0, "nothing on either side"},
      {"", "a", 1, "text is left over"},
      {"a", "", 1, "pattern is left over"},
      {"a", "a", 0, "the same"},
      {"a", "b", 1, "another byte"},
      {"a", "A", 1, "case counts"},
      {"a", "ab", 1, "text is left over"},
      {"ab", "a", 1, "pattern is left over"},
      {"a.toc", "a.toc", 0, "a dot is ordinary"},
      {"a.toc", "axtoc", 1, "a dot is ordinary"},
      {"a]b", "a]b", 0, "a bracket that closes nothing is ordinary"},
      {"^a-b", "^a-b", 0, "^ and - are ordinary outside of sets"},
      {"\xc3\xbc", "\xc3\xbc", 0, "bytes of longer characters are ordinary"},
      {"\xff", "\x7f", 1, "all eight bits count"},
  });
}

TEST(Match, OfAQuestionMarkIsAnyByte) {
  expectResults({
      {"?", "a", 0, "any byte"},
      {"?", "\xff", 0, "any byte"},
      {"?", ".", 0, "a dot in front is no exception"},
      {"?", "/", 0, "a slash is no exception"},
      {"?", "", 1, "not no byte"},
      {"a?c", "abc", 0, "in the middle"},
      {"??", "ab", 0, "one byte each"},
      {"?", "\xc3\xbc", 1, "not a character of two bytes"},
      {"??", "\xc3\xbc", 0, "its two bytes"},
  });
}

TEST(Match, OfAStarIsAnyBytes) {
  expectResults({
      {"*", "", 0, "none"},
      {"*", "a", 0, "one"},
      {"*", "a/.b\xff", 0, "dots and slashes are no exceptions"},
      {"*.toc", "a.toc", 0, "before more"},
      {"*.toc", "a.itc", 1, "the end differs"},
      {"*.toc", ".toc", 0, "none before more"},
      {"*.toc", "a.toc.toc", 0, "the first place is not the right one"},
      {"ver*", "version1", 0, "behind more"},
      {"ver*", "ver", 0, "none behind more"},
      {"ver*", "ve", 1, "the beginning differs"},
      {"a*c", "abbbc", 0, "in the middle"},
      {"a*c", "ac", 0, "none in the middle"},
      {"a*b*c", "aXbXbXc", 0, "several"},
      {"a*b*c", "aXcXb", 1, "in order only"},
      {"*a", "ba", 0, "up to the last byte"},
      {"*?", "a", 0, "a byte is left for what follows"},
      {"*??", "a", 1, "too few bytes for what follows"},
      {"*[b]", "ab", 0, "before a set"},
      {"*\\*", "a*", 0, "before an escaped star"},
  });
}

TEST(Match, OfAStarBeforeMoreNeedsAByte) {
  expectResults({
      {"**", "", 1, "no byte to begin at"},
      {"a**", "a", 1, "no byte to begin at"},
      {"*a**", "ba", 1, "no byte to begin at"},
      {"[a]**", "a", 1, "no byte to begin at"},
      {"*a", "", 1, "no byte to begin at"},
      {"**", "a", 0, "the last one takes it"},
      {"a**", "ab", 0, "the last one takes it"},
      {"**a", "a", 0, "none before it"},
      {"*a*", "a", 0, "a last one needs none"},
      {"a*", "a", 0, "a last one needs none"},
      {"?*", "a", 0, "a last one needs none"},
  });
}

TEST(Match, OfASetIsOneOfItsBytes) {
  expectResults({
      {"[abc]", "b", 0, "a member"},
      {"[abc]", "d", 1, "no member"},
      {"x[abc]y", "xcy", 0, "goes on behind it"},
      {"x[abc]y", "xcz", 1, "goes on behind it"},
      {"[[]", "[", 0, "an opening bracket is a member"},
      {"[*?]", "*", 0, "wildcards are members"},
      {"[*?]", "a", 1, "wildcards are members"},
      {"[\xc3\xbc]", "\xbc", 0, "bytes, not characters"},
      {"[\xc3\xbc]", "\xc3\xbc", 1, "bytes, not characters"},
      {"[]", "a", 1, "nothing is in an empty one"},
      {"[]", "]", 1, "the first bracket closes"},
      {"[]a]", "]", 1, "the first bracket closes"},
      {"[]a]", "]a]", 1, "the first bracket closes"},
      {"*[]", "a", 1, "nothing is in an empty one"},
  });
}

TEST(Match, OfARangeIsAllBetweenItsBounds) {
  expectResults({
      {"[b-d]", "c", 0, "between"},
      {"[b-d]", "d", 0, "the upper bound"},
      {"[b-d]", "a", 1, "below"},
      {"[b-d]", "e", 1, "above"},
      {"[b-d]", "-", 1, "the sign is no member"},
      {"[d-b]", "c", 1, "nothing is in a range the wrong way round"},
      {"[b-b]", "b", 0, "of one byte"},
      {"[a-cx-z]", "y", 0, "several"},
      {"[a-cx-z]", "m", 1, "several"},
      {"[a-m]*[0-9].x?", "beta7.xy", 0, "between other things"},
      {"[a-c-e]", "-", 0, "behind a range, the sign is a member"},
      {"[a-c-e]", "e", 0, "and so is the byte behind it"},
      {"[a-c-e]", "d", 1, "they are no range"},
      {"[-a]", "-", 0, "in front, the sign is a member"},
      {"[-a]", "Z", 1, "in front, the sign is a member"},
      {"[--a]", "-", 0, "the first byte and the third"},
      {"[--a]", "Z", 0, "the first byte and the third"},
      {"[--a]", "b", 1, "the first byte and the third"},
      {"[---]", "-", 0, "the first byte and the third"},
      {"[^-a]", "b", 0, "^ negates, and the sign is a member"},
      {"[^-a]", "-", 1, "^ negates, and the sign is a member"},
      {"[a-\xff]", "\x80", 0, "bytes have no sign"},
      {"[a-\xff]", "Z", 1, "bytes have no sign"},
      {"[\x7f-\x80]", "\x7f", 0, "bytes have no sign"},
      {"[\x7f-\x80]", "\x80", 0, "bytes have no sign"},
      {"[\x80-\xff]", "\xc3", 0, "bytes have no sign"},
      {"[\x80-\xff]", "a", 1, "bytes have no sign"},
      {"[\xff-\x01]", "a", 1, "bytes have no sign"},
      {"[\x80-a]", "\xff", 1, "bytes have no sign"},
      {"[\x01-\xff]", "\x01", 0, "all there are"},
  });
}

TEST(Match, OfARangeMayHaveAnyUpperBound) {
  expectResults({
      {"[A-]]", "]", 0, "a bracket is a bound, the next one closes"},
      {"[A-]]", "Z", 0, "a bracket is a bound, the next one closes"},
      {"[A-]]", "-", 1, "a bracket is a bound, the next one closes"},
      {"[A-]]", "^", 1, "a bracket is a bound, the next one closes"},
      {"[a-]", "a", -2, "a bracket is a bound, and none closes"},
      {"[a-]", "-", -2, "a bracket is a bound, and none closes"},
      {"[A-\\]", "Z", 0, "a backslash is a bound and escapes nothing"},
      {"[A-\\]", "\\", 0, "a backslash is a bound and escapes nothing"},
      {"[A-\\]", "]", 1, "a backslash is a bound and escapes nothing"},
      {"[A-\\]]", "Z]", 0, "a backslash is a bound and escapes nothing"},
      {"[A-^]", "^", 0, "so is ^"},
      {"[A-[]", "[", 0, "so is an opening bracket"},
      {"[!-*]", "'", 0, "so is a star"},
      {"[+--]", ",", 0, "so is the sign itself"},
  });
}

TEST(Match, OfANegatedSetIsAnyOtherByte) {
  expectResults({
      {"[^b]x", "ax", 0, "another byte"},
      {"[^b]x", "bx", 1, "a member"},
      {"[^a-y]", "m", 1, "inside of the range"},
      {"[^^]", "^", 1, "a second ^ is a member"},
      {"[^^]", "a", 0, "a second ^ is a member"},
      {"[a^]", "^", 0, "only the first byte negates"},
      {"[a^]", "b", 1, "only the first byte negates"},
      {"[^]", "a", 0, "anything is not in an empty one"},
      {"[^]", "]", 0, "anything is not in an empty one"},
      {"[^]", "", 1, "but not no byte"},
      {"[^]a]", "ba]", 0, "the first bracket closes"},
      {"[!a]", "!", 0, "an exclamation mark is a member"},
  });
}

TEST(Match, OfASetThatIsNotClosedIsAnError) {
  expectResults({
      {"[", "a", -2, "nothing behind the bracket"},
      {"[^", "a", -2, "nothing behind the negation"},
      {"[a", "a", -2, "a member, and the end"},
      {"[a", "b", -2, "whatever the text holds"},
      {"[a-", "a", -2, "no upper bound"},
      {"[^a-", "b", -2, "no upper bound"},
      {"[a-z", "b", -2, "a range, and the end"},
      {"[-", "-", -2, "a sign, and the end"},
      {"[--]", "-", -2, "the bracket is the bound"},
      {"[[", "[", -2, "a second bracket closes nothing"},
      {"x[", "xa", -2, "behind other things"},
      {"x[", "ya", 1, "unless the text differs before"},
      {"[a][", "ab", -2, "behind another set"},
      {"[a][", "bb", 1, "unless the text differs before"},
  });
}

TEST(Match, OfASetThatIsNotClosedIsAnErrorWhereTheTextEnds) {
  expectResults({
      {"a[", "a", -2, "where it begins"},
      {"[", "", -2, "where it begins"},
      {"[^", "", -2, "where it begins"},
      {"[a-]", "", -2, "where it begins"},
      {"[\\]", "", -2, "where it begins"},
      {"a[bc", "a", -2, "where it begins"},
      {"[a][", "a", -2, "where it begins"},
      {"[a]", "", 1, "a closed one does not match"},
      {"[]", "", 1, "a closed one does not match"},
      {"ab[", "a", 1, "something else comes first"},
      {"?[", "", 1, "something else comes first"},
      {"*[", "", 1, "something else comes first"},
      {"a*[", "a", 1, "something else comes first"},
      {"\\[", "", 1, "it is escaped"},
      {"[a][", "", 1, "something else comes first"},
      {"a[", "ab", -2, "or goes on"},
  });
}

TEST(Match, OfASetThatIsNotClosedBehindAStarIsADifference) {
  expectResults({
      {"*[", "a", 1, "tried at each byte"},
      {"*[", "abc", 1, "tried at each byte"},
      {"*a[", "aaa", 1, "also where the text ends"},
      {"a*b[c", "abbb", 1, "also where the text ends"},
      {"**[", "a", 1, "behind several"},
      {"*[a]*[", "aa", 1, "behind several"},
      {"[*", "a", -2, "the star is a member"},
      {"[a*", "a", -2, "the star is a member"},
  });
}

TEST(Match, OfASetRemembersAnEarlierOne) {
  expectResults({
      {"[a][b]", "ax", 0, "any byte after a member"},
      {"[a][b]", "xb", 1, "the first one counts"},
      {"[a][b]", "a", 1, "but not no byte"},
      {"[a]?[b]", "a.x", 0, "also further on"},
      {"[a]x[b]", "ayb", 1, "ordinary bytes go by themselves"},
      {"[a][b][c]", "axx", 0, "for all that follow"},
      {"[a][]", "ax", 0, "also an empty one"},
      {"[a][^b]", "ac", 1, "a negated one then matches nothing"},
      {"[a][^]", "ac", 1, "not even an empty one"},
      {"[a][^b]", "a", 1, "nor the end of the text"},
      {"[^a][b]", "cb", 0, "nothing to remember of a negated one"},
      {"[^a][b]", "cc", 1, "nothing to remember of a negated one"},
      {"[^a][^b]", "cc", 0, "nothing to remember of a negated one"},
      {"[^a][b][c]", "xby", 0, "a later one is remembered"},
      {"[a][b-", "ax", -2, "but it must be closed"},
  });
}

TEST(Match, OfASetForgetsAtAStar) {
  expectResults({
      {"[a]*[b]", "axx", 1, "what follows stands by itself"},
      {"[a]*[b]", "axb", 0, "what follows stands by itself"},
      {"[a]*[^b]", "axc", 0, "what follows stands by itself"},
      {"*[a][b]", "cax", 0, "remembered behind it"},
      {"*[a][b]", "aab", 0, "each place stands by itself"},
      {"*[a][^b]", "aac", 1, "each place stands by itself"},
      {"*[ab]c[d]", "axbcx", 0, "each place stands by itself"},
      {"*[b]x", "bbax", 1, "a place that failed is forgotten"},
      {"*[a]b*[c]d", "abxd", 1, "for each star anew"},
  });
}

TEST(Match, OfABackslashIsTheNextByteAsItIs) {
  expectResults({
      {"\\*", "*", 0, "a star"},
      {"\\*", "a", 1, "a star"},
      {"\\?", "?", 0, "a question mark"},
      {"\\?", "a", 1, "a question mark"},
      {"\\[", "[", 0, "a bracket"},
      {"\\[a]", "[a]", 0, "a bracket"},
      {"\\[a]", "a", 1, "a bracket"},
      {"\\\\", "\\", 0, "a backslash"},
      {"\\\\", "\\\\", 1, "one backslash"},
      {"\\\\*", "\\abc", 0, "a star behind one is a star"},
      {"\\a", "a", 0, "an ordinary byte"},
      {"\\a", "\\a", 1, "the backslash itself is none"},
      {"\\a", "", 1, "not no byte"},
      {"*\\?b", "a?b", 0, "behind a star"},
      {"*\\?b", "acb", 1, "behind a star"},
      {"\\\xc3\xbc", "\xc3\xbc", 0, "the first byte of a longer character"},
  });
}

TEST(Match, OfABackslashAtTheEndIsABackslash) {
  expectResults({
      {"\\", "\\", 0, "ordinary"},
      {"\\", "a", 1, "ordinary"},
      {"\\", "", 1, "ordinary"},
      {"a\\", "a\\", 0, "ordinary"},
      {"*\\", "ab\\", 0, "ordinary"},
      {"\\\\\\", "\\\\", 0, "behind an escaped one"},
      {"[a]\\", "a\\", 0, "behind a set"},
  });
}

TEST(Match, OfABackslashInASetEscapesItsEnd) {
  expectResults({
      {"[\\]]", "]", 0, "the bracket is a member"},
      {"[\\]]", "\\", 1, "the backslash is none"},
      {"[a\\]b]", "]", 0, "between others"},
      {"[^\\]]", "]", 1, "in a negated one"},
      {"[^\\]]", "\\", 0, "in a negated one"},
      {"[\\]", "]", -2, "nothing closes then"},
      {"[\\]", "\\", -2, "nothing closes then"},
      {"[\\]-a]", "]", 0, "no range begins there"},
      {"[\\]-a]", "-", 0, "no range begins there"},
      {"[\\]-a]", "a", 0, "no range begins there"},
      {"[\\]-a]", "_", 1, "no range begins there"},
      {"[\\]\\]]", "]", 0, "twice"},
  });
}

TEST(Match, OfABackslashInASetIsElseAMember) {
  expectResults({
      {"[\\a]", "\\", 0, "before an ordinary byte"},
      {"[\\a]", "a", 0, "which is a member, too"},
      {"[\\a]", "b", 1, "before an ordinary byte"},
      {"[\\*]", "\\", 0, "before a star"},
      {"[\\^]", "^", 0, "before ^"},
      {"[\\^a]", "b", 1, "before ^, which does not negate"},
      {"[\\\\]", "\\", -2, "the second one escapes the bracket"},
      {"[\\\\]]", "\\", 0, "the first one is a member"},
      {"[\\\\]]", "]", 0, "the second one escapes the bracket"},
      {"[\\", "\\", -2, "at the end"},
      {"[\\-a]", "_", 0, "the lower bound of a range"},
      {"[\\-a]", "-", 1, "the lower bound of a range"},
  });
}

TEST(Match, OfABackslashBehindPartOfACharacterStillEscapes) {
  expectResults({
      {"\xc3\\*", "\xc3*", 0, "a lead byte makes nothing of what is no trail byte"},
      {"\xc3\\*", "\xc3\\a", 1, "a lead byte makes nothing of what is no trail byte"},
      {"\xe2\x82\\?", "\xe2\x82?", 0, "nor does a character that is cut off"},
      {"\xc3\xbc\\*", "\xc3\xbc*", 0, "nor does a whole character"},
      {"\xff\\*", "\xff*", 0, "nor does what is no part of a character"},
      {"[\xc3\\]]", "]", 0, "in a set"},
      {"[\xc3\\]]", "\xc3", 0, "in a set"},
      {"[\xc3\\]]", "\\", 1, "in a set"},
      {"[\xc3\\]", "\xc3", -2, "in a set"},
      {"[\xe2\x82\\]]", "]", 0, "in a set"},
      {"*\xc3\\]", "a\xc3]", 0, "behind a star"},
  });
}

TEST(Match, OfABackslashThatIsALeadByteIsABackslash) {
  const Classification classification(always<2>);
  expectResults({
      {"\\*", "\\abc", 0, "ordinary, and a star"},
      {"\\*", "*", 1, "ordinary, and a star"},
      {"\\a", "\\a", 0, "two ordinary bytes"},
      {"\\a", "a", 1, "two ordinary bytes"},
      {"\\[", "\\", -2, "ordinary, and a set"},
      {"[\\]", "\\", 0, "a member"},
      {"[\\]", "]", 1, "a member"},
      {"[\\]]", "\\]", 0, "a member"},
  });
}

TEST(Match, OfABackslashThatIsATrailByteEscapesOutsideOfSetsOnly) {
  for (const Classify other : {always<1>, always<-1>}) {
    const Classification classification(other);
    expectResults({
        {"\\*", "*", 0, "escapes"},
        {"\\*", "\\a", 1, "escapes"},
        {"[\\]", "\\", 0, "a member"},
        {"[\\]", "]", 1, "a member"},
        {"[\\]]", "\\]", 0, "a member"},
        {"*[\\]", "a\\", 0, "a member"},
        {"[\\-a]", "_", 0, "a lower bound"},
    });
  }
}

TEST(Match, OfABackslashGoesByItsPlaceInThePattern) {
  const Classification classification(pairwise);
  expectResults({
      {"[\x81\\]", "\\", 0, "the second byte of a character is a member"},
      {"[\x81\\]", "]", 1, "the second byte of a character is a member"},
      {"[\x81\x81\\]]", "]", 0, "behind a whole character, it escapes"},
      {"[\x81\x81\\]]", "\\", 1, "behind a whole character, it escapes"},
      {"*[\x81\\]", "ab\\", 0, "also behind a star"},
      {"a?[b]*[a\x81\\]", "axb\\", 0, "also far behind"},
      {"\x81\\*", "\x81*", 0, "outside of sets it escapes"},
      {"[\\]]", "]", 0, "on its own it escapes"},
  });
}

TEST(Match, AgreesWithItsPlainestFormOnAMillionRandomPairs) {
  RandomPairs pairs(1);
  pairs.compare(1000000);
  for (const int result : {-2, 0, 1}) {
    EXPECT_GT(pairs.results[result], 10000) << result;
  }
}

TEST(Match, AgreesWithItsPlainestFormWhateverBackslashesAre) {
  uint32_t seed = 2;
  for (const Classify other : {always<1>, always<2>, always<-1>, pairwise}) {
    const Classification classification(other);
    RandomPairs pairs(seed++);
    pairs.compare(100000);
  }
}

TEST(Match, AgreesWithItsPlainestFormOnAllShortPairs) {
  const auto texts = stringsOver("ab]-\\", 2);
  for (const std::string &pattern : stringsOver("ab*?[]^-\\\xc3", 4)) {
    for (const std::string &text : texts) {
      ASSERT_EQ(matched(pattern, text), test::recursiveMatch(pattern.c_str(), text.c_str()))
          << testing::PrintToString(pattern) << " against " << testing::PrintToString(text);
    }
  }
}

TEST(Match, OfManyStarsEndsOnLongTexts) {
  const std::string letters(100000, 'a');
  for (const std::string piece : {"a*", "*", "?*", "[ab]*", "[^b]*", "\\a*", "a?*", "*aaaa"}) {
    const std::string pattern = repeated(piece, 30);
    EXPECT_EQ(matched(pattern + "*b", letters), 1) << piece;
    EXPECT_EQ(matched(pattern + "*b", letters + 'b'), 0) << piece;
    EXPECT_EQ(matched(pattern + "*b", letters + "bc"), 1) << piece;
    EXPECT_EQ(matched(pattern + "*[", letters), 1) << piece;
  }
  EXPECT_EQ(matched(repeated("a*", 30) + 'b', letters), 1);
  EXPECT_EQ(matched(repeated("a*", 30) + 'b', letters + 'b'), 0);
  EXPECT_EQ(matched(repeated("a*", 30) + 'b', letters + "bc"), 1);
  EXPECT_EQ(matched("a*a*a*a*a*a*a*a*b", std::string(80, 'a')), 1);
}

TEST(Match, OfManyStarsEndsOnTextsThatNearlyMatch) {
  const std::string text = repeated("aaab", 25000);
  EXPECT_EQ(matched(repeated("a*b", 30) + 'c', text), 1);
  EXPECT_EQ(matched(repeated("a*b*", 30) + "ba", text), 1);
  EXPECT_EQ(matched(repeated("a*b*", 30), text), 0);
  EXPECT_EQ(matched(repeated("*[^a]aaa", 30) + "[^b]", text), 1);
}

TEST(Match, OfLongPatternsNeedsNoDepth) {
  constexpr size_t count = 50000;
  const std::string letters(count, 'a');
  EXPECT_EQ(matched(repeated("*a", count), letters), 0);
  EXPECT_EQ(matched(repeated("*a", count + 1), letters), 1);
  EXPECT_EQ(matched(repeated("*", count), "a"), 0);
  EXPECT_EQ(matched(repeated("?", count), letters), 0);
  EXPECT_EQ(matched(repeated("[^b]", count), letters), 0);
  EXPECT_EQ(matched('[' + repeated("b", count) + "a]", "a"), 0);
  EXPECT_EQ(matched('[' + repeated("b", count), "a"), -2);
}

TEST(Match, OfLongPiecesBehindAStarEnds) {
  EXPECT_EQ(matched('*' + std::string(300, 'a') + 'b', std::string(20000, 'a')), 1);
  EXPECT_EQ(matched('*' + repeated("\\a", 100) + 'b', std::string(10000, 'a')), 1);
  EXPECT_EQ(matched('*' + repeated("[ca]", 100) + 'b', std::string(10000, 'a')), 1);
}
