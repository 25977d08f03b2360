#include "support/exceptions.h"

#include <csetjmp>

#include <sprig/framework.h>

namespace {

std::string orEmpty(const char *text) { return text == nullptr ? "" : text; }

void readMessage(const MessageEntry &entry, test::Thrown &thrown) {
  if (entry.catalog != nullptr) {
    thrown.catalog = entry.catalog;
  }
  thrown.id = entry.message_id;
  thrown.defaultText = orEmpty(entry.default_text);
  if (TypeCode_equal(entry.arguments.type, TC_NEX_Types_StringList) != 0) {
    const auto *list = static_cast<const StringList *>(entry.arguments.value);
    for (uint32_t i = 0; i < list->length; ++i) {
      thrown.arguments.push_back(orEmpty(list->buffer[i]));
    }
  }
}

test::Thrown read(void *exception) {
  const auto *record = static_cast<const ExErrorMsg *>(exception);
  test::Thrown thrown;
  thrown.typeName = orEmpty(record->type_name);
  thrown.timeStamp = record->time_stamp;
  if (record->emsg.length > 0) {
    readMessage(record->emsg.buffer[0], thrown);
  }
  char *text = def_ex_bind(exception);
  thrown.text = orEmpty(text);
  mg_free(text);
  return thrown;
}

std::optional<test::Thrown> caught(EhFrame *frame) {
  std::optional<test::Thrown> result;
  if (eh_catch_all(frame) != 0) {
    result = read(eh_current_exception(frame));
  }
  eh_pop_try(frame);
  return result;
}

} // namespace

std::optional<test::Thrown> test::thrownBy(void (*body)(void *), void *context) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) {
    body(context);
    eh_pop_try(frame);
    return std::nullopt;
  }
  return caught(frame);
}

std::ostream &test::operator<<(std::ostream &out, const Thrown &thrown) {
  return out << thrown.typeName << ' ' << thrown.id << ": " << thrown.text;
}
