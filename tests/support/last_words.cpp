#include "support/last_words.h"

#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/process.h"
#include "support/temporary_directory.h"

std::string test::lastWords(const std::function<void()> &body) {
  const TemporaryDirectory directory;
  const std::string path = directory / "stderr";
  Child child([&] {
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    dup2(open(path.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    body();
    return 0;
  });
  EXPECT_EQ(child.wait(), -SIGABRT);
  return readFile(path);
}
