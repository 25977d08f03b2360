/**
 * @file
 * @brief Streams for C++. Included by `sprig/sprig.hpp`.
 */
#ifndef SPRIG_DETAIL_STREAM_HPP
#define SPRIG_DETAIL_STREAM_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sprig/detail/error.hpp>
#include <sprig/detail/property_type.hpp>
#include <sprig/detail/segment.hpp>
#include <sprig/detail/text.hpp>
#include <sprig/detail/value.hpp>
#include <sprig/framework.h>
#include <sprig/streams.h>

namespace sprig {

/** Where a stream has its data from. */
enum class StreamType : uint8_t {
  network = 2,       /**< From the sender; from the endpoint's depot when all are there. */
  named_files = 4,   /**< From the files that its key names. */
  cd_drive = 6,      /**< From the CD drive. */
  remote_dir = 7,    /**< From the directories of the file "remote.dir". */
  remote_dir_cd = 8, /**< From those, and then from the CD drive. */
  directory = 9,     /**< From the directory that its key names. */
  depot = 10,        /**< From the endpoint's depot. */
};

/** Who follows a distribution. */
enum class Endpoint {
  fixed,  /**< Nobody. */
  mobile, /**< The user of a mobile endpoint, for whom there is a status file. */
};

/** What a sender tells in the place of data. Others than these may come. */
enum class Command : int32_t {
  none = 0,   /**< Nothing. */
  data = 1,   /**< Data follow. */
  cancel = 2, /**< The distribution is cancelled. */
  pause = 3,  /**< The distribution is paused. */
  expire = 4, /**< The distribution has expired. */
  roam = 5,   /**< The endpoint moves to another sender. */
};

/** Tells a method which stream to open. Moved from, it can only be assigned or destroyed. */
class StreamKey : public detail::Owner<::StreamKey, TC_NEX_Sprig2_StreamKey> {
public:
  /**
   * Makes a key. Text with a comma inside is refused with std::invalid_argument.
   *
   * @param type             where the stream has its data from.
   * @param distribution_id  the distribution's id.
   * @param names            path names: of the files, in the order in which they are read, or of
   *                         the directory.
   * @param endpoint         whether the stream is for a mobile endpoint.
   */
  StreamKey(StreamType type, const Text &distribution_id,
            const std::vector<std::string> &names = {}, Endpoint endpoint = Endpoint::fixed) {
    Octets octets{static_cast<uint8_t>(type), 0,
                  endpoint == Endpoint::mobile ? uint8_t{1} : uint8_t{2}};
    add(octets, distribution_id);
    for (const std::string &name : names) {
      octets.push_back(',');
      add(octets, name);
    }
    octets.push_back(0);
    take(octets);
  }
  /**
   * Takes a key from elsewhere. Octets that do not end as a key does are refused with
   * std::invalid_argument.
   *
   * @param octets  the key.
   */
  explicit StreamKey(const Octets &octets) {
    if (octets.size() <= text_offset || octets.back() != 0) {
      throw std::invalid_argument("octets that are no stream key");
    }
    take(octets);
  }

  /** @return where its stream has its data from. */
  StreamType type() const noexcept { return static_cast<StreamType>(native()->buffer[0]); }
  /** @return whether its stream is for a mobile endpoint. */
  bool is_mobile() const noexcept { return is_mobile_ep(native()) != 0; }
  /** @return the distribution's id, and names behind it, with commas between them. */
  std::string_view text() const noexcept {
    return reinterpret_cast<const char *>(native()->buffer) + text_offset;
  }
  /** @return its octets. */
  Octets octets() const { return Octets(native()->buffer, native()->buffer + native()->length); }

private:
  static constexpr std::size_t text_offset = 3;

