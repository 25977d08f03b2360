/**
 * @file
 * @brief Controls of the embedded runtime, `libsprig-runtime`. Not part of the library.
 *
 * What it reads from the environment:
 *
 * - `KRT_CHANNEL`, the endpoint's channel, at its first use: an address as for
 *   runtime_channel_connect(), or "stdio:" for standard input and output. `KRT_SESSION` is the
 *   session, a number (0 by default).
 * - `KRT_CONFIG`, the path of the configuration file; without it, `krt.cfg` in `KRT_DATDIR`.
 * - `KRT_WORKDIR`, the work directory; `TMPDIR`, the directory for temporary files (/tmp).
 * - `KRT_MALLOC`: "system" lets mg_malloc() and its companions keep no released blocks at hand.
 * - `NLSPATH` and `LANG`, the message catalogs, as catopen() reads them; in a program that has
 * chosen a locale with setlocale(), that one's language.
 *
 * The log is set up by the environment, too: `KRT_LOG` is where it goes ("stderr", the default;
 * "syslog"; or the path of a file, which is appended to), `KRT_LOG_LEVEL` the highest level that is
 * written (1 by default; lines of LogQ() count as -1).
 */
#ifndef SPRIG_RUNTIME_H
#define SPRIG_RUNTIME_H

#include <stdint.h>

#include <sprig/api.h>

SPRIG_BEGIN_DECLS

/**
 * Receives every line of every level, complete and unfiltered.
 *
 * @param context  as given to runtime_set_log_sink().
 * @param level    the level of LogMsg(), or -1 for a line of LogQ().
 * @param text     the formatted text, as long as the call lasts.
 */
typedef void (*RuntimeLogSink)(void *context, int level, const char *text);

/**
 * Sends the log to a function instead of where the environment says.
 *
 * The sink is called by the thread that logs; several may do so at once, and one may still be
 * inside the old sink when this returns to another.
 *
 * @param sink     the function, or null to go back to what the environment says, which is read
 *                 again at the next line.
 * @param context  handed to every call of the sink.
 */
SPRIG_RUNTIME_API void runtime_set_log_sink(RuntimeLogSink sink, void *context);

/**
 * @name Both sides of a channel
 *
 * `docs/formats/channel.md` describes the messages. Nothing here raises SIGPIPE, and interrupted
 * calls are continued.
 * @{
 */

/**
 * Makes a connected stream the endpoint's channel, instead of what `KRT_CHANNEL` says.
 *
 * @param read_fd     descriptor to read from, a socket or a pipe; it stays the caller's, open for
 * as long as it is the channel.
 * @param write_fd    descriptor to write to; the same one for a socket. -1 for both: no channel,
 * and `KRT_CHANNEL` is read again at the next use.
 * @param session_id  the session.
 */
SPRIG_RUNTIME_API void runtime_set_channel(int read_fd, int write_fd, int32_t session_id);

/** Types of messages. */
enum RuntimeMessageType {
  RUNTIME_MESSAGE_TOC = 10,    /**< The table of contents, from the endpoint. */
  RUNTIME_MESSAGE_DATA = 11,   /**< Data; to an endpoint, behind a command byte. */
  RUNTIME_MESSAGE_STATUS = 20, /**< A method's status, which opens a transfer from the endpoint. */
  RUNTIME_MESSAGE_REPLY = 21,  /**< The answer to a status or to data. */
  RUNTIME_MESSAGE_END = 23,    /**< The end of a transfer; empty. */
};

/** A message, as the other side of a channel sees it. */
typedef struct RuntimeMessage {
  int32_t type;       /**< One of #RuntimeMessageType. */
  int32_t session_id; /**< The session. */
  uint32_t length;    /**< Number of bytes of @c data. */
  uint8_t *data;      /**< Content, or null. One received is released with mg_free(). */
} RuntimeMessage;

/**
 * Listens for connections.
 *
 * @param address  "unix:PATH" (a socket for its owner, in place of one that nobody listens at any
 *                 more) or "tcp:HOST:PORT" (port 0: any that is free; "tcp:[::1]:0" for an IPv6
 *                 address).
 * @return         a descriptor, which is the caller's, or -1 with errno set.
 */
SPRIG_RUNTIME_API int runtime_channel_listen(const char *address);

/**
 * Waits for a connection. At a Unix socket, others than the owner of this process and root are
 * turned away without a word.
 *
 * @param listener  from runtime_channel_listen().
 * @return          a descriptor, which is the caller's, or -1 with errno set.
 */
SPRIG_RUNTIME_API int runtime_channel_accept(int listener);

/**
 * Connects to the other side.
 *
 * @param address  "unix:PATH", whose listener must be the owner of this process or root (EPERM);
 *                 "tcp:HOST:PORT"; or "fd:N", an inherited descriptor.
 * @return         a descriptor, which is the caller's, or -1 with errno set.
 */
SPRIG_RUNTIME_API int runtime_channel_connect(const char *address);

/**
 * Sends a message.
 *
 * @param fd       descriptor of a channel.
 * @param message  the message.
 * @return         0, or -1 with errno set (EMSGSIZE: longer than a message may be).
 */
SPRIG_RUNTIME_API int runtime_channel_send(int fd, const RuntimeMessage *message);

/**
 * Waits for a message.
 *
 * @param fd          descriptor of a channel.
 * @param message     receives the message.
 * @param timeout_ms  how long to wait for the whole message, in milliseconds; negative: for ever.
 * @return            0; 1 when the peer has closed the channel behind its last message; -1 with
 *                    errno set: ETIMEDOUT, ECONNRESET (closed in the middle of a message), EPROTO
 *                    (no message of this format), EMSGSIZE (longer than a message may be), EBADMSG
 *                    (wrong checksum), or what a system call said. The channel cannot be used any
 *                    more after a failure other than ETIMEDOUT before the message began.
 */
SPRIG_RUNTIME_API int runtime_channel_receive(int fd, RuntimeMessage *message, int timeout_ms);

/** @} */

/** Why encoding or decoding failed: the @c error of an #AdrBuffer. */
enum RuntimeAdrError {
  RUNTIME_ADR_OK = 0,            /**< It did not fail. */
  RUNTIME_ADR_TRUNCATED = 1,     /**< The bytes end in the middle of a value. */
  RUNTIME_ADR_COUNT = 2,         /**< More elements than the bytes that are left can hold. */
  RUNTIME_ADR_PADDING = 3,       /**< Padding is not zero. */
  RUNTIME_ADR_RANGE = 4,         /**< A number does not fit its type. */
  RUNTIME_ADR_TEXT = 5,          /**< There is a NUL inside of text. */
  RUNTIME_ADR_TYPE = 6,          /**< An unknown type. */
  RUNTIME_ADR_TYPE_NAME = 7,     /**< A type that no registered repository has. */
  RUNTIME_ADR_DEPTH = 8,         /**< Lists are nested too deep. */
  RUNTIME_ADR_NO_VALUE = 9,      /**< A type without a value. */
  RUNTIME_ADR_TOO_LARGE = 10,    /**< The encoding is longer than a buffer can be. */
  RUNTIME_ADR_EMPTY_ELEMENT = 11 /**< A sequence of elements that have no encoding. */
};

/**
 * @param code  the @c error of an #AdrBuffer.
 * @return      what it means: a constant; a text of its own for codes that there are not.
 */
SPRIG_RUNTIME_API const char *runtime_adr_error_text(int32_t code);

SPRIG_END_DECLS

#endif
