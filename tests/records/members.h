// Records that are read from property lists. A table tells of each member its key, its type and
// what stands for a missing value; these check a record against its table.
#ifndef SPRIG_TESTS_RECORDS_MEMBERS_H
#define SPRIG_TESTS_RECORDS_MEMBERS_H

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/properties.h>
#include <sprig/records.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "support/heap.h"
#include "support/values.h"

namespace test {

inline Failure missing(const std::string &key) {
  return {36, "Unable to find the property associated with the key %1$s.\n", {key}};
}
inline Failure wrongType(const std::string &key) {
  return {37, "The wrong property type was specified for the key %1$s.\n", {key}};
}

inline std::string shown(const char *text) { return text == nullptr ? "none" : text; }
inline std::string shown(const OctetList *list) {
  return list == nullptr ? "none" : std::string(list->buffer, list->buffer + list->length);
}
inline std::string shown(const any *value) {
  return value == nullptr ? "none" : *static_cast<char **>(value->value);
}
inline std::string shown(int64_t number) { return std::to_string(number); }

template <typename Record> struct Member {
  const char *key;
  TypeCode type;
  std::string otherwise; // as shown where the key is missing
  bool mustExist;
  std::string (*shownIn)(const Record &record);
  const void *(*pointerIn)(const Record &record); // null where it is a number
};

template <typename Record> using Members = std::vector<Member<Record>>;

template <typename> struct RecordWith;
template <typename T, typename Owner> struct RecordWith<T Owner::*> { using Type = Owner; };

template <auto place>
auto memberOf(const char *key, TypeCode type, const char *otherwise, bool mustExist = false) {
  using Record = typename RecordWith<decltype(place)>::Type;
  const auto shownIn = [](const Record &record) { return shown(record.*place); };
  const auto pointerIn = [](const Record &record) -> const void * {
    if constexpr (std::is_pointer_v<std::remove_reference_t<decltype(record.*place)>>) {
      return record.*place;
    } else {
      return nullptr;
    }
  };
  return Member<Record>{key, type, otherwise, mustExist, shownIn, pointerIn};
}

template <auto place> auto text(const char *key) { return memberOf<place>(key, TC_string, "none"); }
template <auto place> auto object(const char *key) {
  return memberOf<place>(key, TC_Object, "none");
}
template <auto place> auto number(const char *key) { return memberOf<place>(key, TC_long, "0"); }
template <auto place> auto boolean(const char *key, const char *otherwise = "0") {
  return memberOf<place>(key, TC_boolean, otherwise);
}

// What a member shows of the value that valueFor() makes: another for each number, and never what
// stands for a missing one.
template <typename Record> std::string shownValue(const Member<Record> &member, int number) {
  switch (member.type->kind) {
  case TYPE_KIND_BOOLEAN:
    return member.otherwise == "0" ? "1" : "0";
  case TYPE_KIND_SHORT:
  case TYPE_KIND_LONG:
    return std::to_string(-100 - number);
  default:
    return "text " + std::to_string(number);
  }
}

template <typename Record> any valueFor(const Member<Record> &member, int number) {
  const std::string text = shownValue(member, number);
  switch (member.type->kind) {
  case TYPE_KIND_BOOLEAN:
    return anyOf(TC_boolean, static_cast<uint8_t>(std::stoi(text)));
  case TYPE_KIND_SHORT:
    return anyOf(TC_short, static_cast<int16_t>(std::stoi(text)));
  case TYPE_KIND_LONG:
    return anyOf(TC_long, static_cast<int32_t>(std::stoi(text)));
  case TYPE_KIND_ANY:
    return anyOf(TC_any, anyOf(TC_string, mg_strdup(text.c_str())));
  case TYPE_KIND_SEQUENCE: {
    OctetList octets{};
    std::for_each(text.begin(), text.end(),
                  [&](const char &octet) { seq_add(&octets, &octet, sizeof octet); });
    return anyOf(TC_NEX_Types_OctetList, octets);
  }
  default:
    return anyOf(member.type, mg_strdup(text.c_str()));
  }
}

// An empty value of any type.
inline any emptyOf(TypeCode type) { return {type, mg_calloc(1, type->size)}; }

struct DeleteList {
  void operator()(Properties *list) const {
    properties_delete(list);
    mg_free(list);
  }
};
using ListPtr = std::unique_ptr<Properties, DeleteList>;

inline void append(Properties *list, const char *key, const any &value) {
  const Property property = propertyOf(key, value);
  seq_add(list, &property, sizeof property);
}

// How a record of a kind is made from properties, and released.
template <typename Record> struct Kind {
  const Members<Record> &members; // in the order in which they are read
  Record *(*adopt)(Properties *properties);
  Record *(*copy)(const Properties *properties);
  void (*release)(Record *record);
};

template <typename Record> class RecordReading {
public:
  explicit RecordReading(const Kind<Record> &kind) : kind_(kind) { registerTypes(); }

  // What is in a list under a member's key.
  enum class Content { missing, right, wrong };
  using Contents = std::function<Content(size_t index)>;

  ListPtr list(const Contents &contents) const {
    ListPtr list(properties_new());
    // The last one first, so that their order in the list is not that of reading.
    for (size_t i = kind_.members.size(); i-- > 0;) {
      const Member<Record> &member = kind_.members[i];
      if (contents(i) == Content::right) {
        append(list.get(), member.key, valueFor(member, static_cast<int>(i)));
      } else if (contents(i) == Content::wrong) {
        append(list.get(), member.key, anyOf(TC_ulong, uint32_t{7}));
      }
    }
    return list;
  }
  ListPtr fullList() const {
    return list([](size_t /*index*/) { return Content::right; });
  }
  // What must be there, and one more.
  ListPtr listOfNeeded(size_t more = SIZE_MAX) const {
    return list([&](size_t i) {
      return i == more || kind_.members[i].mustExist ? Content::right : Content::missing;
    });
  }

  void expectDefaults() const {
    expectOf(listOfNeeded(), [&](size_t i) { return kind_.members[i].mustExist; });
  }
  void expectEachFromItsOwnKey() const {
    for (size_t given = 0; given < kind_.members.size(); ++given) {
      SCOPED_TRACE(kind_.members[given].key);
      expectOf(listOfNeeded(given),
               [&](size_t i) { return i == given || kind_.members[i].mustExist; });
    }
  }
  void expectAll() const {
    expectOf(fullList(), [](size_t /*index*/) { return true; });
  }

  // Every other type is refused, also where it would do.
  void expectTypes() const {
    for (size_t i = 0; i < kind_.members.size(); ++i) {
      const Member<Record> &member = kind_.members[i];
      for (const TypeCode type : allTypes()) {
        if (TypeCode_equal(type, member.type) == 0) {
          const ListPtr list = this->list(
              [&](size_t other) { return other == i ? Content::missing : Content::right; });
          append(list.get(), member.key, emptyOf(type));
          expectFailure(*list, wrongType(member.key));
        }
      }
    }
  }

  // Of several that are wrong, the first one in the order of reading is told.
  void expectOrder() const {
    for (size_t first = 0; first < kind_.members.size(); ++first) {
      expectFailure(*list(rightUpTo(first, Content::wrong)), wrongType(kind_.members[first].key));
      expectFailureWithout(first);
    }
  }

  void expectAdopted() const {
    ListPtr list = fullList();
    Properties *const given = list.get();
    Record *record = kind_.adopt(list.release());
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->properties, given);
    expectPointersInto(*record, *given);
    kind_.release(record);
  }
  void expectCopied() const {
    const ListPtr list = fullList();
    const std::string encoding = encodingOf(*list);
    Record *record = kind_.copy(list.get());
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(encodingOf(*list), encoding);
    EXPECT_EQ(encodingOf(*record->properties), encoding);
    expectCopyOf(*record, *list);
    kind_.release(record);
  }
  // Its pointers lead into a list of its own.
  void expectCopyOf(const Record &record, const Properties &original) const {
    EXPECT_NE(record.properties, &original);
    expectPointersInto(record, *record.properties);
    for (const Member<Record> &member : kind_.members) {
      const void *pointer = member.pointerIn(record);
      EXPECT_TRUE(pointer == nullptr || pointer != pointedTo(member, original)) << member.key;
    }
  }

