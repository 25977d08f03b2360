#include <algorithm>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/encoding.h>

#include "support/encoding_reference.h"

static bool operator==(const TextRange &a, const TextRange &b) {
  return a.first == b.first && a.last == b.last;
}

namespace {

// A document in a buffer of its own, and ranges in it as text.
class Document {
public:
  Document(const char *text) : text_(text) {}

  char *start() { return text_.data(); }
  char *at(size_t offset) { return text_.data() + offset; }

  TagRanges ranges(const char *name) { return getTagRanges(name, start(), nullptr); }
  std::string content(const char *name) { return scope(getTagScope(name, start(), nullptr, 0)); }
  std::string whole(const char *name) { return scope(getTagScope(name, start(), nullptr, 1)); }
  std::string docType() { return scope(getDocType(start(), nullptr, 0)); }

  static std::string scope(TextRange range) {
    if (range.first == nullptr) {
      return range.last == nullptr ? "none" : "no beginning";
    }
    return range.last == nullptr ? "no end" : std::string(range.first, range.last + 1);
  }

private:
  std::string text_;
};

void expectNone(const TagRanges &ranges) {
  const TagRanges none{};
  EXPECT_EQ(memcmp(&ranges, &none, sizeof(none)), 0);
}

} // namespace

TEST(TagRanges, TellWhereEachPartLies) {
  Document document("..<id>42</id>.");
  const TagRanges ranges = document.ranges("id");
  EXPECT_EQ(ranges.tagStart, document.at(2));
  EXPECT_EQ(ranges.tagEnd, document.at(5));
  EXPECT_EQ(ranges.contentStart, document.at(6));
  EXPECT_EQ(ranges.contentEnd, document.at(7));
  EXPECT_EQ(ranges.closeStart, document.at(8));
  EXPECT_EQ(ranges.closeEnd, document.at(12));
}

TEST(TagRanges, HaveSixPointersInTheirOrder) {
  EXPECT_EQ(sizeof(TagRanges), 6 * sizeof(char *));
  EXPECT_EQ(offsetof(TagRanges, closeEnd), 5 * sizeof(char *));
  EXPECT_EQ(sizeof(TextRange), 2 * sizeof(char *));
}

TEST(TagRanges, AreNullWithoutATag) {
  for (const char *text : {"", "<", "x", "id", "<ids>1</ids>.", "no tag", "<id"}) {
    expectNone(Document(text).ranges("id"));
  }
  expectNone(Document("<id >").ranges("other"));
}

TEST(TagRanges, AreNullWithoutANameOrADocument) {
  Document document("<id>1</id>.");
  expectNone(document.ranges(""));
  expectNone(document.ranges(nullptr));
  expectNone(getTagRanges("id", nullptr, nullptr));
  EXPECT_EQ(getTagScope("id", nullptr, nullptr, 1), (TextRange{nullptr, nullptr}));
  EXPECT_EQ(getDocType(nullptr, nullptr, 0), (TextRange{nullptr, nullptr}));
}

TEST(TagScope, IsTheContentOrTheWholeElement) {
  Document document("<<id>42</id>>");
  EXPECT_EQ(document.content("id"), "42");
  EXPECT_EQ(document.whole("id"), "<id>42</id>");
}

TEST(TagScope, DoesNotSeeAClosingTagThatEndsOnTheLastCharacter) {
  Document document("<id>42</id>");
  EXPECT_EQ(document.content("id"), "42</id>");
  EXPECT_EQ(document.whole("id"), "no end");
}

TEST(TagScope, IsEmptyBetweenAdjacentTags) {
  Document document("<<id></id>>");
  const TextRange range = getTagScope("id", document.start(), nullptr, 0);
  EXPECT_EQ(range.first, document.at(5));
  EXPECT_EQ(range.last, range.first - 1);
}

TEST(TagScope, EndsAtALimit) {
  Document document("<id>42</id>.");
  const auto scope = [&](size_t limit, int outer) {
    return Document::scope(getTagScope("id", document.start(), document.at(limit), outer));
  };
  EXPECT_EQ(scope(11, 0), "42");
  EXPECT_EQ(scope(11, 1), "<id>42</id>");
  EXPECT_EQ(scope(10, 0), "42</id>");
  EXPECT_EQ(scope(10, 1), "no end");
  EXPECT_EQ(scope(4, 0), "4");
  EXPECT_EQ(scope(2, 0), "none");
  EXPECT_EQ(scope(2, 1), "none");
}

