#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "posix/directory_watch.h"
#include "support/process.h"
#include "support/temporary_directory.h"

using sprig::DirectoryWatch;
using Change = DirectoryWatch::Change;

namespace sprig {

void PrintTo(Change change, std::ostream *out) {
  const char *const names[] = {"made", "altered", "removed", "moved away"};
  *out << names[static_cast<int>(change)];
}

} // namespace sprig

namespace {

namespace fs = std::filesystem;

struct Event {
  std::string name;
  Change change;

  bool operator==(const Event &) const = default;
};

void PrintTo(const Event &event, std::ostream *out) {
  *out << event.name << " ";
  PrintTo(event.change, out);
}

using Events = std::vector<Event>;

// Keeps what it is told, but what comes twice in a row once: a change may be told in pieces.
class Listener final : public DirectoryWatch::Listener {
public:
  void changed(std::string_view name, Change change) override {
    const Event event{std::string(name), change};
    if (events.empty() || !(events.back() == event)) {
      events.push_back(event);
    }
  }

  Events events;
};

class Watch : public test::DirectoryTest {
protected:
  void SetUp() override {
    fs::create_directory(path);
    ASSERT_TRUE(watch.start(path.c_str())) << "TMPDIR has to be on a file system of this machine";
  }

  std::string operator/(const std::string &name) const { return path + '/' + name; }

  // What was told since the last time.
  Events told() {
    Listener listener;
    EXPECT_TRUE(watch.tell(listener));
    return listener.events;
  }

  bool tells() {
    Listener listener;
    return watch.tell(listener);
  }

  const std::string path = directory / "watched";
  DirectoryWatch watch;
};

void appendTo(const std::string &path) {
  std::ofstream(path, std::ios::binary | std::ios::app) << "more";
}

} // namespace

TEST_F(Watch, HasNothingToTellAtFirst) {
  EXPECT_TRUE(watch.isRunning());
  EXPECT_EQ(told(), Events{});
}

TEST_F(Watch, TellsWhatHappenedInOrder) {
  test::writeFile(*this / "a", "");
  appendTo(*this / "a");
  fs::rename(*this / "a", *this / "b");
  fs::remove(*this / "b");
  fs::create_directory(*this / "c");
  fs::create_symlink("nowhere", *this / "d");
  EXPECT_EQ(told(), (Events{{"a", Change::made},
                            {"a", Change::altered},
                            {"a", Change::movedAway},
                            {"b", Change::made},
                            {"b", Change::removed},
                            {"c", Change::made},
                            {"d", Change::made}}));
  EXPECT_EQ(told(), Events{}) << "everything is told once";
}

TEST_F(Watch, TellsOfEveryWayToAlterAFile) {
  test::writeFile(*this / "a", "content");
  fs::create_hard_link(*this / "a", directory / "outside");
  told();
  const Events altered{{"a", Change::altered}};
  appendTo(*this / "a");
  EXPECT_EQ(told(), altered);
  ASSERT_EQ(truncate((*this / "a").c_str(), 2), 0);
  EXPECT_EQ(told(), altered);
  ASSERT_EQ(chmod((*this / "a").c_str(), 0), 0);
  EXPECT_EQ(told(), altered) << "it may not be readable any more";
}

TEST_F(Watch, TellsOfFilesThatComeAndGoByRenaming) {
  test::writeFile(directory / "outside", "");
  test::writeFile(*this / "a", "");
  told();
  fs::rename(directory / "outside", *this / "a");
  EXPECT_EQ(told(), (Events{{"a", Change::made}}));
  fs::rename(*this / "a", directory / "outside");
  EXPECT_EQ(told(), (Events{{"a", Change::movedAway}}));
}

TEST_F(Watch, TellsBothNamesThatAreExchanged) {
  test::writeFile(*this / "a", "");
  test::writeFile(*this / "b", "");
  told();
  ASSERT_EQ(
      renameat2(AT_FDCWD, (*this / "a").c_str(), AT_FDCWD, (*this / "b").c_str(), RENAME_EXCHANGE),
      0);
  Events events = told();
  const auto byName = [](const Event &one, const Event &other) { return one.name < other.name; };
  std::stable_sort(events.begin(), events.end(), byName);
  EXPECT_EQ(events, (Events{{"a", Change::movedAway},
                            {"a", Change::made},
                            {"b", Change::made},
                            {"b", Change::movedAway}}));
}

