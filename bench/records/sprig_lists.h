// Documents as the project's lists.
#ifndef SPRIG_BENCH_RECORDS_SPRIG_LISTS_H
#define SPRIG_BENCH_RECORDS_SPRIG_LISTS_H

#include <memory>

#include <sprig/records.h>

#include "values/document.h"

namespace bench {

struct ReleaseSegments {
  void operator()(PropertiesList *list) const {
    properties_list_delete(list);
    mg_free(list);
  }
};
using SegmentList = std::unique_ptr<PropertiesList, ReleaseSegments>;

// Adds the fields to a list. They hold no records.
void putAll(Properties *list, const Record &record);
SegmentList listOf(const List &segments);

} // namespace bench

#endif
