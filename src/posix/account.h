// Lookups in the system's user and group databases.
#ifndef SPRIG_POSIX_ACCOUNT_H
#define SPRIG_POSIX_ACCOUNT_H

#include <cstddef>
#include <sys/types.h>

namespace sprig {

// Whom a file may be given to. Ids that are not set are those that chown leaves alone.
struct Ownership {
  bool isKnown = false;
  uid_t user = static_cast<uid_t>(-1);
  gid_t group = static_cast<gid_t>(-1);
};

// All four return what the database call returned. Only a negative result counts as a failure; a
// name or id that is not found is none. A found user brings the user's primary group along.
int findUser(const char *name, Ownership &result);
int findGroup(const char *name, Ownership &result);

// Copy the name as strncpy() does with `size`; the empty string for an unknown id, nothing when the
// lookup fails.
int copyUserName(char *name, uid_t id, size_t size);
int copyGroupName(char *name, gid_t id, size_t size);

} // namespace sprig

#endif
