// The status file of a mobile stream.
#ifndef SPRIG_STREAMS_STATUS_H
#define SPRIG_STREAMS_STATUS_H

#include <sprig/streams.h>

namespace sprig {

// Blanks between text and id in the line that is logged where a status file could not be written:
// they tell what was to be saved.
enum UnsavedBlanks { errorBlanks = 18, progressBlanks = 21 };

// Writes the stream's status file. Where that fails, also by an exception, it is logged.
void saveStatus(NetStream *stream, UnsavedBlanks blanks);

} // namespace sprig

#endif
