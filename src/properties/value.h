// Values of properties, each in a block of its own.
#ifndef SPRIG_PROPERTIES_VALUE_H
#define SPRIG_PROPERTIES_VALUE_H

#include <sprig/framework.h>

namespace sprig {

// Copies a value with everything that it owns into zeroed storage.
inline void copyValue(TypeCode type, const void *source, void *target) {
  Environment environment{};
  _t_generic_copy(type, &environment, source, target);
  if (environment.exception != nullptr) {
    ev_to_exception(&environment);
  }
}

} // namespace sprig

#endif
