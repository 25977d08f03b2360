#include "support/key_file.h"

#include <utility>

#include <sys/ipc.h>
#include <sys/sem.h>

namespace test {

KeyFile::KeyFile(std::string path) : path_(std::move(path)) { writeFile(path_, ""); }

KeyFile::~KeyFile() {
  if (set() != -1) {
    EXPECT_EQ(semctl(set(), 0, IPC_RMID), 0);
  }
}

int KeyFile::set() const { return semget(ftok(path(), 1), 1, 0); }

int KeyFile::value() const { return semctl(set(), 0, GETVAL); }

int KeyFile::waiters() const { return semctl(set(), 0, GETNCNT); }

} // namespace test
