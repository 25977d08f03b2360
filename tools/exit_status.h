// How the program ends.
#ifndef SPRIG_TOOLS_EXIT_STATUS_H
#define SPRIG_TOOLS_EXIT_STATUS_H

namespace tool {

// Exit statuses. A failure that is thrown gives `failed` unless it says otherwise.
enum Status : int {
  done = 0,
  failed = 1,
  wrongUsage = 2,
  paused = 3,
  cancelled = 4,
  refused = 5, // by the other side, or because data do not match their checksums
  interrupted = 130,
};

} // namespace tool

#endif
