// The embedded runtime's log.
#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/runtime.h>

#include "support/log.h"
#include "support/process.h"
#include "support/temporary_directory.h"

using test::Lines;
using test::LogLine;
namespace {

// The log as the environment sets it up: a file, unless a test says otherwise.
class EnvironmentLog : public test::DirectoryTest {
protected:
  EnvironmentLog() { configure(file.c_str(), nullptr); }
  ~EnvironmentLog() override { configure(nullptr, nullptr); }

  // Null takes a variable away.
  static void configure(const char *target, const char *level) {
    set("KRT_LOG", target);
    set("KRT_LOG_LEVEL", level);
    runtime_set_log_sink(nullptr, nullptr);
  }

  static void logEveryLevel() {
    LogQ("queue");
    for (int level = 0; level <= 4; ++level) {
      LogMsg(level, 0, 0, -1, "level %d", level);
    }
  }

  // The texts in the file, behind "DATE TIME ZONE [PROCESS] ", as "LEVEL TEXT".
  std::vector<std::string> texts() const {
    std::vector<std::string> result;
    std::istringstream lines(std::filesystem::exists(file) ? test::readFile(file) : "");
    for (std::string line; std::getline(lines, line);) {
      const std::string start = "2026-11-21 21:16:26 +0000 [";
      std::string shape = line.substr(0, start.size());
      std::replace_if(
          shape.begin(), shape.end(), [](unsigned char c) { return std::isdigit(c) != 0; }, '0');
      EXPECT_TRUE(shape == "0000-00-00 00:00:00 +0000 [" || shape == "0000-00-00 00:00:00 -0000 [")
          << line;
      const size_t level = line.find("] ", start.size());
      const size_t text = line.find(": ", level);
      EXPECT_TRUE(level != std::string::npos && text != std::string::npos) << line;
      if (text != std::string::npos) {
        result.push_back(line.substr(level + 2, text - level - 2) + " " + line.substr(text + 2));
      }
    }
    return result;
  }

  // What is written to standard error meanwhile.
  template <typename Act> std::string standardErrorOf(Act act) const {
    const std::string path = directory / "stderr";
    const int saved = dup(STDERR_FILENO);
    const int captured = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(captured, STDERR_FILENO);
    act();
    dup2(saved, STDERR_FILENO);
    close(captured);
    close(saved);
    return test::readFile(path);
  }

  std::string file = directory / "log";

private:
  static void set(const char *name, const char *value) {
    if (value == nullptr) {
      unsetenv(name);
    } else {
      setenv(name, value, 1);
    }
  }
};

} // namespace

TEST(LogSink, ReceivesEveryLineOfEveryLevel) {
  const test::Log log;
  LogQ("queue %s", "line");
  LogMsg(0, 0, 0, -1, "zero\n");
  LogMsg(3, 0, 0, -1, "three");
  LogMsg(1000, 0, 0, -1, "%d", 1000);
  EXPECT_EQ(log.lines(), (Lines{{-1, "queue line"}, {0, "zero\n"}, {3, "three"}, {1000, "1000"}}));
}

TEST(LogSink, ReceivesArgumentsNamedByPosition) {
  const test::Log log;
  LogMsg(1, 0, 0, -1, "%2$s before %1$s", "second", "first");
  EXPECT_EQ(log.lines(), (Lines{{1, "first before second"}}));
}

TEST(LogSink, ReceivesTextsOfAnyLengthWhole) {
  const test::Log log;
  const std::string text(100000, 'x');
  LogQ("%s", text.c_str());
  LogMsg(3, 0, 0, -1, "%s", text.c_str());
  EXPECT_EQ(log.lines(), (Lines{{-1, text}, {3, text}}));
}

TEST(LogSink, IsNotCalledForANullFormat) {
  const test::Log log;
  const char *format = nullptr;
  LogQ(format, 0);
  LogMsg(0, 0, 0, -1, format, 0);
  EXPECT_EQ(log.lines(), Lines{});
}

TEST(LogSink, MayLogItself) {
  std::vector<int> levels;
  runtime_set_log_sink(
      [](void *context, int level, const char *) {
        static_cast<std::vector<int> *>(context)->push_back(level);
        if (level > 0) {
          LogMsg(level - 1, 0, 0, -1, "again");
        }
      },
      &levels);
  LogMsg(2, 0, 0, -1, "once");
  runtime_set_log_sink(nullptr, nullptr);
  EXPECT_EQ(levels, (std::vector<int>{2, 1, 0}));
}

TEST(LogSink, IsCalledByEveryThreadThatLogs) {
  constexpr int lines = 1000;
  std::atomic<int> count = 0;
  runtime_set_log_sink(
      [](void *context, int, const char *) { ++*static_cast<std::atomic<int> *>(context); },
      &count);
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int line = 0; line < lines; ++line) {
        LogQ("line %d", line);
      }
    });
  }
  for (std::thread &thread : threads) {
    thread.join();
  }
  runtime_set_log_sink(nullptr, nullptr);
  EXPECT_EQ(count, 4 * lines);
}

