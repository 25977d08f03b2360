/**
 * @file
 * @brief Portable runtime: errors, memory, strings, list, semaphores, paths, files, directories.
 *
 * A thin layer with argument checks over POSIX. Nothing in it aborts, keeps global state or, with
 * one exception (PalDirIsDirectory()), prints. `docs/guide/portable-runtime.md` has the rules that
 * hold for all of it and a table of the failure points.
 */
#ifndef SPRIG_PAL_H
#define SPRIG_PAL_H

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <sprig/api.h>

SPRIG_BEGIN_DECLS

/**
 * @name Errors
 * @{
 */

/** Outcome of an operation, returned by value. */
typedef struct _PalError {
  int32_t palError;      /**< One of the PAL_ codes below; 0 is success. */
  int32_t nativeError;   /**< `errno` of the failing system call, or 0. */
  int32_t traceLocation; /**< Which check or call inside the operation failed. */
} PalError;

/** Values of PalError::palError. */
enum {
  PAL_OK = 0,                  /**< Success. */
  PAL_NOT_FOUND = 2,           /**< No temporary name, or no further directory entry. */
  PAL_TEXT_TOO_LONG = 7,       /**< Formatted text does not fit the buffer of PalFilePrintf(). */
  PAL_OUT_OF_MEMORY = 12,      /**< An allocation inside the layer failed. */
  PAL_INVALID_PARAMETER = 21,  /**< A required pointer is null, a path is foreign, a value is out of
                                    range. */
  PAL_NO_DEPOT_SPACE = 26,     /**< The depot has too little free space for a reservation. */
  PAL_NOT_SUPPORTED = -1,      /**< The operation does not exist on this system. */
  PAL_WAIT_TIMEOUT = -2,       /**< A semaphore call failed; see PalError::nativeError. */
  PAL_SYSTEM_CALL_FAILED = -4, /**< A file, directory or path call failed; see
                                    PalError::nativeError. */
  PAL_END_OF_LIST = -6         /**< The iterator has no further element. */
};

/**
 * Fills an error record.
 *
 * @param record         record to fill; null is ignored.
 * @param palError       one of the PAL_ codes.
 * @param nativeError    `errno` of the failing call, or 0.
 * @param traceLocation  number of the failure point inside the operation.
 */
SPRIG_API void PalErrorCreate(PalError *record, int32_t palError, int32_t nativeError,
                              int32_t traceLocation);

/** @} */

/**
 * @name Memory
 *
 * Blocks from PalMemoryMalloc(), PalMemoryCalloc(), PalMemoryRealloc() and PalStringDup() belong to
 * the caller, who releases them with PalMemoryFree().
 * @{
 */

/**
 * Allocates a block.
 *
 * @param size  bytes.
 * @return      uninitialised block, or null when @p size is 0 or memory runs out.
 */
SPRIG_API void *PalMemoryMalloc(size_t size);

/**
 * Allocates a block of zero bytes.
 *
 * @param count  number of elements.
 * @param size   bytes of one element.
 * @return       zeroed block, or null when either is 0, the product overflows or memory runs out.
 */
SPRIG_API void *PalMemoryCalloc(size_t count, size_t size);

/**
 * Changes the size of a block.
 *
 * @param address  block to change, or null for a new one.
 * @param size     new size in bytes.
 * @return         the block, possibly moved; null when @p size is 0 or memory runs out, and then
 *                 the old block is untouched and still the caller's.
 */
SPRIG_API void *PalMemoryRealloc(void *address, size_t size);

/**
 * Releases a block.
 *
 * @param address  block to release; null is ignored.
 */
SPRIG_API void PalMemoryFree(void *address);

/**
 * Compares bytes.
 *
 * @param address1  first block.
 * @param address2  second block.
 * @param size      bytes to compare.
 * @return          as memcmp(); equal pointers are equal, a null block is less than any other.
 */
SPRIG_API int PalMemoryCmp(const void *address1, const void *address2, size_t size);

/**
 * Copies bytes between blocks that do not overlap.
 *
 * @param address1  target.
 * @param address2  source.
 * @param size      bytes; nothing is done when it is not positive, a pointer is null or both are
 *                  the same.
 */
SPRIG_API void PalMemoryCpy(void *address1, const void *address2, ssize_t size);

/**
 * Copies bytes between blocks that may overlap.
 *
 * @param address1  target.
 * @param address2  source.
 * @param size      bytes; nothing is done when it is not positive, a pointer is null or both are
 *                  the same.
 */
