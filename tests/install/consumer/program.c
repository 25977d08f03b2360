/* A user's C11 program: encodes a text, decodes it again and compares, and sees what is logged. */
#include <stdio.h>
#include <string.h>

#include <sprig/runtime.h>
#include <sprig/sprig.h>

_Static_assert(sizeof(off_t) == 8, "the package gives programs the library's off_t");

static void copyLine(void *copy, int level, const char *text) {
  (void)snprintf(copy, 32, "%d %s", level, text);
}

int main(void) {
  char line[32] = "";
  runtime_set_log_sink(copyLine, line);
  Logger(2, "%s\n", "a notice");
  if (strcmp(line, "2 a notice\n") != 0) {
    (void)fprintf(stderr, "the log has: %s\n", line);
    return 1;
  }
  const char *text = "any text";
  char *encoded = NULL;
  unsigned char *decoded = NULL;
  uint32_t encodedLength = 0;
  uint32_t decodedLength = 0;
  Encode(text, (uint32_t)strlen(text), &encoded, &encodedLength);
  const PalError result = Decode(encoded, encodedLength, &decoded, &decodedLength);
  const int isSame = result.palError == PAL_OK && strcmp((const char *)decoded, text) == 0;
  PalMemoryFree(decoded);
  PalMemoryFree(encoded);
  if (!isSame) {
    (void)fprintf(stderr, "the text came back changed\n");
    return 1;
  }
  return 0;
}
