// The layouts of property files, made here by hand.
#ifndef SPRIG_TESTS_PROPERTIES_LAYOUTS_H
#define SPRIG_TESTS_PROPERTIES_LAYOUTS_H

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include <sprig/properties.h>

#include "support/values.h"

namespace test {

struct Layout {
  const char *name;
  size_t words; // in front of the encoding; the last one is its length
  void (*save)(const Properties *list, const char *path);
  void (*load)(Properties *list, const char *path);
  void (*write)(const Properties *list, File *file); // null: there is no such function
  void (*read)(Properties *list, File *file);

  size_t headerSize() const { return words * sizeof(uint32_t); }
};

inline std::ostream &operator<<(std::ostream &out, const Layout &layout) {
  return out << layout.name;
}

inline const Layout withLength{
    "WithLength", 1, properties_save, properties_load, properties_write, properties_read};
inline const Layout improved{"Improved",
                             2,
                             properties_save_improved,
                             properties_load_improved,
                             properties_write_improved,
                             properties_read_improved};
inline const Layout bare{"Bare",
                         0,
                         properties_save_without_len,
                         properties_load_without_len,
                         nullptr,
                         properties_read_without_len};
inline const std::vector<Layout> layouts{withLength, improved, bare};
inline const std::vector<Layout> layoutsWithLength{withLength, improved};

// A word as it is in memory.
inline std::string wordOf(uint32_t number) {
  std::string word(sizeof number, '\0');
  std::memcpy(word.data(), &number, sizeof number);
  return word;
}

inline std::string headerOf(const Layout &layout, uint32_t length) {
  const std::string words = wordOf(1) + wordOf(length);
  return words.substr(words.size() - layout.headerSize());
}

inline std::string fileOf(const Layout &layout, const std::string &encoding) {
  return headerOf(layout, static_cast<uint32_t>(encoding.size())) + encoding;
}

inline std::string textOf(const Bytes &bytes) { return {bytes.begin(), bytes.end()}; }

inline std::string encodingOf(const Properties &list) {
  return textOf(encoded(TC_NEX_Sprig2_Properties, &list));
}

// An empty list, released with its owner.
struct List : Properties {
  List() : Properties{} {}
  explicit List(const Properties &taken) : Properties(taken) {}
  ~List() { properties_delete(this); }
  List(const List &) = delete;
  List &operator=(const List &) = delete;
};

// A list without an encoding: one of its values has a type and no content.
inline Properties listWithoutEncoding() {
  return listOf<Properties>({propertyOf("first", anyOf(TC_long, int32_t{7})),
                             propertyOf("none", any{TC_string, nullptr})});
}

inline long openDescriptors() {
  namespace fs = std::filesystem;
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{});
}

} // namespace test

#endif
