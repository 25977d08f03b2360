#include "exceptions/uncaught.h"

#include <csignal>
#include <cstdlib>
#include <cstring>

#include <sys/uio.h>
#include <unistd.h>

#include <sprig/framework.h>

#include "exceptions/exhaustion.h"
#include "exceptions/frame.h"
#include "exceptions/record.h"

using namespace sprig::runtime;

namespace {

// One line in one write, without the need for memory.
template <typename... Part> [[noreturn]] void end(Part... parts) {
  (void)signal(SIGPIPE, SIG_IGN); // the process ends, but of nothing less
  const iovec line[]{{const_cast<char *>(parts), strlen(parts)}...};
  (void)!writev(STDERR_FILENO, line, sizeof...(parts));
  abort();
}

} // namespace

void sprig::runtime::endProcess(const char *reason) { end("sprig-runtime: ", reason, "\n"); }

void sprig::runtime::endProcessFor(void *record) {
  if (record == noMemoryRecord()) {
    endProcess("out of memory, and no try frame is open");
  }
  char *text = nullptr;
  if (hasMessage(record, true)) {
    inTryFrame([&] { text = def_ex_bind(record); }, [](void *) {});
  }
  if (text == nullptr) {
    end("sprig-runtime: no try frame is open for the exception ", nameOfRecord(record), "\n");
  }
  const size_t length = strlen(text);
  const char *newline = length > 0 && text[length - 1] == '\n' ? "" : "\n";
  end("sprig-runtime: no try frame is open for the exception ", nameOfRecord(record), ": ", text,
      newline);
}
