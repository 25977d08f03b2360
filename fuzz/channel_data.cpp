// A network stream and any messages: each read gives what its message says, and a message that is
// none of an endpoint's is thrown and ends the channel. The first byte says whether there are
// segments (1) and whether the stream is a mobile endpoint's (2). Then come messages: a type, a
// session (0: the right one), a length and so many bytes; behind the type 255, bytes as they are.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

#include <sprig/runtime.h>
#include <sprig/streams.h>

#include "channel/frame.h"
#include "support/exceptions.h"

namespace {

constexpr int32_t session = 7;
constexpr uint8_t bytesAsTheyAre = 255;
constexpr size_t mostBytes = 65536; // have room in a socket

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

// What a read gives: nothing is thrown.
struct Piece {
  int32_t result = 0;
  std::string bytes; // as many as the result says; for a command, it alone

  bool operator==(const Piece &) const = default;
};

// What is sent, and what comes of it until something is thrown. Behind bytes as they are nobody
// knows.
struct Exchange {
  std::string bytes;
  std::vector<Piece> pieces;
  bool isKnown = true;
};

std::string frameOf(int32_t type, int32_t ofSession, std::string payload) {
  const RuntimeMessage message{type, ofSession, static_cast<uint32_t>(payload.size()),
                               reinterpret_cast<uint8_t *>(payload.data())};
  std::string header(sprig::runtime::headerSize, '\0');
  sprig::runtime::writeHeader(reinterpret_cast<uint8_t *>(header.data()), message);
  return header + payload;
}

// None: it is thrown.
std::optional<Piece> pieceOf(int32_t type, const std::string &payload) {
  const bool isData = type == RUNTIME_MESSAGE_DATA;
  if (type == RUNTIME_MESSAGE_END || (isData && payload.empty())) {
    return Piece{};
  }
  if (!isData || payload[0] == 0) {
    return std::nullopt;
  }
  if (payload[0] == 1) {
    return Piece{static_cast<int32_t>(payload.size()) - 1, payload.substr(1)};
  }
  return Piece{-static_cast<uint8_t>(payload[0]), payload.substr(0, 1)};
}

// A message that is not whole, or of another session, is never read.
Exchange readExchange(std::string_view input) {
  Exchange exchange;
  bool isEnded = false;
  while (input.size() >= 3 && exchange.bytes.size() < mostBytes) {
    const auto type = static_cast<uint8_t>(input[0]);
    const auto otherSession = static_cast<uint8_t>(input[1]);
    const size_t length = static_cast<uint8_t>(input[2]);
    if (type == bytesAsTheyAre) {
      exchange.bytes.append(input.substr(1, mostBytes));
      exchange.isKnown = false;
      break;
    }
    const bool isCut = input.size() - 3 < length;
    std::string payload(input.substr(3, length));
    payload.resize(length);
    const std::string frame = frameOf(type, session + otherSession, payload);
    exchange.bytes += isCut ? frame.substr(0, sprig::runtime::headerSize) : frame;
    const bool isReadable = !isCut && otherSession == 0;
    const auto piece = isReadable ? pieceOf(type, payload) : std::nullopt;
    isEnded = isEnded || !piece;
    if (!isEnded) {
      exchange.pieces.push_back(*piece);
    }
    input.remove_prefix(std::min(input.size(), 3 + length));
  }
  return exchange;
}

struct CloseStream {
  void operator()(NetStream *stream) const { net_stream_close(stream); }
};
using Stream = std::unique_ptr<NetStream, CloseStream>;

Stream openStream(bool hasSegments, bool isMobile) {
  uint8_t bytes[] = {2, 0, static_cast<uint8_t>(isMobile ? 1 : 2), 'd', 0};
  StreamKey key{sizeof bytes, sizeof bytes, bytes};
  Stream stream(net_stream_open(&key, nullptr));
  if (hasSegments) {
    Properties segment{};
    properties_put_string_dup(&segment, SEGMENT_ID_KEY, "s");
    properties_put_string_dup(&segment, SEGMENT_VERSION_KEY, "1");
    properties_put_long_dup(&segment, SEGMENT_SIZE_KEY, 1000);
    properties_put_long_dup(&segment, SEGMENT_OFFSET_KEY, 10);
    const PropertiesList list{1, 1, &segment};
    net_stream_save_modified_toc(stream.get(), &list);
    properties_delete(&segment);
  }
  return stream;
}

// None: something was thrown.
std::optional<Piece> readPiece(const Stream &stream) {
  Piece piece;
  unsigned char unchanged = 0;
  unsigned char *buffer = &unchanged;
  if (test::thrown([&] { piece.result = net_stream_read(stream.get(), &buffer); })) {
    expect(buffer == nullptr);
    return std::nullopt;
  }
  expect((buffer == nullptr) == (piece.result == 0));
  if (piece.result < 0) {
    piece.bytes.assign(reinterpret_cast<char *>(buffer), 1);
    mg_free(buffer);
  } else if (piece.result > 0) {
    piece.bytes.assign(buffer, buffer + piece.result);
    net_stream_free_buffer(stream.get(), buffer);
  }
  return piece;
}

void readAll(const Stream &stream, const Exchange &exchange) {
  std::vector<Piece> pieces;
  while (auto piece = readPiece(stream)) {
    pieces.push_back(std::move(*piece));
  }
  expect(!readPiece(stream));
  pieces.resize(std::min(pieces.size(), exchange.isKnown ? pieces.size() : exchange.pieces.size()));
  expect(pieces == exchange.pieces);
}

// The table of contents has room on the way back, where nobody reads it.
void receive(const Exchange &exchange, bool hasSegments, bool isMobile) {
  int fds[2];
  expect(socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0);
  const auto sent = send(fds[1], exchange.bytes.data(), exchange.bytes.size(), MSG_NOSIGNAL);
  expect(sent == static_cast<ssize_t>(exchange.bytes.size()));
  expect(shutdown(fds[1], SHUT_WR) == 0);
  runtime_set_channel(fds[0], fds[0], session);
  readAll(openStream(hasSegments, isMobile), exchange);
  runtime_set_channel(-1, -1, 0);
  close(fds[0]);
  close(fds[1]);
}

// Where status files go.
class WorkDirectory {
public:
  WorkDirectory() : path_(std::filesystem::temp_directory_path() / "sprig-fuzz-XXXXXX") {
    expect(mkdtemp(path_.data()) != nullptr);
    setenv("KRT_WORKDIR", path_.c_str(), 1);
    unsetenv("KRT_CONFIG");
    unsetenv("KRT_DATDIR");
  }
  ~WorkDirectory() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  WorkDirectory(const WorkDirectory &) = delete;
  WorkDirectory &operator=(const WorkDirectory &) = delete;

private:
  std::string path_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) {
    return 0;
  }
  static const WorkDirectory workDirectory;
  sprig_init();
  runtime_set_log_sink([](void *, int, const char *) {}, nullptr);
  const Exchange exchange = readExchange({reinterpret_cast<const char *>(data) + 1, size - 1});
  receive(exchange, (data[0] & 1) != 0, (data[0] & 2) != 0);
  return 0;
}
