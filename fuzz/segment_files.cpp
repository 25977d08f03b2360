// Files "*.toc" and "*.itc" with any bytes in a directory that is searched: what they say is found,
// and a segment that another file describes is found whatever they say. The first two bytes are the
// length of the first file, highest byte first.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include <sprig/runtime.h>
#include <sprig/streams.h>

#include "support/exceptions.h"

namespace {

namespace fs = std::filesystem;

using Load = void (*)(Properties *list, const char *path);

constexpr const char *soughtId = "s1"; // any bytes may describe it
constexpr const char *describedId = "s2";
constexpr const char *version = "1";

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

void writeFile(const std::string &path, const std::string &bytes) {
  std::ofstream file(path, std::ios::binary);
  expect((file << bytes).good());
}

// Properties, released with their owner.
struct List : Properties {
  List() : Properties{} {}
  ~List() { properties_delete(this); }
  List(const List &) = delete;
  List &operator=(const List &) = delete;
};

// The directory that is searched, with a file for each segment.
class Directory {
public:
  Directory() : path_(fs::temp_directory_path() / "sprig-fuzz-XXXXXX") {
    expect(mkdtemp(path_.data()) != nullptr);
    writeFile(*this / "one", "1");
    writeFile(*this / "two", "22");
    List segment;
    properties_put_string_dup(&segment, SEGMENT_ID_KEY, describedId);
    properties_put_string_dup(&segment, SEGMENT_VERSION_KEY, version);
    properties_put_string_dup(&segment, SEGMENT_LOCATION_KEY, "/source/two");
    List file;
    properties_put_properties_dup(&file, "segment", &segment);
    properties_save_improved(&file, (*this / "good.itc").c_str());
  }
  ~Directory() {
    std::error_code error;
    fs::remove_all(path_, error);
  }
  Directory(const Directory &) = delete;
  Directory &operator=(const Directory &) = delete;

  const char *path() const { return path_.c_str(); }
  std::string operator/(const std::string &name) const { return path_ + '/' + name; }

private:
  std::string path_;
};

// Where the data of the sought segment are, as a file says; none where it says nothing of it, or
// where no such file is.
std::optional<std::string> dataPath(const Directory &directory, Load load,
                                    const std::string &name) {
  const std::string file = directory / name;
  List list;
  const char *location = nullptr;
  bool isSought = false;
  const auto exception = test::thrown([&] {
    load(&list, file.c_str());
    const Properties *segment = properties_get_properties(&list, "segment");
    const std::string_view id = properties_get_string(segment, SEGMENT_ID_KEY);
    isSought = id == soughtId &&
               properties_get_string(segment, SEGMENT_VERSION_KEY) == std::string_view(version);
    location = properties_get_string2(segment, SEGMENT_LOCATION_KEY, "one");
  });
  if (exception || !isSought) {
    return std::nullopt;
  }
  const std::string text = location;
  std::string path = directory / text.substr(text.rfind('/') + 1);
  const bool isUsable = path.size() < static_cast<size_t>(pathname_max_length());
  std::error_code error;
  return isUsable && fs::is_regular_file(path, error) ? std::optional(path) : std::nullopt;
}

// The segments that are searched for.
class Sought {
public:
  Sought() {
    for (const char *id : {soughtId, describedId}) {
      Properties segment{};
      properties_put_string_dup(&segment, SEGMENT_ID_KEY, id);
      properties_put_string_dup(&segment, SEGMENT_VERSION_KEY, version);
      properties_put_string_dup(&segment, SEGMENT_LOCATION_KEY, "/elsewhere/one");
      seq_add(list_, &segment, sizeof segment);
    }
    toc_ = toc_from_properties(list_);
  }
  ~Sought() {
    toc_free_buffer(toc_);
    mg_free(toc_);
    properties_list_delete(list_);
    mg_free(list_);
  }
  Sought(const Sought &) = delete;
  Sought &operator=(const Sought &) = delete;

  Toc *toc() const { return toc_; }
  const Segment &operator[](int index) const { return *toc_->segments[index]; }

private:
  PropertiesList *list_ = properties_list_new();
  Toc *toc_;
};

void expectAt(const Segment &segment, const std::string &path) {
  expect(segment.found == 1);
  expect(properties_get_string(segment.properties, SEGMENT_DATA_PATH_KEY) == path);
  expect(properties_get_string(segment.properties, SEGMENT_DAT_FILE_KEY) == path);
  expect(properties_get_long(segment.properties, SEGMENT_SIZE_KEY) ==
         static_cast<int32_t>(fs::file_size(path)));
}

void search(const Directory &directory, const std::optional<std::string> &expected) {
  const Sought sought;
  StringList paths{};
  expect(net_stream_search_endpoint_depot(sought.toc(), directory.path(), &paths) == 0);
  const uint32_t count = expected ? 2 : 1;
  expect(paths.length == count && sought.toc()->found_count == static_cast<int32_t>(count));
  expect(sought[0].found == (expected ? 1 : 0));
  if (expected) {
    expectAt(sought[0], *expected);
  }
  expect(sought[1].found == 1);
  nex_free_generic(&paths, TC_NEX_Types_StringList);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) {
    return 0;
  }
  sprig_init();
  runtime_set_log_sink([](void *, int, const char *) {}, nullptr);
  static const Directory directory;
  const std::string bytes(reinterpret_cast<const char *>(data) + 2, size - 2);
  const size_t length = std::min<size_t>(data[0] << 8 | data[1], bytes.size());
  writeFile(directory / "any.toc", bytes.substr(0, length));
  writeFile(directory / "any.itc", bytes.substr(length));
  const auto first = dataPath(directory, properties_load_without_len, "any.toc");
  search(directory, first ? first : dataPath(directory, properties_load_improved, "any.itc"));
  return 0;
}
