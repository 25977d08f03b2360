// The system calls that the messages cannot do without: frames of the same length as the project's,
// a header and a payload in one call, without a checksum.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <sys/uio.h>
#include <unistd.h>

#include "streams/messages.h"

namespace bench {
namespace {

struct Header {
  uint8_t bytes[20];
};
struct Answer {
  Header header;
  uint8_t bytes[8];
};

// As long as it takes: a call may transfer a part only.
template <ssize_t (*call)(int, const iovec *, int)> void transfer(int socket, iovec (&parts)[2]) {
  while (parts[0].iov_len + parts[1].iov_len > 0) {
    const ssize_t result = call(socket, parts, 2);
    if (result <= 0) {
      throw std::system_error(errno, std::generic_category(), "the socket");
    }
    auto count = static_cast<size_t>(result);
    for (iovec &part : parts) {
      const size_t ofPart = std::min(count, part.iov_len);
      part.iov_base = static_cast<char *>(part.iov_base) + ofPart;
      part.iov_len -= ofPart;
      count -= ofPart;
    }
  }
}

void send(int socket, const void *payload, size_t size) {
  Header header{};
  iovec parts[] = {{&header, sizeof header}, {const_cast<void *>(payload), size}};
  transfer<writev>(socket, parts);
}

// Into a new block, for free().
uint8_t *receive(int socket, size_t size) {
  Header header{};
  void *payload = malloc(size);
  iovec parts[] = {{&header, sizeof header}, {payload, size}};
  transfer<readv>(socket, parts);
  return static_cast<uint8_t *>(payload);
}

class Receiver : public Party {
public:
  explicit Receiver(const Meeting &meeting) : socket_(meeting.socket) {}

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      uint8_t *payload = receive(socket_, 1 + dataSize);
      expected_.check(payload + 1, dataSize);
      free(payload);
    }
  }

private:
  int socket_;
  Expected expected_;
};

class Sender : public Party {
public:
  explicit Sender(const Meeting &meeting) : socket_(meeting.socket) {}

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      send(socket_, blocks_.next(), 1 + dataSize);
    }
  }

private:
  int socket_;
  Blocks blocks_;
};

class Writer : public Party {
public:
  explicit Writer(const Meeting &meeting) : socket_(meeting.socket) {}

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      send(socket_, blocks_.next() + 1, dataSize);
      Answer answer{};
      iovec parts[] = {{&answer, sizeof answer}, {}};
      transfer<readv>(socket_, parts);
    }
  }

private:
  int socket_;
  Blocks blocks_;
};

class Answerer : public Party {
public:
  explicit Answerer(const Meeting &meeting) : socket_(meeting.socket) {}

  void exchange(int64_t count) override {
    for (; count > 0; --count) {
      uint8_t *payload = receive(socket_, dataSize);
      expected_.check(payload, dataSize);
      free(payload);
      Answer answer{};
      iovec parts[] = {{&answer, sizeof answer}, {}};
      transfer<writev>(socket_, parts);
    }
  }

private:
  int socket_;
  Expected expected_;
};

} // namespace

std::unique_ptr<Party> makeSocketReceiver(const Meeting &meeting) {
  return std::make_unique<Receiver>(meeting);
}
std::unique_ptr<Party> makeSocketSender(const Meeting &meeting) {
  return std::make_unique<Sender>(meeting);
}
std::unique_ptr<Party> makeSocketWriter(const Meeting &meeting) {
  return std::make_unique<Writer>(meeting);
}
std::unique_ptr<Party> makeSocketAnswerer(const Meeting &meeting) {
  return std::make_unique<Answerer>(meeting);
}

} // namespace bench
