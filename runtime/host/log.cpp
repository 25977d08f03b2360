// The log: lines of LogMsg() and LogQ(), to a sink, standard error, a file or syslog.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <mutex>
#include <string_view>

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <sprig/framework.h>
#include <sprig/runtime.h>

#include "host/quiet_write.h"

namespace {

constexpr int processLogLevel = -1; // of LogQ()
constexpr int defaultLevel = 1;
constexpr int notYetRead = std::numeric_limits<int>::max() - 1;
constexpr int everything = std::numeric_limits<int>::max();

struct Sink {
  RuntimeLogSink function;
  void *context;
};

std::mutex guard; // of the sink and of what the environment says
Sink sink{};
bool usesSyslog = false;
int descriptor = -1; // of KRT_LOG's file

// The highest level that anybody wants to have. It is looked at without the guard, so that a line
// that nobody wants costs next to nothing.
std::atomic<int> wanted = notYetRead;

// What KRT_LOG_LEVEL says; the default where it is no number.
int levelFrom(const char *text) {
  char *end = nullptr;
  const long number = text == nullptr ? defaultLevel : strtol(text, &end, 10);
  if (text != nullptr && (end == text || *end != '\0')) {
    return defaultLevel;
  }
  constexpr long lowest = std::numeric_limits<int>::min();
  constexpr long highest = notYetRead - 1;
  return static_cast<int>(std::clamp(number, lowest, highest));
}

void readEnvironment() {
  if (descriptor != -1) {
    close(descriptor);
    descriptor = -1;
  }
  const char *target = getenv("KRT_LOG");
  const std::string_view name = target == nullptr ? "" : target;
  usesSyslog = name == "syslog";
  if (!usesSyslog && !name.empty() && name != "stderr") {
    constexpr mode_t ownerOnly = 0600;
    descriptor = open(target, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, ownerOnly);
  }
  wanted = levelFrom(getenv("KRT_LOG_LEVEL"));
}

int syslogPriority(int level) {
  switch (level) {
  case 0:
    return LOG_ERR;
  case 1:
    return LOG_WARNING;
  case 2:
    return LOG_NOTICE;
  case processLogLevel:
    return LOG_INFO;
  default:
    return LOG_DEBUG;
  }
}

// One write for the whole line, so that lines of several processes stay apart.
void writeLine(int level, const char *text) {
  timespec now{};
  tm parts{};
  (void)clock_gettime(CLOCK_REALTIME, &now);
  localtime_r(&now.tv_sec, &parts);
  char time[sizeof "2026-12-31 23:59:59 +0000 and room for a far year"];
  strftime(time, sizeof time, "%F %T %z", &parts);

  const size_t length = strlen(text);
  const char *newline = length > 0 && text[length - 1] == '\n' ? "" : "\n";
  char name[sizeof "-2147483648"];
  (void)snprintf(name, sizeof name, level == processLogLevel ? "Q" : "%d", level);
  char *line = nullptr;
  const int size =
      asprintf(&line, "%s [%d] %s: %s%s", time, static_cast<int>(getpid()), name, text, newline);
  if (size >= 0) {
    const int target = descriptor == -1 ? STDERR_FILENO : descriptor;
    const iovec whole{line, static_cast<size_t>(size)};
    (void)sprig::runtime::writeWithoutSignal(target, &whole, 1);
    free(line);
  }
}

void deliver(int level, const char *text) {
  Sink receiver{};
  {
    const std::lock_guard lock(guard);
    receiver = sink;
    if (receiver.function == nullptr) {
      if (wanted == notYetRead) {
        readEnvironment();
      }
      if (level > wanted) {
        return;
      }
      if (usesSyslog) {
        syslog(LOG_USER | syslogPriority(level), "%s", text);
      } else {
        writeLine(level, text);
      }
    }
  }
  if (receiver.function != nullptr) {
    receiver.function(receiver.context, level, text);
  }
}

void logLine(int level, const char *format, va_list arguments) {
  if (format == nullptr || level > wanted) {
    return;
  }
  const int nativeError = errno;
  char *text = nullptr;
  if (vasprintf(&text, format, arguments) >= 0) {
    deliver(level, text);
    free(text);
  }
  errno = nativeError;
}

} // namespace

void LogQ(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logLine(processLogLevel, format, arguments);
  va_end(arguments);
}

void LogMsg(int level, int /*catalog*/, int /*message*/, int /*target*/, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logLine(level, format, arguments);
  va_end(arguments);
}

void runtime_set_log_sink(RuntimeLogSink function, void *context) {
  const std::lock_guard lock(guard);
  sink = {function, context};
  wanted = function == nullptr ? notYetRead : everything;
}
