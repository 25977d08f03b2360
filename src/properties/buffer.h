// Buffers of the portable encoding that are released with the innermost try frame.
#ifndef SPRIG_PROPERTIES_BUFFER_H
#define SPRIG_PROPERTIES_BUFFER_H

#include <sprig/framework.h>

namespace sprig {

inline AdrBuffer *delegated(AdrBuffer *buffer) {
  ex_delegate(buffer, [](void *block) { adr_free_buf(static_cast<AdrBuffer *>(block)); });
  return buffer;
}

// The encoding of a value; the buffer says whether it failed.
inline AdrBuffer *encoded(TypeCode type, const void *value) {
  AdrBuffer *buffer = delegated(adr_init_encode_buffer(type, value));
  marshal_item(buffer, type, const_cast<void *>(value)); // is only read
  return buffer;
}

} // namespace sprig

#endif
