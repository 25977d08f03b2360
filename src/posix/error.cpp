#include "posix/error.h"

static_assert(sizeof(PalError) == 3 * sizeof(int32_t));

void PalErrorCreate(PalError *record, int32_t palError, int32_t nativeError,
                    int32_t traceLocation) {
  if (record != nullptr) {
    *record = {palError, nativeError, traceLocation};
  }
}
