// Sending data back through a stream, in messages of 16 KiB, each of which is answered before the
// next one goes out. A time is that of one message and its answer.
#include <cstdint>

#include "streams/messages.h"
#include "support/ratios.h"

namespace {

constexpr int64_t messageCount = 256;

constexpr bench::Subject subjects[] = {
    {"sprig", bench::makeSprigWriter, bench::makeSprigAnswerer},
    {"socket", bench::makeSocketWriter, bench::makeSocketAnswerer},
    {"zeromq", bench::makeZeromqWriter, bench::makeZeromqAnswerer},
};

} // namespace

int main(int argc, char **argv) {
  for (const bench::Subject &subject : subjects) {
    bench::addExchange("send", subject, messageCount);
  }
  return bench::run(argc, argv);
}
