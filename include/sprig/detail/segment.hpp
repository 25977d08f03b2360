/**
 * @file
 * @brief Segments and tables of contents for C++. Included by `sprig/sprig.hpp`.
 */
#ifndef SPRIG_DETAIL_SEGMENT_HPP
#define SPRIG_DETAIL_SEGMENT_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <sprig/detail/error.hpp>
#include <sprig/detail/property_list.hpp>
#include <sprig/detail/property_type.hpp>
#include <sprig/detail/text.hpp>
#include <sprig/detail/value.hpp>
#include <sprig/properties.h>
#include <sprig/records.h>
#include <sprig/types.h>

namespace sprig {

namespace detail {

/**
 * Reading a segment. What its description has with another type throws message 37 (key).
 */
template <typename Self> class SegmentReader {
public:
  /** @return its id. Throws message 36 where it has none. */
  std::string_view id() const { return list().template get<std::string_view>(SEGMENT_ID_KEY); }
  /** @return its version. Throws message 36 where it has none. */
  std::string_view version() const {
    return list().template get<std::string_view>(SEGMENT_VERSION_KEY);
  }
  /** @return its path at the source; empty where it has none. */
  std::string_view location() const { return text(SEGMENT_LOCATION_KEY); }
  /** @return the path name of its data on this machine; empty until they are found. */
  std::string_view data_path() const { return text(SEGMENT_DATA_PATH_KEY); }
  /** @return how many bytes it has, or 0. */
  int32_t size() const { return number(SEGMENT_SIZE_KEY); }
  /** @return how many of them have arrived, or 0. */
  int32_t offset() const { return number(SEGMENT_OFFSET_KEY); }
  /** @return whether all of it has arrived. */
  bool is_complete() const { return offset() >= size(); }
  /** @return its checksum; empty where it has none. */
  Octets checksum() const { return list().get_or(SEGMENT_CHECKSUM_KEY, Octets()); }
  /** @return all that is told of it. */
  ConstPropertyView description() const noexcept { return list(); }

private:
  ConstPropertyView list() const noexcept {
    return ConstPropertyView(*static_cast<const Self *>(this)->native());
  }
  std::string_view text(const char *key) const { return list().get_or(key, std::string_view()); }
  int32_t number(const char *key) const { return list().get_or(key, int32_t{0}); }
};

/** Changing a segment. */
template <typename Self> class SegmentWriter {
public:
  /** @param path  its path at the source. */
  void set_location(const Text &path) { list().put(SEGMENT_LOCATION_KEY, path.c_str()); }
  /** @param bytes  how many it has; 2 GiB and more are refused with std::length_error. */
  void set_size(uint64_t bytes) { put(SEGMENT_SIZE_KEY, bytes); }
  /** @param bytes  how many have arrived; 2 GiB and more are refused with std::length_error. */
  void set_offset(uint64_t bytes) { put(SEGMENT_OFFSET_KEY, bytes); }
  /** @param octets  its checksum. */
  void set_checksum(const Octets &octets) { list().put(SEGMENT_CHECKSUM_KEY, octets); }

private:
  PropertyView list() noexcept { return PropertyView(*static_cast<Self *>(this)->native()); }
  void put(const char *key, uint64_t bytes) {
    if (bytes > INT32_MAX) {
      throw std::length_error("a segment of 2 GiB or more");
    }
    list().put(key, static_cast<int32_t>(bytes));
  }
};

} // namespace detail

/** A segment of somebody else's, to be read. */
class ConstSegmentView : public detail::SegmentReader<ConstSegmentView> {
public:
  /** @param description  what describes it, which must outlive the view. */
  explicit ConstSegmentView(const ::Properties &description) noexcept : list_(&description) {}
  /** @param description  what describes it. */
  explicit ConstSegmentView(ConstPropertyView description) noexcept : list_(description.native()) {}

  /** @return its description, for the C functions. */
  const ::Properties *native() const noexcept { return list_; }

private:
  const ::Properties *list_;
};

/** A segment of somebody else's, to be read and changed. */
class SegmentView : public detail::SegmentReader<SegmentView>,
                    public detail::SegmentWriter<SegmentView> {
public:
  /** @param description  what describes it, which must outlive the view. */
  explicit SegmentView(::Properties &description) noexcept : list_(&description) {}
  /** @return the same segment, to be read. */
  operator ConstSegmentView() const noexcept { return ConstSegmentView(*list_); }

  using SegmentReader::description;
  /** @return all that is told of it, to be changed. */
  PropertyView description() noexcept { return PropertyView(*list_); }
  /** @return its description, for the C functions. */
  ::Properties *native() const noexcept { return list_; }

private:
  ::Properties *list_;
};

/** A unit of distributed data: a file, or a slice of one. It owns its description. */
class Segment : public detail::SegmentReader<Segment>, public detail::SegmentWriter<Segment> {
public:
  /**
   * @param id       its id.
   * @param version  its version.
   */
  Segment(const Text &id, const Text &version) {
    list_.put(SEGMENT_ID_KEY, id.c_str());
    list_.put(SEGMENT_VERSION_KEY, version.c_str());
  }
  /**
   * Takes a description for a segment. One without an id or a version throws message 36 (key).
   *
   * @param description  what describes it.
   */
  explicit Segment(PropertyList description) : list_(std::move(description)) {
    static_cast<void>(id());
    static_cast<void>(version());
  }
  /** @param segment  a segment, which is copied. */
  explicit Segment(ConstSegmentView segment) : list_(*segment.native()) {}

