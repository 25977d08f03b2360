// How much memory a message takes before it is there.
#include "channel/reader.h"

#include <algorithm>
#include <string>

#include <malloc.h>

#include <gtest/gtest.h>

#include "support/channel.h"

using sprig::runtime::Deadline;
using sprig::runtime::FrameReader;
using sprig::runtime::headerSize;

namespace {

constexpr size_t oneMiB = size_t{1} << 20;

class Reader : public testing::TestWithParam<bool> {
protected:
  ~Reader() override { reader.release(); }

  // Whether a message is there. Its block is not much larger than it.
  bool read() {
    RuntimeMessage message{};
    const int answer = reader.read(ends.first.fd(), Deadline(0), message);
    EXPECT_TRUE(answer == 0 || answer == ETIME) << answer;
    constexpr size_t smallest = 64;
    EXPECT_LE(malloc_usable_size(message.data), size_t{2} * message.length + smallest);
    length = message.length;
    mg_free(message.data);
    return answer == 0;
  }

  void put(const std::string &payload) const {
    test::writeBytes(ends.second.fd(), test::frameOf(RUNTIME_MESSAGE_DATA, payload));
  }

  FrameReader reader{GetParam()};
  uint32_t length = 0; // of the last message
  const test::Ends ends = test::socketEnds();
};

} // namespace

INSTANTIATE_TEST_SUITE_P(That, Reader, testing::Bool(), [](const auto &readsAhead) {
  return readsAhead.param ? "ReadsAhead" : "ReadsWhatItIsAskedFor";
});

TEST_P(Reader, MakesLittleRoomForWhatIsOnlyAnnounced) {
  test::writeBytes(ends.second.fd(),
                   test::headerOf(RUNTIME_MESSAGE_DATA, test::session, 256U << 20, 0));
  const std::string piece(100000, 'x');
  for (size_t arrived = 0; arrived < 4 * oneMiB; arrived += piece.size()) {
    EXPECT_FALSE(read());
    EXPECT_LE(reader.capacity(), std::max(oneMiB, 2 * arrived) + headerSize);
    test::writeBytes(ends.second.fd(), piece);
  }
}

TEST_P(Reader, MakesLittleRoomForWhatMayFollowALongMessage) {
  const std::string frame = test::frameOf(RUNTIME_MESSAGE_DATA, std::string(3 * oneMiB, 'x'));
  const test::Child sender([&] {
    test::writeBytes(ends.second.fd(), frame);
    return 0;
  });
  ASSERT_TRUE(test::await([&] { return read(); }));
  EXPECT_EQ(length, 3 * oneMiB);
  EXPECT_FALSE(read());
  EXPECT_LE(reader.capacity(), oneMiB + headerSize);
}

TEST_P(Reader, GivesBlocksThatFitTheirMessages) {
  for (const size_t size : {1, 100, 3000, 100, 10000, 4000, 10000, 100}) {
    put(std::string(size, 'x'));
    EXPECT_TRUE(read());
    EXPECT_EQ(length, size);
  }
}

TEST_P(Reader, HasRoomForAMessageLikeTheLastIfItReadsAhead) {
  constexpr size_t size = 100000;
  put(std::string(size, 'x'));
  EXPECT_TRUE(read());
  EXPECT_FALSE(read());
  EXPECT_EQ(reader.capacity(), GetParam() ? size : 0);
}

TEST_P(Reader, HoldsNothingWhenItIsReleased) {
  test::writeBytes(ends.second.fd(), test::frameOf(RUNTIME_MESSAGE_DATA, "data").substr(0, 22));
  EXPECT_FALSE(read());
  EXPECT_GT(reader.capacity(), 0U);
  reader.release();
  EXPECT_EQ(reader.capacity(), 0U);
  put("data");
  EXPECT_TRUE(read());
}
