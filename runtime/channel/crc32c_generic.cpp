// Processors without an instruction for it.
#include "channel/crc32c.h"

namespace sprig::runtime {

const Crc32cCoder crc32cCoders[] = {
    {"portable", [] { return true; }, crc32cPortable},
    {},
};

} // namespace sprig::runtime
