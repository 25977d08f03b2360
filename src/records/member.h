// Members of records that are read from properties, each record by a table of them.
#ifndef SPRIG_RECORDS_MEMBER_H
#define SPRIG_RECORDS_MEMBER_H

#include <cstddef>
#include <cstdint>

#include <sprig/framework.h>
#include <sprig/types.h>

namespace sprig {

// Where a member's value comes from and goes to.
struct Member {
  const char *const *key; // the variable that has the property's key
  TypeCode type;          // of the property
  size_t offset;          // of the member in its record
  bool mustExist;         // whether the property must be there
  uint8_t otherwise;      // a number where it is not; anything else is then null
};

// Reads the members in the order of the table into a zeroed record. Pointers lead into the list.
void readMembers(const Properties *properties, const Member *members, size_t count, void *record);

template <size_t count>
void readMembers(const Properties *properties, const Member (&members)[count], void *record) {
  readMembers(properties, members, count, record);
}

} // namespace sprig

#endif
