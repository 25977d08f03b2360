#include "torture/framework_faults.h"

#include <cstring>

#include <sprig/framework.h>

namespace {

int remaining = 0; // until the call that finds no memory; 0: none does

bool strikes() { return remaining > 0 && --remaining == 0; }

bool hasBeenArmed = false;

[[noreturn]] void throwNoMemory() { vaThrow(nullptr, 0, "There is not enough memory.\n"); }

void throwIfStruck() {
  if (strikes()) {
    throwNoMemory();
  }
}

} // namespace

void test::armFrameworkFault(int call) {
  remaining = call;
  hasBeenArmed = true;
}

bool test::disarmFrameworkFault() {
  const bool hasStruck = hasBeenArmed && remaining == 0;
  remaining = 0;
  hasBeenArmed = false;
  return hasStruck;
}

// Each wrapper stands between the library's call and the function itself. NOLINTBEGIN(*)
extern "C" {

#define WRAP(result, name, parameters, arguments)                                                  \
  result __real_##name parameters;                                                                 \
  result __wrap_##name parameters {                                                                \
    throwIfStruck();                                                                               \
    return __real_##name arguments;                                                                \
  }

WRAP(void *, mg_malloc, (size_t size), (size))
WRAP(void *, mg_calloc, (size_t count, size_t size), (count, size))
WRAP(void *, mg_realloc, (void *block, size_t size), (block, size))
WRAP(char *, mg_strdup, (const char *text), (text))
WRAP(void, seq_add, (void *sequence, const void *element, size_t size), (sequence, element, size))
WRAP(void *, seq_remove, (void *sequence, uint32_t index, size_t size), (sequence, index, size))
WRAP(AdrBuffer *, adr_init_encode_buffer, (TypeCode type, const void *value), (type, value))
WRAP(AdrBuffer *, adr_init_decode_buffer, (const uint8_t *data, uint32_t length), (data, length))
WRAP(EhFrame *, eh_push_try, (jmp_buf buffer), (buffer))

// Fails at the last moment, with all of its work still there.
void __real_marshal_item(AdrBuffer *buffer, TypeCode type, void *value);
void __wrap_marshal_item(AdrBuffer *buffer, TypeCode type, void *value) {
  __real_marshal_item(buffer, type, value);
  throwIfStruck();
}

// Has released the block by then.
void __real_ex_delegate(void *block, void (*release)(void *));
void __wrap_ex_delegate(void *block, void (*release)(void *)) {
  if (block != nullptr && strikes()) {
    release(block);
    throwNoMemory();
  }
  __real_ex_delegate(block, release);
}

// Leaves the target empty, and tells the environment where there is one.
void __real__t_generic_copy(TypeCode type, Environment *environment, const void *source,
                            void *target);
void __wrap__t_generic_copy(TypeCode type, Environment *environment, const void *source,
                            void *target) {
  if (strikes()) {
    memset(target, 0, type->size);
    vaRaiseException(environment, 0, -1, "There is not enough memory.\n");
    return;
  }
  __real__t_generic_copy(type, environment, source, target);
}

} // extern "C" NOLINTEND(*)
