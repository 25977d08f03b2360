#include <cstdint>

#include <unistd.h>

#include <sys/socket.h>

#include <sprig/runtime.h>
#include <sprig/streams.h>

#include "streams/net_readers.h"
#include "streams/sprig_stream.h"

namespace bench {
namespace {

constexpr uint8_t polledType = 7;
constexpr uint8_t otherType = 9;

// A file list in blocks of its own, as streams own them.
FileList *newFileList(const std::string &path) {
  auto *files = static_cast<FileList *>(mg_calloc(1, sizeof(FileList)));
  files->list = mg_strdup(path.c_str());
  files->cursor = files->list;
  return files;
}

class NetReader : public Reader {
public:
  NetReader(uint8_t type, const std::string &path) {
    sprig_init();
    uint8_t bytes[] = {type, 0, 0, 'd', 0};
    StreamKey key{sizeof bytes, sizeof bytes, bytes};
    stream_ = net_stream_open(&key, newFileList(path));
    stream_->segments = segmentsOf({path}, INT32_MAX, 0).release();
  }
  ~NetReader() override { net_stream_close(stream_); }

  Piece next() override {
    unsigned char *piece = nullptr;
    const int32_t count = net_stream_read(stream_, &piece);
    return {piece, static_cast<size_t>(count), piece};
  }
  void release(const Piece &piece) override {
    net_stream_free_buffer(stream_, static_cast<unsigned char *>(piece.owner));
  }

private:
  NetStream *stream_;
};

// With a channel on which nothing comes.
class PolledReader : public NetReader {
public:
  explicit PolledReader(const std::string &path) : NetReader(polledType, path) {
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends_) == 0) {
      runtime_set_channel(ends_[0], ends_[0], 0);
    }
  }
  ~PolledReader() override {
    runtime_set_channel(-1, -1, 0);
    close(ends_[0]);
    close(ends_[1]);
  }

private:
  int ends_[2] = {-1, -1};
};

} // namespace

std::unique_ptr<Reader> makeNetReader(const std::string &path) {
  return std::make_unique<NetReader>(otherType, path);
}

std::unique_ptr<Reader> makePolledReader(const std::string &path) {
  return std::make_unique<PolledReader>(path);
}

} // namespace bench
