#include "serve/account.h"

#include <new>

#include <sys/mman.h>

#include "failure.h"

namespace tool {

void Account::finish(End how, const std::string &why) {
  end = how;
  reason[why.copy(reason.data(), reason.size() - 1)] = '\0';
}

SharedAccount::SharedAccount() {
  void *memory =
      mmap(nullptr, sizeof(Account), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw systemFailure("memory for a receiver");
  }
  account_.reset(new (memory) Account);
}

void SharedAccount::Unmap::operator()(Account *account) const { munmap(account, sizeof(Account)); }

} // namespace tool
