#include "streams/segment_index.h"

#include <cstdint>
#include <cstring>

#include <sprig/framework.h>
#include <sprig/pal.h>
#include <sprig/properties.h>
#include <sprig/records.h>

namespace {

constexpr uint32_t scannedAtMost = 32; // segments; an index pays for itself above

const Properties *scan(const PropertiesList &segments, const char *name) {
  for (uint32_t i = 0; i < segments.length; ++i) {
    const Properties *segment = &segments.buffer[i];
    const char *path = properties_get_string2(segment, SEGMENT_DATA_PATH_KEY, nullptr);
    if (path != nullptr && strcmp(path, name) == 0) {
      return segment;
    }
  }
  return nullptr;
}

// What a segment says its data's path is.
struct Name {
  const char *text; // null: none
  bool isText;      // false: it says something else
};

Name nameOf(const Properties &segment) {
  const int32_t index = properties_get_property_index(&segment, SEGMENT_DATA_PATH_KEY);
  if (index == -1) {
    return {nullptr, true};
  }
  const any &value = segment.buffer[index].value;
  const bool isText = TypeCode_equal(value.type, TC_string) != 0;
  return {isText ? *static_cast<char **>(value.value) : nullptr, isText};
}

// FNV-1a.
uint64_t hashOf(const char *text) {
  uint64_t hash = 0xcbf29ce484222325U;
  for (; *text != '\0'; ++text) {
    hash = (hash ^ static_cast<unsigned char>(*text)) * 0x100000001b3U;
  }
  return hash;
}

// A hash table of the first segment of each name, up to one whose name cannot be read.
class Index {
public:
  Index() = default;
  Index(const Index &) = delete;
  Index &operator=(const Index &) = delete;
  ~Index() { clear(); }

  bool isOf(const PropertiesList *segments) const {
    return list_ == segments && buffer_ == segments->buffer && length_ == segments->length;
  }

  void clear() {
    PalMemoryFree(slots_);
    slots_ = nullptr;
    list_ = nullptr;
  }

  // False where there is no memory for it.
  bool build(const PropertiesList *segments) {
    clear();
    size_t size = 1;
    while (size < size_t{2} * segments->length) {
      size *= 2;
    }
    slots_ = static_cast<uint32_t *>(PalMemoryCalloc(size, sizeof(uint32_t)));
    if (slots_ == nullptr) {
      return false;
    }
    mask_ = size - 1;
    list_ = segments;
    buffer_ = segments->buffer;
    length_ = segments->length;
    for (uint32_t i = 0; i < length_ && nameOf(buffer_[i]).isText; ++i) {
      add(i);
    }
    return true;
  }

  const Properties *find(const char *name) const {
    const uint32_t slot = slots_[slotOf(name)];
    return slot == 0 ? nullptr : &buffer_[slot - 1];
  }

private:
  // The slot of the segment with a name, or the empty one where it would be.
  size_t slotOf(const char *name) const {
    size_t slot = hashOf(name) & mask_;
    while (slots_[slot] != 0) {
      const char *other = nameOf(buffer_[slots_[slot] - 1]).text;
      if (other != nullptr && strcmp(other, name) == 0) {
        break;
      }
      slot = (slot + 1) & mask_;
    }
    return slot;
  }

  void add(uint32_t i) {
    if (const char *name = nameOf(buffer_[i]).text) {
      uint32_t &slot = slots_[slotOf(name)];
      slot = slot == 0 ? i + 1 : slot;
    }
  }

  const PropertiesList *list_ = nullptr;
  const Properties *buffer_ = nullptr;
  uint32_t length_ = 0;
  uint32_t *slots_ = nullptr; // index of a segment and 1; 0: empty
  size_t mask_ = 0;
};

// Streams that are read in turn keep theirs.
constexpr size_t indexCount = 4;
thread_local Index indexes[indexCount];
thread_local size_t oldestIndex = 0;

// Null where there is no memory for one.
const Index *indexOf(const PropertiesList *segments) {
  for (const Index &index : indexes) {
    if (index.isOf(segments)) {
      return &index;
    }
  }
  Index &replaced = indexes[oldestIndex];
  oldestIndex = (oldestIndex + 1) % indexCount;
  return replaced.build(segments) ? &replaced : nullptr;
}

} // namespace

const Properties *sprig::findSegment(const PropertiesList *segments, const char *name) {
  if (segments == nullptr) {
    return nullptr;
  }
  const Index *index = segments->length > scannedAtMost ? indexOf(segments) : nullptr;
  const Properties *found = index == nullptr ? nullptr : index->find(name);
  return found != nullptr ? found : scan(*segments, name);
}

void sprig::forgetSegments(const PropertiesList *segments) {
  for (Index &index : indexes) {
    if (segments == nullptr || index.isOf(segments)) {
      index.clear();
    }
  }
}