TEST(TagScope, OfATagThatIsNotThereIsNull) {
  Document document("<id>1</id>.");
  EXPECT_EQ(document.content("x"), "none");
  EXPECT_EQ(document.whole("x"), "none");
}

TEST(TagName, IsNotFoundInsideALongerOne) {
  EXPECT_EQ(Document("<ident>1</ident><id>2</id>.").content("id"), "2");
  EXPECT_EQ(Document("<aid>1</aid><id>2</id>.").content("id"), "2");
}

TEST(TagName, MayBeFollowedBySpaceASlashOrTheEndOfTheTag) {
  EXPECT_EQ(Document("<id x>1</id>.").content("id"), "1");
  EXPECT_EQ(Document("<id\tx>1</id>.").content("id"), "1");
  EXPECT_EQ(Document("<id\nx>1</id>.").content("id"), "1");
  EXPECT_EQ(Document("<id/x>1</id>.").content("id"), "1");
  EXPECT_EQ(Document("<id\rx>1</id>.").content("id"), "none");
  EXPECT_EQ(Document("<id=x>1</id>.").content("id"), "none");
}

TEST(OpeningTag, EndsBeforeAnyOtherBegins) {
  EXPECT_EQ(Document("<id<x>1</id>.").content("id"), "none");
  EXPECT_EQ(Document("<id <x>1</id>.").content("id"), "none");
  EXPECT_EQ(Document("<id <id>1</id>.").content("id"), "1");
}

TEST(OpeningTag, HasItsBracketRightBeforeTheName) {
  EXPECT_EQ(Document("< id>1</id>.").content("id"), "none");
  EXPECT_EQ(Document("id>1<id>2</id>.").content("id"), "2");
}

TEST(OpeningTag, MayBeBehindItsClosingTag) {
  EXPECT_EQ(Document("</id><id>2</id>.").content("id"), "2");
}

TEST(OpeningTag, MayEndAtTheBound) {
  Document document("<id>");
  EXPECT_EQ(document.ranges("id").tagEnd, document.at(3));
  EXPECT_EQ(document.ranges("id").contentStart, document.at(4));
  EXPECT_EQ(document.ranges("id").contentEnd, document.at(3)) << "the content is empty";
  EXPECT_EQ(document.ranges("id").closeStart, nullptr);
}

TEST(EmptyElement, HasNoContentAndClosesItself) {
  Document document("<id/>.");
  const TagRanges ranges = document.ranges("id");
  EXPECT_EQ(ranges.tagStart, document.at(0));
  EXPECT_EQ(ranges.tagEnd, document.at(4));
  EXPECT_EQ(ranges.contentStart, nullptr);
  EXPECT_EQ(ranges.contentEnd, nullptr);
  EXPECT_EQ(ranges.closeStart, ranges.tagStart);
  EXPECT_EQ(ranges.closeEnd, ranges.tagEnd);
  EXPECT_EQ(document.content("id"), "none");
  EXPECT_EQ(document.whole("id"), "<id/>");
  EXPECT_EQ(Document("<id x/>.").whole("id"), "<id x/>");
}

TEST(ClosingTag, IsTheFirstOneWithTheName) {
  EXPECT_EQ(Document("<a>1<a>2</a></a>.").content("a"), "1<a>2");
}

TEST(ClosingTag, HasNothingBetweenNameAndBracket) {
  EXPECT_EQ(Document("<id>1</id >2</id>.").content("id"), "1</id >2");
  EXPECT_EQ(Document("<id>1< /id>2</id>.").content("id"), "1< /id>2");
}

TEST(ClosingTag, IsMetOrMissedAsTheSearchStepsWhereNamesOverlap) {
  // The name is met where it is no closing tag, and once more inside that occurrence. Going on in
  // steps of its length, the search comes to stand before the second one's "</", or behind it.
  EXPECT_EQ(Document("<x</x>123x</x</x>..").content("x</x"), "123x");
  EXPECT_EQ(Document("<x</x>12x</x</x>..").content("x</x"), "12x</x</x>..");
}

