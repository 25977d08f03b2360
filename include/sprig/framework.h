/**
 * @file
 * @brief What the library requires of the framework runtime that it runs in.
 *
 * Values and their types, the portable encoding, exceptions, the log, configuration and the
 * endpoint's channel. The library calls these functions through ordinary dynamic symbols and
 * contains none of them, except for the three sequence operations at the end of this file. The
 * embedded runtime, `libsprig-runtime`, provides them; another runtime that keeps the same
 * contracts can take its place at link or load time.
 *
 * Unless said otherwise, a block that a function hands out belongs to the caller, who releases it
 * with mg_free(), and failures are thrown as exceptions.
 */
#ifndef SPRIG_FRAMEWORK_H
#define SPRIG_FRAMEWORK_H

#include <setjmp.h>
#include <stddef.h>
#include <stdint.h>

#include <sprig/api.h>

SPRIG_BEGIN_DECLS

struct AdrBuffer;

/**
 * @name Memory
 *
 * Everything that enters the framework's values comes from here. Where memory runs out, these
 * functions throw if a try frame is open, and else end the process with a message.
 * @{
 */

/**
 * @param size  in bytes; 0 gives a block or null.
 * @return      a block of @p size bytes with any content.
 */
SPRIG_RUNTIME_API void *mg_malloc(size_t size);
/**
 * @param count  number of elements.
 * @param size   of one element, in bytes; a product that overflows counts as running out of memory.
 * @return       a zeroed block.
 */
SPRIG_RUNTIME_API void *mg_calloc(size_t count, size_t size);
/**
 * @param block  a block, or null for none.
 * @param size   its new size in bytes.
 * @return       the block, grown or moved; on failure the old one stays as it is.
 */
SPRIG_RUNTIME_API void *mg_realloc(void *block, size_t size);
/**
 * @param text  text; null gives null.
 * @return      a copy.
 */
SPRIG_RUNTIME_API char *mg_strdup(const char *text);
/**
 * Releases a block.
 *
 * @param block  from one of the functions above; null is ignored.
 */
SPRIG_RUNTIME_API void mg_free(void *block);

/** @} */

/**
 * @name Types and values
 * @{
 */

/** Describes a type of values; compared with TypeCode_equal(), never by address. */
typedef const struct TypeCodeRecord *TypeCode;

/** What kind of type a TypeCode describes, and how its values lie in memory. */
enum TypeKind {
  TYPE_KIND_SHORT = 2,      /**< `int16_t` */
  TYPE_KIND_LONG = 3,       /**< `int32_t` */
  TYPE_KIND_ULONG = 5,      /**< `uint32_t` */
  TYPE_KIND_BOOLEAN = 8,    /**< `uint8_t`, 0 or not */
  TYPE_KIND_OCTET = 10,     /**< `uint8_t` */
  TYPE_KIND_ANY = 11,       /**< #any */
  TYPE_KIND_OBJECT = 14,    /**< #Object */
  TYPE_KIND_STRUCT = 15,    /**< a struct: its members in order, each aligned as in C */
  TYPE_KIND_STRING = 18,    /**< `char *`, owned; null counts as empty */
  TYPE_KIND_SEQUENCE = 19,  /**< #Sequence; its element's type is the first member's */
  TYPE_KIND_ALIAS = 21,     /**< another name for the first member's type */
  TYPE_KIND_EXCEPTION = 22, /**< a struct that can be thrown: its first member is its type's name */
};

/** A named member of a type. */
typedef struct TypeCodeMember {
  const char *name; /**< Name; null where it has none, as a sequence's element. */
  TypeCode type;    /**< Type. */
} TypeCodeMember;

