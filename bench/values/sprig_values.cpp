#include <algorithm>
#include <cstring>
#include <utility>

#include <sprig/types.h>

#include "values/codec.h"

namespace bench {
namespace {

Properties build(const Record &record);

template <class Element> Element *newElements(size_t count) {
  return static_cast<Element *>(mg_calloc(count, sizeof(Element)));
}

template <class Element> Element *newElement(Element element) {
  auto *elements = newElements<Element>(1);
  *elements = element;
  return elements;
}

any build(const Value &value) {
  if (const auto *octets = std::get_if<Octets>(&value)) {
    const auto length = static_cast<uint32_t>(octets->size());
    auto *bytes = newElements<uint8_t>(length);
    std::copy(octets->begin(), octets->end(), bytes);
    return {TC_NEX_Types_OctetList, newElement(OctetList{length, length, bytes})};
  }
  if (const auto *record = std::get_if<Record>(&value)) {
    return {TC_NEX_Sprig2_Properties, newElement(build(*record))};
  }
  if (const auto *text = std::get_if<std::string>(&value)) {
    return {TC_string, newElement(mg_strdup(text->c_str()))};
  }
  if (const auto *number = std::get_if<int32_t>(&value)) {
    return {TC_long, newElement(*number)};
  }
  return {TC_boolean, newElement<uint8_t>(std::get<bool>(value) ? 1 : 0)};
}

Property build(const Field &field) { return {mg_strdup(field.name.c_str()), build(field.value)}; }

template <class Sequence, class Element> Sequence buildAll(const std::vector<Element> &elements) {
  using Target = std::remove_pointer_t<decltype(Sequence::buffer)>;
  const auto length = static_cast<uint32_t>(elements.size());
  Sequence sequence{length, length, newElements<Target>(length)};
  std::transform(elements.begin(), elements.end(), sequence.buffer,
                 [](const Element &element) { return build(element); });
  return sequence;
}

Properties build(const Record &record) { return buildAll<Properties>(record); }

PropertiesList build(const List &list) { return buildAll<PropertiesList>(list); }

void read(const Properties &properties, Record &record);

Value readValue(const any &value) {
  const auto is = [&](TypeCode type) { return TypeCode_equal(value.type, type) != 0; };
  if (is(TC_string)) {
    return std::string(*static_cast<char **>(value.value));
  }
  if (is(TC_long)) {
    return *static_cast<int32_t *>(value.value);
  }
  if (is(TC_boolean)) {
    return *static_cast<uint8_t *>(value.value) != 0;
  }
  if (is(TC_NEX_Types_OctetList)) {
    const auto *octets = static_cast<OctetList *>(value.value);
    return Octets(octets->buffer, octets->buffer + octets->length);
  }
  Record record;
  read(*static_cast<Properties *>(value.value), record);
  return record;
}

void read(const Properties &properties, Record &record) {
  record.reserve(properties.length);
  for (uint32_t k = 0; k < properties.length; ++k) {
    const Property &property = properties.buffer[k];
    record.push_back({property.key, readValue(property.value)});
  }
}

void read(const PropertiesList &records, List &list) {
  list.reserve(records.length);
  for (uint32_t k = 0; k < records.length; ++k) {
    read(records.buffer[k], list.emplace_back());
  }
}

template <class Document> struct Types;
template <> struct Types<Record> {
  using Stored = Properties;
  static TypeCode code() { return TC_NEX_Sprig2_Properties; }
};
template <> struct Types<List> {
  using Stored = PropertiesList;
  static TypeCode code() { return TC_NEX_Sprig2_PropertiesList; }
};

struct ReleaseBuffer {
  void operator()(AdrBuffer *buffer) const { adr_free_buf(buffer); }
};
using Buffer = std::unique_ptr<AdrBuffer, ReleaseBuffer>;

template <class Document> struct SprigFormat {
  using Stored = typename Types<Document>::Stored;

  class Value {
  public:
    Value() = default;
    explicit Value(Stored stored) : stored_(stored) {}
    ~Value() { nex_free_generic(&stored_, Types<Document>::code()); }
    Value(Value &&other) noexcept : stored_(std::exchange(other.stored_, Stored{})) {}
    Value(const Value &) = delete;
    Value &operator=(const Value &) = delete;
    Value &operator=(Value &&) = delete;

    Stored *get() const { return &stored_; }

  private:
    mutable Stored stored_{}; // encoding and decoding are one function
  };

  static Value build(const Document &document) { return Value(bench::build(document)); }
  static Buffer encode(const Value &value) {
    Buffer buffer(adr_init_encode_buffer(Types<Document>::code(), value.get()));
    marshal_item(buffer.get(), Types<Document>::code(), value.get());
    return buffer;
  }
  static Value decode(const Buffer &encoding) {
    Value value;
    const Buffer buffer(adr_init_decode_buffer(encoding->data, encoding->length));
    marshal_item(buffer.get(), Types<Document>::code(), value.get());
    return value;
  }
  static Value copy(const Value &value) {
    Value result;
    Environment environment{};
    _t_generic_copy(Types<Document>::code(), &environment, value.get(), result.get());
    return result;
  }
  static bool equal(const Value &a, const Value &b) {
    Environment environment{};
    return _t_generic_equal(Types<Document>::code(), &environment, a.get(), b.get()) != 0;
  }
  static Document read(const Value &value) {
    Document document;
    bench::read(*value.get(), document);
    return document;
  }
};

template <class Document> Octets encodingOf(const Document &document) {
  const Buffer buffer = SprigFormat<Document>::encode(SprigFormat<Document>::build(document));
  return Octets(buffer->data, buffer->data + buffer->length);
}

} // namespace

Task makeSprigTask(Operation operation, int64_t size) {
  sprig_init();
  return makeTaskOfSize<SprigFormat>(operation, size);
}

Task makeBytesTask(Operation operation, int64_t size) {
  sprig_init();
  const Octets bytes =
      size == listSize ? encodingOf(makeList()) : encodingOf(makeRecord(static_cast<size_t>(size)));
  if (operation == Operation::equal) {
    return [bytes, other = bytes] {
      benchmark::DoNotOptimize(memcmp(bytes.data(), other.data(), bytes.size()));
    };
  }
  return [bytes] {
    void *block = malloc(bytes.size());
    benchmark::DoNotOptimize(memcpy(block, bytes.data(), bytes.size()));
    benchmark::ClobberMemory();
    free(block);
  };
}

} // namespace bench
