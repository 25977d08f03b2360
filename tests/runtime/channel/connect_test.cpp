// Listening and connecting.
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/channel.h"
#include "support/temporary_directory.h"

using test::Child;
using test::Event;
using test::OpenFile;

namespace {

// Another user, where that can be had.
bool becomeSomebody() {
  constexpr uid_t somebody = 65534;
  return geteuid() != 0 || setresuid(somebody, somebody, somebody) == 0;
}

OpenFile listenAt(const std::string &address) {
  return OpenFile(runtime_channel_listen(address.c_str()));
}

OpenFile connectTo(const std::string &address) {
  return OpenFile(runtime_channel_connect(address.c_str()));
}

OpenFile acceptFrom(const OpenFile &listener) {
  return OpenFile(runtime_channel_accept(listener.fd()));
}

int errorOfListening(const std::string &address) {
  errno = 0;
  return listenAt(address).fd() == -1 ? errno : 0;
}

int errorOfConnecting(const std::string &address) {
  errno = 0;
  return connectTo(address).fd() == -1 ? errno : 0;
}

// Whether a message goes from one side to the other.
bool areConnected(const OpenFile &a, const OpenFile &b) {
  const RuntimeMessage sent{RUNTIME_MESSAGE_END, 1, 0, nullptr};
  RuntimeMessage message{};
  return runtime_channel_send(a.fd(), &sent) == 0 &&
         runtime_channel_receive(b.fd(), &message, 0) == 0 && message.session_id == 1;
}

int optionOf(const OpenFile &socket, int level, int option) {
  int value = -1;
  socklen_t size = sizeof value;
  EXPECT_EQ(getsockopt(socket.fd(), level, option, &value, &size), 0);
  return value;
}

class UnixAddress : public test::DirectoryTest {
protected:
  UnixAddress() { umask(0); }

  mode_t mode() const {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0);
    return status.st_mode;
  }

  // Lets others reach the socket, as far as the files are concerned.
  void openToAll() const {
    constexpr mode_t everybody = 0777;
    ASSERT_EQ(chmod(directory.path().c_str(), everybody), 0);
    ASSERT_EQ(chmod(path.c_str(), everybody), 0);
  }

  const std::string path = directory / "socket";
  const std::string address = "unix:" + path;
};

class TcpAddress : public testing::Test {
protected:
  static std::string addressOf(const std::string &host, const OpenFile &listener) {
    return "tcp:" + host + ":" + std::to_string(test::portOf(listener.fd()));
  }
};

} // namespace

TEST_F(UnixAddress, LeadsToTheListener) {
  const OpenFile listener = listenAt(address);
  for (int i = 0; i < 2; ++i) {
    const OpenFile client = connectTo(address);
    const OpenFile server = acceptFrom(listener);
    EXPECT_TRUE(areConnected(client, server));
    EXPECT_TRUE(areConnected(server, client));
  }
}

TEST_F(UnixAddress, IsForItsOwnerOnly) {
  const OpenFile listener = listenAt(address);
  EXPECT_EQ(mode(), S_IFSOCK | 0600U);
}

TEST_F(UnixAddress, MayBeRelative) {
  ASSERT_EQ(chdir(directory.path().c_str()), 0);
  const OpenFile listener = listenAt("unix:socket");
  EXPECT_NE(connectTo("unix:./socket").fd(), -1);
  EXPECT_EQ(chdir("/"), 0);
}

TEST_F(UnixAddress, IsTakenOverWhenNobodyListensAnyMore) {
  for (int i = 0; i < 3; ++i) {
    const OpenFile listener = listenAt(address);
    EXPECT_NE(listener.fd(), -1);
    EXPECT_NE(connectTo(address).fd(), -1);
  }
  EXPECT_EQ(errorOfConnecting(address), ECONNREFUSED);
}

TEST_F(UnixAddress, IsNotTakenOverWhileSomebodyListens) {
  const OpenFile listener = listenAt(address);
  EXPECT_EQ(errorOfListening(address), EADDRINUSE);
  ASSERT_TRUE(test::setNonBlocking(listener.fd()));
  EXPECT_EQ(accept(listener.fd(), nullptr, nullptr), -1) << "nobody was seen";
  const OpenFile client = connectTo(address);
  EXPECT_TRUE(areConnected(client, acceptFrom(listener)));
}

TEST_F(UnixAddress, IsNotTakenOverFromASocketOfAnotherType) {
  const OpenFile other(socket(AF_UNIX, SOCK_DGRAM, 0));
  sockaddr_un place{AF_UNIX, {}};
  strcpy(place.sun_path, path.c_str());
  ASSERT_EQ(bind(other.fd(), reinterpret_cast<sockaddr *>(&place), sizeof place), 0);
  EXPECT_EQ(errorOfListening(address), EADDRINUSE);
  EXPECT_EQ(errorOfConnecting(address), EPROTOTYPE);
}

