#include "encoding/base64_x86.h"

#include "encoding/base64.h"

namespace sprig::base64 {

const BlockCoder blockCoders[] = {
    {"avx2", [] { return __builtin_cpu_supports("avx2") != 0; }, encodeAvx2, decodeAvx2},
    {"ssse3", [] { return __builtin_cpu_supports("ssse3") != 0; }, encodeSsse3, decodeSsse3},
    {"portable", [] { return true; }, encodePortable, decodePortable},
    {},
};

} // namespace sprig::base64
