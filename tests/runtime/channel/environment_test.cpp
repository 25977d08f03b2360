// The channel that the environment names.
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <set>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/channel.h"
#include "support/temporary_directory.h"

using test::Child;
using test::cutOff;
using test::data;
using test::frameOf;
using test::nothing;
using test::poll;
using test::receive;
using test::Received;

namespace {

std::string cannotBeOpened(const std::string &address, const std::string &reason) {
  return "The channel " + address + " cannot be opened: " + reason + ".\n";
}

class ChannelOfTheEnvironment : public test::DirectoryTest {
protected:
  ~ChannelOfTheEnvironment() override {
    set("KRT_CHANNEL", std::nullopt);
    set("KRT_SESSION", std::nullopt);
    runtime_set_channel(-1, -1, 0);
  }

  static void set(const char *name, const std::optional<std::string> &value) {
    if (value) {
      setenv(name, value->c_str(), 1);
    } else {
      unsetenv(name);
    }
  }

  // Names one end of a connection, which becomes the runtime's. Returns the other.
  static test::OpenFile nameDescriptor() {
    test::Ends ends = test::socketEnds();
    const int fd = dup(ends.first.fd());
    set("KRT_CHANNEL", "fd:" + std::to_string(fd));
    return std::move(ends.second);
  }

  // A process that sends one message to whoever connects.
  static Child startSender(int listener) {
    return Child([=] {
      const int fd = runtime_channel_accept(listener);
      CHILD_EXPECT(fd != -1);
      test::writeBytes(fd, frameOf(RUNTIME_MESSAGE_DATA, "\1data", 0));
      CHILD_EXPECT(test::readBytes(fd, 1).empty());
      return 0;
    });
  }
};

std::string failure() {
  return test::textThrown([] { ecp_get_ipc_handle(); });
}

std::set<int> openDescriptors() {
  std::set<int> fds;
  DIR *directory = opendir("/proc/self/fd");
  while (const dirent *entry = readdir(directory)) {
    fds.insert(atoi(entry->d_name));
  }
  fds.erase(dirfd(directory));
  closedir(directory);
  return fds;
}

} // namespace

TEST_F(ChannelOfTheEnvironment, IsMissedWhereNoneIsNamed) {
  const std::string text = "There is no channel to the sender: KRT_CHANNEL is not set.\n";
  for (const auto &value : {std::optional<std::string>(), std::optional<std::string>("")}) {
    set("KRT_CHANNEL", value);
    EXPECT_EQ(failure(), text);
    EXPECT_EQ(receive(), (Received{std::nullopt, text}));
    EXPECT_EQ(poll(), (Received{std::nullopt, text}));
  }
}

TEST_F(ChannelOfTheEnvironment, HasAnAddress) {
  for (const char *value : {"x",
                            "fd",
                            "fd:",
                            "fd:x",
                            "fd:-1",
                            "fd:3x",
                            "fd: 3",
                            "fd:99999999999",
                            "unix:",
                            "unix",
                            "stdio",
                            "stdio:x",
                            "tcp:",
                            "tcp:localhost",
                            "tcp:localhost:",
                            "tcp::1",
                            "tcp:localhost:x",
                            "tcp:localhost:1x",
                            "tcp:localhost:-1",
                            "tcp:localhost:65536",
                            "tcp:::1:0",
                            "tcp:[::1:0",
                            "tcp:[]:0",
                            "tcp:[::1]0",
                            "http://localhost",
                            "UNIX:/tmp/x"}) {
    set("KRT_CHANNEL", value);
    EXPECT_EQ(failure(), "KRT_CHANNEL is \"" + std::string(value) +
                             "\", which is not the address of a channel.\n");
  }
}

