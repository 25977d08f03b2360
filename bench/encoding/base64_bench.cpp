// Base64 with the allocation of its result, beside what the bytes cost to allocate and move alone,
// and beside the coders that a Debian system offers. Sizes are those of the raw data.
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" {
#include <b64/cdecode.h>
#include <b64/cencode.h>
}
#include <benchmark/benchmark.h>
#include <glib.h>
#include <openssl/evp.h>

#include <sprig/encoding.h>

#include "support/ratios.h"

namespace {

// A coder gets the input and returns a result to be released by the given function.
using Coder = void *(*)(const std::string &input);

std::string rawData(size_t size) {
  std::string data(size, '\0');
  uint32_t state = 1;
  for (char &byte : data) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return data;
}

std::string textOf(const std::string &data) {
  char *text = nullptr;
  uint32_t length = 0;
  Encode(data.data(), static_cast<uint32_t>(data.size()), &text, &length);
  std::string copy(text, length);
  PalMemoryFree(text);
  return copy;
}

size_t textSize(const std::string &data) { return (data.size() + 2) / 3 * 4; }

void *copyTo(void *target, const std::string &input) {
  return memcpy(target, input.data(), input.size());
}

// What the result's bytes cost at the least.

void *encodeByMalloc(const std::string &data) { return copyTo(malloc(textSize(data) + 1), data); }

void *encodeByCalloc(const std::string &data) {
  return copyTo(calloc(1, data.size() * 2 + 4096), data);
}

void *decodeByMalloc(const std::string &text) { return copyTo(malloc(text.size()), text); }

void *decodeByCalloc(const std::string &text) {
  return copyTo(calloc(1, text.size() + 4096), text);
}

// The subjects.

void *encodeSprig(const std::string &data) {
  char *text = nullptr;
  uint32_t length = 0;
  Encode(data.data(), static_cast<uint32_t>(data.size()), &text, &length);
  return text;
}

void *decodeSprig(const std::string &text) {
  unsigned char *data = nullptr;
  uint32_t length = 0;
  Decode(text.data(), static_cast<uint32_t>(text.size()), &data, &length);
  return data;
}

const unsigned char *bytes(const std::string &input) {
  return reinterpret_cast<const unsigned char *>(input.data());
}

void *encodeOpenssl(const std::string &data) {
  auto *text = static_cast<unsigned char *>(malloc(textSize(data) + 1));
  EVP_EncodeBlock(text, bytes(data), static_cast<int>(data.size()));
  return text;
}

void *decodeOpenssl(const std::string &text) {
  auto *data = static_cast<unsigned char *>(malloc(text.size() / 4 * 3 + 1));
  EVP_DecodeBlock(data, bytes(text), static_cast<int>(text.size()));
  return data;
}

void *encodeGlib(const std::string &data) { return g_base64_encode(bytes(data), data.size()); }

void *decodeGlib(const std::string &text) {
  gsize length = 0;
  return g_base64_decode(text.c_str(), &length);
}

void *encodeLibb64(const std::string &data) {
  auto *text = static_cast<char *>(malloc(data.size() * 2 + 4)); // it breaks lines
  base64_encodestate state;
  base64_init_encodestate(&state);
  const int length = base64_encode_block(data.data(), static_cast<int>(data.size()), text, &state);
  base64_encode_blockend(text + length, &state);
  return text;
}

void *decodeLibb64(const std::string &text) {
  auto *data = static_cast<char *>(malloc(text.size()));
  base64_decodestate state;
  base64_init_decodestate(&state);
  base64_decode_block(text.data(), static_cast<int>(text.size()), data, &state);
  return data;
}

void measure(const std::string &name, Coder coder, std::string (*input)(size_t)) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [=](benchmark::State &state) {
                                 const std::string data =
                                     input(static_cast<size_t>(state.range(0)));
                                 for (auto _ : state) {
                                   void *result = coder(data);
                                   benchmark::DoNotOptimize(result);
                                   benchmark::ClobberMemory();
                                   free(result);
                                 }
                               })
      ->Arg(48)
      ->Arg(200)
      ->Arg(500)
      ->Arg(4096)
      ->Arg(65536)
      ->Arg(1 << 20);
}

} // namespace

void registerBase64() {
  const struct {
    const char *subject;
    Coder encode, decode;
  } subjects[] = {
      {"sprig", encodeSprig, decodeSprig},
      {"openssl", encodeOpenssl, decodeOpenssl},
      {"glib", encodeGlib, decodeGlib},
      {"libb64", encodeLibb64, decodeLibb64},
      {"malloc+memcpy", encodeByMalloc, decodeByMalloc},
      {"calloc+memcpy", encodeByCalloc, decodeByCalloc},
  };
  for (const auto &subject : subjects) {
    measure(std::string("base64-encode/") + subject.subject, subject.encode, rawData);
    measure(std::string("base64-decode/") + subject.subject, subject.decode,
            [](size_t size) { return textOf(rawData(size)); });
  }
}

void registerTags();

int main(int argc, char **argv) {
  registerBase64();
  registerTags();
  return bench::run(argc, argv);
}