SPRIG_API void PalMemoryMove(void *address1, const void *address2, ssize_t size);

/**
 * Fills a block.
 *
 * @param address  block to fill.
 * @param size     bytes, more than 0.
 * @param value    its low byte is the fill byte.
 * @return         success, or PAL_INVALID_PARAMETER for a null block or a size below 1. The trace
 *                 location has no meaning here.
 */
SPRIG_API PalError PalMemorySet(void *address, ssize_t size, int value);

/** @} */

/**
 * @name Strings
 *
 * The functions of `<string.h>` with a defined result for null. In comparisons a null first string
 * is greater, also than another null.
 * @{
 */

/**
 * Compares two strings without regard to case, as strcasecmp().
 *
 * @param s1  first string; null gives 1.
 * @param s2  second string; null gives -1 unless @p s1 is null.
 * @return    negative, 0 or positive.
 */
SPRIG_API int PalStringICmp(const char *s1, const char *s2);

/**
 * Compares the beginnings of two strings without regard to case, as strncasecmp().
 *
 * @param s1  first string; null gives 1.
 * @param s2  second string; null gives -1 unless @p s1 is null.
 * @param n   characters to compare at the most.
 * @return    negative, 0 or positive.
 */
SPRIG_API int PalStringNICmp(const char *s1, const char *s2, size_t n);

/**
 * Compares two strings, as strcmp().
 *
 * @param s1  first string; null gives 1.
 * @param s2  second string; null gives -1 unless @p s1 is null.
 * @return    negative, 0 or positive.
 */
SPRIG_API int PalStringCmp(const char *s1, const char *s2);

/**
 * Compares the beginnings of two strings, as strncmp().
 *
 * @param s1  first string; null gives 1.
 * @param s2  second string; null gives -1 unless @p s1 is null.
 * @param n   characters to compare at the most.
 * @return    negative, 0 or positive.
 */
SPRIG_API int PalStringNCmp(const char *s1, const char *s2, size_t n);

/**
 * Appends a string, as strcat().
 *
 * @param s1  string to extend, with room for both.
 * @param s2  string to append; null appends nothing.
 * @return    @p s1; null when it is null.
 */
SPRIG_API char *PalStringCat(char *s1, const char *s2);

/**
 * Appends the beginning of a string, as strncat().
 *
 * @param s1  string to extend, with room for the result and its NUL.
 * @param s2  string to append from; null appends nothing.
 * @param n   characters to append at the most.
 * @return    @p s1; null when it is null.
 */
SPRIG_API char *PalStringNCat(char *s1, const char *s2, size_t n);

/**
 * Finds the first occurrence of a character, as strchr().
 *
 * @param s  string to search; null gives null.
 * @param c  character, the NUL included.
 * @return   pointer into @p s, or null.
 */
SPRIG_API char *PalStringChr(const char *s, int c);

/**
 * Finds the last occurrence of a character, as strrchr().
 *
 * @param s  string to search; null gives null.
 * @param c  character, the NUL included.
 * @return   pointer into @p s, or null.
 */
SPRIG_API char *PalStringRChr(const char *s, int c);

/**
 * Copies a string, as strcpy().
 *
 * @param destination  target with room for the copy; null gives null.
 * @param source       string to copy; null copies the empty string.
 * @return             @p destination.
 */
SPRIG_API char *PalStringCpy(char *destination, const char *source);

/**
 * Copies at most @p n characters, as strncpy(): without a terminator when the source is @p n
 * characters or longer, padded with NULs when it is shorter.
 *
 * @param destination  target with room for @p n characters; null gives null.
 * @param source       string to copy; null copies the empty string, whatever @p n is.
 * @param n            size of the target.
 * @return             @p destination.
 */
SPRIG_API char *PalStringNCpy(char *destination, const char *source, size_t n);

/**
 * Duplicates a string.
 *
 * @param s  string to copy; null gives null.
 * @return   new string, released with PalMemoryFree(); null when memory runs out.
 */
SPRIG_API char *PalStringDup(const char *s);

/**
 * Measures a string.
 *
 * @param s  string; null has length 0.
 * @return   characters before the NUL.
 */
SPRIG_API size_t PalStringLen(const char *s);

/**
 * Finds a string in another, as strstr().
 *
 * @param s1  string to search; null gives null.
 * @param s2  string to find; null gives null.
 * @return    pointer into @p s1, or null.
 */
