#include "streams/status.h"

#include <sprig/framework.h>
#include <sprig/records.h>

#include "framework/try_frame.h"

namespace {

bool isSaved(Mstat *status) {
  int result = -1;
  return status != nullptr &&
         sprig::catchAll([&] { result = mstat_save(status); }, [](void *) {}) && result == 0;
}

const char *idOf(const NetStream &stream) {
  if (stream.distribution_id != nullptr) {
    return stream.distribution_id;
  }
  return stream.status == nullptr ? "" : stream.status->distribution_id;
}

} // namespace

void sprig::saveStatus(NetStream *stream, UnsavedBlanks blanks) {
  if (!isSaved(stream->status)) {
    LogQ("sprig: Couldn't write progress file for distribution%*s%s\n", int{blanks}, "",
         idOf(*stream));
  }
}
