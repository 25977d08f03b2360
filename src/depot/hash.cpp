#include "depot/hash.h"

#include <bit>
#include <cstring>

#include "depot/file_names.h"
#include "depot/operation.h"

using namespace sprig;

namespace {

constexpr int rotation = 5;

} // namespace

PalError DepotHashFunction(const char *key, uint32_t *hashOut) {
  static constexpr OperationName name("DepotHashFunction");
  const Operation operation(name, key != nullptr && hashOut != nullptr);
  if (!operation) {
    return operation.failure();
  }
  // Only the first half of the key counts. Names on disk depend on it.
  const size_t length = strlen(key);
  uint32_t hash = 0;
  for (size_t k = 0; length - k > k; ++k) {
    hash = std::rotl(hash ^ static_cast<unsigned char>(key[k]), rotation);
  }
  *hashOut = hash % NearestPrime;
  return success;
}

char *DepotFindBucket(const char *id, const char *version) {
  static constexpr OperationName name("DepotFindBucket");
  const Operation operation(name, id != nullptr && version != nullptr);
  if (!operation) {
    return nullptr;
  }
  char *key = joined({id, version});
  if (key == nullptr) {
    return nullptr;
  }
  uint32_t bucket = 0;
  DepotHashFunction(key, &bucket);
  PalMemoryFree(key);
  return bucketName(bucket);
}