SPRIG_API char *PalStringStr(const char *s1, const char *s2);

/**
 * Finds the first of several characters, as strpbrk().
 *
 * @param s1  string to search; null gives null.
 * @param s2  characters to look for; null gives null.
 * @return    pointer into @p s1, or null.
 */
SPRIG_API char *PalStringStrpbrk(const char *s1, const char *s2);

/**
 * Measures the beginning of a string that has none of several characters, as strcspn().
 *
 * @param s1  string to measure; null gives -1.
 * @param s2  characters that end the run; null stands for none.
 * @return    characters in the run, or -1.
 */
SPRIG_API ssize_t PalStringStrcspn(const char *s1, const char *s2);

/**
 * Measures the beginning of a string made of several characters only, as strspn().
 *
 * @param s1  string to measure; null gives -1.
 * @param s2  characters of the run; null stands for none.
 * @return    characters in the run, or -1.
 */
SPRIG_API ssize_t PalStringStrspn(const char *s1, const char *s2);

/**
 * Formats text, as sprintf(), without any limit: the caller answers for the room.
 *
 * @param string  target.
 * @param format  printf format, followed by its arguments.
 * @return        characters written without the NUL, or a negative number.
 */
SPRIG_API int PalStringSprintf(char *string, const char *format, ...) SPRIG_PRINTF(2, 3);

/** @} */

/**
 * @name List
 *
 * An array-backed list. Each element has a *descriptor*, its slot number, which stays valid until
 * the element is removed and is then handed out again. New elements go to the front. Every
 * operation takes the address of the caller's handle. The list does not own its values, and one
 * user at a time may touch it.
 * @{
 */

/** A value in a list: 32 bits on 32-bit systems, and a pointer everywhere. */
typedef intptr_t PalListValue;

/** List handle; null means that there is no list. */
typedef struct PalList1Header *PalList1;

/** Position of an iteration, owned by its iterator. */
typedef struct PalList1IteratorState PalList1IteratorState;

/** An iteration over a list, newest element first; advanced and ended through its members. */
typedef struct PalList1Iterator {
  /** Position; allocated by PalList1IteratorCreate(), released by @c end. */
  PalList1IteratorState *state;
  /** PalList1IteratorNext(), called with the address of @c state. */
  PalError (*next)(PalList1IteratorState **state, int32_t *descriptor, PalListValue *value);
  /** PalList1IteratorEnd(), called with the address of @c state. */
  PalError (*end)(PalList1IteratorState **state);
} PalList1Iterator;

/**
 * Creates an empty list.
 *
 * @param list       receives the handle, null on failure; untouched when @p increment is negative.
 * @param count      slots to begin with; 0 is allowed.
 * @param increment  slots to add whenever the list is full; with 0 a full list refuses to grow.
 * @return           0, or -1 for a null handle, a negative number or when memory runs out.
 */
SPRIG_API int PalList1Create(PalList1 *list, int32_t count, int32_t increment);

/**
 * Releases a list, but not its values.
 *
 * @param list  handle, null afterwards; null or the address of a null handle is ignored.
 */
SPRIG_API void PalList1Destroy(PalList1 *list);

/**
 * Adds a value at the front.
 *
 * @param list   handle.
 * @param value  value to hold.
 * @return       the descriptor, or -1 with the list unchanged when there is no list or no room.
 */
SPRIG_API int32_t PalList1Add(PalList1 *list, PalListValue value);

/**
 * Takes an element out of the list; its value is not released.
 *
 * @param list        handle.
 * @param descriptor  element to remove.
 * @return            0, or -1 when there is no such element.
 */
SPRIG_API int PalList1Remove(PalList1 *list, int32_t descriptor);

/**
 * Looks up a value.
 *
 * @param list        handle.
 * @param descriptor  element to look up.
 * @return            its value, or 0 when there is no such element.
 */
SPRIG_API PalListValue PalList1Access(PalList1 *list, int32_t descriptor);

/**
 * Tells how many slots a list has, used or free.
 *
 * @param list  handle.
 * @return      slots; 0 when there is no list.
 */
SPRIG_API int32_t PalList1GetSize(PalList1 *list);

/**
 * Does nothing; kept for callers that expect it.
 *
 * @param list   ignored.
 * @param count  ignored.
 */
SPRIG_API void PalList1SetSize(PalList1 *list, int32_t count);

