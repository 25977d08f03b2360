#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "records/sprig_lists.h"
#include "records/task.h"

namespace bench {
namespace {

void require(bool condition) {
  if (!condition) {
    throw std::system_error(errno, std::generic_category());
  }
}

struct ReleaseList {
  void operator()(Properties *list) const {
    properties_delete(list);
    mg_free(list);
  }
};
using OwnedList = std::unique_ptr<Properties, ReleaseList>;

OwnedList listOf(const Record &record) {
  OwnedList list(properties_new());
  putAll(list.get(), record);
  return list;
}

struct ReleaseStatus {
  void operator()(Mstat *status) const { mstat_free(status); }
};
using OwnedStatus = std::unique_ptr<Mstat, ReleaseStatus>;

void writeBytes(const std::string &path, const Octets &bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
  require(write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
  require(close(file) == 0);
}

Octets readBytes(const std::string &path) {
  const int file = open(path.c_str(), O_RDONLY);
  struct stat status {};
  require(fstat(file, &status) == 0);
  Octets bytes(static_cast<size_t>(status.st_size));
  require(read(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
  require(close(file) == 0);
  return bytes;
}

} // namespace

OfStatus makeSprigOfStatus(const Record &status, const std::string &directory) {
  require(setenv("KRT_WORKDIR", directory.c_str(), 1) == 0);
  sprig_init();
  const std::shared_ptr<Mstat> own =
      OwnedStatus(mstat_new(("sprig-" + std::to_string(status.size())).c_str(), 0));
  putAll(own->properties, status);
  const Task save = [=] { require(mstat_save(own.get()) == 0); };
  const Task load = [=] { require(mstat_load(own.get()) == 0); };
  save();
  load();
  if (own->properties->length != status.size()) {
    throw std::runtime_error("a status file came back as another");
  }
  return {save, load};
}

OfStatus makeListOfStatus(const Record &status, const std::string &directory) {
  sprig_init();
  const std::string path = directory + "list-" + std::to_string(status.size());
  const std::shared_ptr<Properties> list = listOf(status);
  const Task save = [=] { properties_save_without_len(list.get(), path.c_str()); };
  save();
  return {save, [=] {
            const OwnedList loaded(properties_new());
            properties_load_without_len(loaded.get(), path.c_str());
          }};
}

OfStatus makeCallsOfStatus(const Record &status, const std::string &directory) {
  (void)makeListOfStatus(status, directory); // saves it
  const std::string path = directory + "calls-" + std::to_string(status.size());
  const std::string temporary = path + ".new";
  const Octets bytes = readBytes(directory + "list-" + std::to_string(status.size()));
  const Task save = [=] {
    writeBytes(temporary, bytes);
    require(rename(temporary.c_str(), path.c_str()) == 0);
  };
  save();
  return {save, [=] { benchmark::DoNotOptimize(readBytes(path)); }};
}

} // namespace bench
