// ZeroMQ over a socket in the file system. It copies what is sent, as the caller may use it again.
#include <cerrno>
#include <system_error>

#include <zmq.h>

#include "streams/messages.h"

namespace bench {
namespace {

void require(bool condition, const char *what) {
  if (!condition) {
    throw std::system_error(errno, std::generic_category(), what);
  }
}

// One side: the peer listens. At the end, what was sent goes out first.
class Socket {
public:
  Socket(int type, const Meeting &meeting, bool listens)
      : context_(zmq_ctx_new()), socket_(zmq_socket(context_, type)) {
    const std::string address = "ipc://" + meeting.address;
    const int result =
        listens ? zmq_bind(socket_, address.c_str()) : zmq_connect(socket_, address.c_str());
    require(result == 0, address.c_str());
  }
  ~Socket() {
    zmq_close(socket_);
    zmq_ctx_term(context_);
  }
  Socket(const Socket &) = delete;
  Socket &operator=(const Socket &) = delete;

  void send(const void *bytes, size_t size) {
    require(zmq_send(socket_, bytes, size, 0) == static_cast<int>(size), "zmq_send");
  }
  // Receives a message whose data begin at that offset.
  void receive(Expected &expected, size_t offset) {
    zmq_msg_t message;
    zmq_msg_init(&message);
    require(zmq_msg_recv(&message, socket_, 0) != -1, "zmq_msg_recv");
    const auto *bytes = static_cast<const char *>(zmq_msg_data(&message));
    expected.check(bytes + offset, zmq_msg_size(&message) - offset);
    zmq_msg_close(&message);
  }
  void receive(void *bytes, size_t size) {
    require(zmq_recv(socket_, bytes, size, 0) == static_cast<int>(size), "zmq_recv");
  }

private:
  void *context_;
  void *socket_;
};

class Receiver : public Party {
public:
  explicit Receiver(const Meeting &meeting) : socket_(ZMQ_PULL, meeting, false) {}

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      socket_.receive(expected_, 1);
    }
  }

private:
  Socket socket_;
  Expected expected_;
};

class Sender : public Party {
public:
  explicit Sender(const Meeting &meeting) : socket_(ZMQ_PUSH, meeting, true) {}

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      socket_.send(blocks_.next(), 1 + dataSize);
    }
  }

private:
  Socket socket_;
  Blocks blocks_;
};

struct Answer {
  uint32_t numbers[2];
};

class Writer : public Party {
public:
  explicit Writer(const Meeting &meeting) : socket_(ZMQ_REQ, meeting, false) {}

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      socket_.send(blocks_.next() + 1, dataSize);
      Answer answer{};
      socket_.receive(&answer, sizeof answer);
    }
  }

private:
  Socket socket_;
  Blocks blocks_;
};

class Answerer : public Party {
public:
  explicit Answerer(const Meeting &meeting) : socket_(ZMQ_REP, meeting, true) {}

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      socket_.receive(expected_, 0);
      const Answer answer{};
      socket_.send(&answer, sizeof answer);
    }
  }

private:
  Socket socket_;
  Expected expected_;
};

} // namespace

std::unique_ptr<Party> makeZeromqReceiver(const Meeting &meeting) {
  return std::make_unique<Receiver>(meeting);
}
std::unique_ptr<Party> makeZeromqSender(const Meeting &meeting) {
  return std::make_unique<Sender>(meeting);
}
std::unique_ptr<Party> makeZeromqWriter(const Meeting &meeting) {
  return std::make_unique<Writer>(meeting);
}
std::unique_ptr<Party> makeZeromqAnswerer(const Meeting &meeting) {
  return std::make_unique<Answerer>(meeting);
}

} // namespace bench
