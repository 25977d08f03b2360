#include "depot/toc.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "depot/entry.h"
#include "depot/loaded_entries.h"
#include "depot/operation.h"
#include "encoding/base64.h"

using namespace sprig;

namespace {

struct StringField {
  TocElement element;
  char *DepotEntry::*member;
};
constexpr std::array stringFields{StringField{tocId, &DepotEntry::id},
                                  StringField{tocVersion, &DepotEntry::version},
                                  StringField{tocLocation, &DepotEntry::location}};

struct NumberField {
  TocElement element;
  int32_t DepotEntry::*member;
};
constexpr std::array numberFields{NumberField{tocReferenceCount, &DepotEntry::reference_count},
                                  NumberField{tocState, &DepotEntry::state},
                                  NumberField{tocChecksum, &DepotEntry::checksum},
                                  NumberField{tocDeadline, &DepotEntry::deadline}};

constexpr size_t numberSize = 16; // with its NUL

bool hasStrings(const DepotEntry &entry) {
  return std::all_of(stringFields.begin(), stringFields.end(),
                     [&](const StringField &field) { return entry.*field.member != nullptr; });
}

// The contents of an entry's TOC file, as long as this and the entry live.
class WrittenContents {
public:
  explicit WrittenContents(const DepotEntry &entry) {
    for (const StringField &field : stringFields) {
      contents_[field.element] = entry.*field.member;
    }
    auto digits = digits_.begin();
    for (const NumberField &field : numberFields) {
      const auto [end, error] = std::to_chars(digits->begin(), digits->end(), entry.*field.member);
      contents_[field.element] = {digits->begin(), static_cast<size_t>(end - digits->begin())};
      ++digits;
    }
  }
  ~WrittenContents() { PalMemoryFree(encoded_); }
  WrittenContents(const WrittenContents &) = delete;
  WrittenContents &operator=(const WrittenContents &) = delete;

  // Adds the properties; false when there is no memory to encode them.
  bool encode(const unsigned char *properties, size_t length) {
    if (properties == nullptr || length == 0) {
      return true;
    }
    const uint64_t size = base64::encodedSize(length);
    if (size <= std::numeric_limits<size_t>::max()) {
      encoded_ = static_cast<char *>(PalMemoryMalloc(static_cast<size_t>(size)));
    }
    if (encoded_ == nullptr) {
      return false;
    }
    base64::encodeText(base64::widestBlockCoder(), properties, length, encoded_);
    contents_[tocProperties] = {encoded_, static_cast<size_t>(size)};
    return true;
  }

  const TocContents &get() const { return contents_; }

private:
  TocContents contents_;
  std::array<std::array<char, numberSize>, numberFields.size()> digits_;
  char *encoded_ = nullptr;
};

PalError writeText(TocText &text, const DepotEntry &entry) {
  WrittenContents contents(entry);
  if (!contents.encode(entry.properties, entry.properties_length)) {
    return outOfMemory(1);
  }
  const PalError written = text.write(contents.get());
  const bool fits = text.length() <= std::numeric_limits<uint32_t>::max();
  return written.palError == PAL_OK && !fits ? outOfMemory(1) : written;
}

// Replaces an owned string by a copy of a text; false when there is no memory.
bool readString(char *&string, std::string_view text) {
  if (string != nullptr && text == string) {
    return true;
  }
  auto *copy = static_cast<char *>(PalMemoryMalloc(text.size() + 1));
  if (copy == nullptr) {
    return false;
  }
  memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  PalMemoryFree(string);
  string = copy;
  return true;
}

// Reads a number; false, with nothing read, when the text is too long for one.
bool readNumber(int32_t &number, std::string_view text) {
  char digits[numberSize] = "";
  if (text.size() >= sizeof digits) {
    return false;
  }
  memcpy(digits, text.data(), text.size());
  constexpr long least = std::numeric_limits<int32_t>::min();
  constexpr long greatest = std::numeric_limits<int32_t>::max();
  number = static_cast<int32_t>(std::clamp(strtol(digits, nullptr, 10), least, greatest));
  return true;
}

// Replaces the properties by decoded ones, or by none; false when there is no memory.
bool readProperties(DepotEntry &entry, std::string_view text) {
  const uint64_t room = text.empty() ? 0 : base64::decodingRoom(text.size());
  if (room > std::numeric_limits<uint32_t>::max()) {
    return false;
  }
  auto *decoded = static_cast<unsigned char *>(PalMemoryMalloc(static_cast<size_t>(room)));
  if (decoded == nullptr && room > 0) {
    return false;
  }
  PalMemoryFree(entry.properties);
  entry.properties = decoded;
  entry.properties_length = static_cast<uint32_t>(
      base64::decodeText(base64::widestBlockCoder(), text.data(), text.size(), decoded));
  return true;
}

// Reads what is there; false when something is not, or could not be read.
bool readFields(DepotEntry &entry, const ReadContents &contents) {
  bool isComplete = true;
  for (const StringField &field : stringFields) {
    const auto &content = contents[field.element];
    isComplete &= content.has_value() && readString(entry.*field.member, *content);
  }
  for (const NumberField &field : numberFields) {
    const auto &content = contents[field.element];
    isComplete &= content.has_value() && readNumber(entry.*field.member, *content);
  }
  const auto &properties = contents[tocProperties];
  isComplete &= properties.has_value() && readProperties(entry, *properties);
  return isComplete;
}

} // namespace

bool sprig::describes(const ReadContents &contents, std::string_view id, std::string_view version) {
  return contents[tocId] == id && contents[tocVersion] == version;
}

void sprig::reloadFromToc(DepotEntry &entry, const ReadContents &contents) {
  static constexpr OperationName name("DepotEntryReloadFromToc_internal");
  const Operation operation(name, true);
  readFields(entry, contents);
}

// Numbers and properties have no brackets, whatever they are.
bool sprig::canBeWritten(const DepotEntry &entry) {
  return areFoundInPlace(WrittenContents(entry).get());
}

PalError DepotEntrySetProperties(Depot *depot, DepotEntry *entry, char **textOut,
                                 uint32_t *lengthOut) {
  static constexpr OperationName name("DepotEntrySetProperties");
  const Operation operation(name, depot != nullptr && entry != nullptr && hasStrings(*entry) &&
                                      textOut != nullptr && lengthOut != nullptr);
  if (!operation) {
    return operation.failure();
  }
  TocText text;
  const PalError written = writeText(text, *entry);
  if (written.palError == PAL_OK) {
    *lengthOut = static_cast<uint32_t>(text.length());
    *textOut = text.handOver();
  }
  return written;
}

DepotEntry *sprig::newEntryFromToc(Depot *depot, const ReadContents &contents) {
  static constexpr OperationName name("DepotEntryNewFromToc");
  const Operation operation(name, depot != nullptr);
  DepotEntry *entry = operation ? DepotEntryNew() : nullptr;
  if (entry == nullptr) {
    return nullptr;
  }
  if (!readFields(*entry, contents) || !addLoaded(*depot, *entry)) {
    releaseEntry(depot, entry);
    return nullptr;
  }
  return entry;
}

DepotEntry *DepotEntryNewFromToc(Depot *depot, const char *text) {
  if (text == nullptr) {
    return newEntryFromToc(nullptr, {}); // which refuses a null argument
  }
  char *searched = const_cast<char *>(text); // NOLINT: searches take what they could also write
  return newEntryFromToc(depot, readContents(searched));
}
