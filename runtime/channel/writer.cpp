#include "channel/writer.h"

#include <algorithm>
#include <cerrno>

#include "channel/frame.h"
#include "channel/stream.h"

int sprig::runtime::writeFrame(int fd, const RuntimeMessage &message) {
  if (message.length > longestPayload) {
    return EMSGSIZE;
  }
  uint8_t header[headerSize];
  writeHeader(header, message);
  iovec parts[] = {{header, headerSize}, {message.data, message.length}};
  while (parts[0].iov_len + parts[1].iov_len > 0) {
    const ssize_t result = writeSome(fd, parts, 2);
    if (result < 0) {
      return errno;
    }
    auto count = static_cast<size_t>(result);
    for (iovec &part : parts) {
      const size_t ofPart = std::min(count, part.iov_len);
      part.iov_base = static_cast<uint8_t *>(part.iov_base) + ofPart;
      part.iov_len -= ofPart;
      count -= ofPart;
    }
  }
  return 0;
}