/**
 * Begins an iteration. It holds no lock and no copy of the list.
 *
 * @param list      handle.
 * @param iterator  record to fill.
 * @return          {0, 0, 4}; {21, 0, 0} for a null iterator, {21, 0, 1} when there is no list,
 *                  {12, 0, 3} when memory runs out.
 */
SPRIG_API PalError PalList1IteratorCreate(PalList1 *list, PalList1Iterator *iterator);

/**
 * Steps to the next element. Removing the current element ends the iteration at the next step, or
 * continues it wherever the slot was used again.
 *
 * @param state       address of PalList1Iterator::state.
 * @param descriptor  receives the element's descriptor.
 * @param value       receives its value.
 * @return            {0, 0, 5}; {-6, 0, 4} at the end; {21, 0, n} when argument n (from 0), or for
 *                    n = 3 the state itself, is null.
 */
SPRIG_API PalError PalList1IteratorNext(PalList1IteratorState **state, int32_t *descriptor,
                                        PalListValue *value);

/**
 * Ends an iteration and releases its state.
 *
 * @param state  address of PalList1Iterator::state, null afterwards.
 * @return       {0, 0, 1}, or {21, 0, 0} for a null address.
 */
SPRIG_API PalError PalList1IteratorEnd(PalList1IteratorState **state);

/** @} */

/**
 * @name Semaphores
 *
 * Locks between processes: System V semaphore sets of one semaphore, 1 when free and 0 while held,
 * named by a key file. The kernel gives a lock back when its holder dies. A set stays in the system
 * until some process destroys it.
 * @{
 */

/** One process's attachment to a semaphore set. */
typedef struct PalInternalSem {
  int32_t semid;   /**< Identifier of the set. */
  int32_t waiters; /**< Not used. */
} PalInternalSem;

/** Semaphore handle, owned by the caller. */
typedef struct PalSemHandle {
  PalInternalSem *handle; /**< Allocated by PalInitSem(). */
} PalSemHandle;

/**
 * Creates the semaphore of a key file, free, or attaches to it where it exists.
 *
 * The system key is `ftok(key, 1)`. All missing key files therefore share one set.
 *
 * @param handle  receives the attachment; untouched on failure.
 * @param key     path of an existing file.
 * @return        success; {21, 0, 1} for a null argument, {12, 0, 1} when memory runs out,
 *                {-2, errno, 1} when the system refuses.
 */
SPRIG_API PalError PalInitSem(PalSemHandle *handle, const char *key);

/**
 * Takes the lock, waiting without limit.
 *
 * @param handle  handle.
 * @return        success; {21, 0, 1} for a null handle, {-2, EINVAL, 1} for one without an
 *                attachment, {-2, errno, 1} when the wait fails, with EINTR after a signal.
 */
SPRIG_API PalError PalWaitSem(PalSemHandle *handle);

/**
 * Gives the lock back. Nothing checks that the caller holds it.
 *
 * @param handle  handle.
 * @return        as PalWaitSem().
 */
SPRIG_API PalError PalPostSem(PalSemHandle *handle);

/**
 * Releases the attachment; the set stays in the system.
 *
 * @param handle  handle, whose member is not cleared; null is ignored.
 * @return        always success.
 */
SPRIG_API PalError PalCloseSem(PalSemHandle *handle);

/**
 * Removes the set from the system and releases the attachment. Waiters fail with EIDRM.
 *
 * @param handle  handle, whose member is not cleared; null is ignored.
 * @return        always success.
 */
SPRIG_API PalError PalDestSem(PalSemHandle *handle);

/** @} */

/**
 * @name Paths
 *
 * Text operations on the caller's buffers. Slash and backslash both separate. A path is *absolute*
 * when it is empty, begins with a slash or with two backslashes, or has a colon before a backslash
 * anywhere. Absolute paths that do not begin with a slash are *foreign*: no file operation accepts
 * them.
 * @{
 */

/**
 * Tells whether a path is absolute.
 *
 * @param path  path; null is not absolute.
 * @return      1 or 0.
 */
SPRIG_API int PalPathIsPathAbsolute(const char *path);

/**
 * Copies the root part of an absolute path: a slash and the first component, two backslashes and
 * the server name, or all before the first backslash of a path with a drive letter.
 *
 * @param prefix      buffer.
 * @param path        path.
 * @param prefix_len  size of the buffer; the copy is cut to fit and always terminated.
 * @return            @p prefix, or null for a relative path or a null argument.
 */
SPRIG_API char *PalPathGetPrefix(char *prefix, const char *path, size_t prefix_len);

