// Exceptions with one message, thrown or put into an environment.
#include <cstdarg>
#include <utility>

#include <sprig/framework.h>

#include "exceptions/frame.h"
#include "exceptions/record.h"

using namespace sprig::runtime;

void vaThrow(const char *catalog_name, int32_t message_id, const char *default_text, ...) {
  va_list arguments;
  va_start(arguments, default_text);
  ExErrorMsg *record = newMessageRecord(catalog_name, message_id, default_text, arguments);
  va_end(arguments);
  throwRecord(record);
}

void vaRaiseException(Environment *environment, int /*reserved*/, int /*target*/,
                      const char *format, ...) {
  void *record = nullptr;
  va_list arguments;
  va_start(arguments, format);
  inTryFrame([&] { record = newMessageRecord(nullptr, 0, format, arguments); },
             [&](void *exception) { record = exception; });
  va_end(arguments);
  if (environment != nullptr && environment->exception != nullptr) {
    releaseRecord(environment->exception);
  }
  putInto(environment, record);
}

void ev_to_exception(Environment *environment) {
  if (environment == nullptr || environment->exception == nullptr) {
    vaThrow(nullptr, 0, "A call failed without saying why.\n");
  }
  throwRecord(std::exchange(environment->exception, nullptr));
}
