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

SAME(offsetof(Depot, depotLock), 0);
SAME(offsetof(Depot, entryLock), sizeof(void *));
SAME(offsetof(Depot, directory), 2 * sizeof(void *));
SAME(offsetof(Depot, availableSpace), 3 * sizeof(void *));
SAME(offsetof(Depot, maxSpace), 3 * sizeof(void *) + 4);
SAME(offsetof(Depot, entries), 3 * sizeof(void *) + 8);
SAME(offsetof(Depot, index), 4 * sizeof(void *) + 8);

SAME(offsetof(DepotEntry, size), 0);
SAME(offsetof(DepotEntry, reference_count), 8);
SAME(offsetof(DepotEntry, open_count), 12);
SAME(offsetof(DepotEntry, write_count), 16);
SAME(offsetof(DepotEntry, deadline), 20);
SAME(offsetof(DepotEntry, access_time), 24);
SAME(offsetof(DepotEntry, modify_time), 28);
SAME(offsetof(DepotEntry, checksum), 32);
SAME(offsetof(DepotEntry, state), 36);
SAME(offsetof(DepotEntry, id), 40);
SAME(offsetof(DepotEntry, version), 40 + sizeof(void *));
SAME(offsetof(DepotEntry, toc_path), 40 + 2 * sizeof(void *));
SAME(offsetof(DepotEntry, location), 40 + 3 * sizeof(void *));
SAME(offsetof(DepotEntry, properties), 40 + 4 * sizeof(void *));
SAME(offsetof(DepotEntry, properties_length), 40 + 5 * sizeof(void *));

SAME(offsetof(DepotEnum, depot), 0);
SAME(offsetof(DepotEnum, enumLock), sizeof(void *));
SAME(offsetof(DepotEnum, dir), 2 * sizeof(void *));

