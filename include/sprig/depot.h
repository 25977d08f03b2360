/**
 * @file
 * @brief The depot: an on-disk cache of distribution segments that several processes share.
 *
 * A depot is a directory. Each entry in it is a segment, named by an identifier and a version, with
 * a data file and a small text file, its TOC file, from which any process can rebuild the entry's
 * record. `docs/guide/depot.md` shows how to use it, `docs/formats/depot.md` every byte on disk.
 *
 * Conventions of this header:
 *
 * - Outcomes are PalError records. Where an operation returns the outcome of a step, its codes are
 *   those of that step, and are not repeated here. A null handle, entry, identifier, version or
 *   result pointer gives {21, 0, 1}, null, -1 or 0.
 * - Operations take the depot's locks, which are two semaphores and a kernel lock on the directory.
 *   A wait that fails ends most operations with the semaphore's error, {-2, errno, 1}; some go on,
 *   and say so. A lock that cannot be given back is logged and changes no result.
 * - The forms that end in @c _internal take no lock of the depot or of the entries where their
 *   description says that the caller holds it, and no kernel lock in its place either.
 * - Records belong to the handle's list of loaded entries, unless an operation says otherwise. The
 *   operations that release a record take it out of that list first.
 * - Everything is logged: through Logger(), with the operation's name in front, entry and exit at
 *   level 3.
 * - A handle is for one thread at a time. A forked child may go on using its parent's handle.
 */
#ifndef SPRIG_DEPOT_H
#define SPRIG_DEPOT_H

#include <stdint.h>

#include <sprig/api.h>
#include <sprig/pal.h>

SPRIG_BEGIN_DECLS

struct DepotIndex;

/** A process's view of a depot. Created by DepotNew(), released by DepotFree(). */
typedef struct Depot {
  PalSemHandle depotLock;   /**< Guards the directory, the space counters, lookups and the list of
                                 entries. Taken before @c entryLock where both are held. */
  PalSemHandle entryLock;   /**< Guards the entries' records and TOC files. */
  char *directory;          /**< The depot's directory, owned. */
  uint32_t availableSpace;  /**< Kilobytes that are still free for reservation. */
  uint32_t maxSpace;        /**< Kilobytes that the depot may take; 0 keeps no account. */
  PalList1 entries;         /**< The entries that this process has loaded, DepotEntry pointers. */
  struct DepotIndex *index; /**< Private to the library. */
} Depot;

/**
 * A segment in the depot. @c size, @c open_count, @c write_count, @c access_time and
 * @c modify_time are this process's knowledge; everything else is in the TOC file.
 */
typedef struct DepotEntry {
  uint64_t size;              /**< Bytes in the data file when it was last asked for. */
  int32_t reference_count;    /**< Registered users. */
  uint32_t open_count;        /**< How often this process opened the data file. */
  uint32_t write_count;       /**< How many of those opens were for writing. */
  int32_t deadline;           /**< Time, in seconds since the epoch, until which it must be kept. */
  int32_t access_time;        /**< Time of the last open. */
  int32_t modify_time;        /**< Time of the last open for writing. */
  int32_t checksum;           /**< The segment's checksum, as its distribution gives it. */
  int32_t state;              /**< A DEPOT_ENTRY_ value. */
  char *id;                   /**< Segment identifier, owned. */
  char *version;              /**< Segment version, owned. */
  char *toc_path;             /**< Path of the TOC file, owned. */
  char *location;             /**< Path of the data file, owned. */
  unsigned char *properties;  /**< The segment's properties, encoded; owned, null when there are
                                   none. */
  uint32_t properties_length; /**< Bytes in @c properties. */
} DepotEntry;

/** Values of DepotEntry::state. Others may be set; only 1 counts as usable. */
enum {
  DEPOT_ENTRY_FILLING = 0, /**< Its data are being written by some process. */
  DEPOT_ENTRY_COMPLETE = 1 /**< Any process may use it. */
};

/** A walk over the entries on disk. Created by DepotEnumNew(), ended by DepotEntryEnumDelete(). */
typedef struct DepotEnum {
  Depot *depot;          /**< Whose directory is walked; not owned. */
  PalSemHandle enumLock; /**< Lets one process at a time read an entry. */
  PalDirHandle dir;      /**< The open directory. */
} DepotEnum;

/**
 * @name Handle
 * @{
 */

/**
 * Logs a line of the depot.
 *
 * The text is cut at 1023 bytes. A format of 975 and more characters logs nothing. The log's own
 * format never sees what was in the arguments.
 *
 * @param level   0 for a failure that ends an operation, 1 for a problem that was worked around, 2
 *                for a notice, 3 for the trace of entry and exit.
 * @param format  printf-style, ending in a newline, with its arguments behind it; null is ignored.
 */
