// A key that is looked for among many.
#ifndef SPRIG_PROPERTIES_WANTED_KEY_H
#define SPRIG_PROPERTIES_WANTED_KEY_H

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace sprig {

// Compares beginnings by words of memory. A word at a multiple of its own size lies within one
// page: where its first byte can be read, all of it can. What lies behind the NUL is masked out.
// Blocks of the framework, in which a list's keys lie, begin at such a place.
class WantedKey {
public:
  explicit WantedKey(const char *key) : key_(key) {
    const size_t size = strlen(key) + 1;
    const size_t beginning = std::min(size, sizeof words_);
    memcpy(words_, key, beginning);
    memset(masks_, 0xff, beginning);
    rest_ = size > beginning ? key + beginning : nullptr;
  }

  bool is(const char *key) const {
    if (reinterpret_cast<uintptr_t>(key) % sizeof(Word) != 0) {
      return strcmp(key, key_) == 0;
    }
    // What comes next is the key's as long as what came before it has no NUL.
    return hasWord(0, key) &&
           (masks_[1] == 0 || (hasWord(1, key + sizeof(Word)) &&
                               (rest_ == nullptr || strcmp(key + sizeof words_, rest_) == 0)));
  }

private:
  using Word = uint64_t;

  // A sanitizer knows about blocks, not about pages.
  __attribute__((no_sanitize_address)) bool hasWord(size_t index, const char *place) const {
    using WordOfText __attribute__((may_alias)) = Word;
    const Word word = *reinterpret_cast<const WordOfText *>(place);
    return ((word ^ words_[index]) & masks_[index]) == 0;
  }

  const char *key_;
  const char *rest_; // behind the words; null: there is none
  Word words_[2] = {};
  Word masks_[2] = {};
};

} // namespace sprig

#endif
