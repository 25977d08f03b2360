/**
 * @file
 * @brief The depot for C++. Included by `sprig/sprig.hpp`.
 */
#ifndef SPRIG_DETAIL_DEPOT_HPP
#define SPRIG_DETAIL_DEPOT_HPP

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <sprig/depot.h>
#include <sprig/detail/property_list.hpp>
#include <sprig/detail/property_type.hpp>
#include <sprig/detail/segment.hpp>
#include <sprig/detail/text.hpp>
#include <sprig/pal.h>

namespace sprig {

/** An operation of the depot that has failed. */
class SPRIG_API DepotError : public std::runtime_error {
public:
  /**
   * @param operation  the name of the C function, a constant.
   * @param error      its outcome.
   */
  DepotError(const char *operation, const PalError &error)
      : std::runtime_error(text(operation, error)), operation_(operation), error_(error) {}

  /** @return the name of the C function that has failed. */
  const char *operation() const noexcept { return operation_; }
  /** @return what failed: a PAL_ code. */
  int32_t code() const noexcept { return error_.palError; }
  /** @return `errno` of the system call that failed, or 0. */
  int32_t native_error() const noexcept { return error_.nativeError; }
  /** @return which check or call inside the operation failed. */
  int32_t location() const noexcept { return error_.traceLocation; }

private:
  static std::string text(const char *operation, const PalError &error) {
    return operation + (": error " + std::to_string(error.palError)) + '(' +
           std::to_string(error.nativeError) + ") at " + std::to_string(error.traceLocation) +
           reason(error);
  }
  static std::string reason(const PalError &error) {
    if (error.nativeError != 0) {
      return ": " + std::generic_category().message(error.nativeError);
    }
    switch (error.palError) {
    case PAL_NOT_FOUND:
      return ": no such entry";
    case PAL_OUT_OF_MEMORY:
      return ": out of memory";
    case PAL_INVALID_PARAMETER:
      return ": invalid parameter";
    case PAL_NO_DEPOT_SPACE:
      return ": too little space in the depot";
    default:
      return {};
    }
  }

  const char *operation_;
  PalError error_;
};

/** @cond */
namespace detail {

inline void check(const char *operation, const PalError &error) {
  if (error.palError != PAL_OK) {
    throw DepotError(operation, error);
  }
}

} // namespace detail
/** @endcond */

/** An entry of the depot, as it was when it was looked up: a copy. */
struct DepotEntry {
  /** @param entry  the entry's record, which is copied. */
  explicit DepotEntry(const ::DepotEntry &entry)
      : id(entry.id), version(entry.version), toc_path(or_empty(entry.toc_path)),
        data_path(or_empty(entry.location)),
        properties(entry.properties, entry.properties + entry.properties_length), size(entry.size),
        state(entry.state), registrations(entry.reference_count), deadline(entry.deadline),
        checksum(entry.checksum), modify_time(entry.modify_time) {}

  std::string id;        /**< Id of its segment. */
  std::string version;   /**< Version of its segment. */
  std::string toc_path;  /**< Path of its TOC file. */
  std::string data_path; /**< Path of its data file. */
  Octets properties;     /**< Its segment's description, encoded; empty where there is none. Zeros
                            may follow it. */
  uint64_t size;         /**< Bytes of its data when they were last asked for, else 0. */
  int32_t state;         /**< A DEPOT_ENTRY_ value. */
  int32_t registrations; /**< Registered users. */
  int32_t deadline;      /**< Until when it must be kept, in seconds since the epoch. */
  int32_t checksum;      /**< Its checksum, a number of the caller's. */
  int32_t modify_time;   /**< When this process last opened its data for writing, or 0. */