/** The description of a type. Programs may make their own, for static storage. */
struct TypeCodeRecord {
  const char *name; /**< Name in its repository, such as "NEX_Sprig2::Property". */
  int32_t kind;     /**< One of #TypeKind. */
  uint32_t size;    /**< Size of a value in memory, in bytes. */
  void (*marshal)(struct AdrBuffer *, void *); /**< For callers: encodes or decodes a value; may be
                                                    null. marshal_item() goes by the members. */
  const TypeCodeMember *members;               /**< Members; of a sequence, its element. */
  uint32_t member_count;                       /**< Number of @c members. */
  const char *ancestry; /**< Of an exception: the types that it derives from; else null. */
};

SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC_string[1];  /**< `char *` */
SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC_long[1];    /**< `int32_t` */
SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC_ulong[1];   /**< `uint32_t` */
SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC_short[1];   /**< `int16_t` */
SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC_boolean[1]; /**< `uint8_t` */
SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC_octet[1];   /**< `uint8_t` */
SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC_any[1];     /**< #any */
SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC_Object[1];  /**< #Object */
/** #OctetList */
SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC_NEX_Types_OctetList[1];
/** #StringList */
SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC_NEX_Types_StringList[1];
/** #XOpenMessage */
SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC_NEX_Types_XOpenMessage[1];
/** A sequence of #any. */
SPRIG_RUNTIME_API extern const struct TypeCodeRecord TC__sequence_any_MsgContext[1];

/** A value with its type. All zero is the empty value. */
typedef struct any {
  TypeCode type; /**< Type, or null. */
  void *value;   /**< The value, in a block of its own, also where it is a scalar. */
} any;

/** Elements of one type, one behind the other. All zero is the empty sequence. */
typedef struct Sequence {
  uint32_t maximum; /**< Number of elements that @c buffer has room for; 0: there is no buffer. */
  uint32_t length;  /**< Number of elements in use. */
  void *buffer;     /**< The elements. */
} Sequence;

/** A sequence of octets. */
typedef struct OctetList {
  uint32_t maximum; /**< As in #Sequence. */
  uint32_t length;  /**< As in #Sequence. */
  uint8_t *buffer;  /**< As in #Sequence. */
} OctetList;

/** A sequence of strings. */
typedef struct StringList {
  uint32_t maximum; /**< As in #Sequence. */
  uint32_t length;  /**< As in #Sequence. */
  char **buffer;    /**< As in #Sequence. */
} StringList;

/** A stringified object reference; null is the reference to nothing, and so is empty text. */
typedef char *Object;

/** Receives the exception of a call that takes one. Zeroed by the caller. */
typedef struct Environment {
  void *exception;       /**< Not null after a call that failed; ev_to_exception() passes it on. */
  uintptr_t reserved[3]; /**< Reserved. */
} Environment;

/**
 * @param a  a TypeCode, or null.
 * @param b  another.
 * @return   non-zero when both describe the same type: by name, then by structure.
 */
SPRIG_RUNTIME_API int TypeCode_equal(TypeCode a, TypeCode b);

/**
 * Copies a value with everything that it owns.
 *
 * @param type         type of the value.
 * @param environment  receives the exception of a failure, which leaves @p target empty; null: it
 *                     is thrown.
 * @param source       the value.
 * @param target       storage for a value, whose content is overwritten.
 */
SPRIG_RUNTIME_API void _t_generic_copy(TypeCode type, Environment *environment, const void *source,
                                       void *target);
/**
 * Compares two values with everything that they own.
 *
 * @param type         type of both.
 * @param environment  receives the exception of a failure; null: it is thrown.
 * @param a            a value.
 * @param b            another.
 * @return             non-zero when they are equal; 0 when not, or on failure.
 */
SPRIG_RUNTIME_API int _t_generic_equal(TypeCode type, Environment *environment, const void *a,
                                       const void *b);
/**
 * _t_generic_copy() with its arguments in another order.
 *
 * @param environment  as there.
 * @param type         as there.
 * @param source       as there.
 * @param target       as there.
 */
SPRIG_RUNTIME_API void _generic_copy(Environment *environment, TypeCode type, const void *source,
                                     void *target);
