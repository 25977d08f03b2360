// The key file of a semaphore, in a test's directory. Its set goes when the test ends.
#ifndef SPRIG_TESTS_SUPPORT_KEY_FILE_H
#define SPRIG_TESTS_SUPPORT_KEY_FILE_H

#include <string>

#include "support/temporary_directory.h"

namespace test {

class KeyFile {
public:
  explicit KeyFile(std::string path);
  ~KeyFile();
  KeyFile(const KeyFile &) = delete;
  KeyFile &operator=(const KeyFile &) = delete;

  const char *path() const { return path_.c_str(); }

  // The set's identifier, or -1 where there is none.
  int set() const;
  // 1 when free, 0 while held.
  int value() const;
  // How many processes wait for it.
  int waiters() const;

private:
  std::string path_;
};

} // namespace test

#endif
