#include "exceptions/record.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "exceptions/conversion.h"
#include "exceptions/exhaustion.h"
#include "exceptions/frame.h"
#include "memory/heap.h"
#include "values/repository.h"
#include "values/types.h"

using namespace sprig::runtime;

namespace {

constexpr const char *typeName = "ExErrorMsg";
constexpr const char *wholeMessage = "%7$M"; // the texts of the record's seventh member

// What the text does with each argument, by position; where it names none, '\0'.
struct Letters {
  char of[mostArguments] = {};
  uint32_t count = 0;
};

Letters lettersOf(const char *text) {
  Letters letters;
  Conversions conversions(text);
  std::string_view plain;
  Conversion conversion;
  while (conversions.next(plain, conversion)) {
    if (conversion.position > 0) {
      letters.of[conversion.position - 1] = conversion.letter;
      letters.count = std::max(letters.count, conversion.position);
    }
  }
  return letters;
}

char *numberText(const char *format, int number) {
  char text[sizeof "-2147483648"];
  (void)snprintf(text, sizeof text, format, number);
  return mg_strdup(text);
}

char *argumentText(char letter, va_list &arguments) {
  switch (letter) {
  case 's': {
    const char *text = va_arg(arguments, const char *);
    return mg_strdup(text == nullptr ? "(null)" : text);
  }
  case 'c':
  case 'u':
  case 'o':
  case 'x':
  case 'X': {
    const char format[]{'%', letter, '\0'};
    return numberText(format, va_arg(arguments, int));
  }
  case '\0': // that the text passes over: of any type, but all take the same room
    (void)va_arg(arguments, void *);
    return mg_strdup("");
  default:
    return numberText("%d", va_arg(arguments, int));
  }
}

// Fills in an entry that the record has already, so that nothing is lost when memory runs out.
void fillEntry(MessageEntry &entry, const char *catalog, int32_t id, const char *text,
               va_list &arguments) {
  entry.message_id = id;
  entry.catalog = mg_strdup(catalog);
  entry.default_text = mg_strdup(text);
  auto *list = static_cast<StringList *>(mg_calloc(1, sizeof(StringList)));
  entry.arguments = {TC_NEX_Types_StringList, list};
  const Letters letters = lettersOf(text);
  if (letters.count > 0) {
    list->buffer = static_cast<char **>(mg_calloc(letters.count, sizeof(char *)));
    list->maximum = letters.count;
  }
  while (list->length < letters.count) {
    list->buffer[list->length] = argumentText(letters.of[list->length], arguments);
    ++list->length;
  }
}

// By the name in it; null where no repository has that.
TypeCode typeOf(void *record) {
  const char *name = *static_cast<char **>(record);
  return name == nullptr ? nullptr : findType(name);
}

} // namespace

bool sprig::runtime::hasMessage(void *record, bool isBlock) {
  if (record == noMemoryRecord()) {
    return true;
  }
  const TypeCode type = typeOf(record);
  if (type == nullptr) {
    return !isBlock || blockSize(record) >= sizeof(ExErrorMsg);
  }
  return type == TC_ExErrorMsg ||
         (type->ancestry != nullptr && strstr(type->ancestry, typeName) != nullptr);
}

const char *sprig::runtime::nameOfRecord(void *record) {
  const char *name = *static_cast<char **>(record);
  return name == nullptr ? "without a type" : name;
}

// A record of an unknown type, or made without the members of its own, has what is in each.
void sprig::runtime::releaseRecord(void *record) {
  if (record == noMemoryRecord()) {
    return;
  }
  TypeCode type = typeOf(record);
  const size_t size = blockSize(record);
  if (type == nullptr || size < type->size) {
    type = size < sizeof(ExErrorMsg) ? nullptr : TC_ExErrorMsg;
  }
  nex_free_generic(record, type);
  mg_free(record);
}

ExErrorMsg *sprig::runtime::newMessageRecord(const char *catalog, int32_t id, const char *text,
                                             va_list arguments) {
  ExErrorMsg *record = nullptr;
  va_list rest;
  va_copy(rest, arguments);
  inTryFrame([&] {
    record = static_cast<ExErrorMsg *>(mg_calloc(1, sizeof(ExErrorMsg)));
    ex_delegate(record, releaseRecord);
    record->type_name = mg_strdup(typeName);
    record->default_msg = mg_strdup(wholeMessage);
    record->time_stamp = static_cast<int32_t>(std::min<time_t>(time(nullptr), INT32_MAX));
    record->emsg.buffer = static_cast<MessageEntry *>(mg_calloc(1, sizeof(MessageEntry)));
    record->emsg.maximum = record->emsg.length = 1;
    fillEntry(record->emsg.buffer[0], catalog, id, text == nullptr ? "" : text, rest);
    ex_undelegate(record, 0);
  });
  va_end(rest);
  return record;
}
