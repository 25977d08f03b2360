#include <cerrno>
#include <cstring>
#include <system_error>

#include <endian.h>

#include <sprig/runtime.h>
#include <sprig/streams.h>

#include "streams/messages.h"

namespace bench {
namespace {

constexpr int32_t session = 1;

void require(bool condition, const char *what) {
  if (!condition) {
    throw std::system_error(errno, std::generic_category(), what);
  }
}

// A stream over this process's channel.
class NetworkStream {
public:
  explicit NetworkStream(const Meeting &meeting) {
    sprig_init();
    runtime_set_channel(meeting.socket, meeting.socket, session);
    uint8_t bytes[] = {2, 0, 0, 'd', 0};
    StreamKey key{sizeof bytes, sizeof bytes, bytes};
    stream_ = net_stream_open(&key, nullptr);
  }
  ~NetworkStream() {
    net_stream_close(stream_);
    runtime_set_channel(-1, -1, 0);
  }
  NetworkStream(const NetworkStream &) = delete;
  NetworkStream &operator=(const NetworkStream &) = delete;

  NetStream *get() const { return stream_; }

private:
  NetStream *stream_;
};

class Receiver : public Party {
public:
  explicit Receiver(const Meeting &meeting) : stream_(meeting) {}

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      unsigned char *piece = nullptr;
      const int32_t size = net_stream_read(stream_.get(), &piece);
      expected_.check(piece, static_cast<size_t>(size));
      net_stream_free_buffer(stream_.get(), piece);
    }
  }

private:
  NetworkStream stream_;
  Expected expected_;
};

class Sender : public Party {
public:
  explicit Sender(const Meeting &meeting) : socket_(meeting.socket) {}

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      auto *block = const_cast<uint8_t *>(blocks_.next()); // is only read
      const RuntimeMessage message{RUNTIME_MESSAGE_DATA, session, 1 + dataSize, block};
      require(runtime_channel_send(socket_, &message) == 0, "runtime_channel_send");
    }
  }

private:
  int socket_;
  Blocks blocks_;
};

class Writer : public Party {
public:
  explicit Writer(const Meeting &meeting) : stream_(meeting) {
    require(net_stream_write_begin(stream_.get()) == 0, "net_stream_write_begin");
  }
  ~Writer() override { net_stream_write_end(stream_.get()); }

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      const int32_t written = net_stream_write(stream_.get(), blocks_.next() + 1, dataSize);
      require(written == dataSize, "net_stream_write");
    }
  }

private:
  NetworkStream stream_;
  Blocks blocks_;
};

class Answerer : public Party {
public:
  explicit Answerer(const Meeting &meeting) : socket_(meeting.socket) {
    mg_free(receive(RUNTIME_MESSAGE_STATUS).data);
    answer(RUNTIME_MESSAGE_STATUS);
  }
  ~Answerer() override {
    RuntimeMessage end{};
    static_cast<void>(runtime_channel_receive(socket_, &end, -1));
  }

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      const RuntimeMessage message = receive(RUNTIME_MESSAGE_DATA);
      expected_.check(message.data, message.length);
      mg_free(message.data);
      answer(RUNTIME_MESSAGE_DATA);
    }
  }

private:
  RuntimeMessage receive(int32_t type) const {
    RuntimeMessage message{};
    const int result = runtime_channel_receive(socket_, &message, -1);
    require(result == 0 && message.type == type, "runtime_channel_receive");
    return message;
  }

  // To a message of that type: there is nothing against it.
  void answer(uint32_t type) const {
    uint32_t numbers[] = {htobe32(type), 0};
    const RuntimeMessage message{RUNTIME_MESSAGE_REPLY, session, sizeof numbers,
                                 reinterpret_cast<uint8_t *>(numbers)};
    require(runtime_channel_send(socket_, &message) == 0, "runtime_channel_send");
  }

  int socket_;
  Expected expected_;
};

} // namespace

std::unique_ptr<Party> makeSprigReceiver(const Meeting &meeting) {
  return std::make_unique<Receiver>(meeting);
}
std::unique_ptr<Party> makeSprigSender(const Meeting &meeting) {
  return std::make_unique<Sender>(meeting);
}
std::unique_ptr<Party> makeSprigWriter(const Meeting &meeting) {
  return std::make_unique<Writer>(meeting);
}
std::unique_ptr<Party> makeSprigAnswerer(const Meeting &meeting) {
  return std::make_unique<Answerer>(meeting);
}

} // namespace bench