TEST(ClosingTag, MustEndBeforeTheBound) {
  Document document("<id>1</id>.");
  EXPECT_EQ(getTagRanges("id", document.start(), document.at(9)).closeEnd, nullptr);
  EXPECT_EQ(getTagRanges("id", document.start(), document.at(10)).closeEnd, document.at(9));
}

TEST(Limit, EndsTheSearch) {
  Document document("..<id>1</id>.<x>2</x>.");
  EXPECT_EQ(getTagRanges("x", document.start(), document.at(12)).tagStart, nullptr);
  EXPECT_EQ(getTagRanges("id", document.start(), document.at(4)).tagStart, nullptr);
  EXPECT_EQ(getTagRanges("id", document.start(), document.at(5)).tagStart, document.at(2));
  EXPECT_EQ(getTagRanges("id", document.start(), document.at(8)).contentEnd, document.at(8));
}

TEST(Limit, BehindTheTextChangesNothing) {
  Document document("<id>1</id>.");
  EXPECT_EQ(getTagRanges("id", document.start(), document.at(11)).closeEnd, document.at(9));
}

TEST(Limit, AtOrBeforeTheStartFindsNothing) {
  Document document("<id>1</id>.");
  expectNone(getTagRanges("id", document.start(), document.start()));
  expectNone(getTagRanges("id", document.at(1), document.start()));
}

TEST(Limit, SparesTheDocumentItsTerminator) {
  const std::string text = "<id>1</id>.";
  std::vector<char> bytes(text.begin(), text.end()); // without a NUL
  EXPECT_EQ(getTagRanges("id", bytes.data(), &bytes.back()).closeEnd, &bytes.back() - 1);
  EXPECT_EQ(getTagRanges("none", bytes.data(), &bytes.back()).tagStart, nullptr);
}

TEST(DocType, IsNamedBehindTheMarkAndItsSpaces) {
  EXPECT_EQ(Document("<!DOCTYPE entry>.").docType(), "entry");
  EXPECT_EQ(Document("<!DOCTYPE  entry>.").docType(), "entry");
  EXPECT_EQ(Document("<!DOCTYPE \t\nentry SYSTEM>.").docType(), "entry");
  EXPECT_EQ(Document("<!DOCTYPE entry/>.").docType(), "entry");
  EXPECT_EQ(Document("..<!DOCTYPE e>.").docType(), "e");
}

TEST(DocType, IsGivenWhole) {
  Document document("<!DOCTYPE  entry x> <a>.");
  EXPECT_EQ(Document::scope(getDocType(document.start(), nullptr, 1)), "<!DOCTYPE  entry x>");
}

TEST(DocType, IsNullWhereThereIsNone) {
  EXPECT_EQ(Document("<a>1</a>.").docType(), "none");
  EXPECT_EQ(Document("<!DOCTYPES a>.").docType(), "none");
  Document document("<a>1</a>.");
  EXPECT_EQ(Document::scope(getDocType(document.start(), nullptr, 1)), "none");
}

TEST(DocType, IsNotLookedForBehindTheBound) {
  Document document("<!DOCTYPE entry>.");
  EXPECT_EQ(Document::scope(getDocType(document.start(), document.at(14), 0)), "none");
  EXPECT_EQ(Document::scope(getDocType(document.start(), document.at(15), 0)), "entry");
  EXPECT_EQ(Document::scope(getDocType(document.start(), document.at(14), 1)), "none");
  EXPECT_EQ(Document::scope(getDocType(document.start(), document.at(15), 1)), "<!DOCTYPE entry>");
}

TEST(DocType, WithoutANameIsTheCharacterBehindTheTag) {
  Document document("<!DOCTYPE>"); // the terminator then, behind the bound
  const TextRange range = getDocType(document.start(), nullptr, 0);
  EXPECT_EQ(range.first, document.at(10));
  EXPECT_EQ(range.last, document.at(10));
  EXPECT_EQ(Document("<!DOCTYPE > a").docType(), ">");
}

