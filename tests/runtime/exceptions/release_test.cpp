// What is delegated to a try frame, and how it is released.
#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/framework.h>

#include "support/frames.h"
#include "support/last_words.h"

using test::inFrame;
using test::messageIn;

namespace {

using Events = std::vector<std::string>;

// Kept here, since nothing with a destructor may stand where an exception passes.
Events events;

void note(const char *event) { events.emplace_back(event); }

struct Block {
  const char *name;
  const char *thrown = nullptr; // thrown by its release
};

void release(void *block) {
  const auto *released = static_cast<const Block *>(block);
  note(released->name);
  if (released->thrown != nullptr) {
    vaThrow(nullptr, 0, released->thrown);
  }
}

void releaseInAnotherWay(void *block) {
  note("in another way:");
  release(block);
}

void catchIt(EhFrame *frame) {
  EXPECT_NE(eh_catch_all(frame), 0);
  events.push_back("caught " + messageIn(frame));
  eh_pop_try(frame);
}

void unexpected(EhFrame *frame) {
  ADD_FAILURE() << "thrown: " << messageIn(frame);
  eh_catch_all(frame);
  eh_pop_try(frame);
}

void delegate(Block &block) { ex_delegate(&block, release); }

struct Path {
  const char *name;
  bool isThrown; // in the body
  void (*handle)(EhFrame *frame);
  bool isCaught; // by the handler
};

std::ostream &operator<<(std::ostream &out, const Path &path) { return out << path.name; }

// How a frame can end.
const Path paths[] = {
    {"Normal", false, unexpected, false},
    {"Again", true,
     [](EhFrame *frame) {
       note("handled");
       eh_again(frame);
       note("marked");
       eh_pop_try(frame);
       note("came back");
     },
     false},
    {"AgainAfterItWasPopped", true,
     [](EhFrame *frame) {
       note("handled");
       note("marked");
       eh_pop_try(frame);
       eh_again(frame);
       note("came back");
     },
     false},
    {"Rethrow", true,
     [](EhFrame *frame) {
       note("handled");
       note("marked");
       eh_rethrow(frame);
     },
     false},
    {"Caught", true,
     [](EhFrame *frame) {
       note("handled");
       EXPECT_NE(eh_catch_all(frame), 0);
       note("marked");
       eh_pop_try(frame);
     },
     true},
};

class Delegated : public testing::Test {
protected:
  Delegated() { events.clear(); }

  Block a{"a"};
  Block b{"b"};
  Block c{"c"};
};

class DelegatedOnEachPath : public Delegated, public testing::WithParamInterface<Path> {
protected:
  // Runs a body in a frame that ends in the given way, and the rest in the next outer one.
  template <typename Body> static void run(const Body &body) {
    inFrame(
        [&] {
          inFrame(
              [&] {
                body();
                if (GetParam().isThrown) {
                  vaThrow(nullptr, 0, "first");
                }
              },
              GetParam().handle);
          note("went on");
        },
        catchIt);
  }

  // What happens up to the release of the frame's blocks, then these, then what comes after when
  // no release throws.
  static Events around(const Events &released, const char *thrown = nullptr) {
    const Path &path = GetParam();
    Events result = path.isThrown ? Events{"handled", "marked"} : Events{};
    result.insert(result.end(), released.begin(), released.end());
    if (thrown != nullptr) {
      result.push_back(std::string("caught ") + thrown);
    } else if (path.isThrown && !path.isCaught) {
      result.emplace_back("caught first");
    } else {
      result.emplace_back("went on");
    }
    return result;
  }
};

} // namespace

TEST_P(DelegatedOnEachPath, AreReleasedOnceWithTheFrameTheLastFirst) {
  run([&] {
    delegate(a);
    delegate(b);
    delegate(c);
  });
  EXPECT_EQ(events, around({"c", "b", "a"}));
}

TEST_P(DelegatedOnEachPath, AreNotReleasedWhenTheyAreTakenBack) {
  run([&] {
    delegate(a);
    delegate(b);
    delegate(c);
    ex_undelegate(&b, 0);
  });
  EXPECT_EQ(events, around({"c", "a"}));
}

TEST_P(DelegatedOnEachPath, AreReleasedAlthoughOneOfThemThrows) {
  for (Block *thrower : {&a, &b, &c}) {
    events.clear();
    thrower->thrown = "second";
    run([&] {
      delegate(a);
      delegate(b);
      delegate(c);
    });
    thrower->thrown = nullptr;
    EXPECT_EQ(events, around({"c", "b", "a"}, "second")) << thrower->name;
  }
}

TEST_P(DelegatedOnEachPath, AreReleasedAlthoughAllOfThemThrow) {
  a.thrown = "by a";
  b.thrown = "by b";
  c.thrown = "by c";
  run([&] {
    delegate(a);
    delegate(b);
    delegate(c);
  });
  EXPECT_EQ(events, around({"c", "b", "a"}, "by a"));
}

TEST_P(DelegatedOnEachPath, MayUseFramesThemselves) {
  run([&] {
    delegate(a);
    ex_delegate(&b, [](void *block) {
      inFrame([] { vaThrow(nullptr, 0, "inside"); }, catchIt);
      release(block);
    });
    delegate(c);
  });
  EXPECT_EQ(events, around({"c", "caught inside", "b", "a"}));
}

TEST_P(DelegatedOnEachPath, MayThrowThroughFramesOfTheirOwn) {
  run([&] {
    delegate(a);
    ex_delegate(&b, [](void *block) {
      static Block inner{"inner"};
      inFrame(
          [&] {
            delegate(inner);
            release(block);
            vaThrow(nullptr, 0, "second");
          },
          [](EhFrame *frame) { eh_rethrow(frame); });
    });
  });
  EXPECT_EQ(events, around({"b", "inner", "a"}, "second"));
}

