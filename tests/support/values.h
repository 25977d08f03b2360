// Values of every type, made by hand, and types of the tests' own.
#ifndef SPRIG_TESTS_SUPPORT_VALUES_H
#define SPRIG_TESTS_SUPPORT_VALUES_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <optional>
#include <ostream>
#include <random>
#include <type_traits>
#include <vector>

#include <sprig/framework.h>
#include <sprig/types.h>

#include "support/exceptions.h"

namespace test {

// Has a member of every plain kind, with padding between them.
struct Record {
  uint8_t octet;
  int32_t number;
  uint8_t flag;
  int16_t small;
  char *text;
  uint8_t last;
  uint32_t large;
  Object reference;
  OctetList octets;
};
extern const TypeCodeRecord recordType[1];

struct Records {
  uint32_t maximum;
  uint32_t length;
  Record *buffer;
};
extern const TypeCodeRecord recordsType[1];

struct Outer {
  uint8_t mark;
  Record record;
  any extra;
  Records records;
  int16_t count;
};
extern const TypeCodeRecord outerType[1];

// An alias of TC_long, and a sequence of it.
extern const TypeCodeRecord countType[1];
extern const TypeCodeRecord countsType[1];

// Sequences of elements that the runtime has no sequences of.
extern const TypeCodeRecord shortsType[1];
extern const TypeCodeRecord booleansType[1];
extern const TypeCodeRecord objectsType[1];

// A sequence of itself.
extern const TypeCodeRecord nestType[1];

// An exception with members of its own.
struct ExWilted {
  ExErrorMsg base;
  char *plant;
  int16_t days;
  StringList remedies;
};
extern const TypeCodeRecord wiltedType[1];

// Makes these types and the library's known to the runtime.
void registerTypes();
// All types that values can have.
const std::vector<TypeCode> &allTypes();

// A value of any type, released with its owner.
class Value {
public:
  // An empty one.
  explicit Value(TypeCode type);
  // One that takes over what another owns.
  template <typename T> Value(TypeCode type, const T &value) : Value(type) {
    std::memcpy(data(), &value, sizeof value);
  }
  ~Value();
  Value(const Value &) = delete;
  Value &operator=(const Value &) = delete;

  TypeCode type() const { return type_; }
  void *data() const { return storage_.get(); }
  template <typename T> T &as() const { return *static_cast<T *>(data()); }

  // Whether every byte of the value's own storage is zero.
  bool isZero() const;
  // Gives every byte of the storage another content, without releasing anything.
  void scribble();

private:
  TypeCode type_;
  std::unique_ptr<std::byte[]> storage_;
};

template <typename T> any anyOf(TypeCode type, const T &value) {
  void *block = mg_malloc(sizeof value);
  std::memcpy(block, &value, sizeof value);
  return {type, block};
}

template <typename List, typename Element> List listOf(std::initializer_list<Element> elements) {
  List list{};
  for (const Element &element : elements) {
    seq_add(&list, &element, sizeof element);
  }
  return list;
}

StringList stringsOf(std::initializer_list<const char *> texts);
Property propertyOf(const char *key, any value);

// A property list with a property of each kind, other lists among them.
Properties someProperties();

// So many lists, anys or property lists within one another; the innermost one is empty.
Sequence nestedLists(size_t depth);
any nestedAnys(size_t depth);
Properties nestedProperties(size_t depth);

// What nests, how deep it may be and where it certainly may not any more.
struct Nesting {
  const char *name;
  size_t deepest;
  size_t tooDeep;
  std::unique_ptr<Value> (*make)(size_t depth);
};
std::ostream &operator<<(std::ostream &out, const Nesting &nesting);
const std::vector<Nesting> &nestings();

// The exception that a call has put into an environment, if any.
std::optional<Thrown> takenFrom(Environment &environment);

using Bytes = std::vector<uint8_t>;

// Numbers as big-endian words, text and other bytes as they are, one behind the other.
template <typename... Parts> Bytes bytesOf(const Parts &...parts) {
  Bytes bytes;
  const auto append = [&]<typename Part>(const Part &part) {
    if constexpr (std::is_integral_v<Part>) {
      for (const int shift : {24, 16, 8, 0}) {
        bytes.push_back(static_cast<uint8_t>(static_cast<uint32_t>(part) >> shift));
      }
    } else {
      bytes.insert(bytes.end(), std::begin(part), std::end(part));
    }
  };
  (append(parts), ...);
  return bytes;
}

// The encoding of a value; the test fails where there is none.
Bytes encoded(TypeCode type, const void *value);
inline Bytes encoded(const Value &value) { return encoded(value.type(), value.data()); }
// Why a value has no encoding.
int32_t encodingError(TypeCode type, const void *value);
// Decodes into an empty value. Returns why that failed.
int32_t decode(const Bytes &bytes, const Value &target);

// Values of any type, the same ones for the same seed.
class RandomValues {
public:
  explicit RandomValues(uint32_t seed) : engine_(seed) {}

  uint32_t below(uint32_t limit) { return engine_() % limit; }
  TypeCode type() { return allTypes()[below(static_cast<uint32_t>(allTypes().size()))]; }
  // Fills an empty value.
  void fill(Value &value) { fill(value.type(), value.data(), 0); }

private:
  void fill(TypeCode type, void *target, int depth);
  void fillNumber(TypeCode type, void *target);
  void fillSequence(TypeCode type, Sequence &target, int depth);
  void fillAny(any &target, int depth);
  void fillMembers(TypeCode type, void *target, int depth);
  char *text();

  std::mt19937 engine_;
};

} // namespace test

#endif
