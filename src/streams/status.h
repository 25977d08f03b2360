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

// What is logged where a status file could not be written. The number of blanks in front of the
// distribution's id tells what was to be saved.
inline constexpr const char *closeNotSaved =
    "sprig: Couldn't write progress file for distribution              %s\n";
inline constexpr const char *pausedNotSaved = closeNotSaved;
inline constexpr const char *errorNotSaved =
    "sprig: Couldn't write progress file for distribution                  %s\n";
inline constexpr const char *valueNotSaved = errorNotSaved;
inline constexpr const char *progressNotSaved =
    "sprig: Couldn't write progress file for distribution                     %s\n";

// Put into the status file, where there is one; it is not written.
void putFlag(NetStream *stream, const char *key, bool value);
void putText(NetStream *stream, const char *key, const char *value);
void putLength(NetStream *stream, const char *key, const Int64Length *length);

// Writes the stream's status file. Where that fails, also by an exception, the distribution's id is
// logged.
void saveStatus(NetStream *stream, const char *failureFormat);

// A length of 0 in place of one that may be there.
void resetLength(Int64Length *&length);

} // namespace sprig

#endif