#define WORDS(count) ((count) * sizeof(void *))
/* Where words have 4 bytes, every size is a published number. */
#define SIZE(type, in_words, in_bytes, published)                                                  \
  SAME(sizeof(type), WORDS(in_words) + (in_bytes));                                                \
  _Static_assert(sizeof(void *) != 4 || sizeof(type) == (published), #type)

#define SEQUENCE(type)                                                                             \
  SIZE(type, 1, 8, 12);                                                                            \
  SAME(sizeof(((type *)0)->maximum), 4);                                                           \
  SAME(sizeof(((type *)0)->length), 4);                                                            \
  SAME(offsetof(type, maximum), 0);                                                                \
  SAME(offsetof(type, length), 4);                                                                 \
  SAME(offsetof(type, buffer), 8)
SEQUENCE(Sequence);
SEQUENCE(OctetList);
SEQUENCE(StringList);
SEQUENCE(XOpenMessage);
SEQUENCE(Properties);
SEQUENCE(PropertiesList);
SEQUENCE(PropertiesListList);
SEQUENCE(StreamKey);

SIZE(TypeCode, 1, 0, 4);
SIZE(Object, 1, 0, 4);

SIZE(any, 2, 0, 8);
SAME(offsetof(any, type), 0);
SAME(offsetof(any, value), WORDS(1));

SIZE(Environment, 4, 0, 16);
SAME(offsetof(Environment, exception), 0);
SAME(offsetof(Environment, reserved), WORDS(1));

SIZE(TypeCodeMember, 2, 0, 8);
SAME(offsetof(TypeCodeMember, name), 0);
SAME(offsetof(TypeCodeMember, type), WORDS(1));

SIZE(struct TypeCodeRecord, 5, 8, 28);
SAME(offsetof(struct TypeCodeRecord, name), 0);
SAME(offsetof(struct TypeCodeRecord, kind), WORDS(1));
SAME(offsetof(struct TypeCodeRecord, size), WORDS(1) + 4);
SAME(offsetof(struct TypeCodeRecord, marshal), WORDS(1) + 8);
SAME(offsetof(struct TypeCodeRecord, members), WORDS(2) + 8);
SAME(offsetof(struct TypeCodeRecord, member_count), WORDS(3) + 8);
SAME(offsetof(struct TypeCodeRecord, ancestry), WORDS(4) + 8);

SIZE(TypeRepository, 3, 0, 12);
SAME(offsetof(TypeRepository, parent), 0);
SAME(offsetof(TypeRepository, types), WORDS(1));
SAME(offsetof(TypeRepository, count), WORDS(2));

SIZE(MessageEntry, 5, 0, 20);
SAME(offsetof(MessageEntry, catalog), 0);
SAME(offsetof(MessageEntry, default_text), WORDS(1));
SAME(offsetof(MessageEntry, message_id), WORDS(2));
SAME(offsetof(MessageEntry, arguments), WORDS(3));

SIZE(ExErrorMsg, 7, 16, 44);
SAME(offsetof(ExErrorMsg, type_name), 0);
SAME(offsetof(ExErrorMsg, catalog), WORDS(1));
SAME(offsetof(ExErrorMsg, key), WORDS(2));
SAME(offsetof(ExErrorMsg, default_msg), WORDS(3));
SAME(offsetof(ExErrorMsg, time_stamp), WORDS(4));
SAME(offsetof(ExErrorMsg, msg_context), WORDS(5));
SAME(offsetof(ExErrorMsg, emsg), WORDS(6) + 8);

SIZE(ExDistributionDeferred, 8, 16, 48);
SAME(offsetof(ExDistributionDeferred, base), 0);
SAME(offsetof(ExDistributionDeferred, defer_time), sizeof(ExErrorMsg));

SIZE(AdrBuffer, 1, 8, 12);
SAME(offsetof(AdrBuffer, data), 0);
SAME(offsetof(AdrBuffer, length), WORDS(1));
SAME(offsetof(AdrBuffer, error), WORDS(1) + 4);

SIZE(Property, 3, 0, 12);
SAME(offsetof(Property, key), 0);
SAME(offsetof(Property, value), WORDS(1));

SIZE(ConfigKey, 2, 0, 8);
SAME(offsetof(ConfigKey, name), 0);
SAME(offsetof(ConfigKey, value), WORDS(1));

SIZE(ChannelReply, 2, 8, 16);
SAME(offsetof(ChannelReply, message_type), 0);
SAME(offsetof(ChannelReply, status), 4);
SAME(offsetof(ChannelReply, length), 8);
SAME(offsetof(ChannelReply, data), WORDS(1) + 8);

SAME(sizeof(MethodStatus), 32);
SAME(offsetof(MethodStatus, field), 0);

SIZE(Dir, 1, 0, 4);

SAME(sizeof(DirEntryEnum), WORDS(4));
SAME(offsetof(DirEntryEnum, stream), 0);
SAME(offsetof(DirEntryEnum, pattern), WORDS(1));
SAME(offsetof(DirEntryEnum, name), WORDS(2));
SAME(offsetof(DirEntryEnum, flag), WORDS(3));

SAME(sizeof(File), WORDS(2));
SAME(offsetof(File, path), 0);
SAME(offsetof(File, descriptor), WORDS(1));

SAME(sizeof(Mstat), WORDS(5));
SAME(offsetof(Mstat, directory), 0);
SAME(offsetof(Mstat, distribution_id), WORDS(1));
SAME(offsetof(Mstat, suffix), WORDS(2));
SAME(offsetof(Mstat, file_name), sizeof(void *) == 4 ? 12 : 24);
SAME(offsetof(Mstat, properties), sizeof(void *) == 4 ? 16 : 32);

SAME(sizeof(Toc), WORDS(4));
SAME(offsetof(Toc, count), 0);
SAME(offsetof(Toc, segments), WORDS(1));
SAME(offsetof(Toc, list), WORDS(2));
SAME(offsetof(Toc, found_count), WORDS(3));

SAME(sizeof(Int64Length), 8);
SAME(offsetof(Int64Length, low), 4);

SIZE(FileList, 3, 0, 12);
SAME(offsetof(FileList, cursor), 0);
SAME(offsetof(FileList, list), WORDS(1));
SAME(offsetof(FileList, current), WORDS(2));
