/**
 * @file
 * @brief What owners of framework values and views of lists have in common. Included by
 * `sprig/sprig.hpp`.
 */
#ifndef SPRIG_DETAIL_VALUE_HPP
#define SPRIG_DETAIL_VALUE_HPP

#include <cstddef>
#include <iterator>
#include <utility>

#include <sprig/detail/error.hpp>
#include <sprig/framework.h>
#include <sprig/properties.h>

namespace sprig::detail {

/** A value in a record of its own, copied and released with everything that it owns. */
template <typename Record, const TypeCodeRecord (&type)[1]> class Owner {
public:
  /** The empty value. */
  Owner() noexcept = default;
  /** @param source  a value, which is copied. */
  explicit Owner(const Record &source) {
    call([&] { _t_generic_copy(type, nullptr, &source, &record_); });
  }
  /** @param other  what is copied. */
  Owner(const Owner &other) : Owner(other.record_) {}
  /** @param other  what is moved, and then empty. */
  Owner(Owner &&other) noexcept : record_(std::exchange(other.record_, Record{})) {}
  /**
   * @param other  what is copied or moved.
   * @return       the owner.
   */
  Owner &operator=(Owner other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }
  ~Owner() { nex_free_generic(&record_, type); }

  /** @return the record, for the C functions. It stays the owner's. */
  const Record *native() const noexcept { return &record_; }
  /** @return the record, for the C functions. It stays the owner's. */
  Record *native() noexcept { return &record_; }

private:
  Record record_{};
};

/**
 * Reading the elements of a sequence, each through an @c Element. @c Self has the sequence:
 * `native()`.
 */
template <typename Self, typename Record, typename Element> class Range {
public:
  /** Walks over the elements. Any change of the sequence ends its use. */
  class iterator {
  public:
    using iterator_category = std::input_iterator_tag; /**< It gives values, not references. */
    using value_type = Element;                        /**< What it gives. */
    using difference_type = std::ptrdiff_t;            /**< Of two iterators. */
    using pointer = void;                              /**< None. */
    using reference = Element;                         /**< What it gives. */

    iterator() = default;
    /** @param at  the element, in its sequence. */
    explicit iterator(const Record *at) noexcept : at_(at) {}
    /** @return the element. */
    Element operator*() const noexcept { return Element(*at_); }
    /** @return the iterator, at the next element. */
    iterator &operator++() noexcept {
      ++at_;
      return *this;
    }
    /** @return the iterator as it was, before it went to the next element. */
    iterator operator++(int) noexcept { return iterator(at_++); }
    /** @return whether both are at the same element. */
    friend bool operator==(iterator a, iterator b) noexcept { return a.at_ == b.at_; }
    /** @return whether they are at different elements. */
    friend bool operator!=(iterator a, iterator b) noexcept { return a.at_ != b.at_; }

  private:
    const Record *at_ = nullptr;
  };
  using const_iterator = iterator; /**< Elements are changed by other means. */
  using value_type = Element;      /**< What iterators give. */

  /** @return how many elements there are. */
  std::size_t size() const noexcept { return sequence().length; }
  /** @return whether there are none. */
  bool empty() const noexcept { return size() == 0; }
  /** @return an iterator at the first element. */
  iterator begin() const noexcept { return iterator(sequence().buffer); }
  /** @return an iterator behind the last element. */
  iterator end() const noexcept { return iterator(sequence().buffer + size()); }
  /**
   * @param index  of an element, less than size().
   * @return       the element.
   */
  Element operator[](std::size_t index) const noexcept { return Element(sequence().buffer[index]); }

private:
  const auto &sequence() const noexcept { return *static_cast<const Self *>(this)->native(); }
};

/** @cond */
// Throws where one of them has no encoding.
inline bool equal(TypeCode type, const void *a, const void *b) {
  return call([=] {
    Environment environment{};
    const bool is_equal = krt_generic_equal(type, &environment, a, b) != 0;
    if (environment.exception != nullptr) {
      ev_to_exception(&environment);
    }
    return is_equal;
  });
}
/** @endcond */

} // namespace sprig::detail

#endif