  /** @return the segment, to be read. */
  operator ConstSegmentView() const noexcept { return ConstSegmentView(*native()); }
  /** @return the segment, to be changed. */
  operator SegmentView() noexcept { return SegmentView(*native()); }

  using SegmentReader::description;
  /** @return all that is told of it, to be changed. */
  PropertyView description() noexcept { return list_; }
  /** @return its description, for the C functions. It stays the segment's. */
  const ::Properties *native() const noexcept { return list_.native(); }
  /** @return its description, for the C functions. It stays the segment's. */
  ::Properties *native() noexcept { return list_.native(); }

private:
  PropertyList list_;
};

namespace detail {

/** Reading a table of contents: walking over its segments, and what they are together. */
template <typename Self> class TableReader : public Range<Self, ::Properties, ConstSegmentView> {
public:
  /**
   * @param id       a segment's id.
   * @param version  its version.
   * @return         an iterator at the first segment of that id and version, or end().
   */
  auto find(std::string_view id, std::string_view version) const {
    return std::find_if(this->begin(), this->end(), [=](ConstSegmentView segment) {
      return segment.id() == id && segment.version() == version;
    });
  }
  /** @return how many bytes all segments have. */
  int64_t total_size() const {
    return sum([](ConstSegmentView segment) { return segment.size(); });
  }
  /** @return how many of them have arrived. */
  int64_t total_offset() const {
    return sum([](ConstSegmentView segment) { return segment.offset(); });
  }
  /** @return whether all segments have arrived. */
  bool is_complete() const {
    return std::all_of(this->begin(), this->end(),
                       [](ConstSegmentView segment) { return segment.is_complete(); });
  }
  /** @return its encoding, as it goes over the channel. Throws message 34 where it has none. */
  Octets encode() const {
    uint8_t *data = nullptr;
    uint32_t length = 0;
    const ::PropertiesList *list = static_cast<const Self *>(this)->native();
    call([&] { properties_encode(TC_NEX_Sprig2_PropertiesList, list, &data, &length); });
    const std::unique_ptr<uint8_t, Release<mg_free>> owner(data);
    return Octets(data, data + length);
  }

private:
  template <typename Number> int64_t sum(Number number) const {
    int64_t total = 0;
    for (const ConstSegmentView segment : *this) {
      total += number(segment);
    }
    return total;
  }
};

} // namespace detail

/** A table of contents of somebody else's, to be read. */
class ConstTableView : public detail::TableReader<ConstTableView> {
public:
  /** @param list  descriptions of the segments, which must outlive the view. */
  explicit ConstTableView(const ::PropertiesList &list) noexcept : list_(&list) {}
  /** @param list  descriptions of the segments. */
  explicit ConstTableView(ConstPropertyListsView list) noexcept : list_(list.native()) {}
  /** @return the descriptions of the segments. */
  operator ConstPropertyListsView() const noexcept { return ConstPropertyListsView(*list_); }

  /** @return the descriptions of the segments, for the C functions. */
  const ::PropertiesList *native() const noexcept { return list_; }

private:
  const ::PropertiesList *list_;
};

/** The segments of a distribution, released with their owner. A copy shares nothing with it. */
class TableOfContents : public detail::Owner<::PropertiesList, TC_NEX_Sprig2_PropertiesList>,
                        public detail::TableReader<TableOfContents> {
public:
  /** No segments. */
  TableOfContents() noexcept = default;
  /** @param list  descriptions of segments, which are copied. */
  explicit TableOfContents(const ::PropertiesList &list) : Owner(list) {}
  /** @param list  descriptions of segments, which are copied. */
  explicit TableOfContents(ConstPropertyListsView list) : Owner(*list.native()) {}
  /** @param table  another table, which is copied. */
  explicit TableOfContents(ConstTableView table) : Owner(*table.native()) {}

  /**
   * Decodes a table. Throws message 35 for bytes that are no encoding of one.
   *
   * @param encoding  what encode() gave.
   * @return          the table.
   */
  static TableOfContents decode(const Octets &encoding) {
    if (encoding.size() > UINT32_MAX) {
      throw std::length_error("more bytes than an encoding has");
    }
    TableOfContents table;
    call([&] {
      properties_decode(TC_NEX_Sprig2_PropertiesList, encoding.data(),
                        static_cast<uint32_t>(encoding.size()), table.native());
    });
    return table;
  }

  /** @return the table, to be read. */
  operator ConstTableView() const noexcept { return ConstTableView(*native()); }
  /** @return the descriptions of the segments. */
  operator ConstPropertyListsView() const noexcept { return ConstPropertyListsView(*native()); }

  using Range::operator[];
  /**
   * @param index  of a segment, less than size().
   * @return       the segment, to be changed; it is valid until segments are added.
   */
  SegmentView operator[](std::size_t index) noexcept {
    return SegmentView(native()->buffer[index]);
  }
  /** @param segment  the segment to append. */
  void push_back(Segment segment) {
    call([&] { seq_add(native(), segment.native(), sizeof(::Properties)); });
    *segment.native() = {};
  }
};

} // namespace sprig

#endif