namespace {

// A document in a buffer with some room behind it.
class Fill : public testing::Test {
protected:
  // Puts `content` into the tag of `text` in a buffer of `size` bytes.
  TextRange fill(const std::string &text, size_t size, const std::string &content, int replace,
                 const char *name = "id") {
    buffer.assign(size, 'z');
    buffer.replace(0, text.size() + 1, text.c_str(), text.size() + 1);
    contentCopy = content;
    const TextRange document{buffer.data(), buffer.data() + text.size()};
    const TextRange room{nullptr, buffer.data() + size - 1};
    const TextRange inserted{contentCopy.data(), contentCopy.data() + contentCopy.size() - 1};
    return addContentToTag(document, room, name, inserted, replace);
  }

  std::string text() const { return buffer.substr(0, buffer.find('\0')); }
  ptrdiff_t end(TextRange result) const { return result.last - buffer.data(); }

  std::string buffer;
  std::string contentCopy;
};

} // namespace

TEST_F(Fill, ReplacesTheContentAndMovesTheEnd) {
  const TextRange result = fill("<<id></id>>", 20, "7", 1);
  EXPECT_EQ(text(), "<<id>7</id>>");
  EXPECT_EQ(result.first, buffer.data());
  EXPECT_EQ(end(result), 12);
}

TEST_F(Fill, ReplacesContentByShorterAndLongerAndNone) {
  EXPECT_EQ(end(fill("<<id>12345</id>>", 40, "7", 1)), 12);
  EXPECT_EQ(text(), "<<id>7</id>>");
  EXPECT_EQ(end(fill("<<id>1</id>>", 40, "abcdef", 1)), 17);
  EXPECT_EQ(text(), "<<id>abcdef</id>>");
  EXPECT_EQ(end(fill("<<id>1</id>>", 40, "", 1)), 11);
  EXPECT_EQ(text(), "<<id></id>>");
}

TEST_F(Fill, PutsTextInFrontOfTheContent) {
  const TextRange result = fill("<<id>old</id>>", 20, "new", 0);
  EXPECT_EQ(text(), "<<id>newold</id>>");
  EXPECT_EQ(result.first, buffer.data());
  EXPECT_EQ(end(result), 17);
}

TEST_F(Fill, TellsHowFarTheTextWouldReach) {
  for (const int replace : {0, 1}) {
    const TextRange result = fill("<<id></id>>", 12, "7", replace);
    EXPECT_EQ(result.first, nullptr);
    EXPECT_EQ(end(result), 12);
    EXPECT_EQ(text(), "<<id></id>>") << "nothing has changed";
  }
}

TEST_F(Fill, TellsHowFarTheTextWouldReachWithAndWithoutTheOldContent) {
  EXPECT_EQ(end(fill("<<id>123</id>>", 15, "abcdef", 1)), 17);
  EXPECT_EQ(text(), "<<id>123</id>>");
  EXPECT_EQ(end(fill("<<id>123</id>>", 15, "abcdef", 0)), 20);
  EXPECT_EQ(text(), "<<id>123</id>>");
  EXPECT_EQ(end(fill("<<id>123</id>>", 15, "ab", 1)), 13);
  EXPECT_EQ(text(), "<<id>ab</id>>");
}

TEST_F(Fill, HasNoRoomForLessTextWhereTheBufferEndsBeforeIt) {
  fill("<<id>12345</id>>", 40, "7", 0);
  ASSERT_EQ(text(), "<<id>712345</id>>");
  const TextRange document{buffer.data(), buffer.data() + 17};
  const TextRange content{contentCopy.data(), contentCopy.data()};
  const TextRange room{nullptr, buffer.data() + 11};
  const TextRange result = addContentToTag(document, room, "id", content, 1);
  EXPECT_EQ(result.first, nullptr);
  EXPECT_EQ(end(result), 12);
  EXPECT_EQ(text(), "<<id>712345</id>>");
  const TextRange enough{nullptr, buffer.data() + 12};
  EXPECT_EQ(end(addContentToTag(document, enough, "id", content, 1)), 12);
  EXPECT_EQ(text(), "<<id>7</id>>");
}

