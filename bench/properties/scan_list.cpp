#include <cstdlib>
#include <cstring>
#include <memory>

#include <benchmark/benchmark.h>

#include "properties/task.h"

namespace bench {
namespace {

struct Entry {
  char *name;
  int32_t *number;
};

int32_t *newNumber(int32_t number) {
  auto *block = static_cast<int32_t *>(malloc(sizeof number));
  *block = number;
  return block;
}

class ScanList {
public:
  ScanList() = default;
  ~ScanList() {
    for (const Entry &entry : entries_) {
      release(entry);
    }
  }
  ScanList(const ScanList &) = delete;
  ScanList &operator=(const ScanList &) = delete;

  const int32_t *get(const char *name) const {
    for (const Entry &entry : entries_) {
      if (strcmp(entry.name, name) == 0) {
        return entry.number;
      }
    }
    return nullptr;
  }

  void put(const char *name, int32_t number) {
    const Entry added{strdup(name), newNumber(number)};
    for (Entry &entry : entries_) {
      if (strcmp(entry.name, name) == 0) {
        release(entry);
        entry = added;
        return;
      }
    }
    entries_.push_back(added);
  }

private:
  static void release(const Entry &entry) {
    free(entry.name);
    free(entry.number);
  }

  std::vector<Entry> entries_;
};

void putAll(ScanList &list, const Names &names) {
  for (const std::string &name : names) {
    list.put(name.c_str(), 1);
  }
}

} // namespace

ByName makeScanByName(const Names &names) {
  const auto list = std::make_shared<ScanList>();
  putAll(*list, names);
  const Names wanted = shuffled(names);
  return {[=] {
            for (const std::string &name : wanted) {
              const int32_t *number = list->get(name.c_str());
              benchmark::DoNotOptimize(number == nullptr ? 0 : *number);
            }
          },
          [=] { putAll(*list, names); },
          [=] {
            ScanList built;
            putAll(built, names);
          }};
}

} // namespace bench