/**
 * _t_generic_equal() with its arguments in another order.
 *
 * @param environment  as there.
 * @param type         as there.
 * @param a            as there.
 * @param b            as there.
 * @return             as there.
 */
SPRIG_RUNTIME_API int _generic_equal(Environment *environment, TypeCode type, const void *a,
                                     const void *b);

/**
 * Creates a value.
 *
 * @param type  its type. Of an exception the values of all members follow, in order: strings and
 *              objects by pointer, numbers by value, anything else by a pointer to a value. They
 *              are copied; null pointers give empty members.
 * @return      a block with the value; an empty one unless it is an exception.
 */
SPRIG_RUNTIME_API void *generic_create(TypeCode type, ...);

/**
 * Releases everything that a value owns, and leaves it empty (all zero). The block that the value
 * itself lies in stays.
 *
 * @param value  the value; null is ignored.
 * @param type   its type.
 */
SPRIG_RUNTIME_API void nex_free_generic(void *value, TypeCode type);

/**
 * Appends an element to a sequence, which grows as needed.
 *
 * @param sequence      the sequence.
 * @param element       the element, whose bytes are copied.
 * @param element_size  in bytes.
 */
SPRIG_RUNTIME_API void seq_add(void *sequence, const void *element, size_t element_size);
/**
 * Takes an element out of a sequence and closes the gap.
 *
 * @param sequence      the sequence.
 * @param index         of the element, from 0.
 * @param element_size  in bytes.
 * @return              a block with the element, or null when there is none at @p index.
 */
SPRIG_RUNTIME_API void *seq_remove(void *sequence, uint32_t index, size_t element_size);
/**
 * Releases a sequence's buffer, not what its elements own, and leaves it empty.
 *
 * @param sequence  the sequence.
 */
SPRIG_RUNTIME_API void seq_free_buffer(void *sequence);

/** @} */

/**
 * @name Exceptions
 *
 * A function that has to act when an exception passes opens a try frame around a jump buffer of its
 * own, calls setjmp() on it, and closes the frame before it returns:
 *
 *     jmp_buf buffer;
 *     EhFrame *frame = eh_push_try(buffer);
 *     if (setjmp(buffer) == 0) {
 *       ...                        blocks handed to ex_delegate() are released with the frame
 *       eh_pop_try(frame);
 *     } else if (eh_catch_all(frame)) {
 *       ...                        eh_current_exception(frame) is what was thrown
 *       eh_pop_try(frame);         releases it
 *     } else {
 *       eh_again(frame);
 *       eh_pop_try(frame);         goes on to the next outer frame
 *     }
 *
 * Frames are kept per thread. An exception that meets no frame is shown on standard error and ends
 * the process.
 * @{
 */

/** A text for a person: where its translation is found, and its arguments. */
typedef struct MessageEntry {
  char *catalog;      /**< Name of the message catalog, or null. */
  char *default_text; /**< Text where the catalog has none; arguments are named by position. */
  int32_t message_id; /**< Number of the message in the catalog. */
  any arguments;      /**< A #StringList: every argument is carried as text. */
} MessageEntry;

/** A sequence of texts for a person. */
typedef struct XOpenMessage {
  uint32_t maximum;     /**< As in #Sequence. */
  uint32_t length;      /**< As in #Sequence. */
  MessageEntry *buffer; /**< As in #Sequence. */
} XOpenMessage;

/** What is thrown. Exceptions of other types begin with these members. */
typedef struct ExErrorMsg {
  char *type_name;      /**< Name of the exception's type. */
  char *catalog;        /**< Name of the message catalog of @c default_msg, or null. */
  int32_t key;          /**< Number of @c default_msg in that catalog. */
  char *default_msg;    /**< What to show; "%7$M" stands for the texts of @c emsg. */
  int32_t time_stamp;   /**< When it was made, in seconds since the epoch. */
  Sequence msg_context; /**< A sequence of #any. */
  XOpenMessage emsg;    /**< Texts. */
} ExErrorMsg;