TEST_F(UnixAddress, DoesNotReplaceAnythingElse) {
  const std::string elsewhere = directory / "elsewhere";
  const auto makers = {
      +[](const char *place, const char *) { return creat(place, 0600) == -1 ? -1 : 0; },
      +[](const char *place, const char *) { return mkdir(place, 0700); },
      +[](const char *place, const char *) { return mkfifo(place, 0600); },
      +[](const char *place, const char *target) { return symlink(target, place); },
  };
  { const OpenFile stale = listenAt("unix:" + elsewhere); }
  for (const auto make : makers) {
    ASSERT_EQ(make(path.c_str(), elsewhere.c_str()), 0);
    const mode_t before = mode();
    EXPECT_EQ(errorOfListening(address), EADDRINUSE);
    EXPECT_EQ(mode(), before);
    EXPECT_EQ(errorOfConnecting(address), ECONNREFUSED);
    EXPECT_EQ(remove(path.c_str()), 0);
  }
}

TEST_F(UnixAddress, IsTakenOverByOneOfMany) {
  constexpr int count = 8;
  constexpr int refused = 2;
  for (int round = 0; round < 5; ++round) {
    { const OpenFile stale = listenAt(address); }
    Event tried;
    Event end;
    const auto starters = test::startChildren(count, [&] {
      const OpenFile listener = listenAt(address);
      const bool isRefused = listener.fd() == -1 && errno == EADDRINUSE;
      tried.raise();
      CHILD_EXPECT(end.await());
      return isRefused ? refused : 0;
    });
    for (int i = 0; i < count; ++i) {
      ASSERT_TRUE(tried.await());
    }
    EXPECT_NE(connectTo(address).fd(), -1);
    int winners = 0;
    for (int i = 0; i < count; ++i) {
      end.raise();
    }
    for (const auto &starter : starters) {
      const int status = starter->wait();
      EXPECT_TRUE(status == 0 || status == refused) << status;
      winners += status == 0 ? 1 : 0;
    }
    EXPECT_EQ(winners, 1);
  }
}

