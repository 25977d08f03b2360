// The channel as the framework's interface has it.
#include <cstdio>
#include <cstring>
#include <iterator>

#include <unistd.h>

#include <sprig/framework.h>
#include <sprig/runtime.h>

#include "channel/channel.h"
#include "channel/frame.h"

using namespace sprig::runtime;

namespace {

Channel &openChannel() {
  theChannel.open();
  return theChannel;
}

Channel &channelOf(const void *handle) {
  if (handle != &theChannel) {
    vaThrow(nullptr, 0, "The handle is not that of the channel to the sender.\n");
  }
  return openChannel();
}

[[noreturn]] void refuse(Channel &channel, const RuntimeMessage &message, const char *expected) {
  char reason[128];
  (void)snprintf(reason, sizeof reason,
                 "a message of type %d and %u bytes has arrived in the place of %s", message.type,
                 message.length, expected);
  mg_free(message.data);
  channel.cutOff(reason);
}

bool isEnd(const RuntimeMessage &message) {
  return message.type == RUNTIME_MESSAGE_END ||
         (message.type == RUNTIME_MESSAGE_DATA && message.length == 0);
}

int32_t handOut(Channel &channel, const RuntimeMessage &message, unsigned char **data) {
  if (message.type != RUNTIME_MESSAGE_DATA || message.data[0] == 0) {
    refuse(channel, message, "data with a command");
  }
  *data = message.data;
  return static_cast<int32_t>(message.length);
}

} // namespace

int32_t ep_session_id(void) { return theChannel.session(); }

void *ecp_get_ipc_handle(void) { return &openChannel(); }

int net_send_protected(void *channel, const void *data, uint32_t length, int32_t message_type,
                       int32_t session_id) {
  auto *const bytes = static_cast<uint8_t *>(const_cast<void *>(data));
  channelOf(channel).send({message_type, session_id, length, bytes});
  return 0;
}

int recv_struct(void *channel, int32_t message_type, ChannelReply *reply) {
  *reply = {};
  constexpr uint32_t numbers = 2 * sizeof(uint32_t);
  Channel &open = channelOf(channel);
  const RuntimeMessage message = open.receive();
  if (message.type != message_type || message.length < numbers) {
    refuse(open, message, "an answer");
  }
  reply->message_type = static_cast<int32_t>(getNumber(message.data));
  reply->status = static_cast<int32_t>(getNumber(message.data + sizeof(uint32_t)));
  reply->length = message.length - numbers;
  if (reply->length > 0) {
    memmove(message.data, message.data + numbers, reply->length);
    reply->data = message.data;
  } else {
    mg_free(message.data);
  }
  return 0;
}

int send_methstat(void *channel, const MethodStatus *status, int32_t session_id) {
  uint8_t bytes[sizeof status->field];
  for (size_t i = 0; i < std::size(status->field); ++i) {
    putNumber(bytes + i * sizeof(uint32_t), static_cast<uint32_t>(status->field[i]));
  }
  return net_send_protected(channel, bytes, sizeof bytes, RUNTIME_MESSAGE_STATUS, session_id);
}

int32_t ep_sprig_recv(unsigned char **message, const OctetList *toc) {
  *message = nullptr;
  Channel &channel = openChannel();
  if (toc != nullptr) {
    channel.send({RUNTIME_MESSAGE_TOC, channel.session(), toc->length, toc->buffer});
  }
  const RuntimeMessage received = channel.receive();
  if (isEnd(received)) {
    mg_free(received.data);
    return 0;
  }
  return handOut(channel, received, message);
}

int32_t ep_sprig_poll(unsigned char **message) {
  if (message == nullptr) {
    return 0; // there is nowhere to put one
  }
  *message = nullptr;
  Channel &channel = openChannel();
  RuntimeMessage received{};
  if (!channel.poll(received)) {
    return 0;
  }
  if (isEnd(received)) {
    channel.putBack(received);
    return 0;
  }
  return handOut(channel, received, message);
}

void iom_close(void *handle) {
  if (handle != nullptr) {
    close(*static_cast<const int *>(handle));
    mg_free(handle);
  }
}