/** An open try frame. */
typedef struct EhFrame EhFrame;

/**
 * Opens a try frame.
 *
 * @param buffer  where an exception returns to; setjmp() is called on it next.
 * @return        the frame, until eh_pop_try().
 */
SPRIG_RUNTIME_API EhFrame *eh_push_try(jmp_buf buffer);
/**
 * Closes the innermost frame: releases what was delegated to it, the last first, and the exception
 * that it claimed. An exception marked by eh_again() goes on to the next outer frame; then this
 * does not return. One that nobody claimed stays at hand for an eh_again() that follows, until
 * another such one comes.
 *
 * A release function may throw: its exception takes the place of the first, and everything else is
 * released nevertheless.
 *
 * @param frame  the frame.
 */
SPRIG_RUNTIME_API void eh_pop_try(EhFrame *frame);
/**
 * Passes the current exception on to the next outer frame: when the frame is popped, or at once if
 * it was popped before; then this does not return.
 *
 * @param frame  the frame that the exception came to; further arguments are ignored.
 */
SPRIG_RUNTIME_API void eh_again(EhFrame *frame, ...);
/**
 * Claims the current exception for a frame.
 *
 * @param frame  the frame.
 * @return       0 when there is none.
 */
SPRIG_RUNTIME_API int eh_catch_all(EhFrame *frame);
/**
 * @param frame  a frame.
 * @return       the record of the exception that came to it, or null. It belongs to the runtime.
 */
SPRIG_RUNTIME_API void *eh_current_exception(EhFrame *frame);
/**
 * Closes a frame and throws the exception that came to it again.
 *
 * @param frame  the frame.
 */
SPRIG_RUNTIME_API void eh_rethrow(EhFrame *frame) SPRIG_NORETURN;
/**
 * Throws an exception.
 *
 * @param type_name  name of its type.
 * @param record     a block with a value of that type, which passes to the runtime. Its first
 *                   member is its type's name. A record of a type that no registered repository
 *                   has is taken for an #ExErrorMsg: it must begin like one, or be smaller.
 */
SPRIG_RUNTIME_API void eh_throw(const char *type_name, void *record) SPRIG_NORETURN;
/**
 * Has a block released when the innermost frame closes, however that happens. Without a frame,
 * nothing happens.
 *
 * @param block    the block; null is ignored.
 * @param release  called with it.
 */
SPRIG_RUNTIME_API void ex_delegate(void *block, void (*release)(void *));
/**
 * Takes back the innermost ex_delegate() of a block.
 *
 * @param block     the block, which is the caller's again.
 * @param reserved  0.
 */
SPRIG_RUNTIME_API void ex_undelegate(void *block, int reserved);
/**
 * @param exception  an exception's record; one of a type that no registered repository has is taken
 *                   for an #ExErrorMsg.
 * @return           its message as text, translated where a catalog has it.
 */
SPRIG_RUNTIME_API char *def_ex_bind(void *exception);
/**
 * Throws an #ExErrorMsg with one text.
 *
 * @param catalog_name  name of the message catalog, or null.
 * @param message_id    number of the message in it.
 * @param default_text  the text where the catalog has none. Arguments follow in the order of their
 *                      positions: 32-bit numbers for "%1$d" and the like, text for "%1$s" (null is
 *                      shown as "(null)").
 */
SPRIG_RUNTIME_API void vaThrow(const char *catalog_name, int32_t message_id,
                               const char *default_text, ...) SPRIG_NORETURN;
/**
 * Puts an #ExErrorMsg with one text into an environment, in place of what is there.
 *
 * @param environment  the environment; null: it is thrown.
 * @param reserved     0.
 * @param target       -1.
 * @param format       the text, with its arguments behind it as for vaThrow().
 */
SPRIG_RUNTIME_API void vaRaiseException(Environment *environment, int reserved, int target,
                                        const char *format, ...);
