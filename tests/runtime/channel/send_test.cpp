// What an endpoint sends, and the answers.
#include <cstring>
#include <string>

#include <fcntl.h>

#include <gtest/gtest.h>

#include "support/channel.h"
#include "support/exceptions.h"

using test::bigEndian;
using test::dataOf;
using test::frameOf;
using test::session;
using test::textThrown;

namespace {

struct Answer {
  int32_t type = 0;
  int32_t status = 0;
  std::string data = {};
  std::string thrown = {};

  bool operator==(const Answer &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Answer &answer) {
  return out << "type " << answer.type << ", status " << answer.status << ", \"" << answer.data
             << "\", thrown: " << answer.thrown;
}

Answer answer() {
  ChannelReply reply{};
  Answer result;
  int code = 0;
  result.thrown =
      textThrown([&] { code = recv_struct(ecp_get_ipc_handle(), RUNTIME_MESSAGE_REPLY, &reply); });
  result.type = reply.message_type;
  result.status = reply.status;
  if (reply.data != nullptr) {
    result.data = std::string(reinterpret_cast<char *>(reply.data), reply.length);
  }
  EXPECT_EQ(code, 0);
  EXPECT_EQ(reply.data == nullptr, reply.length == 0);
  mg_free(reply.data);
  return result;
}

std::string answerOf(int32_t type, int32_t status, const std::string &data = "") {
  return frameOf(RUNTIME_MESSAGE_REPLY, bigEndian(static_cast<uint32_t>(type)) +
                                            bigEndian(static_cast<uint32_t>(status)) + data);
}

int send(int32_t type, const std::string &data, int32_t ofSession = session) {
  return net_send_protected(ecp_get_ipc_handle(), data.data(), static_cast<uint32_t>(data.size()),
                            type, ofSession);
}

// The text that it throws.
std::string textOfSending() {
  return textThrown(
      [] { net_send_protected(ecp_get_ipc_handle(), "buffer", 6, RUNTIME_MESSAGE_DATA, session); });
}

class Sending : public test::ChannelTest {
protected:
  Answer refusal(const std::string &reason) const {
    return {0, 0, "", test::cutOff(name(), reason).thrown};
  }
  Answer notAnAnswer(const std::string &message) const {
    return refusal("a message of " + message + " has arrived in the place of an answer");
  }
};

} // namespace

TEST_F(Sending, PutsEachMessageIntoAFrame) {
  EXPECT_EQ(send(RUNTIME_MESSAGE_DATA, "buffer"), 0);
  EXPECT_EQ(send(RUNTIME_MESSAGE_END, ""), 0);
  EXPECT_EQ(net_send_protected(ecp_get_ipc_handle(), nullptr, 0, -5, -6), 0);
  const std::string sent = frameOf(RUNTIME_MESSAGE_DATA, "buffer") +
                           frameOf(RUNTIME_MESSAGE_END, "") + frameOf(-5, "", -6);
  EXPECT_EQ(take(sent.size()), sent);
}

TEST_F(Sending, SendsTheFieldsOfAStatus) {
  const MethodStatus status{{0, 1, -1, 0x01020304, INT32_MIN, INT32_MAX, 7, 8}};
  EXPECT_EQ(send_methstat(ecp_get_ipc_handle(), &status, session), 0);
  std::string fields;
  for (const int32_t field : status.field) {
    fields += bigEndian(static_cast<uint32_t>(field));
  }
  const std::string sent = frameOf(RUNTIME_MESSAGE_STATUS, fields);
  EXPECT_EQ(take(sent.size()), sent);
}

TEST_F(Sending, TellsTheSession) {
  EXPECT_EQ(ep_session_id(), session);
  runtime_set_channel(ends.first.fd(), ends.first.fd(), INT32_MIN);
  EXPECT_EQ(ep_session_id(), INT32_MIN);
}

TEST_F(Sending, GivesTheAnswer) {
  put(answerOf(20, 16384) + answerOf(11, -3) + answerOf(INT32_MIN, 0, "and data"));
  EXPECT_EQ(answer(), (Answer{20, 16384}));
  EXPECT_EQ(answer(), (Answer{11, -3}));
  EXPECT_EQ(answer(), (Answer{INT32_MIN, 0, "and data"}));
}

TEST_F(Sending, RefusesWhatIsNoAnswer) {
  const auto refused = [&](const std::string &bytes, const std::string &message) {
    connect();
    put(bytes);
    EXPECT_EQ(answer(), notAnAnswer(message));
    EXPECT_EQ(answer().thrown, "The channel " + name() + " is closed.\n");
  };
  refused(frameOf(RUNTIME_MESSAGE_REPLY, ""), "type 21 and 0 bytes");
  refused(frameOf(RUNTIME_MESSAGE_REPLY, "1234567"), "type 21 and 7 bytes");
  refused(frameOf(RUNTIME_MESSAGE_DATA, "12345678"), "type 11 and 8 bytes");
  refused(frameOf(RUNTIME_MESSAGE_END, ""), "type 23 and 0 bytes");
}

TEST_F(Sending, RefusesTheEndThatAPollHasMet) {
  put(frameOf(RUNTIME_MESSAGE_END, "12345678"));
  EXPECT_EQ(test::poll(), test::nothing);
  EXPECT_EQ(answer(), notAnAnswer("type 23 and 8 bytes"));
}

TEST_F(Sending, ThrowsWhenTheReceiverIsGone) {
  closePeer();
  EXPECT_EQ(answer(), refusal("the sender has closed it"));
  connect();
  closePeer();
  EXPECT_EQ(textOfSending(), refusal("the sender has closed it").thrown);
  EXPECT_EQ(textOfSending(), "The channel " + name() + " is closed.\n");
}

TEST_F(Sending, CarriesBuffersOfAllLengthsToAPeerThatAnswers) {
  const size_t lengths[] = {0, 1, 16384, 16385, (1 << 20) + 1, 5 << 20, 16384};
  const auto peer = startPeer([&](int fd) {
    for (const size_t length : lengths) {
      RuntimeMessage message{};
      CHILD_EXPECT(runtime_channel_receive(fd, &message, -1) == 0);
      CHILD_EXPECT(message.type == RUNTIME_MESSAGE_DATA && message.session_id == session);
      CHILD_EXPECT(message.length == length);
      CHILD_EXPECT((message.data == nullptr) == (length == 0));
      CHILD_EXPECT(length == 0 || memcmp(message.data, dataOf(length).data(), length) == 0);
      mg_free(message.data);
      test::writeBytes(fd, answerOf(RUNTIME_MESSAGE_DATA, static_cast<int32_t>(length)));
    }
    return 0;
  });
  for (const size_t length : lengths) {
    EXPECT_EQ(send(RUNTIME_MESSAGE_DATA, dataOf(length)), 0);
    EXPECT_EQ(answer(), (Answer{RUNTIME_MESSAGE_DATA, static_cast<int32_t>(length)}));
  }
  EXPECT_EQ(peer->wait(), 0);
}

TEST_F(Sending, WaitsForRoomOnDescriptorsThatDoNotBlock) {
  ASSERT_TRUE(test::setNonBlocking(ends.first.fd()));
  const std::string bytes = dataOf(3 << 20);
  const auto peer = startPeer([&](int fd) {
    const std::string frame = frameOf(RUNTIME_MESSAGE_DATA, bytes);
    CHILD_EXPECT(test::readBytes(fd, frame.size()) == frame);
    return 0;
  });
  EXPECT_EQ(send(RUNTIME_MESSAGE_DATA, bytes), 0);
  EXPECT_EQ(peer->wait(), 0);
}

TEST_F(Sending, RefusesAMessageThatIsTooLongAndLeavesTheChannelAsItIs) {
  EXPECT_EQ(textThrown([] {
              net_send_protected(ecp_get_ipc_handle(), "", (256U << 20) + 1, 11, session);
            }),
            "A message of 268435457 bytes is too long for the channel " + name() + ".\n");
  send(RUNTIME_MESSAGE_END, "");
  EXPECT_EQ(take(20), frameOf(RUNTIME_MESSAGE_END, ""));
}

TEST_F(Sending, NeedsTheHandleOfTheChannel) {
  const std::string text = "The handle is not that of the channel to the sender.\n";
  int other = 0;
  for (void *handle : {static_cast<void *>(nullptr), static_cast<void *>(&other)}) {
    ChannelReply reply{};
    const MethodStatus status{};
    EXPECT_EQ(textThrown([=] { net_send_protected(handle, "", 0, 11, session); }), text);
    EXPECT_EQ(textThrown([&] { recv_struct(handle, 21, &reply); }), text);
    EXPECT_EQ(textThrown([&] { send_methstat(handle, &status, session); }), text);
  }
  send(RUNTIME_MESSAGE_END, "");
  EXPECT_EQ(take(20), frameOf(RUNTIME_MESSAGE_END, ""));
}

TEST_F(Sending, ThrowsMessagesOutsideOfAnyCatalog) {
  closePeer();
  unsigned char *message = nullptr;
  const auto exception = test::thrown([&] { ep_sprig_recv(&message, nullptr); });
  ASSERT_TRUE(exception);
  EXPECT_EQ(exception->typeName, "ExErrorMsg");
  EXPECT_EQ(exception->catalog, std::nullopt);
  EXPECT_EQ(exception->id, 0);
  EXPECT_EQ(exception->defaultText, "The channel %1$s is cut off: %2$s.\n");
}

TEST_F(Sending, LeavesTheDescriptorsOfTheCallerOpen) {
  closePeer();
  EXPECT_EQ(answer(), refusal("the sender has closed it"));
  EXPECT_NE(fcntl(ends.first.fd(), F_GETFD), -1);
  runtime_set_channel(-1, -1, 0);
  EXPECT_NE(fcntl(ends.first.fd(), F_GETFD), -1);
}

TEST(Handle, IsClosedAndReleased) {
  const test::Ends ends = test::socketEnds();
  auto *handle = static_cast<int *>(mg_malloc(sizeof(int)));
  *handle = dup(ends.first.fd());
  const int fd = *handle;
  iom_close(handle);
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
  iom_close(nullptr);
}