// Two that find the same stale socket would else remove each other's.
TEST_F(UnixAddress, IsTakenOverByOneAtATime) {
  { const OpenFile stale = listenAt(address); }
  struct stat before {};
  struct stat after {};
  ASSERT_EQ(lstat(path.c_str(), &before), 0);
  OpenFile lock(open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(lock.fd(), LOCK_EX), 0);
  Child starter([&] {
    lock = OpenFile();
    return listenAt(address).fd() == -1 ? 1 : 0;
  });
  ASSERT_TRUE(test::awaitSleep(starter.pid()));
  ASSERT_EQ(lstat(path.c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  ASSERT_EQ(flock(lock.fd(), LOCK_UN), 0);
  EXPECT_EQ(starter.wait(), 0);
}

TEST_F(UnixAddress, HasAPathThatTheSystemTakes) {
  const size_t room = sizeof sockaddr_un::sun_path - 1;
  const std::string longest = directory / std::string(room - directory.path().size() - 1, 'x');
  const OpenFile listener = listenAt("unix:" + longest);
  EXPECT_NE(connectTo("unix:" + longest).fd(), -1);
  for (const auto &[text, error] :
       {std::pair("unix:" + longest + "x", ENAMETOOLONG), std::pair(std::string("unix:"), EINVAL),
        std::pair("unix:" + directory / "missing/socket", ENOENT)}) {
    EXPECT_EQ(errorOfListening(text), error) << text;
    EXPECT_EQ(errorOfConnecting(text), error) << text;
  }
  EXPECT_EQ(errorOfListening("unix:" + longest.substr(0, room - 1) + "/"), ENOENT);
}

TEST_F(UnixAddress, IsForNobodyButTheSameUserAndRoot) {
  const OpenFile listener = listenAt(address);
  openToAll();
  Event connected;
  Child other([&] {
    CHILD_EXPECT(becomeSomebody());
    const OpenFile client = connectTo(address);
    CHILD_EXPECT(client.fd() != -1);
    connected.raise();
    CHILD_EXPECT(test::readBytes(client.fd(), 1).empty());
    return 0;
  });
  ASSERT_TRUE(connected.await());
  const OpenFile own = connectTo(address);
  OpenFile accepted = acceptFrom(listener);
  EXPECT_EQ(areConnected(own, accepted), geteuid() == 0) << "whether the other was turned away";
  accepted = OpenFile();
  EXPECT_EQ(other.wait(), 0);
}

TEST_F(UnixAddress, IsForAUserWhoIsNotRoot) {
  ASSERT_EQ(chmod(directory.path().c_str(), 0777), 0);
  Child somebody([&] {
    CHILD_EXPECT(becomeSomebody());
    const OpenFile listener = listenAt(address);
    const OpenFile client = connectTo(address);
    CHILD_EXPECT(client.fd() != -1 && areConnected(client, acceptFrom(listener)));
    return 0;
  });
  EXPECT_EQ(somebody.wait(), 0);
}

TEST_F(UnixAddress, OfAStrangerIsRefused) {
  Event listening;
  Event end;
  ASSERT_EQ(chmod(directory.path().c_str(), 0777), 0);
  Child stranger([&] {
    CHILD_EXPECT(becomeSomebody());
    const OpenFile listener = listenAt(address);
    CHILD_EXPECT(listener.fd() != -1);
    listening.raise();
    return end.await() ? 0 : 1;
  });
  ASSERT_TRUE(listening.await());
  EXPECT_EQ(errorOfConnecting(address), geteuid() == 0 ? EPERM : 0);
  end.raise();
  EXPECT_EQ(stranger.wait(), 0);
}

TEST_F(UnixAddress, IsWaitedAtByListenersThatDoNotBlock) {
  const OpenFile listener = listenAt(address);
  ASSERT_TRUE(test::setNonBlocking(listener.fd()));
  Child client([&] { return connectTo(address).fd() == -1 ? 1 : 0; });
  EXPECT_NE(acceptFrom(listener).fd(), -1);
  EXPECT_EQ(client.wait(), 0);
}

TEST_F(TcpAddress, LeadsToTheListener) {
  const OpenFile listener = listenAt("tcp:127.0.0.1:0");
  for (const char *host : {"127.0.0.1", "localhost"}) {
    const OpenFile client = connectTo(addressOf(host, listener));
    const OpenFile server = acceptFrom(listener);
    EXPECT_TRUE(areConnected(client, server));
    EXPECT_TRUE(areConnected(server, client));
    for (const auto *socket : {&client, &server}) {
      EXPECT_NE(optionOf(*socket, IPPROTO_TCP, TCP_NODELAY), 0);
      EXPECT_NE(optionOf(*socket, SOL_SOCKET, SO_KEEPALIVE), 0);
    }
  }
}

TEST_F(TcpAddress, MayBeOneOfIpVersionSix) {
  const OpenFile socket(::socket(AF_INET6, SOCK_STREAM, 0));
  sockaddr_in6 loopback{};
  loopback.sin6_family = AF_INET6;
  loopback.sin6_addr = in6addr_loopback;
  const bool isThere =
      bind(socket.fd(), reinterpret_cast<sockaddr *>(&loopback), sizeof loopback) == 0;
  const OpenFile listener = listenAt("tcp:[::1]:0");
  ASSERT_EQ(listener.fd() != -1, isThere);
  if (isThere) {
    const OpenFile client = connectTo(addressOf("[::1]", listener));
    EXPECT_TRUE(areConnected(client, acceptFrom(listener)));
  }
}

TEST_F(TcpAddress, IsRefusedWhereSomebodyListens) {
  const OpenFile listener = listenAt("tcp:127.0.0.1:0");
  EXPECT_EQ(errorOfListening(addressOf("127.0.0.1", listener)), EADDRINUSE);
}

TEST_F(TcpAddress, CanBeUsedAgainAtOnce) {
  std::string address;
  {
    const OpenFile listener = listenAt("tcp:127.0.0.1:0");
    address = addressOf("127.0.0.1", listener);
    const OpenFile client = connectTo(address);
    const OpenFile server = acceptFrom(listener);
  }
  EXPECT_EQ(errorOfConnecting(address), ECONNREFUSED);
  EXPECT_NE(listenAt(address).fd(), -1);
}

TEST(Address, MustBeOne) {
  for (const char *address : {"", "unix", "unix:", "tcp:", "tcp:localhost", "tcp:localhost:http",
                              "tcp:::1:0", "stdio:", "file:/tmp/x", "fd:"}) {
    EXPECT_EQ(errorOfListening(address), EINVAL) << address;
    EXPECT_EQ(errorOfConnecting(address), EINVAL) << address;
  }
  EXPECT_EQ(errorOfListening("fd:0"), EINVAL);
}

TEST(Address, MayBeAnInheritedDescriptor) {
  const test::Ends ends = test::socketEnds();
  const int fd = dup(ends.first.fd());
  const OpenFile connection = connectTo("fd:" + std::to_string(fd));
  EXPECT_EQ(connection.fd(), fd);
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  EXPECT_TRUE(areConnected(connection, ends.second));
  EXPECT_EQ(errorOfConnecting("fd:1000000"), EBADF);
}

TEST(Listener, MustBeOne) {
  EXPECT_EQ(runtime_channel_accept(-1), -1);
  EXPECT_EQ(errno, EBADF);
  const test::Ends ends = test::pipeEnds();
  EXPECT_EQ(runtime_channel_accept(ends.first.fd()), -1);
  EXPECT_EQ(errno, ENOTSOCK);
}