/**
 * Throws the exception of a failed call, and leaves the environment empty.
 *
 * @param environment  the environment.
 */
SPRIG_RUNTIME_API void ev_to_exception(Environment *environment) SPRIG_NORETURN;

/** @} */

/**
 * @name Portable encoding
 *
 * `docs/formats/adr.md` describes the bytes.
 * @{
 */

/**
 * A value being encoded or decoded, in one block of its own. Once @c error is set, further calls
 * encode nothing, and decode empty values.
 */
typedef struct AdrBuffer {
  uint8_t *data;   /**< When encoding: the bytes so far, in a block of their own, or null. */
  uint32_t length; /**< Number of bytes. */
  int32_t error;   /**< 0, or why it failed. */
} AdrBuffer;

/**
 * @param type   type of the value that will be encoded.
 * @param value  that value.
 * @return       a buffer without any bytes.
 */
SPRIG_RUNTIME_API AdrBuffer *adr_init_encode_buffer(TypeCode type, const void *value);
/**
 * @param data    the bytes, which stay the caller's and must outlive the buffer.
 * @param length  number of bytes.
 * @return        a buffer over them.
 */
SPRIG_RUNTIME_API AdrBuffer *adr_init_decode_buffer(const uint8_t *data, uint32_t length);
/**
 * Encodes a value behind what the buffer holds, or decodes the next one.
 *
 * @param buffer  the buffer.
 * @param type    type of the value.
 * @param value   the value to encode, or storage whose content is overwritten. After a failure it
 *                holds what was decoded before, and can be released like any value.
 */
SPRIG_RUNTIME_API void marshal_item(AdrBuffer *buffer, TypeCode type, void *value);
/**
 * Releases a buffer, and the bytes that were encoded.
 *
 * @param buffer  the buffer; null is ignored.
 */
SPRIG_RUNTIME_API void adr_free_buf(AdrBuffer *buffer);

/**
 * Begins a struct; its members follow in order.
 *
 * @param buffer  the buffer.
 * @param type    type of the struct.
 */
SPRIG_RUNTIME_API void adr_start_struct(AdrBuffer *buffer, TypeCode type);
/**
 * Ends a struct.
 *
 * @param buffer  the buffer.
 * @param type    type of the struct.
 */
SPRIG_RUNTIME_API void adr_end_struct(AdrBuffer *buffer, TypeCode type);
/**
 * marshal_item() of a string.
 *
 * @param buffer  the buffer.
 * @param value   the string.
 */
SPRIG_RUNTIME_API void adr_v_string(AdrBuffer *buffer, char **value);
/**
 * marshal_item() of a long.
 *
 * @param buffer  the buffer.
 * @param value   the number.
 */
SPRIG_RUNTIME_API void adr_v_long(AdrBuffer *buffer, int32_t *value);
/**
 * marshal_item() of a value with its type.
 *
 * @param buffer  the buffer.
 * @param value   the value.
 */
SPRIG_RUNTIME_API void adr_v_any(AdrBuffer *buffer, any *value);
/**
 * marshal_item() of an object reference.
 *
 * @param buffer  the buffer.
 * @param value   the reference.
 */
SPRIG_RUNTIME_API void adr_v_Object(AdrBuffer *buffer, Object *value);
/**
 * Stands in a type's record where nothing is to be encoded.
 *
 * @param buffer  the buffer.
 * @param value   ignored.
 */
SPRIG_RUNTIME_API void adr_v_dummy(AdrBuffer *buffer, void *value);
/**
 * marshal_item() of a sequence.
 *
 * @param buffer  the buffer.
 * @param type    type of the sequence.
 * @param value   the sequence.
 */
SPRIG_RUNTIME_API void adr_v_tc_sequence(AdrBuffer *buffer, TypeCode type, void *value);
/**
 * marshal_item() of a sequence of texts.
 *
 * @param buffer  the buffer.
 * @param value   the sequence.
 */