  static void add(Octets &octets, const Text &text) {
    const std::string_view added = text.c_str();
    if (added.find(',') != std::string_view::npos) {
      throw std::invalid_argument("text with a comma inside");
    }
    octets.insert(octets.end(), added.begin(), added.end());
  }
  void take(const Octets &octets) {
    if (octets.size() > UINT32_MAX) {
      throw std::length_error("more octets than a key has");
    }
    const auto length = static_cast<uint32_t>(octets.size());
    native()->buffer = static_cast<uint8_t *>(call([&] { return mg_malloc(length); }));
    std::copy(octets.begin(), octets.end(), native()->buffer);
    native()->maximum = native()->length = length;
  }
};

/** What a read gave. Data are released with their owner. */
class Piece {
public:
  /** What it is. */
  enum class Kind {
    data,        /**< Data. */
    end_of_file, /**< The end of a file; the stream has more of them. */
    end,         /**< The end of the stream. */
    command,     /**< Something that the sender tells. */
  };

  /**
   * @param kind     what it is.
   * @param command  what the sender tells.
   */
  explicit Piece(Kind kind, Command command = Command::none) noexcept
      : kind_(kind), command_(command) {}
  /**
   * Takes over data.
   *
   * @param block  the block they are in, for mg_free().
   * @param data   the data.
   * @param size   how many bytes they have.
   */
  Piece(unsigned char *block, const unsigned char *data, std::size_t size) noexcept
      : kind_(Kind::data), block_(block), data_(data), size_(size) {}

  /** @return what it is. */
  Kind kind() const noexcept { return kind_; }
  /** @return whether it has data. */
  bool is_data() const noexcept { return kind_ == Kind::data; }
  /** @return what the sender tells; none where it tells nothing. */
  Command command() const noexcept { return command_; }
  /** @return the data, valid as long as the piece; null where there are none. */
  const unsigned char *data() const noexcept { return data_; }
  /** @return how many bytes there are. */
  std::size_t size() const noexcept { return size_; }
  /** @return the data, valid as long as the piece. */
  std::string_view bytes() const noexcept { return {reinterpret_cast<const char *>(data_), size_}; }

private:
  Kind kind_;
  Command command_ = Command::none;
  std::unique_ptr<unsigned char, detail::Release<mg_free>> block_;
  const unsigned char *data_ = nullptr;
  std::size_t size_ = 0;
};

/** A transfer that its receiver has refused, or that cannot begin. */
class SPRIG_API Refused : public std::runtime_error {
public:
  /**
   * @param status  the receiver's status, below 0.
   * @param text    what was refused.
   */
  Refused(int32_t status, const std::string &text)
      : std::runtime_error(text + ": status " + std::to_string(status)), status_(status) {}

  /** @return the receiver's status, below 0. */
  int32_t status() const noexcept { return status_; }

private:
  int32_t status_;
};

/**
 * A stream, closed and released with its owner. One that was closed or moved from is refused with
 * std::logic_error.
 */
class Stream {
public:
  /**
   * Opens a stream. A type that cannot be opened is refused with std::invalid_argument.
   *
   * @param key  its key.
   */
  explicit Stream(const StreamKey &key) : stream_(opened(key)) {}

  /** @return where it has its data from; a network stream may have changed to the depot. */
  StreamType type() const { return static_cast<StreamType>(open()->type); }
  /** @return whether it is for a mobile endpoint. */
  bool is_mobile() const { return open()->mobile != 0; }
  /** @return the distribution's id. */
  std::string_view distribution_id() const { return open()->distribution_id; }
  /** @return the table of contents that it was given, with what was found; valid as long as it. */
  ConstTableView table() const {
    static const ::PropertiesList none{};
    const ::PropertiesList *segments = open()->segments;
    return ConstTableView(segments == nullptr ? none : *segments);
  }
  /** @return path name of the file that is being read; empty between files and for the network. */
  std::string_view file() const {
    const ::FileList *files = list_of_files();
    return files == nullptr || files->current == nullptr ? std::string_view()
                                                         : files->current->path;
  }

