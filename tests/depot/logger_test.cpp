#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/depot.h>

#include "support/log.h"

using test::Lines;

namespace {

// The compiler has opinions on the formats that are tried here.
void (*const logUnchecked)(int, const char *, ...) = Logger;

class DepotLogger : public testing::Test {
protected:
  test::Log log;
};

} // namespace

TEST_F(DepotLogger, HandsOverLinesOfEveryLevelAsTheyCome) {
  Lines expected;
  for (const int level : {3, 0, 1, 2, 100, 3}) {
    Logger(level, "DepotNew entry\n");
    expected.push_back({level, "DepotNew entry\n"});
  }
  EXPECT_EQ(log.lines(), expected);
}

TEST_F(DepotLogger, FormatsItsArguments) {
  Logger(0, "DepotFree exit.  Error %d(%d) obtaining %s, %08u%c", -2, 22, "lock", 92U, '\n');
  EXPECT_EQ(log.lines(), (Lines{{0, "DepotFree exit.  Error -2(22) obtaining lock, 00000092\n"}}));
}

TEST_F(DepotLogger, LogsAFormatOf974CharactersAndNoLongerOne) {
  std::string format = std::string(973, 'f') + "\n";
  logUnchecked(1, format.c_str());
  EXPECT_EQ(log.lines(), (Lines{{1, format}}));
  log.clear();
  for (const size_t more : {1, 2, 50, 49, 100000}) {
    format.insert(0, more, 'f');
    logUnchecked(1, format.c_str());
  }
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(DepotLogger, CountsTheFormatAndNotWhatItBecomes) {
  const std::string format = "%.0s" + std::string(970, 'f');
  logUnchecked(2, format.c_str(), "an argument that is not printed");
  EXPECT_EQ(log.lines(), (Lines{{2, std::string(970, 'f')}}));
  log.clear();
  logUnchecked(2, (format + 'f').c_str(), "");
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(DepotLogger, CutsTheTextBehind1023Characters) {
  for (const size_t length : {1021, 1022, 1023, 1024, 1025, 5000, 65536}) {
    const std::string text = std::string(length, 't') + "\n";
    Logger(2, "%s", text.c_str());
    EXPECT_EQ(log.lines(), (Lines{{2, text.substr(0, 1023)}})) << length;
    log.clear();
  }
}

TEST_F(DepotLogger, TakesNothingInAnArgumentForAFormat) {
  const std::vector<std::string> arguments{"100%",      "%",   "%%",       "%s%s%s%n",
                                           "%1$s %2$n", "%*d", "%.99999d", std::string(1023, '%')};
  for (const std::string &argument : arguments) {
    Logger(1, "%s", argument.c_str());
    EXPECT_EQ(log.lines(), (Lines{{1, argument}}));
    log.clear();
  }
}

TEST_F(DepotLogger, CutsPercentSignsWhereItCutsOtherText) {
  Logger(1, "%s", std::string(2000, '%').c_str());
  EXPECT_EQ(log.lines(), (Lines{{1, std::string(1023, '%')}}));
}

TEST_F(DepotLogger, PrintsAPercentSignThatTheFormatAsksFor) {
  Logger(2, "%d%% of %s\n", 50, "5%d");
  EXPECT_EQ(log.lines(), (Lines{{2, "50% of 5%d\n"}}));
}

TEST_F(DepotLogger, PassesBytesOfAnyKind) {
  const std::string bytes = "\x01\t\r\n\x7f\x80\xff\xc3\xa4<>&\"\\\n";
  Logger(0, "%s", bytes.c_str());
  EXPECT_EQ(log.lines(), (Lines{{0, bytes}}));
}

TEST_F(DepotLogger, LogsAnEmptyText) {
  logUnchecked(3, "%s", "");
  EXPECT_EQ(log.lines(), (Lines{{3, ""}}));
}

TEST_F(DepotLogger, IgnoresAMissingFormat) {
  logUnchecked(0, nullptr);
  EXPECT_EQ(log.lines(), Lines{});
}
