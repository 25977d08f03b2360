// Takes messages out of a stream of bytes, in whatever pieces they arrive.
#ifndef SPRIG_RUNTIME_CHANNEL_READER_H
#define SPRIG_RUNTIME_CHANNEL_READER_H

#include <cstddef>
#include <cstdint>

#include <sprig/runtime.h>

#include "channel/frame.h"
#include "channel/stream.h"

namespace sprig::runtime {

// What a reader answers when the stream ends behind a message. Its other answers are error numbers.
inline constexpr int endOfStream = -1;

class FrameReader {
public:
  // One that reads ahead takes more from the stream than the message that it is asked for.
  constexpr explicit FrameReader(bool readsAhead) : readsAhead_(readsAhead) {}

  // Answers 0 with a message, whose data are the caller's. Behind the deadline (ETIME) and without
  // memory (ENOMEM) it can be asked again, and goes on where it was; behind any other answer the
  // stream cannot be used any more.
  int read(int fd, const Deadline &deadline, RuntimeMessage &message);

  // Forgets what was read of a message that is not whole.
  void release();

  // How many bytes it holds at the moment.
  size_t capacity() const { return capacity_; }

private:
  size_t held() const { return end_ - begin_; }
  void take(size_t count);
  void takeHeader();
  int readMore(int fd, const Deadline &deadline);
  size_t roomWanted() const;
  bool makeRoom(size_t wanted);
  int deliver(RuntimeMessage &message);

  bool readsAhead_;
  uint8_t header_[headerSize] = {};
  size_t headerLength_ = 0; // of what is there of it
  // What was read behind the header: the payload, and what follows.
  uint8_t *block_ = nullptr;
  size_t capacity_ = 0;
  size_t begin_ = 0;
  size_t end_ = 0;
  size_t usualLength_ = 0; // of a payload: that of the last one
};

} // namespace sprig::runtime

#endif