TEST_F(ChannelOfTheEnvironment, CannotBeOpenedWhereNobodyIs) {
  const test::OpenFile nobody(socket(AF_INET, SOCK_STREAM, 0));
  const sockaddr_in any{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
  ASSERT_EQ(bind(nobody.fd(), reinterpret_cast<const sockaddr *>(&any), sizeof any), 0);
  const std::pair<std::string, std::string> addresses[] = {
      {"fd:1000000", "Bad file descriptor"},
      {"unix:" + directory / "missing", "No such file or directory"},
      {"unix:" + std::string(108, 'x'), "File name too long"},
      {"tcp:127.0.0.1:" + std::to_string(test::portOf(nobody.fd())), "Connection refused"},
      {"tcp:" + std::string(300, 'x') + ":1", "Cannot assign requested address"},
  };
  for (const auto &[address, reason] : addresses) {
    set("KRT_CHANNEL", address);
    EXPECT_EQ(failure(), cannotBeOpened(address, reason));
  }
}

TEST_F(ChannelOfTheEnvironment, IsOpenedAtItsNextUseWhenItCouldNotBeOpened) {
  set("KRT_CHANNEL", "fd:1000000");
  EXPECT_NE(failure(), "");
  const test::OpenFile other = nameDescriptor();
  EXPECT_EQ(failure(), "");
}

TEST_F(ChannelOfTheEnvironment, HasTheSessionThatTheEnvironmentNames) {
  EXPECT_EQ(ep_session_id(), 0);
  const std::pair<const char *, int32_t> sessions[] = {
      {"", 0}, {"0", 0}, {"42", 42}, {"-1", -1}, {"2147483647", 2147483647}};
  for (const auto &[text, number] : sessions) {
    set("KRT_SESSION", text);
    EXPECT_EQ(ep_session_id(), number);
  }
  for (const char *text : {"x", "4x", " 4", "0x4", "2147483648", "-"}) {
    set("KRT_SESSION", text);
    const test::OpenFile other = nameDescriptor();
    const std::string expected =
        "KRT_SESSION is \"" + std::string(text) + "\", which is not the number of a session.\n";
    EXPECT_EQ(test::textThrown([] { ep_session_id(); }), expected);
    EXPECT_EQ(failure(), expected);
  }
}

TEST_F(ChannelOfTheEnvironment, IsAnInheritedDescriptor) {
  const test::OpenFile other = nameDescriptor();
  set("KRT_SESSION", "42");
  test::writeBytes(other.fd(), frameOf(RUNTIME_MESSAGE_DATA, "\1data", 42));
  EXPECT_EQ(receive(), data("\1data"));
  EXPECT_EQ(ep_session_id(), 42);
}

TEST_F(ChannelOfTheEnvironment, StaysWhatItWasAtItsFirstUse) {
  const test::OpenFile other = nameDescriptor();
  EXPECT_EQ(poll(), nothing);
  set("KRT_CHANNEL", "x");
  set("KRT_SESSION", "x");
  test::writeBytes(other.fd(), frameOf(RUNTIME_MESSAGE_DATA, "\1data", 0));
  EXPECT_EQ(receive(), data("\1data"));
  EXPECT_EQ(ep_session_id(), 0);
}

TEST_F(ChannelOfTheEnvironment, IsReadAgainBehindTheOneThatWasSet) {
  const test::OpenFile other = nameDescriptor();
  EXPECT_EQ(poll(), nothing);
  runtime_set_channel(-1, -1, 42);
  EXPECT_EQ(test::readBytes(other.fd(), 1), "") << "the old one was closed";
  EXPECT_EQ(ep_session_id(), 0);
  const test::OpenFile another = nameDescriptor();
  test::writeBytes(another.fd(), frameOf(RUNTIME_MESSAGE_DATA, "\1again", 0));
  EXPECT_EQ(receive(), data("\1again"));
}

TEST_F(ChannelOfTheEnvironment, IsClosedWhenItIsCutOff) {
  const test::OpenFile other = nameDescriptor();
  const std::string name = getenv("KRT_CHANNEL");
  test::writeBytes(other.fd(), "nonsense");
  EXPECT_EQ(receive(), cutOff(name, "what has arrived is no message"));
  EXPECT_EQ(fcntl(atoi(name.c_str() + 3), F_GETFD), -1);
  EXPECT_EQ(failure(), "The channel " + name + " is closed.\n");
}

TEST_F(ChannelOfTheEnvironment, IsAUnixSocket) {
  const std::string address = "unix:" + directory / "socket";
  const test::OpenFile listener(runtime_channel_listen(address.c_str()));
  Child sender = startSender(listener.fd());
  set("KRT_CHANNEL", address);
  EXPECT_EQ(receive(), data("\1data"));
  runtime_set_channel(-1, -1, 0);
  EXPECT_EQ(sender.wait(), 0);
}

TEST_F(ChannelOfTheEnvironment, IsATcpPort) {
  const test::OpenFile listener(runtime_channel_listen("tcp:127.0.0.1:0"));
  Child sender = startSender(listener.fd());
  set("KRT_CHANNEL", "tcp:localhost:" + std::to_string(test::portOf(listener.fd())));
  EXPECT_EQ(receive(), data("\1data"));
  runtime_set_channel(-1, -1, 0);
  EXPECT_EQ(sender.wait(), 0);
}

TEST_F(ChannelOfTheEnvironment, IsStandardInputAndOutput) {
  test::Ends in = test::pipeEnds();
  test::Ends out = test::pipeEnds();
  test::Ends error = test::pipeEnds();
  set("KRT_CHANNEL", "stdio:");
  Child endpoint([&] {
    dup2(in.first.fd(), STDIN_FILENO);
    dup2(out.second.fd(), STDOUT_FILENO);
    dup2(error.second.fd(), STDERR_FILENO);
    in = test::Ends();
    out = test::Ends();
    unsigned char *message = nullptr;
    CHILD_EXPECT(ep_sprig_recv(&message, nullptr) == 5);
    CHILD_EXPECT(getchar() == EOF);
    printf("printed");
    fflush(stdout);
    CHILD_EXPECT(net_send_protected(ecp_get_ipc_handle(), "\1back", 5, 11, 0) == 0);
    CHILD_EXPECT(receive() == cutOff("stdio:", "the sender has closed it"));
    return 0;
  });
  for (test::OpenFile *file : {&in.first, &out.second, &error.second}) {
    *file = test::OpenFile();
  }
  test::writeBytes(in.second.fd(), frameOf(RUNTIME_MESSAGE_DATA, "\1data", 0));
  const std::string sent = frameOf(RUNTIME_MESSAGE_DATA, "\1back", 0);
  EXPECT_EQ(test::readBytes(out.first.fd(), sent.size()), sent);
  in.second = test::OpenFile();
  EXPECT_EQ(test::readBytes(out.first.fd(), 1), "") << "nothing else";
  EXPECT_EQ(test::readBytes(error.first.fd(), 100), "printed");
  EXPECT_EQ(endpoint.wait(), 0);
}

TEST_F(ChannelOfTheEnvironment, HasNoStandardStreamsWhereTheProcessHasNone) {
  set("KRT_CHANNEL", "stdio:");
  Child endpoint([&] {
    close(STDIN_FILENO);
    CHILD_EXPECT(failure() == cannotBeOpened("stdio:", "Bad file descriptor"));
    return 0;
  });
  EXPECT_EQ(endpoint.wait(), 0);
}

TEST_F(ChannelOfTheEnvironment, IsNotPassedOnToOtherPrograms) {
  const std::string unixAddress = "unix:" + directory / "socket";
  const test::OpenFile unixListener(runtime_channel_listen(unixAddress.c_str()));
  const test::OpenFile tcpListener(runtime_channel_listen("tcp:127.0.0.1:0"));
  const std::string tcpAddress = "tcp:127.0.0.1:" + std::to_string(test::portOf(tcpListener.fd()));
  for (const std::string &address : {std::string("stdio:"), unixAddress, tcpAddress}) {
    Child endpoint([&] {
      const std::set<int> before = openDescriptors();
      set("KRT_CHANNEL", address);
      CHILD_EXPECT(failure().empty());
      size_t count = 0;
      for (const int fd : openDescriptors()) {
        CHILD_EXPECT(before.contains(fd) || fcntl(fd, F_GETFD) == FD_CLOEXEC);
        count += before.contains(fd) ? 0 : 1;
      }
      CHILD_EXPECT(count == (address == "stdio:" ? 2 : 1));
      return 0;
    });
    EXPECT_EQ(endpoint.wait(), 0) << address;
  }
  const test::OpenFile accepted(runtime_channel_accept(unixListener.fd()));
  const test::OpenFile connected(runtime_channel_connect(tcpAddress.c_str()));
  for (const auto *file : {&unixListener, &tcpListener, &accepted, &connected}) {
    EXPECT_EQ(fcntl(file->fd(), F_GETFD), FD_CLOEXEC);
  }
}

TEST_F(ChannelOfTheEnvironment, IsNotThereInAProgramThatIsStartedLater) {
  const test::OpenFile other = nameDescriptor();
  EXPECT_EQ(failure(), "");
  const std::string fd = std::string(getenv("KRT_CHANNEL")).substr(3);
  Child program([&] {
    const std::string script = "test ! -e /proc/self/fd/" + fd;
    execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
    return 127;
  });
  EXPECT_EQ(program.wait(), 0);
}
