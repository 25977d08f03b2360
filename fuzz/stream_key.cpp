// Any bytes as a key, and as texts for one: nothing is read outside the key, its names are what
// stands between the commas, and a stream over them opens none that has arrived.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <sprig/streams.h>

namespace {

using Texts = std::vector<std::string>;

constexpr size_t shortest = 3;
constexpr size_t textsAtMost = 4;

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

Texts split(const std::string &text, char separator) {
  Texts texts;
  size_t begin = 0;
  for (size_t end = 0; end != std::string::npos; begin = end + 1) {
    end = text.find(separator, begin);
    texts.push_back(text.substr(begin, end - begin));
  }
  return texts;
}

std::string join(const Texts &texts) {
  std::string joined;
  for (const std::string &text : texts) {
    joined.append(&text == texts.data() ? "" : ",").append(text);
  }
  return joined;
}

struct ReleaseKey {
  void operator()(StreamKey *key) const { stream_key_delete(key); }
};
using Key = std::unique_ptr<StreamKey, ReleaseKey>;

// A key in a block that ends where it does.
Key keyOf(const std::string &bytes) {
  Key key(static_cast<StreamKey *>(mg_calloc(1, sizeof(StreamKey))));
  key->maximum = key->length = static_cast<uint32_t>(bytes.size());
  key->buffer = static_cast<uint8_t *>(mg_malloc(bytes.size()));
  std::copy(bytes.begin(), bytes.end(), key->buffer);
  return key;
}

std::string bytesOf(const StreamKey &key) {
  return {reinterpret_cast<const char *>(key.buffer), key.length};
}

struct ReleaseStream {
  void operator()(NetStream *stream) const {
    auto *files = static_cast<FileList *>(stream->source);
    mg_free(files->list);
    mg_free(files);
    properties_list_delete(stream->segments);
    mg_free(stream->segments);
    mg_free(stream);
  }
};
using Stream = std::unique_ptr<NetStream, ReleaseStream>;

void addComplete(PropertiesList *segments, const std::string &name) {
  Properties segment{};
  properties_put_string_dup(&segment, SEGMENT_DATA_PATH_KEY, name.c_str());
  seq_add(segments, &segment, sizeof segment);
}

const FileList &filesOf(const Stream &stream) {
  return *static_cast<const FileList *>(stream->source);
}

Stream openStream(const std::string &text, const Texts &names) {
  Stream stream(file_stream_open(text.c_str()));
  expect(stream->type == 4 && stream->read_size == 16384);
  expect(stream->distribution_id == names.front() && filesOf(stream).current == nullptr);
  return stream;
}

void takeNames(const std::string &text, const Texts &names) {
  const Stream stream = openStream(text, names);
  auto *files = static_cast<FileList *>(stream->source);
  for (size_t i = 1; i < names.size(); ++i) {
    const char *name = get_next_file(files);
    expect(name != nullptr && name == names[i]);
  }
  expect(get_next_file(files) == nullptr && get_next_file(files) == nullptr);
}

// All but the last file have arrived; that one has no segment, and ends the stream.
void passOver(const std::string &text, const Texts &names) {
  const Stream stream = openStream(text, names);
  stream->segments = properties_list_new();
  for (size_t i = 1; i + 1 < names.size(); ++i) {
    addComplete(stream->segments, names[i]);
  }
  unsigned char unchanged = 0;
  unsigned char *piece = &unchanged;
  expect(file_stream_read(stream.get(), &piece) == 0 && piece == nullptr);
  expect(filesOf(stream).current == nullptr && filesOf(stream).cursor == nullptr);
}

void openText(const std::string &text) {
  const Texts names = split(text, ',');
  takeNames(text, names);
  passOver(text, names);
}

// Bytes from somebody else. Only those that end in NUL have a text.
void readKey(const std::string &bytes) {
  const Key key = keyOf(bytes);
  const auto type = static_cast<uint8_t>(bytes[0]);
  const bool canBeMobile = type == 2 || (type >= 4 && type <= 11);
  expect(is_mobile_ep(key.get()) == (canBeMobile && bytes[2] == 1 ? 1 : 0));
  const size_t offset = type == 4 ? 3 : 2;
  const char *text = stream_key_get_data(key.get());
  expect(text == reinterpret_cast<const char *>(key->buffer) + offset);
  if (bytes.size() > shortest && bytes.back() == '\0') {
    expect(bytes.substr(offset, strlen(text)) == text);
    openText(text);
  }
  expect(bytesOf(*key) == bytes);
}

Key keyOf(int mobile, const Texts &texts) {
  const auto text = [&](size_t i) { return i < texts.size() ? texts[i].c_str() : nullptr; };
  return Key(file_stream_key_new(mobile, static_cast<int>(texts.size()), text(0), text(1), text(2),
                                 text(3)));
}

void makeKey(int mobile, const Texts &texts) {
  const Key key = keyOf(mobile, texts);
  const char *head = mobile != 0 ? "\4\0\1" : "\4\0\2";
  expect(key->maximum == key->length);
  expect(bytesOf(*key) == std::string(head, shortest).append(join(texts)).append(1, '\0'));
  expect(is_mobile_ep(key.get()) == (mobile != 0 ? 1 : 0));
  expect(stream_key_get_data(key.get()) == join(texts));
  openText(stream_key_get_data(key.get()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < shortest) {
    return 0;
  }
  sprig_init();
  const std::string bytes(reinterpret_cast<const char *>(data), size);
  readKey(bytes);
  Texts texts = split(bytes.substr(1), '\0');
  texts.resize(std::min(texts.size(), textsAtMost));
  makeKey(data[0], texts);
  return 0;
}
