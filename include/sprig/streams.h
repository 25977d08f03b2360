/**
 * @file
 * @brief Streams: receiving a distribution's data, and the progress of mobile endpoints.
 *
 * A stream belongs to one method and one thread. Failures are thrown; what was made until then is
 * released. `docs/formats/stream-key.md` describes the bytes of a stream key,
 * `docs/guide/mobile-progress.md` shows how progress is followed.
 */
#ifndef SPRIG_STREAMS_H
#define SPRIG_STREAMS_H

#include <stdint.h>

#include <sprig/api.h>
#include <sprig/depot.h>
#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/records.h>
#include <sprig/types.h>

SPRIG_BEGIN_DECLS

/** Files that are read one after the other. */
typedef struct FileList {
  char *cursor;  /**< The names that are left, separated by commas; null at the end. */
  char *list;    /**< All names, owned; cut into texts of their own as they are taken. */
  File *current; /**< The file that is being read, owned, or null. */
} FileList;

/** Depot entries that a stream has registered for. */
typedef struct DepotEntryList {
  uint32_t maximum;    /**< As in #Sequence. */
  uint32_t length;     /**< As in #Sequence. */
  DepotEntry **buffer; /**< As in #Sequence; the entries are the depot's. */
} DepotEntryList;

/** A stream. */
typedef struct NetStream {
  int32_t type;                 /**< First byte of its key: 4 for a stream over named files. */
  int32_t mobile;               /**< 1 for a mobile endpoint's, which has a status file. */
  void *source;                 /**< Where data come from; a #FileList for types 4 to 10. */
  int32_t timeout;              /**< 180, in seconds. */
  int32_t counter;              /**< 0. */
  int32_t read_size;            /**< Largest piece that is read at once, in bytes. */
  int32_t fill_level;           /**< Bytes in @c buffer. */
  int32_t unsaved;              /**< Bytes received since progress was saved. */
  unsigned char *buffer;        /**< Data to be sent, owned, or null. */
  uint8_t started;              /**< Whether anything was read. */
  PropertiesList *segments;     /**< Descriptions of the segments, owned, or null. */
  Mstat *status;                /**< Status file of a mobile stream, owned, or null. */
  Int64Length *total_length;    /**< Length of the distribution, owned, or null. */
  Int64Length *received_length; /**< Length of what has arrived and is saved, owned, or null. */
  char *distribution_id;        /**< Of a stream over named files, the first name; not owned. */
  File *output;                 /**< Where data are written to, owned, or null. */
  char *key_rest;               /**< Rest of a mobile stream's key, owned, or null. */
  Depot *depot;                 /**< The endpoint's depot, owned, or null. */
  DepotEntryList depot_entries; /**< Entries that the stream keeps in use. */
} NetStream;

/**
 * @name Stream keys
 * @{
 */

/**
 * Makes the key of a stream over named files.
 *
 * @param mobile  whether the stream is for a mobile endpoint.
 * @param count   number of texts that follow (`const char *`): the distribution's id, and the path
 *                names of its files in the order in which they are read.
 * @return        the key, for stream_key_delete(). Without texts it is not mobile.
 */
SPRIG_API StreamKey *file_stream_key_new(int mobile, int count, ...);
/**
 * Releases a key.
 *
 * @param key  the key; null is ignored.
 */
SPRIG_API void stream_key_delete(StreamKey *key);
/**
 * @param key  a key.
 * @return     its texts, separated by commas, in place.
 */
SPRIG_API char *stream_key_get_data(StreamKey *key);

/** @} */

/**
 * @name Streams over files
 * @{
 */

/**
 * Takes the next name of a list.
 *
 * @param files  the list.
 * @return       the name, which belongs to the list; null when there is none left.
 */
SPRIG_API char *get_next_file(FileList *files);
/**
 * Opens a stream over named files.
 *
 * @param text  the distribution's id and its files, separated by commas; copied.
 * @return      the stream.
 */
SPRIG_API NetStream *file_stream_open(const char *text);
/**
 * Reads the next piece of the stream's files. Each file is read from the offset in the description
 * of its segment, the first whose "data_path" is the file's name; one that has arrived completely
 * is passed over unopened. A name without a segment ends the stream.
 *
 * Throws what file_open(), file_seek() and file_read() do, and message 37 where a segment's
 * "data_path", "size" or "offset" has another type.
 *
 * The descriptions may change between calls, but not which segment a name is found in.
 *
 * @param stream      the stream.
 * @param out_buffer  receives a block of the stream's @c read_size with the bytes, zeros behind
 *                    them, for mg_free(); null at an end.
 * @return            the number of bytes; 0 at the end of each file, and of the stream.
 */
SPRIG_API int32_t file_stream_read(NetStream *stream, unsigned char **out_buffer);
/**
 * Asks the channel, without waiting, whether the sender has cancelled or paused the distribution,
 * and logs it.
 *
 * @param message_holder  receives the message for mg_free(), whatever it is; null when there is
 * none.
 * @return                0, -2 when cancelled, -3 when paused.
 */
SPRIG_API int is_stream_stopped(unsigned char **message_holder);

/** @} */

/**
 * @name Progress of mobile endpoints
 *
 * A mobile endpoint's user follows a distribution in its status file: "t_len" and "c_len" are its
 * length and what has arrived, as int64_length_to_string() shows them; "err", "close" and "paused"
 * say what became of it. A status file that cannot be written is logged (LogQ()), and progress goes
 * on.
 * @{
 */

/**
 * @param key  a key.
 * @return     1 when it asks for a stream for a mobile endpoint, which only types 2 and 4 to 11
 *             can be; else 0.
 */
SPRIG_API int is_mobile_ep(const StreamKey *key);
/**
 * Makes the stream's status file, in memory only: "msid" is the distribution's id, "err", "close"
 * and "paused" are false.
 *
 * @param stream           the stream.
 * @param distribution_id  the distribution's id.
 */
SPRIG_API void mobile_ep_create_progress(NetStream *stream, const char *distribution_id);
/**
 * Adds up the stream's segments, which must have "size" and "offset": "t_len" is their size, and
 * what they have already counts as received. Does not write the file.
 *
 * @param stream  the stream.
 */
SPRIG_API void mobile_ep_init_progress(NetStream *stream);
/**
 * Counts what has arrived. The file is written when more than 10240 bytes are unsaved, and when
 * everything has arrived.
 *
 * @param stream  the stream.
 * @param code    1 more than the number of bytes; negative for a failure, which is written as
 *                "err"; 0 does nothing.
 */
SPRIG_API void mobile_ep_update_progress(NetStream *stream, int32_t code);

/** @} */

SPRIG_END_DECLS

#endif
