// The levels of the depot's log, and texts that stand in tables.
#ifndef SPRIG_DEPOT_LOG_H
#define SPRIG_DEPOT_LOG_H

#include <sprig/depot.h>
#include <sprig/framework.h>

namespace sprig {

inline constexpr int failureLevel = 0;    // ends an operation
inline constexpr int workaroundLevel = 1; // a problem that was worked around
inline constexpr int noticeLevel = 2;
inline constexpr int traceLevel = 3; // entry and exit

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

// Hands a text to the framework's log. It takes a format: the text has no single percent sign.
inline void passToLog(int level, const char *text) { LogMsg(level, 0, 0, -1, text); }

// Logs with a format that comes from a table, which knows what arguments there are.
template <typename... Arguments>
void logFormat(int level, const char *format, Arguments... arguments) {
  Logger(level, format, arguments...);
}

#pragma GCC diagnostic pop

} // namespace sprig

#endif
