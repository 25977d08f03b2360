/**
 * @file
 * @brief Files and directories for C++. Included by `sprig/sprig.hpp`.
 */
#ifndef SPRIG_DETAIL_FILE_HPP
#define SPRIG_DETAIL_FILE_HPP

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <sprig/detail/error.hpp>
#include <sprig/detail/text.hpp>
#include <sprig/files.h>

namespace sprig {

/** An open file, closed and released with its owner. Moved from, it is a null handle. */
class File {
public:
  /**
   * Opens a file. Throws message 11 (path) when that fails.
   *
   * @param path   its path name.
   * @param flags  for open(2).
   * @return       the file.
   */
  static File open(const Text &path, int flags = O_RDONLY) {
    return File(call([&] { return file_open(path.c_str(), flags); }));
  }
  /**
   * Opens a file, and creates it where there is none. Throws message 12 (path, errno) when that
   * fails.
   *
   * @param path   its path name.
   * @param flags  for open(2).
   * @param mode   permissions of a new file, less the process's mask.
   * @return       the file.
   */
  static File create(const Text &path, int flags = O_WRONLY | O_TRUNC, int mode = 0600) {
    return File(call([&] { return file_create(path.c_str(), flags, mode); }));
  }

  /** @return whether it is open. */
  bool is_open() const noexcept { return file_is_open(native()) != 0; }
  /** @return its path name. */
  std::string_view path() const noexcept {
    return file_ == nullptr ? std::string_view() : file_->path;
  }
  /**
   * Reads once. Throws message 19 (path, length, errno) when that fails.
   *
   * @param buffer  storage for @p length bytes.
   * @param length  number of bytes.
   * @return        how many were read; 0 at the end of the file.
   */
  std::size_t read(void *buffer, std::size_t length) {
    const auto most = static_cast<int32_t>(std::min<std::size_t>(length, INT32_MAX));
    return static_cast<std::size_t>(call([&] { return file_read(native(), buffer, most); }));
  }
  /**
   * Writes once. Throws message 21 (path, length) when not all bytes were written.
   *
   * @param data    the bytes.
   * @param length  their number; 2 GiB and more are refused with std::length_error.
   */
  void write(const void *data, std::size_t length) {
    const int32_t all = checked(length);
    call([&] { file_write(native(), data, all); });
  }
  /** @param bytes  what to write, as the other write() does. */
  void write(std::string_view bytes) { write(bytes.data(), bytes.size()); }
  /**
   * Sets the place of the next read or write. Throws message 23 (path, errno) when that fails.
   *
   * @param offset  from the file's beginning, in bytes; 2 GiB and more are refused with
   *                std::length_error.
   */
  void seek(std::size_t offset) {
    const int32_t place = checked(offset);
    call([&] { file_seek(native(), place); });
  }
  /**
   * Closes the file. Throws message 14 (path) when that fails; it is closed nevertheless. The
   * destructor, too, closes an open file, but has no way to tell of a failure.
   */
  void close() {
    try {
      call([this] { file_close(native()); });
    } catch (const Error &) {
      forget_descriptor();
      throw;
    }
  }

  /** @return the file, for the C functions. It stays the owner's. */
  const ::File *native() const noexcept { return file_.get(); }
  /** @return the file, for the C functions. It stays the owner's. */
  ::File *native() noexcept { return file_.get(); }

private:
  struct Release {
    void operator()(::File *file) const noexcept {
      if (file_is_open(file) != 0) {
        ::close(file->descriptor);
        file->descriptor = -1;
      }
      file_delete(file);
    }
  };

  explicit File(::File *file) noexcept : file_(file) {}

  void forget_descriptor() noexcept {
    if (file_ != nullptr) {
      file_->descriptor = -1;
    }
  }

  static int32_t checked(std::size_t bytes) {
    if (bytes > INT32_MAX) {
      throw std::length_error("2 GiB or more");
    }
    return static_cast<int32_t>(bytes);
  }

  std::unique_ptr<::File, Release> file_;
};

/**
 * A walk over the entries of a directory whose names match a pattern, in the order in which the
 * system gives them:
 *
 *     for (const std::string_view name : sprig::DirectoryWalk("depot", "*.toc"))
 *
 * There is one pass, and a name is valid until the next one. `.` and `..` are no entries.
 */
class DirectoryWalk {
public:
  /**
   * Begins a walk. A directory that cannot be opened throws std::system_error, a path name that is
   * too long message 32.
   *
   * @param path     the directory's path name.
   * @param pattern  as for match(); an open set matches nothing.
   */
  explicit DirectoryWalk(const Text &path, const Text &pattern = "*")
      : entries_(opened(path, pattern)) {}

  /** Gives the names. */
  class iterator {
  public:
    using iterator_category = std::input_iterator_tag; /**< There is one pass. */
    using value_type = std::string_view;               /**< A name. */
    using difference_type = std::ptrdiff_t;            /**< Of two iterators. */
    using pointer = const std::string_view *;          /**< To a name. */
    using reference = std::string_view;                /**< A name. */

    iterator() = default;
    /** @param entries  the walk, which goes on to its next entry. */
    explicit iterator(::DirEntryEnum *entries) : entries_(entries) { ++*this; }
    /** @return the name. */
    std::string_view operator*() const { return dir_entry_enum_next_element(entries_); }
    /** @return the iterator, at the next entry. */
    iterator &operator++() {
      auto *const entries = entries_;
      if (call([=] { return dir_entry_enum_has_more_elements(entries); }) == 0) {
        entries_ = nullptr;
      }
      return *this;
    }
    /** Goes on to the next entry. */
    void operator++(int) { ++*this; }
    /** @return whether both are at an entry, or both at the end. */
    friend bool operator==(iterator a, iterator b) { return a.entries_ == b.entries_; }
    /** @return whether one of them is at the end. */
    friend bool operator!=(iterator a, iterator b) { return a.entries_ != b.entries_; }

  private:
    ::DirEntryEnum *entries_ = nullptr; // null at the end
  };

  /** @return an iterator at the next entry. */
  iterator begin() { return iterator(entries_.get()); }
  /** @return the end. */
  iterator end() const noexcept { return iterator(); }

private:
  static ::DirEntryEnum *opened(const Text &path, const Text &pattern) {
    ::DirEntryEnum *entries = nullptr;
    int error = 0;
    call([&] {
      ::Dir *directory = dir_new(path.c_str());
      ex_delegate(directory, [](void *block) { dir_delete(static_cast<::Dir *>(block)); });
      entries = dir_entries(directory, pattern.c_str());
      error = errno;
    });
    if (entries == nullptr) {
      throw std::system_error(error, std::generic_category(), path.c_str());
    }
    return entries;
  }

  std::unique_ptr<::DirEntryEnum, detail::Release<dir_entry_enum_delete>> entries_;
};

} // namespace sprig

#endif
