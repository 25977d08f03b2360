// Times and commands as text.
#include <ctime>
#include <iterator>

#include <sprig/records.h>

size_t time_to_string(char *buffer, size_t size, int32_t time) {
  const time_t seconds = time;
  tm local{};
  return localtime_r(&seconds, &local) == nullptr
             ? 0
             : strftime(buffer, size, "%Y/%m/%d %H:%M:%S ", &local);
}

const char *decode_command(uint32_t n) {
  constexpr const char *names[]{"NULL", "DATA", "CANCEL", "PAUSE", "EXPIRE", "ROAM"};
  return n < std::size(names) ? names[n] : nullptr;
}
