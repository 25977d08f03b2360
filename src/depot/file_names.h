// The names of an entry's files: "BUCKET.INDEX.xml" for its TOC file and "BUCKET.INDEX.dat" for its
// data, BUCKET being eight digits. Readers are content with less: any name with a bucket in front
// and "xml" at the end is that of a TOC file.
#ifndef SPRIG_DEPOT_FILE_NAMES_H
#define SPRIG_DEPOT_FILE_NAMES_H

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include <sprig/pal.h>

namespace sprig {

inline constexpr size_t bucketNameLength = 8;

// Texts joined in memory of their own, released with PalMemoryFree(); null when memory runs out.
char *joined(std::initializer_list<std::string_view> texts);

// A bucket's name, as joined().
char *bucketName(uint32_t bucket);

constexpr bool isTocName(std::string_view name) {
  constexpr std::string_view ending = "xml";
  return name.size() > ending.size() && name.ends_with(ending);
}

// The index in the name of a TOC file of some bucket; 0 where there is none.
long indexInName(const char *name);

// The path of a file in a directory, and of an entry's file with an extension, both in the system's
// form. As joined().
char *pathOf(const char *directory, const char *name);
char *pathOf(const char *directory, const char *bucket, int32_t index, const char *extension);

} // namespace sprig

#endif
