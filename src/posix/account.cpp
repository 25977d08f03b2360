#include "posix/account.h"

#include <cstring>
#include <grp.h>
#include <pwd.h>

namespace sprig {
namespace {

// Calls one of the reentrant database calls and hands the record, if there is one, to `use` while
// its text is alive. A record that does not fit the work space counts as not found.
template <typename Record, typename Key, typename Use>
int lookUp(int (*find)(Key, Record *, char *, size_t, Record **), Key key, Use use) {
  char text[1024];
  Record record;
  Record *found = nullptr;
  const int result = find(key, &record, text, sizeof(text), &found);
  if (found != nullptr) {
    use(*found);
  }
  return result;
}

} // namespace

int findUser(const char *name, Ownership &found) {
  return lookUp(getpwnam_r, name, [&](const passwd &user) {
    found = {true, user.pw_uid, user.pw_gid};
  });
}

int findGroup(const char *name, Ownership &found) {
  return lookUp(getgrnam_r, name, [&](const group &entry) {
    found = {true, Ownership().user, entry.gr_gid};
  });
}

int copyUserName(char *name, uid_t id, size_t size) {
  strncpy(name, "", size);
  return lookUp(getpwuid_r, id, [&](const passwd &user) { strncpy(name, user.pw_name, size); });
}

int copyGroupName(char *name, gid_t id, size_t size) {
  strncpy(name, "", size);
  return lookUp(getgrgid_r, id, [&](const group &entry) { strncpy(name, entry.gr_name, size); });
}

} // namespace sprig