TEST_P(DelegatedOnEachPath, MayDelegateMore) {
  run([&] {
    delegate(a);
    ex_delegate(&b, [](void *block) {
      static Block more{"more"};
      release(block);
      delegate(more);
    });
  });
  for (const char *name : {"a", "b", "more"}) {
    EXPECT_EQ(std::count(events.begin(), events.end(), name), 1) << name;
  }
}

TEST_P(DelegatedOnEachPath, EndTheProcessWhenTheyThrowAndThereIsNoOuterFrame) {
  a.thrown = "no water";
  const std::string words = test::lastWords([&] {
    inFrame(
        [&] {
          delegate(a);
          if (GetParam().isThrown) {
            vaThrow(nullptr, 0, "first");
          }
        },
        GetParam().handle);
  });
  EXPECT_NE(words.find("no water"), std::string::npos) << words;
}

TEST_F(Delegated, AreReleasedWithTheirFrameAndNotBefore) {
  inFrame(
      [&] {
        delegate(a);
        inFrame([&] { delegate(b); }, unexpected);
        note("between");
        delegate(c);
        note("end");
      },
      unexpected);
  EXPECT_EQ(events, (Events{"b", "between", "end", "c", "a"}));
}

TEST_F(Delegated, AreReleasedWithTheFrameWhoseHandlerDelegatesThem) {
  inFrame(
      [&] {
        delegate(a);
        vaThrow(nullptr, 0, "first");
      },
      [&](EhFrame *frame) {
        delegate(b);
        catchIt(frame);
        note("end");
      });
  EXPECT_EQ(events, (Events{"caught first", "b", "a", "end"}));
}

TEST_F(Delegated, MayBeMany) {
  std::vector<std::string> names(10000);
  std::vector<Block> blocks(names.size());
  Events expected(names.size());
  for (size_t i = 0; i < names.size(); ++i) {
    names[i] = std::to_string(i);
    blocks[i].name = names[i].c_str();
    expected[names.size() - 1 - i] = names[i];
  }
  inFrame(
      [&] {
        for (Block &block : blocks) {
          delegate(block);
        }
      },
      unexpected);
  EXPECT_EQ(events, expected);
}

TEST_F(Delegated, AreReleasedAsOftenAsTheyWereDelegated) {
  inFrame(
      [&] {
        delegate(a);
        ex_delegate(&a, releaseInAnotherWay);
        delegate(a);
      },
      unexpected);
  EXPECT_EQ(events, (Events{"a", "in another way:", "a", "a"}));
}

TEST_F(Delegated, AreTakenBackTheLastFirst) {
  inFrame(
      [&] {
        delegate(a);
        ex_delegate(&a, releaseInAnotherWay);
        ex_undelegate(&a, 0);
      },
      unexpected);
  EXPECT_EQ(events, Events{"a"});
}

TEST_F(Delegated, AreTakenBackFromTheInnermostFrameThatHasThem) {
  inFrame(
      [&] {
        delegate(a);
        inFrame(
            [&] {
              ex_delegate(&a, releaseInAnotherWay);
              ex_undelegate(&a, 0);
            },
            unexpected);
        note("end");
      },
      unexpected);
  EXPECT_EQ(events, (Events{"end", "a"}));
}

TEST_F(Delegated, AreTakenBackFromAnOuterFrame) {
  inFrame(
      [&] {
        delegate(a);
        delegate(b);
        inFrame([&] { ex_undelegate(&a, 0); }, unexpected);
        note("end");
      },
      unexpected);
  EXPECT_EQ(events, (Events{"end", "b"}));
}

TEST_F(Delegated, MayBeDelegatedAgainAfterTheyWereTakenBack) {
  inFrame(
      [&] {
        delegate(a);
        delegate(b);
        ex_undelegate(&a, 0);
        delegate(a);
      },
      unexpected);
  EXPECT_EQ(events, (Events{"a", "b"}));
}

TEST_F(Delegated, CannotBeTakenBackWhenTheyWereNot) {
  inFrame(
      [&] {
        delegate(a);
        ex_undelegate(&b, 0);
        ex_undelegate(nullptr, 0);
      },
      unexpected);
  ex_undelegate(&a, 0);
  EXPECT_EQ(events, Events{"a"});
}

TEST_F(Delegated, AreIgnoredWhenTheyAreNull) {
  inFrame([] { ex_delegate(nullptr, [](void *) { note("released"); }); }, unexpected);
  EXPECT_EQ(events, Events{});
}

TEST_F(Delegated, AreLeftAloneWithoutAFrame) {
  delegate(a);
  inFrame([] {}, unexpected);
  EXPECT_EQ(events, Events{});
}

TEST_F(Delegated, MayBeBlocksOfTheHeap) {
  inFrame(
      [] {
        inFrame(
            [] {
              ex_delegate(mg_strdup("rose"), mg_free);
              void *kept = mg_strdup("tulip");
              ex_delegate(kept, mg_free);
              ex_undelegate(kept, 0);
              mg_free(kept);
              ex_delegate(mg_malloc(1000), mg_free);
              vaThrow(nullptr, 0, "first");
            },
            [](EhFrame *frame) { eh_rethrow(frame); });
      },
      catchIt);
  EXPECT_EQ(events, Events{"caught first"});
}

INSTANTIATE_TEST_SUITE_P(Frame, DelegatedOnEachPath, testing::ValuesIn(paths),
                         [](const auto &info) { return info.param.name; });
