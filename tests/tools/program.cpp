#include "tools/program.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <pty.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

namespace fs = std::filesystem;

void becomeProgram(const Arguments &arguments) {
  std::vector<char *> pointers{const_cast<char *>("sprig")};
  for (const std::string &argument : arguments) {
    pointers.push_back(const_cast<char *>(argument.c_str()));
  }
  pointers.push_back(nullptr);
  execv(SPRIG_TOOL, pointers.data());
  _exit(127);
}

void redirect(const std::string &path, int flags, int descriptor) {
  const int file = open(path.c_str(), flags, 0600);
  if (file == -1 || dup2(file, descriptor) == -1) {
    _exit(126);
  }
}

int statusOf(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) == -1 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

bool append(int descriptor, std::string &text) {
  std::array<char, 4096> buffer{};
  ssize_t count = 0;
  do {
    count = read(descriptor, buffer.data(), buffer.size());
  } while (count == -1 && errno == EINTR);
  text.append(buffer.data(), count > 0 ? static_cast<size_t>(count) : 0);
  return count > 0;
}

void removeSemaphores(const std::string &directory) {
  std::error_code error;
  for (const auto &entry : fs::recursive_directory_iterator(directory, error)) {
    if (entry.path().extension() == ".lk") {
      const int set = semget(ftok(entry.path().c_str(), 1), 1, 0);
      if (set != -1) {
        semctl(set, 0, IPC_RMID);
      }
    }
  }
}

} // namespace

std::ostream &operator<<(std::ostream &stream, const Outcome &outcome) {
  return stream << "status " << outcome.status << "\noutput:\n"
                << outcome.output << "errors:\n"
                << outcome.errors;
}

Outcome sprig(const Arguments &arguments, const std::string &input) {
  const TemporaryDirectory files;
  writeFile(files / "input", input);
  const pid_t pid = fork();
  if (pid == 0) {
    redirect(files / "input", O_RDONLY, STDIN_FILENO);
    redirect(files / "output", O_WRONLY | O_CREAT, STDOUT_FILENO);
    redirect(files / "errors", O_WRONLY | O_CREAT, STDERR_FILENO);
    becomeProgram(arguments);
  }
  const int status = statusOf(pid);
  return {status, readFile(files / "output"), readFile(files / "errors")};
}

RunningProgram::RunningProgram(const Arguments &arguments) {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  pid_ = fork();
  if (pid_ == 0) {
    redirect("/dev/null", O_RDONLY, STDIN_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    redirect(directory_ / "errors", O_WRONLY | O_CREAT, STDERR_FILENO);
    becomeProgram(arguments);
  }
  close(ends[1]);
  output_ = ends[0];
}

RunningProgram::~RunningProgram() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    statusOf(pid_);
  }
  close(output_);
}

std::string RunningProgram::readLine() {
  size_t end = 0;
  while ((end = pending_.find('\n')) == std::string::npos) {
    if (!append(output_, pending_)) {
      return {};
    }
  }
  std::string line = pending_.substr(0, end);
  pending_.erase(0, end + 1);
  return line;
}

void RunningProgram::send(int signal) const { EXPECT_EQ(kill(pid_, signal), 0); }

Outcome RunningProgram::wait() {
  while (append(output_, pending_)) {
  }
  const int status = statusOf(pid_);
  pid_ = -1;
  return {status, pending_, readFile(directory_ / "errors")};
}

ProgramAtTerminal::ProgramAtTerminal(const Arguments &arguments) {
  winsize size{};
  size.ws_row = 24;
  size.ws_col = 80;
  pid_ = forkpty(&terminal_, nullptr, nullptr, &size);
  if (pid_ == 0) {
    becomeProgram(arguments);
  }
  EXPECT_GT(pid_, 0);
}

ProgramAtTerminal::~ProgramAtTerminal() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    statusOf(pid_);
  }
  close(terminal_);
}

// A terminal whose program has gone fails instead of having an end.
bool ProgramAtTerminal::readMore() { return append(terminal_, shown_); }

bool ProgramAtTerminal::awaitText(const std::string &text) {
  while (shown_.find(text) == std::string::npos) {
    if (!readMore()) {
      return false;
    }
  }
  return true;
}

void ProgramAtTerminal::type(const std::string &keys) const {
  EXPECT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

Outcome ProgramAtTerminal::wait() {
  while (readMore()) {
  }
  const int status = statusOf(pid_);
  pid_ = -1;
  return {status, shown_, ""};
}

ToolTest::ToolTest() : startDirectory_(fs::current_path()) {
  fs::current_path(directory.path());
  setenv("XDG_STATE_HOME", (directory / "state").c_str(), 1);
  setenv("LC_ALL", "C", 1);
  setenv("TZ", "UTC", 1);
  for (const char *name : {"KRT_WORKDIR", "KRT_CONFIG", "KRT_DATDIR", "KRT_CHANNEL", "KRT_SESSION",
                           "KRT_LOG", "KRT_LOG_LEVEL", "NLSPATH"}) {
    unsetenv(name);
  }
}

ToolTest::~ToolTest() {
  removeSemaphores(directory.path());
  fs::current_path(startDirectory_);
}

} // namespace test
