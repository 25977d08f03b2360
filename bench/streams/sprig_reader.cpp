#include <cstdint>

#include "streams/reader.h"
#include "streams/sprig_stream.h"

namespace bench {
namespace {

class SprigReader : public Reader {
public:
  explicit SprigReader(const std::string &path)
      : segments_(segmentsOf({path}, INT32_MAX, 0)), stream_(textOf({path}), segments_.get()) {}

  Piece next() override {
    unsigned char *piece = nullptr;
    const int32_t count = stream_.read(&piece);
    return {piece, static_cast<size_t>(count), piece};
  }
  void release(const Piece &piece) override { mg_free(piece.owner); }

private:
  Segments segments_;
  SprigStream stream_;
};

} // namespace

std::unique_ptr<Reader> makeSprigReader(const std::string &path) {
  return std::make_unique<SprigReader>(path);
}

} // namespace bench