/**
 * Tells whether the system can use a path as it is, apart from its separators.
 *
 * @param path  path; null counts as relative.
 * @return      1 for a relative path or one that begins with a slash, 0 for a foreign one.
 */
SPRIG_API int PalPathIsPrefixNative(const char *path);

/**
 * Puts the current directory in front of a relative path. The caller supplies a buffer for both:
 * the directory takes up to @p length bytes, and after a slash the path up to @p length more.
 *
 * @param absolute_path  buffer; empty when the current directory cannot be told or does not fit.
 * @param relative_path  path; an absolute one is copied as strncpy() does with @p length.
 * @param length         bytes, as described above.
 * @return               @p absolute_path, or null when it is null or the directory cannot be told.
 */
SPRIG_API char *PalPathMakeAbsolute(char *absolute_path, const char *relative_path, size_t length);

/**
 * Copies the part of a path behind its last separator, as strncpy() does with @p name_len.
 *
 * @param name      buffer; receives the text "Failure" for a path without separators.
 * @param path      path.
 * @param name_len  size of the buffer.
 * @return          @p name.
 */
SPRIG_API char *PalPathGetName(char *name, const char *path, size_t name_len);

/**
 * Copies a path, as strncpy() does with @p name_len, and cuts the copy at its last separator.
 *
 * @param name      buffer; a path without separators is copied whole.
 * @param path      path.
 * @param name_len  size of the buffer.
 * @return          @p name.
 */
SPRIG_API char *PalPathGetParent(char *name, const char *path, size_t name_len);

/**
 * Replaces every backslash by a slash, in place.
 *
 * @param path  path.
 * @return      @p path, or null for a foreign path, which stays as it is.
 */
SPRIG_API char *PalPathLocalize(char *path);

/** @} */

/**
 * @name Files
 *
 * Sizes and offsets have 64 bits on every system. Paths may be written with either separator;
 * foreign paths are refused with PAL_INVALID_PARAMETER. A null pointer where one is required gives
 * {21, 0, 1}, a failing system call {-4, errno, location}.
 * @{
 */

/** An open file. Passed by value; PalFileClose() releases it. */
typedef struct PalFileHandle {
  int *handle; /**< Heap cell with the descriptor; -1 after a failed open. */
} PalFileHandle;

/** What PalFileGetInfo() tells. */
typedef struct _PalFileInfo {
  uint64_t ctime;   /**< Status change, in milliseconds since the epoch (whole seconds). */
  uint64_t atime;   /**< Last access, likewise. */
  uint64_t mtime;   /**< Last modification, likewise. */
  uint32_t mode;    /**< Permission bits, PAL_PERM_ values. */
  int32_t nlink;    /**< Number of links. */
  int64_t size;     /**< Size in bytes. */
  int32_t dev;      /**< Device, low 32 bits. */
  int32_t rdev;     /**< Device of a special file, low 32 bits. */
  char user[1024];  /**< Owner's name, empty when unknown. */
  char group[1024]; /**< Owning group's name, empty when unknown. */
} PalFileInfoT;

/** An access-control entry; see PalFileGetAcl(). */
typedef struct _PalFileAclEntry {
  char user[1024]; /**< User's name. */
  int32_t access;  /**< Permissions. */
} PalFileAclEntryT;

/** Flags of PalFileOpen(). Each is translated by itself; other bits are ignored. */
enum {
  PAL_FILE_READ = 0x0001,      /**< Read; what the system does without any flag. */
  PAL_FILE_WRITE = 0x0002,     /**< Write only. Not together with PAL_FILE_READWRITE. */
  PAL_FILE_READWRITE = 0x0004, /**< Read and write. */
  PAL_FILE_APPEND = 0x0008,    /**< Every write goes to the end. */
  PAL_FILE_CREATE = 0x0100,    /**< Create the file where it is missing, with mode 0600. */
  PAL_FILE_TRUNCATE = 0x0200,  /**< Cut an existing file to no bytes. */
  PAL_FILE_EXCLUSIVE = 0x0400  /**< With PAL_FILE_CREATE: fail where the file exists. */
};

