/* The layout of records that callers hold by value, as a C program sees it. */
#include <stddef.h>

#include <sprig/sprig.h>

#define SAME(a, b) _Static_assert((a) == (b), #a " == " #b)

SAME(sizeof(PalError), 12);
SAME(offsetof(PalError, palError), 0);
SAME(offsetof(PalError, nativeError), 4);
SAME(offsetof(PalError, traceLocation), 8);

SAME(sizeof(PalListValue), sizeof(void *));
SAME(sizeof(PalList1), sizeof(void *));
SAME(sizeof(PalList1Iterator), 3 * sizeof(void *));
SAME(offsetof(PalList1Iterator, next), sizeof(void *));
SAME(offsetof(PalList1Iterator, end), 2 * sizeof(void *));

SAME(sizeof(PalInternalSem), 8);
SAME(offsetof(PalInternalSem, waiters), 4);
SAME(sizeof(PalSemHandle), sizeof(void *));
SAME(sizeof(PalFileHandle), sizeof(void *));
SAME(sizeof(PalDirHandle), sizeof(void *));

SAME(offsetof(PalFileInfoT, ctime), 0);
SAME(offsetof(PalFileInfoT, atime), 8);
SAME(offsetof(PalFileInfoT, mtime), 16);
SAME(offsetof(PalFileInfoT, mode), 24);
SAME(offsetof(PalFileInfoT, nlink), 28);
SAME(offsetof(PalFileInfoT, size), 32);
SAME(offsetof(PalFileInfoT, dev), 40);
SAME(offsetof(PalFileInfoT, rdev), 44);
SAME(offsetof(PalFileInfoT, user), 48);
SAME(offsetof(PalFileInfoT, group), 1072);
SAME(sizeof(PalFileInfoT), 2096);
SAME(sizeof(PalFileAclEntryT), 1028);

SAME(sizeof(TextRange), 2 * sizeof(char *));
SAME(sizeof(TagRanges), 6 * sizeof(char *));
