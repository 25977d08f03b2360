// "remote.dir" with any bytes: the directories that its lines name are searched, whatever else
// stands in it, and only they. An "@" among the bytes stands for the directory with the segment.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sprig/runtime.h>
#include <sprig/streams.h>

#include "support/exceptions.h"

namespace {

constexpr const char *segmentId = "segment";
constexpr const char *version = "1";
constexpr const char *content = "what the segment holds";
constexpr int32_t notFound = 182;
constexpr size_t longestLine = 4095;

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

void writeFile(const std::string &path, const std::string &bytes) {
  std::ofstream file(path, std::ios::binary);
  expect((file << bytes).good());
}

// The data directory of an endpoint whose segment is in a directory in it, and a channel on which
// nothing comes. Kept from one input to the next.
class Endpoint {
public:
  Endpoint() : path_(std::filesystem::temp_directory_path() / "sprig-fuzz-XXXXXX") {
    expect(mkdtemp(path_.data()) != nullptr);
    expect(mkdir(segments().c_str(), 0700) == 0 && mkdir((segments() + "/,").c_str(), 0700) == 0);
    describeSegment();
    writeFile(data(), content);
    setenv("KRT_DATDIR", path_.c_str(), 1);
    int fds[2];
    expect(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) == 0);
    runtime_set_channel(fds[0], fds[0], 0);
  }
  ~Endpoint() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  Endpoint(const Endpoint &) = delete;
  Endpoint &operator=(const Endpoint &) = delete;

  std::string segments() const { return path_ + "/segments"; }
  std::string data() const { return segments() + "/data"; }
  std::string list() const { return path_ + "/remote.dir"; }

private:
  void describeSegment() const {
    Properties segment{};
    properties_put_string_dup(&segment, SEGMENT_ID_KEY, segmentId);
    properties_put_string_dup(&segment, SEGMENT_VERSION_KEY, version);
    properties_put_string_dup(&segment, SEGMENT_LOCATION_KEY, "/source/data");
    Properties file{};
    properties_put_properties_dup(&file, "segment", &segment);
    properties_save_improved(&file, (segments() + "/segment.itc").c_str());
    properties_delete(&segment);
    properties_delete(&file);
  }

  std::string path_;
};

std::string listOf(const Endpoint &endpoint, const std::string &bytes) {
  std::string list;
  for (const char byte : bytes) {
    list.append(byte == '@' ? endpoint.segments() : std::string(1, byte));
  }
  return list;
}

bool isSame(const std::string &path, const std::string &directory) {
  std::error_code error;
  return std::filesystem::equivalent(path, directory, error) && !error;
}

// Where a line leads; a text ends at its NUL. Files whose paths have commas cannot be read.
std::optional<std::string> directoryOf(std::string line) {
  if (line.size() > longestLine) {
    return std::nullopt;
  }
  if (!line.empty() && line.back() == '\r') {
    line.pop_back();
  }
  line.resize(strlen(line.c_str()));
  const bool isTooLong = line.size() >= static_cast<size_t>(pathname_max_length());
  if (line.empty() || line[0] == '#' || isTooLong || line.find(',') != std::string::npos) {
    return std::nullopt;
  }
  if (line.size() > 1 && (line.back() == '/' || line.back() == '\\')) {
    line.pop_back();
  }
  return line;
}

// Whether a line names the directory with the segment, and by which path.
std::optional<std::string> findDirectory(const Endpoint &endpoint, const std::string &list) {
  for (size_t begin = 0; begin < list.size();) {
    const size_t end = std::min(list.find('\n', begin), list.size());
    auto directory = directoryOf(list.substr(begin, end - begin));
    if (directory && isSame(*directory, endpoint.segments())) {
      return directory;
    }
    begin = end + 1;
  }
  return std::nullopt;
}

std::string dataIn(const std::string &directory) {
  return directory + (directory.back() == '/' ? "data" : "/data");
}

// A list of one segment, released with its owner.
class Segments {
public:
  Segments() {
    properties_put_string_dup(&segment_, SEGMENT_ID_KEY, segmentId);
    properties_put_string_dup(&segment_, SEGMENT_VERSION_KEY, version);
  }
  ~Segments() { properties_delete(&segment_); }
  Segments(const Segments &) = delete;
  Segments &operator=(const Segments &) = delete;

  PropertiesList *get() { return &list_; }
  std::string path() const { return properties_get_string2(&segment_, SEGMENT_DATA_PATH_KEY, ""); }
  int32_t size() const { return properties_get_long2(&segment_, SEGMENT_SIZE_KEY, -1); }

private:
  Properties segment_{};
  PropertiesList list_{1, 1, &segment_};
};

struct CloseStream {
  void operator()(NetStream *stream) const { net_stream_close(stream); }
};
using Stream = std::unique_ptr<NetStream, CloseStream>;

Stream openStream() {
  uint8_t bytes[] = {7, 0, 2, 'd', 0};
  StreamKey key{sizeof bytes, sizeof bytes, bytes};
  return Stream(net_stream_open(&key, nullptr));
}

template <typename Body> void expectOutcome(bool isFound, Body &&body) {
  const auto exception = test::thrown(body);
  expect(exception.has_value() == !isFound);
  expect(isFound || (exception->id == notFound && exception->arguments[0] == segmentId));
}

void getSize(const std::optional<std::string> &directory) {
  const Stream stream = openStream();
  Segments segments;
  expectOutcome(directory.has_value(), [&] { net_stream_get_size(stream.get(), segments.get()); });
  expect(segments.size() == (directory ? static_cast<int32_t>(strlen(content)) : -1));
  expect(segments.path() == (directory ? dataIn(*directory) : ""));
}

void read(const std::optional<std::string> &directory) {
  const Stream stream = openStream();
  Segments segments;
  expectOutcome(directory.has_value(),
                [&] { net_stream_save_modified_toc(stream.get(), segments.get()); });
  if (!directory) {
    return;
  }
  unsigned char *piece = nullptr;
  const int32_t count = net_stream_read(stream.get(), &piece);
  expect(count == static_cast<int32_t>(strlen(content)) && memcmp(piece, content, count) == 0);
  net_stream_free_buffer(stream.get(), piece);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  sprig_init();
  runtime_set_log_sink([](void *, int, const char *) {}, nullptr);
  static const Endpoint endpoint;
  const std::string list =
      listOf(endpoint, std::string(reinterpret_cast<const char *>(data), size));
  writeFile(endpoint.list(), list);
  const auto directory = findDirectory(endpoint, list);
  getSize(directory);
  read(directory);
  return 0;
}
