// What happens to the names in a directory, as the kernel tells it.
#ifndef SPRIG_POSIX_DIRECTORY_WATCH_H
#define SPRIG_POSIX_DIRECTORY_WATCH_H

#include <string_view>

#include "posix/own_descriptor.h"

namespace sprig {

class DirectoryWatch {
public:
  enum class Change { made, altered, removed, movedAway };

  // Receives a change of what has that name. Of two names that are exchanged, one is told as moved
  // away behind having been made: whether something is still there has to be seen.
  class Listener {
  public:
    virtual void changed(std::string_view name, Change change) = 0;

  protected:
    ~Listener() = default;
  };

  // Begins to watch a directory; false where not every change would be seen: no such directory, no
  // more watches, or a file system that other machines can change.
  bool start(const char *path);
  void stop() { descriptor_.reset(); }
  bool isRunning() const { return static_cast<bool>(descriptor_); }

  // Tells the listener everything that happened before the call, in order. False when changes were
  // lost, or happened to the directory itself: then what is known of it is worth nothing.
  bool tell(Listener &listener);

private:
  OwnDescriptor descriptor_;
};

} // namespace sprig

#endif
