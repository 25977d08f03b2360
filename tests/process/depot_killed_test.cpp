// A process that is killed in the middle of an operation, at each of its system calls in turn. The
// next process can go on, and what is left behind is known.
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/depot.h"
#include "support/killed_child.h"
#include "support/pal_error.h"

using test::ok;

namespace {

class DepotKilled : public test::DepotTest {
protected:
  // Kills `act` at every system call, each time on a fresh depot, and looks at what is left.
  void killEverywhere(const std::function<void()> &prepare, const std::function<void()> &act) {
    int call = 1;
    while (test::killAtSystemCall(call, prepare, act)) {
      SCOPED_TRACE("killed at call " + std::to_string(call));
      expectUsable();
      clear();
      ASSERT_FALSE(HasFailure());
      ++call;
    }
    EXPECT_GT(call, 5) << "the operation makes system calls";
    clear();
  }

  // Another process finds its way: looks up, adds, completes, enumerates, purges.
  void expectUsable() {
    EXPECT_EQ(semaphore("depot.lk"), 2) << "one more than free, for the handle of this process";
    EXPECT_EQ(semaphore("entry.lk"), 2);
    for (const std::string &stem : stems(".dat")) {
      EXPECT_TRUE(std::filesystem::exists(path(stem + ".xml"))) << "data without a TOC file";
    }
    DepotGetEntry(depot, "victim", "1");
    DepotEntry *entry = add("bystander");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(DepotCompleteEntry(depot, entry, 0), ok);
    uint32_t total = 0;
    EXPECT_EQ(DepotPurgeExpiredEntries(depot), ok);
    EXPECT_EQ(DepotGetEntry(depot, "bystander", "1"), nullptr) << "its deadline is over";
    (void)DepotGetPermStorage(depot, &total);
    EXPECT_EQ(DepotPurge(depot, 1), ok);
    expectLeftovers();
    entry = add("victim");
    ASSERT_NE(entry, nullptr) << "it can be had again";
    EXPECT_EQ(DepotRemoveEntry(depot, entry, 1), ok);
  }

  // After a purge, a TOC file without a text may still be there, of an entry that was being added.
  static void expectLeftovers() {
    for (const std::string &name : names()) {
      EXPECT_TRUE(name.ends_with(".xml")) << name;
      EXPECT_EQ(test::readFile(path(name)), "") << name;
    }
  }

  static void clear() {
    for (const std::string &name : names()) {
      std::filesystem::remove(path(name));
    }
  }

  std::function<void()> having(int registrations) {
    return [this, registrations] {
      victim = add("victim");
      for (int i = 0; i < registrations; ++i) {
        DepotCompleteEntry(depot, victim, INT32_MAX);
        victim = DepotGetEntry(depot, "victim", "1");
      }
    };
  }

  DepotEntry *victim = nullptr; // in the child
};

} // namespace

TEST_F(DepotKilled, WhileAddingAnEntry) {
  killEverywhere([] {}, [this] { add("victim"); });
}

TEST_F(DepotKilled, WhileCompletingAnEntry) {
  killEverywhere(having(0), [this] { DepotCompleteEntry(depot, victim, 1); });
}

TEST_F(DepotKilled, WhileRegisteringAnotherUser) {
  killEverywhere(having(1), [this] { DepotCompleteEntry(depot, victim, 1); });
}

TEST_F(DepotKilled, WhileUnregisteringOneOfTwoUsers) {
  killEverywhere(having(2), [this] { DepotUnregisterEntry(depot, victim, 0); });
}

TEST_F(DepotKilled, WhileUnregisteringTheLastUser) {
  killEverywhere(having(1), [this] { DepotUnregisterEntry(depot, victim, 0); });
}

TEST_F(DepotKilled, WhileRemovingAnEntry) {
  killEverywhere(having(1), [this] { DepotRemoveEntry(depot, victim, 1); });
}

TEST_F(DepotKilled, WhilePurging) {
  killEverywhere(
      [this] {
        having(1)();
        add("another");
        addComplete("a third");
      },
      [this] { DepotPurge(depot, 1); });
}
