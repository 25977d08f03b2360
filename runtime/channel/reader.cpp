// Messages of equal length cost one system call each, and no copy: the header and a payload as long
// as the last one are read together, the payload to where it stays. A longer message costs one call
// more; behind a shorter one, the next may have begun.
#include "channel/reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sprig/framework.h>

#include "memory/heap.h"

using namespace sprig::runtime;

namespace {

constexpr size_t leastRoom = 4096;

// No announced length makes for more room than this, or twice what has arrived.
constexpr size_t mostRoomInAdvance = size_t{1} << 20;

} // namespace

int FrameReader::read(int fd, const Deadline &deadline, RuntimeMessage &message) {
  for (;;) {
    takeHeader();
    if (!isHeaderBegun(header_, headerLength_)) {
      return EPROTO;
    }
    if (headerLength_ == headerSize) {
      message = readHeader(header_);
      if (message.length > longestPayload) {
        return EMSGSIZE;
      }
      if (held() >= message.length) {
        return deliver(message);
      }
    }
    if (const int error = readMore(fd, deadline)) {
      return error;
    }
  }
}

void FrameReader::release() {
  mg_free(block_);
  *this = FrameReader(readsAhead_);
}

void FrameReader::take(size_t count) {
  begin_ += count;
  if (begin_ == end_) {
    begin_ = end_ = 0;
  }
}

void FrameReader::takeHeader() {
  const size_t count = std::min(headerSize - headerLength_, held());
  if (count > 0) {
    memcpy(header_ + headerLength_, block_ + begin_, count);
    headerLength_ += count;
    take(count);
  }
}

size_t FrameReader::roomWanted() const {
  if (headerLength_ == headerSize) {
    const size_t inAdvance = std::max(mostRoomInAdvance, 2 * held());
    return std::min<size_t>(readHeader(header_).length, inAdvance);
  }
  return readsAhead_ ? std::clamp(usualLength_, leastRoom, mostRoomInAdvance) : 0;
}

// What is held comes to the front.
bool FrameReader::makeRoom(size_t wanted) {
  if (capacity_ - begin_ >= wanted) {
    return true;
  }
  if (begin_ > 0) {
    memmove(block_, block_ + begin_, held());
    end_ = held();
    begin_ = 0;
  }
  if (capacity_ < wanted) {
    void *const block = tryReallocate(block_, wanted);
    if (block == nullptr) {
      return false;
    }
    block_ = static_cast<uint8_t *>(block);
    capacity_ = wanted;
  }
  return true;
}

int FrameReader::readMore(int fd, const Deadline &deadline) {
  if (!makeRoom(roomWanted())) {
    return ENOMEM;
  }
  const size_t missing = headerSize - headerLength_;
  iovec parts[] = {{header_ + headerLength_, missing}, {block_ + end_, capacity_ - end_}};
  const ssize_t result = readSome(fd, parts, 2, deadline);
  if (result <= 0) {
    const int atEnd = headerLength_ == 0 ? endOfStream : ECONNRESET;
    return result == 0 ? atEnd : errno;
  }
  const auto count = static_cast<size_t>(result);
  const size_t ofHeader = std::min(count, missing);
  headerLength_ += ofHeader;
  end_ += count - ofHeader;
  return 0;
}

// Hands out the block itself, unless much else is in it or it is much too large.
int FrameReader::deliver(RuntimeMessage &message) {
  const size_t length = message.length;
  if (!hasChecksumOf(header_, block_ + begin_)) {
    return EBADMSG;
  }
  const size_t behind = held() - length;
  const bool isHandedOut = begin_ == 0 && behind <= headerSize && capacity_ <= 2 * length;
  if (isHandedOut) {
    message.data = block_;
  } else if (length > 0) {
    message.data = static_cast<uint8_t *>(tryAllocate(length));
    if (message.data == nullptr) {
      return ENOMEM;
    }
    memcpy(message.data, block_ + begin_, length);
  }
  usualLength_ = length;
  headerLength_ = 0;
  take(length);
  if (isHandedOut) {
    takeHeader();
    block_ = nullptr;
    capacity_ = 0;
  }
  return 0;
}