/** Permission bits. */
enum {
  PAL_PERM_USER_READ = 0x001,   /**< Owner may read. */
  PAL_PERM_GROUP_READ = 0x002,  /**< Group may read. */
  PAL_PERM_OTHER_READ = 0x004,  /**< Others may read. */
  PAL_PERM_USER_WRITE = 0x010,  /**< Owner may write. */
  PAL_PERM_GROUP_WRITE = 0x020, /**< Group may write. */
  PAL_PERM_OTHER_WRITE = 0x040, /**< Others may write. */
  PAL_PERM_USER_EXEC = 0x100,   /**< Owner may execute. */
  PAL_PERM_GROUP_EXEC = 0x200,  /**< Group may execute. */
  PAL_PERM_OTHER_EXEC = 0x400   /**< Others may execute. */
};

/**
 * Opens a file.
 *
 * @param handle_ptr  receives a new handle, also when the system refuses (it then holds -1); the
 *                    caller releases it with PalFileClose() either way. Untouched when the path is
 *                    null, foreign or cannot be copied.
 * @param path        path.
 * @param oflag       PAL_FILE_ flags.
 * @return            success; {21, 0, 2} for a foreign path, {-4, errno, 3}.
 */
SPRIG_API PalError PalFileOpen(PalFileHandle *handle_ptr, const char *path, uint32_t oflag);

/**
 * Closes a file and releases its handle, also when closing fails.
 *
 * @param handle  handle.
 * @return        success; {-4, errno, 2}, with EBADF after a failed open.
 */
SPRIG_API PalError PalFileClose(PalFileHandle handle);

/**
 * Removes a file or an empty directory.
 *
 * @param path  path.
 * @return      success; {21, 0, 2} for a foreign path, {-4, errno, 3}.
 */
SPRIG_API PalError PalFileRemove(const char *path);

/**
 * Issues the STREAMS flush request. Ordinary files do not know it and fail with ENOTTY.
 *
 * @param handle  handle.
 * @return        success; {-4, errno, 2}.
 */
SPRIG_API PalError PalFileFlushBuffers(PalFileHandle handle);

/**
 * Tells the size of an open file.
 *
 * @param handle  handle.
 * @param size    receives the bytes; -1 when the system refuses.
 * @return        success; {-4, errno, 2}.
 */
SPRIG_API PalError PalFileGetSize(PalFileHandle handle, int64_t *size);

/**
 * Cuts or extends an open file; what is added reads as zero bytes.
 *
 * @param handle  handle.
 * @param size    new size in bytes.
 * @return        success; {-4, errno, 2}.
 */
SPRIG_API PalError PalFileSetSize(PalFileHandle handle, int64_t size);

/**
 * Reads from the current position. Fewer bytes than asked for are no error.
 *
 * @param handle  handle.
 * @param buffer  target with room for @p size bytes.
 * @param size    bytes to read at the most.
 * @param count   receives the bytes read, 0 at the end of the file; untouched on failure.
 * @return        success; {-4, errno, 2}. An interrupted read is not repeated.
 */
SPRIG_API PalError PalFileRead(PalFileHandle handle, void *buffer, size_t size, size_t *count);

/**
 * Writes at the current position. Fewer bytes than given are no error.
 *
 * @param handle  handle.
 * @param buffer  bytes to write.
 * @param size    number of bytes.
 * @param count   receives the bytes written; untouched on failure.
 * @return        success; {-4, errno, 2}. An interrupted write is not repeated.
 */
SPRIG_API PalError PalFileWrite(PalFileHandle handle, const void *buffer, size_t size,
                                size_t *count);

/**
 * Renames a file or directory, replacing a file at the new path.
 *
 * @param oldPath  path now.
 * @param newPath  path afterwards.
 * @return         success; {21, 0, 2} when either path is foreign, {-4, errno, 3}.
 */
SPRIG_API PalError PalFileRename(const char *oldPath, const char *newPath);

/**
 * Gives a file to a user and to the user's primary group.
 *
 * @param owner  user's name; an unknown one changes nothing and is no error.
 * @param path   path.
 * @return       success; {-4, errno, 2} when the lookup fails, {21, 0, 3} for a foreign path,
 *               {-4, errno, 4} when the change fails.
 */
SPRIG_API PalError PalFileSetOwner(const char *owner, const char *path);

/**
 * Tells the name of a file's owner.
 *
 * @param owner  buffer, filled as strncpy() does; the empty string when the owner has no name.
 * @param path   path.
 * @param n      size of the buffer.
 * @return       success; {21, 0, 2} for a foreign path, {-4, errno, 3}, {-4, errno, 4} when the
 *               lookup fails.
 */
SPRIG_API PalError PalFileGetOwner(char *owner, const char *path, size_t n);

