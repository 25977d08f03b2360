// A process that is killed while it saves a status file, at each of its system calls in turn.
// Others find the old file or the new one.
#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <sprig/records.h>

#include "records/status.h"
#include "support/killed_child.h"

using test::encodingOf;
using test::readFile;
using test::StatusPtr;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

const std::string none = "no file";

std::string contentOf(const std::string &path) { return fs::exists(path) ? readFile(path) : none; }

class StatusKilled : public test::StatusTest {
protected:
  StatusKilled() { properties_put_string_dup(list, "msid", "d1"); }

  // Kills `act` at every system call, each time after `restore`, and lets `look` say what is left.
  // Both of what may be left come up, and nothing else.
  void killEverywhere(const std::function<void()> &restore, const std::function<void()> &act,
                      const std::function<std::string()> &look,
                      const std::set<std::string> &expected) {
    std::set<std::string> seen;
    int call = 1;
    const auto isKilled = [&] {
      restore();
      return test::killAtSystemCall(
          call, [] {}, act);
    };
    while (isKilled()) {
      SCOPED_TRACE("killed at call " + std::to_string(call));
      seen.insert(look());
      EXPECT_TRUE(expected.count(look()) > 0) << look();
      expectUsable();
      clear();
      ASSERT_FALSE(HasFailure());
      ++call;
    }
    EXPECT_GT(call, 1) << "it makes system calls";
    seen.insert(look());
    EXPECT_EQ(seen, expected);
  }

  void expectUsable() const {
    const StatusPtr next = test::newStatus("d1");
    properties_put_string_dup(mstat_get_properties(next.get()), "text", "next");
    EXPECT_EQ(mstat_save(next.get()), 0);
    EXPECT_EQ(readFile(path), encodingOf(*mstat_get_properties(next.get())));
  }

  void clear() const {
    for (const std::string &name : test::namesIn(statusDirectory)) {
      fs::remove(pathOf(name));
    }
  }

  void save() const { mstat_save(status.get()); }

  const StatusPtr status = test::newStatus("d1");
  Properties *const list = mstat_get_properties(status.get());
  const std::string path = pathOf("d1.mds");
};

} // namespace

TEST_F(StatusKilled, WhileSavingForTheFirstTime) {
  killEverywhere([] {}, [&] { save(); }, [&] { return contentOf(path); },
                 {none, encodingOf(*list)});
}

TEST_F(StatusKilled, WhileSavingOverASmallerFile) {
  const std::string old = encodingOf(*list);
  properties_put_string_dup(list, "text", std::string(20000, 'x').c_str());
  killEverywhere([&] { writeFile(path, old); }, [&] { save(); }, [&] { return contentOf(path); },
                 {old, encodingOf(*list)});
}

TEST_F(StatusKilled, WhileSavingOverALargerFile) {
  properties_put_string_dup(list, "text", std::string(20000, 'x').c_str());
  const std::string old = encodingOf(*list);
  properties_put_string_dup(list, "text", "small");
  killEverywhere([&] { writeFile(path, old); }, [&] { save(); }, [&] { return contentOf(path); },
                 {old, encodingOf(*list)});
}

TEST_F(StatusKilled, WhileGivingItTheNameOfOneThatIsDone) {
  const auto look = [&] { return contentOf(path) + ", " + contentOf(pathOf("d1.mdf")); };
  killEverywhere([&] { writeFile(path, "text"); }, [&] { mstat_done(status.get()); }, look,
                 {"text, " + none, none + ", text"});
}
