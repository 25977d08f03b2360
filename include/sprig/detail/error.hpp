/**
 * @file
 * @brief sprig::Error, and sprig::call() that throws it. Included by `sprig/sprig.hpp`.
 */
#ifndef SPRIG_DETAIL_ERROR_HPP
#define SPRIG_DETAIL_ERROR_HPP

#include <csetjmp>
#include <cstdint>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <sprig/exceptions.h>
#include <sprig/framework.h>
#include <sprig/types.h>

namespace sprig {

/** @cond */
namespace detail {

// Whether records of a type begin like an ExErrorMsg. Of other types only the name is known, which
// every record begins with.
inline bool begins_like_message(std::string_view type_name) {
#define SPRIG_DETAIL_IS_TYPE(type) || type_name == TC_NEX_Sprig2_##type->name
  return type_name == "ExErrorMsg" ||
         type_name == TC_NEX_Sprig2_ExDistributionDeferred->name SPRIG_PLAIN_EXCEPTION_TYPES(
                          SPRIG_DETAIL_IS_TYPE);
#undef SPRIG_DETAIL_IS_TYPE
}

} // namespace detail
/** @endcond */

/** A framework exception. what() is its message as shown to a person, without the newline. */
class SPRIG_API Error : public std::runtime_error {
public:
  /**
   * @param record  the exception's record, of whatever type; more than its type's name is read
   *                where that is one of the framework's or the library's.
   * @param text    its message, as from def_ex_bind().
   */
  Error(const void *record, std::string_view text)
      : std::runtime_error(std::string(text.substr(0, text.find_last_not_of('\n') + 1))),
        details_(std::make_shared<const Details>(record)) {}

  /**
   * @param record  the exception's record.
   * @param text    its message.
   */
  Error(const ExErrorMsg &record, std::string_view text)
      : Error(static_cast<const void *>(&record), text) {}

  /** @return the number of its message in the catalog. */
  int32_t id() const noexcept { return details_->id; }
  /** @return the name of the message catalog; empty when there is none. */
  const std::string &catalog() const noexcept { return details_->catalog; }
  /** @return the name of its type, such as "ExErrorMsg". */
  const std::string &type_name() const noexcept { return details_->type_name; }
  /** @return the message's arguments, by position. */
  const std::vector<std::string> &arguments() const noexcept { return details_->arguments; }

private:
  struct Details {
    explicit Details(const void *exception)
        : type_name(or_empty(*static_cast<const char *const *>(exception))) {
      if (!detail::begins_like_message(type_name)) {
        return;
      }
      const auto &record = *static_cast<const ExErrorMsg *>(exception);
      id = record.key;
      catalog = or_empty(record.catalog);
      if (record.emsg.length > 0) {
        const MessageEntry &message = record.emsg.buffer[0];
        id = message.message_id;
        catalog = or_empty(message.catalog);
        read_arguments(message.arguments);
      }
    }
    void read_arguments(const any &list) {
      if (list.value != nullptr && TypeCode_equal(list.type, TC_NEX_Types_StringList) != 0) {
        const auto &texts = *static_cast<const StringList *>(list.value);
        for (uint32_t i = 0; i < texts.length; ++i) {
          arguments.emplace_back(or_empty(texts.buffer[i]));
        }
      }
    }
    static const char *or_empty(const char *text) { return text == nullptr ? "" : text; }

    int32_t id = 0;
    std::string catalog;
    std::string type_name;
    std::vector<std::string> arguments;
  };

  std::shared_ptr<const Details> details_; // shared, so that copies of the exception cannot fail
};

/** @cond */
namespace detail {

inline std::exception_ptr as_error(const void *record, const char *text) noexcept {
  try {
    throw Error(record, text);
  } catch (...) {
    return std::current_exception(); // it, or what making it failed with
  }
}

inline std::exception_ptr caught_in(EhFrame *frame) {
  void *record = eh_current_exception(frame);
  char *text = def_ex_bind(record);
  std::exception_ptr error = as_error(record, text);
  mg_free(text);
  return error;
}

using Body = void (*)(void *context);

inline void run_and_release(Body body, void *context, std::exception_ptr &left) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) {
    try {
      body(context);
    } catch (...) {
      left = std::current_exception();
    }
  } else {
    eh_again(frame);
  }
  eh_pop_try(frame);
}

// Two frames: the inner one releases what the body delegates, and the outer one is there when a
// release throws.
inline void run(Body body, void *context, std::exception_ptr &left) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) {
    run_and_release(body, context, left);
  } else if (eh_catch_all(frame) != 0) {
    left = caught_in(frame);
  } else {
    eh_again(frame);
  }
  eh_pop_try(frame);
}

template <typename Callable> void run(Callable body) {
  std::exception_ptr left;
  run([](void *context) { (*static_cast<Callable *>(context))(); }, &body, left);
  if (left) {
    std::rethrow_exception(left);
  }
}

template <auto release> struct Release {
  template <typename T> void operator()(T *block) const { release(block); }
};

} // namespace detail
/** @endcond */

/**
 * Runs a piece of code that calls the library's C functions, in a try frame of its own.
 *
 * What the code throws leaves this function when the frame is closed and everything delegated to it
 * is released: a framework exception as sprig::Error, a C++ exception as it is. Where a release
 * throws, its exception is the one that goes on.
 *
 * A framework exception leaves the code by longjmp(): no object with a destructor may be alive in
 * it by then, and no C++ exception be under way. What is outside, and captured, may be anything.
 *
 * @param body  the code, without parameters.
 * @return      what it returns: nothing, or a plain value of C.
 */
template <typename Body> std::invoke_result_t<Body &> call(Body &&body) {
  using Result = std::invoke_result_t<Body &>;
  if constexpr (std::is_void_v<Result>) {
    detail::run([&body] { body(); });
  } else {
    static_assert(std::is_trivial_v<Result>, "longjmp() passes destructors by");
    Result result{};
    detail::run([&body, &result] { result = body(); });
    return result;
  }
}

} // namespace sprig

#endif