  /**
   * Gives it the distribution's table of contents, and looks for data that are on the machine.
   * Throws message 170 (path) when there is no "remote.dir", 182 (id, version) when a segment of a
   * stream over files is found nowhere.
   *
   * @param table  the table, which is copied. Nothing was read yet.
   */
  void give_table(ConstTableView table) {
    call([list = table.native(), stream = open()] { net_stream_save_modified_toc(stream, list); });
  }
  /**
   * Looks for local data as give_table() does, but leaves the stream as it is. Throws messages 170
   * and 182 as there. Network streams, and those over named files, look nowhere.
   *
   * @param table  the table; "data_path", "dat_file" and "size" of its segments tell what is found.
   */
  void find_sizes(TableOfContents &table) {
    call([list = table.native(), stream = open()] { net_stream_get_size(stream, list); });
  }

  /**
   * Reads the next piece. Failures of the channel and of files throw sprig::Error.
   *
   * @return  data, the end of a file or of the stream, or a command.
   */
  Piece read() {
    unsigned char *buffer = nullptr;
    ::NetStream *const stream = open();
    const int32_t count = call([&] { return net_stream_read(stream, &buffer); });
    if (count > 0) {
      // what the network brings lies behind the byte of its command
      unsigned char *block = type() == StreamType::network ? buffer - 1 : buffer;
      return Piece(block, buffer, static_cast<std::size_t>(count));
    }
    mg_free(buffer);
    if (count < 0) {
      return Piece(Piece::Kind::command, static_cast<Command>(-count));
    }
    return Piece(has_files_left() ? Piece::Kind::end_of_file : Piece::Kind::end);
  }
  /**
   * Reads piece after piece.
   *
   * @param use  called with each piece of data.
   * @return     what it ended with: the end of the stream, or a command.
   */
  template <typename Use> Piece read_all(Use &&use) {
    for (;;) {
      Piece piece = read();
      if (piece.is_data()) {
        use(piece);
      } else if (piece.kind() != Piece::Kind::end_of_file) {
        return piece;
      }
    }
  }

  /** Begins to send back. A receiver that refuses that, or no file to write to, throws Refused. */
  void write_begin() {
    check(call([stream = open()] { return net_stream_write_begin(stream); }));
  }
  /**
   * Sends bytes, of which the last ones wait for more. A receiver that refuses them throws Refused,
   * and the transfer has ended. Without write_begin() it is refused with std::logic_error.
   *
   * @param data    the bytes.
   * @param length  their number.
   */
  void write(const void *data, std::size_t length) {
    ::NetStream *const stream = open();
    if (stream->buffer == nullptr) {
      throw std::logic_error("a write without a transfer");
    }
    const auto *next = static_cast<const char *>(data);
    while (length > 0) {
      const std::size_t count = write_some(stream, next, length);
      next += count;
      length -= count;
    }
  }
  /** @param bytes  what to send, as the other write() does. */
  void write(std::string_view bytes) { write(bytes.data(), bytes.size()); }
  /** Sends what is left, and ends. Throws Refused where the last bytes are refused. */
  void write_end() {
    check(call([stream = open()] { return net_stream_write_end(stream); }));
  }
  /**
   * Sends a file, from beginning to end of a transfer. Throws Refused as the other operations do,
   * and what opening, seeking and reading the file throws.
   *
   * @param path    the file's path name.
   * @param offset  where to begin, in bytes; 2 GiB and more are refused with std::length_error.
   */
  void send_file(const Text &path, std::size_t offset = 0) {
    if (offset > INT32_MAX) {
      throw std::length_error("2 GiB or more");
    }
    const auto place = static_cast<int32_t>(offset);
    ::NetStream *const stream = open();
    check(call([&] { return net_stream_send_file(stream, path.c_str(), place); }));
  }

  /** @param text  what failed, for the status file of a mobile endpoint; else nothing happens. */
  void set_status(const Text &text) {
    ::NetStream *const stream = open();
    call([&] { net_stream_set_status(stream, text.c_str()); });
  }
  /**
   * Puts text into the status file of a mobile endpoint; else nothing happens.
   *
   * @param key    its key.
   * @param value  the text.
   */
  void update_mstat(const Text &key, const Text &value) {
    ::NetStream *const stream = open();
    call([&] { net_stream_update_mstat(stream, key.c_str(), value.c_str()); });
  }