/**
 * Gives a file to a group; its owner stays.
 *
 * @param group  group's name; an unknown one changes nothing and is no error.
 * @param path   path.
 * @return       as PalFileSetOwner().
 */
SPRIG_API PalError PalFileSetGroup(const char *group, const char *path);

/**
 * Tells the name of a file's group.
 *
 * @param group  buffer, filled as strncpy() does; the empty string when the group has no name.
 * @param path   path.
 * @param n      size of the buffer.
 * @return       as PalFileGetOwner().
 */
SPRIG_API PalError PalFileGetGroup(char *group, const char *path, size_t n);

/**
 * Sets a file's permissions; set-ID and sticky bits are cleared.
 *
 * @param permission  PAL_PERM_ bits.
 * @param path        path.
 * @return            success; {21, 0, 2} for a foreign path. When the system refuses, the code is
 *                    that of success, and only `errno` and the location 3 tell of it: callers who
 *                    look at PalError::palError alone carry on.
 */
SPRIG_API PalError PalFileSetPermissions(uint32_t permission, const char *path);

/**
 * Tells a file's permissions.
 *
 * @param permission  receives PAL_PERM_ bits; untouched on failure.
 * @param path        path.
 * @return            as PalFileGetInfo().
 */
SPRIG_API PalError PalFileGetPermissions(uint32_t *permission, const char *path);

/**
 * Tells what the system knows about a file.
 *
 * @param path  path.
 * @param info  record to fill; untouched on failure.
 * @return      success; {-4, errno, 2}, with EFAULT for a foreign path.
 */
SPRIG_API PalError PalFileGetInfo(const char *path, PalFileInfoT *info);

/**
 * Opens a new file for reading and writing that vanishes when it is closed.
 *
 * @param directory  where to make it; see PalFileTempFilename().
 * @param handle     receives the handle, also when opening (it then holds -1) or unlinking fails;
 *                   the caller releases it with PalFileClose(). Untouched when there is no name.
 * @return           success; as PalFileTempFilename() when there is no name, {-4, errno, 2} when
 *                   opening fails, {-4, errno, 3} when the name could not be taken away again.
 */
SPRIG_API PalError PalFileOpenTemporary(const char *directory, PalFileHandle *handle);

/**
 * Makes up the name of a file that does not exist, as tempnam() does: the directory in the
 * environment variable TMPDIR comes first, then @p directory, then the system's own.
 *
 * @param directory  wanted directory.
 * @param name       buffer, filled as strncpy() does.
 * @param n          size of the buffer.
 * @return           success; {21, 0, 1} for a null or foreign argument, {2, 0, 2} when there is no
 *                   name.
 */
SPRIG_API PalError PalFileTempFilename(const char *directory, char *name, size_t n);

/**
 * Moves the current position.
 *
 * @param handle  handle.
 * @param offset  bytes, may be negative.
 * @param origin  1 counts from the start, 2 from the current position, 3 from the end.
 * @return        success; {21, 0, 1} for another origin, {-4, errno, 2}.
 */
SPRIG_API PalError PalFileSetLocation(PalFileHandle handle, int64_t offset, int origin);

/**
 * Tells the current position.
 *
 * @param handle  handle.
 * @param offset  receives the bytes from the start; untouched on failure.
 * @return        success; {-4, errno, 1}.
 */
SPRIG_API PalError PalFileGetLocation(PalFileHandle handle, int64_t *offset);

/**
 * Makes a handle for standard input. Closing it closes descriptor 0.
 *
 * @param file  receives the handle.
 * @return      success; {12, 0, 0} when memory runs out.
 */
SPRIG_API PalError PalFileGetStdIn(PalFileHandle *file);

/**
 * Makes a handle for standard output. Closing it closes descriptor 1.
 *
 * @param file  receives the handle.
 * @return      success; {12, 0, 0} when memory runs out.
 */
SPRIG_API PalError PalFileGetStdOut(PalFileHandle *file);

/**
 * Makes a handle for standard error. Closing it closes descriptor 2.
 *
 * @param file  receives the handle.
 * @return      success; {12, 0, 0} when memory runs out.
 */
SPRIG_API PalError PalFileGetStdErr(PalFileHandle *file);

/**
 * Not supported.
 *
 * @param user        ignored.
 * @param permission  ignored.
 * @param path        ignored.
 * @return            {-1, 0, 0}.
 */
SPRIG_API PalError PalFileGrantPermission(const char *user, uint32_t permission, const char *path);

