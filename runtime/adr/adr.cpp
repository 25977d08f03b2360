// The functions of the encoding that others call.
#include <cstring>

#include "adr/buffer.h"
#include "values/layout.h"

using namespace sprig::runtime;

namespace {

AdrState *newBuffer() {
  auto *state = static_cast<AdrState *>(mg_malloc(sizeof(AdrState)));
  *state = {};
  return state;
}

constexpr const char *errorTexts[]{
    "success",
    "the data end in the middle of a value",
    "a list has more elements than the data can hold",
    "padding is not zero",
    "a number does not fit its type",
    "text has a NUL inside",
    "the type is unknown",
    "no registered repository has the type",
    "lists are nested too deep",
    "a type has no value",
    "the encoding is too large",
    "a list has elements that have no encoding",
};

} // namespace

size_t sprig::runtime::smallestStructEncoding(TypeCode type) {
  size_t size = 0;
  visitMembers(type, [&](TypeCode member, size_t) {
    size += member == nullptr ? 0 : smallestEncoding(member);
    return true;
  });
  return size;
}

AdrBuffer *adr_init_encode_buffer(TypeCode /*type*/, const void * /*value*/) { return newBuffer(); }

AdrBuffer *adr_init_decode_buffer(const uint8_t *data, uint32_t length) {
  AdrState *state = newBuffer();
  state->data = const_cast<uint8_t *>(data); // is only read
  state->length = data == nullptr ? 0 : length;
  state->isDecoding = true;
  return state;
}

void adr_free_buf(AdrBuffer *buffer) {
  if (buffer == nullptr) {
    return;
  }
  if (!static_cast<AdrState *>(buffer)->isDecoding) {
    mg_free(buffer->data);
  }
  mg_free(buffer);
}

void marshal_item(AdrBuffer *buffer, TypeCode type, void *value) {
  AdrState &state = *static_cast<AdrState *>(buffer);
  const TypeCode resolved = withoutAlias(type);
  if (resolved != nullptr && state.isDecoding) {
    memset(value, 0, resolved->size);
  }
  if (state.error != RUNTIME_ADR_OK) {
    return;
  }
  if (resolved == nullptr) {
    state.error = RUNTIME_ADR_TYPE;
  } else if (state.isDecoding) {
    decode(state, resolved, value);
  } else {
    encode(state, resolved, value);
  }
}

void adr_start_struct(AdrBuffer * /*buffer*/, TypeCode /*type*/) {}
void adr_end_struct(AdrBuffer * /*buffer*/, TypeCode /*type*/) {}
void adr_v_dummy(AdrBuffer * /*buffer*/, void * /*value*/) {}

void adr_v_string(AdrBuffer *buffer, char **value) { marshal_item(buffer, TC_string, value); }
void adr_v_long(AdrBuffer *buffer, int32_t *value) { marshal_item(buffer, TC_long, value); }
void adr_v_any(AdrBuffer *buffer, any *value) { marshal_item(buffer, TC_any, value); }
void adr_v_Object(AdrBuffer *buffer, Object *value) { marshal_item(buffer, TC_Object, value); }
void adr_v_tc_sequence(AdrBuffer *buffer, TypeCode type, void *value) {
  marshal_item(buffer, type, value);
}
void adr_v_NEX_Types_XOpenMessage(AdrBuffer *buffer, XOpenMessage *value) {
  marshal_item(buffer, TC_NEX_Types_XOpenMessage, value);
}

const char *runtime_adr_error_text(int32_t code) {
  constexpr int32_t count = sizeof errorTexts / sizeof errorTexts[0];
  return code >= 0 && code < count ? errorTexts[code] : "an unknown error";
}