  /**
   * Closes the stream, which is released even if that throws. The destructor, too, closes one that
   * is open, but has no way to tell of a failure.
   */
  void close() {
    ::NetStream *const stream = stream_.release();
    call([=] { net_stream_close(stream); });
  }
  /** @return whether it is open. */
  bool is_open() const noexcept { return stream_ != nullptr; }

  /** @return the stream, for the C functions. It stays the owner's. */
  const ::NetStream *native() const noexcept { return stream_.get(); }
  /** @return the stream, for the C functions. It stays the owner's. */
  ::NetStream *native() noexcept { return stream_.get(); }

private:
  struct Close {
    void operator()(::NetStream *stream) const noexcept {
      try {
        call([=] { net_stream_close(stream); });
      } catch (...) { // there is nobody to tell
      }
    }
  };

  static ::NetStream *opened(StreamKey key) { // a copy, because opening cuts it
    constexpr auto unclosable = static_cast<StreamType>(3);
    ::NetStream *stream = nullptr;
    if (key.type() != unclosable) {
      stream = call([&] { return net_stream_open(key.native(), nullptr); });
    }
    if (stream == nullptr) {
      throw std::invalid_argument("a stream of a type that cannot be opened");
    }
    return stream;
  }

  ::NetStream *open() const {
    if (stream_ == nullptr) {
      throw std::logic_error("a stream that is closed");
    }
    return stream_.get();
  }
  std::size_t write_some(::NetStream *stream, const void *data, std::size_t length) {
    const auto count = static_cast<int32_t>(std::min<std::size_t>(length, INT32_MAX));
    check(call([=] { return net_stream_write(stream, data, count); }));
    return static_cast<std::size_t>(count);
  }
  const ::FileList *list_of_files() const {
    const bool is_local = type() != StreamType::network;
    return is_local ? static_cast<const ::FileList *>(open()->source) : nullptr;
  }
  bool has_files_left() const {
    const ::FileList *files = list_of_files();
    return files != nullptr && (files->cursor != nullptr || files->current != nullptr);
  }
  void check(int32_t result) const {
    if (result < 0) {
      const bool is_file = type() == StreamType::named_files;
      throw Refused(result, is_file ? "no file to write to" : "the receiver has refused");
    }
  }

  std::unique_ptr<::NetStream, Close> stream_;
};

/**
 * Asks the channel, without waiting, whether the sender has cancelled or paused the distribution:
 * for streams over named files, from a directory and from the depot, which do not ask by
 * themselves.
 *
 * @return  cancel, pause, or none.
 */
inline Command poll_command() {
  unsigned char *message = nullptr;
  const int result = call([&] { return is_stream_stopped(&message); });
  mg_free(message);
  return static_cast<Command>(-result);
}

/**
 * Looks for segments in a directory, by its files "*.toc" and "*.itc", as
 * net_stream_search_endpoint_depot() does.
 *
 * @param table      the segments; each that is found gets "data_path", "dat_file" and "size".
 * @param directory  the directory; where there is none, nothing is found.
 * @return           path names of the files with the data.
 */
inline std::vector<std::string> find_segments(TableOfContents &table, const Text &directory) {
  detail::Owner<::StringList, TC_NEX_Types_StringList> paths;
  call([&] {
    ::Toc *toc = toc_from_properties(table.native());
    ex_delegate(toc, [](void *block) { // its list stays the table's
      toc_free_buffer(static_cast<::Toc *>(block));
      mg_free(block);
    });
    net_stream_search_endpoint_depot(toc, directory.c_str(), paths.native());
  });
  const ::StringList &found = *paths.native();
  return std::vector<std::string>(found.buffer, found.buffer + found.length);
}

} // namespace sprig

#endif
