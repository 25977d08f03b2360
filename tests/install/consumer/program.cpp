// A user's C++17 program: fills a tag and reads it back.
#include <cstdio>
#include <string>

#include <sprig/sprig.h>

int main() {
  std::string buffer("<<id></id>>\0........", 20);
  std::string content = "42";
  const TextRange document{&buffer[0], &buffer[11]};
  const TextRange room{nullptr, &buffer.back()};
  addContentToTag(document, room, "id", {&content.front(), &content.back()}, 1);
  const TextRange found = getTagScope("id", &buffer[0], nullptr, 0);
  if (std::string(found.first, found.last + 1) != content) {
    std::fprintf(stderr, "the content came back changed\n");
    return 1;
  }
  return 0;
}