SPRIG_API void Logger(int level, const char *format, ...) SPRIG_PRINTF(2, 3);

/**
 * Opens a depot.
 *
 * The keys of the depot's semaphores are files "depot.lk" and "entry.lk" in the current directory,
 * made where they are missing: processes that share a depot have to open it from the same
 * directory. Each open handle adds one to both semaphores for as long as its process lives.
 *
 * @param handle     receives the handle, released with DepotFree(); null on failure.
 * @param directory  the depot's directory, created (mode 0700, no parents) where it is missing;
 * null stands for "depot". That it cannot be had is no failure here.
 * @param maxSpace   kilobytes that may be reserved; 0 keeps no account.
 * @return           success; {12, 0, 0} when memory runs out; the error of a lock file or of its
 *                   semaphore. {-2, errno, 1} with a valid handle when the system refuses the
 * second semaphore: it goes on without.
 */
SPRIG_API PalError DepotNew(Depot **handle, const char *directory, uint32_t maxSpace);

/**
 * Releases a handle and the records of all entries that it has loaded. Nothing on disk changes, and
 * the semaphores stay in the system; that of the entries is raised by one more.
 *
 * @param handle  the handle; null is logged, and a success.
 * @return        success, or {-2, errno, 1} when the depot's lock could not be had but the handle
 * was released all the same; any other error leaves the handle as it was.
 */
SPRIG_API PalError DepotFree(Depot *handle);

/**
 * Moves a handle to another directory, under the depot's lock.
 *
 * @param handle     the handle.
 * @param directory  as for DepotNew(). The handle keeps a copy; the string that DepotGetDir() gave
 *                   before stays valid, and is nobody's to release.
 * @return           as DepotSetDir_internal(), or the failed wait.
 */
SPRIG_API PalError DepotSetDir(Depot *handle, const char *directory);

/**
 * DepotSetDir() for callers that hold the depot's lock.
 *
 * @param handle     the handle.
 * @param directory  as for DepotNew().
 * @return           success; {12, 0, 1} when memory runs out, with the old directory kept; the
 * error of creating the directory.
 */
SPRIG_API PalError DepotSetDir_internal(Depot *handle, const char *directory);

/**
 * Tells a handle's directory. Takes no lock.
 *
 * @param handle  the handle.
 * @return        the directory, owned by the handle.
 */
SPRIG_API const char *DepotGetDir(Depot *handle);

/** @} */

/**
 * @name Records and TOC files
 * @{
 */

/**
 * Makes an empty record, which belongs to no list.
 *
 * @return  the record, zero-filled, or null when memory runs out.
 */
SPRIG_API DepotEntry *DepotEntryNew(void);

/**
 * Makes a record from the text of a TOC file and adds it to the handle's loaded entries.
 *
 * Numbers are read as strtol() does, in base 10, and held within 32 bits.
 *
 * @param depot  the handle.
 * @param text   the TOC file's text, up to its first NUL.
 * @return       the record, without a @c toc_path; null when one of the eight elements is missing,
 * a number has more than 15 characters, or memory runs out.
 */
SPRIG_API DepotEntry *DepotEntryNewFromToc(Depot *depot, const char *text);

/**
 * Builds the text of an entry's TOC file. Takes no lock.
 *
 * @param depot      the handle.
 * @param entry      the entry, with an identifier, a version and a location.
 * @param textOut    receives the text, released with PalMemoryFree().
 * @param lengthOut  receives its length in bytes, the final NUL included.
 * @return           success; {12, 0, 1} or {12, 0, 2} when memory runs out; {21, 0, 1} or {21, 0,
 * 2} when the entry's own text hides an element of the TOC file.
 */
SPRIG_API PalError DepotEntrySetProperties(Depot *depot, DepotEntry *entry, char **textOut,
                                           uint32_t *lengthOut);

/**
 * Writes an entry's TOC file, under the entries' lock.
 *
 * @param depot  the handle.
 * @param entry  the entry.
 * @return       the outcome of building the text, of opening the file or of writing it; a write
 * that the system cut short is {-4, 28, 2}, 28 being ENOSPC.
 */
SPRIG_API PalError DepotSaveEntry(Depot *depot, DepotEntry *entry);

/**
 * DepotSaveEntry() for callers that hold the entries' lock.
 *
 * @param depot  the handle.
 * @param entry  the entry.
 * @return       as DepotSaveEntry().
 */
