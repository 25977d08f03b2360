// TOC files with any text: reading never fails in another way than by giving no record, and what
// was read can be written and read again.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <sprig/depot.h>
#include <sprig/encoding.h>
#include <sprig/runtime.h>

#include "depot/toc_text.h"

namespace {

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

// Every element is what a search for its tag finds.
void expectSearched(std::string text) {
  const char *const tags[] = {"id",       "version",  "reference_count", "state",
                              "checksum", "deadline", "location",        "properties"};
  const sprig::ReadContents contents = sprig::readContents(text.data());
  for (size_t i = 0; i < sprig::tocElementCount; ++i) {
    const TextRange found = getTagScope(tags[i], text.data(), nullptr, 0);
    expect(contents[i].has_value() == (found.first != nullptr));
    expect(!contents[i].has_value() ||
           (contents[i]->data() == found.first &&
            contents[i]->data() + contents[i]->size() == found.last + 1));
  }
}

// Properties come back filled up with zero bytes to whole groups of three.
bool isSame(const DepotEntry &a, const DepotEntry &b) {
  return strcmp(a.id, b.id) == 0 && strcmp(a.version, b.version) == 0 &&
         strcmp(a.location, b.location) == 0 && a.reference_count == b.reference_count &&
         a.state == b.state && a.checksum == b.checksum && a.deadline == b.deadline &&
         b.properties_length == (a.properties_length + 2) / 3 * 3 &&
         (a.properties_length == 0 ||
          PalMemoryCmp(a.properties, b.properties, a.properties_length) == 0);
}

// Writes a record that was read, and reads it again.
void expectWritable(Depot &depot, DepotEntry *entry) {
  char *text = nullptr;
  uint32_t length = 0;
  const bool isPlain = strpbrk(entry->id, "<>") == nullptr &&
                       strpbrk(entry->version, "<>") == nullptr &&
                       strpbrk(entry->location, "<>") == nullptr;
  const PalError written = DepotEntrySetProperties(&depot, entry, &text, &length);
  expect(written.palError == PAL_OK || !isPlain);
  if (written.palError == PAL_OK) {
    expect(text[length - 1] == '\0' && (!isPlain || strlen(text) + 1 == length));
    DepotEntry *again = DepotEntryNewFromToc(&depot, text);
    expect(!isPlain || (again != nullptr && isSame(*entry, *again)));
    PalMemoryFree(text);
  }
}

void releaseAll(Depot &depot) {
  for (int32_t i = 0; i < PalList1GetSize(&depot.entries); ++i) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the list carries pointers
    auto *entry = reinterpret_cast<DepotEntry *>(PalList1Access(&depot.entries, i));
    if (entry != nullptr) {
      for (void *owned : {static_cast<void *>(entry->id), static_cast<void *>(entry->version),
                          static_cast<void *>(entry->location),
                          static_cast<void *>(entry->properties), static_cast<void *>(entry)}) {
        PalMemoryFree(owned);
      }
    }
  }
  PalList1Destroy(&depot.entries);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  runtime_set_log_sink([](void *, int, const char *) {}, nullptr);
  const std::string bytes(reinterpret_cast<const char *>(data), size);
  const std::string text = bytes.substr(0, bytes.find('\0'));
  expectSearched(text);
  Depot depot{};
  expect(PalList1Create(&depot.entries, 4, 4) == 0);
  DepotEntry *entry = DepotEntryNewFromToc(&depot, text.c_str());
  if (entry != nullptr) {
    expectWritable(depot, entry);
  }
  releaseAll(depot);
  return 0;
}
