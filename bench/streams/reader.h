// Ways to read a file piece by piece. Failures throw.
#ifndef SPRIG_BENCH_STREAMS_READER_H
#define SPRIG_BENCH_STREAMS_READER_H

#include <cstddef>
#include <memory>
#include <string>

namespace bench {

constexpr size_t pieceSize = 16384;

// A piece of a file, empty at its end.
struct Piece {
  const void *data;
  size_t size;
  void *owner; // what is released with it, or null
};

// An open file. Its pieces are released before it is; one without an owner need not be.
class Reader {
public:
  Reader() = default;
  virtual ~Reader() = default;
  Reader(const Reader &) = delete;
  Reader &operator=(const Reader &) = delete;

  virtual Piece next() = 0;
  virtual void release(const Piece &piece) = 0;
};

// For a reader that has one. From the heap, like the blocks of the others: how fast the system
// copies depends on how the place is aligned.
using Buffer = std::unique_ptr<char[]>;
inline Buffer newBuffer() { return std::make_unique<char[]>(pieceSize); }

using ReaderMaker = std::unique_ptr<Reader> (*)(const std::string &path);

// A new block for each piece.
std::unique_ptr<Reader> makeSprigReader(const std::string &path);
std::unique_ptr<Reader> makeCallocReader(const std::string &path);
std::unique_ptr<Reader> makeMallocReader(const std::string &path); // nothing is zeroed
std::unique_ptr<Reader> makeGioBytesReader(const std::string &path);

// One buffer for all pieces.
std::unique_ptr<Reader> makeReusedReader(const std::string &path);
std::unique_ptr<Reader> makeFreadReader(const std::string &path);
std::unique_ptr<Reader> makeGioReader(const std::string &path);

} // namespace bench

#endif
