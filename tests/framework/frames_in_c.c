/* Frames, exceptions and their texts, as a program in C uses them. */
#include <setjmp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <sprig/sprig.h>

#define CHECK(condition)                                                                           \
  do {                                                                                             \
    if (!(condition)) {                                                                            \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                              \
      exit(1);                                                                                     \
    }                                                                                              \
  } while (0)

enum { NESTED_FRAMES = 50 };

/* What was released, one character each, in order. */
static char released[2 * NESTED_FRAMES + 1];

/* Takes blocks of one character. */
static void release(void *block) {
  const size_t length = strlen(released);
  CHECK(length + 1 < sizeof released);
  released[length] = *(char *)block;
  released[length + 1] = '\0';
  mg_free(block);
}

static void *delegated(char name) {
  char *block = mg_malloc(1);
  *block = name;
  ex_delegate(block, release);
  return block;
}

static void throwMessage(void) {
  vaThrow(Sprig2Catalog[0], 12, Sprig2Catalog[12], "/some/file", -13);
}

static void throwTyped(void) {
  vaMThrow("NEX_Sprig2::ExSegmentLocked", Sprig2Catalog[0], 3, Sprig2Catalog[3], "segment", "1");
}

static void throwDeferred(void) {
  ExDistributionDeferred pattern;
  memset(&pattern, 0, sizeof pattern);
  pattern.defer_time = 1234;
  vaMThrowChild("NEX_Sprig2::ExDistributionDeferred", &pattern, sizeof pattern, Sprig2Catalog[0],
                169, Sprig2Catalog[169], "distribution", "receiver");
}

static void throwRecord(void) {
  ExErrorMsg *record = _create_NEX_Sprig2_ExSendError("NEX_Sprig2::ExSendError", NULL, 0,
                                                      "no arguments", 0, NULL, NULL);
  eh_throw(record->type_name, record);
}

static void throwEnvironment(void) {
  Environment environment = {NULL, {0, 0, 0}};
  vaRaiseException(&environment, 0, -1, "%2$s and %1$s", "one", "two");
  CHECK(environment.exception != NULL);
  ev_to_exception(&environment);
}

static void replaceNothing(void) {
  Sequence sequence;
  seq_init(&sequence);
  seq_replace(&sequence, "text", 0, 4);
}

static void throwFromAFrameBelow(void) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  delegated('b');
  if (setjmp(buffer) == 0) {
    delegated('c');
    throwTyped();
  }
  CHECK(strcmp(released, "") == 0);
  eh_again(frame);
  eh_pop_try(frame);
  CHECK(!"the exception went on");
}

static void throwAgainAfterClosing(void) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) {
    delegated('c');
    throwTyped();
  }
  eh_pop_try(frame);
  CHECK(strcmp(released, "c") == 0);
  eh_again(frame, "whatever", 1);
  CHECK(!"the exception went on");
}

static void rethrow(void) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) {
    delegated('c');
    throwTyped();
  }
  CHECK(eh_catch_all(frame));
  CHECK(eh_current_exception(frame) != NULL);
  eh_rethrow(frame);
}

static void throwFromAHandler(void) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) {
    throwMessage();
  }
  CHECK(eh_catch_all(frame));
  eh_pop_try(frame);
  throwTyped();
}

static void nest(int depth) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) {
    delegated('n');
    if (depth == 1) {
      throwTyped();
    }
    nest(depth - 1);
  }
  eh_again(frame);
  eh_pop_try(frame);
}

static void throwFromManyFrames(void) { nest(NESTED_FRAMES); }

/* The body throws an exception of that type and with that text, and what it delegated is released
   in that order. */
static void expectThrown(void (*body)(void), const char *type, const char *text,
                         const char *order) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  released[0] = '\0';
  if (setjmp(buffer) == 0) {
    delegated('a');
    body();
    CHECK(!"nothing was thrown");
  }
  CHECK(eh_catch_all(frame));
  ExErrorMsg *const record = eh_current_exception(frame);
  CHECK(record != NULL);
  CHECK(strcmp(record->type_name, type) == 0);
  char *const shown = def_ex_bind(record);
  CHECK(strcmp(shown, text) == 0);
  mg_free(shown);
  eh_pop_try(frame);
  CHECK(strcmp(released, order) == 0);
}