  /** @return whether its data are complete, and anybody may use them. */
  bool is_complete() const noexcept { return state == DEPOT_ENTRY_COMPLETE; }
  /**
   * @return its segment's description; an empty list where there is none. Throws message 35 for
   *         octets that are no encoding of one.
   */
  PropertyList description() const {
    return properties.empty() ? PropertyList() : PropertyList::decode(properties);
  }

private:
  static const char *or_empty(const char *text) { return text == nullptr ? "" : text; }
};

/** An open data file of an entry, closed with its owner. Failures throw DepotError. */
class DepotFile {
public:
  /** @param handle  an open file, which the owner takes over. */
  explicit DepotFile(PalFileHandle handle) noexcept : handle_(handle) {}
  /** @param other  the file that is moved; no file can be used through it afterwards. */
  DepotFile(DepotFile &&other) noexcept : handle_(std::exchange(other.handle_, PalFileHandle{})) {}
  /**
   * @param other  the file that is moved.
   * @return       the owner.
   */
  DepotFile &operator=(DepotFile other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~DepotFile() { static_cast<void>(PalFileClose(handle_)); }

  /**
   * Reads once.
   *
   * @param buffer  storage for @p length bytes.
   * @param length  number of bytes.
   * @return        how many were read; 0 at the end of the file.
   */
  std::size_t read(void *buffer, std::size_t length) {
    std::size_t count = 0;
    detail::check("PalFileRead", PalFileRead(handle_, buffer, length, &count));
    return count;
  }
  /**
   * Writes all bytes. Where that fails, some of them may have been written.
   *
   * @param data    the bytes.
   * @param length  their number.
   */
  void write(const void *data, std::size_t length) {
    const auto *next = static_cast<const char *>(data);
    while (length > 0) {
      std::size_t count = 0;
      detail::check("PalFileWrite", PalFileWrite(handle_, next, length, &count));
      next += count;
      length -= count;
    }
  }
  /** @param bytes  what to write, as the other write() does. */
  void write(std::string_view bytes) { write(bytes.data(), bytes.size()); }
  /** @param offset  the place of the next read or write, from the beginning, in bytes. */
  void seek(uint64_t offset) {
    constexpr int from_beginning = 1;
    detail::check("PalFileSetLocation",
                  PalFileSetLocation(handle_, static_cast<int64_t>(offset), from_beginning));
  }
  /** @return how many bytes it has. */
  uint64_t size() const {
    int64_t bytes = 0;
    detail::check("PalFileGetSize", PalFileGetSize(handle_, &bytes));
    return static_cast<uint64_t>(bytes);
  }
  /** Closes the file, which is closed even if that fails. The destructor cannot tell of it. */
  void close() {
    detail::check("PalFileClose", PalFileClose(std::exchange(handle_, PalFileHandle{})));
  }

  /** @return the file, for the C functions. It stays the owner's. */
  PalFileHandle native() const noexcept { return handle_; }

private:
  PalFileHandle handle_;
};

/**
 * A walk over the entries of a depot, in the order in which its directory has them:
 *
 *     for (const sprig::DepotEntry &entry : depot.entries())
 *
 * There is one pass, and an entry is valid until the next one. A TOC file that cannot be read is
 * logged and ends the walk. Entries may be changed and removed meanwhile.
 */
class DepotWalk {
public:
  /** @param depot  the depot, which must be there as long as the walk. */
  explicit DepotWalk(::Depot *depot) : depot_(depot) {
    DepotEnum *walk = nullptr;
    detail::check("DepotEnumNew", DepotEnumNew(depot, &walk));
    walk_.reset(walk);
  }

  /** Gives the entries. */
  class iterator {
  public:
    using iterator_category = std::input_iterator_tag; /**< There is one pass. */
    using value_type = DepotEntry;                     /**< An entry. */
    using difference_type = std::ptrdiff_t;            /**< Of two iterators. */
    using pointer = const DepotEntry *;                /**< To an entry. */
    using reference = const DepotEntry &;              /**< An entry. */

    iterator() = default;
    /** @param walk  the walk, which goes on to its next entry. */
    explicit iterator(DepotWalk *walk) : walk_(walk) { ++*this; }
    /** @return the entry. */
    const DepotEntry &operator*() const { return *walk_->entry_; }
    /** @return the entry. */
    const DepotEntry *operator->() const { return &**this; }
    /** @return the iterator, at the next entry. */
    iterator &operator++() {
      if (!walk_->next()) {
        walk_ = nullptr;
      }
      return *this;
    }
    /** Goes on to the next entry. */
    void operator++(int) { ++*this; }
    /** @return whether both are at an entry, or both at the end. */
    friend bool operator==(iterator a, iterator b) { return a.walk_ == b.walk_; }
    /** @return whether one of them is at the end. */
    friend bool operator!=(iterator a, iterator b) { return a.walk_ != b.walk_; }

