// Copies of the lists that records are read from.
#ifndef SPRIG_RECORDS_COPY_H
#define SPRIG_RECORDS_COPY_H

#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/types.h>

#include "framework/try_frame.h"

namespace sprig {

inline void releaseList(void *list) {
  properties_delete(static_cast<Properties *>(list));
  mg_free(list);
}

// A record read from a copy of a list, which it owns. Where reading throws, the copy is released.
template <typename Record>
Record *readFromCopy(const Properties *properties, Record *(*read)(Properties *)) {
  Record *record = nullptr;
  inTryFrame([&] {
    Properties *copy = properties_clone(properties);
    ex_delegate(copy, releaseList);
    record = read(copy);
    ex_undelegate(copy, 0);
  });
  return record;
}

} // namespace sprig

#endif
