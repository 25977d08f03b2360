// The library's own exceptions: records with one message, made and thrown.
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <sprig/exceptions.h>
#include <sprig/types.h>

#include "framework/try_frame.h"

using namespace sprig;

namespace {

constexpr const char *wholeMessage = "%7$M"; // shows the texts of the record's seventh member
constexpr const char *illegalTypes = "Format has illegal types (%1$s)";
constexpr uint32_t growth = 10; // arguments

// The letters of a text's conversions, one after the other.
class ConversionLetters {
public:
  explicit ConversionLetters(const char *text) : at_(text) {}

  // The next one; '\0' at the end of the text, or where a conversion is illegal.
  char next() {
    while ((at_ = strchr(at_, '%')) != nullptr) {
      ++at_;
      if (*at_ == '%') {
        ++at_;
        continue;
      }
      at_ += strspn(at_, "0123456789.");
      const char letter = *at_ == '$' ? at_[1] : '\0';
      isIllegal_ = letter == '\0' || strchr("duoxXs", letter) == nullptr;
      at_ += isIllegal_ ? 0 : 2;
      return isIllegal_ ? '\0' : letter;
    }
    return '\0';
  }

  bool isIllegal() const { return isIllegal_; }

private:
  const char *at_;
  bool isIllegal_ = false;
};

bool hasOnlyLegalConversions(const char *text) {
  ConversionLetters letters(text);
  while (letters.next() != '\0') {
  }
  return !letters.isIllegal();
}

char *formatted(size_t size, const char *format, int number) {
  char *text = static_cast<char *>(mg_malloc(size));
  (void)snprintf(text, size, format, number); // NOLINT(clang-diagnostic-format-nonliteral)
  return text;
}

char *errorText(int nativeError) {
  constexpr size_t size = 40;
  return strerrordesc_np(nativeError) != nullptr ? mg_strdup(strerror(nativeError))
                                                 : formatted(size, "errno=%d", nativeError);
}

char *numberText(int number) {
  constexpr size_t size = 21;
  return formatted(size, "%u", number);
}

char *textArgument(const char *text, int nativeError) {
  if (text == nullptr) {
    return mg_strdup("(null)");
  }
  return strcmp(text, "$errno") == 0 ? errorText(nativeError) : mg_strdup(text);
}

void append(StringList &list, char *text) {
  ex_delegate(text, mg_free);
  if (list.length == list.maximum) {
    const size_t size = (size_t{list.maximum} + growth) * sizeof(char *);
    list.buffer =
        static_cast<char **>(list.maximum == 0 ? mg_malloc(size) : mg_realloc(list.buffer, size));
    list.maximum += growth;
  }
  list.buffer[list.length++] = text;
  ex_undelegate(text, 0);
}

// The arguments that the text asks for, each as text.
void takeArguments(StringList &list, const char *text, int nativeError, va_list &arguments) {
  ConversionLetters letters(text);
  while (const char letter = letters.next()) {
    append(list, letter == 's' ? textArgument(va_arg(arguments, const char *), nativeError)
                               : numberText(va_arg(arguments, int)));
  }
  list.maximum = list.length;
}

// Fills in the message of a record, which owns each part as soon as it is there.
void addMessage(ExErrorMsg &record, const char *catalog, int32_t id, const char *text,
                int nativeError, va_list &arguments) {
  const MessageEntry empty{};
  seq_add(&record.emsg, &empty, sizeof empty);
  MessageEntry &entry = record.emsg.buffer[0];
  auto *list = static_cast<StringList *>(mg_calloc(1, sizeof(StringList)));
  entry.arguments = {TC_NEX_Types_StringList, list};
  if (hasOnlyLegalConversions(text)) {
    entry.catalog = mg_strdup(catalog);
    entry.default_text = mg_strdup(text);
    entry.message_id = id;
    takeArguments(*list, text, nativeError, arguments);
  } else {
    entry.default_text = mg_strdup(illegalTypes);
    append(*list, mg_strdup(text));
    list->maximum = list->length;
  }
}

char *copyOrAbort(const char *text) {
  char *copy = mg_strdup(text);
  if (copy == nullptr) {
    abort();
  }
  return copy;
}

void releaseRecord(void *record) {
  nex_free_generic(record, TC_NEX_Sprig2_ExSprigException);
  mg_free(record);
}

} // namespace

void *vMakeExErrorDerived(const char *type_name, size_t record_size, const char *catalog,
                          int32_t message_id, const char *default_text, va_list arguments) {
  const int nativeError = errno;
  ExErrorMsg *record = nullptr;
  va_list rest;
  va_copy(rest, arguments);
  inTryFrame([&] {
    record = static_cast<ExErrorMsg *>(mg_calloc(1, std::max(record_size, sizeof(ExErrorMsg))));
    ex_delegate(record, releaseRecord);
    addMessage(*record, catalog, message_id, default_text, nativeError, rest);
    record->type_name = copyOrAbort(type_name);
    record->default_msg = copyOrAbort(wholeMessage);
    record->time_stamp = static_cast<int32_t>(std::min<time_t>(time(nullptr), INT32_MAX));
    ex_undelegate(record, 0);
  });
  va_end(rest);
  return record;
}

void vaMThrow(const char *type_name, const char *catalog, int32_t message_id,
              const char *default_text, ...) {
  va_list arguments;
  va_start(arguments, default_text);
  auto *record = static_cast<ExErrorMsg *>(vMakeExErrorDerived(
      type_name, sizeof(ExDistributionDeferred), catalog, message_id, default_text, arguments));
  va_end(arguments);
  eh_throw(record->type_name, record);
}

void vaMThrowChild(const char *type_name, const void *template_record, size_t record_size,
                   const char *catalog, int32_t message_id, const char *default_text, ...) {
  va_list arguments;
  va_start(arguments, default_text);
  auto *record = static_cast<ExErrorMsg *>(
      vMakeExErrorDerived(type_name, record_size, catalog, message_id, default_text, arguments));
  va_end(arguments);
  if (record_size > sizeof *record && template_record != nullptr) {
    memcpy(record + 1, static_cast<const ExErrorMsg *>(template_record) + 1,
           record_size - sizeof *record);
  }
  eh_throw(record->type_name, record);
}
