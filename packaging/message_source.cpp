// Writes the library's messages as the source of a message catalog, for gencat(1).
#include <cstdio>
#include <iterator>

#include <sprig/exceptions.h>

namespace {

void printQuoted(const char *text) {
  putchar('"');
  for (; *text != '\0'; ++text) {
    switch (*text) {
    case '\n':
      fputs("\\n", stdout);
      break;
    case '\t':
      fputs("\\t", stdout);
      break;
    case '"':
    case '\\':
      putchar('\\');
      [[fallthrough]];
    default:
      putchar(*text);
    }
  }
  putchar('"');
}

} // namespace

int main() {
  printf(
      "$ Messages of the catalog \"%s\". Arguments are named by position and may change places.\n"
      "$quote \"\n$set 1\n",
      Sprig2Catalog[0]);
  for (size_t id = 1; id < std::size(Sprig2Catalog); ++id) {
    printf("%zu ", id);
    printQuoted(Sprig2Catalog[id]);
    putchar('\n');
  }
  return fflush(stdout) == 0 ? 0 : 1;
}
