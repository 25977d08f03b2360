// Try frames: where an exception goes.
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <malloc.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>

#include "support/exceptions.h"
#include "support/frames.h"
#include "support/last_words.h"

using test::inFrame;
using test::lastWords;
using test::messageIn;

namespace {

using Events = std::vector<std::string>;

// Kept here, since nothing with a destructor may stand where an exception passes.
Events events;

void note(const char *event) { events.emplace_back(event); }

void noteMessage(EhFrame *frame) { events.push_back("caught " + messageIn(frame)); }

void release(void *name) { note(static_cast<const char *>(name)); }

void delegate(const char *name) { ex_delegate(const_cast<char *>(name), release); }

void claim(EhFrame *frame) { EXPECT_NE(eh_catch_all(frame), 0); }

void catchIt(EhFrame *frame) {
  claim(frame);
  noteMessage(frame);
  eh_pop_try(frame);
}

void unexpected(EhFrame *frame) {
  ADD_FAILURE() << "thrown: " << messageIn(frame);
  claim(frame);
  eh_pop_try(frame);
}

class Frame : public testing::Test {
protected:
  Frame() { events.clear(); }
};

struct Way {
  const char *name;
  void (*passOn)(EhFrame *frame);
};

std::ostream &operator<<(std::ostream &out, const Way &way) { return out << way.name; }

// How a frame lets an exception go on.
const Way ways[] = {
    {"Again",
     [](EhFrame *frame) {
       eh_again(frame);
       eh_pop_try(frame);
     }},
    {"AgainWithMoreArguments",
     [](EhFrame *frame) {
       eh_again(frame, 1, "more", nullptr);
       eh_pop_try(frame);
     }},
    {"AgainAfterItWasPopped",
     [](EhFrame *frame) {
       eh_pop_try(frame);
       eh_again(frame);
     }},
    {"AgainAfterAnotherFrameWasUsed",
     [](EhFrame *frame) {
       eh_pop_try(frame);
       inFrame([] {}, unexpected);
       eh_again(frame);
     }},
    {"Rethrow", [](EhFrame *frame) { eh_rethrow(frame); }},
    {"RethrowOfWhatItClaimed",
     [](EhFrame *frame) {
       claim(frame);
       eh_rethrow(frame);
     }},
};

class PassedOn : public testing::TestWithParam<Way> {
protected:
  PassedOn() { events.clear(); }

  static void passOn(EhFrame *frame) {
    note("passed on");
    GetParam().passOn(frame);
    note("came back");
  }
};

} // namespace

TEST_F(Frame, IsOpenedAndClosed) {
  jmp_buf buffer;
  EhFrame *frame = eh_push_try(buffer);
  ASSERT_NE(frame, nullptr);
  jmp_buf innerBuffer;
  EhFrame *inner = eh_push_try(innerBuffer);
  ASSERT_NE(inner, nullptr);
  EXPECT_NE(inner, frame);
  eh_pop_try(inner);
  eh_pop_try(frame);
}

TEST_F(Frame, HasNothingToCatchWhenNothingWasThrown) {
  jmp_buf buffer;
  EhFrame *frame = eh_push_try(buffer);
  EXPECT_EQ(eh_catch_all(frame), 0);
  EXPECT_EQ(eh_current_exception(frame), nullptr);
  eh_pop_try(frame);
}

TEST_F(Frame, HasNothingToPassOnWhenNothingWasThrown) {
  jmp_buf buffer;
  EhFrame *frame = eh_push_try(buffer);
  eh_again(frame);
  eh_pop_try(frame);
  eh_again(frame);
}

TEST_F(Frame, HasNothingToPassOnAfterItReleasedWhatItClaimed) {
  inFrame(
      [] {
        inFrame([] { vaThrow(nullptr, 0, "wilted"); },
                [](EhFrame *frame) {
                  claim(frame);
                  eh_pop_try(frame);
                  eh_again(frame);
                });
        note("went on");
      },
      unexpected);
  EXPECT_EQ(events, Events{"went on"});
}

TEST_F(Frame, ReceivesWhatIsThrownInIt) {
  inFrame(
      [] {
        vaThrow(nullptr, 0, "wilted");
        note("came back");
      },
      [](EhFrame *frame) {
        const auto *record = static_cast<ExErrorMsg *>(eh_current_exception(frame));
        ASSERT_NE(record, nullptr);
        EXPECT_STREQ(record->type_name, "ExErrorMsg");
        claim(frame);
        EXPECT_EQ(eh_current_exception(frame), record);
        noteMessage(frame);
        eh_pop_try(frame);
      });
  EXPECT_EQ(events, Events{"caught wilted"});
}

