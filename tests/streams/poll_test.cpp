// What a waiting message means for a stream over files. In this program the framework's poll
// answers what a test tells it to.
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/runtime.h>
#include <sprig/streams.h>

#include "support/channel.h"
#include "support/exceptions.h"
#include "support/log.h"

using namespace std::string_literals;

namespace {

using Poll = int32_t (*)(unsigned char **);

// What a test has the framework answer; empty for what the runtime does.
std::function<int32_t(unsigned char **)> answer;

} // namespace

// In a program, this takes the place of the runtime's function.
extern "C" int32_t ep_sprig_poll(unsigned char **message) {
  static const auto ofRuntime = reinterpret_cast<Poll>(dlsym(RTLD_NEXT, "ep_sprig_poll"));
  return answer ? answer(message) : ofRuntime(message);
}

namespace {

using test::Lines;

const Lines cancelled{{-1, "from_file distribution has been canceled"}};
const Lines paused{{-1, "from_file distribution has been paused"}};

class Stop : public test::ChannelTest {
protected:
  ~Stop() override { answer = nullptr; }

  // The framework says that it has so many bytes, and gives these.
  void answerWith(int32_t length, unsigned char *given) {
    answer = [this, length, given](unsigned char **holder) {
      ++polls;
      asked = holder;
      if (holder != nullptr) {
        *holder = given;
      }
      return length;
    };
  }

  // What is made of a message with that command, of which the framework says such a length.
  int madeOf(unsigned char command, int32_t length) {
    unsigned char message[] = {command, 2, 3};
    unsigned char *holder = nullptr;
    answerWith(length, message);
    const int result = is_stream_stopped(&holder);
    EXPECT_EQ(asked, &holder);
    EXPECT_EQ(holder, message) << "it is the caller's";
    return result;
  }

  // The same of what comes over the channel, and the message that the caller gets.
  int madeOfWhatIsWaiting(std::string &message) {
    unsigned char *holder = nullptr;
    const int result = is_stream_stopped(&holder);
    message = holder == nullptr ? "" : reinterpret_cast<char *>(holder);
    mg_free(holder);
    return result;
  }

  test::Log log;
  unsigned char **asked = nullptr;
  int polls = 0;
};

} // namespace

TEST_F(Stop, IsCancelOrPause) {
  EXPECT_EQ(madeOf(2, 3), -2);
  EXPECT_EQ(log.lines(), cancelled);
  log.clear();
  EXPECT_EQ(madeOf(3, 3), -3);
  EXPECT_EQ(log.lines(), paused);
}

TEST_F(Stop, NeedsNoMoreThanTheCommand) {
  EXPECT_EQ(madeOf(2, 1), -2);
  EXPECT_EQ(madeOf(3, 1), -3);
}

TEST_F(Stop, IsNoOtherCommand) {
  for (int command = 0; command < 256; ++command) {
    if (command != 2 && command != 3) {
      EXPECT_EQ(madeOf(static_cast<unsigned char>(command), 3), 0) << command;
    }
  }
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Stop, IsWhateverThePollAnswersButZero) {
  EXPECT_EQ(madeOf(3, -1), -3);
  EXPECT_EQ(madeOf(3, INT32_MIN), -3);
  EXPECT_EQ(madeOf(3, INT32_MAX), -3);
}

TEST_F(Stop, IsNothingWhereThePollAnswersZero) {
  EXPECT_EQ(madeOf(2, 0), 0);
  EXPECT_EQ(madeOf(3, 0), 0);
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Stop, IsNothingWithoutAMessage) {
  for (const int32_t length : {0, 1, 100, -1}) {
    unsigned char before[] = {3};
    unsigned char *holder = before;
    answerWith(length, nullptr);
    EXPECT_EQ(is_stream_stopped(&holder), 0) << length;
    EXPECT_EQ(holder, nullptr);
  }
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Stop, IsNothingWithoutAHolder) {
  answerWith(3, nullptr);
  EXPECT_EQ(is_stream_stopped(nullptr), 0);
  EXPECT_EQ(polls, 1);
  EXPECT_EQ(asked, nullptr);
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Stop, IsLeftInTheChannelWithoutAHolder) {
  std::string message;
  put(test::frameOf(RUNTIME_MESSAGE_DATA, "\2stop\0"s));
  EXPECT_EQ(is_stream_stopped(nullptr), 0);
  EXPECT_EQ(log.lines(), Lines{});
  EXPECT_EQ(madeOfWhatIsWaiting(message), -2);
  EXPECT_EQ(log.lines(), cancelled);
}

TEST_F(Stop, IsLookedForOnce) {
  madeOf(2, 3);
  madeOf(0, 3);
  madeOf(3, 0);
  EXPECT_EQ(polls, 3);
}

TEST_F(Stop, LetsWhatThePollThrowsPass) {
  answer = [](unsigned char **) -> int32_t {
    vaThrow("Sprig2Catalog", 11, "Cannot open the file %1$s.\n", "channel");
  };
  unsigned char *holder = nullptr;
  const auto thrown = test::thrown([&] { is_stream_stopped(&holder); });
  ASSERT_TRUE(thrown);
  EXPECT_EQ(thrown->id, 11);
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(Stop, ComesOverTheChannel) {
  std::string message;
  put(test::frameOf(RUNTIME_MESSAGE_DATA, "\3wait\0"s));
  EXPECT_EQ(madeOfWhatIsWaiting(message), -3);
  EXPECT_EQ(message, "\3wait");
  put(test::frameOf(RUNTIME_MESSAGE_DATA, "\1data\0"s));
  EXPECT_EQ(madeOfWhatIsWaiting(message), 0);
  EXPECT_EQ(message, "\1data") << "data that the sender sends nevertheless are the caller's";
  EXPECT_EQ(madeOfWhatIsWaiting(message), 0);
  EXPECT_EQ(message, "");
}
