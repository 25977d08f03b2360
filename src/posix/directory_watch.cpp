// The watch on top of Linux's inotify. Events are queued before the call that causes them returns,
// so that nothing that another process has finished doing can be missing.
#include "posix/directory_watch.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>

#include <linux/magic.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "posix/local_path.h"

namespace sprig {
namespace {

constexpr uint32_t makes = IN_CREATE | IN_MOVED_TO;
constexpr uint32_t alters = IN_MODIFY | IN_ATTRIB;
constexpr uint32_t watched =
    makes | alters | IN_DELETE | IN_MOVED_FROM | IN_DELETE_SELF | IN_ONLYDIR;

constexpr size_t largestEvent = sizeof(inotify_event) + NAME_MAX + 1;

// File systems that no other machine writes to. Everything else is not watched.
constexpr std::array<uint32_t, 7> localFileSystems{
    EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC,       BTRFS_SUPER_MAGIC, F2FS_SUPER_MAGIC,
    TMPFS_MAGIC,      OVERLAYFS_SUPER_MAGIC, RAMFS_MAGIC,
};

bool isLocal(const char *path) {
  struct statfs status;
  return statfs(path, &status) == 0 &&
         std::find(localFileSystems.begin(), localFileSystems.end(),
                   static_cast<uint32_t>(status.f_type)) != localFileSystems.end();
}

DirectoryWatch::Change changeOf(uint32_t mask) {
  if ((mask & makes) != 0) {
    return DirectoryWatch::Change::made;
  }
  if ((mask & IN_MOVED_FROM) != 0) {
    return DirectoryWatch::Change::movedAway;
  }
  return (mask & IN_DELETE) != 0 ? DirectoryWatch::Change::removed
                                 : DirectoryWatch::Change::altered;
}

// Tells what a read returned; false at an event that has no name and so is about no file.
bool tellEvents(const char *events, size_t size, DirectoryWatch::Listener &listener) {
  for (size_t at = 0; at < size;) {
    const auto *event = reinterpret_cast<const inotify_event *>(events + at);
    if (event->len == 0) {
      return false;
    }
    listener.changed(static_cast<const char *>(event->name), changeOf(event->mask));
    at += sizeof(inotify_event) + event->len;
  }
  return true;
}

} // namespace

bool DirectoryWatch::start(const char *path) {
  stop();
  const LocalPath local(path);
  if (!local || !isLocal(local.c_str())) {
    return false;
  }
  descriptor_.reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (descriptor_ && inotify_add_watch(descriptor_.get(), local.c_str(), watched) == -1) {
    stop();
  }
  return isRunning();
}

bool DirectoryWatch::tell(Listener &listener) {
  int pending = 0;
  if (ioctl(descriptor_.get(), FIONREAD, &pending) == 0 && pending == 0) {
    return true; // as most of the time; asking costs less than reading in vain
  }
  alignas(inotify_event) std::array<char, 8192> events;
  for (;;) {
    const ssize_t size = read(descriptor_.get(), events.data(), events.size());
    if (size == -1 && errno == EINTR) {
      continue;
    }
    if (size == -1) {
      return errno == EAGAIN;
    }
    const auto count = static_cast<size_t>(size);
    if (!tellEvents(events.data(), count, listener)) {
      return false;
    }
    if (count + largestEvent <= events.size()) {
      return true; // another event would have found room
    }
  }
}

} // namespace sprig