TEST_F(Frame, ReceivesNothingOfWhatAnInnerOneCaught) {
  inFrame(
      [] {
        inFrame([] { vaThrow(nullptr, 0, "first"); }, catchIt);
        inFrame([] { vaThrow(nullptr, 0, "second"); }, catchIt);
        note("end");
      },
      unexpected);
  EXPECT_EQ(events, (Events{"caught first", "caught second", "end"}));
}

TEST_F(Frame, ReceivesWhatIsThrownAfterInnerOnesWereClosed) {
  inFrame(
      [] {
        inFrame([] {}, unexpected);
        inFrame([] { vaThrow(nullptr, 0, "first"); }, catchIt);
        vaThrow(nullptr, 0, "second");
      },
      catchIt);
  EXPECT_EQ(events, (Events{"caught first", "caught second"}));
}

TEST_F(Frame, CanBeUsedAnyNumberOfTimes) {
  int caught = 0;
  for (int i = 0; i < 10000; ++i) {
    inFrame([] { vaThrow(nullptr, 0, "wilted"); },
            [&](EhFrame *frame) {
              caught += eh_catch_all(frame) != 0 ? 1 : 0;
              eh_pop_try(frame);
            });
  }
  EXPECT_EQ(caught, 10000);
}

TEST_F(Frame, KeepsNothingOfWhatWasThrown) {
  const std::string text(100000, 'x');
  const auto throwOften = [&] {
    for (int i = 0; i < 100; ++i) {
      inFrame(
          [&] {
            inFrame([&] { vaThrow(nullptr, 0, "%1$s", text.c_str()); },
                    [&](EhFrame *frame) {
                      claim(frame);
                      vaThrow(nullptr, 0, "%1$s", text.c_str());
                    });
          },
          [](EhFrame *frame) {
            claim(frame);
            eh_pop_try(frame);
          });
    }
  };
  throwOften();
  const size_t before = mallinfo2().uordblks;
  throwOften();
  EXPECT_LT(mallinfo2().uordblks, before + 1000000);
}

TEST_F(Frame, ForgetsAnExceptionThatNobodyClaimedOrPassedOnWhenTheNextIsThrown) {
  inFrame(
      [] {
        inFrame([] { vaThrow(nullptr, 0, "first"); }, [](EhFrame *frame) { eh_pop_try(frame); });
        note("went on");
        vaThrow(nullptr, 0, "second");
      },
      catchIt);
  EXPECT_EQ(events, (Events{"went on", "caught second"}));
}

TEST_F(Frame, LetsItsHandlerThrow) {
  for (const bool isClaimed : {false, true}) {
    events.clear();
    inFrame(
        [&] {
          inFrame(
              [] {
                delegate("a");
                delegate("b");
                vaThrow(nullptr, 0, "first");
              },
              [&](EhFrame *frame) {
                if (isClaimed) {
                  claim(frame);
                }
                vaThrow(nullptr, 0, "second");
              });
        },
        catchIt);
    EXPECT_EQ(events, (Events{"b", "a", "caught second"})) << isClaimed;
  }
}

TEST_F(Frame, KeepsItsExceptionWhileItsHandlerUsesFrames) {
  for (const bool isClaimed : {false, true}) {
    events.clear();
    inFrame([] { vaThrow(nullptr, 0, "first"); },
            [&](EhFrame *frame) {
              if (isClaimed) {
                claim(frame);
              }
              inFrame([] { vaThrow(nullptr, 0, "second"); }, catchIt);
              catchIt(frame);
            });
    EXPECT_EQ(events, (Events{"caught second", "caught first"})) << isClaimed;
  }
}

TEST_P(PassedOn, GoesToTheNextOuterFrame) {
  const auto thrown = test::thrown([] {
    inFrame([] { vaThrow("Garden", 12, "%1$s needs %2$d", "rose", -3); }, passOn);
    note("came back");
  });
  ASSERT_TRUE(thrown.has_value());
  EXPECT_EQ(thrown->typeName, "ExErrorMsg");
  EXPECT_EQ(thrown->catalog, "Garden");
  EXPECT_EQ(thrown->id, 12);
  EXPECT_EQ(thrown->arguments, (Events{"rose", "-3"}));
  EXPECT_EQ(thrown->text, "rose needs -3");
  EXPECT_EQ(events, Events{"passed on"});
}