  void expectNothingLostWithFailures() const {
    const size_t last = kind_.members.size() - 1;
    const ListPtr list = this->list(rightUpTo(last, Content::wrong));
    expectNothingLost([&] {
      EXPECT_TRUE(thrown([&] { kind_.adopt(list.get()); }));
      EXPECT_TRUE(thrown([&] { kind_.copy(list.get()); }));
    });
  }
  void expectNothingLostInAll() const {
    const ListPtr list = fullList();
    expectNothingLost([&] {
      kind_.release(kind_.copy(list.get()));
      kind_.release(kind_.adopt(properties_clone(list.get())));
    });
  }

  // A copy that cannot be made is not read.
  void expectNoCopyOfTooMuchDepth() const {
    const ListPtr list = fullList();
    append(list.get(), "extra", anyOf(TC_any, nestedAnys(1000)));
    const auto exception = thrown([&] { kind_.copy(list.get()); });
    ASSERT_TRUE(exception);
    EXPECT_NE(exception->id, 36);
    EXPECT_NE(exception->id, 37);
    expectNothingLost([&] { EXPECT_TRUE(thrown([&] { kind_.copy(list.get()); })); });
  }

private:
  static Contents rightUpTo(size_t first, Content rest) {
    return [first, rest](size_t i) { return i < first ? Content::right : rest; };
  }

