// How numbers and times are shown to a person.
#ifndef SPRIG_TOOLS_OUTPUT_H
#define SPRIG_TOOLS_OUTPUT_H

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

bool isTerminal(int descriptor);

// "512 B", "1.5 KiB", "50.3 MiB".
std::string shownSize(uint64_t bytes);
// "7 s", "2 min 05 s", "3 h 20 min".
std::string shownDuration(std::chrono::seconds duration);
// "1 segment", "3 segments".
std::string counted(uint64_t count, const std::string &thing);

// A duration such as "90s", "15m", "12h", "30d", "4w", or plain seconds. Throws Failure for others.
std::chrono::seconds parseDuration(const std::string &text);

// Text from outside, on one line and without what would steer a terminal: control characters become
// question marks.
std::string printable(std::string_view text);

// "warning: TEXT" on standard error, the text as printable() has it.
void warn(std::string_view text);

} // namespace tool

#endif