TEST_F(EnvironmentLog, HasLinesUpToLevelOneUnlessToldOtherwise) {
  logEveryLevel();
  EXPECT_EQ(texts(), (std::vector<std::string>{"Q queue", "0 level 0", "1 level 1"}));
}

TEST_F(EnvironmentLog, HasLinesUpToTheLevelThatItIsTold) {
  configure(file.c_str(), "3");
  logEveryLevel();
  EXPECT_EQ(texts(), (std::vector<std::string>{"Q queue", "0 level 0", "1 level 1", "2 level 2",
                                               "3 level 3"}));
}

TEST_F(EnvironmentLog, CanBeToldToHaveOnlyTheQueueAndNothingAtAll) {
  configure(file.c_str(), "-1");
  logEveryLevel();
  configure(file.c_str(), "-2");
  logEveryLevel();
  EXPECT_EQ(texts(), (std::vector<std::string>{"Q queue"}));
}

TEST_F(EnvironmentLog, TakesALevelThatIsNoNumberForTheUsualOne) {
  for (const char *level : {"", "x", "3x"}) {
    std::filesystem::remove(file);
    configure(file.c_str(), level);
    logEveryLevel();
    EXPECT_EQ(texts().size(), 3U) << level;
  }
}

TEST_F(EnvironmentLog, TakesAnEnormousLevelForEverything) {
  configure(file.c_str(), "99999999999999999999");
  logEveryLevel();
  EXPECT_EQ(texts().size(), 6U);
}

TEST_F(EnvironmentLog, EndsEveryLineOnce) {
  LogMsg(0, 0, 0, -1, "with\n");
  LogMsg(0, 0, 0, -1, "without");
  LogMsg(0, 0, 0, -1, "%s", "");
  EXPECT_EQ(texts(), (std::vector<std::string>{"0 with", "0 without", "0 "}));
}

TEST_F(EnvironmentLog, IsAppendedTo) {
  LogQ("first");
  configure(file.c_str(), nullptr);
  LogQ("second");
  EXPECT_EQ(texts(), (std::vector<std::string>{"Q first", "Q second"}));
}

TEST_F(EnvironmentLog, IsStandardErrorUnlessToldOtherwise) {
  for (const char *target : {static_cast<const char *>(nullptr), "", "stderr"}) {
    const std::string written = standardErrorOf([&] {
      configure(target, nullptr);
      logEveryLevel();
    });
    EXPECT_NE(written.find("level 1\n"), std::string::npos) << written;
    EXPECT_EQ(written.find("level 2\n"), std::string::npos) << written;
  }
}

TEST_F(EnvironmentLog, IsStandardErrorWhereTheFileCannotBeHad) {
  const std::string written = standardErrorOf([&] {
    configure((directory / "missing/log").c_str(), nullptr);
    LogQ("somewhere");
  });
  EXPECT_NE(written.find("Q: somewhere\n"), std::string::npos) << written;
}

TEST_F(EnvironmentLog, IsNowhereElseWhenItGoesToTheSystemsLog) {
  const std::string written = standardErrorOf([&] {
    configure("syslog", "2");
    logEveryLevel();
  });
  EXPECT_EQ(written, "");
  EXPECT_EQ(texts(), std::vector<std::string>{});
}

TEST_F(EnvironmentLog, IsForItsOwnerOnly) {
  LogQ("line");
  EXPECT_EQ(std::filesystem::status(file).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(EnvironmentLog, GivesWayToASinkAndComesBack) {
  {
    const test::Log log;
    LogQ("taken");
    EXPECT_EQ(log.lines().size(), 1U);
  }
  LogQ("written");
  EXPECT_EQ(texts(), (std::vector<std::string>{"Q written"}));
}

TEST_F(EnvironmentLog, KeepsTheLinesOfSeveralProcessesApart) {
  constexpr size_t lines = 200;
  const auto children = test::startChildren(4, [] {
    for (size_t i = 0; i < lines; ++i) {
      LogQ("%s", std::string(300, 'x').c_str());
    }
    return 0;
  });
  for (const auto &child : children) {
    EXPECT_EQ(child->wait(), 0);
  }
  EXPECT_EQ(texts(), std::vector<std::string>(4 * lines, "Q " + std::string(300, 'x')));
}

TEST_F(EnvironmentLog, DoesNotMindThatNobodyReadsIt) {
  const auto child = test::startChildren(1, [] {
    int ends[2];
    CHILD_EXPECT(pipe(ends) == 0 && dup2(ends[1], STDERR_FILENO) != -1);
    close(ends[0]);
    unsetenv("KRT_LOG");
    runtime_set_log_sink(nullptr, nullptr);
    LogQ("to nobody");
    return 0;
  });
  EXPECT_EQ(child.front()->wait(), 0);
}

TEST_F(EnvironmentLog, LeavesErrnoAlone) {
  errno = EXDEV;
  LogQ("line");
  LogMsg(0, 0, 0, -1, "line");
  EXPECT_EQ(errno, EXDEV);
}
