// A try frame around a piece of a test, for tests that look at what frames do. Others use thrown().
#ifndef SPRIG_TESTS_SUPPORT_FRAMES_H
#define SPRIG_TESTS_SUPPORT_FRAMES_H

#include <string>
#include <type_traits>

#include <sprig/framework.h>

namespace test {

using Body = void (*)(void *context);
using Handler = void (*)(EhFrame *frame, void *context);

void runInFrame(Body body, void *bodyContext, Handler handler, void *handlerContext);

// Runs a body in a frame and closes the frame behind it. What the body throws goes to the handler,
// which also closes the frame. No object with a destructor may be alive in either where it throws.
template <typename BodyCall, typename HandlerCall>
void inFrame(BodyCall body, HandlerCall handler) {
  static_assert(std::is_trivially_destructible_v<BodyCall>);
  static_assert(std::is_trivially_destructible_v<HandlerCall>);
  runInFrame([](void *context) { (*static_cast<BodyCall *>(context))(); }, &body,
             [](EhFrame *frame, void *context) { (*static_cast<HandlerCall *>(context))(frame); },
             &handler);
}

// The message of the exception that came to a frame.
std::string messageIn(EhFrame *frame);

} // namespace test

#endif