  private:
    DepotWalk *walk_ = nullptr; // null at the end
  };

  /** @return an iterator at the next entry. */
  iterator begin() { return iterator(this); }
  /** @return the end. */
  iterator end() const noexcept { return iterator(); }

private:
  struct End {
    void operator()(DepotEnum *walk) const { static_cast<void>(DepotEntryEnumDelete(walk)); }
  };

  // The record is released at once, so that a walk over a large depot takes little memory.
  bool next() {
    ::DepotEntry *record = DepotEntryEnumNextElement(walk_.get());
    if (record == nullptr) {
      return false;
    }
    entry_.emplace(*record);
    detail::check("DepotFreeEntry", DepotFreeEntry(depot_, record));
    return true;
  }

  ::Depot *depot_;
  std::unique_ptr<DepotEnum, End> walk_;
  std::optional<DepotEntry> entry_;
};

/**
 * A depot, released with its owner. `docs/guide/depot.md` tells how its operations go together.
 *
 * Entries are named by their segments' id and version, and looked up anew by each operation. What
 * fails throws DepotError; where the entry is not there, with the code PAL_NOT_FOUND. One process
 * opens a depot once, and uses it in one thread at a time. Moved from, it can only be assigned or
 * destroyed.
 */
class Depot {
public:
  /**
   * Opens a depot. That its directory cannot be had is a failure of what is done with it then.
   *
   * @param directory  its directory, which is made if it is missing.
   * @param limit      how many kilobytes may be reserved; 0 keeps no account.
   */
  explicit Depot(const Text &directory, uint32_t limit = 0) {
    ::Depot *depot = nullptr;
    const PalError opened = DepotNew(&depot, directory.c_str(), limit);
    depot_.reset(depot);
    detail::check("DepotNew", opened);
  }

  /** @return its directory. */
  std::string_view directory() const { return DepotGetDir(depot_.get()); }
  /** @return a walk over its entries. */
  DepotWalk entries() { return DepotWalk(native()); }

  /**
   * Looks an entry up.
   *
   * @param id       id of its segment.
   * @param version  version of its segment.
   * @return         the entry; nothing where there is none, or where it cannot be read, which the
   *                 log tells.
   */
  std::optional<DepotEntry> find(const Text &id, const Text &version) {
    const ::DepotEntry *entry = DepotGetEntry(native(), id.c_str(), version.c_str());
    return entry == nullptr ? std::nullopt : std::optional(DepotEntry(*entry));
  }
  /**
   * Finds a complete entry, or adds one that is to be filled. It throws, with the code
   * PAL_NOT_FOUND, where the entry cannot be made; the log tells why.
   *
   * @param id          id of its segment.
   * @param version     version of its segment.
   * @param properties  its segment's description, encoded; may be empty.
   * @return            the entry; nothing where there is one that is being filled.
   */
  std::optional<DepotEntry> add(const Text &id, const Text &version,
                                const Octets &properties = {}) {
    if (properties.size() > UINT32_MAX) {
      throw std::length_error("more octets than an entry has room for");
    }
    const ::DepotEntry *added =
        DepotAddEntry(native(), id.c_str(), version.c_str(), properties.data(),
                      static_cast<uint32_t>(properties.size()));
    if (added != nullptr) {
      return DepotEntry(*added);
    }
    std::optional<DepotEntry> entry = found("DepotAddEntry", find(id, version));
    return entry->is_complete() ? std::move(entry) : std::nullopt; // completed in between
  }
  /**
   * As the other add().
   *
   * @param segment  the segment, whose description is kept.
   * @return         the entry; nothing where there is one that is being filled.
   */
  std::optional<DepotEntry> add(ConstSegmentView segment) {
    return add(segment.id(), segment.version(), segment.description().encode());
  }