SPRIG_API PalError DepotSaveEntry_internal(Depot *depot, DepotEntry *entry);

/**
 * Takes a record out of the handle's list and releases it, under the entries' lock: its four
 * strings and the record itself. Its @c properties stay the caller's.
 *
 * @param depot  the handle.
 * @param entry  the record.
 * @return       success, or the failed wait; then nothing is released.
 */
SPRIG_API PalError DepotEntryFree(Depot *depot, DepotEntry *entry);

/**
 * Releases a record that is in no list, with everything that it owns, under the entries' lock.
 *
 * @param depot  the handle.
 * @param entry  the record.
 * @return       success, or the failed wait; then nothing is released.
 */
SPRIG_API PalError DepotFreeEntry_internal(Depot *depot, DepotEntry *entry);

/** @} */

/**
 * @name Lookup
 *
 * A loaded record is believed only after a look at its TOC file, which other processes may have
 * rewritten: what the file says is taken over, and a record that the file no longer names is
 * dropped. What is not loaded is looked for on disk.
 * @{
 */

/**
 * Computes the bucket of a key.
 *
 * @param key      the text to hash.
 * @param hashOut  receives the number of the bucket, less than 251.
 * @return         success.
 */
SPRIG_API PalError DepotHashFunction(const char *key, uint32_t *hashOut);

/**
 * Tells the name of an entry's bucket, with which its file names begin.
 *
 * @param id       segment identifier.
 * @param version  segment version.
 * @return         eight digits, released with PalMemoryFree(); null when memory runs out.
 */
SPRIG_API char *DepotFindBucket(const char *id, const char *version);

/**
 * Finds a loaded entry: the one that was loaded last, where there are several. Takes no lock and
 * does not look at the disk.
 *
 * @param depot    the handle.
 * @param id       segment identifier.
 * @param version  segment version.
 * @return         its descriptor in the handle's list (see PalList1Access()), or -1.
 */
SPRIG_API int32_t DepotFindEntryIndex(Depot *depot, const char *id, const char *version);

/**
 * Finds an entry, loaded or on disk.
 *
 * A failed wait gives null. Several processes may look up at the same time.
 *
 * @param depot    the handle.
 * @param id       segment identifier.
 * @param version  segment version.
 * @return         its record, owned by the handle's list; null when there is none, or when a TOC
 * file of the bucket cannot be read.
 */
SPRIG_API DepotEntry *DepotGetEntry(Depot *depot, const char *id, const char *version);

/**
 * DepotGetEntry() for callers that hold the depot's lock.
 *
 * @param depot      the handle.
 * @param id         segment identifier.
 * @param version    segment version.
 * @param indexList  receives, unless it is null, a new list with the indexes in the names of the
 *                   bucket's TOC files, which the caller destroys; it is not touched when the entry
 *                   was loaded, and may be incomplete when it was found on disk.
 * @return           as DepotGetEntry().
 */
SPRIG_API DepotEntry *DepotGetEntry_internal(Depot *depot, const char *id, const char *version,
                                             PalList1 *indexList);

/** @} */

/**
 * @name Life of an entry
 *
 * Added by the process that will fill it, completed by that process, and by each later user as its
 * registration, removed with the last registration.
 * @{
 */

/**
 * Finds an entry, or adds it.
 *
 * A new entry is in state 0, without registrations, with a saved TOC file and a data file, which is
 * made where it is missing. An entry that exists comes back as it is, without a registration. A
 * lock that cannot be had is logged, and the operation goes on.
 *
 * @param depot       the handle.
 * @param id          segment identifier. A pair whose text, or whose path, would hide an element of
 *                    the TOC file is refused.
 * @param version     segment version.
 * @param properties  the segment's properties, encoded; copied. May be null when @p length is 0.
 * @param length      number of bytes in @p properties.
 * @return            the record, owned by the handle's list; null when the entry exists and is not
 *                    complete, or on any failure.
 */
SPRIG_API DepotEntry *DepotAddEntry(Depot *depot, const char *id, const char *version,
                                    const void *properties, uint32_t length);

/**
 * Opens an entry's data file for reading and writing, counts that, and saves the entry.
 *
 * @param depot     the handle.
 * @param entry     the entry.
 * @param fileOut   receives the open file, closed with PalFileClose(); empty on failure.
 * @param truncate  non-zero to cut the file to no bytes.
 * @return          the outcome of opening, or the failed wait.
 */
SPRIG_API PalError DepotFileOpenForWrite(Depot *depot, DepotEntry *entry, PalFileHandle *fileOut,
                                         int truncate);