TEST_P(PassedOn, GoesThroughAHundredFramesEachOfWhichReleasesWhatIsIts) {
  std::string names[100];
  const auto descend = [&](auto &self, size_t depth) -> void {
    if (depth == std::size(names)) {
      vaThrow(nullptr, 0, "deep");
    }
    inFrame(
        [&] {
          delegate(names[depth].c_str());
          self(self, depth + 1);
        },
        passOn);
  };
  Events expected;
  expected.reserve(2 * std::size(names) + 1);
  for (size_t i = std::size(names); i-- > 0;) {
    names[i] = std::to_string(i);
    expected.emplace_back("passed on");
    expected.push_back(names[i]);
  }
  expected.emplace_back("caught deep");
  inFrame([&] { descend(descend, 0); }, catchIt);
  EXPECT_EQ(events, expected);
}

TEST_P(PassedOn, LeavesTheOuterFramesUsable) {
  inFrame(
      [] {
        inFrame([] { inFrame([] { vaThrow(nullptr, 0, "first"); }, passOn); }, catchIt);
        delegate("a");
        inFrame([] { vaThrow(nullptr, 0, "second"); }, passOn);
      },
      catchIt);
  EXPECT_EQ(events, (Events{"passed on", "caught first", "passed on", "caught second", "a"}));
}

TEST_P(PassedOn, EndsTheProcessWhereThereIsNoOuterFrame) {
  const std::string words =
      lastWords([] { inFrame([] { vaThrow(nullptr, 0, "no water for %1$s", "roses"); }, passOn); });
  EXPECT_NE(words.find("no water for roses"), std::string::npos) << words;
}

TEST_F(Frame, IsNeededByAnythingThatIsThrown) {
  const std::string words =
      lastWords([] { vaThrow("Garden", 1, "no water for %1$s (%2$d)\n", "roses", -7); });
  EXPECT_NE(words.find("no water for roses (-7)\n"), std::string::npos) << words;
}

TEST_F(Frame, IsNotOpenAnyMoreAfterItWasClosed) {
  const std::string words = lastWords([] {
    inFrame([] {}, catchIt);
    inFrame([] { vaThrow(nullptr, 0, "first"); }, catchIt);
    vaThrow(nullptr, 0, "no water");
  });
  EXPECT_NE(words.find("no water"), std::string::npos) << words;
}

TEST_F(Frame, IsItsThreadsOnly) {
  inFrame(
      [] {
        delegate("main");
        const std::string words =
            lastWords([] { std::thread([] { vaThrow(nullptr, 0, "alone"); }).join(); });
        EXPECT_NE(words.find("alone"), std::string::npos) << words;
        std::thread([] { delegate("of nobody"); }).join();
        std::thread([] { inFrame([] { vaThrow(nullptr, 0, "thread"); }, catchIt); }).join();
        note("end");
      },
      unexpected);
  EXPECT_EQ(events, (Events{"caught thread", "end", "main"}));
}

TEST_F(Frame, LeadsEveryThreadToItsOwnException) {
  const auto throwOften = [](int start, int *matched) {
    for (int i = start; i < start + 5000; ++i) {
      inFrame(
          [&] { inFrame([&] { vaThrow(nullptr, i, "text"); }, [](EhFrame *f) { eh_rethrow(f); }); },
          [&](EhFrame *frame) {
            claim(frame);
            const auto *record = static_cast<ExErrorMsg *>(eh_current_exception(frame));
            *matched += record->emsg.buffer[0].message_id == i ? 1 : 0;
            eh_pop_try(frame);
          });
    }
  };
  int matched[4] = {};
  std::vector<std::thread> threads;
  threads.reserve(std::size(matched));
  for (int &count : matched) {
    threads.emplace_back(throwOften, static_cast<int>(threads.size()) * 10000, &count);
  }
  for (std::thread &thread : threads) {
    thread.join();
  }
  for (const int count : matched) {
    EXPECT_EQ(count, 5000);
  }
}

INSTANTIATE_TEST_SUITE_P(Frame, PassedOn, testing::ValuesIn(ways),
                         [](const auto &info) { return info.param.name; });
