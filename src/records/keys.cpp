#include <sprig/records.h>

// NOLINTNEXTLINE(bugprone-macro-parentheses): the name of a variable
#define DEFINE_KEY(name, text) const char *const name = text;

SPRIG_SEGMENT_KEYS(DEFINE_KEY)
SPRIG_MESSAGE_KEYS(DEFINE_KEY)
SPRIG_RESULT_KEYS(DEFINE_KEY)
SPRIG_NODE_KEYS(DEFINE_KEY)
