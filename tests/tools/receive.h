// A test of `sprig receive`: a small tree, packed, and ways to say what a receive is to print.
#ifndef SPRIG_TESTS_TOOLS_RECEIVE_H
#define SPRIG_TESTS_TOOLS_RECEIVE_H

#include <cstdint>
#include <string>

#include "tools/program.h"
#include "tools/sender.h"
#include "tools/tree.h"

namespace test {

// In the current directory: "tree", with "docs/manual" (15 KiB), "image" (20 KiB) and "notes"
// (10 KiB), and "dist", what it is packed into.
class ReceiveTest : public ToolTest {
protected:
  ReceiveTest();

  // The arguments of a receive from the sender into "out", and what else is given.
  static Arguments fromSender(const Arguments &others = {});
  static Arguments from(const std::string &source, const Arguments &others = {});
  // A receive without a depot, of which the sender sends so many of the first bytes: all of them
  // are in "out/.sprig" before this returns.
  void startWith(RunningProgram &program, Sender &sender, size_t bytes) const;

  // Packs "tree" into "dist" again.
  static void packAgain();
  static void expectTree(const std::string &directory = "out");

  const Tree tree;
  const std::string content; // of all segments, in their order
};

inline constexpr const char *announced = "tree: 3 files, 45.0 KiB in 3 segments\n";
inline constexpr const char *receivedAll =
    "received tree into out: 3 files, 45.0 KiB, every byte verified\n";
inline constexpr const char *goOn = "hint: run the same line again to go on\n";

// What a receive printed, without what depends on how long it took, on the day, and on the numbers
// of its descriptors.
std::string timeless(const std::string &text);
Outcome timeless(const Outcome &outcome);

// What a program has printed on standard error so far.
std::string errorsOf(const RunningProgram &program);

// How many bytes of segments are kept in a directory for the next receive.
uint64_t keptBytes(const std::string &directory);

// Changes one byte of a file.
void damage(const std::string &path, size_t offset = 100);

} // namespace test

#endif