  /**
   * Opens an entry's data for writing.
   *
   * @param id        id of its segment.
   * @param version   version of its segment.
   * @param truncate  whether they are cut to nothing.
   * @return          the file, at its beginning.
   */
  DepotFile open_for_write(const Text &id, const Text &version, bool truncate = false) {
    PalFileHandle file{};
    detail::check("DepotFileOpenForWrite",
                  DepotFileOpenForWrite(native(), record(id, version), &file, truncate ? 1 : 0));
    return DepotFile(file);
  }
  /**
   * Opens an entry's data for reading.
   *
   * @param id       id of its segment.
   * @param version  version of its segment.
   * @return         the file, at its beginning.
   */
  DepotFile open_for_read(const Text &id, const Text &version) {
    PalFileHandle file{};
    detail::check("DepotFileOpenForRead",
                  DepotFileOpenForRead(native(), record(id, version), &file));
    return DepotFile(file);
  }
  /**
   * Tells where a transfer into an entry can go on.
   *
   * @param entry  the entry, as the one who transfers knows it.
   * @return       the size of its data; 0 when this process has opened them for writing since.
   */
  uint64_t resume_offset(const DepotEntry &entry) {
    uint64_t offset = 0;
    detail::check("DepotSetCheckpointOffset",
                  DepotSetCheckpointOffset(native(), entry.id.c_str(), entry.version.c_str(),
                                           entry.modify_time, &offset));
    return offset;
  }
  /**
   * Asks for the size of an entry's data.
   *
   * @param id       id of its segment.
   * @param version  version of its segment.
   * @return         the size in bytes, which the entry then has as well.
   */
  uint64_t data_size(const Text &id, const Text &version) {
    uint64_t size = 0;
    detail::check("DepotEntryGetFileSize",
                  DepotEntryGetFileSize(native(), record(id, version), &size));
    return size;
  }

  /**
   * Sets an entry's state.
   *
   * @param id       id of its segment.
   * @param version  version of its segment.
   * @param state    a DEPOT_ENTRY_ value.
   */
  void set_state(const Text &id, const Text &version, int32_t state) {
    detail::check("DepotEntryChangeState",
                  DepotEntryChangeState(native(), record(id, version), state));
  }
  /**
   * Sets an entry's checksum.
   *
   * @param id        id of its segment.
   * @param version   version of its segment.
   * @param checksum  the checksum.
   */
  void set_checksum(const Text &id, const Text &version, int32_t checksum) {
    ::DepotEntry *entry = record(id, version);
    entry->checksum = checksum;
    detail::check("DepotSaveEntry", DepotSaveEntry(native(), entry));
  }
  /**
   * Completes an entry, and registers the caller for it.
   *
   * @param id        id of its segment.
   * @param version   version of its segment.
   * @param deadline  until when it must be kept, in seconds since the epoch; an earlier one than it
   *                  has changes nothing.
   */
  void complete(const Text &id, const Text &version, int32_t deadline) {
    detail::check("DepotCompleteEntry",
                  DepotCompleteEntry(native(), record(id, version), deadline));
  }
  /**
   * Registers the caller for an entry that is complete.
   *
   * @param id        id of its segment.
   * @param version   version of its segment.
   * @param deadline  as for complete().
   * @return          false where there is no complete entry.
   */
  [[nodiscard]] bool register_user(const Text &id, const Text &version, int32_t deadline) {
    ::DepotEntry *entry = DepotGetEntry(native(), id.c_str(), version.c_str());
    const bool is_complete = entry != nullptr && entry->state == DEPOT_ENTRY_COMPLETE;
    if (is_complete) {
      detail::check("DepotCompleteEntry", DepotCompleteEntry(native(), entry, deadline));
    }
    return is_complete;
  }
  /**
   * Takes back a registration. With the last one the entry goes; as long as others remain the
   * lowered count is not saved.
   *
   * @param id       id of its segment.
   * @param version  version of its segment.
   */
  void unregister_user(const Text &id, const Text &version) {
    detail::check("DepotUnregisterEntry", DepotUnregisterEntry(native(), record(id, version), 0));
  }
  /**
   * Removes an entry. One with registrations stays, unless that is forced.
   *
   * @param id        id of its segment.
   * @param version   version of its segment.
   * @param is_forced  whether it goes whatever its registrations.
   */
  void remove(const Text &id, const Text &version, bool is_forced = false) {
    detail::check("DepotRemoveEntry",
                  DepotRemoveEntry(native(), record(id, version), is_forced ? 1 : 0));
  }
  /** Removes all complete entries whose deadline has passed, whatever their registrations. */
  void purge_expired() {
    detail::check("DepotPurgeExpiredEntries", DepotPurgeExpiredEntries(native()));
  }
  /**
   * Removes all entries without registrations.
   *
   * @param is_forced  whether the others go as well.
   */
  void purge(bool is_forced = false) {
    detail::check("DepotPurge", DepotPurge(native(), is_forced ? 1 : 0));
  }

