#include <cstdint>
#include <utility>

#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/records.h>

#include "framework/environment.h"
#include "framework/new_record.h"

namespace {

// The segments are elements of a list that is somebody else's.
void releaseBorrowing(void *toc) {
  toc_free_buffer(static_cast<Toc *>(toc));
  mg_free(toc);
}

void releaseListOfLists(void *list) {
  properties_list_delete(static_cast<PropertiesList *>(list));
  mg_free(list);
}

// A copy of a list; empty where it cannot be copied.
PropertiesList *copyOf(const PropertiesList *list) {
  Environment environment{};
  PropertiesList *copy = properties_list_new();
  _t_generic_copy(TC_NEX_Sprig2_PropertiesList, &environment, list, copy);
  sprig::forgetException(environment);
  return copy;
}

// The segments of a list that the result owns.
template <typename MakeList> Toc *readFrom(MakeList &&makeList) {
  Toc *toc = nullptr;
  sprig::inTryFrame([&] {
    PropertiesList *list = makeList();
    ex_delegate(list, releaseListOfLists);
    toc = toc_from_properties(list);
    ex_undelegate(list, 0);
  });
  return toc;
}

} // namespace

Toc *toc_from_properties(PropertiesList *list) {
  if (list == nullptr) {
    return nullptr;
  }
  return sprig::newRecord<Toc>(releaseBorrowing, [&](Toc *toc) {
    toc->list = list;
    if (list->length == 0) {
      return;
    }
    toc->segments = static_cast<Segment **>(mg_calloc(list->length, sizeof(Segment *)));
    for (uint32_t i = 0; i < list->length; ++i) {
      toc->segments[i] = segment_from_properties(&list->buffer[i]);
      ++toc->count;
    }
  });
}

Toc *toc_new_from_properties(const PropertiesList *list) {
  return list == nullptr ? nullptr : readFrom([&] { return copyOf(list); });
}

Toc *toc_clone(const Toc *toc) {
  return toc == nullptr || toc->list == nullptr
             ? nullptr
             : readFrom([&] { return properties_list_clone(toc->list); });
}

void toc_free_buffer(Toc *toc) {
  if (toc == nullptr) {
    return;
  }
  for (int32_t i = 0; i < toc->count; ++i) {
    mg_free(toc->segments[i]->data_block);
    mg_free(toc->segments[i]);
  }
  mg_free(std::exchange(toc->segments, nullptr));
  toc->count = 0;
}

void toc_delete(Toc *toc) {
  if (toc != nullptr) {
    toc_free_buffer(toc);
    releaseListOfLists(toc->list);
    mg_free(toc);
  }
}