/**
 * Opens an entry's data file for reading, counts that, and saves the entry.
 *
 * @param depot    the handle.
 * @param entry    the entry.
 * @param fileOut  receives the open file, closed with PalFileClose(); empty on failure.
 * @return         the outcome of opening, or the failed wait.
 */
SPRIG_API PalError DepotFileOpenForRead(Depot *depot, DepotEntry *entry, PalFileHandle *fileOut);

/**
 * Sets an entry's state and saves the entry; the state that it has already changes nothing.
 *
 * @param depot  the handle.
 * @param entry  the entry.
 * @param state  the new state.
 * @return       the outcome of saving, or the failed wait.
 */
SPRIG_API PalError DepotEntryChangeState(Depot *depot, DepotEntry *entry, int32_t state);

/**
 * Completes an entry, which is also how a user registers: state 1, one registration more, the
 * deadline raised. Saves the entry and releases its record. A lock that cannot be had is logged,
 * and the operation goes on.
 *
 * @param depot     the handle.
 * @param entry     the entry; not to be used afterwards.
 * @param deadline  time, in seconds since the epoch, until which the entry must be kept; an earlier
 *                  one than it has changes nothing.
 * @return          the outcome of saving.
 */
SPRIG_API PalError DepotCompleteEntry(Depot *depot, DepotEntry *entry, int32_t deadline);

/**
 * Takes back a registration and releases the record. The last one removes the entry's files; as
 * long as others remain the lowered count is saved only where the state was not 1.
 *
 * @param depot  the handle.
 * @param entry  the entry; not to be used afterwards, unless a wait failed.
 * @param force  as for DepotRemoveEntry().
 * @return       success, or the error of saving, of removing or of a wait.
 */
SPRIG_API PalError DepotUnregisterEntry(Depot *depot, DepotEntry *entry, int force);

/**
 * Removes an entry's files, if it has no registrations, and releases its record in any case. A TOC
 * file whose data file cannot be removed stays, so that the entry can still be found.
 *
 * @param depot  the handle.
 * @param entry  the entry; not to be used afterwards, unless a wait failed.
 * @param force  non-zero to remove the files whatever the registrations.
 * @return       success when the files are gone, or were kept for their registrations; the error of
 *               the removal that failed; or the failed wait.
 */
SPRIG_API PalError DepotRemoveEntry(Depot *depot, DepotEntry *entry, int force);

/**
 * DepotRemoveEntry() for callers that hold the depot's lock.
 *
 * @param depot  the handle.
 * @param entry  the entry; not to be used afterwards, unless a wait failed.
 * @param force  as for DepotRemoveEntry().
 * @return       as DepotRemoveEntry().
 */
SPRIG_API PalError DepotRemoveEntry_internal(Depot *depot, DepotEntry *entry, int force);

/**
 * Releases an entry's record; its files stay. A depot lock that cannot be had is logged, and the
 * operation goes on.
 *
 * @param depot  the handle.
 * @param entry  the entry; not to be used afterwards.
 * @return       success, or the error of a wait.
 */
SPRIG_API PalError DepotFreeEntry(Depot *depot, DepotEntry *entry);

/**
 * Tells whether an entry's data were opened for writing, in this process, at another time than the
 * caller knows.
 *
 * When they were, the entries' lock stays taken: other processes' waits on it end with the time-out
 * that completion ignores. The caller gives it back, with PalPostSem() on Depot::entryLock, when it
 * has dealt with the change.
 *
 * @param depot    the handle.
 * @param id       segment identifier.
 * @param version  segment version.
 * @param time     the time that the caller knows.
 * @return         1 when they were; 0 when they were not, there is no such entry, or a wait failed.
 */
SPRIG_API int DepotEntryModified(Depot *depot, const char *id, const char *version, int32_t time);

/** @} */

/**
 * @name Space
 *
 * Amounts are kilobytes of 1024 bytes, in 32 bits. A depot opened with a limit of 0 keeps no
 * account: every reservation succeeds and changes nothing.
 * @{
 */

/**
 * Converts bytes to kilobytes, rounded up, in the low 32 bits.
 *
 * @param size  bytes; the two's complement of a negative amount gives that of the kilobytes,
 * rounded towards zero.
 * @return      kilobytes.
 */
SPRIG_API uint32_t ConvertDataSize(uint64_t size);

/**
 * Reserves space.
 *
 * @param handle     the handle.
 * @param kilobytes  amount.
 * @return           success; {26, 0, 0} when less is available, with nothing changed; or the failed
 *                   wait.
 */
