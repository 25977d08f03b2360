#include "framework/try_frame.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/exceptions.h>

#include "support/exceptions.h"

namespace {

std::vector<std::string> released;

void release(void *name) { released.emplace_back(static_cast<const char *>(name)); }

char first[] = "first";
char second[] = "second";

void throwMessage() { vaThrow(nullptr, 7, "thrown\n"); }

class InTryFrame : public testing::Test {
protected:
  ~InTryFrame() override { released.clear(); }
};
using CatchAll = InTryFrame;

} // namespace

TEST_F(InTryFrame, ReleasesWhatItsBodyDelegatedWhenThatEnds) {
  sprig::inTryFrame([] {
    ex_delegate(first, release);
    ex_delegate(second, release);
    EXPECT_TRUE(released.empty());
  });
  EXPECT_EQ(released, (std::vector<std::string>{"second", "first"}));
}

TEST_F(InTryFrame, PassesAnExceptionOnWhenItHasReleasedWhatIsItsOwn) {
  const auto thrown = test::thrown([] {
    sprig::inTryFrame([] {
      ex_delegate(first, release);
      throwMessage();
    });
    ADD_FAILURE() << "came back";
  });
  ASSERT_TRUE(thrown);
  EXPECT_EQ(thrown->id, 7);
  EXPECT_EQ(released, std::vector<std::string>{"first"});
}

TEST_F(InTryFrame, LeavesTheVariablesOfItsCallerAsTheBodyLeftThem) {
  int steps = 0;
  const auto thrown = test::thrown([&] {
    sprig::inTryFrame(
        [&] {
          ++steps;
          sprig::inTryFrame([&] {
            ++steps;
            throwMessage();
          });
        },
        [&](EhFrame *frame) {
          ++steps;
          eh_again(frame);
        });
  });
  EXPECT_TRUE(thrown);
  EXPECT_EQ(steps, 3);
}

TEST_F(InTryFrame, MayBeNestedAHundredDeep) {
  const auto nest = [](const auto &self, int depth) -> void {
    sprig::inTryFrame([&] {
      ex_delegate(first, release);
      if (depth == 1) {
        throwMessage();
      }
      self(self, depth - 1);
    });
  };
  EXPECT_TRUE(test::thrown([&] { nest(nest, 100); }));
  EXPECT_EQ(released.size(), 100U);
}

TEST_F(CatchAll, TellsThatTheBodyEnded) {
  EXPECT_TRUE(sprig::catchAll([] { ex_delegate(first, release); },
                              [](void *) { FAIL() << "nothing was thrown"; }));
  EXPECT_EQ(released, std::vector<std::string>{"first"});
}

TEST_F(CatchAll, ShowsTheExceptionAndGoesOn) {
  std::string text;
  EXPECT_FALSE(sprig::catchAll(throwMessage, [&](void *exception) {
    char *message = def_ex_bind(exception);
    text = message;
    mg_free(message);
  }));
  EXPECT_EQ(text, "thrown\n");
}