static void deferredCarriesItsTime(void) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) {
    throwDeferred();
  }
  CHECK(eh_catch_all(frame));
  const ExDistributionDeferred *const record = eh_current_exception(frame);
  CHECK(record->defer_time == 1234);
  CHECK(record->base.emsg.length == 1);
  const MessageEntry *const entry = &record->base.emsg.buffer[0];
  CHECK(strcmp(entry->catalog, "Sprig2Catalog") == 0);
  CHECK(entry->message_id == 169);
  CHECK(TypeCode_equal(entry->arguments.type, TC_NEX_Types_StringList));
  const StringList *const arguments = entry->arguments.value;
  CHECK(arguments->length == 2);
  CHECK(strcmp(arguments->buffer[0], "distribution") == 0);
  CHECK(strcmp(arguments->buffer[1], "receiver") == 0);
  eh_pop_try(frame);
}

static void bodyThatEndsReleasesTheLastFirst(void) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  released[0] = '\0';
  if (setjmp(buffer) == 0) {
    delegated('1');
    delegated('2');
    delegated('3');
    CHECK(strcmp(released, "") == 0);
    eh_pop_try(frame);
  } else {
    CHECK(!"nothing throws here");
  }
  CHECK(strcmp(released, "321") == 0);
}

static void blockTakenBackIsTheCallers(void) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  void *volatile kept = NULL;
  released[0] = '\0';
  if (setjmp(buffer) == 0) {
    delegated('1');
    kept = delegated('2');
    ex_undelegate(kept, 0);
    throwMessage();
  }
  CHECK(eh_catch_all(frame));
  eh_pop_try(frame);
  CHECK(strcmp(released, "1") == 0);
  CHECK(*(char *)kept == '2');
  mg_free(kept);
}

static void frameWithoutAnExceptionHasNoneToCatch(void) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) {
    CHECK(!eh_catch_all(frame));
    CHECK(eh_current_exception(frame) == NULL);
  } else {
    CHECK(!"nothing throws here");
  }
  eh_pop_try(frame);
}

static void exceptionsAreShown(void) {
  static const char locked[] =
      "The specified segment ID (segment) with version (1) is locked and cannot be removed.\n";
  static const struct {
    void (*body)(void);
    const char *type;
    const char *text;
    const char *order;
  } cases[] = {
      {throwMessage, "ExErrorMsg", "Cannot create the file /some/file. The error code is -13.\n",
       "a"},
      {throwTyped, "NEX_Sprig2::ExSegmentLocked", locked, "a"},
      {throwDeferred, "NEX_Sprig2::ExDistributionDeferred",
       "The distribution distribution for receiver receiver has expired.\n", "a"},
      {throwRecord, "NEX_Sprig2::ExSendError", "no arguments", "a"},
      {throwEnvironment, "ExErrorMsg", "two and one", "a"},
      {replaceNothing, "ExErrorMsg",
       "The item was not replaced in the sequence. The index 0 is not within the sequence length "
       "0.\n",
       "a"},
      {throwFromAFrameBelow, "NEX_Sprig2::ExSegmentLocked", locked, "cba"},
      {throwAgainAfterClosing, "NEX_Sprig2::ExSegmentLocked", locked, "ca"},
      {rethrow, "NEX_Sprig2::ExSegmentLocked", locked, "ca"},
      {throwFromAHandler, "NEX_Sprig2::ExSegmentLocked", locked, "a"},
  };
  /* More than once: one exception leaves nothing behind for the next. */
  for (int round = 0; round < 3; ++round) {
    for (size_t i = 0; i < sizeof cases / sizeof *cases; ++i) {
      expectThrown(cases[i].body, cases[i].type, cases[i].text, cases[i].order);
    }
  }
  char order[NESTED_FRAMES + 2];
  memset(order, 'n', NESTED_FRAMES);
  memcpy(order + NESTED_FRAMES, "a", 2);
  expectThrown(throwFromManyFrames, "NEX_Sprig2::ExSegmentLocked", locked, order);
}

int main(void) {
  sprig_init();
  exceptionsAreShown();
  deferredCarriesItsTime();
  bodyThatEndsReleasesTheLastFirst();
  blockTakenBackIsTheCallers();
  frameWithoutAnExceptionHasNoneToCatch();
  exceptionsAreShown();
  return 0;
}
