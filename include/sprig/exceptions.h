/**
 * @file
 * @brief The library's messages and the exceptions that carry them.
 */
#ifndef SPRIG_EXCEPTIONS_H
#define SPRIG_EXCEPTIONS_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include <sprig/api.h>
#include <sprig/framework.h>

SPRIG_BEGIN_DECLS

/**
 * The message catalog: its name, then the default text of each message at the message's number.
 * Arguments are named by position ("%1$s").
 */
SPRIG_API extern const char *Sprig2Catalog[211];

/** A distribution that is put off. */
typedef struct ExDistributionDeferred {
  ExErrorMsg base;    /**< What every exception has. */
  int32_t defer_time; /**< Until when, in seconds since the epoch. */
} ExDistributionDeferred;

/**
 * @def SPRIG_PLAIN_EXCEPTION_TYPES
 * The exception types whose record is an #ExErrorMsg, each given to the macro @p each by its name
 * within the module `NEX_Sprig2`. `ExDistributionDeferred` is the only other.
 */
/* clang-format off */
#define SPRIG_PLAIN_EXCEPTION_TYPES(each)                                           \
  each(ExSprigException) each(ExInvalidCall) each(ExDistributionRejected)           \
  each(ExFailedToSetChkpt) each(ExRepeaterNotRunning) each(ExDistExists)            \
  each(ExEndpointNotMobile) each(ExDepotFilesystem) each(ExSendError)               \
  each(ExMsgFormatError) each(ExClientForcedToStop) each(ExClientFailedToStart)     \
  each(ExClientExitedEarly) each(ExClientFailedToConnect) each(ExClientNotServiced) \
  each(ExSendInterrupted) each(ExClientUnreachable) each(ExSegmentNotFound)         \
  each(ExInvalidSegment) each(ExSegmentLocked) each(ExLargeSegment)                 \
  each(ExDepotNoSpace)
/* clang-format on */

/**
 * Makes the record of an exception with one text.
 *
 * The arguments are taken in the order in which the text's conversions stand, whatever their
 * positions say. "%1$d" and the like (d, u, o, x, X) take a 32-bit number, which is kept as
 * unsigned decimal; "%1$s" takes text: null is kept as "(null)", "$errno" as what errno means. A
 * text with any other conversion is not used, but shown as the argument of "Format has illegal
 * types (%1$s)".
 *
 * @param type_name     name of the exception's type.
 * @param record_size   size of its record in bytes; less than an #ExErrorMsg counts as one.
 * @param catalog       name of the message catalog, or null.
 * @param message_id    number of the message in it.
 * @param default_text  its text.
 * @param arguments     the first argument comes next.
 * @return              the record, zero behind the #ExErrorMsg; the caller's, in most cases for
 *                      eh_throw().
 */
SPRIG_API void *vMakeExErrorDerived(const char *type_name, size_t record_size, const char *catalog,
                                    int32_t message_id, const char *default_text,
                                    va_list arguments);

/**
 * Makes and throws an exception of any type of the module.
 *
 * @param type_name     name of the exception's type.
 * @param catalog       as for vMakeExErrorDerived().
 * @param message_id    as for vMakeExErrorDerived().
 * @param default_text  as for vMakeExErrorDerived(); its arguments follow.
 */
SPRIG_API void vaMThrow(const char *type_name, const char *catalog, int32_t message_id,
                        const char *default_text, ...) SPRIG_NORETURN;

/**
 * Makes and throws an exception with members of its own.
 *
 * @param type_name        name of the exception's type.
 * @param template_record  a record whose members behind the #ExErrorMsg are copied.
 * @param record_size      size of both records in bytes.
 * @param catalog          as for vMakeExErrorDerived().
 * @param message_id       as for vMakeExErrorDerived().
 * @param default_text     as for vMakeExErrorDerived(); its arguments follow.
 */
SPRIG_API void vaMThrowChild(const char *type_name, const void *template_record, size_t record_size,
                             const char *catalog, int32_t message_id, const char *default_text,
                             ...) SPRIG_NORETURN;

SPRIG_END_DECLS

#endif