TEST_F(Watch, IsNotConcernedWithReaders) {
  test::writeFile(*this / "a", "content");
  told();
  EXPECT_EQ(test::readFile(*this / "a"), "content");
  EXPECT_EQ(std::distance(fs::directory_iterator(path), fs::directory_iterator()), 1);
  EXPECT_EQ(told(), Events{});
}

TEST_F(Watch, TellsWhatAnotherProcessHasDone) {
  test::Child child([&] {
    std::ofstream((*this / "a").c_str()) << "text";
    return 0;
  });
  ASSERT_EQ(child.wait(), 0);
  EXPECT_EQ(told(), (Events{{"a", Change::made}, {"a", Change::altered}}));
}

TEST_F(Watch, TellsOfMoreThanOneReadTakes) {
  Events expected;
  for (int i = 0; i < 1000; ++i) {
    const auto length = static_cast<size_t>(4 + i % 252); // up to the longest name that there is
    std::string name = std::to_string(1000 + i);
    name.resize(length, 'x');
    ASSERT_EQ(mkdir((*this / name).c_str(), 0700), 0);
    expected.push_back({name, Change::made});
  }
  EXPECT_EQ(told(), expected);
}

TEST_F(Watch, TellsThatItLostSomething) {
  std::ifstream limitFile("/proc/sys/fs/inotify/max_queued_events");
  long limit = 0;
  ASSERT_TRUE(limitFile >> limit);
  for (long i = 0; i <= limit; i += 2) {
    ASSERT_EQ(mkdir((*this / "a").c_str(), 0700), 0);
    ASSERT_EQ(rmdir((*this / "a").c_str()), 0);
  }
  ASSERT_EQ(mkdir((*this / "lost").c_str(), 0700), 0);
  EXPECT_FALSE(tells());
}

TEST_F(Watch, TellsThatItsDirectoryIsGone) {
  fs::remove(path);
  EXPECT_FALSE(tells());
}

TEST_F(Watch, TellsThatItsDirectoryIsGoneBehindWhatHappenedInIt) {
  test::writeFile(*this / "a", "");
  fs::remove_all(path);
  Listener listener;
  EXPECT_FALSE(watch.tell(listener));
  EXPECT_EQ(listener.events, (Events{{"a", Change::made}, {"a", Change::removed}}));
}

TEST_F(Watch, ForgetsWhatItHasNotToldWhenItIsStartedAnew) {
  test::writeFile(*this / "a", "");
  ASSERT_TRUE(watch.start(path.c_str()));
  EXPECT_EQ(told(), Events{});
  test::writeFile(*this / "b", "");
  EXPECT_EQ(told(), (Events{{"b", Change::made}}));
}

TEST_F(Watch, RunsUntilItIsStopped) {
  watch.stop();
  EXPECT_FALSE(watch.isRunning());
  watch.stop();
  EXPECT_TRUE(watch.start(path.c_str()));
  EXPECT_TRUE(watch.isRunning());
}

TEST_F(Watch, IsOfDirectoriesOnly) {
  test::writeFile(*this / "a", "");
  for (const std::string &other :
       {*this / "a", *this / "missing", std::string("/proc/self"), std::string("c:\\depot")}) {
    EXPECT_FALSE(watch.start(other.c_str())) << other;
    EXPECT_FALSE(watch.isRunning());
  }
  EXPECT_FALSE(watch.start(nullptr));
}

TEST_F(Watch, HasADescriptorThatNoOtherProgramInherits) {
  int descriptors = 0;
  for (const auto &entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (fs::read_symlink(entry.path(), gone) == "anon_inode:inotify") {
      ++descriptors;
      EXPECT_EQ(fcntl(std::stoi(entry.path().filename()), F_GETFD), FD_CLOEXEC);
    }
  }
  EXPECT_EQ(descriptors, 1);
}
