#include "depot/toc_file.h"

#include <cstdint>
#include <limits>

#include "depot/log.h"

namespace sprig {
namespace {

// An opened file, closed in the end; one that could not be opened holds no more than its handle.
struct OpenFile {
  OpenFile() = default;
  ~OpenFile() { PalFileClose(handle); }
  OpenFile(const OpenFile &) = delete;
  OpenFile &operator=(const OpenFile &) = delete;

  PalFileHandle handle{};
};

// Logs a step that failed, if the reader wants that; false.
bool failed(const TocReadTexts *texts, const char *TocReadTexts::*step, PalError error,
            const char *path) {
  if (texts != nullptr) {
    logFormat(workaroundLevel, texts->*step, error.palError, path == nullptr ? "" : path);
  }
  return false;
}

} // namespace

bool TocFile::read(const char *path, const TocReadTexts *texts) {
  return readWith(openWithoutWaiting, path, texts);
}

bool TocFile::readSoleName(const char *path) { return readWith(openSoleName, path, nullptr); }

bool TocFile::readWith(Open open, const char *path, const TocReadTexts *texts) {
  OpenFile file;
  const PalError opened = open(&file.handle, path);
  if (opened.palError != PAL_OK) {
    return failed(texts, &TocReadTexts::opening, opened, path);
  }
  FileIdentity identity;
  const bool isIdentified = wantsIdentity_ && identify(file.handle, identity);
  identity_ = isIdentified ? std::optional(identity) : std::nullopt;
  size_t count = 0;
  if (!takeText(file.handle, room(), &count, path, texts)) {
    return false;
  }
  return count < room() || readLarge(file.handle, path, texts);
}

bool TocFile::readLarge(PalFileHandle file, const char *path, const TocReadTexts *texts) {
  int64_t size = 0;
  const PalError told = PalFileGetSize(file, &size);
  if (told.palError != PAL_OK) {
    return failed(texts, &TocReadTexts::size, told, path);
  }
  if (!makeRoom(size)) {
    if (texts != nullptr) {
      logFormat(workaroundLevel, texts->memory, path);
    }
    return false;
  }
  constexpr int fromStart = 1;
  const PalError rewound = PalFileSetLocation(file, 0, fromStart);
  if (rewound.palError != PAL_OK) {
    return failed(texts, &TocReadTexts::reading, rewound, path);
  }
  size_t count = 0;
  return takeText(file, static_cast<size_t>(size), &count, path, texts);
}

bool TocFile::takeText(PalFileHandle file, size_t size, size_t *count, const char *path,
                       const TocReadTexts *texts) {
  const PalError taken = PalFileRead(file, text(), size, count);
  if (taken.palError != PAL_OK) {
    return failed(texts, &TocReadTexts::reading, taken, path);
  }
  text()[*count] = '\0';
  return true;
}

bool TocFile::makeRoom(int64_t size) {
  if (static_cast<uint64_t>(size) >= std::numeric_limits<size_t>::max()) {
    return false;
  }
  const size_t needed = static_cast<size_t>(size) + 1;
  if (needed <= room() + 1) {
    return true;
  }
  auto *text = static_cast<char *>(PalMemoryRealloc(large_, needed));
  if (text == nullptr) {
    return false;
  }
  large_ = text;
  largeSize_ = needed;
  return true;
}

} // namespace sprig
