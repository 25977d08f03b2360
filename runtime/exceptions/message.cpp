// Messages as text for a person: translated, with their arguments put in.
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <nl_types.h>

#include <sprig/framework.h>

#include "exceptions/conversion.h"
#include "exceptions/frame.h"
#include "exceptions/record.h"

using namespace sprig::runtime;

namespace {

constexpr int messageSet = 1; // of a catalog

// Text in the making.
struct Text {
  char *buffer = nullptr;
  size_t length = 0;
  size_t room = 0;

  void add(std::string_view part) {
    if (room - length <= part.size()) { // and a NUL
      const size_t wanted = std::max(2 * room, length + part.size() + 1);
      buffer = static_cast<char *>(mg_realloc(buffer, wanted));
      room = wanted;
    }
    part.copy(buffer + length, part.size());
    length += part.size();
    buffer[length] = '\0';
  }
};

// A text with each of its conversions replaced by what addConversion(conversion) adds.
template <typename AddConversion>
void addText(Text &text, const char *format, AddConversion addConversion) {
  Conversions conversions(format);
  std::string_view plain;
  Conversion conversion;
  while (conversions.next(plain, conversion)) {
    text.add(plain);
    if (conversion.letter == '%') {
      text.add("%");
    } else {
      addConversion(conversion);
    }
  }
  text.add(plain);
}

const nl_catd noCatalog = reinterpret_cast<nl_catd>(-1); // NOLINT: what catopen() fails with

// Catalogs are files by their name, or with the customary ending. The language is that of the
// program's locale; where it has chosen none, that of the environment.
nl_catd openCatalog(const char *name) {
  const char *locale = setlocale(LC_MESSAGES, nullptr);
  const bool isChosen =
      locale != nullptr && strcmp(locale, "C") != 0 && strcmp(locale, "POSIX") != 0;
  char file[256];
  for (const char *ending : {"", ".cat"}) {
    const int size = snprintf(file, sizeof file, "%s%s", name, ending);
    if (size < 0 || static_cast<size_t>(size) >= sizeof file) {
      return noCatalog;
    }
    const nl_catd catalog = catopen(file, isChosen ? NL_CAT_LOCALE : 0);
    if (catalog != noCatalog) {
      return catalog;
    }
  }
  return noCatalog;
}

// A message's text in the user's language, released with the innermost frame.
const char *translated(const char *catalogName, int32_t id, const char *text) {
  if (text == nullptr) {
    text = "";
  }
  // A path as a name would have any file of the system read.
  if (catalogName == nullptr || *catalogName == '\0' || strchr(catalogName, '/') != nullptr) {
    return text;
  }
  const nl_catd catalog = openCatalog(catalogName);
  if (catalog == noCatalog) {
    return text;
  }
  char *copy = nullptr;
  inTryFrame([&] { copy = mg_strdup(catgets(catalog, messageSet, id, text)); },
             [&](void *exception) {
               catclose(catalog);
               throwRecord(exception);
             });
  catclose(catalog);
  ex_delegate(copy, mg_free);
  return copy;
}

void addTime(Text &text, const char *argument, std::string_view format) {
  char pattern[128];
  char shown[256];
  const time_t time = static_cast<time_t>(strtoll(argument, nullptr, 10));
  tm parts{};
  if (format.empty()) {
    format = "%c";
  }
  if (format.size() >= sizeof pattern || localtime_r(&time, &parts) == nullptr) {
    text.add(argument);
    return;
  }
  pattern[format.copy(pattern, sizeof pattern - 1)] = '\0';
  text.add({shown, strftime(shown, sizeof shown, pattern, &parts)});
}

void addMessage(Text &text, const char *format, const StringList &arguments) {
  addText(text, format, [&](const Conversion &conversion) {
    if (conversion.position > arguments.length) {
      text.add(conversion.whole);
      return;
    }
    const char *given = arguments.buffer[conversion.position - 1];
    const char *argument = given == nullptr ? "" : given;
    if (conversion.letter == 't') {
      addTime(text, argument, conversion.format);
    } else {
      text.add(argument);
    }
  });
}

void addMessages(Text &text, const XOpenMessage &messages) {
  for (uint32_t i = 0; i < messages.length; ++i) {
    const MessageEntry &entry = messages.buffer[i];
    const bool hasArguments = TypeCode_equal(entry.arguments.type, TC_NEX_Types_StringList) != 0 &&
                              entry.arguments.value != nullptr;
    const StringList none{};
    addMessage(text, translated(entry.catalog, entry.message_id, entry.default_text),
               hasArguments ? *static_cast<const StringList *>(entry.arguments.value) : none);
  }
}

void addNumber(Text &text, int32_t number) {
  char shown[sizeof "-2147483648"];
  (void)snprintf(shown, sizeof shown, "%d", static_cast<int>(number));
  text.add(shown);
}

// A member of the record, which a conversion names by its position.
void addMember(Text &text, const ExErrorMsg &record, const Conversion &conversion) {
  const auto addText = [&](const char *member) { text.add(member == nullptr ? "" : member); };
  switch (conversion.position) {
  case 1:
    return addText(record.type_name);
  case 2:
    return addText(record.catalog);
  case 3:
    return addNumber(text, record.key);
  case 4:
    return addText(record.default_msg);
  case 5:
    return addNumber(text, record.time_stamp);
  case 7:
    return addMessages(text, record.emsg);
  default:
    text.add(conversion.whole);
  }
}

void addRecord(Text &text, const ExErrorMsg &record) {
  const char *whole = record.default_msg == nullptr ? "%7$M" : record.default_msg;
  addText(text, translated(record.catalog, record.key, whole),
          [&](const Conversion &conversion) { addMember(text, record, conversion); });
}

} // namespace

char *def_ex_bind(void *exception) {
  if (exception == nullptr) {
    return mg_strdup("");
  }
  if (!hasMessage(exception, isThrown(exception))) {
    return mg_strdup(nameOfRecord(exception));
  }
  Text text;
  inTryFrame([&] { addRecord(text, *static_cast<const ExErrorMsg *>(exception)); },
             [&](void *another) {
               mg_free(text.buffer);
               throwRecord(another);
             });
  return text.buffer;
}
