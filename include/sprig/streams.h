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
  char *distribution_id; /**< Text of the key before the first comma; owned but for type 4, where it
                            is in the list. */
  File *output;          /**< Where data are written to, owned, or null. */
  char *key_rest;        /**< Text of the key behind the first comma, owned, or null. */
  Depot *depot;          /**< The endpoint's depot, owned, or null. */
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
 * @name Opening and closing
 * @{
 */

/**
 * Opens a stream. Of a mobile endpoint's stream the status file is made, in memory only.
 *
 * @param key     the key. That of a mobile stream of types 2 and 6 to 10 is cut at the first comma
 *                of its texts.
 * @param handle  where the data of types 2 and 6 to 10 come from: a #FileList for types 6 to 10,
 *                which the stream then owns; null until net_stream_save_modified_toc() finds files.
 * @return        the stream; null for a null key and for types that cannot be opened (0, 1, 5, 11
 *                and more). One of type 3 can be opened, but neither read nor closed.
 */
SPRIG_API NetStream *net_stream_open(StreamKey *key, void *handle);
/**
 * Closes a stream and releases it. A mobile stream's status file gets "close" and keeps its name. A
 * stream over the endpoint's depot gives up its registrations: an entry whose last one it was goes
 * with its files.
 *
 * Throws message 30 (type) for a type that cannot be closed; the stream stays.
 *
 * @param stream  the stream; null is ignored.
 */
SPRIG_API void net_stream_close(NetStream *stream);

/** @} */

/**
 * @name Receiving
 * @{
 */

/**
 * Gives a stream the distribution's table of contents, and looks for data that are on the machine
 * already: in the endpoint's depot (type 2), in files that the segments name (types 5 to 10), in
 * the directories of the file "remote.dir" (7, 8), on the CD drive (6, 8), in the directory that
 * the key names (9). When all are found, the stream reads those files: one of type 2 becomes
 * type 10. A file with a comma in its path cannot be read so: it counts as not found, and is
 * logged.
 *
 * Throws message 31 when @p list is null, 170 (path) when there is no "remote.dir", 182 (id,
 * version) when a segment is found nowhere; for type 2 nothing that is missing is a failure, but
 * logged.
 *
 * @param stream  the stream, from which nothing was read yet.
 * @param list    descriptions of the segments; copied.
 */
SPRIG_API void net_stream_save_modified_toc(NetStream *stream, const PropertiesList *list);
/**
 * Looks for local data as net_stream_save_modified_toc() does, for types 6 to 9 and 11, and puts
 * "data_path", "dat_file" and "size" into the descriptions. Throws message 170 and 182 as there.
 *
 * @param stream  the stream, which stays as it is.
 * @param list    descriptions of the segments.
 */
SPRIG_API void net_stream_get_size(NetStream *stream, PropertiesList *list);
/**
 * Reads the next piece. The first read of a network stream sends the table of contents; that of a
 * mobile stream begins its progress.
 *
 * @param stream      the stream.
 * @param out_buffer  receives the bytes, for net_stream_free_buffer(); a command's message stays
 *                    there, too. Null at an end.
 * @return            the number of bytes; 0 at the end of the data, and of each file of a stream
 *                    over files; -2 when the sender cancelled, -3 when it paused, -n for another
 *                    command n.
 */
SPRIG_API int32_t net_stream_read(NetStream *stream, unsigned char **out_buffer);
/**
 * Releases what net_stream_read() gave.
 *
 * @param stream  the stream it was read from.
 * @param buffer  the bytes; null is ignored. A network stream's data lie one byte into their block:
 *                this is not for the message of a command, which mg_free() releases.
 */
SPRIG_API void net_stream_free_buffer(NetStream *stream, unsigned char *buffer);
/**
 * Releases an encoded table of contents.
 *
 * @param octets  the octets, in a block of their own; null is ignored.
 */
SPRIG_API void free_toc_octets(OctetList *octets);

/**
 * Looks for segments in a directory: its files "*.toc" (without a length) and then "*.itc" (in the
 * improved layout) each describe the segment "segment"; the data are in the file of the directory
 * that the last component of its "location" names. A file that cannot be loaded or that describes
 * no segment is logged and passed over.
 *
 * @param search       the segments; each that is found gets "data_path", "dat_file" and "size".
 * @param directory    the directory; where there is none, nothing is found.
 * @param found_paths  receives copies of the paths of the files with the data; may be null.
 * @return             0.
 */
SPRIG_API int net_stream_search_endpoint_depot(Toc *search, const char *directory,
                                               StringList *found_paths);
/**
 * net_stream_search_endpoint_depot() in "/cdrom".
 *
 * @param search       as there.
 * @param found_paths  as there.
 * @return             0.
 */
SPRIG_API int net_stream_search_cd_drives(Toc *search, StringList *found_paths);

/** @} */

/**
 * @name Sending back
 *
 * Data gather in the stream's buffer and go out in full buffers: to the sender over the endpoint's
 * channel, which answers each, or of a stream of type 4 into the file `sprig/ID` in the work
 * directory. A start or buffer that the receiver refuses ends the transfer.
 * @{
 */

/**
 * Begins. The receiver may choose the size of the buffers.
 *
 * @param stream  the stream.
 * @return        0, the receiver's negative status, or -1 when the file of a stream of type 4
 * cannot be made.
 */
SPRIG_API int32_t net_stream_write_begin(NetStream *stream);
/**
 * Writes.
 *
 * @param stream  the stream.
 * @param data    the bytes.
 * @param length  their number.
 * @return        @p length, or the receiver's negative status.
 */
SPRIG_API int32_t net_stream_write(NetStream *stream, const void *data, int32_t length);
/**
 * Sends what is left, and ends.
 *
 * @param stream  the stream.
 * @return        0, or the receiver's negative status.
 */
SPRIG_API int32_t net_stream_write_end(NetStream *stream);
/**
 * Sends a file, from beginning to end of a transfer.
 *
 * @param stream  the stream.
 * @param path    the file's path name; fails as file_open(), file_seek() and file_read() do.
 * @param offset  where to begin, in bytes.
 * @return        0, or the first negative status.
 */
SPRIG_API int32_t net_stream_send_file(NetStream *stream, const char *path, int32_t offset);

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

/**
 * Puts text into a mobile stream's status file, and logs it. Nothing happens for other streams,
 * null streams and null values.
 *
 * @param stream    the stream.
 * @param key_name  the key.
 * @param value     the text.
 */
SPRIG_API void net_stream_update_mstat(NetStream *stream, const char *key_name, const char *value);
/**
 * Puts a failure into a mobile stream's status file: "err" and "err_msg". Nothing happens for other
 * streams, null streams and null texts.
 *
 * @param stream      the stream.
 * @param error_text  what failed.
 */
SPRIG_API void net_stream_set_status(NetStream *stream, const char *error_text);

/** @} */

SPRIG_END_DECLS

#endif
