// Processors without block coders of their own.
#include "encoding/base64.h"

namespace sprig::base64 {

const BlockCoder blockCoders[] = {
    {"portable", [] { return true; }, encodePortable, decodePortable},
    {},
};

} // namespace sprig::base64