SPRIG_RUNTIME_API void adr_v_NEX_Types_XOpenMessage(AdrBuffer *buffer, XOpenMessage *value);

/** Types that can be found by name. */
typedef struct TypeRepository {
  const struct TypeRepository *parent; /**< Where to go on looking, or null. */
  const TypeCode *types;               /**< The types. */
  uint32_t count;                      /**< Number of @c types. */
} TypeRepository;

/** A repository without types. */
SPRIG_RUNTIME_API extern const TypeRepository type_repository_null[1];
/** The runtime's own types, which need no registration. */
SPRIG_RUNTIME_API extern const TypeRepository stypes_type_repository[1];
/**
 * Makes the types of a repository and of its parents known to the decoder. What was registered
 * before, and the runtime's own types, come first.
 *
 * @param repository  the repository, which must stay.
 */
SPRIG_RUNTIME_API void adr_type_init(const TypeRepository *repository);
/** The bound of a sequence without one: 0. */
SPRIG_RUNTIME_API extern const uint32_t _any_bound_zero;

/** @} */

/**
 * @name Log
 * @{
 */

/**
 * Writes a line to the process log, whatever its level.
 *
 * @param format  printf-style, with its arguments behind it; null is ignored.
 */
SPRIG_RUNTIME_API void LogQ(const char *format, ...) SPRIG_PRINTF(1, 2);

/**
 * Writes a line to the message log, which decides by its level whether it is kept.
 *
 * @param level    0 for a failure that ends an operation, 1 for a problem that was worked around, 2
 *                 for a notice, 3 for the trace of an operation's entry and exit.
 * @param catalog  reserved, 0.
 * @param message  reserved, 0.
 * @param target   reserved, -1.
 * @param format   printf-style, with its arguments behind it, which may be named by position
 *                 ("%1$s"); null is ignored.
 */
SPRIG_RUNTIME_API void LogMsg(int level, int catalog, int message, int target, const char *format,
                              ...) SPRIG_PRINTF(5, 6);

/** @} */

/**
 * @name Configuration and environment
 * @{
 */

/** @return the process's work directory, or null when there is none. */
SPRIG_RUNTIME_API char *mrt_get_work_dir(void);
/** @return the directory for temporary files. It is not the caller's. */
SPRIG_RUNTIME_API const char *cpl_tmpdir(void);
/**
 * @param name  name of an environment variable.
 * @return      its value, or null. It is not the caller's.
 */
SPRIG_RUNTIME_API const char *cpl_getenv(const char *name);
/**
 * Normalises a path: runs of slashes become one, "." and a slash at the end are left out. Links and
 * ".." stay, for what they lead to is the file system's to say.
 *
 * @param path   the path; null gives null.
 * @param style  reserved, 1.
 * @return       the path in its normal form.
 */
SPRIG_RUNTIME_API char *CorrectPath(const char *path, int style);
/** @return the path of the endpoint's configuration file, or null when there is none. */
SPRIG_RUNTIME_API char *mrt_get_config_filespec(void);

/** A key that is looked for in a configuration file. */
typedef struct ConfigKey {
  const char *name; /**< Name. */
  char *value;      /**< Receives the value, which is the caller's; else it is left alone. */
} ConfigKey;

/**
 * Reads values from a configuration file: lines "key=value"; blanks around both are cut off, empty
 * lines and those that begin with "#" are skipped. The last line of a key counts.
 *
 * @param path   path of the file.
 * @param table  what is wanted, values null.
 * @param count  number of keys.
 * @return       0, or -1 with errno set when the file cannot be read; then no value is filled in.
 */
SPRIG_RUNTIME_API int mrt_get_config_from_file(const char *path, ConfigKey *table, int count);

/**
 * Classifies a byte of multibyte text.
 *
 * @param string  the text.
 * @param index   of the byte, from 0.
 * @return        0 for a character of one byte, 2 for the first byte of a longer one, 1 for one of
 *                its other bytes, -1 for a byte that is none of these or lies outside the text.
 */
