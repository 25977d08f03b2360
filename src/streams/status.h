// The status file of a mobile stream.
#ifndef SPRIG_STREAMS_STATUS_H
#define SPRIG_STREAMS_STATUS_H

#include <sprig/streams.h>

namespace sprig {

// Keys in the status file.
inline constexpr const char *statusIdKey = "msid";
inline constexpr const char *errorKey = "err";
inline constexpr const char *errorTextKey = "err_msg";
inline constexpr const char *closeKey = "close";
inline constexpr const char *pausedKey = "paused";
inline constexpr const char *totalKey = "t_len";
inline constexpr const char *receivedKey = "c_len";

// Blanks between text and id in the line that is logged where a status file could not be written:
// they tell what was to be saved.
enum UnsavedBlanks {
  closeBlanks = 14,
  pausedBlanks = closeBlanks,
  errorBlanks = 18,
  valueBlanks = errorBlanks,
  progressBlanks = 21
};

// Put into the status file, where there is one; it is not written.
void putFlag(NetStream *stream, const char *key, bool value);
void putText(NetStream *stream, const char *key, const char *value);
void putLength(NetStream *stream, const char *key, const Int64Length *length);

// Writes the stream's status file. Where that fails, also by an exception, it is logged.
void saveStatus(NetStream *stream, UnsavedBlanks blanks);

// A length of 0 in place of one that may be there.
void resetLength(Int64Length *&length);

} // namespace sprig

#endif
