// Any bytes as the encoding of a value: decoding never fails in another way than with an error,
// does not take more memory than the bytes account for, and what was decoded has these very bytes
// as its encoding. The first byte says of which type the value is.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <sprig/framework.h>
#include <sprig/runtime.h>
#include <sprig/types.h>

namespace {

// Twice what it takes: a list in a list is a record of 16 bytes, from 4.
constexpr size_t memoryPerByte = 8;

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

TypeCode typeOf(uint8_t choice) {
  const bool isOfLibrary = choice >= 0x80;
  const TypeRepository &types = isOfLibrary ? *Sprig2_type_repository : *stypes_type_repository;
  return types.types[(choice & 0x7f) % types.count];
}

// A value with what it owns.
class Value {
public:
  explicit Value(TypeCode type) : data(calloc(1, type->size)), type_(type) {
    expect(data != nullptr);
  }
  ~Value() {
    nex_free_generic(data, type_);
    free(data);
  }
  Value(const Value &) = delete;
  Value &operator=(const Value &) = delete;

  void *const data;

private:
  TypeCode type_;
};

// How many bytes a value owns.
size_t owned(TypeCode type, const void *value);

size_t ownedByMembers(TypeCode type, const char *value) {
  size_t size = 0;
  for (uint32_t i = 0; i < type->member_count; ++i) {
    const TypeCode member = type->members[i].type;
    const bool isNumber = member->kind == TYPE_KIND_LONG; // of those that there are here
    const size_t alignment = isNumber ? alignof(int32_t) : alignof(void *);
    value += -reinterpret_cast<uintptr_t>(value) % alignment;
    size += owned(member, value);
    value += member->size;
  }
  return size;
}

size_t ownedByList(TypeCode element, const Sequence &list) {
  size_t size = size_t{list.maximum} * element->size;
  for (uint32_t i = 0; i < list.length; ++i) {
    size += owned(element, static_cast<char *>(list.buffer) + size_t{i} * element->size);
  }
  return size;
}

size_t owned(TypeCode type, const void *value) {
  switch (type->kind) {
  case TYPE_KIND_STRING:
  case TYPE_KIND_OBJECT: {
    const char *text = *static_cast<char *const *>(value);
    return text == nullptr ? 0 : strlen(text) + 1;
  }
  case TYPE_KIND_ANY: {
    const any &typed = *static_cast<const any *>(value);
    return typed.value == nullptr ? 0 : typed.type->size + owned(typed.type, typed.value);
  }
  case TYPE_KIND_SEQUENCE:
    return ownedByList(type->members[0].type, *static_cast<const Sequence *>(value));
  case TYPE_KIND_STRUCT:
  case TYPE_KIND_EXCEPTION:
    return ownedByMembers(type, static_cast<const char *>(value));
  default:
    return 0;
  }
}

int32_t decode(TypeCode type, const uint8_t *data, size_t size, const Value &value) {
  AdrBuffer *buffer = adr_init_decode_buffer(data, static_cast<uint32_t>(size));
  marshal_item(buffer, type, value.data);
  const int32_t error = buffer->error;
  adr_free_buf(buffer);
  return error;
}

// The value has the data's beginning as its encoding. Returns how many bytes that are.
size_t expectEncoding(TypeCode type, const Value &value, const uint8_t *data, size_t size) {
  AdrBuffer *buffer = adr_init_encode_buffer(type, value.data);
  marshal_item(buffer, type, value.data);
  const size_t length = buffer->length;
  expect(buffer->error == RUNTIME_ADR_OK && length > 0 && length <= size);
  expect(memcmp(buffer->data, data, length) == 0);
  adr_free_buf(buffer);
  return length;
}

void expectCopied(TypeCode type, const Value &value, const uint8_t *data, size_t length) {
  const Value copy(type);
  Environment environment{};
  _t_generic_copy(type, &environment, value.data, copy.data);
  expect(environment.exception == nullptr);
  expect(_t_generic_equal(type, &environment, value.data, copy.data) != 0);
  expect(environment.exception == nullptr);
  expect(expectEncoding(type, copy, data, length) == length);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) {
    return 0;
  }
  sprig_init();
  const TypeCode type = typeOf(data[0]);
  ++data;
  --size;
  const Value value(type);
  const int32_t error = decode(type, data, size, value);
  expect(error >= RUNTIME_ADR_OK && error <= RUNTIME_ADR_DEPTH);
  expect(owned(type, value.data) <= memoryPerByte * size);
  if (error != RUNTIME_ADR_OK) {
    return 0;
  }
  const size_t length = expectEncoding(type, value, data, size);
  expectCopied(type, value, data, length);
  expect(decode(type, data, length - 1, Value(type)) != RUNTIME_ADR_OK);
  return 0;
}
