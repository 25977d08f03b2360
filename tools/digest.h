// SHA-256, which tells whether a segment is what was packed.
#ifndef SPRIG_TOOLS_DIGEST_H
#define SPRIG_TOOLS_DIGEST_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <openssl/evp.h>

#include <sprig/sprig.hpp>

namespace tool {

class Digest {
public:
  Digest();

  void add(const void *data, size_t length);
  void add(std::string_view bytes) { add(bytes.data(), bytes.size()); }
  // The 32 octets of what was added. Nothing can be added afterwards.
  sprig::Octets finish();

private:
  struct Release {
    void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
  };
  std::unique_ptr<EVP_MD_CTX, Release> context_;
};

// Of a file's content, or of `length` bytes of it from `offset`. Throws Failure where it cannot be
// read to there.
sprig::Octets digestOf(const std::string &path);
sprig::Octets digestOf(const std::string &path, uint64_t offset, uint64_t length);

// Octets in lower-case hexadecimal digits, two for each.
std::string hexadecimal(const sprig::Octets &octets);

} // namespace tool

#endif