  /**
   * @param bytes  a number of bytes; 4 TiB and more are refused with std::length_error.
   * @return       as many kilobytes, rounded up.
   */
  static uint32_t kilobytes(uint64_t bytes) {
    constexpr uint64_t most = std::numeric_limits<uint32_t>::max();
    if (bytes > most * 1024) {
      throw std::length_error("4 TiB or more");
    }
    return ConvertDataSize(bytes);
  }
  /** @return how many kilobytes may be reserved; 0 where no account is kept. */
  uint32_t limit() const noexcept { return depot_->maxSpace; }
  /** @return how many kilobytes this process can still reserve; 0 where no account is kept. */
  uint32_t available() const noexcept { return depot_->availableSpace; }
  /** @return how many kilobytes the data files take. */
  uint32_t used() {
    uint32_t total = 0;
    detail::check("DepotGetPermStorage", DepotGetPermStorage(native(), &total));
    return total;
  }
  /**
   * Reserves space.
   *
   * @param kilobytes  how much.
   * @return           false, with nothing changed, when less is available.
   */
  [[nodiscard]] bool reserve(uint32_t kilobytes) {
    const PalError reserved = DepotReserveDiskSpace(native(), kilobytes);
    if (reserved.palError == PAL_NO_DEPOT_SPACE) {
      return false;
    }
    detail::check("DepotReserveDiskSpace", reserved);
    return true;
  }
  /**
   * Reserves space for an entry's data.
   *
   * @param id       id of its segment.
   * @param version  version of its segment.
   * @param bytes    how many it will have.
   * @return         as the other reserve().
   */
  [[nodiscard]] bool reserve_for(const Text &id, const Text &version, uint64_t bytes) {
    ::DepotEntry *entry = record(id, version);
    const bool is_reserved = reserve(kilobytes(bytes));
    if (is_reserved) {
      entry->size = bytes;
    }
    return is_reserved;
  }
  /**
   * Gives back what an entry's data take less than was reserved for it. It comes before the entry
   * is completed.
   *
   * @param id       id of its segment.
   * @param version  version of its segment.
   */
  void adjust_reserved(const Text &id, const Text &version) {
    detail::check("DepotAdjustReservedSpace",
                  DepotAdjustReservedSpace(native(), id.c_str(), version.c_str()));
  }
  /** @param kilobytes  how much reserved space is given back. */
  void unreserve(uint32_t kilobytes) {
    DepotUnreserveDiskSpace(native(), static_cast<int32_t>(kilobytes));
  }

  /** @return the depot, for the C functions. It stays the owner's. */
  ::Depot *native() noexcept { return depot_.get(); }

private:
  struct Release {
    void operator()(::Depot *depot) const { static_cast<void>(DepotFree(depot)); }
  };

  template <typename Found> static Found found(const char *operation, Found entry) {
    if (!entry) {
      throw DepotError(operation, PalError{PAL_NOT_FOUND, 0, 0});
    }
    return entry;
  }

  // The record as it is on disk now; it is the depot's, until an operation releases it.
  ::DepotEntry *record(const Text &id, const Text &version) {
    return found("DepotGetEntry", DepotGetEntry(native(), id.c_str(), version.c_str()));
  }

  std::unique_ptr<::Depot, Release> depot_;
};

} // namespace sprig

#endif
