// Streams of every type, and segments whose data are on the machine.
#ifndef SPRIG_TESTS_STREAMS_LOCAL_DATA_H
#define SPRIG_TESTS_STREAMS_LOCAL_DATA_H

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/streams.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "support/log.h"
#include "support/streams.h"
#include "support/temporary_directory.h"
#include "support/values.h"

namespace test {

struct CloseStream {
  void operator()(NetStream *stream) const { net_stream_close(stream); }
};
using OpenStream = std::unique_ptr<NetStream, CloseStream>;

// The key of a stream of any type.
inline Key keyOf(int type, const std::string &texts = "d1", bool isMobile = false) {
  const std::string bytes =
      std::string{static_cast<char>(type), 0, static_cast<char>(isMobile ? 1 : 2)} + texts + '\0';
  StreamKey *key = static_cast<StreamKey *>(mg_calloc(1, sizeof(StreamKey)));
  for (const char byte : bytes) {
    seq_add(key, &byte, sizeof byte);
  }
  return Key(key);
}

inline OpenStream opened(int type, const std::string &texts = "d1", bool isMobile = false,
                         void *handle = nullptr) {
  return OpenStream(net_stream_open(keyOf(type, texts, isMobile).get(), handle));
}

// One that is made without a key.
inline OpenStream madeByHand(int type) {
  NetStream *stream = static_cast<NetStream *>(mg_calloc(1, sizeof(NetStream)));
  stream->type = type;
  return OpenStream(stream);
}

// A list of files in a block of its own, as streams own them.
inline FileList *newFileList(const std::string &names) {
  FileList *files = static_cast<FileList *>(mg_calloc(1, sizeof(FileList)));
  files->list = mg_strdup(names.c_str());
  files->cursor = files->list;
  return files;
}

// The names that a stream has still to read; "(none)" without a list.
inline std::string filesLeft(const OpenStream &stream) {
  const FileList *files = static_cast<FileList *>(stream->source);
  return files == nullptr || files->cursor == nullptr ? "(none)" : files->cursor;
}

// What is known of a segment.
struct SegmentInfo {
  std::string id = "s1";
  std::string version = "1";
  std::optional<std::string> location = std::nullopt;
  std::optional<int32_t> size = std::nullopt;
  std::optional<int32_t> offset = std::nullopt;
  std::optional<std::string> dataFile = std::nullopt;
};

inline Properties propertiesOf(const SegmentInfo &info) {
  Properties properties{};
  properties_put_string_dup(&properties, SEGMENT_ID_KEY, info.id.c_str());
  properties_put_string_dup(&properties, SEGMENT_VERSION_KEY, info.version.c_str());
  if (info.location) {
    properties_put_string_dup(&properties, SEGMENT_LOCATION_KEY, info.location->c_str());
  }
  if (info.size) {
    properties_put_long_dup(&properties, SEGMENT_SIZE_KEY, *info.size);
  }
  if (info.offset) {
    properties_put_long_dup(&properties, SEGMENT_OFFSET_KEY, *info.offset);
  }
  if (info.dataFile) {
    properties_put_string_dup(&properties, SEGMENT_DAT_FILE_KEY, info.dataFile->c_str());
  }
  return properties;
}

// Descriptions of segments, released with their owner.
class SegmentList {
public:
  SegmentList(std::initializer_list<SegmentInfo> segments)
      : SegmentList(std::vector<SegmentInfo>(segments)) {}
  explicit SegmentList(const std::vector<SegmentInfo> &segments) : list_(properties_list_new()) {
    for (const SegmentInfo &segment : segments) {
      const Properties properties = propertiesOf(segment);
      seq_add(list_, &properties, sizeof properties);
    }
  }
  ~SegmentList() {
    properties_list_delete(list_);
    mg_free(list_);
  }
  SegmentList(const SegmentList &) = delete;
  SegmentList &operator=(const SegmentList &) = delete;

  PropertiesList *get() const { return list_; }
  Properties &operator[](size_t index) const { return list_->buffer[index]; }

private:
  PropertiesList *list_;
};

// Texts, released with their owner.
struct Texts : StringList {
  Texts() : StringList{} {}
  ~Texts() { nex_free_generic(this, TC_NEX_Types_StringList); }
  Texts(const Texts &) = delete;
  Texts &operator=(const Texts &) = delete;

  std::vector<std::string> all() const { return {buffer, buffer + length}; }
};

// What a description says of a segment's data.
struct Found {
  std::string dataPath = "(none)";
  std::string dataFile = "(none)";
  int32_t size = -1;

  bool operator==(const Found &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const Found &found) {
  return out << found.dataPath << ' ' << found.dataFile << ' ' << found.size;
}

inline Found foundOf(const Properties &properties) {
  return {properties_get_string2(&properties, SEGMENT_DATA_PATH_KEY, "(none)"),
          properties_get_string2(&properties, SEGMENT_DAT_FILE_KEY, "(none)"),
          properties_get_long2(&properties, SEGMENT_SIZE_KEY, -1)};
}

inline Found dataAt(const std::string &path, int32_t size) { return {path, path, size}; }

// A file that describes a segment, in the layout that its name ends in.
inline void saveSegment(const std::string &path, const SegmentInfo &info) {
  List segment(propertiesOf(info));
  List file;
  properties_put_properties_dup(&file, "segment", &segment);
  if (path.ends_with(".itc")) {
    properties_save_improved(&file, path.c_str());
  } else {
    properties_save_without_len(&file, path.c_str());
  }
}

// A segment NAME^1 in a directory: NAME.toc describes it, NAME.dat has its data.
inline std::string putSegment(const std::string &directory, const std::string &name,
                              const std::string &data = "data") {
  saveSegment(directory + "/" + name + ".toc",
              {.id = name, .location = "/source/" + name + ".dat"});
  writeFile(directory + "/" + name + ".dat", data);
  return directory + "/" + name + ".dat";
}

// The lines of LogQ(), as they are; and how many of them hold a text.
inline std::vector<std::string> notices(const Log &log) {
  std::vector<std::string> texts;
  for (const LogLine &line : log.upTo(-1)) {
    texts.push_back(line.text);
  }
  return texts;
}

inline size_t noticesAbout(const Log &log, const std::string &text) {
  size_t count = 0;
  for (const std::string &notice : notices(log)) {
    count += notice.find(text) == std::string::npos ? 0 : 1;
  }
  return count;
}

inline std::string failedSave(size_t blanks, const std::string &id) {
  return "sprig: Couldn't write progress file for distribution" + std::string(blanks, ' ') + id +
         "\n";
}

inline std::string unreadable(const std::string &path) {
  return "sprig: " + path + " has a comma and cannot be read.";
}

inline Failure cannotClose(int type) {
  return {30,
          "Cannot close the net stream because the specified stream type %1$d is invalid.\n",
          {std::to_string(type)}};
}

inline Failure notInDepot(const std::string &path) {
  return {170, "%1$s was not found in the depot.\n", {path}};
}

inline Failure notFound(const std::string &id, const std::string &version) {
  return {182,
          "The segment %1$s^%2$s required for this distribution could not be found.\n",
          {id, version}};
}

// A test whose directory is the endpoint's data directory and work directory.
class DataDirectoryTest : public DirectoryTest {
protected:
  DataDirectoryTest() {
    sprig_init();
    setenv("KRT_DATDIR", directory.path().c_str(), 1);
    setenv("KRT_WORKDIR", directory.path().c_str(), 1);
  }
  ~DataDirectoryTest() override {
    unsetenv("KRT_DATDIR");
    unsetenv("KRT_WORKDIR");
  }
};

} // namespace test

#endif
