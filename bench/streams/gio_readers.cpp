#include <stdexcept>

#include <gio/gio.h>

#include "streams/reader.h"

namespace bench {
namespace {

struct Release {
  void operator()(void *object) const { g_object_unref(object); }
};
using Stream = std::unique_ptr<GInputStream, Release>;

Stream openStream(const std::string &path) {
  const std::unique_ptr<GFile, Release> file(g_file_new_for_path(path.c_str()));
  GFileInputStream *stream = g_file_read(file.get(), nullptr, nullptr);
  if (stream == nullptr) {
    throw std::runtime_error(path);
  }
  return Stream(G_INPUT_STREAM(stream));
}

class GioReader : public Reader {
public:
  explicit GioReader(const std::string &path) : stream_(openStream(path)) {}

  Piece next() override {
    const gssize count =
        g_input_stream_read(stream_.get(), buffer_.get(), pieceSize, nullptr, nullptr);
    if (count == -1) {
      throw std::runtime_error("g_input_stream_read");
    }
    return {buffer_.get(), static_cast<size_t>(count), nullptr};
  }
  void release(const Piece &) override {}

private:
  Stream stream_;
  Buffer buffer_ = newBuffer();
};

class GioBytesReader : public Reader {
public:
  explicit GioBytesReader(const std::string &path) : stream_(openStream(path)) {}

  Piece next() override {
    GBytes *bytes = g_input_stream_read_bytes(stream_.get(), pieceSize, nullptr, nullptr);
    if (bytes == nullptr) {
      throw std::runtime_error("g_input_stream_read_bytes");
    }
    gsize size = 0;
    const void *data = g_bytes_get_data(bytes, &size);
    return {data, size, bytes};
  }
  void release(const Piece &piece) override { g_bytes_unref(static_cast<GBytes *>(piece.owner)); }

private:
  Stream stream_;
};

} // namespace

std::unique_ptr<Reader> makeGioReader(const std::string &path) {
  return std::make_unique<GioReader>(path);
}

std::unique_ptr<Reader> makeGioBytesReader(const std::string &path) {
  return std::make_unique<GioBytesReader>(path);
}

} // namespace bench