SPRIG_API PalError DepotReserveDiskSpace(Depot *handle, uint32_t kilobytes);

/**
 * Gives space back, with no upper bound. A failed wait is logged, and changes nothing.
 *
 * @param handle     the handle.
 * @param kilobytes  amount; a negative one takes space.
 */
SPRIG_API void DepotUnreserveDiskSpace(Depot *handle, int32_t kilobytes);

/**
 * Gives back what an entry's data file takes less than DepotEntry::size; takes what it takes more.
 *
 * @param handle   the handle.
 * @param id       segment identifier.
 * @param version  segment version.
 * @return         success, also when there is no such entry, which is logged; or the error of
 * asking for the file's size.
 */
SPRIG_API PalError DepotAdjustReservedSpace(Depot *handle, const char *id, const char *version);

/**
 * Asks for the size of an entry's data file, and records it in the entry.
 *
 * @param handle  the handle.
 * @param entry   the entry.
 * @param size    receives the size in bytes.
 * @return        the outcome of asking, or the failed wait.
 */
SPRIG_API PalError DepotEntryGetFileSize(Depot *handle, DepotEntry *entry, uint64_t *size);

/**
 * Tells where a transfer into an entry can go on: at the end of its data, unless somebody in this
 * process opened them for writing since the caller did.
 *
 * @param depot      the handle.
 * @param id         segment identifier.
 * @param version    segment version.
 * @param time       DepotEntry::modify_time that the caller knows.
 * @param offsetOut  receives the size of the data file in bytes when the times are equal; untouched
 *                   otherwise.
 * @return           success; {2, 0, 0} when there is no such entry; the failed wait; or the error
 * of asking for the size.
 */
SPRIG_API PalError DepotSetCheckpointOffset(Depot *depot, const char *id, const char *version,
                                            int32_t time, uint64_t *offsetOut);

/**
 * Records the size of an entry's data file in the entry.
 *
 * @param handle  the handle.
 * @param entry   the entry.
 * @return        as DepotEntryGetFileSize().
 */
SPRIG_API PalError DepotSetSegmentSize(Depot *handle, DepotEntry *entry);

/**
 * Adds up the data files that lie in the depot's directory. Loads every entry on disk; the records
 * stay loaded.
 *
 * @param handle  the handle.
 * @param total   kilobytes, added to.
 * @return        success; the error of asking for a size, which ends the sum; of the enumeration;
 * or the failed wait.
 */
SPRIG_API PalError DepotGetPermStorage(Depot *handle, uint32_t *total);

/** @} */

/**
 * @name Enumeration and purge
 *
 * The key of the enumeration's semaphore is a file "enum.lk" in the current directory.
 * @{
 */

/**
 * Begins a walk over the entries on disk.
 *
 * @param depot       the handle.
 * @param enumerator  receives the walk, ended with DepotEntryEnumDelete(); null on failure.
 * @return            success; {12, 0, 3} when memory runs out; the error of the lock file, of its
 *                    semaphore or of opening the directory.
 */
SPRIG_API PalError DepotEnumNew(Depot *depot, DepotEnum **enumerator);

/**
 * Loads the next entry on disk: files whose names end in "xml", with something before that, in the
 * order of the directory. A file that is no TOC file is logged and skipped; one that cannot be read
 * is logged and ends the walk.
 *
 * @param enumerator  the walk.
 * @return            a new record, owned by the handle's list; null at the end or on failure.
 */
SPRIG_API DepotEntry *DepotEntryEnumNextElement(DepotEnum *enumerator);

/**
 * Ends a walk.
 *
 * @param enumerator  the walk, released unless the wait fails.
 * @return            success, or the failed wait.
 */
SPRIG_API PalError DepotEntryEnumDelete(DepotEnum *enumerator);

/**
 * Removes all complete entries whose deadline has passed, whatever their registrations. A depot
 * lock that cannot be had is logged, and the operation goes on.
 *
 * @param depot  the handle.
 * @return       success; the error of the enumeration; or the last failure of a wait, a removal or
 * a release, after which the walk went on.
 */
SPRIG_API PalError DepotPurgeExpiredEntries(Depot *depot);

/**
 * Removes all entries that have no registrations.
 *
 * @param depot  the handle.
 * @param force  non-zero to remove the others as well.
 * @return       the outcome of the last removal; success when there was none; the error of the
 *               enumeration; or the failed wait.
 */
SPRIG_API PalError DepotPurge(Depot *depot, int force);

/** @} */

SPRIG_END_DECLS

#endif
