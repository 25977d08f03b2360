// Any bytes as a property file of each layout: loading fails in no other way than with message 19
// or 35, and what was loaded is saved as these bytes again, up to the version and to what is
// ignored behind the encoding.
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>

#include <sys/mman.h>
#include <unistd.h>

#include <sprig/properties.h>

#include "properties/layouts.h"
#include "support/exceptions.h"

namespace {

constexpr int32_t notRead = 19;
constexpr int32_t notDecoded = 35;

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

// A file without a directory, gone with its owner.
class MemoryFile {
public:
  explicit MemoryFile(std::string_view content)
      : descriptor_(memfd_create("properties", MFD_CLOEXEC)),
        path_("/proc/self/fd/" + std::to_string(descriptor_)) {
    expect(pwrite(descriptor_, content.data(), content.size(), 0) ==
           static_cast<ssize_t>(content.size()));
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile &) = delete;
  MemoryFile &operator=(const MemoryFile &) = delete;

  const char *path() const { return path_.c_str(); }

  std::string content() const {
    std::string content(static_cast<size_t>(lseek(descriptor_, 0, SEEK_END)), '\0');
    expect(pread(descriptor_, content.data(), content.size(), 0) ==
           static_cast<ssize_t>(content.size()));
    return content;
  }

private:
  int descriptor_;
  std::string path_;
};

bool load(const test::Layout &layout, Properties &list, const MemoryFile &file) {
  const auto exception = test::thrown([&] { layout.load(&list, file.path()); });
  expect(!exception || exception->id == notDecoded ||
         (exception->id == notRead && exception->arguments.front() == file.path()));
  return !exception;
}

std::string saved(const test::Layout &layout, const Properties &list) {
  const MemoryFile file("what was there before");
  expect(!test::thrown([&] { layout.save(&list, file.path()); }));
  return file.content();
}

void loadAndSave(const test::Layout &layout, const std::string &bytes) {
  test::List list;
  if (!load(layout, list, MemoryFile(bytes))) {
    return;
  }
  const std::string file = saved(layout, list);
  const size_t length = file.size() - layout.headerSize();
  expect(file == test::fileOf(layout, bytes.substr(layout.headerSize(), length)));
  test::List again;
  expect(load(layout, again, MemoryFile(file)) && saved(layout, again) == file);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  sprig_init();
  const std::string bytes(reinterpret_cast<const char *>(data), size);
  for (const test::Layout &layout : test::layouts) {
    loadAndSave(layout, bytes);
  }
  return 0;
}