SPRIG_RUNTIME_API int ulk_mbsbtype(const char *string, int32_t index);

/** @} */

/**
 * @name Endpoint channel
 *
 * `docs/formats/channel.md` describes the messages and their order. Every failure is thrown.
 * @{
 */

/** @return the session that this process takes part in. */
SPRIG_RUNTIME_API int32_t ep_session_id(void);
/** @return the channel to the sender, which is not the caller's. */
SPRIG_RUNTIME_API void *ecp_get_ipc_handle(void);
/**
 * Sends a message.
 *
 * @param channel       from ecp_get_ipc_handle().
 * @param data          its content; null when @p length is 0.
 * @param length        in bytes.
 * @param message_type  its type.
 * @param session_id    the session.
 * @return              0.
 */
SPRIG_RUNTIME_API int net_send_protected(void *channel, const void *data, uint32_t length,
                                         int32_t message_type, int32_t session_id);

/** The answer to a message. */
typedef struct ChannelReply {
  int32_t message_type; /**< Type of the message that it came in. */
  int32_t status;       /**< Negative: refused. */
  uint32_t length;      /**< Number of bytes of @c data. */
  uint8_t *data;        /**< What came with it, or null; the receiver's. */
} ChannelReply;

/**
 * Waits for an answer.
 *
 * @param channel       from ecp_get_ipc_handle().
 * @param message_type  the type that the message must have.
 * @param reply         receives the answer.
 * @return              0.
 */
SPRIG_RUNTIME_API int recv_struct(void *channel, int32_t message_type, ChannelReply *reply);

/** How a method stands. */
typedef struct MethodStatus {
  int32_t field[8]; /**< All 0 opens a transfer. */
} MethodStatus;

/**
 * Sends a method's status.
 *
 * @param channel     from ecp_get_ipc_handle().
 * @param status      the status.
 * @param session_id  the session.
 * @return            0.
 */
SPRIG_RUNTIME_API int send_methstat(void *channel, const MethodStatus *status, int32_t session_id);
/**
 * Sends the table of contents, if one is given, and waits for the next message with data.
 *
 * @param message  receives the message, which is the caller's: a command byte, then data; null at
 *                 the end.
 * @param toc      the encoded table of contents, or null.
 * @return         length of the message in bytes, or 0 at the end.
 */
SPRIG_RUNTIME_API int32_t ep_sprig_recv(unsigned char **message, const OctetList *toc);
/**
 * Takes a message that is waiting. Never blocks.
 *
 * @param message  receives the message, as in ep_sprig_recv(), or null. Where this is null itself,
 *                 nothing is taken.
 * @return         length of the message in bytes, or 0 when none is waiting.
 */
SPRIG_RUNTIME_API int32_t ep_sprig_poll(unsigned char **message);
/**
 * Closes a channel that the caller opened.
 *
 * @param handle  a block with a descriptor (`int`), which is closed; the block is released.
 */
SPRIG_RUNTIME_API void iom_close(void *handle);

/** @} */

/**
 * @name Sequence operations of the library itself
 * @{
 */

/**
 * Makes a sequence empty, whatever it held.
 *
 * @param sequence  the sequence.
 */
SPRIG_API void seq_init(void *sequence);
/**
 * Releases a sequence in a block of its own: its buffer and the block, not what its elements own.
 *
 * @param sequence  the sequence; null is ignored.
 */
SPRIG_API void seq_free(void *sequence);
/**
 * Puts another element in the place of one.
 *
 * @param sequence      the sequence.
 * @param element       the new element, whose bytes are copied.
 * @param index         of the old one, from 0; one that is not there throws message 39.
 * @param element_size  in bytes.
 * @return              a block with the old element, which is the caller's.
 */
SPRIG_API void *seq_replace(void *sequence, const void *element, uint32_t index,
                            size_t element_size);

/** @} */

SPRIG_END_DECLS

#endif
