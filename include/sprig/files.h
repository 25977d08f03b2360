/**
 * @file
 * @brief Directories, path names and files, with failures thrown as exceptions.
 *
 * Thin helpers over the POSIX library. A helper that returns has succeeded; one that fails throws
 * a message of the library's catalog, with the path and the system's error number where they help
 * (vaThrow()). The message numbers stand with each function. errno is left as the system set it.
 *
 * A path name has at most 1023 bytes: the helpers that open, create or clone refuse longer ones
 * with the same message as any other path that they cannot use, and the ones that build path names
 * refuse to make them longer. Nothing is ever cut: a cut path names another file.
 *
 * Records and path names belong to the caller, who releases each with the matching delete
 * function; their memory is the framework's (mg_calloc()). Nothing here is shared between threads.
 */
#ifndef SPRIG_FILES_H
#define SPRIG_FILES_H

#include <dirent.h>
#include <stdint.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <sprig/api.h>

#ifdef __cplusplus
static_assert(sizeof(off_t) == 8, "files need 64-bit offsets: define _FILE_OFFSET_BITS=64");
#else
_Static_assert(sizeof(off_t) == 8, "files need 64-bit offsets: define _FILE_OFFSET_BITS=64");
#endif

SPRIG_BEGIN_DECLS

/** A directory. Created by dir_new(), released by dir_delete(). */
typedef struct Dir {
  char *path; /**< Its path name, owned. */
} Dir;

/** A walk over a directory. Created by dir_entry_enum_new(), ended by dir_entry_enum_delete(). */
typedef struct DirEntryEnum {
  DIR *stream;   /**< The open directory. */
  char *pattern; /**< What match() has to say 0 to, owned; null matches nothing. */
  char *name;    /**< The current entry's name, in a buffer of pathname_max_component_length(). */
  int32_t flag;  /**< 1. */
} DirEntryEnum;

/** A file. Created by file_open() or file_create(), released by file_delete(). */
typedef struct File {
  char *path;         /**< Its path name, owned. */
  int32_t descriptor; /**< The open descriptor, or -1. */
} File;

/**
 * @name Patterns
 * @{
 */

/**
 * Compares text with a wildcard pattern, byte by byte.
 *
 * - `?` stands for any byte, `*` for any bytes; but `*` before more of the pattern needs a byte of
 *   text to begin at, so that `**` does not match the empty text.
 * - `[abc]`, `[a-z]` stand for one byte of a set, `[^abc]` for one that is not in it. The first `]`
 *   closes a set, even an empty one; `\]` is a member. The byte behind `-` ends a range whatever it
 *   is, so that `[a-]` is not closed.
 * - Once a set has matched, later sets up to the next `*` count as matched whatever the text holds,
 *   and a negated one as not matched.
 * - A backslash outside of sets takes the next byte as it is; as the last byte it stands for
 * itself, and so does one that is the first byte of a character of several (ulk_mbsbtype()).
 *
 * Time grows at most with the product of both lengths, whatever the pattern; only backslashes add
 * what ulk_mbsbtype() takes for them.
 *
 * @param pattern  the pattern.
 * @param text     the text.
 * @return         0 when it matches, 1 when not, -1 when either is null, -2 when the pattern has a
 *                 set that is not closed, before any `*`, where the text reaches or ends at it.
 */
SPRIG_API int match(const char *pattern, const char *text);

/** @} */

/**
 * @name Directories
 * @{
 */

/**
 * @param path  its path name; fails as pathname_clone() does.
 * @return      a directory's record. The directory need not exist.
 */
SPRIG_API Dir *dir_new(const char *path);
/**
 * Releases a record.
 *
 * @param dir  the record; null is ignored.
 */
SPRIG_API void dir_delete(Dir *dir);
/**
 * @param dir  a record.
 * @return     its own path name, not a copy.
 */
SPRIG_API char *dir_get_pathname(Dir *dir);

/**
 * Begins a walk over the entries whose names match a pattern, in the order in which the system
 * gives them. Names that begin with a dot are entries like others; `.` and `..` are none.
 *
 * @param dir      the directory.
 * @param pattern  for match(); copied. Null matches nothing.
 * @return         the walk, or null when the directory cannot be opened.
 */
SPRIG_API DirEntryEnum *dir_entry_enum_new(Dir *dir, const char *pattern);
/**
 * dir_entry_enum_new() by another name.
 *
 * @param dir      as there.
 * @param pattern  as there.
 * @return         as there.
 */
SPRIG_API DirEntryEnum *dir_entries(Dir *dir, const char *pattern);
/**
 * Goes on to the next matching entry.
 *
 * @param entries  the walk, or null for an empty one.
 * @return         1 when there is one, else 0.
 */
SPRIG_API int dir_entry_enum_has_more_elements(DirEntryEnum *entries);
/**
 * @param entries  a walk.
 * @return         the name that dir_entry_enum_has_more_elements() found. It belongs to the walk
 *                 and is overwritten by the next one.
 */
SPRIG_API char *dir_entry_enum_next_element(DirEntryEnum *entries);
/**
 * Ends a walk.
 *
 * @param entries  the walk; null is ignored.
 */
SPRIG_API void dir_entry_enum_delete(DirEntryEnum *entries);

/**
 * Makes a directory for its owner only (mode 0700). Its parent must exist.
 *
 * Throws message 9 when @p path is null, 10 (path) when it cannot be made, as when it exists.
 *
 * @param path  its path name.
 * @return      0.
 */
SPRIG_API int dir_create_directory(const char *path);
/**
 * @param path  a path name, slashes at its end or not; null throws message 32.
 * @return      1 when it leads to a directory, also through links; else 0.
 */
SPRIG_API int dir_is_directory(const char *path);

/** @} */

/**
 * @name Path names
 * @{
 */

