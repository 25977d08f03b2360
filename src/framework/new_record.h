// Records that are made in several steps, of which any may throw.
#ifndef SPRIG_FRAMEWORK_NEW_RECORD_H
#define SPRIG_FRAMEWORK_NEW_RECORD_H

#include <sprig/framework.h>

#include "framework/try_frame.h"

namespace sprig {

// A zeroed record, filled by fill(record). Where that throws, the record goes to `release` and the
// exception passes on.
template <typename Record, typename Fill> Record *newRecord(void (*release)(void *), Fill &&fill) {
  Record *record = nullptr;
  inTryFrame([&] {
    record = static_cast<Record *>(mg_calloc(1, sizeof(Record)));
    ex_delegate(record, release);
    fill(record);
    ex_undelegate(record, 0);
  });
  return record;
}

} // namespace sprig

#endif