/**
 * Not supported.
 *
 * @param user        ignored.
 * @param permission  ignored.
 * @param path        ignored.
 * @return            {-1, 0, 0}.
 */
SPRIG_API PalError PalFileRevokePermission(const char *user, uint32_t permission, const char *path);

/**
 * Not supported.
 *
 * @param acl    ignored.
 * @param path   ignored.
 * @param count  ignored.
 * @return       {-1, 0, 0}.
 */
SPRIG_API PalError PalFileGetAcl(PalFileAclEntryT *acl, const char *path, int32_t *count);

/**
 * Not supported.
 *
 * @param acl    ignored.
 * @param path   ignored.
 * @param count  ignored.
 * @return       {-1, 0, 0}.
 */
SPRIG_API PalError PalFileSetAcl(const PalFileAclEntryT *acl, const char *path, int32_t count);

/**
 * Tells how access to a file is controlled.
 *
 * @param path  ignored.
 * @return      2, by permission bits, for every path.
 */
SPRIG_API int PalFileAccessType(const char *path);

/**
 * Writes formatted text of at most 4095 bytes.
 *
 * @param handle  handle.
 * @param n       receives the bytes written.
 * @param format  printf format, followed by its arguments.
 * @return        as PalFileWrite(); {12, 0, 0} when memory runs out, {7, 0, 0} with nothing written
 *                when the text is longer or cannot be formatted.
 */
SPRIG_API PalError PalFilePrintf(PalFileHandle handle, size_t *n, const char *format, ...)
    SPRIG_PRINTF(3, 4);

/** @} */

/**
 * @name Directories
 *
 * Paths as with files. A null or foreign path gives {21, 0, 0}.
 * @{
 */

/** The system's directory stream. */
typedef struct PalNativeDirHandle PalNativeDirHandle;

/** An open directory. Passed by value; PalDirClose() releases it. */
typedef struct PalDirHandle {
  PalNativeDirHandle *handle; /**< Allocated by PalDirOpen(). */
} PalDirHandle;

/**
 * Tells whether a path names a directory, by the directory bit of its mode alone, which block
 * devices and sockets have too.
 *
 * Where the system cannot tell, "get info failure: " and the system's message go to standard error.
 *
 * @param path  path; null is none.
 * @return      1 or 0.
 */
SPRIG_API int PalDirIsDirectory(const char *path);

/**
 * Creates a directory with mode 0700.
 *
 * @param path  path.
 * @return      success; {-4, errno, 1}.
 */
SPRIG_API PalError PalDirCreateDirectory(const char *path);

/**
 * Opens a directory for reading.
 *
 * @param handle  receives a new handle, also when the directory cannot be opened; the caller
 *                releases it with PalDirClose() either way. Untouched when the path is null,
 * foreign or cannot be copied, and without memory for the handle.
 * @param path    path.
 * @return        success; {-4, errno, 1} when memory runs out, {-4, errno, 2}.
 */
SPRIG_API PalError PalDirOpen(PalDirHandle *handle, const char *path);

/**
 * Closes a directory and releases its handle, also when closing fails.
 *
 * @param handle  handle; one without a stream record is ignored.
 * @return        success; {-4, errno, 2}, with EINVAL after a failed open.
 */
SPRIG_API PalError PalDirClose(PalDirHandle handle);

/**
 * Reads the next entry's name, "." and ".." included.
 *
 * @param fname   buffer of 1024 bytes, filled as strncpy() does.
 * @param handle  handle.
 * @return        success; {21, 0, 0} for a null argument, {2, 0, 3} at the end or when reading
 *                fails.
 */
SPRIG_API PalError PalDirReadDirectory(char *fname, PalDirHandle handle);

/**
 * Removes an empty directory.
 *
 * @param path  path.
 * @return      success; {-4, errno, 1}.
 */
SPRIG_API PalError PalDirRemoveDirectory(const char *path);

/**
 * Tells the current directory.
 *
 * @param fname  buffer of 1024 bytes.
 * @return       success; {21, 0, 0} for a null buffer, {-4, errno, 0}.
 */
SPRIG_API PalError PalDirGetCurrentDirectory(char *fname);

/**
 * Changes the current directory of the process.
 *
 * @param path  path.
 * @return      success; {-4, errno, 1}.
 */
SPRIG_API PalError PalDirSetCurrentDirectory(const char *path);

/** @} */

SPRIG_END_DECLS

#endif