TEST_F(Fill, HasNoRoomInABufferThatEndsNowhere) {
  fill("<<id></id>>", 20, "7", 1);
  const TextRange document{buffer.data(), buffer.data() + 12};
  const TextRange content{contentCopy.data(), contentCopy.data()};
  const TextRange nowhere{nullptr, nullptr};
  const TextRange result = addContentToTag(document, nowhere, "id", content, 0);
  EXPECT_EQ(result.first, nullptr);
  EXPECT_EQ(end(result), 13);
  EXPECT_EQ(text(), "<<id>7</id>>");
}

TEST_F(Fill, LooksForTheTagUpToTheDocumentsEnd) {
  fill("<<id></id>>", 40, "7", 1);
  contentCopy = "new";
  const TextRange content{contentCopy.data(), contentCopy.data() + 2};
  const TextRange room{nullptr, buffer.data() + 39};
  const TextRange cut{buffer.data(), buffer.data() + 10}; // before the closing tag's end
  EXPECT_EQ(addContentToTag(cut, room, "id", content, 1), (TextRange{nullptr, nullptr}));
  const TextRange withoutNul{buffer.data(), buffer.data() + 11};
  EXPECT_EQ(end(addContentToTag(withoutNul, room, "id", content, 1)), 13);
  EXPECT_EQ(buffer.substr(0, 16), "<<id>new</id>>zz") << "the terminator did not move";
}

TEST_F(Fill, UsesTheLastByteOfTheBuffer) {
  for (const int replace : {0, 1}) {
    EXPECT_EQ(end(fill("<<id></id>>", 13, "7", replace)), 12);
    EXPECT_EQ(text(), "<<id>7</id>>");
  }
}

TEST_F(Fill, NeedsAnElementWithBothTags) {
  for (const char *text : {"<<x></x>>", "<<id>", "<<id/>>", "<id></id>", ""}) {
    const TextRange result = fill(text, 40, "7", 1);
    EXPECT_EQ(result, (TextRange{nullptr, nullptr})) << text;
    EXPECT_EQ(this->text(), text);
  }
}

TEST_F(Fill, TakesNullForNoText) {
  fill("<<id>1</id>>", 20, "7", 1);
  const TextRange document{buffer.data(), buffer.data() + 12};
  const TextRange room{nullptr, buffer.data() + 19};
  const TextRange none{nullptr, nullptr};
  EXPECT_EQ(addContentToTag(document, room, "id", none, 0), document);
  EXPECT_EQ(text(), "<<id>7</id>>");
  EXPECT_EQ(addContentToTag(document, room, "id", none, 1).last, document.last - 1);
  EXPECT_EQ(text(), "<<id></id>>");
}

TEST_F(Fill, TouchesNothingWithoutADocument) {
  const TextRange none{nullptr, nullptr};
  EXPECT_EQ(addContentToTag(none, none, "id", none, 1), none);
  fill("<<id>1</id>>", 20, "7", 1);
  const TextRange unended{buffer.data(), nullptr};
  EXPECT_EQ(addContentToTag(unended, none, "id", none, 1), none);
}

TEST_F(Fill, LeavesWhatLiesBehindTheDocument) {
  fill("<<id></id>>", 20, "7", 1);
  EXPECT_EQ(buffer.substr(13), "zzzzzzz");
}

TEST(Tags, AgreeWithTheirPlainestFormOnRandomDocuments) {
  const char *const pieces[] = {"id",   "<id>", "</id>", "<id/>", "<id ", ">",    "<",         "/",
                                "</id", "i",    "d",     "text",  "\n",   "</a>", "<!DOCTYPE "};
  std::mt19937 random(5);
  for (int round = 0; round < 100000; ++round) {
    std::string text;
    for (size_t count = random() % 12; count > 0; --count) {
      text += pieces[random() % std::size(pieces)];
    }
    const size_t place = random() % (text.size() + 3);
    const size_t end = std::min(place, text.size());
    const std::string content(random() % 6, 'c');
    for (const char *name : {"id", "a", "d>", "i", "</i", "d<", "/"}) {
      ASSERT_TRUE(test::agreeOnSearch(text, name, place)) << text << ' ' << name << ' ' << place;
      for (const bool isReplaced : {false, true}) {
        ASSERT_TRUE(test::agreeOnFill(text, name, end, round % 8, content, isReplaced))
            << text << ' ' << name << ' ' << end;
      }
    }
  }
}
