/* A user's C11 program: encodes a text, decodes it again and compares. */
#include <stdio.h>
#include <string.h>

#include <sprig/sprig.h>

_Static_assert(sizeof(off_t) == 8, "the package gives programs the library's off_t");

int main(void) {
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
