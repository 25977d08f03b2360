// Names of a distribution's files.
#include <cstring>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/records.h>

#include "framework/message.h"
#include "framework/try_frame.h"

namespace {

void appendSuffix(char *path, const char *suffix) {
  const size_t length = strlen(path);
  const size_t room = static_cast<size_t>(pathname_max_length()) - length;
  if (strlen(suffix) + sizeof "." > room) {
    sprig::throwMessage(sprig::MessageId::appendedNameIsUnusable);
  }
  strcat(strcpy(path + length, "."), suffix);
}

} // namespace

char *distid_get_filename(const char *id) { return pathname_clone(id); }

char *distid_get_next_filename(void) { return nullptr; }

char *find_dist_fname(const char *directory, const char *id, const char *suffix) {
  char *path = nullptr;
  sprig::inTryFrame([&] {
    char *name = distid_get_filename(id);
    ex_delegate(name, mg_free);
    path = pathname_clone(directory);
    ex_delegate(path, mg_free);
    pathname_append(path, name);
    appendSuffix(path, suffix);
    ex_undelegate(path, 0);
  });
  return path;
}
