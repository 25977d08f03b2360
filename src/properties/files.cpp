// Lists in files, in three layouts that differ in what stands in front of the encoding.
#include "properties/files.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include <fcntl.h>
#include <sys/stat.h>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/properties.h>

#include "files/file.h"
#include "framework/message.h"
#include "framework/try_frame.h"

using sprig::MessageId;
using sprig::throwMessage;

namespace {

// What stands in front: words in the machine's order, of which the last is the length.
enum class Layout { bare, withLength, improved };

using Word = uint32_t;

constexpr Word version = 1; // of the improved layout
constexpr mode_t fileMode = 0600;

int64_t headerSize(Layout layout) {
  return layout == Layout::bare         ? 0
         : layout == Layout::withLength ? int64_t{sizeof(Word)}
                                        : 2 * int64_t{sizeof(Word)};
}

void writeWord(File *file, Word word) { file_write(file, &word, sizeof word); }

void write(const Properties *list, File *file, Layout layout) {
  sprig::inTryFrame([&] {
    uint8_t *data = nullptr;
    uint32_t length = 0;
    properties_encode(TC_NEX_Sprig2_Properties, list, &data, &length);
    ex_delegate(data, mg_free);
    if (layout == Layout::improved) {
      writeWord(file, version);
    }
    if (layout != Layout::bare) {
      writeWord(file, length);
    }
    // No single write takes more than that, so that a longer one fails.
    file_write(file, data, static_cast<int32_t>(std::min<uint32_t>(length, INT32_MAX)));
  });
}

[[noreturn]] void cannotRead(const File *file, uint32_t length) {
  throwMessage(MessageId::fileNotRead, file->path, length, errno);
}

Word readWord(File *file) {
  Word word = 0;
  if (file_read(file, &word, sizeof word) != sizeof word) {
    cannotRead(file, 0);
  }
  return word;
}

// The size of the file that has the name now, or of the file that is open: another one may have
// taken its place meanwhile.
using GetSize = int32_t (*)(const File *file);

int32_t sizeByName(const File *file) { return file_get_size(file->path); }

int32_t sizeOfOpen(const File *file) {
  struct stat status {};
  if (fstat(file->descriptor, &status) != 0 || status.st_size > INT32_MAX) {
    throwMessage(MessageId::fileStatusUnknown, file->path);
  }
  return static_cast<int32_t>(status.st_size);
}

// Reads what stands in front. Returns the length of the encoding, which the file has behind it.
uint32_t readHeader(File *file, Layout layout, GetSize getSize) {
  if (layout == Layout::bare) {
    return static_cast<uint32_t>(getSize(file));
  }
  if (layout == Layout::improved) {
    readWord(file); // the version, whatever it is
  }
  const uint32_t length = readWord(file);
  if (getSize(file) != headerSize(layout) + length) {
    cannotRead(file, length);
  }
  return length;
}

void read(Properties *list, File *file, Layout layout, GetSize getSize = sizeByName) {
  errno = 0;
  sprig::inTryFrame([&] {
    const uint32_t length = readHeader(file, layout, getSize);
    // Zeroed, because a file that shrinks meanwhile may leave some of it unread.
    auto *data = static_cast<uint8_t *>(mg_calloc(length, 1));
    ex_delegate(data, mg_free);
    const int32_t count = file_read(file, data, static_cast<int32_t>(length));
    if (layout != Layout::bare && static_cast<uint32_t>(count) != length) {
      cannotRead(file, length);
    }
    properties_decode(TC_NEX_Sprig2_Properties, data, length, list);
  });
}

// The file is closed with the frame.
void delegate(File *file) { ex_delegate(file, sprig::closeAndRelease); }

void save(const Properties *list, const char *path, Layout layout) {
  sprig::inTryFrame([&] {
    File *file = file_create(path, O_WRONLY | O_TRUNC, fileMode);
    delegate(file);
    write(list, file, layout);
  });
}

// Anything else might keep the reader waiting.
bool isFileOrDirectory(const File *file) {
  struct stat status {};
  return fstat(file->descriptor, &status) == 0 &&
         (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode));
}

void load(Properties *list, const char *path, Layout layout) {
  sprig::inTryFrame([&] {
    File *file = file_open(path, O_RDONLY | O_NONBLOCK);
    delegate(file);
    if (!isFileOrDirectory(file)) {
      throwMessage(MessageId::fileNotOpened, path);
    }
    read(list, file, layout, sizeOfOpen);
  });
}

} // namespace

void sprig::writeEncoded(const Properties *list, File *file) { write(list, file, Layout::bare); }

void properties_write(const Properties *list, File *file) { write(list, file, Layout::withLength); }
void properties_write_improved(const Properties *list, File *file) {
  write(list, file, Layout::improved);
}

void properties_read(Properties *list, File *file) { read(list, file, Layout::withLength); }
void properties_read_improved(Properties *list, File *file) { read(list, file, Layout::improved); }
void properties_read_without_len(Properties *list, File *file) { read(list, file, Layout::bare); }

void properties_save(const Properties *list, const char *path) {
  save(list, path, Layout::withLength);
}
void properties_save_improved(const Properties *list, const char *path) {
  save(list, path, Layout::improved);
}
void properties_save_without_len(const Properties *list, const char *path) {
  save(list, path, Layout::bare);
}

void properties_load(Properties *list, const char *path) { load(list, path, Layout::withLength); }
void properties_load_improved(Properties *list, const char *path) {
  load(list, path, Layout::improved);
}
void properties_load_without_len(Properties *list, const char *path) {
  load(list, path, Layout::bare);
}
