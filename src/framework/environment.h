// What calls leave in their environment.
#ifndef SPRIG_FRAMEWORK_ENVIRONMENT_H
#define SPRIG_FRAMEWORK_ENVIRONMENT_H

#include <sprig/framework.h>

#include "framework/try_frame.h"

namespace sprig {

// Empties an environment. Returns whether an exception was in it, which is released by being
// caught.
inline bool forgetException(Environment &environment) {
  return environment.exception != nullptr &&
         !catchAll([&] { ev_to_exception(&environment); }, [](void *) {});
}

} // namespace sprig

#endif
