// The program `sprig`, run as a person runs it.
#ifndef SPRIG_TESTS_TOOLS_PROGRAM_H
#define SPRIG_TESTS_TOOLS_PROGRAM_H

#include <ostream>
#include <string>
#include <vector>

#include <sys/types.h>

#include <gtest/gtest.h>

#include "support/temporary_directory.h"

namespace test {

using Arguments = std::vector<std::string>;

// How a run of the program ended.
struct Outcome {
  int status = 0; // the exit status, or minus the number of the signal that ended it
  std::string output;
  std::string errors;

  friend bool operator==(const Outcome &, const Outcome &) = default;
};
std::ostream &operator<<(std::ostream &stream, const Outcome &outcome);

// Runs the program in the current directory and waits for its end.
Outcome sprig(const Arguments &arguments, const std::string &input = "");

// The program at work. One that was not waited for is killed with its owner.
class RunningProgram {
public:
  explicit RunningProgram(const Arguments &arguments);
  ~RunningProgram();
  RunningProgram(const RunningProgram &) = delete;
  RunningProgram &operator=(const RunningProgram &) = delete;

  // Waits for the next line of its standard output, without the newline; empty at the end.
  std::string readLine();
  void send(int signal) const;
  // Waits for the end. What readLine() gave is not in the output any more.
  Outcome wait();
  pid_t pid() const { return pid_; }

private:
  pid_t pid_;
  int output_ = -1;
  std::string pending_;
  TemporaryDirectory directory_;
};

// The program at a terminal of 80 columns: everything that appears there, until it ends.
class ProgramAtTerminal {
public:
  explicit ProgramAtTerminal(const Arguments &arguments);
  ~ProgramAtTerminal();
  ProgramAtTerminal(const ProgramAtTerminal &) = delete;
  ProgramAtTerminal &operator=(const ProgramAtTerminal &) = delete;

  // Reads until the text has appeared; false when the program ends before.
  bool awaitText(const std::string &text);
  // What is typed, such as "\3" to interrupt it.
  void type(const std::string &keys) const;
  // Waits for the end: all that appeared is the output.
  Outcome wait();

private:
  bool readMore();

  pid_t pid_ = -1;
  int terminal_ = -1;
  std::string shown_;
};

// A test of the program: an own directory, which is the current one, with everything that the
// program keeps. The semaphores of depots below it go with it.
class ToolTest : public DirectoryTest {
protected:
  ToolTest();
  ~ToolTest() override;

private:
  std::string startDirectory_;
};

} // namespace test

#endif