/** @return 1024, the size of a path name's buffer in bytes, with the NUL. */
SPRIG_API int pathname_max_length(void);
/** @return 1024, the size of the buffer for an entry's name in bytes, with the NUL. */
SPRIG_API int pathname_max_component_length(void);
/** @return an empty path name, with room for pathname_max_length(). */
SPRIG_API char *pathname_new(void);
/**
 * Throws message 32 when @p path is null or too long.
 *
 * @param path  a path name.
 * @return      a copy, with room for pathname_max_length().
 */
SPRIG_API char *pathname_clone(const char *path);
/**
 * Releases a path name.
 *
 * @param path  the path name; null is ignored.
 */
SPRIG_API void pathname_delete(char *path);
/**
 * Appends a slash, unless there is one at the end, and a name. An empty path name gets the slash
 * too.
 *
 * Throws message 33 when @p name is null or does not fit; the slash is there by then, where it
 * fits.
 *
 * @param path  a path name with room for pathname_max_length().
 * @param name  what to append.
 * @return      @p path.
 */
SPRIG_API char *pathname_append(char *path, const char *name);
/**
 * pathname_append() to a copy. Fails as pathname_clone() and pathname_append() do.
 *
 * @param path  a path name.
 * @param name  what to append to its copy.
 * @return      the copy.
 */
SPRIG_API char *pathname_clone_and_append(const char *path, const char *name);
/**
 * @param path  a path name.
 * @return      its last component, in place: what follows the last slash, or else the last
 *              backslash; empty when the path name ends there.
 */
SPRIG_API char *pathname_get_name(char *path);
/**
 * Appends a slash, unless there is one at the end or it does not fit.
 *
 * @param path  a path name with room for pathname_max_length(); null is ignored.
 */
SPRIG_API void pathname_append_separator(char *path);
/**
 * Takes slashes off the end; what is nothing else keeps the first.
 *
 * @param path  a path name; null is ignored.
 */
SPRIG_API void pathname_remove_separator(char *path);
/**
 * Joins three pieces of text. The result has the room that it needs, and no more.
 *
 * @param a  the first piece.
 * @param b  the second.
 * @param c  the third.
 * @return   a block for mg_free(), or null when any of them is null.
 */
SPRIG_API char *pathname_build_filename(const char *a, const char *b, const char *c);

/** @} */

/**
 * @name Files
 * @{
 */

/**
 * Opens a file. Throws message 11 (path) when that fails.
 *
 * @param path   its path name.
 * @param flags  for open(2), as they are.
 * @return       the open file.
 */
SPRIG_API File *file_open(const char *path, int flags);
/**
 * Opens a file, and creates it where there is none. Throws message 12 (path, errno) when that
 * fails.
 *
 * @param path   its path name.
 * @param flags  for open(2), O_CREAT added.
 * @param mode   permissions of a new file, less the process's mask.
 * @return       the open file.
 */
SPRIG_API File *file_create(const char *path, int flags, int mode);
/**
 * @param file  a file, or null.
 * @return      1 when it has an open descriptor, else 0.
 */
SPRIG_API int file_is_open(const File *file);
/**
 * Closes a file. Throws message 13 when @p file is null, 14 (path) when closing fails; the record
 * then keeps its descriptor.
 *
 * @param file  the file.
 */
SPRIG_API void file_close(File *file);
/**
 * Removes a file, or an empty directory, by the record's path name; the descriptor stays. Throws
 * message 15 when @p file is null, 16 (path) when it cannot be removed.
 *
 * @param file  the file.
 */
SPRIG_API void file_remove(File *file);
/**
 * Closes a file that is open, and releases its record; the file stays on disk. Throws message 17
 * when @p file is null, 14 as file_close() does.
 *
 * @param file  the file.
 */
SPRIG_API void file_delete(File *file);
/**
 * Reads once. Throws message 18 when @p file is null, 19 (path, @p length, errno) when it fails.
 *
 * @param file    the file.
 * @param buffer  storage for @p length bytes.
 * @param length  number of bytes.
 * @return        how many were read; 0 at the end of the file.
 */
SPRIG_API int32_t file_read(File *file, void *buffer, int32_t length);
/**
 * Writes once. Throws message 20 when @p file is null, 21 (path, @p length) when not all bytes
 * were written.
 *
 * @param file    the file.
 * @param buffer  the bytes.
 * @param length  their number.
 * @return        @p length.
 */
SPRIG_API int32_t file_write(File *file, const void *buffer, int32_t length);
/**
 * Sets the place of the next read or write. Throws message 22 when @p file is null, 23 (path,
 * errno) when it fails.
 *
 * @param file    the file.
 * @param offset  from its beginning, in bytes.
 * @return        the new offset.
 */
SPRIG_API int32_t file_seek(File *file, int32_t offset);
/**
 * Throws message 24 (path) when the file cannot be found, or has 2 GiB or more.
 *
 * @param path  its path name.
 * @return      its size in bytes.
 */
SPRIG_API int32_t file_get_size(const char *path);
/**
 * Throws message 25 (path, @p mode) when the process may not.
 *
 * @param path  its path name.
 * @param mode  for access(2).
 * @return      0.
 */
SPRIG_API int file_access(const char *path, int mode);
/**
 * @param path  a file's path name.
 * @return      when it was last modified, in seconds since the epoch (2147483647 from 2038 on), or
 *              -1 when it cannot be found.
 */
SPRIG_API int32_t file_get_mtime(const char *path);
/**
 * stat(2).
 *
 * @param path     a file's path name.
 * @param statbuf  receives the file's status.
 * @return         0, or -1 with errno set.
 */
SPRIG_API int stat_ex(const char *path, struct stat *statbuf);

/** @} */

SPRIG_END_DECLS

#endif