  void expectFailureWithout(size_t first) const {
    const Member<Record> &member = kind_.members[first];
    const ListPtr list = this->list([&](size_t i) {
      return i < first ? Content::right : i == first ? Content::missing : Content::wrong;
    });
    if (member.mustExist) {
      expectFailure(*list, missing(member.key));
    } else if (first + 1 < kind_.members.size()) {
      expectFailure(*list, wrongType(kind_.members[first + 1].key));
    }
  }

  // The list stays the caller's in any case.
  void expectFailure(Properties &list, const Failure &expected) const {
    EXPECT_EQ(failureOf([&] { kind_.adopt(&list); }), expected);
    EXPECT_EQ(failureOf([&] { kind_.copy(&list); }), expected);
  }

  template <typename IsGiven> void expectOf(ListPtr list, const IsGiven &isGiven) const {
    Record *copied = kind_.copy(list.get());
    Record *adopted = kind_.adopt(list.release());
    for (const Record *record : {copied, adopted}) {
      ASSERT_NE(record, nullptr);
      for (size_t i = 0; i < kind_.members.size(); ++i) {
        const Member<Record> &member = kind_.members[i];
        EXPECT_EQ(member.shownIn(*record),
                  isGiven(i) ? shownValue(member, static_cast<int>(i)) : member.otherwise)
            << member.key;
      }
    }
    kind_.release(copied);
    kind_.release(adopted);
  }

  static const void *pointedTo(const Member<Record> &member, const Properties &list) {
    const void *block = properties_get(&list, member.key, member.type, 1);
    const bool isText =
        member.type->kind == TYPE_KIND_STRING || member.type->kind == TYPE_KIND_OBJECT;
    return isText ? *static_cast<char *const *>(block) : block;
  }
  void expectPointersInto(const Record &record, const Properties &list) const {
    for (const Member<Record> &member : kind_.members) {
      if (const void *pointer = member.pointerIn(record)) {
        EXPECT_EQ(pointer, pointedTo(member, list)) << member.key;
      }
    }
  }

  const Kind<Record> &kind_;
};

} // namespace test

#endif
