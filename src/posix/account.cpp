#include "posix/account.h"

#include <cstring>
#include <grp.h>
#include <pwd.h>

namespace sprig {
namespace {

// Calls one of the reentrant database calls and, unless that fails, hands the record or null to
// `use` while its text is alive. A record that does not fit the work space counts as not found.
template <typename Record, typename Key, typename Use>
int lookUp(int (*find)(Key, Record *, char *, size_t, Record **), Key key, Use use) {
  char text[1024];
  Record record;
  Record *found = nullptr;
  const int result = find(key, &record, text, sizeof(text), &found);
  if (result >= 0) {
    use(static_cast<const Record *>(found));
  }
  return result;
}

} // namespace

int findUser(const char *name, Ownership &result) {
  return lookUp(getpwnam_r, name, [&](const passwd *found) {
    if (found != nullptr) {
      result = {true, found->pw_uid, found->pw_gid};
    }
  });
}

int findGroup(const char *name, Ownership &result) {
  return lookUp(getgrnam_r, name, [&](const group *found) {
    if (found != nullptr) {
      result = {true, Ownership().user, found->gr_gid};
    }
  });
}

int copyUserName(char *name, uid_t id, size_t size) {
  return lookUp(getpwuid_r, id, [&](const passwd *found) {
    strncpy(name, found == nullptr ? "" : found->pw_name, size);
  });
}

int copyGroupName(char *name, gid_t id, size_t size) {
  return lookUp(getgrgid_r, id, [&](const group *found) {
    strncpy(name, found == nullptr ? "" : found->gr_name, size);
  });
}

} // namespace sprig
