// What the first byte of a message to an endpoint says.
#ifndef SPRIG_STREAMS_COMMAND_H
#define SPRIG_STREAMS_COMMAND_H

namespace sprig {

enum Command : unsigned char { data = 1, cancel = 2, pause = 3 };

} // namespace sprig

#endif
