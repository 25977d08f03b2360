/**
 * @file
 * @brief Linkage of the public interface, shared by all headers.
 *
 * Conventions that hold for every function declared with #SPRIG_API or #SPRIG_RUNTIME_API:
 *
 * - C linkage; no function throws a C++ exception. What "throws" here is an exception of the
 * framework (see eh_push_try()), which leaves by longjmp(): no object with a destructor may live
 * across it.
 * - Text is NUL-terminated bytes in whatever encoding the caller uses; nothing here interprets it.
 * - A pointer that a function does not document as optional must point to valid storage. Where a
 *   null pointer has a documented result, that result is given and nothing is touched.
 * - There are no threads in the library and no locks around its data: one thread at a time may use
 *   a given object. Functions without a common object may run at the same time.
 */
#ifndef SPRIG_API_H
#define SPRIG_API_H

/**
 * @def SPRIG_BEGIN_DECLS
 * Opens the declarations of a header: they have C linkage.
 *
 * @def SPRIG_END_DECLS
 * Closes them.
 */
#ifdef __cplusplus
#define SPRIG_BEGIN_DECLS extern "C" {
#define SPRIG_END_DECLS }
#else
#define SPRIG_BEGIN_DECLS
#define SPRIG_END_DECLS
#endif

/** Marks a function or object as exported from the shared library. */
#define SPRIG_API __attribute__((visibility("default")))

/** Marks what the framework runtime provides; the library only calls it. */
#define SPRIG_RUNTIME_API __attribute__((visibility("default")))

/** Marks a function that throws or ends the process, and never returns. */
#define SPRIG_NORETURN __attribute__((noreturn))

/** Lets the compiler check the arguments of a printf-like function (positions count from 1). */
#define SPRIG_PRINTF(format_position, first_argument)                                              \
  __attribute__((format(printf, format_position, first_argument)))

#endif
