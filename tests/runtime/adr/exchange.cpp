// Writes the encodings of random values to files, or reads those that another build of this program
// has written: all builds have the same values, and the same bytes for them.
//
//     adr-exchange write DIRECTORY
//     adr-exchange read DIRECTORY
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <sprig/runtime.h>

#include "support/values.h"

using test::Bytes;
using test::Value;

namespace {

constexpr uint32_t seed = 4711;
constexpr size_t valueCount = 200;

std::vector<TypeCode> allTypes() {
  std::vector<TypeCode> types = test::allTypes();
  for (const TypeRepository *repository : {stypes_type_repository, Sprig2_type_repository}) {
    types.insert(types.end(), repository->types, repository->types + repository->count);
  }
  return types;
}

// These return what is wrong, or null.

const char *writeEncoding(const std::string &path, const Value &value) {
  if (test::encodingError(value.type(), value.data()) != RUNTIME_ADR_OK) {
    return "the value has no encoding";
  }
  const Bytes bytes = test::encoded(value);
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char *>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  return file.flush() ? nullptr : "cannot be written";
}

const char *checkEncoding(const std::string &path, const Value &value) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return "cannot be read";
  }
  const Bytes bytes{std::istreambuf_iterator<char>(file), {}};
  const Value decoded(value.type());
  if (test::decode(bytes, decoded) != RUNTIME_ADR_OK) {
    return "cannot be decoded";
  }
  if (_t_generic_equal(value.type(), nullptr, value.data(), decoded.data()) == 0) {
    return "is another value";
  }
  return test::encoded(value) == bytes ? nullptr : "has other bytes";
}

using Act = const char *(const std::string &path, const Value &value);

// Acts on each file, until something is wrong.
int forEachFile(const std::string &directory, Act &act) {
  const std::vector<TypeCode> types = allTypes();
  test::RandomValues random(seed);
  for (size_t i = 0; i < valueCount; ++i) {
    const TypeCode type = types[i % types.size()];
    Value value(type);
    random.fill(value);
    const std::string path = std::string(directory).append("/").append(std::to_string(i));
    if (const char *wrong = act(path, value)) {
      (void)fprintf(stderr, "%s (%s): %s\n", path.c_str(), type->name, wrong);
      return 1;
    }
  }
  printf("%zu values\n", valueCount);
  return 0;
}

} // namespace

int main(int argc, char **argv) {
  test::registerTypes();
  if (argc == 3 && strcmp(argv[1], "write") == 0) {
    return forEachFile(argv[2], writeEncoding);
  }
  if (argc == 3 && strcmp(argv[1], "read") == 0) {
    return forEachFile(argv[2], checkEncoding);
  }
  (void)fprintf(stderr, "usage: adr-exchange write|read DIRECTORY\n");
  return 2;
}
