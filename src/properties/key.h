// Keys, compared byte by byte. One that is null, which only a list made by hand can have, is empty.
#ifndef SPRIG_PROPERTIES_KEY_H
#define SPRIG_PROPERTIES_KEY_H

#include <cstring>

#include <sprig/types.h>

namespace sprig {

inline const char *keyOf(const Property &property) {
  return property.key == nullptr ? "" : property.key;
}

inline bool hasKey(const Property &property, const char *key) {
  return strcmp(keyOf(property), key) == 0;
}

} // namespace sprig

#endif
