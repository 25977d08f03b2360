#include "support/frames.h"

#include <csetjmp>

void test::runInFrame(Body body, void *bodyContext, Handler handler, void *handlerContext) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) {
    body(bodyContext);
    eh_pop_try(frame);
  } else {
    handler(frame, handlerContext);
  }
}

std::string test::messageIn(EhFrame *frame) {
  char *text = def_ex_bind(eh_current_exception(frame));
  std::string result = text;
  mg_free(text);
  return result;
}
