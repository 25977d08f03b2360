/**
 * @file
 * @brief Status files for C++. Included by `sprig/sprig.hpp`.
 */
#ifndef SPRIG_DETAIL_STATUS_HPP
#define SPRIG_DETAIL_STATUS_HPP

#include <charconv>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <sprig/detail/error.hpp>
#include <sprig/detail/property_list.hpp>
#include <sprig/detail/text.hpp>
#include <sprig/records.h>

namespace sprig {

/** The two kinds of status files, which have different names. */
enum class StatusKind {
  usual,       /**< The one that streams of mobile endpoints keep. */
  alternative, /**< For programs that keep one of their own. */
};

/**
 * A distribution's status file, as it was when it was read, and what is to be written to it.
 *
 * What it tells throws message 37 (key) where the file has it with another type. Moved from, it can
 * only be assigned or destroyed.
 */
class Status {
public:
  /**
   * Begins a status, in memory only. The directory of the status files is made where it is missing;
   * where it cannot be made, that throws std::runtime_error.
   *
   * @param distribution_id  the distribution's id.
   * @param kind             the kind of the file.
   */
  explicit Status(const Text &distribution_id, StatusKind kind = StatusKind::usual)
      : status_(mstat_new(distribution_id.c_str(), kind == StatusKind::usual ? 0 : 1)) {
    if (status_ == nullptr) {
      throw std::runtime_error(std::string("no directory for the status of ") +
                               distribution_id.c_str());
    }
  }
  /**
   * Reads the status of a distribution that is in progress, or else of one that is done. Throws
   * message 11 (path) where there is neither file, and what loading a property list throws.
   *
   * @param distribution_id  the distribution's id.
   * @param kind             the kind of the file.
   * @return                 its status.
   */
  static Status read(const Text &distribution_id, StatusKind kind = StatusKind::usual) {
    Status status(distribution_id, kind);
    try {
      status.load();
    } catch (const Error &error) {
      Status done(distribution_id, kind);
      if (error.id() != noSuchFile || !done.load_done()) {
        throw;
      }
      return done;
    }
    return status;
  }
  /** @return the path name of the directory where status files are; it is made if it is missing. */
  static std::string directory() { return Status("").native()->directory; }

  /** Reads the file anew. Throws message 11 (path) where there is none; all stays as it was. */
  void load() {
    call([this] { mstat_load(native()); });
  }
  /** Writes the file: readers find the old one or the new one. Throws what saving a list throws. */
  void save() {
    call([this] { mstat_save(native()); });
  }
  /** Gives the file the name of a distribution that is done. */
  void finish() {
    call([this] { mstat_done(native()); });
  }

  /** @return the distribution's id. */
  std::string_view distribution_id() const noexcept { return native()->distribution_id; }
  /** @return the file's path name; empty until it was read or written. */
  std::string_view path() const noexcept {
    const char *name = native()->file_name;
    return name == nullptr ? std::string_view() : name;
  }
  /** @return whether the file has the name of a distribution that is done. */
  bool is_done() const noexcept { return native()->suffix[doneMark] == 'f'; }
  /** @return the length of the distribution in bytes; nothing until its segments are known. */
  std::optional<uint64_t> total_length() const { return length("t_len"); }
  /** @return how many bytes have arrived; nothing before the first were counted. */
  std::optional<uint64_t> received_length() const { return length("c_len"); }
  /** @return whether all of it has arrived. */
  bool is_complete() const {
    const auto total = total_length();
    return total && total == received_length();
  }
  /** @return whether it has failed. */
  bool has_failed() const { return flag("err"); }
  /** @return why it has failed; empty where that is not told. */
  std::string failure() const { return properties().get_or("err_msg", std::string()); }
  /** @return whether its stream was closed. */
  bool is_closed() const { return flag("close"); }
  /** @return whether its sender has paused it. */
  bool is_paused() const { return flag("paused"); }

  /** @return all that is in the file. */
  ConstPropertyView properties() const noexcept { return ConstPropertyView(*native()->properties); }
  /** @return all that is in the file, to be changed. */
  PropertyView properties() noexcept { return PropertyView(*native()->properties); }

  /** @return the record, for the C functions. It stays the owner's. */
  const ::Mstat *native() const noexcept { return status_.get(); }
  /** @return the record, for the C functions. It stays the owner's. */
  ::Mstat *native() noexcept { return status_.get(); }

private:
  static constexpr int32_t noSuchFile = 11;
  static constexpr int doneMark = 2; // where the suffixes of the two names differ

  // False where there is no file.
  bool load_done() {
    native()->suffix[doneMark] = 'f';
    try {
      load();
    } catch (const Error &error) {
      if (error.id() != noSuchFile) {
        throw;
      }
      return false;
    }
    return true;
  }

  bool flag(const char *key) const { return properties().get_or(key, false); }

  std::optional<uint64_t> length(const char *key) const {
    const std::string_view text = properties().get_or(key, std::string_view());
    uint64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() ? std::optional(number) : std::nullopt;
  }

  std::unique_ptr<::Mstat, detail::Release<mstat_free>> status_;
};

} // namespace sprig

#endif
