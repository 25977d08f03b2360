#include "support/channel.h"

#include <cerrno>
#include <fstream>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/exceptions.h"

namespace test {

std::string bigEndian(uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(number >> shift);
  }
  return bytes;
}

uint32_t referenceChecksum(const std::string &bytes) {
  uint32_t value = ~uint32_t{0};
  for (const char byte : bytes) {
    value ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      value = value >> 1 ^ ((value & 1) != 0 ? 0x82F63B78 : 0);
    }
  }
  return ~value;
}

std::string headerOf(int32_t type, int32_t ofSession, uint32_t length, uint32_t checksum) {
  return "SPR\1" + bigEndian(static_cast<uint32_t>(type)) +
         bigEndian(static_cast<uint32_t>(ofSession)) + bigEndian(length) + bigEndian(checksum);
}

std::string frameOf(int32_t type, const std::string &payload, int32_t ofSession) {
  const auto length = static_cast<uint32_t>(payload.size());
  const std::string header = headerOf(type, ofSession, length, 0).substr(0, 16);
  return header + bigEndian(referenceChecksum(header + payload)) + payload;
}

std::string dataOf(size_t length) {
  std::string bytes(length, '\1');
  uint32_t value = 1;
  for (size_t i = 1; i < length; ++i) {
    value = value * 1664525 + 1013904223;
    bytes[i] = static_cast<char>(value >> 24);
  }
  return bytes;
}

OpenFile &OpenFile::operator=(OpenFile &&other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}

OpenFile::~OpenFile() {
  if (fd_ != -1) {
    EXPECT_EQ(close(fd_), 0) << "descriptor " << fd_;
  }
}

Ends socketEnds() {
  int fds[2] = {-1, -1};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
  return {OpenFile(fds[0]), OpenFile(fds[1])};
}

Ends pipeEnds() {
  int fds[2] = {-1, -1};
  EXPECT_EQ(pipe2(fds, O_CLOEXEC), 0);
  return {OpenFile(fds[0]), OpenFile(fds[1])};
}

void writeBytes(int fd, const std::string &bytes) {
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t count = write(fd, bytes.data() + done, bytes.size() - done);
    if (count == -1 && errno != EINTR) {
      FAIL() << "write: errno " << errno;
    }
    done += count == -1 ? 0 : static_cast<size_t>(count);
  }
}

std::string readBytes(int fd, size_t count) {
  std::string bytes(count, '\0');
  size_t done = 0;
  while (done < count) {
    const ssize_t result = read(fd, bytes.data() + done, count - done);
    if (result == 0 || (result == -1 && errno != EINTR)) {
      break;
    }
    done += result == -1 ? 0 : static_cast<size_t>(result);
  }
  bytes.resize(done);
  return bytes;
}

bool setNonBlocking(int fd) { return fcntl(fd, F_SETFL, O_NONBLOCK) == 0; }

int portOf(int socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  EXPECT_EQ(getsockname(socket, reinterpret_cast<sockaddr *>(&address), &size), 0);
  return ntohs(address.ss_family == AF_INET6
                   ? reinterpret_cast<const sockaddr_in6 &>(address).sin6_port
                   : reinterpret_cast<const sockaddr_in &>(address).sin_port);
}

bool awaitSleep(pid_t process) {
  const std::string path = "/proc/" + std::to_string(process) + "/stat";
  return await([&] {
    std::ifstream file(path);
    std::string text;
    std::getline(file, text);
    return text.find(") S ") != std::string::npos;
  });
}

LittleMemory::LittleMemory() {
  constexpr rlim_t more = rlim_t{8} << 20;
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  EXPECT_EQ(getrlimit(RLIMIT_AS, &before_), 0);
  const rlimit limit{pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + more, before_.rlim_max};
  EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
}

LittleMemory::~LittleMemory() { EXPECT_EQ(setrlimit(RLIMIT_AS, &before_), 0); }

std::ostream &operator<<(std::ostream &out, const Received &received) {
  if (!received.thrown.empty()) {
    return out << "thrown: " << received.thrown;
  }
  if (!received.data) {
    return out << "nothing";
  }
  constexpr size_t shown = 40;
  return out << received.data->size()
             << " bytes: " << testing::PrintToString(received.data->substr(0, shown));
}

Received data(const std::string &bytes) { return {bytes}; }

Received cutOff(const std::string &channel, const std::string &reason) {
  return {std::nullopt, "The channel " + channel + " is cut off: " + reason + ".\n"};
}

std::string textThrown(void (*body)(void *), void *context) {
  const auto exception = thrownBy(body, context);
  return exception ? exception->text : "";
}

namespace {

template <typename Take> Received receivedBy(Take take) {
  unsigned char *message = nullptr;
  int32_t length = 0;
  Received received;
  received.thrown = textThrown([&] { length = take(&message); });
  if (message != nullptr) {
    received.data =
        std::string(reinterpret_cast<const char *>(message), static_cast<size_t>(length));
  }
  EXPECT_EQ(message == nullptr, length == 0);
  mg_free(message);
  return received;
}

} // namespace

Received receive(const OctetList *toc) {
  return receivedBy([=](unsigned char **message) { return ep_sprig_recv(message, toc); });
}

Received poll() {
  return receivedBy([](unsigned char **message) { return ep_sprig_poll(message); });
}

void ChannelTest::connect() {
  ends = socketEnds();
  runtime_set_channel(ends.first.fd(), ends.first.fd(), session);
}

std::unique_ptr<Child> ChannelTest::startPeer(const std::function<int(int fd)> &body) {
  auto peer = std::make_unique<Child>([&] {
    ends.first = OpenFile();
    return body(ends.second.fd());
  });
  closePeer();
  return peer;
}

} // namespace test
