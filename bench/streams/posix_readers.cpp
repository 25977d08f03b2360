#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

#include "streams/reader.h"

namespace bench {
namespace {

class OpenFile {
public:
  explicit OpenFile(const std::string &path) : descriptor_(open(path.c_str(), O_RDONLY)) {
    if (descriptor_ == -1) {
      throw std::runtime_error(path);
    }
  }
  ~OpenFile() { close(descriptor_); }
  OpenFile(const OpenFile &) = delete;
  OpenFile &operator=(const OpenFile &) = delete;

  size_t readTo(void *place) const {
    const ssize_t count = read(descriptor_, place, pieceSize);
    if (count == -1) {
      throw std::runtime_error("read");
    }
    return static_cast<size_t>(count);
  }

private:
  int descriptor_;
};

class ReusedReader : public Reader {
public:
  explicit ReusedReader(const std::string &path) : file_(path) {}

  Piece next() override { return {buffer_.get(), file_.readTo(buffer_.get()), nullptr}; }
  void release(const Piece &) override {}

private:
  OpenFile file_;
  Buffer buffer_ = newBuffer();
};

void *zeroedBlock() { return calloc(1, pieceSize); }
void *block() { return malloc(pieceSize); }

template <void *(*allocate)()> class BlockReader : public Reader {
public:
  explicit BlockReader(const std::string &path) : file_(path) {}

  Piece next() override {
    void *block = allocate();
    return {block, file_.readTo(block), block};
  }
  void release(const Piece &piece) override { free(piece.owner); }

private:
  OpenFile file_;
};

class FreadReader : public Reader {
public:
  explicit FreadReader(const std::string &path) : file_(fopen(path.c_str(), "r"), fclose) {
    if (file_ == nullptr) {
      throw std::runtime_error(path);
    }
  }

  Piece next() override {
    return {buffer_.get(), fread(buffer_.get(), 1, pieceSize, file_.get()), nullptr};
  }
  void release(const Piece &) override {}

private:
  std::unique_ptr<FILE, int (*)(FILE *)> file_;
  Buffer buffer_ = newBuffer();
};

} // namespace

std::unique_ptr<Reader> makeReusedReader(const std::string &path) {
  return std::make_unique<ReusedReader>(path);
}

std::unique_ptr<Reader> makeCallocReader(const std::string &path) {
  return std::make_unique<BlockReader<zeroedBlock>>(path);
}

std::unique_ptr<Reader> makeMallocReader(const std::string &path) {
  return std::make_unique<BlockReader<block>>(path);
}

std::unique_ptr<Reader> makeFreadReader(const std::string &path) {
  return std::make_unique<FreadReader>(path);
}

} // namespace bench
