#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "depot/log.h"

using namespace sprig;

namespace {

constexpr size_t textSize = 1024;
constexpr size_t argumentsMargin = 50; // what the arguments' text may add to the format at least

// Hands a finished text to the log, which takes a format: every percent sign is doubled.
void logText(int level, const char *text) {
  char escaped[2 * textSize];
  char *at = escaped;
  for (; *text != '\0'; ++text) {
    if (*text == '%') {
      *at++ = '%';
    }
    *at++ = *text;
  }
  *at = '\0';
  passToLog(level, escaped);
}

} // namespace

void Logger(int level, const char *format, ...) {
  if (format == nullptr || strlen(format) + argumentsMargin > textSize) {
    return;
  }
  if (strchr(format, '%') == nullptr) {
    passToLog(level, format); // a line that nobody wants then costs next to nothing
    return;
  }
  char text[textSize] = "";
  va_list arguments;
  va_start(arguments, format);
  (void)vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  logText(level, text);
}
