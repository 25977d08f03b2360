#include "digest.h"

#include <algorithm>
#include <array>

#include "failure.h"
#include "file.h"

namespace tool {
namespace {

constexpr uint64_t toTheEnd = UINT64_MAX;

void check(int result) {
  if (result != 1) {
    throw Failure("SHA-256 cannot be computed on this machine");
  }
}

} // namespace

Digest::Digest() : context_(EVP_MD_CTX_new()) {
  check(context_ != nullptr ? 1 : 0);
  check(EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr));
}

void Digest::add(const void *data, size_t length) {
  check(EVP_DigestUpdate(context_.get(), data, length));
}

sprig::Octets Digest::finish() {
  sprig::Octets octets(32);
  check(EVP_DigestFinal_ex(context_.get(), octets.data(), nullptr));
  return octets;
}

sprig::Octets digestOf(const std::string &path) { return digestOf(path, 0, toTheEnd); }

sprig::Octets digestOf(const std::string &path, uint64_t offset, uint64_t length) {
  InputFile file(path);
  file.seek(offset);
  Digest digest;
  std::array<char, 65536> buffer;
  while (length > 0) {
    const size_t count = file.read(buffer.data(), std::min<uint64_t>(length, buffer.size()));
    if (count == 0) {
      if (length == toTheEnd) {
        break;
      }
      throw Failure(path + ": shorter than it should be");
    }
    digest.add(buffer.data(), count);
    length -= length == toTheEnd ? 0 : count;
  }
  return digest.finish();
}

std::string hexadecimal(const sprig::Octets &octets) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t octet : octets) {
    text += digits[octet >> 4];
    text += digits[octet & 15];
  }
  return text;
}

} // namespace tool
