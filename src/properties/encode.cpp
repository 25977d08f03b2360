#include <sprig/framework.h>
#include <sprig/properties.h>

#include "framework/message.h"
#include "framework/try_frame.h"
#include "properties/buffer.h"

using sprig::MessageId;
using sprig::throwMessage;

void properties_encode(TypeCode type, const void *value, uint8_t **data, uint32_t *length) {
  sprig::inTryFrame([&] {
    AdrBuffer *buffer = sprig::encoded(type, value);
    if (buffer->error != 0) {
      throwMessage(MessageId::notEncoded, buffer->error);
    }
    *data = buffer->data;
    *length = buffer->length;
    ex_undelegate(buffer, 0);
    mg_free(buffer); // the bytes stay
  });
}

void properties_decode(TypeCode type, const uint8_t *data, uint32_t length, void *target) {
  int32_t error = 0;
  sprig::inTryFrame([&] {
    AdrBuffer *buffer = sprig::delegated(adr_init_decode_buffer(data, length));
    marshal_item(buffer, type, target);
    error = buffer->error;
  });
  if (error != 0) {
    throwMessage(MessageId::notDecoded, error);
  }
}
